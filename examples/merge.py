#!/usr/bin/env python3
"""merge.py FIRST.csv SECOND.csv OUT.csv: adds to FIRST what SECOND has more, and saves the result. Row by row the two
files are about the same cases. Columns that FIRST lacks are filled in cell by cell; rows beyond FIRST's last one are
added as whole cases.

The home of the backend's installation comes from VEXA_HOME. merge.c is the same program in C.
"""
import os
import sys

HOME = os.environ.get("VEXA_HOME") or sys.exit("merge: VEXA_HOME must name the home directory of the backend")
sys.path.insert(0, os.path.join(HOME, "lib", "python"))
import vexaxd

FIRST = "*"  # the active dataset; the one of -data has no name of its own
SECOND = "second"


def variables(dataset):
    """Names, without case as that does not count, and types: 0 for a number, else the bytes of the text."""
    indices = range(vexaxd.GetVarCountInDS(dataset))
    names = [vexaxd.GetVarNameInDS(dataset, index) for index in indices]
    return names, [vexaxd.GetVarTypeInDS(dataset, index) for index in indices]


def without_case(name):
    return os.fsencode(name).lower()


def place_columns(names, widths):
    """Makes sure that FIRST has a place for each column of SECOND: the one of that name, wide enough, or a new one behind
    the others. Returns these places, and which of SECOND's columns are new."""
    there, there_widths = variables(FIRST)
    places = {without_case(name): place for place, name in enumerate(there)}
    targets, added = [], []
    for column, (name, width) in enumerate(zip(names, widths)):
        place = places.get(without_case(name), len(there) + len(added))
        targets.append(place)
        if place >= len(there):
            vexaxd.InsertVariable(FIRST, place, name, width)
            added.append(column)
        elif (width == 0) != (there_widths[place] == 0):
            sys.exit(f"merge: {name} is a number in one file and a text in the other")
        elif width > there_widths[place]:
            vexaxd.SetVarTypeInDS(FIRST, place, width)
    return targets, added


def copy_cells(column, target, width, rows):
    """All values are read before the first is written: a read would send what is written so far, and its code would be
    lost. What is written goes out together, with CommitDataSet. A missing value is a value like any other."""
    get, put = (vexaxd.GetCCellValue, vexaxd.SetCCellValue) if width else (vexaxd.GetNCellValue, vexaxd.SetNCellValue)
    values = [get(SECOND, row, column).value for row in range(rows)]
    for row, value in enumerate(values):
        put(FIRST, row, target, value)
    vexaxd.CommitDataSet()


def add_case(row, targets, widths):
    """The case of either dataset is loaded; values go from one to the other on this side alone."""
    vexaxd.InsertCase(FIRST, row)
    vexaxd.GetCaseValue(SECOND, row, False)
    vexaxd.GetCaseValue(FIRST, row, False)
    for column, target in enumerate(targets):
        if widths[column]:
            vexaxd.SetCCellValueFromCache(FIRST, target, vexaxd.GetCCellValueFromCache(SECOND, column))
        else:
            vexaxd.SetNCellValueFromCache(FIRST, target, vexaxd.GetNCellValueFromCache(SECOND, column).value)
    vexaxd.SetCasePartValue(FIRST, row, targets, False)


def merge(second, path):
    vexaxd.Submit(f'GET DATA /TYPE=CSV /FILE="{second}" /DATASET={SECOND}.')
    vexaxd.StartDataStep()
    for dataset in (FIRST, SECOND):
        vexaxd.CreateDataset(dataset, False, False)
    first_cases, second_cases = vexaxd.GetCaseCountInDS(FIRST), vexaxd.GetCaseCountInDS(SECOND)
    names, widths = variables(SECOND)
    targets, added = place_columns(names, widths)
    for column in added:
        copy_cells(column, targets[column], widths[column], min(first_cases, second_cases))
    more = range(first_cases, second_cases)
    for row in more:
        add_case(row, targets, widths)
    count, cases = vexaxd.GetVarCountInDS(FIRST), vexaxd.GetCaseCountInDS(FIRST)
    print(f"{len(added)} columns and {len(more)} cases added: {count} variables, {cases} cases")
    vexaxd.EndDataStep()
    vexaxd.Submit(f'SAVE /TYPE=CSV /FILE="{path}".')


def main(arguments):
    if len(arguments) != 3:
        sys.exit("usage: merge.py FIRST.csv SECOND.csv OUT.csv")
    first, second, path = arguments
    if '"' in "".join(arguments):
        sys.exit("merge: a path holds a double quote")
    try:
        with vexaxd.session(f'-data "{first}"'):
            merge(second, path)
    except vexaxd.Error as error:
        sys.exit(f"merge: {error.function} failed with code {error.code}")


if __name__ == "__main__":
    main(sys.argv[1:])
