"""Records played to programs, and compared.

    VEXA_HOME=build/release/home python3 tests/replay.py
"""
import json
import os
import random
import shutil
import subprocess
import unittest

from command import DATA, HOME, NESTED, PROGRAM, SECONDS, Case

TOP = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
EXAMPLES = os.path.join(os.path.dirname(HOME), "examples")
REMARKS = os.path.join(TOP, "examples/data/remarks.csv")
SAVE = 'SAVE /TYPE=CSV /FILE="{}".\n'


class Replays(Case):
    def run_words(self, *words, given="", **environment):
        ended = subprocess.run(words, input=given, capture_output=True, text=True, timeout=SECONDS, cwd=TOP,
                               env=self.environment | environment)
        return ended.returncode, ended.stdout, ended.stderr

    def record(self, *words, given="", name="record", **environment):
        """What the program gave, with the engine."""
        return self.run_words(*words, given=given, VEXA_RECORD=self.path(name), **environment)

    def serve(self, *words, options=(), given="", name="record", **environment):
        return self.run_words(PROGRAM, "trace", "serve", self.path(name), *options, "--", *words, given=given, **environment)


class Serve(Replays):
    RUN = (PROGRAM, "run", "--data", DATA)

    def files(self):
        return [self.path("record/" + name) for name in os.listdir(self.path("record"))]

    def test_the_examples_in_c_put_out_the_same_without_an_engine(self):
        for words in (["summary", DATA], ["means", DATA], ["blocks", DATA], ["standardise", DATA, "Temp", "out.csv"],
                      ["merge", DATA, REMARKS, "out.csv"]):
            with self.subTest(words[0]):
                self.doCleanups()
                self.setUp()
                words = [word.replace("out.csv", self.path("out.csv")) for word in words]
                words[0] = os.path.join(EXAMPLES, words[0])
                with_engine = self.record(*words)
                self.assertEqual((with_engine[0], self.serve(*words)[:2]), (0, with_engine[:2]))
                self.assertEqual(sorted(os.listdir(self.directory)), ["out.csv"][:len(words) > 2] + ["record"])

    def test_a_request_that_differs_is_told_with_its_slot_and_refused(self):
        self.record(*self.RUN, given=SAVE.format("/nowhere/a.csv") + "A.\nB.\n")
        code, out, error = self.serve(*self.RUN, "--keep-going", given=SAVE.format("/nowhere/a.csw") + "A.\nB.\n")
        self.assertEqual((code, out), (5, ""))
        self.assertIn("""\
vexa: session 1: call 1 of the program differs from the record:
  record:  Submit("SAVE /TYPE=CSV /FILE=\\"/nowhere/a.csv\\".\\n")
  program: Submit("SAVE /TYPE=CSV /FILE=\\"/nowhere/a.csw\\".\\n")
  strings[0] is """, error)
        self.assertIn("Submit: the backend refused (2060): vexa trace serve: this call differs from the record", error)

    def test_tells_what_the_program_left_out_and_what_it_asked_beyond(self):
        self.record(*self.RUN, given="A.\nB.\nC.\n")
        for given, told in (("A.\n", 'differs from the record:\n  record:  Submit("B.\\n")\n  program: IsBackendReady()\n  another function'),
                            ("A.\nC.\nB.\n", 'program: Submit("C.\\n")'), ("A.\nB.\nC.\nD.\n", 'program: Submit("D.\\n")')):
            code, _, error = self.serve(*self.RUN, given=given)
            self.assertEqual((code, told in error, error.count("differs from the record")), (5, True, 1 + ("refused" in error)), error)
        self.assertEqual(self.serve(*self.RUN, options=["--any-order"], given="C.\nA.\nA.\nB.\n")[0], 0)
        left = 'the program did not come to the last 2 of the record:\n  record:  Submit("B.\\n")'
        code, _, error = self.serve(*self.RUN, options=["--any-order"], given="A.\n")
        self.assertEqual((code, left in error), (5, True), error)

    def test_values_may_vary_where_a_mask_says_so(self):
        self.record(*self.RUN, "--keep-going", given=SAVE.format(self.path("one/a.csv")) + "SEED 17.\n")
        for words, options, code in ((("two", 17), [], 0), (("two", 17), ["--no-masks"], 5), (("two", 18), [], 5),
                                     (("two", 18), ["--mask", "/SEED [0-9]+/"], 0), (("two", 18), ["--mask", "Submit:strings"], 0),
                                     (("two", 18), ["--mask", "Submit:strings[1]"], 5)):
            given = SAVE.format(self.path(words[0] + "/a.csv")) + f"SEED {words[1]}.\n"
            self.assertEqual(self.serve(*self.RUN, "--keep-going", options=options, given=given)[0] == 5, code == 5, (words, options))
        for rule, told in (("Submit:none", "the slots are"), ("/(/", "Unmatched"), ("Submit:longs[x]", "an element is")):
            code, _, error = self.serve("true", options=["--mask", rule])
            self.assertEqual((code, told in error), (2, True), error)

    def test_each_session_has_its_turn(self):
        twice = ("sh", "-c", f'"{PROGRAM}" run < /dev/null; "{PROGRAM}" run --data {DATA} < /dev/null')
        bad = (PROGRAM, "run", "--data", "/nowhere.csv")
        self.assertEqual(self.record(*bad)[0], 3)
        self.assertEqual(self.serve(*bad)[::2], (3, "StartVexa: the backend refused (2002): /nowhere.csv: No such file or directory\n"))
        shutil.rmtree(self.path("record"))
        self.record(*twice)
        self.assertEqual(self.serve(*twice)[0], 0)
        code, _, error = self.serve(*self.RUN)
        self.assertEqual((code, error), (5, "vexa: the record has 2 sessions, and the program started 1\n"))
        code, _, error = self.serve("sh", "-c", twice[2] + f'; "{PROGRAM}" run')
        self.assertEqual((code, "(2060): vexa trace serve: the record has 2 sessions, and the program starts one more" in error), (5, True), error)

    def test_runs_the_blocks_of_a_record_where_that_is_wanted(self):
        self.record(*self.RUN, given=NESTED)
        self.assertEqual(self.serve(*self.RUN, given=NESTED)[0], 0)
        again = self.path("again")
        self.assertEqual(self.serve(*self.RUN, options=["--languages"], given=NESTED, VEXA_RECORD=again)[:2], (0, ""))
        names = [[json.loads(line)["name"] for line in self.vexa("trace", "show", "--json", path)[1].splitlines()]
                 for path in (self.path("record"), again)]
        self.assertEqual(names[0], names[1])

    def test_takes_what_cannot_be_played(self):
        self.assertEqual(self.serve("true", name="nowhere")[0], 2)
        self.record(*self.RUN, given=NESTED)
        for file in self.files():
            with open(file, "rb") as opened:
                if opened.read(100)[32:].startswith(b"startx"):
                    self.assertIn("has no start of a session", self.run_words(PROGRAM, "trace", "serve", file, "--", "true")[2])
        self.assertEqual(self.serve("/nowhere/program")[0], 127)
        self.assertEqual(self.serve("sh", "-c", "kill -9 $$")[0], 5)  # which started no session


