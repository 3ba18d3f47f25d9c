"""The command `vexa` as a person uses it: run and shell, the latter on a terminal.

    VEXA_HOME=build/dev/home python3 tests/command.py
"""
import json
import os
import re
import signal
import subprocess
import tempfile
import unittest
import xml.etree.ElementTree

import pexpect

HOME = os.environ["VEXA_HOME"]
PROGRAM = os.path.join(HOME, "bin/vexa")
DATA = os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "examples/data/airquality.csv")
SMALL = os.path.join(os.path.dirname(os.path.dirname(DATA)), "backend.py")
SECONDS = 20
with open(HOME + "/lib/libvexaxd_p.so", "rb") as library:
    SANITIZED = b"libasan" in library.read()  # which no plain program can load

TABLE = """LANGUAGE PYTHON.
import vexaxd
print("before")
vexaxd.StartProcedure("Summary", "Summary of the weather")
name = ("Summary", "Descriptives", "Statistics", False)
vexaxd.StartPivotTable(*name)
vexaxd.AddDimension(*name, "Variable", 0, 0, False, False)
vexaxd.AddDimension(*name, "Statistic", 1, 0, True, False)
for i in range(8):
    vexaxd.AddStringCategory(*name, "Variable", 0, 0, False, False, "Temp")
    vexaxd.AddStringCategory(*name, "Statistic", 1, 0, True, False, f"Statistic {i}")
    vexaxd.SetNumberCell(*name, "Statistic", 1, 0, True, False, i + 0.5)
vexaxd.SetGraphicsLabel("", "a picture")
vexaxd.GetGraphic("/etc/passwd")
vexaxd.EndProcedure()
END LANGUAGE.
"""
SLEEP = "LANGUAGE PYTHON.\nimport time\nprint('asleep', flush=True)\ntime.sleep({})\nEND LANGUAGE.\n"


