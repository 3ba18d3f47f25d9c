"""Blocks of Python, R and Java that the staged engine runs in processes of their own: what they may do, how they end, and
the examples about them. What is left when one of the processes dies the matrix of deaths tells.

    VEXA_HOME=build/release/home PYTHONPATH=build/release/home/lib/python python3 tests/blocks.py [Python | R | Java]
"""
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest

import vexaxd

sys.path.insert(0, str(pathlib.Path(__file__).with_name("deaths")))
import processes
from cell import DATA, wait_for

HOME = pathlib.Path(os.environ["VEXA_HOME"]).resolve()
EXAMPLES = DATA.parent.parent
ENDED = "{} has ended, and what its blocks left there is gone.\n"
BUSY, NOT_DONE, BAD_COMMAND, PEER_CLOSED, ENDED_IN_BLOCK, JAVA_ENDED = 2051, 2050, 2046, 99103, 99107, 99123


def output_of(*command):
    """What a program prints that succeeds."""
    return subprocess.run(list(map(str, command)), check=True, capture_output=True, text=True, timeout=60).stdout


class Blocks(unittest.TestCase):
    """A session, and behind it no process and no fifo."""

    language = ""

    def setUp(self):
        signal.alarm(100)
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.fifos, self.files = (pathlib.Path(directory.name) / name for name in ("fifos", "files"))
        self.own_fifos = 0  # that stay until this process goes
        for path in self.fifos, self.files:
            path.mkdir()
        os.environ.update(VEXADXTEMP=str(self.fifos), VEXATMPDIR=str(self.files), TMPDIR=str(self.files))
        vexaxd.StartVexa(f"-data {DATA}")

    def tearDown(self):
        vexaxd.StopVexa()
        wait_for(lambda: len(list(self.fifos.iterdir())) <= self.own_fifos, "fifos are left")
        # A killed engine need not be there to be waited for yet, which asking does.
        wait_for(lambda: not vexaxd.IsBackendReady() and not processes.children(os.getpid()), "processes are left")

    def run_block(self, lines, language=""):
        """The block's code."""
        try:
            vexaxd.Submit(f"LANGUAGE {language or self.language}.\n{lines}\nEND LANGUAGE.\n")
        except vexaxd.Error as error:
            return error.code
        return 0

    def printed(self):
        """All that blocks have printed."""
        vexaxd.CreateXPathDictionary("output")
        try:
            return "".join(vexaxd.EvaluateXPath("output", "", "//text/text()"))
        finally:
            vexaxd.RemoveXPathHandle("output")

    def said_by(self, lines):
        before = len(self.printed())
        self.assertEqual(self.run_block(lines), 0)
        return self.printed()[before:]

    def kill(self, process):
        os.kill(process, signal.SIGKILL)
        wait_for(lambda: processes.ended(process), "it does not end")


class Python(Blocks):
    language = "PYTHON"

    def test_blocks_keep_their_state_and_end_with_their_codes(self):
        for lines, code in (
            ("import sys\nx = 20\nprint('one', end='')", 0),
            ("raise ValueError(x)", 3001),
            ("print(1", 3002),
            ("print('err', file=sys.stderr); sys.exit(x + 2)", 22),
            ("sys.exit()", 0),
            ("import os, threading\nsys.exit(threading.get_native_id() == os.getpid())", 0),
            ("", 0),
        ):
            self.assertEqual(self.run_block(lines), code, lines)
        self.assertRegex(self.printed(), r"(?s)\AoneTraceback \(most recent call last\):\n  File \"<block 2>\", line 1, in "
                         r".*    raise ValueError\(x\)\nValueError: 20\n.*SyntaxError: '\(' was never closed\nerr\n\Z")  # fmt: skip

    def test_blocks_use_the_client_interface_each_on_a_level_of_its_own(self):
        self.assertEqual(self.said_by(r"""import vexaxd, sys
hot = [case['Day'] for case in vexaxd.cases('Temp', 'Day') if case['Temp'] > 96]
print(vexaxd.GetVariableName(3), vexaxd.GetNestDepth(), vexaxd.IsXDriven(), hot)
def block(lines): return 'LANGUAGE PYTHON.\n' + lines + '\nEND LANGUAGE.'
try: vexaxd.Submit(block('print(vexaxd.GetNestDepth()); sys.exit(5)'))
except vexaxd.Error as error: print('code', error.code)
print(vexaxd.GetNestDepth())"""), "Temp 1 False [28.0]\n2\ncode 5\n1\n")  # fmt: skip
        self.assertEqual(vexaxd.GetNestDepth(), 0)

    def test_one_that_died_in_a_block_or_between_two_is_started_anew(self):
        self.assertNotEqual(self.run_block("import os\nx = 1\nos.kill(os.getpid(), 9)"), 0)
        printed = self.said_by("import os, sys\ntry: x\nexcept NameError: print(os.getpid(), end='')")
        self.assertTrue(printed.startswith(ENDED.format("PYTHON")), printed)
        self.kill(int(printed.splitlines()[1]))
        self.assertEqual(self.said_by("print('anew')"), ENDED.format("PYTHON") + "anew\n")

    def test_examples_show_both_ways(self):
        self.assertEqual(output_of("python3", EXAMPLES / "nesting.py", DATA),
                         "Ozone: mean 39.4867\nSolar_R: mean 187.392\nWind: mean 10.0118\nTemp: mean 77.8824\n"
                         "Month: mean 6.99346\nDay: mean 15.8039\ndeepest level 3\ncodes 10 20 30\n")  # fmt: skip
        printed = output_of(HOME.parent / "examples/blocks", DATA)
        self.assertIn("fault: code 3001\nafter: code 0\noutput:\n  153 cases, 14 of them hot\n", printed)
        self.assertTrue(printed.endswith("ZeroDivisionError: division by zero\n  not harmed: 14\n"), printed)


