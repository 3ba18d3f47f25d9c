#!/usr/bin/env python3
"""summary.py DATA.csv [OUTPUT-PREFIX]: starts the backend with a CSV file, lists the dictionary, walks all cases once
and prints what it found: counts, mean, standard deviation and extremes of the numbers, distinct values of the texts. The
same goes into the backend's output as a table; with a prefix the backend writes that to OUTPUT-PREFIX.txt and
OUTPUT-PREFIX.html.

The home of the backend's installation comes from VEXA_HOME. summary.c is the same program in C; the two print the same
text. Texts stay bytes all the way, as the backend has them.
"""
import ctypes
import math
import os
import shutil
import signal
import sys
import tempfile
from ctypes import POINTER, byref, c_bool, c_char, c_char_p, c_double, c_int, c_long, c_uint

VALID, USER_MISSING, SYSTEM_MISSING = 0, 1, 2
END_OF_DATA = 23

# Which table and which of its dimensions: every call about it says so. A place is 0 for rows and 1 for columns.
PROCEDURE = b"Summary"
TABLE = (PROCEDURE, b"Descriptives", b"Descriptive statistics")
ROWS = (*TABLE, False, b"Variable", 0, 0, False, False)
COLUMNS = (*TABLE, False, b"Statistic", 1, 0, True, False)


class Failure(Exception):
    """A call of the library gave a code."""

    def __init__(self, call, code):
        super().__init__(f"{call} failed with code {code}")


def check(call, code):
    if code != 0:
        raise Failure(call, code)


class Backend:
    """The library with the types of its functions. `ask` is for those that give a value and store the code."""

    def __init__(self, home):
        self.library = ctypes.CDLL(os.path.join(home, "lib", "libvexaxd_p.so"))
        ints, doubles, chars = POINTER(c_int), POINTER(c_double), POINTER(c_char)
        table = [c_char_p] * 3
        dimension = [*table, c_bool, c_char_p, c_int, c_int, c_bool, c_bool]
        for name, result, arguments in (
            ("StartVexa", c_int, [c_char_p]),
            ("StopVexa", None, []),
            ("GetVariableCount", c_int, [ints]),
            ("GetRowCount", c_long, [ints]),
            ("GetVariableName", c_char_p, [c_int, ints]),
            ("GetVariableLabel", c_char_p, [c_int, ints]),
            ("GetVariableFormat", c_char_p, [c_int, ints]),
            ("GetVariableType", c_int, [c_int, ints]),
            ("GetVariableMeasurementLevel", c_int, [c_int, ints]),
            ("GetVariableRole", c_int, [c_int, ints]),
            ("GetVariableFormatType", c_int, [c_int, ints, ints, ints]),
            ("GetVarNMissingValues", c_int, [c_int, ints, doubles, doubles, doubles]),
            ("GetVarCMissingValues", c_int, [c_int, ints, chars, chars, chars]),
            ("GetVEXALowHigh", c_int, [doubles, doubles]),
            ("MakeCaseCursor", c_int, [c_char_p]),
            ("NextCase", c_int, []),
            ("GetNumericValue", c_int, [c_uint, doubles, ints]),
            ("GetStringValue", c_int, [c_uint, POINTER(chars), c_int, ints]),
            ("RemoveCaseCursor", c_int, []),
            ("StartProcedure", c_int, [c_char_p, c_char_p]),
            ("EndProcedure", c_int, []),
            ("StartPivotTable", c_int, [*table, c_bool]),
            ("AddTitleFootnotes", c_int, [*table, c_char_p, c_bool]),
            ("AddDimension", c_int, dimension),
            ("AddVarNameCategory", c_int, [*dimension, c_int]),
            ("AddStringCategory", c_int, [*dimension, c_char_p]),
            ("SetNumberCell", c_int, [*dimension, c_double]),
            ("SetFormatSpecCount", c_int, []),
            ("SetFormatSpecMean", c_int, [c_int]),
            ("SetFormatSpecStdDev", c_int, [c_int]),
            ("SetFormatSpecVariable", c_int, [c_int]),
        ):
            function = getattr(self.library, name)
            function.restype, function.argtypes = result, arguments
            setattr(self, name, function)

    def ask(self, name, *arguments):
        code = c_int(0)
        value = getattr(self, name)(*arguments, byref(code))
        check(name, code.value)
        return value

    def do(self, name, *arguments):
        check(name, getattr(self, name)(*arguments))


