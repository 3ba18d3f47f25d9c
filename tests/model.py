"""Random operations on the practice engine's datasets, against a model of them: each has to end with the code that the
model says, and whatever is read, in whatever way, is what the model holds.

    VEXA_HOME=build/release/home PYTHONPATH=build/release/home/lib/python python3 tests/model.py [OPERATIONS [SEED]]
"""
import copy
import csv
import os
import random
import re
import signal
import socket
import struct
import sys
import tempfile
import time

import vexaxd as v

SYSTEM_MISSING = -1.7976931348623157e308
NUMBERS = [-1.0, 0.0, -0.0, 1.5, 2.0, 12345.0, 1e300, 5e-324, float("nan"), float("inf"), -float("inf"), SYSTEM_MISSING]
TEXTS = ["", "x", "missing ", "missing x", "missing      end", " in  side ", "ä €,\"\n", "cr\rcr", "tail   ", "1.5", "-2"]
WIDTHS = [0, 0, 1, 3, 8, 9, 17, 20]
NAMES = ["a", "B", "c1", "_x", "é", "n$", "other", "last"]
BAD_NAMES = ["", "1x", "a.", "a b", "x" * 65]
FIELDS = ["1", "-2.5", "+1e3", " 7 ", "", "inf", "nan", "1e999", "a,b", 'say "hi"', "two\nlines", "cr\rcr", "long text of a column"]
LETTERS = {1: "A", 2: "F", 3: "E", 4: "COMMA", 5: "DOLLAR", 6: "PCT", 7: "DATE", 8: "DATETIME", 9: "TIME"}
WITHOUT_DECIMALS = (1, 7)
LEVELS = ["nominal", "ordinal", "scale"]


def b(text):
    return text.encode("utf-8", "surrogateescape")


def bits(number):
    return struct.pack("<d", number)


def parse(text):
    """The number that a text is, or None."""
    text = text.strip(" \t")
    text = text[1:] if re.match(r"\+[^-]", text) else text
    number = float(text) if re.fullmatch(r"-?(\d+\.?\d*|\.\d+)([eE][+-]?\d+)?", text) else float("inf")
    return number if abs(number) != float("inf") else None


def same(one, other):
    return one.lower() == other.lower() if one.isascii() and other.isascii() else one == other