@unittest.skipUnless((HOME / "lib/R-library").exists(), "There was no R when this was built.")
class R(Blocks):
    language = "R"

    def said_by(self, lines):
        """Also by a block behind it, which is at a plain prompt."""
        return super().said_by(lines) + super().said_by("cat('next\n')")

    def process(self):
        return int(re.findall(r"\d+", self.said_by("cat(Sys.getpid(), '')"))[0])

    def test_every_block_ends_at_a_plain_prompt(self):
        self.assertEqual(self.run_block("x <- 20\noptions(prompt = '$ ', continue = '... ')"), 0)
        browsed = "Called from: g()\nError: the block ends within an expression\nnext\n"
        for name, block, said in (
            ("the state of a block before", "cat(x +\n  1, '')", "21 next\n"),
            ("nothing", "", "next\n"),
            ("a failing line", "stop('oops')\ncat('on ')", "Error: oops\non next\n"),
            ("a failing call", "r <- tryCatch(GetVariableName(99), vexaError = function(e) cat(e$code, ''))\nGetVariableName(99)",
             "10 Error: GetVariableName: an index is out of range, or there is no case in hand (10): "
             "variable 99: the dataset has 7, from 0\nnext\n"),
            ("an expression that END closes", "y <- 1 +", "Error: object 'END' not found\nnext\n"),
            ("a brace", "f <- function() {", "Error: the block ends within an expression\nnext\n"),
            ("a text", "y <- 'a", "Error: the block ends within an expression\nnext\n"),
            ("a browser", "browser()\ny <- 3", "Called from: top level \nnext\n"),
            ("a browser and a brace", "g <- function() browser()\ng()\ng(\n", browsed),
            ("texts that look like prompts", "cat('> ')\nwrite('+ ', '')\nmessage('Browse[1]> ')", "> + \nBrowse[1]> \nnext\n"),
            ("a program that prints a prompt", "system('printf \"> \"; cat')", "next\n"),
            ("a question", "readline('Why? ')",
             "Error in readline(\"Why? \") : nobody is there to answer \"Why? \"\nnext\n"),
            ("a long line", "cat(nchar('" + 200000 * "x" + "'), '')", "200000 next\n"),
            ("a long line of blanks", 9000 * " ", "next\n"),
            ("output in two bytes", "cat('äöü ')", "äöü next\n"),
            ("output in two ways", "cat('one '); PostVexaOutput('two '); cat('three ')", "one two three next\n"),
            ("cases", "with(vexa.dictionary(), cat(name[4], type[7], format[3], ''))\nd <- vexa.data()\n"
             "cat(dim(d), sum(d$Temp), sum(is.na(d$Ozone)), nchar(d$MonthName[1]), '')\n"
             "cat(sum(is.na(vexa.data('Ozone', user.missing = TRUE)$Ozone)), '')", "Temp 9 F5.1 153 7 11916 40 3 37 next\n"),
            ("cases in batches", "batch <- vexa.batches('Temp', rows = 60)\nwhile (!is.null(d <- batch())) cat(nrow(d), d$Temp[1], '')\n"
             "cat(is.null(batch()), dim(vexa.data('Temp')), '')", "60 67 60 83 33 94 TRUE 153 1 next\n"),
            ("other languages, and R in itself",
             "run <- function(l, b) Submit(c(paste0('LANGUAGE ', l, '.'), b, 'END LANGUAGE.'))\nrun('PYTHON', 'print(2)')\n"
             "tryCatch(run('R', '1'), vexaError = function(e) cat(e$code, ''))", f"2\n{BUSY} next\n"),
        ):  # fmt: skip
            with self.subTest(name):
                self.assertEqual(self.said_by(block), said)

    def test_one_that_has_ended_is_started_anew(self):
        for end in "tools::pskill(Sys.getpid(), 9)", "q()":
            self.assertEqual(self.run_block(end), ENDED_IN_BLOCK)
            self.assertEqual(self.said_by("exists('x')"), ENDED.format("R") + "[1] FALSE\nnext\n")
        self.kill(self.process())
        self.assertEqual(self.said_by("1"), ENDED.format("R") + "[1] 1\nnext\n")
        self.assertEqual(self.run_block("tools::pskill(Sys.getpid(), 9)"), ENDED_IN_BLOCK)  # and the session ends without it

    def test_one_that_calls_hears_of_the_end_of_the_block_around_it_and_lives(self):
        """It is not in the way of anybody, and keeps what its blocks left there."""
        lines = r"x <- Sys.getpid(); tools::pskill(%d, 9)\nrepeat GetVariableCount()"
        outer = f"import os, vexaxd\nvexaxd.Submit('LANGUAGE R.\\n{lines}\\nEND LANGUAGE.' % os.getpid())"
        self.assertNotEqual(self.run_block(outer, "PYTHON"), 0)
        self.assertTrue(self.said_by("cat(x == Sys.getpid(), '')").endswith("TRUE next\n"))

    def test_an_engine_that_dies_takes_it_along(self):
        """Whether R waits for a line or runs one that would take for ever, which nothing can interrupt."""
        self.own_fifos = 2
        for line in "tools::pskill(%d, 9)", "suspendInterrupts({tools::pskill(%d, 9); repeat {}})":
            process = self.process()
            self.assertEqual(self.run_block(line % processes.parent(process)), PEER_CLOSED)
            wait_for(lambda: processes.ended(process), line)
            wait_for(lambda: not os.listdir(self.files), "its own directory is left")
            vexaxd.StartVexa(f"-data {DATA}")

    def test_the_example_gives_the_coefficients_that_r_gives(self):
        script = self.files / "lm.R"
        script.write_text("""d <- read.csv(commandArgs(TRUE))
d <- within(d, { Ozone[Ozone >= 120] <- NA; Solar_R[Solar_R <= 8 | Solar_R == 334] <- NA; Wind[Wind == 1.7] <- NA })
fit <- coef(lm(Ozone ~ Solar_R + Wind + Temp, d))
cat('105 of 153 days\\n', sprintf('%s: %.10g\\n', names(fit), fit), sep = '')
""")
        example = output_of("python3", EXAMPLES / "regression.py", DATA)
        self.assertEqual(example, output_of("Rscript", script, DATA))
        self.assertIn("\nTemp: 1.745081998\n", example)


