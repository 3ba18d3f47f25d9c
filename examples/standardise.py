#!/usr/bin/env python3
"""standardise.py DATA.csv VARIABLE OUT.csv: adds two variables to the data and saves them as a CSV file. z<VARIABLE> is
the distance from the mean in standard deviations, <VARIABLE>Group says "low" below -1, "high" above 1 and "middle"
between. Where VARIABLE is missing, both are.

The home of the backend's installation comes from VEXA_HOME. standardise.c is the same program in C.
"""
import math
import os
import sys

HOME = os.environ.get("VEXA_HOME") or sys.exit("standardise: VEXA_HOME must name the home directory of the backend")
sys.path.insert(0, os.path.join(HOME, "lib", "python"))
import vexaxd

NUMBER, FORMAT_F, ORDINAL = 0, 2, 2  # as the backend numbers them


def find_number(variable):
    names = [vexaxd.GetVariableName(index) for index in range(vexaxd.GetVariableCount())]
    if variable not in names:
        sys.exit(f"standardise: {variable} is no variable of the data")
    index = names.index(variable)
    if vexaxd.GetVariableType(index) != NUMBER:
        sys.exit(f"standardise: {variable} is a text")
    return index


def measure(variable):
    """The first pass: valid and all cases, mean and standard deviation."""
    count = valid = 0
    mean = squares = deviation = 0.0  # squares of the distances from the mean, by Welford's method
    for case in vexaxd.cases(variable):
        count += 1
        if (value := case[variable]) is not None:
            valid += 1
            distance = value - mean
            mean += distance / valid
            squares += distance * (value - mean)
    if valid > 1:
        deviation = math.sqrt(squares / (valid - 1))
    return valid, count, mean, deviation


def declare(score, group, variable):
    """New variables are declared, described, and there from CommitHeader on: missing in all cases."""
    vexaxd.SetVarNameAndType([score, group], [NUMBER, len("middle")])
    vexaxd.SetVarLabel(score, f"{variable}, standardised")
    vexaxd.SetVarLabel(group, "Below -1, within, above 1 standard deviation")
    vexaxd.SetVarFormat(score, FORMAT_F, 8, 3)
    vexaxd.SetVarMeasureLevel(group, ORDINAL)
    vexaxd.CommitHeader()


def write(index, mean, deviation, score, group):
    """The second pass, over a cursor that writes: values go to the current case by name, and are there with
    CommitCaseRecord. A case without values is passed over."""
    counts = {"low": 0, "middle": 0, "high": 0}
    vexaxd.MakeCaseCursor("w")
    try:
        while True:
            vexaxd.NextCase()
            value, missing = vexaxd.GetNumericValue(index)
            if missing != vexaxd.VALID:
                continue
            z = (value - mean) / deviation
            which = "low" if z < -1 else "high" if z > 1 else "middle"
            counts[which] += 1
            vexaxd.SetValueNumeric(score, z)
            vexaxd.SetValueChar(group, which)
            vexaxd.CommitCaseRecord()
    except vexaxd.EndOfData:
        vexaxd.RemoveCaseCursor()
    print(f"{group}: " + ", ".join(f"{count} {which}" for which, count in counts.items()))
    vexaxd.EndChanges()


def standardise(variable, path):
    index = find_number(variable)
    valid, count, mean, deviation = measure(variable)
    if not deviation > 0:
        sys.exit(f"standardise: {variable} has no two values that differ")
    print(f"{variable}: {valid} of {count} cases valid, mean {mean:.10g}, standard deviation {deviation:.10g}")
    score, group = f"z{variable}", f"{variable}Group"
    declare(score, group, variable)
    write(index, mean, deviation, score, group)
    vexaxd.Submit(f'SAVE /TYPE=CSV /FILE="{path}".')


def main(arguments):
    if len(arguments) != 3:
        sys.exit("usage: standardise.py DATA.csv VARIABLE OUT.csv")
    data, variable, path = arguments
    if '"' in data + path:
        sys.exit("standardise: a path holds a double quote")
    try:
        with vexaxd.session(f'-data "{data}"'):
            standardise(variable, path)
    except vexaxd.Error as error:
        sys.exit(f"standardise: {error.function} failed with code {error.code}")


if __name__ == "__main__":
    main(sys.argv[1:])
