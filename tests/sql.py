"""A database behind the interface: the staged `vexasql` on a PostgreSQL server of its own, held against what psql prints.

    VEXA_HOME=build/release/home PYTHONPATH=build/release/home/lib/python python3 tests/sql.py [Types | Walks | ...]
"""
import os
import pathlib
import random
import string
import struct
import subprocess
import sys
import unittest

HERE = pathlib.Path(__file__).resolve().parent
sys.path[:0] = [str(HERE / "support"), str(HERE / "deaths")]
import vexaxd
from cell import wait_for
from database_case import CANNOT, FAILED, NOT_DONE, ROW_CHANGED, Case, block

ROWS = 300  # of random values for each type
SYSTEM_MISSING_BYTES = struct.pack("d", -sys.float_info.max)
LETTERS = string.ascii_letters + " _'\"\\\n\t%äßø€漢字🙂\u0301"


def quoted(text):
    return "NULL" if text is None else "'" + text.replace("'", "''") + "'"


class Types(Case):
    """Random values of each type beside what the server says that they are."""

    def values_are_kept(self, sql_type, literals, expected="v", wanted=None, prepare=""):
        """`expected` is SQL for what psql is to print, and `wanted` what of it a cell has: a number's bytes without it."""
        wanted = wanted or (lambda printed: None if printed is None else struct.pack("d", float(printed)))
        values = ", ".join(f"({row}, {quoted(literal)})" for row, literal in enumerate([*literals, None]))
        self.psql(f"{prepare}; CREATE TABLE t (id int PRIMARY KEY, v {sql_type}); INSERT INTO t VALUES {values}")
        printed = [wanted(row[0]) for row in self.rows(f"SELECT {expected} FROM t ORDER BY id")]
        self.assertEqual(len(printed), len(literals) + 1)
        for command in "SELECT v FROM t ORDER BY id;", "TABLE t;":
            self.assertEqual(self.submit(command), 0)
            with self.subTest(type=sql_type, command=command):
                for literal, found, right in zip([*literals, None], (row[-1] for row in self.cells()), printed, strict=True):
                    self.assertEqual(found, right, literal)
        self.psql("DROP TABLE t")

    def test_numbers_are_the_servers_bit_by_bit(self):
        chance = random.Random(1)

        def whole(bits):
            return [str(chance.randint(-(2 ** (bits - 1)), 2 ** (bits - 1) - 1) >> chance.randrange(bits)) for _ in range(ROWS)] \
                + [str(-(2 ** (bits - 1))), str(2 ** (bits - 1) - 1), "0"]  # fmt: skip

        def decimal():
            digits = "".join(chance.choices(string.digits, k=chance.randrange(1, 41)))
            point = chance.randrange(len(digits) + 1)
            return chance.choice(["", "-"]) + f"{digits[:point]}.{digits[point:]}0e{chance.choice([0, 0, 0, chance.randrange(-250, 250)])}"

        def double(kind, size):
            """Those with any bits: the literal is what Python prints of it."""
            value = struct.unpack(kind, chance.randbytes(size))[0]
            return "NaN" if value != value else repr(value).replace("inf", "Infinity")

        special = ["NaN", "Infinity", "-Infinity", "0", "-0"]
        for sql_type, literals in (
            ("int2", whole(16)),
            ("int4", whole(32)),
            ("int8", [*whole(64), "9007199254740993"]),
            ("oid", [str(chance.getrandbits(32)) for _ in range(ROWS)]),
            ("float8", [*(double("d", 8) for _ in range(ROWS)), *special, "5e-324", "1.7976931348623157e308"]),
            ("float4", [*(double("f", 4) for _ in range(ROWS)), *special]),
            ("numeric", [*(decimal() for _ in range(ROWS)), *special, "9007199254740993", "0.1", "1e300", "123456789012345678901234567890.5"]),
            ("numeric(12, 3)", [f"{chance.uniform(-1e8, 1e8):.3f}" for _ in range(ROWS)]),
        ):  # fmt: skip
            # A float4 is printed with no more digits than tell it from its neighbours.
            self.values_are_kept(sql_type, literals, "v::float8" if sql_type == "float4" else "v")
        self.values_are_kept("money", [f"{chance.uniform(-1e9, 1e9):.2f}" for _ in range(ROWS)], "v::numeric")
        self.values_are_kept("bool", ["true", "false"], "v::int")

    def test_times_are_seconds(self):
        chance = random.Random(2)

        def micros():
            return f"{chance.randrange(10**6):06}"

        def day():
            era = chance.choice(["", "", " BC"])
            return f"{chance.choice([1970, chance.randrange(1, 3000)]):04}-{chance.randrange(1, 13):02}-{chance.randrange(1, 29):02}", era

        def clock():
            return f"{chance.randrange(24):02}:{chance.randrange(60):02}:{chance.randrange(60):02}.{micros()}"

        days = [day() for _ in range(ROWS)] + [("1970-01-01", ""), ("2000-01-01", ""), ("infinity", ""), ("-infinity", "")]
        epoch = "extract(epoch FROM v)"
        self.values_are_kept("date", [date + era for date, era in days], epoch)
        timestamps = [date + ("" if "inf" in date else " " + clock() + era) for date, era in days]
        self.values_are_kept("timestamp", timestamps, epoch)
        zones = [chance.choice(["+00", "-08", "+05:45"]) for _ in days]
        zoned = [date + ("" if "inf" in date else f" {clock()}{zone}{era}") for (date, era), zone in zip(days, zones)]
        self.values_are_kept("timestamptz", zoned, epoch)
        self.values_are_kept("time", [clock() for _ in days] + ["00:00", "24:00"], epoch)
        spans = [f"{chance.randrange(-200, 200)} months {chance.randrange(-99, 99)} days {clock()}" for _ in days]
        self.values_are_kept("interval", spans, epoch)

    def test_texts_are_those_of_the_server(self):
        chance = random.Random(3)
        texts = ["".join(chance.choices(LETTERS, k=chance.choice([0, 1, 7, 40, 300]))) for _ in range(ROWS)]
        text = lambda printed: (printed or "").rstrip(" ")  # noqa: E731
        self.values_are_kept("text", texts, wanted=text)
        self.values_are_kept("varchar(12)", [each[:12] for each in texts], wanted=text)
        self.values_are_kept("char(7)", [each[:7] for each in texts], wanted=text)
        for sql_type, literals in (
            ("uuid", ["a0eebc99-9c0b-4ef8-bb6d-6bb9bd380a11"]),
            ("jsonb", ['{"a": [1, 2.50, "ü"]}', "null"]),
            ("bytea", ["\\x00ff10", ""]),
            ("inet", ["10.1.2.3/8", "::1"]),
            ("text[]", ['{a,"b c",NULL}', "{}"]),
            ("int4range", ["[1,10)", "empty"]),
            ("timetz", ["12:30:00.5+02"]),
            ("bit(3)", ["101"]),
            ("point", ["(1.5,-2)"]),
            ("name", ["pg_class"]),
        ):
            self.values_are_kept(sql_type, literals, "v::text", text)
        mood = "DROP TYPE IF EXISTS mood; CREATE TYPE mood AS ENUM ('sad', 'so so', 'glad''')"
        self.values_are_kept("mood", ["glad'", "sad", "so so"], "array_position(enum_range(NULL::mood), v)", prepare=mood)

    def test_a_long_text_is_cut_at_a_character_and_that_is_said(self):
        self.psql("CREATE TABLE t AS SELECT repeat('€', 12000) AS v")
        self.assertEqual(self.submit("SELECT v FROM t;"), 0)
        self.assertEqual(self.cells(), [["€" * 10922]])
        self.assertIn("v", self.output())
        self.assertIn("32767", self.output().replace(",", ""))

    def test_the_dictionary_is_that_of_the_catalogue(self):
        self.psql("""CREATE TYPE mood AS ENUM ('sad', 'glad');
            CREATE TABLE t (id int PRIMARY KEY, price numeric(10, 2), name varchar(12), good bool, mood mood, at timestamptz);
            COMMENT ON COLUMN t.price IS 'Price, net';
            INSERT INTO t VALUES (1, 2.5, 'n', true, 'glad', now())""")
        for command in "TABLE t;", "SELECT * FROM t;":
            with self.subTest(command=command):
                self.assertEqual(self.submit(command), 0)
                self.assertEqual(self.names(), ["id", "price", "name", "good", "mood", "at"])
                self.assertEqual(vexaxd.GetVariableLabel(1), "Price, net")
                kinds = [vexaxd.GetVariableType(index) for index in range(6)]
                self.assertEqual([kind > 0 for kind in kinds], [False, False, True, False, False, False])
                self.assertEqual(vexaxd.GetVariableFormatType(1).formatDecimal, 2)
                self.assertEqual(list(zip(*vexaxd.GetNValueLabels(3))), [(0, "false"), (1, "true")])
                self.assertEqual(list(zip(*vexaxd.GetNValueLabels(4))), [(1, "sad"), (2, "glad")])