@unittest.skipUnless((HOME / "bin/vexajavaplugin.jar").exists(), "There was no JDK when this was built.")
class Java(Blocks):
    language = "JAVAEXTENSION"
    jar = HOME.parent / "tests/PlayedExtension.jar"
    played = f'PlayedExtension /JARS="{jar}"\n'

    def test_an_extension_gets_its_lines_and_the_client_interface(self):
        self.assertEqual(self.run_block(self.played + "tell\nä" + 100000 * " "), 0)
        self.assertEqual(self.run_block(self.played + "leave a thread"), 0)
        self.assertEqual(self.printed(), "PlayedExtension 100008 ä\non Temp of 153")

    def test_jars_are_found_in_directories(self):
        directory = self.files / "zwölf Gläser"
        directory.mkdir()
        shutil.copy(self.jar, directory)
        self.assertEqual(self.run_block(f'PlayedExtension /PATH="/none:{directory}"\ntell\nx'), 0)

    def test_failures_have_a_code_and_a_reason_and_harm_nobody(self):
        for name, block, code, reason in (
            ("throws", self.played + "fail", NOT_DONE, "IllegalStateException: on purpose\n\tat PlayedExtension."),
            ("gets a code", self.played + "ask too much", NOT_DONE, "VexaException: GetVariableName: an index is out of range"),
            ("leaves", self.played + "exit", NOT_DONE, ""),
            ("is killed", self.played + "die", NOT_DONE, ""),
            ("is not there", "Nowhere\nfail", JAVA_ENDED, "ClassNotFoundException: Nowhere"),
            ("is none", "java.lang.String\nfail", JAVA_ENDED, "java.lang.String does not implement"),
            ("has no name", "", BAD_COMMAND, ""),
            ("has two places", "A /PATH=b /JARS=c", BAD_COMMAND, ""),
        ):
            with self.subTest(name):
                self.assertEqual(self.run_block(block), code)
                self.assertIn(reason, self.printed())
        self.assertEqual(self.run_block(self.played + "tell\nafterwards"), 0)
        self.assertEqual(len(os.listdir(self.fifos)), 2, "the session's own")

    def test_runs_within_a_run_have_a_level_of_their_own(self):
        self.assertEqual(self.run_block(f"{self.played}nest\n{self.played}nest"), 0)
        self.assertRegex(self.printed(), r"on purpose(.|\n)*inner 2050\n(outer goes on with 153\n){2}\Z")

    def test_the_example_counts_words(self):
        self.assertEqual(output_of("python3", EXAMPLES / "wordcount.py", EXAMPLES / "data/remarks.csv", "Remark"),
                         "   6  wind\n   4  the\n   3  clear\n   3  light\n   3  rain\n"
                         "44 words, 23 of them different, in 7 cases\n")  # fmt: skip

    def small_data(self):
        """Three cases, with user-missing values and a label."""
        path = self.files / "small.csv"
        path.write_text("code,word\n1,four\n2,b\n9,x\n")
        path.with_name("small.csv.vars").write_text(
            'variable code\n  value 1 "one"\n  missing 9\nvariable word\n  missing "x"\n'
        )
        return path

    columns = """code[1.0, 2.0, NaN] word[four, b, null] 
[one, 2, null][four, b, null]
twice[2.0, 4.0, NaN] word[n\u00e9, \U0001d11e, ] 
doubles[0.1, NaN, NaN] ints[-2.147483648E9, 7.0, 8.0] longs[4.6116860184273879E18, -9.223372036854776E18, NaN] \
flags[1.0, 0.0, NaN] texts[\U0001d11e\u00e9, , z] list[NaN, 5.0, NaN] words[, a longer one, ] nothing[NaN, NaN, NaN] 
none[] 
0
"""

    def test_an_extension_has_columns(self):
        vexaxd.StopVexa()
        vexaxd.StartVexa(f"-data {self.small_data()}")
        self.assertEqual(self.run_block(self.played + "columns"), 0)
        self.assertEqual(self.printed(), """column 'a': row 1: no double is 9223372036854775807
column 'b': row 1: no number, but java.lang.String
column 'c': row 1: no text, but java.lang.Integer
column 'd': neither numbers nor texts, but float[]
column 'e': row 0: half a character
10, 99127, true
the values of code are numbers, the values of word are texts
word has no value labels, 10
there is a session already, and a process has one at a time
""" + self.columns)

    def test_a_program_of_its_own_has_a_session(self):
        begins = "/none is no home: there is no /none/lib/libvexaxd_jni.so\ntrue\ntrue\n"
        closed = "GetRowCount: the session is closed (17)[]\n"
        gone = "GetRowCount: the backend is gone, or a message to it broke off (99103)\n"
        known = {name: value for name, value in os.environ.items() if name not in ("VEXADXTEMP", "VEXA_QUICK")}
        for what, data, printed, status in (
            ("columns", self.small_data(), begins + self.columns + closed, 0),
            ("outlive", DATA, begins + gone + closed, 0),
            ("exit", DATA, begins, 7),
            ("exit meanwhile", DATA, begins, 7),
        ):
            path = f"{HOME}/bin/vexajavaplugin.jar:{self.jar}"
            command = [HOME / "JRE/bin/java", f"-Djava.io.tmpdir={self.files}", "-cp", path, "PlayedSession", what, data, self.jar]
            run = subprocess.run(list(map(str, command)), env=known, capture_output=True, text=True, timeout=50)
            self.assertEqual((run.stdout, run.returncode), (printed, status), run.stderr)


@unittest.skipUnless((HOME / "lib/libvexalua.so").exists(), "There was no Lua when this was built.")
class Lua(Blocks):
    language = "LUA"

    def test_blocks_keep_their_state_and_end_with_their_codes(self):
        for lines, code in (
            ("vexaxd = require 'vexaxd'\nprint(vexaxd.GetRowCount(), vexaxd.GetNestDepth())", 0),
            ("x = 7; return x", 7),
            ("error('on purpose')", 4001),
            ("vexaxd.GetVariableName(99)", 4001),
            ("x =", 4002),
            ("vexaxd.Submit('LANGUAGE PYTHON.\\nprint(1)\\nEND LANGUAGE.\\n'); io.write(x, arg[1] or '', '!\\n')", 0),
        ):
            self.assertEqual(self.run_block(lines), code, lines)
        self.assertRegex(self.printed(), r"(?s)\A153\t1\nblock:1: on purpose\nstack traceback:.*variable 99.*near <eof>\n1\n7!\n\Z")


if __name__ == "__main__":
    unittest.main()
