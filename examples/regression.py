#!/usr/bin/env python3
"""regression.py DATA.csv: has the backend run regression.R, a block of R that fits a linear model to the cases, and reads
the coefficients back from the pivot table that the block has put into the output.

The home of the backend's installation comes from VEXA_HOME.
"""
import os
import sys

sys.path.insert(0, os.path.join(os.environ["VEXA_HOME"], "lib", "python"))
import vexaxd

BLOCK = os.path.join(os.path.dirname(os.path.abspath(__file__)), "regression.R")
TABLE = "//pivotTable[@type='Coefficients']"


def found(expression):
    return vexaxd.EvaluateXPath("output", "", expression)


def print_output():
    vexaxd.CreateXPathDictionary("output")
    print("".join(found("//text/text()")), end="")
    estimates = f"{TABLE}//cell[at/@category='Estimate']"
    terms = found(f"{estimates}/at[@dimension='Term']/@category")
    for term, value in zip(terms, found(f"{estimates}/@value")):
        print(f"{term}: {float(value):.10g}")
    vexaxd.RemoveXPathHandle("output")


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: regression.py DATA.csv")
    with open(BLOCK, encoding="utf-8") as file:
        lines = file.read()
    try:
        with vexaxd.session(f'-data "{os.path.abspath(sys.argv[1])}"'):
            vexaxd.Submit(f"LANGUAGE R.\n{lines}\nEND LANGUAGE.\n")
            print_output()
    except vexaxd.Error as error:
        sys.exit(f"regression: {error}")


if __name__ == "__main__":
    main()