class Walks(Case):
    def test_a_second_pass_and_a_query_without_rows(self):
        self.assertEqual(self.submit("SELECT n::float8 AS n FROM generate_series(1, 3) n;"), 0)
        self.assertEqual(vexaxd.GetActive(), "*")
        for _ in range(2):
            self.assertEqual([case["n"] for case in vexaxd.cases()], [1, 2, 3])
        vexaxd.MakeCaseCursor("r")
        vexaxd.NextCase()
        vexaxd.ResetDataPass()
        vexaxd.NextCase()
        self.assertEqual(vexaxd.GetNumericValue(0).value, 1)
        vexaxd.RemoveCaseCursor()
        self.assertEqual(self.submit("SELECT 1::int AS a, ''::text AS b WHERE false;"), 0)
        self.assertEqual((self.names(), list(vexaxd.cases()), vexaxd.GetRowCount()), (["a", "b"], [], 0))

    def test_each_row_comes_once_whatever_is_asked_for(self):
        rows = 200_001
        query = f"SELECT n::float8 AS n, -n AS m, 'x' || n % 7 AS t FROM generate_series(1, {rows}) n"
        self.assertEqual(self.submit(query + ";"), 0)
        columns = vexaxd.read().dict()
        self.assertEqual(columns["n"], [float(n) for n in range(1, rows + 1)])
        self.assertEqual(columns["m"], [float(-n) for n in range(1, rows + 1)])
        self.assertEqual(columns["t"], [f"x{n % 7}" for n in range(1, rows + 1)])
        self.assertEqual([case["n"] for case in vexaxd.cases("n")], columns["n"])
        self.assertEqual(vexaxd.GetRowCount(), rows)
        vexaxd.StartDataStep()
        vexaxd.CreateDataset("*", False, False)
        for row in (0, rows - 1, 100_000, 7):
            self.assertEqual(vexaxd.GetNCellValue("*", row, 1).value, -row - 1)
        vexaxd.EndDataStep()

    def test_a_walk_that_is_left_frees_the_line(self):
        self.assertEqual(self.submit("SELECT n FROM generate_series(1, 5000000) n;"), 0)
        walk = vexaxd.cases()
        next(walk)
        walk.close()
        self.assertEqual(self.submit("SELECT 7 AS seven;"), 0)
        self.assertEqual([case["seven"] for case in vexaxd.cases()], [7])

    def test_names_that_are_none_are_mended_and_become_labels(self):
        self.assertEqual(self.submit('SELECT 1 AS a, 2 AS a, 3 AS "two words", 5 AS "A", 6 AS "1st", 7;'), 0)
        names = self.names()
        self.assertEqual(len({name.lower() for name in names}), 6, names)
        self.assertEqual(names[0], "a")
        self.assertEqual(vexaxd.GetVariableLabel(2), "two words")
        self.assertEqual([list(case.values()) for case in vexaxd.cases()], [[1, 2, 3, 5, 6, 7]])

    def test_a_change_behind_the_dictionary_is_told(self):
        self.psql("CREATE TABLE t (a int); INSERT INTO t VALUES (1)")
        self.assertEqual(self.submit("SELECT a FROM t;"), 0)
        self.psql("DROP TABLE t")
        self.assertIn("does not exist", self.refused(FAILED, lambda: list(vexaxd.cases())))