def say(text, *values):
    sys.stdout.buffer.write(text % values)


def number(value):
    return b"%.10g" % value


# --- The dictionary ---


def numeric_missing(backend, index):
    kind, values, low, high = c_int(), [c_double() for _ in range(3)], c_double(), c_double()
    check("GetVarNMissingValues", backend.GetVarNMissingValues(index, byref(kind), *map(byref, values)))
    check("GetVEXALowHigh", backend.GetVEXALowHigh(byref(low), byref(high)))

    def range_end(value):
        return {low.value: b"lowest", high.value: b"highest"}.get(value) or number(value)

    first, second, third = (value.value for value in values)
    if kind.value in (-2, -3):
        text = range_end(first) + b" to " + range_end(second)
        return text + b" and " + number(third) if kind.value == -3 else text
    return b" ".join(number(value) for value in (first, second, third)[: max(kind.value, 0)])


def text_missing(backend, index):
    kind, values = c_int(), [ctypes.create_string_buffer(8) for _ in range(3)]
    check("GetVarCMissingValues", backend.GetVarCMissingValues(index, byref(kind), *values))
    return b" ".join(b'"%s"' % value.value for value in values[: max(kind.value, 0)])


class Variable:
    """One variable: its dictionary entry, printed when read, and what the cases add up to."""

    def __init__(self, backend, index):
        self.name = backend.ask("GetVariableName", index)
        self.width = backend.ask("GetVariableType", index)
        print_format = backend.ask("GetVariableFormat", index)
        say(b"%s: %s %s", self.name, b"text" if self.width else b"number", print_format)
        numbers = [c_int() for _ in range(3)]
        check("GetVariableFormatType", backend.GetVariableFormatType(index, *map(byref, numbers)))
        level = backend.ask("GetVariableMeasurementLevel", index)
        role = backend.ask("GetVariableRole", index)
        kind, width, decimals = (value.value for value in numbers)
        say(b" (type %d, width %d, decimals %d), level %d, role %d\n", kind, width, decimals, level, role)
        label = backend.ask("GetVariableLabel", index)
        if label:
            say(b"  label: %s\n", label)
        missing = text_missing(backend, index) if self.width else numeric_missing(backend, index)
        if missing:
            say(b"  missing: %s\n", missing)

        self.counts = [0, 0, 0]
        self.mean = self.squares = 0.0
        self.min, self.max = math.inf, -math.inf
        self.texts = set()

    def add_number(self, value):
        """Welford's method: one pass, and no small difference of large sums."""
        distance = value - self.mean
        self.mean += distance / self.counts[VALID]
        self.squares += distance * (value - self.mean)
        if value < self.min:
            self.min = value
        if value > self.max:
            self.max = value

    def print_summary(self):
        valid, user, system = self.counts
        say(b"%s: %d valid, %d user-missing", self.name, valid, user)
        if self.width:
            say(b", %d distinct\n", len(self.texts))
            return
        say(b", %d system-missing\n", system)
        if valid == 0:
            return
        say(b"  mean %s", number(self.mean))
        if valid > 1:
            say(b", standard deviation %s", number(math.sqrt(self.squares / (valid - 1))))
        say(b", min %s, max %s\n", number(self.min), number(self.max))


# --- The cases ---


def walk_cases(backend, variables):
    missing, value = c_int(), c_double()
    room = ctypes.create_string_buffer(max(variable.width for variable in variables) + 1)
    where = ctypes.cast(room, POINTER(c_char))
    missing_out, value_out, text_out = byref(missing), byref(value), byref(where)
    columns = list(enumerate(variables))
    check("MakeCaseCursor", backend.MakeCaseCursor(b"r"))
    while (code := backend.NextCase()) == 0:
        for index, variable in columns:
            if variable.width:
                check("GetStringValue", backend.GetStringValue(index, text_out, variable.width, missing_out))
                variable.counts[missing.value] += 1
                if missing.value == VALID:  # a text that fills its width has no terminator
                    variable.texts.add(room.raw[: variable.width].split(b"\0", 1)[0].rstrip(b" "))
            else:
                check("GetNumericValue", backend.GetNumericValue(index, value_out, missing_out))
                variable.counts[missing.value] += 1
                if missing.value == VALID:
                    variable.add_number(value.value)
    if code != END_OF_DATA:
        raise Failure("NextCase", code)
    check("RemoveCaseCursor", backend.RemoveCaseCursor())


