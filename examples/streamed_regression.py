#!/usr/bin/env python3
"""streamed_regression.py DATABASE [ROWS]: a block of R fits a linear model to a query of ten million rows, or of so many, that
the database makes up as they are asked for. Nobody ever has all of them: they are streamed through the backend into R.

DATABASE is a connection string of libpq, such as "host=/run/postgresql dbname=air". The home of the backend's installation
comes from VEXA_HOME.
"""
import os
import sys

sys.path.insert(0, os.path.join(os.environ["VEXA_HOME"], "lib", "python"))
import vexaxd

BLOCK = os.path.join(os.path.dirname(os.path.abspath(__file__)), "streamed_regression.R")
QUERY = """SELECT 2 + 3 * a - 0.5 * b + sin(n)::float8 AS y, a, b
FROM generate_series(1, {}) n, LATERAL (SELECT n % 1000 / 10.0::float8 AS a, (n % 7)::float8 AS b) x;"""
TABLE = "//pivotTable[@type='Coefficients']//cell"


def found(expression):
    return vexaxd.EvaluateXPath("output", "", expression)


def main():
    if len(sys.argv) not in (2, 3):
        sys.exit("usage: streamed_regression.py DATABASE [ROWS]")
    rows = int(sys.argv[2]) if len(sys.argv) == 3 else 10_000_000
    with open(BLOCK, encoding="utf-8") as file:
        lines = file.read()
    try:
        with vexaxd.session('-database "{}"'.format(sys.argv[1].replace('"', '""'))):
            vexaxd.Submit(QUERY.format(rows))
            vexaxd.Submit(f"LANGUAGE R.\n{lines}\nEND LANGUAGE.\n")
            vexaxd.CreateXPathDictionary("output")
            print("".join(found("//text/text()")), end="")
            for term in ("(Intercept)", "a", "b"):
                values = found(f"{TABLE}[at/@category='{term}']/@value")
                print(f"{term}: {float(values[0]):.4f}, standard error {float(values[1]):.2g}")
    except vexaxd.Error as error:
        sys.exit(f"streamed_regression: {error}")


if __name__ == "__main__":
    main()