class Writes(Case):
    def table(self, key=True, rows=5):
        self.psql(f"""CREATE TABLE t (id int {"PRIMARY KEY" if key else ""}, x float8 CHECK (x < 1000), s varchar(6));
            INSERT INTO t SELECT n, n * 10, 'r' || n FROM generate_series(1, {rows}) n""")
        self.assertEqual(self.submit("TABLE t;"), 0)
        self.assertEqual(vexaxd.GetActive(), "t")

    def step(self, name="t"):
        vexaxd.StartDataStep()
        vexaxd.CreateDataset(name, False, False)

    def kept(self, query="SELECT * FROM t ORDER BY id"):
        return self.rows(query)

    def test_variables_cases_and_cells_with_and_without_a_key(self):
        for key in True, False:
            with self.subTest(key=key):
                self.psql("DROP TABLE IF EXISTS t")
                self.table(key)
                vexaxd.add({"y": [1.5, None, 3.5, 4.5, 5.5], "w": ["a", "b", "c", "d", "it's"]})
                vexaxd.append({"id": [6, 7], "x": [60.0, None], "s": ["r6", "ü\\"]})
                vexaxd.replace({"x": [0.1, 0.2, None, 0.4, 0.5, 0.6, 0.7]})
                self.step()
                vexaxd.SetNCellValue("t", 1, 1, -2.5)
                vexaxd.SetCCellValue("t", 6, 2, "last")
                vexaxd.CommitDataSet()
                self.assertEqual(vexaxd.GetNCellValue("t", 1, 1).value, -2.5)
                vexaxd.DeleteCase("t", 3)
                vexaxd.CommitDataSet()
                vexaxd.EndDataStep()
                self.assertEqual(self.kept(), [
                    ["1", "0.1", "r1", "1.5", "a"], ["2", "-2.5", "r2", None, "b"], ["3", None, "r3", "3.5", "c"],
                    ["5", "0.5", "r5", "5.5", "it's"], ["6", "0.6", "r6", None, None], ["7", "0.7", "last", None, None],
                ])  # fmt: skip

    def test_a_cursor_writes_the_case_that_it_stands_at_and_new_ones(self):
        for key in True, False:
            self.psql("DROP TABLE IF EXISTS t")
            self.table(key, rows=3)
            vexaxd.MakeCaseCursor("w")
            vexaxd.SetVarNameAndType(["double_x", "word"], [0, 4])
            vexaxd.SetVarLabel("double_x", "Twice x")
            vexaxd.CommitHeader()
            for _ in range(3):
                vexaxd.NextCase()
                vexaxd.SetValueNumeric("double_x", 2 * vexaxd.GetNumericValue(1).value)
                vexaxd.SetValueChar("word", "two")
                vexaxd.CommitCaseRecord()
            vexaxd.SetValueNumeric("id", 4)
            vexaxd.CommitNewCase()
            vexaxd.EndChanges()
            vexaxd.RemoveCaseCursor()
            self.assertEqual(self.kept(), [
                ["1", "10", "r1", "20", "two"], ["2", "20", "r2", "40", "two"], ["3", "30", "r3", "60", "two"], ["4", None, None, None, None],
            ])  # fmt: skip
            self.assertEqual(self.psql("SELECT col_description('t'::regclass, 4)"), "Twice x")

    def test_a_commit_is_whole_or_nothing(self):
        self.table()
        before = self.kept()
        self.step()
        for row, value in enumerate((1, 2, 2000, 4)):
            vexaxd.SetNCellValue("t", row, 1, value)
        self.assertIn("23514", self.refused(FAILED, vexaxd.CommitDataSet))
        vexaxd.EndDataStep()
        self.assertEqual(self.kept(), before)
        self.assertIn("23505", self.refused(FAILED, vexaxd.append, {"id": [8, 9, 1], "x": [1.0, 2.0, 3.0]}))
        self.assertEqual(self.kept(), before)
        self.assertEqual([case["x"] for case in vexaxd.cases("x")], [10, 20, 30, 40, 50])

    def test_a_row_that_another_has_changed_is_not_overwritten(self):
        in_its_place = "DELETE FROM t WHERE id = 2;\nVACUUM t;\nINSERT INTO t VALUES (2, 21, 'new')"
        for key in True, False:
            for change in "UPDATE t SET x = 21 WHERE id = 2", in_its_place:
                with self.subTest(key=key, change=change):
                    self.psql("DROP TABLE IF EXISTS t")
                    self.table(key)
                    self.step()
                    self.assertEqual(vexaxd.GetNCellValue("t", 1, 1).value, 20)
                    place = "SELECT ctid FROM t WHERE id = 2"
                    before = self.rows(place)
                    self.psql(change)
                    self.assertEqual(self.rows(place) == before, change == in_its_place)
                    vexaxd.SetNCellValue("t", 0, 1, 11)
                    vexaxd.SetNCellValue("t", 1, 1, 22)
                    self.refused(ROW_CHANGED, vexaxd.CommitDataSet)
                    vexaxd.EndDataStep()
                    self.assertEqual([row[1] for row in self.kept()], ["10", "21", "30", "40", "50"])

    def test_what_a_value_does_not_fit_is_told(self):
        self.table()
        self.step()
        for value in 1.5, 2.0**40:
            vexaxd.SetNCellValue("t", 0, 0, value)
            self.assertIn("id, of type integer", self.refused(CANNOT, vexaxd.CommitDataSet))
        vexaxd.EndDataStep()
        self.assertEqual(self.kept()[0], ["1", "10", "r1"])

    def test_the_columns_of_a_table_change(self):
        self.table()
        self.step()
        vexaxd.InsertVariable("t", 3, "n", 0)
        vexaxd.InsertVariable("t", 4, "text", 9)
        vexaxd.SetVarNameInDS("t", 1, "renamed")
        vexaxd.SetVarLabelInDS("t", 1, "It's new")
        vexaxd.SetVarTypeInDS("t", 2, 12)
        self.refused(NOT_DONE, vexaxd.MoveVariables, "t", [2], 0)
        self.refused(NOT_DONE, vexaxd.InsertVariable, "t", 1, "between", 0)
        self.refused(NOT_DONE, vexaxd.InsertCase, "t", 1)
        vexaxd.DeleteVariable("t", 3)
        vexaxd.CommitDataSet()
        vexaxd.EndDataStep()
        columns = self.rows("""SELECT attname, format_type(atttypid, atttypmod), col_description(attrelid, attnum) FROM pg_attribute
            WHERE attrelid = 't'::regclass AND attnum > 0 AND NOT attisdropped ORDER BY attnum""")
        self.assertEqual([column[0] for column in columns], ["id", "renamed", "s", "text"])
        self.assertEqual(columns[1][2], "It's new")
        self.assertEqual(self.kept("SELECT s, renamed FROM t ORDER BY id")[0], ["r1", "10"])

    def test_datasets_are_tables(self):
        vexaxd.create("made", {"n": [1.5, None], "t": ["a", "bé"]})
        self.assertEqual(self.rows("SELECT * FROM made ORDER BY 1"), [["1.5", "a"], [None, "bé"]])
        vexaxd.StartDataStep()
        vexaxd.CopyDataset("made", "copied")
        vexaxd.CreateDataset("passing", True, False)
        vexaxd.InsertVariable("passing", 0, "n", 0)
        vexaxd.CommitDataSet()
        vexaxd.EndDataStep()
        self.assertEqual(self.rows("SELECT * FROM copied ORDER BY 1"), [["1.5", "a"], [None, "bé"]])
        self.assertEqual(self.psql("SELECT count(*) FROM pg_class WHERE relname = 'passing' AND relpersistence = 'p'"), "0")
        self.assertTrue({"made", "copied"} <= set(vexaxd.GetVexaDatasets()))
        vexaxd.CloseDataset("copied")
        self.assertEqual(self.rows("SELECT count(*) FROM copied"), [["2"]])

    def test_a_change_to_a_query_stays_with_its_result(self):
        self.table()
        self.assertEqual(self.submit("SELECT id, x FROM t ORDER BY id;"), 0)
        vexaxd.add({"y": [1.0, 2.0, 3.0, 4.0, 5.0]})
        vexaxd.replace({"x": [0.0] * 5})
        self.assertEqual([(case["id"], case["x"], case["y"]) for case in vexaxd.cases()], [(n, 0, n) for n in range(1, 6)])
        self.assertEqual(self.kept()[0], ["1", "10", "r1"])


