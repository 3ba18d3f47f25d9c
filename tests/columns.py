"""Cases as columns in Python: round trips, and what other libraries make of them. Run by ctest with what is there, and by
scripts/python-environment's Python with numpy, pyarrow, pandas, polars and duckdb.

    VEXA_HOME=build/release/home PYTHONPATH=build/release/home/lib/python python3 tests/columns.py
"""
import contextlib
import datetime
import gc
import itertools
import os
import subprocess
import unittest

import vexaxd

try:
    import numpy
except ImportError:
    numpy = None
try:
    import duckdb
    import pandas
    import polars
    import pyarrow
except ImportError:
    pyarrow = None

AIR = os.path.join(os.path.dirname(__file__), "..", "examples/data/airquality.csv")
NAN = float("nan")
UTC = datetime.timezone.utc
_names = (f"made{i}" for i in itertools.count())


def made(data, **how):
    """What comes back of a dataset that is made of the data."""
    vexaxd.create(next(_names), data)
    return vexaxd.read(**how)


class Columns(unittest.TestCase):
    def setUp(self):
        session = contextlib.ExitStack()
        session.enter_context(vexaxd.session(f'-data "{AIR}"', echo=False))
        self.addCleanup(session.close)

    def refused(self, function, data, *words):
        count = vexaxd.GetVariableCount(), vexaxd.GetRowCount()
        with self.assertRaises((vexaxd.Error, TypeError, ValueError)) as told:
            function(data)
        for word in words:
            self.assertIn(word, str(told.exception))
        self.assertEqual((vexaxd.GetVariableCount(), vexaxd.GetRowCount()), count, "and nothing was written")

    def test_lists_come_back(self):
        day, moment = datetime.date(1969, 12, 31), datetime.datetime(2020, 2, 29, 1, 2, 3, 500000, tzinfo=UTC)
        for given, expected in (
            ([1.5, None, NAN, -0.0], [1.5, None, None, 0.0]),
            ([1, None, 2**53, -(2**70)], [1.0, None, 2.0**53, -(2.0**70)]),
            ([True, False], [1.0, 0.0]),
            (["ä b ", None, "", "\U0001f600"], ["ä b", "", "", "\U0001f600"]),
            ([b"a\xff", b"b"], ["a\ufffd", "b"]),
            ([day, None], [-86400.0, None]),
            ([moment], [moment.timestamp()]),
            ([datetime.timedelta(days=-1, milliseconds=1)], [-86399.999]),
            ([None, None], [None, None]),
            ([], []),
        ):
            with self.subTest(given=given):
                self.assertEqual(made({"v": given}).dict(), {"v": expected})
        for null in range(18):
            values = [None if i == null else float(i) for i in range(18)]
            self.assertEqual(made({"v": values, "w": values[::-1]}).dict(), {"v": values, "w": values[::-1]})
        many = {f"v{i}": [float(i), "x" * i][i % 2 : i % 2 + 1] * 3 for i in range(1, 1001)}
        self.assertEqual(made(many).dict(), many)
        self.assertEqual(made({"v": ["x" * 32767]}).dict(), {"v": ["x" * 32767]})

    def test_what_cannot_be_stored_is_named_and_nothing_is_written(self):
        for function, data, *words in (
            (vexaxd.append, {"Temp": ["a"]}, "'Temp'", "numbers"),
            (vexaxd.append, {"Temp": [1, 2], "Nope": [1, 2]}, "'Nope'"),
            (vexaxd.append, {"Temp": [1], "temp": [1]}, "'temp'"),
            (vexaxd.append, {"MonthName": ["ok", "much too long"]}, "'MonthName', row 1", "9"),
            (vexaxd.append, {"Temp": [1, 2**53 + 1]}, "'Temp', row 1"),
            (vexaxd.append, {"Temp": [1, 2**64 + 1]}, "'Temp', row 1"),
            (vexaxd.append, {"Temp": [-1.7976931348623157e308]}, "'Temp', row 0"),
            (vexaxd.append, {"Temp": [1, "a"]}, "'Temp'", "int, str"),
            (vexaxd.append, {"Temp": [1], "Day": [1, 2]}, "different lengths"),
            (vexaxd.append, {"Temp": 7}, "'Temp'"),
            (vexaxd.append, "Temp", "dict"),
            (vexaxd.add, {"new": [1.0]}, "153"),
            (vexaxd.add, {"Temp": [1.0] * 153}, "'Temp'"),
            (vexaxd.add, {"not a name": [1.0] * 153}, "'not a name'"),
            (vexaxd.add, {"new": ["a\0b"] * 153}, "'new', row 0"),
            (vexaxd.replace, {"new": [1.0] * 153}, "'new'"),
        ):
            with self.subTest(data=str(data)[:60]):
                self.refused(function, data, *words)

    def test_datasets_options_and_progress(self):
        read = vexaxd.read("Month", "Ozone", "MonthName", labels=True, user_missing=True).dict()
        self.assertEqual(read["Month"][::40], ["May", "June", "July", "August"])
        self.assertEqual(sum(read["Ozone.missing"]), sum(value is None for value in vexaxd.read("Ozone").dict()["Ozone"])
                         - sum(value is None for value in read["Ozone"]))
        seen = []
        vexaxd.create("other", {"a": [1.0] * 10}, progress=lambda *told: seen.append(told))
        self.assertEqual(seen[-1], (10, 10))
        vexaxd.StartDataStep()
        vexaxd.CreateDataset("other", False, False)
        vexaxd.replace({"a": range(10)}, dataset="other")
        self.assertEqual(vexaxd.read(dataset="other").dict(), {"a": [float(i) for i in range(10)]})
        vexaxd.EndDataStep()
        with self.assertRaises(ZeroDivisionError):
            vexaxd.read(progress=lambda *_: 1 / 0).dict()
        with self.assertRaisesRegex(vexaxd.Error, "Nope"):
            vexaxd.read("Nope").dict()

    @unittest.skipIf(numpy is None, "numpy is not installed")
    def test_arrays(self):
        for kind in "i1 u1 i2 u2 i4 u4 i8 u8 f2 f4 f8 >i4 >f8 bool".split():
            with self.subTest(kind=kind):
                values = numpy.array([0, 1, 1, 0, 1] * 4, dtype=kind)
                numpy.testing.assert_array_equal(made({"v": values[3::2]}).numpy()["v"], values[3::2].astype(float))
        for unit in ("D", "s", "ms", "us", "ns"):
            times = numpy.array(["1969-12-31", "NaT", "2020-02-29"], dtype=f"M8[{unit}]")
            numpy.testing.assert_array_equal(made({"v": times, "w": times - times[0]}).numpy()["v"], [-86400, NAN, 1582934400])
        texts = numpy.array(["a", None, "b"], dtype=object)
        self.assertEqual(made({"v": texts}).numpy()["v"].tolist(), ["a", "", "b"])
        self.refused(vexaxd.create.__get__("x"), {"v": numpy.zeros((2, 2))}, "'v'", "2 dimensions")

    @unittest.skipIf(pyarrow is None, "pyarrow, pandas, polars and duckdb are not installed")
    def test_every_type_of_arrow(self):
        from decimal import Decimal

        p = pyarrow
        numbers = [p.int8(), p.uint8(), p.int16(), p.uint16(), p.int32(), p.uint32(), p.int64(), p.uint64(), p.float16()]
        numbers += [p.float32(), p.float64(), p.bool_(), p.decimal128(5, 1), p.decimal128(38, 3)]
        texts = [p.string(), p.large_string(), p.string_view(), p.binary(), p.large_binary(), p.binary_view()]
        texts += [p.dictionary(index, p.string()) for index in (p.int8(), p.uint16(), p.int64())]
        for null, kind in itertools.product((0, 7, 8, 9, 16), numbers + texts):
            of_texts = kind in texts
            words = [f"text{i}" if i % 2 else f"a text that lies in a buffer {i}" for i in range(3)]
            plain = [None if i == null else words[i % 3] if of_texts else i % 2 for i in range(17)]
            given = [Decimal(v) if v is not None and p.types.is_decimal(kind) else v for v in plain]
            given = [v if v is None or kind != p.bool_() else bool(v) for v in given]
            given = [v.encode() if v is not None and "binary" in str(kind) else v for v in given]
            is_factor = p.types.is_dictionary(kind)
            array = p.array(given, kind if not is_factor else p.string())
            array = array.cast(kind) if is_factor else array
            for sliced, values in ((array, plain), (array[3:], plain[3:]), (p.chunked_array([array[5:5], array[1:9], array[9:]]), plain[1:])):
                with self.subTest(null=null, kind=str(kind), rows=len(values)):
                    back = made(p.table({"v": sliced}), labels=is_factor)
                    p.table(back).validate(full=True)
                    blank = "" if of_texts and not is_factor else None  # a text has no missing value of its own
                    self.assertEqual(back.dict()["v"], [blank if v is None else v for v in values])
        for value, kind in ((1.5, p.duration("ms")), (-0.25, p.timestamp("us", "Europe/Berlin")), (3.5, p.time32("ms"))):
            scale = {"ms": 1000, "us": 1000000}[kind.unit]
            array = p.array([int(value * scale), None], p.int32() if kind == p.time32("ms") else p.int64()).cast(kind)
            self.assertEqual(made(p.table({"v": array})).dict()["v"], [value, None])
        for array in (p.array([[1]]), p.array([{"a": 1}]), p.array([b"ab", b"cd"], p.binary(2)).cast(p.binary(2))):
            if p.types.is_nested(array.type):
                self.refused(vexaxd.create.__get__("x"), p.table({"v": array}), "'v'")
            else:
                self.assertEqual(made(p.table({"v": array})).dict()["v"], ["ab", "cd"])

    @unittest.skipIf(pyarrow is None, "pyarrow, pandas, polars and duckdb are not installed")
    def test_frames_and_queries(self):
        read = vexaxd.read("Temp", "MonthName", "Month", labels=True)
        frame, air = read.pandas(), read.arrow()
        self.assertEqual(polars.DataFrame(read).rows(), read.polars().rows())
        self.assertEqual(frame["Temp"].tolist(), air["Temp"].to_pylist())
        self.assertEqual(list(frame["Month"].cat.categories), ["May", "June", "July", "August", "September"])
        again = made(frame, labels=True).pandas()
        self.assertEqual(again["Month"].astype(str).tolist(), frame["Month"].astype(str).tolist())
        vexaxd.create("means", duckdb.sql("SELECT MonthName, avg(Temp) m, sum(1) n FROM air GROUP BY ALL ORDER BY m"))
        self.assertEqual(vexaxd.read("n").dict(), {"n": [31.0, 30.0, 30.0, 31.0, 31.0]})
        for rows in (1, 7, 8, 9, 153, 1000):
            batches = pyarrow.RecordBatchReader.from_stream(vexaxd.read("m", rows=rows))
            self.assertEqual(sum(batch.validate(full=True) or batch.num_rows for batch in batches), 5)
        self.assertEqual(made(polars.DataFrame({"a": [1, 2], "b": ["x", None]})).dict(), {"a": [1.0, 2.0], "b": ["x", ""]})

    def test_a_step_that_its_session_ended_in_is_over(self):
        vexaxd.StartDataStep()
        vexaxd.CreateDataset("*", False, False)
        vexaxd.StopVexa()
        with vexaxd.session(echo=False):
            vexaxd.create("two", {"a": [1.0, 2.0]})
            vexaxd.add({"b": [3.0, 4.0]})
            self.assertEqual(vexaxd.read().dict(), {"a": [1, 2], "b": [3, 4]})

    @unittest.skipIf(pyarrow is None, "pyarrow, pandas, polars and duckdb are not installed")
    def test_streams_belong_to_their_session(self):
        def opened(rows=10):
            return pyarrow.RecordBatchReader.from_stream(vexaxd.read("Temp", rows=rows))

        first = opened()
        first.read_next_batch()
        del first
        gc.collect()
        left = opened()
        left.read_next_batch()
        vexaxd.RemoveCaseCursor()
        vexaxd.MakeCaseCursor("r")
        with self.assertRaisesRegex(OSError, "cursor"):
            left.read_next_batch()
        vexaxd.RemoveCaseCursor()
        behind = opened()
        batch = behind.read_next_batch()
        vexaxd.StopVexa()
        with self.assertRaisesRegex(OSError, "session"):
            behind.read_next_batch()
        del behind, left
        batch.validate(full=True)


class Example(unittest.TestCase):
    @unittest.skipIf(pyarrow is None, "pyarrow, pandas, polars and duckdb are not installed")
    def test_the_query_of_the_examples_prints_its_means(self):
        import sys

        script = os.path.join(os.path.dirname(__file__), "..", "examples/query.py")
        run = subprocess.run([sys.executable, script, AIR], capture_output=True, text=True, timeout=60)
        self.assertIn("August", run.stdout, run.stderr)


if __name__ == "__main__":
    unittest.main()