class Diff(Replays):
    RUN = (PROGRAM, "run", "--keep-going", "--data", DATA)

    def diff(self, a, b, *options):
        return self.run_words(PROGRAM, "trace", "diff", self.path(a), self.path(b), *options)

    def test_the_stable_text_is_the_same_from_run_to_run_and_from_day_to_day(self):
        self.record(*self.RUN, given=NESTED)
        golden = os.path.join(TOP, "tests/nested.trace")
        with open(golden) as file:
            self.assertEqual(self.vexa("trace", "show", "--stable", self.path("record"))[1], file.read())
        self.assertEqual(self.diff("record", golden), (0, "", ""))

    def test_prints_what_differs_as_a_unified_diff_and_as_json(self):
        beginning = "X" * 70
        self.record(*self.RUN, name="a", given=f"A.\n{beginning}1.\n" + SAVE.format(self.path("x/s.csv")) + "B.\nC.\nD.\n")
        self.record(*self.RUN, name="b", given=f"A.\n{beginning}2.\n" + SAVE.format(self.path("y/s.csv")) + "B.\nC.\nD.\nE.\n")
        self.assertEqual(self.diff("a", "a"), (0, "", ""))
        code, out, _ = self.diff("a", "b", "--whole")
        saved = 'Submit("SAVE /TYPE=CSV /FILE=\\"<temp>/s.csv\\".\\n") -> "<temp>/s.csv: No such file or directory", 2002'
        self.assertEqual((code, out), (1, f"""\
--- {self.path("a")}
+++ {self.path("b")}
@@ -1,10 +1,11 @@
 ready() -> 0
 Submit("A.\\n") -> 0
-Submit("{beginning}1.\\n") -> 0
+Submit("{beginning}2.\\n") -> 0
 {saved}
 Submit("B.\\n") -> 0
 Submit("C.\\n") -> 0
 Submit("D.\\n") -> 0
+Submit("E.\\n") -> 0
 IsBackendReady() -> 1, 0
 IsBackendReady() -> 1, 0
 IsXDriven() -> 1, 0
"""))
        changes = [json.loads(line) for line in self.diff("a", "b", "--json")[1].splitlines()]
        self.assertEqual([(one["change"], one["line"], one["call"]["name"]) for one in changes],
                         [("removed", 3, "Submit"), ("added", 3, "Submit"), ("added", 8, "Submit")])
        self.assertEqual(self.diff("a", "b", "--mask", "/X[12]/", "--mask", "/[DE]/")[0], 1)
        self.assertEqual(self.diff("a", "b", "--no-masks", "--json")[1].count("SAVE"), 4)

    def test_finds_the_shortest_way(self):
        chosen = random.Random(7)
        for _ in range(25):
            a, b = ([chosen.choice("abcd") for _ in range(chosen.randrange(14))] for _ in range(2))
            self.write("a", "".join(line + "\n" for line in a))
            self.write("b", "".join(line + "\n" for line in b))
            changes = [json.loads(line) for line in self.diff("a", "b", "--json")[1].splitlines()]
            gone = {one["line"] - 1 for one in changes if one["change"] == "removed"}
            come = {one["line"] - 1 for one in changes if one["change"] == "added"}
            kept = [line for i, line in enumerate(a) if i not in gone]
            self.assertEqual(kept, [line for i, line in enumerate(b) if i not in come])
            longest = [0] * (len(b) + 1)
            for x in a:
                before = longest[:]
                for j, y in enumerate(b):
                    longest[j + 1] = before[j] + 1 if x == y else max(before[j + 1], longest[j])
            self.assertEqual(len(kept), longest[-1], (a, b))

    def test_tells_what_cannot_be_compared(self):
        self.record(*self.RUN, given="A.\n", name="a")
        self.assertEqual(self.diff("a", "nowhere")[0], 2)
        self.assertEqual(self.diff("a", "a", "--mask", "/(/")[0], 2)
        for name in os.listdir(self.path("a")):
            with open(self.path("a/" + name), "ab") as file:
                file.write(b"more")
        code, _, error = self.diff("a", "a")
        self.assertEqual((code, "is cut off" in error), (2, True))