class Blocks(Case):
    """Blocks of Python run in this program, and the server's other sessions look on from there."""

    def setUp(self):
        vexaxd.SetXNameAndSHome("PYTHON", os.environ["VEXA_HOME"])
        super().setUp()
        vexaxd.test = self
        self.psql("CREATE TABLE t (id int PRIMARY KEY, x float8); INSERT INTO t VALUES (1, 10), (2, 20)")
        self.assertEqual(self.submit("TABLE t;"), 0)

    def test_a_block_and_what_it_submits_are_one_transaction(self):
        lines = """import vexaxd
vexaxd.Submit("INSERT INTO t VALUES (3, 30);")
assert vexaxd.test.rows("SELECT count(*) FROM t") == [["2"]]
vexaxd.Submit("TABLE t;")
vexaxd.add({"y": [case["x"] * 2 for case in vexaxd.cases("x")]})
"""
        for end, code, wanted in ("raise ValueError", 3001, [["1", "10"], ["2", "20"]]), \
                ("", 0, [["1", "10", "20"], ["2", "20", "40"], ["3", "30", "60"]]):  # fmt: skip
            self.assertEqual(self.submit(block(lines + end)), code, self.output())
            self.assertEqual(self.rows("SELECT * FROM t ORDER BY id"), wanted)
            self.assertEqual(self.sessions("state LIKE 'idle in%'"), 0)

    def test_a_nested_command_that_fails_takes_back_itself_alone(self):
        self.assertEqual(self.submit(block("""import vexaxd
vexaxd.Submit("INSERT INTO t VALUES (3, 30);")
try:
    vexaxd.Submit("INSERT INTO t VALUES (4, 40), (1, 10);")
except vexaxd.Error as error:
    print(error.code)
vexaxd.Submit("INSERT INTO t VALUES (5, 50);")""")), 0)
        self.assertEqual(self.rows("SELECT id FROM t ORDER BY id"), [["1"], ["2"], ["3"], ["5"]])
        self.assertIn(str(FAILED), self.output())

    def test_a_transaction_of_the_user_is_the_users(self):
        self.assertEqual(self.submit("BEGIN; INSERT INTO t VALUES (3, 30);"), 0)
        self.assertEqual(self.rows("SELECT count(*) FROM t"), [["2"]])
        self.assertEqual(self.submit("ROLLBACK; BEGIN; INSERT INTO t VALUES (4, 40); COMMIT;"), 0)
        self.assertEqual(self.rows("SELECT id FROM t ORDER BY id"), [["1"], ["2"], ["4"]])