class Variable:
    def __init__(self, name, width):
        self.name, self.width, self.label, self.role, self.column = name, width, "", 0, 8
        self.labels, self.attributes = {}, {}
        self.format, self.level, self.alignment = ((1, width, 0), 0, 0) if width else ((2, 8, 2), 2, 1)
        self.missing = (0, [b" " * 8] * 3 if width else [0.0] * 3)

    def blank(self):
        return b" " * self.width if self.width else SYSTEM_MISSING

    def state(self, value):
        kind, values = self.missing
        if self.width:
            return int(not value[8:].strip(b" ") and value[:8].ljust(8) in values[:kind])
        if bits(value) == bits(SYSTEM_MISSING):
            return 2
        if kind < 0:
            return int(values[0] <= value <= values[1] or (kind == -3 and bits(value) == bits(values[2])))
        return int(bits(value) in map(bits, values[:kind]))

    def units(self, value, behind=b" "):
        return value.ljust(-(-self.width // 8) * 8, behind) if self.width else bits(value)

    def converted(self, value, to):
        if self.width and to.width:
            return value[: to.width].ljust(to.width)
        if self.width:
            number = parse(value.decode("latin-1"))
            return SYSTEM_MISSING if number is None else number
        if not to.width:
            return value
        text = b(re.sub(r"\.0$", "", repr(value)))
        return to.blank() if value == SYSTEM_MISSING or len(text) > to.width else text.ljust(to.width)


class Dataset:
    def __init__(self, name, variables=()):
        self.name, self.variables, self.rows, self.temporary = name, list(variables), [], False
        self.weight, self.splits, self.sets, self.attributes = "", [], {}, {}

    def find(self, name):
        return next((i for i, variable in enumerate(self.variables) if same(variable.name, name)), None)

    def append(self, columns, values):
        row = [variable.blank() for variable in self.variables]
        for column, value in zip(columns, values):
            row[column] = value
        self.rows.append(row)

    def renamed(self, old, new):
        change = lambda names: [name for name in (new if same(name, old) else name for name in names) if name]  # noqa: E731
        self.weight, self.splits = "".join(change([self.weight])), change(self.splits)
        sets = {key: (*told, change(members)) for key, (*told, members) in self.sets.items()}
        self.sets = {key: told for key, told in sets.items() if told[-1]}

    def units(self, row, behind=b" "):
        return b"".join(variable.units(value, behind) for variable, value in zip(self.variables, row))


class Model:
    """The model, the random choices, and the operations: each does the same to the engine and to the model."""

    def __init__(self, seed, directory):
        self.random, self.directory = random.Random(seed), directory
        self.datasets, self.put_aside, self.doing = [Dataset("first")], None, ""
        self.active = self.datasets[0]
        self.call(0, v.StartDataStep)
        self.call(0, v.CreateDataset, "*", False, False)
        self.call(0, v.SetDatasetName, "*", "first")
        self.restart()

    def pick(self, *values):
        return self.random.choice(values)

    def call(self, code, function, *arguments):
        """Calls, and compares the code. Returns what the function gives."""
        try:
            result, got = function(*arguments), 0
        except v.Error as error:
            result, got = None, error.code
        assert got == code, f"{function.__name__}{arguments} gave {got} and not {code}"
        return result

    def does(self, code, function, *arguments):
        """Whether the call did what it is there for."""
        self.call(code, function, *arguments)
        return code == 0

    def expect(self, what, got, wanted):
        assert got == wanted, f"{what}: {got!r} and not {wanted!r}"

    # --- Steps ---

    def restart(self, outside=lambda: None):
        """The library keeps a catalogue of a step's datasets, which some changes leave behind: it is made anew."""
        self.call(0, v.EndDataStep)
        self.datasets = [d for d in self.datasets if not d.temporary or d is self.active]
        for d in self.datasets:
            d.temporary = False
        outside()
        self.call(0, v.StartDataStep)
        for d in self.datasets:
            self.call(0, v.CreateDataset, d.name, False, False)

    def new_name(self, taken):
        """A name, and the code that the engine has for it."""
        name = self.pick(*NAMES, *(name.upper() for name in NAMES), *BAD_NAMES)
        return name, 2041 if name in BAD_NAMES or any(same(name, other) for other in taken) else 0

    def dataset_name(self):
        """A name, its code, and the dataset that is there by that name."""
        name, code = self.new_name(())
        there = next((d for d in self.datasets if same(d.name, name)), None) if name else self.active
        return name, 0 if there else code, there

    def value_of(self, variable):
        width = variable.width
        return b(self.pick(*TEXTS))[:width].ljust(width) if width else self.pick(*NUMBERS)

    def kind_for(self, variable):
        """Whether a text is given to it: the right kind, as a rule."""
        return (variable.width > 0) == (self.random.random() < 0.93)

    def some(self, values, most):
        return [self.pick(*values) for _ in range(self.random.randrange(most + 1))]

    def index(self, count, beyond=0):
        """An index, and whether it is out of range."""
        index = self.random.randrange(-1, count + beyond + 1)
        return index, not 0 <= index < count + beyond

    # --- Variables and cases of a dataset of the step ---

    def insert_variable(self, d):
        at, bad = self.index(len(d.variables), 1)
        width = self.pick(*WIDTHS, -1, 32768)
        name, code = self.new_name([variable.name for variable in d.variables])
        code = 2011 if not 0 <= width <= 32767 else 10 if bad else code
        if self.does(code, v.InsertVariable, d.name, at, name, width):
            d.variables.insert(at, Variable(name, width))
            for row in d.rows:
                row.insert(at, d.variables[at].blank())

    def delete_variable(self, d):
        at, bad = self.index(len(d.variables))
        if self.does(10 if bad else 0, v.DeleteVariable, d.name, at):
            d.renamed(d.variables.pop(at).name, "")
            for row in d.rows:
                del row[at]

    def change_type(self, d):
        at, bad = self.index(len(d.variables))
        width = self.pick(*WIDTHS, 32768)
        if not self.does(2011 if width > 32767 else 10 if bad else 0, v.SetVarTypeInDS, d.name, at, width):
            return
        old, new = d.variables[at], Variable(d.variables[at].name, width)
        if bool(old.width) != bool(width):
            new.label, new.role, new.attributes = old.label, old.role, old.attributes
        elif width:
            new = copy.deepcopy(old)
            new.width, new.format = width, (old.format[0], width, old.format[2])
            new.labels = {value: label for value, label in old.labels.items() if len(b(value)) <= width}
        else:
            new = old
        for row in d.rows:
            row[at] = old.converted(row[at], new)
        d.variables[at] = new
        self.check_variable(d, at)

    def move_variables(self, d):
        indices = [self.index(len(d.variables)) for _ in range(self.random.randrange(4))]
        target, bad = self.index(len(d.variables), 1)
        moved = [index for index, _ in indices]
        wrong = (10 if out else 2011 for i, (index, out) in enumerate(indices) if out or index in moved[:i])
        code = next(wrong, 10 if bad else 0)
        if self.does(code, v.MoveVariables, d.name, moved, target):
            stay = [i for i in range(len(d.variables)) if i not in moved]
            order = [i for i in stay if i < target] + moved + [i for i in stay if i >= target]
            d.variables = [d.variables[i] for i in order]
            d.rows = [[row[i] for i in order] for row in d.rows]
            self.restart()

    def rename_variable(self, d):
        at, bad = self.index(len(d.variables))
        name, code = self.new_name([variable.name for i, variable in enumerate(d.variables) if i != at])
        code = 10 if bad else code
        if self.does(code, v.SetVarNameInDS, d.name, at, name):
            d.renamed(d.variables[at].name, name)
            d.variables[at].name = name

    def insert_case(self, d):
        at, bad = self.index(len(d.rows), 1)
        if self.does(97 if bad else 0, v.InsertCase, d.name, at):
            d.rows.insert(at, [variable.blank() for variable in d.variables])

    def delete_case(self, d):
        at, bad = self.index(len(d.rows))
        if self.does(97 if bad else 0, v.DeleteCase, d.name, at):
            del d.rows[at]

    # --- What is said of variables, by their index or by name ---

    def describe(self, d, at=None, by_name=False):
        if not d.variables:
            return
        at = self.random.randrange(len(d.variables)) if at is None else at
        variable = d.variables[at]
        what = self.pick("_label", "_number", "_level", "_format", *["_missing", "_labels"] * 3)
        code, change, arguments, function = getattr(self, what)(variable, by_name)
        function, whose = (function, [variable.name]) if by_name else (function + "InDS", [d.name, at])
        if self.does(code, getattr(v, function), *whose, *arguments):
            change()
        if not by_name:
            self.check_variable(d, at)

    def _label(self, variable, _):
        label = self.pick(*TEXTS)
        return 0, lambda: setattr(variable, "label", label), [label], "SetVarLabel"

    def _number(self, variable, by_name):
        field, least, most, function = self.pick(("alignment", 0, 2, "SetVarAlignment"), ("role", 0, 5, "SetVarRole"),
                                                 *[("column", 1, 255, "SetVarColumnWidth")] * (not by_name))  # fmt: skip
        value = self.pick(least - 1, least, least + 1, most, most + 1)
        return 0 if least <= value <= most else 2011, lambda: setattr(variable, field, value), [value], function

    def _level(self, variable, by_name):
        level = self.random.randrange(-1, 4)
        word = LEVELS[level].upper() if 0 <= level <= 2 else "high"
        change = lambda: setattr(variable, "level", level)  # noqa: E731
        function = "SetVarMeasureLevel" if by_name else "SetVarMeasurementLevel"
        return 0 if 0 <= level <= 2 else 2011, change, [level + 1 if by_name else word], function

    def _format(self, variable, _):
        kind, width = self.random.randrange(0, 11), self.pick(0, 1, 8, 16, 17, 18, 40, 41)
        decimals = self.pick(-1, 0, 1, width - 1, width, 16, 17)
        most = (32767 if kind == 1 else 40, 0 if kind in WITHOUT_DECIMALS else min(16, width - 1))
        fits = 1 <= width <= most[0] and 0 <= decimals <= most[1]
        code = 2011 if kind not in LETTERS else 24 if (kind == 1) != (variable.width > 0) else 0 if fits else 2011
        return code, lambda: setattr(variable, "format", (kind, width, decimals)), [kind, width, decimals], "SetVarFormat"

    def _missing(self, variable, _):
        is_text, kind = self.kind_for(variable), self.random.randrange(-4, 5)
        if is_text:
            texts = self.some(["", "x", "missing", "missing ", "1.5", "nine byte"], 3)
            code = 24 if not variable.width else 2040 if "nine byte" in texts else 0
            code = code if 0 <= kind <= len(texts) else 2011
            values = [b(text).ljust(8) for text in texts] + [b" " * 8] * (3 - len(texts))
            return code, lambda: setattr(variable, "missing", (kind, values)), [kind, *texts], "SetVarCMissingValues"
        values = [self.pick(*NUMBERS) for _ in range(3)]
        code = 2011 if kind in (-4, -1, 4) else 24 if variable.width else 0
        return code, lambda: setattr(variable, "missing", (kind, values)), [kind, *values], "SetVarNMissingValues"

    def _labels(self, variable, by_name):
        is_text, label = self.kind_for(variable), self.pick(*TEXTS)
        value = self.pick(*TEXTS[:4]) if is_text else self.pick(*NUMBERS[:5])
        key = value if is_text else bits(value)
        code = 24 if is_text != (variable.width > 0) else 2040 if is_text and len(b(value)) > variable.width else 0
        letter = "C" if is_text else "N"
        if by_name or self.random.random() < 0.7:
            arguments = [value, label] if is_text or by_name else [label, value]
            return code, lambda: variable.labels.update({key: label}), arguments, f"SetVar{letter}ValueLabel"
        if self.random.random() < 0.2:
            return 0, variable.labels.clear, [], "DelVarValueLabel"
        code = code or (0 if key in variable.labels else 2033)
        return code, lambda: variable.labels.pop(key), [value], f"DelVar{letter}ValueLabel"

    def attribute(self, d):
        """Of a variable, or of the dataset."""
        at = self.random.randrange(len(d.variables)) if d.variables and self.random.random() < 0.7 else None
        owner, whose, places = (d, "DataFile", []) if at is None else (d.variables[at], "Var", [at])
        name = self.pick("Unit", "UNIT", "note", "")
        if self.random.random() < 0.6:
            values = self.some(TEXTS, 2)
            if self.does(0 if name else 2011, getattr(v, f"Set{whose}AttributesInDS"), d.name, *places, name, values):
                owner.attributes[name.lower()] = (owner.attributes.get(name.lower(), [name])[0], values)
        else:
            there = owner.attributes.pop(name.lower(), None)
            self.call(0 if there else 2033, getattr(v, f"Del{whose}AttributesInDS"), d.name, *places, name)
        names = v.GetDataFileAttributeNamesInDS(d.name) if at is None else v.GetVarAttributesNameInDS(d.name, at)
        self.expect("attributes", names, [name for name, _ in owner.attributes.values()])
        for name, values in owner.attributes.values():
            told = getattr(v, f"Get{whose}AttributesInDS")(d.name, *places, name.upper())
            self.expect(name, told, values)

    def response_set(self, d):
        name, coding, counted = self.pick("$s", "$S", "$t"), self.random.randrange(0, 4), self.pick("1", "x")
        indices = [self.index(len(d.variables)) for _ in range(self.random.randrange(3))]
        members = ["nowhere" if bad else d.variables[i].name for i, bad in indices]
        kinds = [None if bad else d.variables[i].width > 0 for i, bad in indices]
        wrong = (2033 if kind is None else 24 for kind in kinds if kind is None or kind != kinds[0])
        code = next(wrong, 0) if members and coding in (1, 2) else 2011
        if self.random.random() < 0.2:
            there = d.sets.pop(name.lower(), None)
            return self.call(0 if there else 2033, v.DelMultiResponseSetInDS, d.name, name)
        if self.does(code, v.SetMultiResponseSetInDS, d.name, name, "Set", coding, counted, members):
            d.sets[name.lower()] = (name, coding, counted if coding == 1 else "", int(kinds[0]), members)

    # --- Values, in each of the ways ---

    def write_cells(self, d):
        code, changes = 0, []
        for _ in range(self.random.randrange(1, 5)):
            (row, no_row), (column, no_column) = self.index(len(d.rows)), self.index(len(d.variables))
            column = -1 if no_column else column
            is_text = self.kind_for(d.variables[column]) if not no_column else self.pick(True, False)
            value = self.pick(*TEXTS) if is_text else self.pick(*NUMBERS)
            refusal = 97 if no_row else 10 if no_column else 0
            self.call(refusal, v.SetCCellValue if is_text else v.SetNCellValue, d.name, row, column, value)
            if not refusal:
                width = d.variables[column].width
                code = code or (24 if is_text != (width > 0) else 2040 if is_text and len(b(value)) > width else 0)
                changes.append((row, column, b(value).ljust(width) if is_text else value))
        self.call(code, v.CommitDataSet)
        for row, column, value in changes if not code else ():
            d.rows[row][column] = value

    def write_case(self, d):
        """Whole, with what nobody may see behind the width of a text."""
        row, bad = self.index(len(d.rows))
        values = [self.value_of(variable) for variable in d.variables]
        data = d.units(values, b"#")
        longer = self.random.random() < 0.1
        if self.does(2011 if longer else 97 if bad else 0, v.SetCaseValue, d.name, row, False, data + b"x" * longer):
            d.rows[row] = values

    def write_part(self, d):
        if not d.rows or not d.variables:
            return
        row, taken = self.random.randrange(len(d.rows)), [i for i in range(len(d.variables)) if self.pick(True, False)]
        self.call(0, v.GetCaseValue, d.name, row, False)
        for i, variable in enumerate(d.variables):
            value = self.value_of(variable)
            function = v.SetCCellValueFromCache if variable.width else v.SetNCellValueFromCache
            self.call(0, function, d.name, i, value)
            if i in taken:
                d.rows[row][i] = value
        self.random.shuffle(taken)
        self.call(0, v.SetCasePartValue, d.name, row, taken, False)

    def put_rows_aside(self, d):
        indices = [self.index(len(d.variables)) for _ in range(self.random.randrange(4))]
        bad, columns = any(bad for _, bad in indices), [i for i, _ in indices] or list(range(len(d.variables)))
        self.call(10 if bad else 0, v.SaveDataToTempFile, d.name, [i for i, _ in indices])
        if bad:
            return
        variables = [(d.variables[i].name, d.variables[i].width) for i in columns]
        self.put_aside = variables, [[row[i] for i in columns] for row in d.rows]
        keys = [[d.variables[d.find(name)].units(row[d.find(name)]) for name in d.splits] for row in d.rows]
        ends = [i for i in range(len(keys)) if i + 1 == len(keys) or keys[i] != keys[i + 1]]
        self.expect("split ends", v.GetSplitEndIndex(), ends)
        self.expect("rows put aside", v.GetRowCountInTempFile(), len(keys))

    def take_rows_back(self, d):
        variables, rows = self.put_aside or ([], [])
        (first, _), (last, bad) = self.index(len(rows)), self.index(len(rows))
        columns = [d.find(name) for name, _ in variables]
        code = 2048 if not self.put_aside else 97 if bad or first < 0 or last < first else 0
        found = [(i, width) for (_, width), i in zip(variables, columns) if i is None or d.variables[i].width != width]
        code = code or next((2033 if i is None else 24 for i, _ in found), 0)
        if self.does(code, v.GetDataFromTempFile, d.name, first, last):
            for row in rows[first : last + 1]:
                d.append(columns, row)
            self.restart()

    # --- Datasets ---

    def add_dataset(self, d):
        if len(self.datasets) > 3:
            return
        name, code, there = self.dataset_name()
        temporary, active = self.pick(True, False), self.random.random() < 0.2
        self.call(code, v.CreateDataset, name, temporary, active)
        if not code and not there:
            there = Dataset(name)
            there.temporary = temporary
            self.datasets.append(there)
        self.active = there if active and there else self.active
        self.restart()

    def rename_dataset(self, d):
        name, code = self.new_name(other.name for other in self.datasets if other is not d)
        if self.does(code, v.SetDatasetName, d.name, name):
            d.name = name
            self.restart()

    def copy_dataset(self, d):
        name, code, there = self.dataset_name()
        code = 2041 if there is d else 2044 if there else code
        if code == 0 and len(self.datasets) > 3:
            return
        if self.does(code, v.CopyDataset, d.name, name):
            self.datasets.append(copy.deepcopy(d))
            self.datasets[-1].name, self.datasets[-1].temporary = name, False
            self.restart()

    def close_dataset(self, d):
        self.call(0, v.CloseDataset, d.name)
        self.datasets = [other for other in self.datasets if other is not d or d is self.active]
        self.restart()

    def activate(self, d):
        self.call(0, v.SetActive, d.name)
        self.active = d
        self.expect("active", v.GetActive(), d.name)

    # --- Outside of the step: what is about the active dataset ---

    def outside(self, d):
        work = self.pick(self.declare, self.commit_new, self.commit_many, self.commit_at_cursor, self.stream_in,
                         self.stream_out, self.read_csv, self.save_csv)  # fmt: skip
        self.restart(lambda: work(self.active))

    def declare(self, d):
        variables = []
        for _ in range(self.random.randrange(1, 3)):
            name, code = self.new_name([variable.name for variable in d.variables + variables])
            if not code:
                variables.append(Variable(name, self.pick(*WIDTHS)))
        if not variables or len(d.variables) > 7:
            return self.call(2042, v.CommitHeader)
        names, widths = [variable.name for variable in variables], [variable.width for variable in variables]
        if self.pick(True, False):
            self.call(0, v.SetVarNameAndType, names, widths)
        else:
            self.call(0, v.AllocNewVarsBuffer, len(variables))
            for variable in zip(names, widths):
                self.call(0, v.SetOneVarNameAndType, *variable)
        self.call(2042, v.EndChanges)
        described = Dataset("", d.variables + variables)
        for _ in range(5):
            self.describe(described, by_name=True)
        self.call(0, v.CommitHeader)
        self.call(0, v.EndChanges)
        d.variables += variables
        for row in d.rows:
            row += [variable.blank() for variable in variables]

    def gather(self, d):
        """Values for a commit. Returns its code, and what it stores."""
        code, values = {False: 0, True: 0}, {}
        for variable in self.random.sample(d.variables, self.random.randrange(len(d.variables) + 1)):
            is_text = self.kind_for(variable)
            fits = is_text == (variable.width > 0)
            value = b(self.pick(*TEXTS)) if is_text else self.pick(*NUMBERS)
            if not code[is_text]:
                code[is_text] = 24 if not fits else 2040 if is_text and len(value) > variable.width else 0
            self.call(0, v.SetValueChar if is_text else v.SetValueNumeric, variable.name, value)
            values[d.find(variable.name)] = value.ljust(variable.width) if is_text else value
        return code[False] or code[True], values

    def commit_new(self, d):
        code, values = self.gather(d)
        code = code if d.variables else 2014
        if self.does(code, v.CommitNewCase):
            d.append(values.keys(), values.values())

    def commit_many(self, d):
        chosen = self.random.sample(d.variables, min(len(d.variables), self.random.randrange(1, 4)))
        if not chosen:
            return
        rows = [[self.value_of(variable) for variable in chosen] for _ in range(self.random.randrange(3))]
        data = b"".join(variable.units(value, b"#") for row in rows for variable, value in zip(chosen, row))
        wrong = self.pick(0, 0, 0, 8)
        names, widths = [variable.name for variable in chosen], [variable.width + wrong for variable in chosen]
        self.call(24 if wrong else 0, v.CommitManyCases, names, widths, data, len(rows))
        for row in rows if not wrong else ():
            d.append([d.find(variable.name) for variable in chosen], row)

    def commit_at_cursor(self, d):
        access = self.pick("w", "w", "r", "x")
        code = 2015 if access == "x" else 0 if d.variables else 2014
        self.call(code, v.MakeCaseCursor, access)
        if code:
            return
        self.call(2043 if access == "r" else 10, v.CommitCaseRecord)
        for at in range(len(d.rows)):
            self.call(0, v.NextCase)
            for column, variable in enumerate(d.variables):
                value, missing = (v.GetStringValue if variable.width else v.GetNumericValue)(column)
                self.same_cell(d, at, column, value, missing, "by cursor")
            if access == "w" and self.pick(True, False):
                code, values = self.gather(d)
                self.call(code, v.CommitCaseRecord)
                for column, value in values.items() if not code else ():
                    d.rows[at][column] = value
        self.call(23, v.NextCase)
        self.call(0, v.RemoveCaseCursor)

    def connect(self):
        port = v.CreateSocket()
        end = socket.create_connection(("127.0.0.1", port))
        self.call(0, v.AcceptSocket)
        return port, end

    def stream_in(self, d):
        port, end = self.connect()
        rows = [[self.value_of(variable) for variable in d.variables] for _ in range(self.random.randrange(3))]
        with end:
            end.sendall(b"".join(d.units(row, b"#") for row in rows))
            end.shutdown(socket.SHUT_WR)
            self.call(0 if d.variables else 2014, v.Submit, f"GET DATA /TYPE=BINARYSTREAM /SOCKET={port}.")
        d.rows += rows if d.variables else []

    def stream_out(self, d):
        port, end = self.connect()
        with end:
            self.call(0, v.Submit, f"SAVE /TYPE=BINARYSTREAM /SOCKET={port}.")
            self.expect("stream", b"".join(iter(lambda: end.recv(65536), b"")), b"".join(map(d.units, d.rows)))

    def read_csv(self, d):
        name, code = self.new_name([other.name for other in self.datasets])
        if len(self.datasets) > 3 and not code:
            return
        names = self.random.sample(NAMES, self.random.randrange(1, 5))
        kinds = [self.pick(FIELDS[:5], FIELDS[:8], FIELDS) for _ in names]
        rows = [[self.pick(*kind) for kind in kinds] for _ in range(self.random.randrange(5))]
        is_number = lambda field: not field.strip(" \t") or parse(field) is not None  # noqa: E731
        widths = [0 if all(map(is_number, column)) else max(len(b(field)) for field in column) for column in zip(*rows)]
        lines = [names, *map(list, rows)]
        read = Dataset(name, map(Variable, names, widths or [0] * len(names)))
        read.rows = rows
        for row in rows:
            for i, (field, variable) in enumerate(zip(row, read.variables)):
                number = parse(field) if field else SYSTEM_MISSING
                row[i] = b(field).ljust(variable.width) if variable.width else number
        path = os.path.join(self.directory, "in.csv")
        quoted = lambda field: '"' + field.replace('"', '""') + '"' if re.search('[,"\r\n]', field) else field  # noqa: E731
        with open(path, "w", encoding="utf-8", newline="") as file:
            file.write(self.pick("", "\ufeff") + "".join(",".join(map(quoted, row)) + self.pick("\n", "\r\n") for row in lines))
        with open(path + ".vars", "w", encoding="utf-8") as file:
            read.weight = next((variable.name for variable in read.variables if not variable.width), "")
            read.splits = self.random.sample(names, self.random.randrange(1, len(names) + 1))
            file.write(f"weight {read.weight}\n" * bool(read.weight) + f"split {' '.join(read.splits)}\n")
        self.call(code, v.Submit, f'GET DATA /TYPE=CSV /FILE="{path}" /DATASET="{name}".')
        self.datasets += [read] if not code else []

    def save_csv(self, d):
        path = os.path.join(self.directory, "out.csv")
        self.call(0 if d.variables else 2014, v.Submit, f'SAVE /TYPE=CSV /FILE="{path}".')
        if not d.variables:
            return
        with open(path, encoding="utf-8", errors="surrogateescape", newline="") as file:
            text = file.read()
        lines = list(csv.reader(re.findall(r'(?:"(?:[^"]|"")*"|[^"\n])*\n', text), strict=True))
        self.expect("names", lines[0], [variable.name for variable in d.variables])
        self.expect("cases", len(lines), 1 + len(d.rows))
        for line, row in zip(lines[1:], d.rows):
            for field, value, variable in zip(line or [""], row, d.variables):
                if variable.width:
                    self.expect("field", b(field), value.rstrip(b" "))
                elif value == value:
                    self.expect("field", bits(float(field or SYSTEM_MISSING)), bits(value))

    # --- What is read ---

    def same_cell(self, d, row, column, value, missing, how):
        variable, wanted = d.variables[column], d.rows[row][column]
        got, held = (b(value), wanted) if variable.width else (bits(value), bits(wanted))
        state = missing if missing is None else variable.state(wanted)
        self.expect(f"{d.name}[{row}, {variable.name}] {how}", (got, missing), (held, state))

    def check_row(self, d, row):
        self.call(0, v.GetCaseValue, d.name, row, False)
        v.ClearDatastepBatch()
        for column, variable in enumerate(d.variables):
            letter = "C" if variable.width else "N"
            for how in ("", "Optimize"):
                value, missing = self.call(0, getattr(v, f"Get{letter}CellValue{how}"), d.name, row, column)
                self.same_cell(d, row, column, value, missing, "by " + (how or "cell"))
            value = self.call(0, getattr(v, f"Get{letter}CellValueFromCache"), d.name, column)
            self.same_cell(d, row, column, value if variable.width else value[0], None, "by case")
            self.call(*((56, v.GetNCellValue) if variable.width else (57, v.GetCCellValue)), d.name, row, column)
        if d.variables:
            first, last, count = v.GetRowList(d.name, row, 0)
            self.expect("batch", (first <= row <= last < count, count), (True, len(d.rows)))

    def check_variable(self, d, at):
        variable = d.variables[at]
        ask = lambda function: self.call(0, getattr(v, f"GetVar{function}InDS"), d.name, at)  # noqa: E731
        kind, width, decimals = variable.format
        told = [*map(ask, ("Name", "Label", "Type", "MeasurementLevel", "Role", "Alignment", "ColumnWidth"))]
        wanted = [variable.name, variable.label, variable.width, LEVELS[variable.level], variable.role, variable.alignment]
        self.expect("variable", told, [*wanted, variable.column])
        self.expect("format", ask("Format"), LETTERS[kind] + str(width) + ("" if kind in WITHOUT_DECIMALS else f".{decimals}"))
        letter = "C" if variable.width else "N"
        form, *values = ask(letter + "MissingValues")
        wanted = [value.decode() if variable.width else bits(value) for value in variable.missing[1]]
        values = values if variable.width else [*map(bits, values)]
        self.expect("missing values", (form, values), (variable.missing[0], wanted))
        values, labels = ask(letter + "ValueLabel")
        told = dict(zip(values if variable.width else map(bits, values), labels))
        self.expect("value labels", (list(told.items()), len(values)), (list(variable.labels.items()), len(told)))

    def check(self, d):
        self.expect("size", (v.GetVarCountInDS(d.name), v.GetCaseCountInDS(d.name)), (len(d.variables), len(d.rows)))
        self.expect("sets", v.GetMultiResponseSetNamesInDS(d.name), [told[0] for told in d.sets.values()])
        for name, coding, counted, is_text, members in d.sets.values():
            self.expect(name, tuple(v.GetMultiResponseSetInDS(d.name, name)), ("Set", coding, counted, is_text, members))
        if d is self.active:
            self.expect("weight and splits", (v.GetWeightVar(), v.GetSplitVariableNames()), (d.weight, d.splits))
        if d.rows:
            self.check_row(d, self.random.randrange(len(d.rows)))

    def check_all(self):
        self.expect("datasets", v.GetVexaDatasets(), [d.name for d in self.datasets])
        for d in self.datasets:
            self.check(d)
            for at in range(len(d.variables)):
                self.check_variable(d, at)
            for row in range(len(d.rows)):
                self.check_row(d, row)

    def operate(self):
        d = self.random.choice(self.datasets)
        few, many = len(d.rows) < 9, len(d.variables) < 7
        often = {"describe": 12, "write_cells": 8, "write_case": 4, "write_part": 4, "change_type": 4, "attribute": 3,
                 "insert_case": 4 * few, "delete_case": 2, "insert_variable": 4 * many, "delete_variable": 2,
                 "rename_variable": 3, "response_set": 3, "move_variables": 1, "put_rows_aside": 2, "take_rows_back": 1,
                 "outside": 6, "activate": 1, "add_dataset": 0.3, "rename_dataset": 0.3, "copy_dataset": 0.3,
                 "close_dataset": 0.3}  # fmt: skip
        self.doing = self.random.choices(list(often), often.values())[0]
        getattr(self, self.doing)(d)
        if d in self.datasets:
            self.check(d)


def wide_cases():
    """Cases of more than a batch can hold come one by one."""
    v.StartDataStep()
    v.CreateDataset("wide", True, False)
    for i in range(129):
        v.InsertVariable("wide", i, f"v{i}", 32767)
    for row in range(2):
        v.InsertCase("wide", row)
        v.SetCCellValue("wide", row, 0, str(row))
    for row in range(2):
        assert v.GetCCellValueOptimize("wide", row, 0).value.rstrip() == str(row)
        assert v.GetRowList("wide", row, 0) == (row, row, 2)
    v.EndDataStep()


def main():
    operations = int(sys.argv[1]) if len(sys.argv) > 1 else 10000
    seed = int(sys.argv[2]) if len(sys.argv) > 2 else int(time.time())
    print(f"{operations} operations, seed {seed}", flush=True)
    signal.alarm(280)
    with tempfile.TemporaryDirectory() as directory:
        os.environ["VEXADXTEMP"] = directory
        with v.session():
            wide_cases()
            model = Model(seed, directory)
            for number in range(operations):
                try:
                    model.operate()
                    if number % 100 == 0:
                        model.check_all()
                except Exception as failure:
                    sys.exit(f"operation {number}, {model.doing}: {failure!r}")
        left = [name for name in os.listdir(directory) if ".csv" not in name]
        assert not left, left


if __name__ == "__main__":
    main()