class Bindings(Replays):
    """What needs plain interpreters: examples of other languages, and the suite of the bindings."""

    def played(self, *words, options=()):
        """What came out, which is the same with the engine and on the record of that."""
        environment = {"PYTHONPATH": HOME + "/lib/python"}
        with_engine = self.record(*words, **environment)
        self.assertEqual(with_engine[0], 0, with_engine)
        self.assertEqual(self.serve(*words, options=options, **environment)[:2], with_engine[:2])
        return with_engine[1]

    def test_the_examples_put_out_the_same_without_an_engine(self):
        for words, options in ((["summary", DATA], ()), (["standardise", DATA, "Temp", "out.csv"], ()),
                               (["merge", DATA, REMARKS, "out.csv"], ()), (["nesting", DATA], ()),
                               (["regression", DATA], ["--languages"]), (["wordcount", REMARKS, "Remark"], ())):
            with self.subTest(words[0]):
                self.doCleanups()
                self.setUp()
                needs = {"regression": "lib/R-library", "wordcount": "bin/vexajavaplugin.jar"}.get(words[0], "")
                if not os.path.exists(os.path.join(HOME, needs)):
                    continue
                words = [word.replace("out.csv", self.path("out.csv")) for word in words]
                out = self.played("/usr/bin/python3", f"examples/{words[0]}.py", *words[1:], options=options)
                self.assertTrue(out or "out.csv" in words[-1])

    def test_a_program_that_dies_has_left_the_rest_out(self):
        script = 'import os, sys, vexaxd\nvexaxd.StartVexa("")\nif len(sys.argv) > 1: os.kill(os.getpid(), 9)\nvexaxd.GetRowCount()\nvexaxd.StopVexa()'
        words = ("/usr/bin/python3", self.write("script.py", script))
        self.played(*words)
        code, _, error = self.serve(*words, "dies", PYTHONPATH=HOME + "/lib/python")
        self.assertEqual((code, "did not come to the last 5 of the record:\n  record:  GetRowCount()" in error), (5, True), error)

    def test_the_suite_of_the_bindings_passes_on_a_record(self):
        out = self.played("/usr/bin/python3", "interface/conformance/run.py")
        self.assertRegex(out, r"^\d{3} passed, 0 failed, 0 left out\n$")


if __name__ == "__main__":
    unittest.main()