class Errors(Case):
    def test_a_statement_that_fails_tells_why_and_where(self):
        for text, words in (
            ("SELECT 1;\nSELECT nowhere FROM pg_class;", ["42703", 'column "nowhere" does not exist', "line 1, column 8"]),
            ("SELEC 1;", ["42601", "syntax error", "line 1, column 1"]),
            ("SELECT 1 / 0 AS x;", ["22012", "division by zero"]),
            ("CREATE TABLE k (a int PRIMARY KEY); INSERT INTO k VALUES (1), (1);", ["23505", "already exists"]),
            ("DO $$ BEGIN RAISE EXCEPTION 'no; not so' USING HINT = 'try more'; END $$;", ["P0001", "no; not so", "try more"]),
        ):
            with self.subTest(text=text):
                code = self.submit(text) or self.reads()
                self.assertEqual(code, FAILED)
                for word in words:
                    self.assertIn(word, self.reason)
        self.assertEqual(self.submit("SELECT 1 AS one;"), 0)
        self.assertEqual(self.cells(), [[struct.pack("d", 1)]])

    def reads(self):
        """The code: what a query computes may fail as late as that."""
        try:
            list(vexaxd.cases())
        except vexaxd.Error as error:
            self.reason = error.text
            return error.code
        return 0

    def test_commands_end_where_sql_ends_them(self):
        text = """CREATE TABLE t (a text); -- not here; nor here
            /* nor; /* nested; */ here; */ INSERT INTO t VALUES ('a;''b'), (E'c\\';'), ($q$d;$$;e$q$);
            SELECT count(*) AS ";" FROM t;"""
        self.assertEqual(self.submit(text), 0)
        self.assertEqual(self.cells(), [[struct.pack("d", 3)]])
        self.assertIn("INSERT 0 3", self.output())

    def test_notices_and_counts_are_output(self):
        self.assertEqual(self.submit("DO $$ BEGIN RAISE NOTICE 'seen'; END $$; CREATE TABLE t AS SELECT 1 AS a; DELETE FROM t;"), 0)
        for word in "seen", "SELECT 1", "DELETE 1":
            self.assertIn(word, self.output())

    def test_wrong_starts_say_why(self):
        vexaxd.StopVexa()
        for options, words in (
            ('-database "host=/nowhere"', "/nowhere"),
            (f'-database "{self.server.string} password=topsecret"', "password"),
            ('-database "host=/nowhere postgres://wrong"', ""),
            (f'-database "{self.server.string}" -table nowhere', "nowhere"),
        ):
            with self.subTest(options=options):
                told = self.refused(2001, vexaxd.StartVexa, options) if "password" in words else None
                if told is None:
                    with self.assertRaises(vexaxd.Error) as raised:
                        vexaxd.StartVexa(options)
                    told = raised.exception.text
                self.assertIn(words, told)
                self.assertNotIn("topsecret", told)
        self.start()


