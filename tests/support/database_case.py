"""What the tests of `vexasql` share: a server for all tests of a program, a session for each, and the look that nothing is
left of that session.
"""
import os
import pathlib
import signal
import struct
import tempfile
import unittest

import cluster
import vexaxd
from cell import wait_for

FAILED, LOST, CANCELLED, ROW_CHANGED, CANNOT, NOT_DONE = 2060, 2061, 2062, 2063, 2064, 2050
ESCAPES = {"\\": "\\", "n": "\n", "t": "\t", "r": "\r", "b": "\b", "f": "\f", "v": "\v"}


def block(lines):
    return f"LANGUAGE PYTHON.\n{lines}\nEND LANGUAGE.\n"


def unescaped(field):
    """A field of COPY in its text form; None for NULL."""
    if field == "\\N":
        return None
    parts = field.split("\\")
    text, rest = parts[0], iter(parts[1:])
    for part in rest:
        text += "\\" + next(rest, "") if part == "" else ESCAPES[part[0]] + part[1:]
    return text


class Case(unittest.TestCase):
    settings = {}  # of the server

    @classmethod
    def setUpClass(cls):
        cls.server = cls.enterClassContext(cluster.Server(**cls.settings))

    def setUp(self):
        signal.alarm(110)
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = pathlib.Path(directory.name)
        os.environ.update(VEXADXTEMP=directory.name, VEXATMPDIR=directory.name, TMPDIR=directory.name)
        self.psql("DROP SCHEMA public CASCADE; CREATE SCHEMA public")
        self.start()

    def tearDown(self):
        vexaxd.StopVexa()
        self.nothing_left()

    @property
    def options(self):
        return f'-database "{self.server.string}" -log {self.directory}/log'

    def start(self):
        vexaxd.StartVexa(self.options)

    def psql(self, sql):
        return self.server.psql(sql)

    def rows(self, query):
        """What psql prints of a query: a list for each row, with None for NULL."""
        printed = self.psql(f"COPY ({query}) TO STDOUT")
        return [[unescaped(field) for field in line.split("\t")] for line in printed.split("\n")] if printed else []

    def sessions(self, condition="true"):
        """Those of other clients that the server has now."""
        return int(self.psql(f"SELECT count(*) FROM pg_stat_activity WHERE backend_type = 'client backend' AND pid <> pg_backend_pid() AND {condition}"))

    def nothing_left(self):
        wait_for(lambda: self.sessions() == 0, "a session is left on the server", 1)
        left = "SELECT count(*) FROM pg_class WHERE relpersistence = 't'"
        wait_for(lambda: self.psql(left) == "0", "a temporary table is left", 1)
        self.assertEqual(self.psql("SELECT count(*) FROM pg_prepared_xacts"), "0")

    # --- verbs ---

    def submit(self, text):
        """The code."""
        try:
            vexaxd.Submit(text)
        except vexaxd.Error as error:
            self.reason = error.text
            return error.code
        return 0

    def refused(self, code, function, *arguments, **named):
        """The reason in words."""
        with self.assertRaises(vexaxd.Error) as raised:
            function(*arguments, **named)
        self.assertEqual(raised.exception.code, code, raised.exception.text)
        return raised.exception.text

    def names(self):
        return [vexaxd.GetVariableName(index) for index in range(vexaxd.GetVariableCount())]

    def cells(self):
        """All cells of the active dataset by the cursor: numbers as their bytes, None for what is missing, texts without the
        blanks at their end."""
        text = [vexaxd.GetVariableType(index) > 0 for index in range(vexaxd.GetVariableCount())]
        rows = []
        vexaxd.MakeCaseCursor("r")
        while True:
            try:
                vexaxd.NextCase()
            except vexaxd.EndOfData:
                break
            row = []
            for index, is_text in enumerate(text):
                value, missing = (vexaxd.GetStringValue if is_text else vexaxd.GetNumericValue)(index)
                row.append(value.rstrip(" ") if is_text else None if missing == vexaxd.SYSTEM_MISSING else struct.pack("d", value))
            rows.append(row)
        vexaxd.RemoveCaseCursor()
        return rows

    def output(self):
        """All text of the output."""
        vexaxd.CreateXPathDictionary("output")
        try:
            return "".join(vexaxd.EvaluateXPath("output", "", "//text/text()"))
        finally:
            vexaxd.RemoveXPathHandle("output")
