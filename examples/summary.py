#!/usr/bin/env python3
"""summary.py DATA.csv [OUTPUT-PREFIX]: starts the backend with a CSV file, lists the dictionary, walks all cases once
and prints what it found: counts, mean, standard deviation and extremes of the numbers, distinct values of the texts. The
same goes into the backend's output as a table; with a prefix the backend writes that to OUTPUT-PREFIX.txt and
OUTPUT-PREFIX.html.

The home of the backend's installation comes from VEXA_HOME. summary.c is the same program in C; the two print the same
text.
"""
import math
import os
import signal
import sys

HOME = os.environ.get("VEXA_HOME") or sys.exit("summary: VEXA_HOME must name the home directory of the backend")
sys.path.insert(0, os.path.join(HOME, "lib", "python"))
import vexaxd

# Which table and which of its dimensions: every call about it says so. A place is 0 for rows and 1 for columns.
PROCEDURE = "Summary"
TABLE = (PROCEDURE, "Descriptives", "Descriptive statistics")
ROWS = (*TABLE, False, "Variable", 0, 0, False, False)
COLUMNS = (*TABLE, False, "Statistic", 1, 0, True, False)


def number(value):
    return f"{value:.10g}"


# --- The dictionary ---


def numeric_missing(index):
    kind, first, second, third = vexaxd.GetVarNMissingValues(index)
    low, high = vexaxd.GetVEXALowHigh()

    def range_end(value):
        return {low: "lowest", high: "highest"}.get(value) or number(value)

    if kind in (-2, -3):
        text = f"{range_end(first)} to {range_end(second)}"
        return f"{text} and {number(third)}" if kind == -3 else text
    return " ".join(map(number, (first, second, third)[: max(kind, 0)]))


def text_missing(index):
    kind, *values = vexaxd.GetVarCMissingValues(index)
    return " ".join(f'"{value}"' for value in values[: max(kind, 0)])


class Variable:
    """One variable: its dictionary entry, printed when read, and what the cases add up to."""

    def __init__(self, index):
        self.index = index
        self.name = vexaxd.GetVariableName(index)
        self.width = vexaxd.GetVariableType(index)
        print(f"{self.name}: {'text' if self.width else 'number'} {vexaxd.GetVariableFormat(index)}", end="")
        kind, width, decimals = vexaxd.GetVariableFormatType(index)
        level, role = vexaxd.GetVariableMeasurementLevel(index), vexaxd.GetVariableRole(index)
        print(f" (type {kind}, width {width}, decimals {decimals}), level {level}, role {role}")
        if label := vexaxd.GetVariableLabel(index):
            print(f"  label: {label}")
        if missing := text_missing(index) if self.width else numeric_missing(index):
            print(f"  missing: {missing}")

        self.counts = [0, 0, 0]
        self.mean = self.squares = 0.0
        self.min, self.max = math.inf, -math.inf
        self.texts = set()

    def add_value(self):
        """Adds the value that the current case has."""
        get = vexaxd.GetStringValue if self.width else vexaxd.GetNumericValue
        value, missing = get(self.index)
        self.counts[missing] += 1
        if missing != vexaxd.VALID:
            return
        if self.width:
            self.texts.add(value.rstrip(" "))
        else:
            self.add_number(value)

    def add_number(self, value):
        """Welford's method: one pass, and no small difference of large sums."""
        distance = value - self.mean
        self.mean += distance / self.counts[vexaxd.VALID]
        self.squares += distance * (value - self.mean)
        if value < self.min:
            self.min = value
        if value > self.max:
            self.max = value

    def deviation(self):
        return math.sqrt(self.squares / (self.counts[vexaxd.VALID] - 1))

    def print_summary(self):
        valid, user, system = self.counts
        print(f"{self.name}: {valid} valid, {user} user-missing", end="")
        if self.width:
            print(f", {len(self.texts)} distinct")
            return
        print(f", {system} system-missing")
        if valid == 0:
            return
        print(f"  mean {number(self.mean)}", end="")
        if valid > 1:
            print(f", standard deviation {number(self.deviation())}", end="")
        print(f", min {number(self.min)}, max {number(self.max)}")


# --- The cases ---


def walk_cases(variables):
    vexaxd.MakeCaseCursor("r")
    try:
        while True:
            vexaxd.NextCase()
            for variable in variables:
                variable.add_value()
    except vexaxd.EndOfData as end:
        if end.code != 23:  # 67 is the end of a split: there are more
            raise
    vexaxd.RemoveCaseCursor()


# --- The table ---


def emit_row(variable):
    """A cell goes to the row and the column that were named last."""
    valid, user, system = variable.counts
    index, text = variable.index, variable.width > 0
    vexaxd.AddVarNameCategory(*ROWS, index)
    some, several = not text and valid > 0, not text and valid > 1
    for name, use_format, value, shown in (
        ("Valid", (vexaxd.SetFormatSpecCount,), valid, True),
        ("Missing", (vexaxd.SetFormatSpecCount,), user + system, True),
        ("Mean", (vexaxd.SetFormatSpecMean, index), variable.mean, some),
        ("Std. deviation", (vexaxd.SetFormatSpecStdDev, index), variable.deviation() if several else 0.0, several),
        ("Minimum", (vexaxd.SetFormatSpecVariable, index), variable.min, some),
        ("Maximum", (vexaxd.SetFormatSpecVariable, index), variable.max, some),
        ("Distinct", (vexaxd.SetFormatSpecCount,), len(variable.texts), text),
    ):
        vexaxd.AddStringCategory(*COLUMNS, name)
        if shown:
            function, *arguments = use_format
            function(*arguments)
            vexaxd.SetNumberCell(*COLUMNS, value)


def emit_table(variables):
    vexaxd.StartProcedure(PROCEDURE)
    vexaxd.StartPivotTable(*TABLE, False)
    vexaxd.AddTitleFootnotes(*TABLE, "Of the valid values.", False)
    vexaxd.AddDimension(*ROWS)
    vexaxd.AddDimension(*COLUMNS)
    for variable in variables:
        emit_row(variable)
    vexaxd.EndProcedure()


def summarise():
    count = vexaxd.GetVariableCount()
    print(f"{vexaxd.GetRowCount()} cases, {count} variables\n")
    variables = [Variable(index) for index in range(count)]
    if variables:
        walk_cases(variables)
    print()
    for variable in variables:
        variable.print_summary()
    emit_table(variables)


# --- The session ---


def main(arguments):
    if len(arguments) not in (1, 2):
        sys.exit("usage: summary.py DATA.csv [OUTPUT-PREFIX]")
    output = arguments[1] if len(arguments) == 2 else ""
    data = os.path.realpath(arguments[0])
    if not os.path.exists(data):
        sys.exit(f"{arguments[0]}: No such file or directory")
    if '"' in data + output:
        sys.exit("summary: a path must not hold a double quote")
    # Texts are printed as the backend's bytes, whatever the terminal takes.
    sys.stdout.reconfigure(encoding="utf-8", errors="surrogateescape")
    # An interrupt ends the program in its ordinary way, so that neither the backend nor its fifos stay behind. The
    # interpreter itself ignores SIGPIPE: a write to a backend that died gives a code.
    for number_of_signal in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number_of_signal, lambda *_: sys.exit("summary: interrupted"))
    try:
        with vexaxd.session(f'-data "{data}"' + (f' -output "{output}"' if output else "")):
            summarise()
    except vexaxd.Error as error:
        sys.exit(f"summary: {error.function} failed with code {error.code}")
    except KeyboardInterrupt:
        sys.exit("summary: interrupted")


if __name__ == "__main__":
    main(sys.argv[1:])