class Whole(Case):
    """What is not about one family."""

    def test_a_backend_is_proved(self):
        self.psql("CREATE TABLE proved (name varchar(12) NOT NULL DEFAULT '', x float8, at date); "
                  "INSERT INTO proved SELECT 'row ' || n, n, date '2026-01-01' + n FROM generate_series(1, 400) n")  # fmt: skip
        vexaxd.StopVexa()
        vexa = pathlib.Path(os.environ["VEXA_HOME"], "bin/vexa")
        if not vexa.exists():
            self.skipTest("there is no command vexa")
        for more in ["--table", "proved"], []:
            told = subprocess.run([vexa, "prove", "backend", "--database", self.server.string, *more], capture_output=True, text=True, timeout=100)
            self.assertEqual(told.returncode, 0, told.stdout + told.stderr)
            self.assertRegex(told.stdout, r"[5-9]\d good, 0 faults")
        self.start()

    def test_settings_name_weight_and_splits(self):
        self.submit("SET vexa.weight = 'n'; SET vexa.split = 'g, nowhere'; SELECT 1 AS g, 2 AS n;")
        self.assertEqual(vexaxd.GetWeightVar(), "n")
        self.assertIn("there is no variable nowhere", self.output())
        self.submit("RESET vexa.weight;")
        self.assertEqual(vexaxd.GetWeightVar(), "")

    def test_a_text_that_has_grown_is_not_cut_without_a_word(self):
        self.submit("CREATE TABLE grows AS SELECT text 'four' AS t; TABLE grows;")
        self.psql("UPDATE grows SET t = 'longer than four'")
        vexaxd.MakeCaseCursor("r")
        self.assertIn("16 bytes now, where 4 have room", self.refused(ROW_CHANGED, vexaxd.NextCase))
        vexaxd.RemoveCaseCursor()
        self.submit("TABLE grows;")
        self.assertEqual([case["t"] for case in vexaxd.cases()], ["longer than four"])

    def test_dates_are_shown_as_such(self):
        self.submit("SELECT date '0044-03-15 BC' AS d, timestamp '1969-12-31 23:59:59.5' AS t, interval '-26:00:01' AS i;")
        self.assertEqual([vexaxd.GetVariableFormat(index) for index in range(3)], ["DATE10", "DATETIME19.0", "TIME8.0"])


if __name__ == "__main__":
    unittest.main(verbosity=2)