class Case(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = directory.name
        self.environment = {
            **{name: value for name, value in os.environ.items() if name not in ("VEXADXTEMP", "NO_COLOR")},
            **{"TMPDIR": self.directory, "TERM": "xterm", "VEXA_HISTORY": self.path("history"), "PAGER": "cat"},
        }

    def path(self, name):
        return os.path.join(self.directory, name)

    def write(self, name, text):
        with open(self.path(name), "w") as file:
            file.write(text)
        return self.path(name)

    def vexa(self, *words, given="", seconds=SECONDS, **environment):
        """The exit code, standard output, standard error."""
        ended = subprocess.run([PROGRAM, *words], input=given, capture_output=True, text=True, timeout=seconds,
                               env=self.environment | environment)
        return ended.returncode, ended.stdout, ended.stderr

    def nothing_left(self):
        left = [name for name in os.listdir(self.directory) if name.startswith("vexa_")]
        self.assertEqual(left, [], "the directory of the session is left")


class Run(Case):
    def test_shows_all_that_comes_out_in_the_width_that_there_is(self):
        code, out, _ = self.vexa("run", "--data", DATA, "--width", "50", given=TABLE)
        self.assertEqual(code, 0)
        self.assertEqual(out, """before

Summary of the weather
----------------------
Summary

Statistics
Variable  Statistic 0  Statistic 1  Statistic 2
--------  -----------  -----------  -----------
Temp              0.5          1.5          2.5

Variable  Statistic 3  Statistic 4  Statistic 5
--------  -----------  -----------  -----------
Temp              3.5          4.5          5.5

Variable  Statistic 6  Statistic 7
--------  -----------  -----------
Temp              6.5          7.5
[/etc/passwd] a picture
""")
        self.nothing_left()

    def test_tells_a_program_the_same_as_json(self):
        script = self.write("script.vexa", TABLE + "SAVE /TYPE=CSV.\n")
        code, out, _ = self.vexa("run", script, "--json", "--output", self.path("page.html"))
        events = [json.loads(line) for line in out.splitlines()]
        self.assertEqual(code, 1)
        self.assertEqual([event["event"] for event in events],
                         ["text", "heading", "note", "heading", "table", "image", "done", "error"])
        self.assertEqual(events[4]["rows"], [["Temp", *(f"{i}.5" for i in range(8))]])
        self.assertEqual((events[-1]["place"], events[-1]["code"]), (script + ":17", 2046))
        with open(self.path("page.html")) as page:
            self.assertIn("Summary of the weather", page.read())

    def test_ends_at_what_fails_with_place_reason_and_code(self):
        save = f'SAVE /TYPE=CSV\n  /FILE="{self.path("saved.csv")}".\n'
        wrong = 'GET DATA /TYPE=CSV /FILE="nowhere.csv" /DATASET=a.\n'
        open_block = "LANGUAGE PYTHON.\npass\n"
        cases = [  # words, what is given, exit code, in standard error, whether what stands behind ran
            ((), wrong + save, 1, "standard input:1: Submit: the backend refused (2002): nowhere.csv", False),
            (("--keep-going",), wrong + save, 1, "nowhere.csv", True),
            ((), "\n" + save + open_block, 1, "standard input:4: ", True),
            (("--options", '-fault "Submit die before"'), save, 4, "(99103)", False),
            (("--options", '-fault "start exit"'), save, 3, "ordered by -fault", False),
            (("--data", "nowhere.csv"), save, 3, "nowhere.csv", False),
            (("--options=-wrong",), save, 3, "unknown option -wrong", False),
            (("--home", "/nowhere"), save, 3, "/nowhere (--home) is no home", False),
            (("--wrong",), "", 2, "--wrong", False),
            ((self.path("none"),), "", 1, "No such file", False),
        ]
        for words, given, expected, told, saved in cases:
            with self.subTest(words=words, given=given[:20]):
                if not any(word in words for word in ("--data",)):
                    words = (*words, "--data", DATA)
                code, out, error = self.vexa("run", *words, given=given)
                self.assertIn(told, error)
                self.assertEqual((code, os.path.exists(self.path("saved.csv"))), (expected, saved))
                if saved:
                    os.unlink(self.path("saved.csv"))
                self.nothing_left()

    def test_ctrl_c_and_a_request_to_end_leave_nothing(self):
        for sign, expected in ((signal.SIGINT, 130), (signal.SIGTERM, 143)):
            with subprocess.Popen([PROGRAM, "run"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, env=self.environment,
                                  stderr=subprocess.PIPE, text=True) as program:
                program.stdin.write(SLEEP.format(60).replace("'asleep'", "'asleep', os.getppid()").replace("time", "os, time", 1))
                program.stdin.flush()
                word, engine = program.stdout.readline().split()
                self.assertEqual(word, "asleep")
                program.send_signal(sign)
                program.communicate(timeout=SECONDS)
                self.assertEqual(program.returncode, expected)
                with self.assertRaises(ProcessLookupError):  # it was ended, and not only left behind
                    os.kill(int(engine), 0)
            self.nothing_left()


class Shell(Case):
    def start(self, *words, prompt=True):
        shell = pexpect.spawn(PROGRAM, ["shell", "--data", DATA, *words], env=self.environment, timeout=SECONDS,
                              encoding="utf-8", dimensions=(24, 60))
        self.addCleanup(shell.close, force=True)
        if prompt:
            shell.expect_exact("vexa> ")
        return shell

    def ask(self, shell, line, *expected):
        shell.sendline(line)
        for text in expected:
            shell.expect_exact(text)
        shell.expect_exact("vexa> ")

    def leave(self, shell, code=0):
        shell.sendline("\\q")
        shell.expect(pexpect.EOF)
        shell.close()
        self.assertEqual(shell.exitstatus, code)
        self.nothing_left()

    def test_looks_at_dictionary_cases_log_and_times(self):
        shell = self.start()
        self.ask(shell, "\\d", "Solar_R    number     F5.0", "text of 9")
        self.ask(shell, "\\d ozone", "target", "120 thru highest")
        self.ask(shell, "\\n 2 Ozone MonthName", "   2     36  May", "2 of 153 cases")
        self.ask(shell, "\\n 1", "Case  Ozone  Solar_R  Wind  Temp  Month  Day  MonthName")
        self.ask(shell, "\\d Nothing", "Nothing: there is no such variable")
        self.ask(shell, "\\log 1", "GetVariableName (9): 0")
        self.ask(shell, "\\timing", "Timing is on.")
        self.ask(shell, "* nothing.", "Time: ", " ms")
        self.ask(shell, "\\what", "\\what is nothing here")
        self.ask(shell, "\\?", "leaves, as does Ctrl-D")
        self.leave(shell)

    def test_takes_blocks_line_by_line_and_shows_errors_in_colour(self):
        shell = self.start()
        for line in ("LANGUAGE PYTHON.", "for i in range(2):", "    print('line', i)", ""):
            shell.sendline(line)
            shell.expect_exact("  ... ")
        self.ask(shell, "END LANGUAGE.", "line 0", "line 1")
        self.ask(shell, "SAVE /TYPE=CSV.", "\033[31m", "SAVE lacks its /FILE")
        self.leave(shell)
        self.environment["NO_COLOR"] = "1"
        plain = self.start()
        plain.sendline("SAVE /TYPE=CSV.")
        plain.expect_exact("SAVE lacks its /FILE")
        self.assertNotIn("\033[31m", plain.before)
        self.leave(plain)

    def test_ctrl_c_gives_the_prompt_back_and_the_session_goes_on(self):
        shell = self.start()
        shell.send("LANGUAGE PYTHON.\nhalf a block")
        shell.expect_exact("  ... ")
        shell.expect_exact("half a block")
        shell.sendintr()
        shell.expect_exact("vexa> ")
        for line in SLEEP.format(3).splitlines():
            shell.sendline(line)
        shell.expect_exact("asleep")
        shell.expect(r"LANGUAGE PYTHON\., \d s \(Ctrl-C gives it up\)")  # told by itself, in time
        shell.sendintr()
        shell.expect_exact("interrupted")
        shell.expect_exact("vexa> ")
        self.ask(shell, "\\d Wind", "F5.1")  # waits for what was given up
        self.leave(shell)

    def test_history_lasts_and_an_end_of_input_leaves(self):
        shell = self.start()
        self.ask(shell, "\\timing", "Timing is on.")
        shell.sendeof()
        shell.expect(pexpect.EOF)
        again = self.start()
        again.send("\x1b[A")
        again.expect_exact("\\timing")
        again.sendline("")
        again.expect_exact("Timing is on.")
        again.expect_exact("vexa> ")
        self.leave(again)

    def test_a_backend_that_died_can_be_started_anew(self):
        shell = self.start("--options", '-fault "Submit die within"')
        self.ask(shell, "* a command.", "\\restart starts it anew")
        self.ask(shell, "\\d Ozone", "(99103)", "restart starts")
        self.ask(shell, "\\restart")
        self.ask(shell, "\\d Ozone", "target")
        self.leave(shell)

    def test_serves_a_script_without_a_terminal(self):
        code, out, error = self.vexa("shell", "--data", DATA, given="\\n 1 Temp\n\\d Nothing\n* no period")
        self.assertEqual((code, out), (1, "Case  Temp\n----  ----\n   1    67\n1 of 153 cases\n"))
        self.assertIn("there is no such variable", error)


GOOD = "int init_embedded_x, execute_x, stop_embedded_x, pre_action, post_action, set_post_vexa_output;"


class Doctor(Case):
    """A home like the one under test, in which one thing is broken."""

    def setUp(self):
        super().setUp()
        self.home, self.temp = self.path("home"), self.path("temp")
        os.makedirs(self.home + "/bin")
        os.mkdir(self.temp, 0o700)
        for name in ("StartXD", "startx", "vexaengine", "RConsole", "vexajavaplugin.jar"):
            if os.path.exists(f"{HOME}/bin/{name}"):
                os.symlink(f"{HOME}/bin/{name}", f"{self.home}/bin/{name}")
        os.mkdir(self.home + "/lib")
        for name in ("libvexaxd_p.so", "libvexapython.so", "python"):
            os.symlink(f"{HOME}/lib/{name}", f"{self.home}/lib/{name}")
        self.configure()
        self.environment |= {"VEXA_HOME": self.home, "VEXADXTEMP": self.temp}
        self.environment.pop("DISPLAY", None)

    def configure(self, sections="[PYTHON]\nLIB_NAME=vexapython\nHOME=/usr\n", languages="PYTHON", version=""):
        self.replace("bin/vexadxcfg.ini", f"[SUPPORTED_LANG]\nX={languages}\n[version]\n{version}\n{sections}")

    def replace(self, name, content, mode=0o644):
        path = f"{self.home}/{name}"
        os.makedirs(os.path.dirname(path), exist_ok=True)
        if os.path.lexists(path):
            os.unlink(path)
        with open(path, "wb") as file:
            file.write(content if isinstance(content, bytes) else content.encode())
        os.chmod(path, mode)

    def remove(self, name):
        os.unlink(f"{self.home}/{name}")

    def foreign(self, name):
        """The same file for another machine."""
        with open(f"{self.home}/{name}", "rb") as file:
            content = bytearray(file.read(4096))
        content[18:20] = (183).to_bytes(2, "little")
        self.replace(name, bytes(content), 0o755)

    def language(self, source):
        """A library of a language, made of this C."""
        source = self.write("language.c", source)
        subprocess.run(["gcc", "-shared", "-fPIC", "-o", f"{self.home}/lib/libx.so", source], check=True, timeout=SECONDS)
        self.configure("[X]\nLIB_NAME=x\n", "X")

    def doctor(self, *words, **environment):
        code, out, error = self.vexa("doctor", *words, **environment)
        return code, [line for line in out.splitlines() if not line.startswith("good")], error

    def test_finds_nothing_wrong_with_a_good_home_and_goes_round(self):
        java = os.path.exists(HOME + "/JRE") and not SANITIZED
        if java:
            for name in ("JRE", "lib/libvexaxd_jni.so"):
                os.symlink(f"{HOME}/{name}", f"{self.home}/{name}")
        code, out, _ = self.vexa("doctor", "--json")
        findings = [json.loads(line) for line in out.splitlines()]
        self.assertEqual(([f for f in findings if f["kind"] == "FAULT"], code), ([], 0))
        rounds = [(f["subject"], f["finding"].split(" in ")[0]) for f in findings if " ms" in f["finding"]]
        languages = ["PYTHON", "JAVAEXTENSION"] if java else ["PYTHON"]
        self.assertEqual(rounds, [("backend", "started"), *((language, "a round trip") for language in languages)])
        self.assertEqual(os.listdir(self.temp), [])

    def test_names_what_is_broken_in_one_line(self):
        python = "[PYTHON]\nLIB_NAME=vexapython\nHOME={}\n"
        cases = [  # what breaks it, the environment, the one line
            (lambda: None, {"VEXA_HOME": "/nowhere"},
             "FAULT  home: VEXA_HOME names /nowhere, which is no directory: name the directory that has bin/StartXD"),
            (lambda: self.remove("bin/StartXD"), {},
             "FAULT  home: <home> has no bin/StartXD: name the directory above the bin/ that has it, or install the "
             "backend there"),
            (lambda: self.replace("bin/StartXD", "#!/bin/sh\n"), {},
             "FAULT  backend: <home>/bin/StartXD is not executable: chmod +x it, or install the backend anew"),
            (lambda: self.replace("bin/StartXD", "#!/no/shell\n", 0o755), {}, "StartXD needs /no/shell, which is not there"),
            (lambda: self.replace("bin/StartXD", "#!/bin/sh\nexit 3\n", 0o755), {}, "FAULT  backend: it does not start: "),
            (lambda: self.foreign("bin/startx"), {},
             "FAULT  languages: <home>/bin/startx is for aarch64, and this machine's are for "),
            (lambda: self.remove("lib/libvexaxd_p.so"), {},
             "FAULT  library: <home>/lib/libvexaxd_p.so: No such file or directory: install the library"),
            (lambda: self.configure(version="VexadxVersion=0.0.9"), {},
             "FAULT  versions: bin/vexadxcfg.ini is of 0.0.9, vexa of "),
            (lambda: self.remove("bin/vexadxcfg.ini"), {}, "FAULT  configuration: <home>/bin/vexadxcfg.ini: No such file or directory: install it there"),
            (lambda: self.configure(languages="PYTHON\nTRACE=/nowhere"), {}, "FAULT  configuration: TRACE=/nowhere: "),
            (lambda: self.configure(languages="PYTHON;NONE"), {}, "FAULT  NONE: <home>/bin/vexadxcfg.ini has no section [NONE]: add it"),
            (lambda: self.configure("[PYTHONS]\n" + python.format("/usr")), {},
             "FAULT  PYTHON: the section [PYTHONS] of <home>/bin/vexadxcfg.ini stands for it, since it comes first and begins so: put"),
            (lambda: self.configure(languages="PYTHON; R"), {}, "FAULT   R: X of <home>/bin/vexadxcfg.ini has a blank beside it, which belongs to the name: take"),
            (lambda: self.configure("[PYTHON]\nHOME=/usr\n"), {}, "FAULT  PYTHON: the section [PYTHON] has no LIB_NAME"),
            (lambda: self.configure(python.format("/nowhere")), {}, "FAULT  PYTHON: HOME=/nowhere is no directory: set"),
            (lambda: self.configure(python.format(self.temp)), {}, "FAULT  PYTHON: HOME=<temp> is no Python: it has no lib"),
            (lambda: self.configure(python.format("/usr\nPYTHON_LIBRARY=libnone.so")), {},
             "Python cannot be loaded: libnone.so: cannot open shared object file"),
            (lambda: self.remove("lib/libvexapython.so"), {},
             "FAULT  PYTHON: <home>/lib/libvexapython.so: No such file or directory: install what is named"),
            (lambda: self.foreign("lib/libvexapython.so"), {},
             "FAULT  PYTHON: <home>/lib/libvexapython.so is for aarch64, and this machine's are for "),
            (lambda: self.replace("lib/libvexapython.so", "text"), {}, "is no library or program of this system"),
            (lambda: self.language(GOOD + "int nobody(void); int call(void) { return nobody(); }"), {},
             "FAULT  X: <home>/lib/libx.so cannot be loaded: undefined symbol: nobody: install"),
            (lambda: self.language("int init_embedded_x, execute_x, stop_embedded_x, pre_action;"), {},
             "FAULT  X: <home>/lib/libx.so lacks post_action: add them"),
            (lambda: self.language(GOOD + "__attribute__((constructor)) void end(void) { *(volatile int*)0 = 1; }"), {},
             "FAULT  X: <home>/lib/libx.so ends the program that loads it"),
            (lambda: self.configure("[R]\nHOME=/nowhere\n", "R"), {}, "FAULT  R: /nowhere/bin/R: No such file or directory"),
            (lambda: self.replace("bin/R", "#!/bin/sh\n", 0o755) or self.configure(f"[R]\nHOME={self.home}\nR_LIBS=/none\n", "R"),
             {}, "FAULT  R: the package vexastatistics is in none of /none:"),
            (lambda: self.replace("JRE/bin/java", "#!/bin/sh\n", 0o755) or self.replace("bin/vexajavaplugin.jar", "PK"), {},
             "FAULT  JAVAEXTENSION: <home>/bin/vexajavaplugin.jar has no com/kor/statistics/plugin/Extension.class"),
            (lambda: None, {"VEXADXTEMP": "/nowhere"}, "FAULT  temp: VEXADXTEMP names /nowhere: No such file or directory"),
            (lambda: None, {"VEXADXTEMP": "/proc"}, "FAULT  temp: no fifo can be made in /proc (VEXADXTEMP): "),
            (lambda: os.chmod(self.temp, 0o777), {}, "FAULT  temp: <temp> (VEXADXTEMP): others can remove the fifos there"),
            (lambda: os.mkfifo(self.temp + "/fffff0VEXA_s"), {},
             "hint  temp: <temp> has 1 fifos that 1 dead processes left: vexa doctor --clean removes them"),
            (lambda: None, {"DISPLAY": ":987"}, "hint  console: "),
        ]
        for damage, environment, line in cases:
            with self.subTest(line=line):
                self.doCleanups()
                self.setUp()
                damage()
                starts = line.startswith(("FAULT  backend: it does", "Python cannot"))
                code, found, _ = self.doctor(*([] if starts else ["--no-round-trip"]), **environment)
                found = [one.replace(self.home, "<home>").replace(self.temp, "<temp>") for one in found]
                self.assertEqual([line in one for one in found].count(True), 1, found)
                self.assertEqual(code, 1 if any(one.startswith("FAULT") for one in found) else 0)

    def test_a_home_that_nobody_named_and_a_few_descriptors(self):
        with open(PROGRAM, "rb") as program, open(self.path("copy"), "wb") as copy:
            copy.write(program.read())
        os.chmod(self.path("copy"), 0o755)
        environment = self.environment | {"LD_LIBRARY_PATH": HOME + "/lib"}
        del environment["VEXA_HOME"]
        ended = subprocess.run([self.path("copy"), "doctor"], env=environment, capture_output=True, text=True, timeout=SECONDS)
        self.assertIn("FAULT  home: VEXA_HOME is not set, and vexa does not lie in a home: set VEXA_HOME", ended.stdout)
        few = subprocess.run(["/bin/sh", "-c", f'ulimit -n 64; exec "{PROGRAM}" doctor --no-round-trip'],
                             env=self.environment, capture_output=True, text=True, timeout=SECONDS)
        self.assertIn("FAULT  limits: a process may open 64 files", few.stdout)

    def test_cleans_what_the_dead_left_and_nothing_else(self):
        for name in ("fffff0VEXA_s", f"{os.getpid():x}VEXA_s"):
            os.mkfifo(f"{self.temp}/{name}")
        self.assertEqual(self.doctor("--clean", "--no-round-trip")[0], 0)
        self.assertEqual(os.listdir(self.temp), [f"{os.getpid():x}VEXA_s"])


NESTED = """LANGUAGE PYTHON.
import vexaxd
vexaxd.GetVariableName(0)
vexaxd.Submit("LANGUAGE PYTHON.\\nimport vexaxd\\ntry:\\n  vexaxd.GetVariableLabel(99)\\nexcept vexaxd.Error:\\n  pass\\nEND LANGUAGE.")
END LANGUAGE.
"""


class Trace(Case):
    def setUp(self):
        super().setUp()
        self.record = self.path("record")
        self.assertEqual(self.vexa("run", "--data", DATA, given=NESTED, VEXA_RECORD=self.record)[0], 0)

    def show(self, *words, path=None):
        code, out, error = self.vexa("trace", "show", path or self.record, *words)
        return code, out.splitlines(), error

    def file(self, program):
        for path in (os.path.join(self.record, name) for name in os.listdir(self.record)):
            with open(path, "rb") as file:
                if file.read(100)[32:].startswith(program):
                    return path
        self.fail(f"{program} recorded nothing")

    def test_shows_calls_with_replies_and_what_they_lie_in(self):
        code, lines, error = self.show("--no-times")
        self.assertEqual((code, error), (0, ""))
        self.assertEqual([re.sub(r'("[^"\\\\]{15}).*…"', r'\1…"', line) for line in lines], """\
vexa        ready() -> 0
vexa        Submit("LANGUAGE PYTHON…") -> 0
vexaengine    kTestCmd() -> 0
vexaengine    kSetupDXRun() -> 0
vexaengine    ready() -> 0
vexaengine    block("import vexaxd\\nvexaxd.GetVariableName(0)\\nvexaxd.Submit(\\"LANG…") -> 0
startx          GetVariableName(0) -> "Ozone", 0
startx          Submit("LANGUAGE PYTHON…") -> 0
vexaengine        kSetupDXRun() -> 0
vexaengine        ready() -> 0
vexaengine        block("import vexaxd\\ntry:\\n  vexaxd.GetVariableLabel(99)\\nexcept vex…") -> 0
startx              GetVariableLabel(99) -> "variable 99: the dataset has 7, from 0", 10
startx              StopReceiveXdApiThread() -> 0
vexaengine        kExitDxRun() -> 0
startx          StopReceiveXdApiThread() -> 0
vexaengine    kExitDxRun() -> 0
vexa        IsBackendReady() -> 1, 0
vexa        IsBackendReady() -> 1, 0
vexa        IsXDriven() -> 1, 0
vexa        StopVexa() -> 0
vexaengine    kStopDX() -> 0
""".splitlines())
        self.assertEqual(self.show("--no-times"), (code, lines, error))

    def test_chooses_sums_up_and_draws(self):
        _, lines, _ = self.show("--function", "GetVariableName", "--process", "vexaengine")
        self.assertEqual(len(lines), 1)
        self.assertRegex(lines[0], r'^ +0\.000000  vexaengine +GetVariableName\(0\) -> "Ozone", 0, [\d.]+ [mu]s$')
        self.assertEqual(self.show("--slower", "60000000")[1], [])
        _, lines, _ = self.show("--summary", "--no-times", "--function", "Submit", "--function", "GetVariableLabel")
        self.assertEqual([line.split() for line in lines[2:]], [["GetVariableLabel", "1", "1"], ["Submit", "2", "0"]])
        objects = [json.loads(line) for line in self.show("--json")[1]]
        one = next(each for each in objects if each["name"] == "GetVariableName")
        self.assertEqual((one["arguments"], one["results"], one["code"]), ([0], ["Ozone"], 0))
        self.show("--chrome", self.path("events"))
        with open(self.path("events")) as file:
            events = json.load(file)["traceEvents"]
        self.assertEqual([event["name"] for event in events if event["ph"] == "X"], [each["name"] for each in objects])

    def test_takes_what_is_no_record_or_none_that_is_whole(self):
        file = self.file(b"vexaengine")
        whole = self.show("--no-times", path=file)[1]
        with open(file, "rb") as read:
            content = read.read().rstrip(b"\0")  # one that was killed left room behind it
        for length in (len(content) - 1, len(content) - 9):
            with open(file, "wb") as cut:
                cut.write(content[:length])
            code, lines, error = self.show("--no-times", path=file)
            self.assertEqual((code, lines[:len(whole) - 3]), (1, whole[:len(whole) - 3]))
            self.assertIn(f"{file} is cut off: its last ", error)
        os.mkdir(self.path("empty"))
        for path, told in ((DATA, " is no record"), (self.path("empty"), " has no record"), ("/nowhere", "no such file")):
            code, lines, error = self.show(path=path)
            self.assertEqual((code, lines), (1, []))
            self.assertIn(told, error)


class ProveBackend(Case):
    def prove(self, *words, fault=""):
        options = ("--options", f'-fault "{fault}"') if fault else ()
        code, out, error = self.vexa("prove", "backend", *words, *options, seconds=100)
        self.nothing_left()
        return code, out.splitlines(), error

    def test_the_practice_engine_holds_to_everything(self):
        code, lines, _ = self.prove("--data", DATA, "--junit", self.path("report.xml"))
        self.assertEqual((code, [line for line in lines[:-1] if not line.startswith("good  ")]), (0, []))
        self.assertIn("good  cases: a walk gives as many cases as there are said to be: 153", lines)
        self.assertIn("good  requests: Dictionary of the active dataset: all 20 are served", lines)
        report = xml.etree.ElementTree.parse(self.path("report.xml")).getroot()
        self.assertEqual(lines[-1], f"{len(report.findall('.//testcase'))} good, 0 faults, 0 left")
        self.assertEqual(sum(int(suite.get("tests")) for suite in report), len(lines) - 1)

    def test_of_a_small_one_it_tells_what_is_served(self):
        code, lines, _ = self.prove("python3", SMALL)
        self.assertEqual((code, [line for line in lines if line.startswith("FAULT")]), (0, []))
        self.assertIn("left  requests: Data steps: not served (code 9999)", lines)
        self.assertIn("good  cases: a walk gives as many cases as there are said to be: 10", lines)
        told = next(line for line in lines if "Case cursor" in line)
        self.assertRegex(told, "3 of 10 are served, not GetNumericValue, .*ResetDataPass")

    def test_each_fault_is_found_and_shown(self):
        broke_off = "it closed its fifo of replies, and lives on"
        cases = [  # what is ordered, the exit code, the line, what stands below it
            ("start exit", 3, "start: sends its first message: it ended with status 1; its last words: vexaengine: ordered by", ""),
            ("start silent", 3, "start: sends its first message: nothing came for 1 s", ""),
            ("start code 7", 3, "start: the first message says that it started: code 7", ""),
            ("start cut 9", 3, f"{broke_off}, behind 9 of 52 bytes", "ready() -> broke off"),
            ("GetVariableName 3 shape empty", 1, "result is missing: it is strings[0], and the reply has nothing",
             "GetVariableName(2) -> 0"),
            ("GetVariableName 3 shape other", 1, "strings[0], and the reply has 1 longs", "GetVariableName(2) -> 4, 0"),
            ("GetVariableName 3 shape more", 1, "nobody reads more than 0 longs", 'GetVariableName(2) -> "Wind", 0, 1'),
            ("GetVariableName 3 code 10", 1, "a question of a variable that is there is answered", "GetVariableName(2) -> "),
            ("227 3 cut 100", 1, f"cases: NextCaseBlock is answered: {broke_off}, behind 100 of ", "NextCaseBlock("),
            ("227 3 shape empty", 1, "cases: another pass gives the same: 0 cases", "NextCaseBlock("),
            ("CommitHeader 1 die within", 1, "it died of signal 9, behind ", "CommitHeader() -> broke off"),
            ("SetVarLabelInDS deaf", 1, "nothing came for 1 s", "SetVarLabelInDS("),
            ("SetVarLabelInDS fill", 1, "requests: GetVarTypeInDS is answered: ", "GetVarTypeInDS("),
            ("CommitCaseRecord every shape empty", 1, "new variables: a walk that writes comes to every case once: it came to 148 of 153", ""),
            ("IsXDriven die after", 1, "requests: QueueCommandPart is answered: it died of signal 9", ""),
        ]
        for fault, expected, told, shown in cases:
            with self.subTest(fault=fault):
                code, lines, _ = self.prove("--within", "1", "--data", DATA, fault=fault)
                found = [at for at, line in enumerate(lines) if line.startswith("FAULT") and told in line]
                self.assertEqual((code, bool(found)), (expected, True), lines)
                self.assertIn(shown, lines[found[0] + 1])

    def test_a_small_one_that_is_wrong_is_found_so(self):
        with open(SMALL) as file:
            right = file.read()
        cases = [  # what stands there, what takes its place, the line
            ("if os.getppid() != DRIVER:", "if False:", "ends when its driver dies between two requests: it lives on"),
            ("    os.unlink(REQUESTS)", "    pass", "leaves no fifo of its own when its driver dies ahead of the answer: there are "),
            ("0o600)", "0o644)", "is open to others"),
            ("bytes(4 * 6)", "bytes(4 * 5)", "the reply is no message: it ends ahead of the count of bytes of void"),
            ("return message(action, UNKNOWN)", "return message(action)", "action 30000, which there is not, is refused: it was"),
            ("(0,) * 5", "()", "broken requests: a head without slots: it ended with status 1; its last words: ValueError"),
            ("at + len(cases) == len(SQUARES)", "at == len(SQUARES)", ""),  # which is right, too
        ]
        for there, instead, told in cases:
            self.assertEqual(right.count(there), 1, there)
            code, lines, _ = self.prove("--within", "4", "python3", self.write("small.py", right.replace(there, instead)))
            faults = [line for line in lines if line.startswith("FAULT")]
            self.assertEqual((bool(code), told in "".join(faults)), (bool(told), True), lines)

    def test_says_what_keeps_it_from_trying(self):
        for words, expected, told in ((["/nowhere"], 3, "FAULT  start: runs: /nowhere: No such file or directory"),
                                      (["--home", "/nowhere"], 3, "/nowhere (--home) has no share/vexaxd/functions.json"),
                                      (["--junit", "/nowhere/x"], 1, "/nowhere/x cannot be written"),
                                      (["--within", "soon"], 2, "--within")):
            code, lines, error = self.prove(*words)
            self.assertEqual((code, told in "\n".join([*lines, error])), (expected, True), error)


# What it lacks makes a language of few lines into one that is wrong.
SMALL_LANGUAGE = """#include <stdio.h>
#include <stdlib.h>
#include <string.h>
static int (*post)(const char*, int), up;
static char kept[100], why[200];
int init_embedded_x(int count, char** words) { return up++ ? 7 : 0; }
void set_post_vexa_output(int (*function)(const char*, int)) { post = function; }
int pre_action(void) { return up ? 0 : 8; }
static void say(const char* text) { post(text, (int)strlen(text)), post("\\n", 1); }
int execute_x(char* lines) {
  for (char* line = strtok(lines, "\\n"); line != NULL; line = strtok(NULL, "\\n")) {
    if (strncmp(line, "print ", 6) == 0) say(line + 6);
    else if (strncmp(line, "keep ", 5) == 0) strcpy(kept, line + 5);
    else if (strcmp(line, "kept") == 0) say(kept);
    else return snprintf(why, sizeof why, "%s", line), 5;
  }
  return 0;
}
int post_action(void) { return 0; }
int stop_embedded_x(void) { return up = 0; }
const char* last_error_x(void) { return why; }
"""
SMALL_BLOCKS = "[print]\nprint {}\n[fail]\nfail {}\n[keep]\nkeep {}\n[kept]\nkept\n"


class ProveLanguage(Case):
    def prove(self, *words):
        code, out, error = self.vexa("prove", "language", *words)
        self.nothing_left()
        return code, out.splitlines(), error

    def test_the_languages_of_the_home_hold_to_everything(self):
        with open(HOME + "/bin/vexadxcfg.ini") as file:
            names = re.search("^X=(.*)$", file.read(), flags=re.M)[1].split(";")
        names += ["JAVAEXTENSION"] if os.path.exists(HOME + "/JRE") else []
        for name in names:
            if SANITIZED and name in ("R", "JAVAEXTENSION"):
                continue
            with self.subTest(language=name):
                code, lines, _ = self.prove(name, "--junit", self.path("report.xml"))
                self.assertEqual((code, [line for line in lines if line.startswith("FAULT")]), (0, []))
                self.assertIn("good  blocks: a block submits a block", lines)
                report = xml.etree.ElementTree.parse(self.path("report.xml")).getroot()
                self.assertEqual(len(report.findall(".//testcase")), len(lines) - 1)

    def test_what_is_wrong_with_a_library_is_found(self):
        blocks = self.write("blocks", SMALL_BLOCKS)
        cases = [  # what stands there, what takes its place, the line
            ("", "", ""),
            ("int post_action", "int past_action", "has the functions of a language: {library} lacks post_action"),
            ("return up++ ? 7 : 0", "return 6", "library: starts: expected 0 of init_embedded_x, and it gave 6"),
            ("return up = 0", "return 0", "library: starts again: expected 0 of init_embedded_x, and it gave 7"),
            ("post(text, (int)strlen(text))", "0", 'expected "Grüße " to be posted, and got " "'),
            ("line), 5", "line), 0", "gives a block that fails a code: expected a code other than 0"),
            ("return snprintf(", "abort(); return snprintf(", "gives a block that fails a code: the process died of it: Aborted"),
            ("return snprintf(", "for (;;); return snprintf(", "gives a block that fails a code: it did not come back in time"),
            ("return why", 'return ""', 'tells why: expected "mistaken" of last_error_x or in the output, and got ""'),
            ("say(kept)", "say(line)", 'still has it in the next block: expected "remembered "'),
            ('line = strtok(NULL, "\\n")', "line = NULL", "blocks: a block of 500 lines runs whole, in order: the output is"),
        ]
        for there, instead, told in cases:
            self.assertIn(there, SMALL_LANGUAGE)
            library = self.path("libsmall.so")
            source = self.write("small.c", SMALL_LANGUAGE.replace(there, instead, 1))
            subprocess.run(["gcc", "-shared", "-fPIC", "-o", library, source], check=True, timeout=SECONDS)
            code, lines, error = self.prove(library, "--blocks", blocks, "--within", "2")
            faults = [line for line in lines if line.startswith("FAULT")]
            self.assertEqual((code, told.format(library=library) in "".join(faults)), (int(bool(told)), True), lines + [error])

    def test_says_what_keeps_it_from_trying(self):
        for words, expected, told in ((["NODE"], 2, "NODE is no language of "), ([], 2, "LIBRARY"),
                                      (["LUA", "--blocks", "/nowhere"], 1, "/nowhere cannot be read"),
                                      (["/nowhere/libx.so"], 1, "/nowhere/libx.so: No such file")):
            code, lines, error = self.prove(*words)
            self.assertEqual((code, told in "\n".join([*lines, error])), (expected, True), error)


class Words(Case):
    """What is told of the options in other places is what there is."""

    def options(self, *subcommand):
        code, out, _ = self.vexa(*subcommand, "--help")
        self.assertEqual(code, 0)
        return set(re.findall(r"^ +(?:-h,)?(--[a-z-]+)", out, flags=re.M))

    def completed(self, *words):
        script = (f'. "{HOME}/share/bash-completion/completions/vexa"; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); '
                  '_vexa; echo "${COMPREPLY[@]}"')
        ended = subprocess.run(["bash", "-c", script, "bash", "vexa", *words], capture_output=True, text=True,
                               timeout=SECONDS, check=True)
        return set(ended.stdout.split())

    def test_completion_and_manual_page_have_the_options_that_there_are(self):
        self.assertEqual(self.completed(""), {"run", "shell", "doctor", "trace", "prove"} | self.options())
        self.assertEqual(self.completed("sh"), {"shell"})
        there = self.options()
        self.assertEqual(self.completed("trace", ""), {"show", "serve", "diff"} | self.options("trace"))
        self.assertEqual(self.completed("prove", ""), {"backend", "language"} | self.options("prove"))
        for subcommand in (["run"], ["shell"], ["doctor"], ["trace", "show"], ["trace", "serve"], ["trace", "diff"],
                           ["prove", "backend"], ["prove", "language"]):
            self.assertEqual(self.completed(*subcommand, ""), self.options(*subcommand))
            there |= self.options(*subcommand)
        with open(HOME + "/share/man/man1/vexa.1") as page:
            told = re.findall(r"^\.BI? .*?(--[a-z-]+)", page.read().replace("\\-", "-"), flags=re.M)
        self.assertEqual({option for option in told if option != "--version"} | {"--help", "--version"}, there)

    def test_the_manual_page_is_one(self):
        told = subprocess.run(["groff", "-man", "-Tutf8", "-ww", "-z", HOME + "/share/man/man1/vexa.1"], text=True,
                              capture_output=True, timeout=SECONDS, check=True)
        self.assertEqual(told.stdout + told.stderr, "")

    def test_tells_its_version(self):
        code, out, _ = self.vexa("--version")
        self.assertEqual((code, bool(re.fullmatch(r"vexa \d+\.\d+\.\d+\n", out))), (0, True))


if __name__ == "__main__":
    unittest.main()