# --- The table ---


def emit_row(backend, index, variable):
    """A cell goes to the row and the column that were named last."""
    valid, user, system = variable.counts
    backend.do("AddVarNameCategory", *ROWS, index)
    some, several = not variable.width and valid > 0, not variable.width and valid > 1
    deviation = math.sqrt(variable.squares / (valid - 1)) if several else 0.0
    for name, use_format, value, shown in (
        (b"Valid", ("SetFormatSpecCount",), valid, True),
        (b"Missing", ("SetFormatSpecCount",), user + system, True),
        (b"Mean", ("SetFormatSpecMean", index), variable.mean, some),
        (b"Std. deviation", ("SetFormatSpecStdDev", index), deviation, several),
        (b"Minimum", ("SetFormatSpecVariable", index), variable.min, some),
        (b"Maximum", ("SetFormatSpecVariable", index), variable.max, some),
        (b"Distinct", ("SetFormatSpecCount",), len(variable.texts), variable.width > 0),
    ):
        backend.do("AddStringCategory", *COLUMNS, name)
        if shown:
            backend.do(*use_format)
            backend.do("SetNumberCell", *COLUMNS, value)


def emit_table(backend, variables):
    backend.do("StartProcedure", PROCEDURE, None)
    backend.do("StartPivotTable", *TABLE, False)
    backend.do("AddTitleFootnotes", *TABLE, b"Of the valid values.", False)
    backend.do("AddDimension", *ROWS)
    backend.do("AddDimension", *COLUMNS)
    for index, variable in enumerate(variables):
        emit_row(backend, index, variable)
    backend.do("EndProcedure")


def summarise(backend):
    count = backend.ask("GetVariableCount")
    say(b"%d cases, %d variables\n\n", backend.ask("GetRowCount"), count)
    variables = [Variable(backend, index) for index in range(count)]
    if variables:
        walk_cases(backend, variables)
    say(b"\n")
    for variable in variables:
        variable.print_summary()
    emit_table(backend, variables)


# --- The session ---


def run(home, data, output):
    directory = tempfile.mkdtemp(prefix="vexa_summary_")  # for the fifos; mode 0700
    try:
        os.environ["VEXADXTEMP"] = directory
        backend = Backend(home)
        try:
            options = f'-data "{data}"' + (f' -output "{output}"' if output else "")
            backend.do("StartVexa", os.fsencode(options))
            summarise(backend)
        finally:
            backend.StopVexa()  # without effect when no backend runs
    finally:
        shutil.rmtree(directory)  # a backend that died may have left fifos in it


def main(arguments):
    if len(arguments) not in (1, 2):
        sys.exit("usage: summary.py DATA.csv [OUTPUT-PREFIX]")
    output = arguments[1] if len(arguments) == 2 else ""
    home = os.environ.get("VEXA_HOME")
    if not home:
        sys.exit("summary: VEXA_HOME must name the home directory of the backend")
    data = os.path.realpath(arguments[0])
    if not os.path.exists(data):
        sys.exit(f"{arguments[0]}: No such file or directory")
    if '"' in data + output:
        sys.exit("summary: a path must not hold a double quote")
    # An interrupt ends the program in its ordinary way, so that neither the backend nor its fifos stay behind. The
    # interpreter itself ignores SIGPIPE: a write to a backend that died gives a code.
    for number_of_signal in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number_of_signal, lambda *_: sys.exit("summary: interrupted"))
    try:
        run(home, data, output)
    except (Failure, OSError) as failure:
        sys.exit(f"summary: {failure}")
    except KeyboardInterrupt:
        sys.exit("summary: interrupted")


if __name__ == "__main__":
    main(sys.argv[1:])
