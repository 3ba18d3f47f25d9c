"""What a person is told of a failure: each mistake in an installation, and each refusal, by the sentence that names it.

    VEXA_HOME=build/release/home PYTHONPATH=build/release/home/lib/python python3 tests/reasons.py
"""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

STAGED = pathlib.Path(os.environ["VEXA_HOME"])
BLOCK = "LANGUAGE {}.\\n{}\\nEND LANGUAGE.\\n"
SCRIPT = """
import sys, threading, vexaxd
vexaxd.SetXNameAndSHome({language!r}, {home!r})
try:
    with vexaxd.session({options!r}):
        {code}
except vexaxd.Error as error:
    print(error)
"""

START = "print(vexaxd.GetVariableCount())"
RUN_PYTHON = f'vexaxd.Submit("{BLOCK.format("PYTHON", "1/0")}")'
RUN_ON_MAIN = BLOCK.format("PYTHON", "import os, threading, sys\\nsys.exit(9 * (threading.get_native_id() == os.getpid()))")
RUN_R = f'vexaxd.Submit("{BLOCK.format("R", "1")}")'
RUN_JAVA = f'vexaxd.Submit("{BLOCK.format("JAVAEXTENSION", "None")}")'


def remove(path):
    return lambda home: (home / path).unlink()


def forbid(path):
    return lambda home: (home / path).chmod(0o600)


def configure(old, new):
    def change(home):
        file = home / "bin/vexadxcfg.ini"
        text = file.read_text()
        assert old in text, old
        file.write_text(text.replace(old, new))

    return change


def speak(path, line):
    """A program of that name, in the home that the configuration then has for R."""

    def change(home):
        (home / path).parent.mkdir(parents=True)
        (home / path).write_text("#!/bin/sh\n" + line + "\n")
        (home / path).chmod(0o755)
        configure("/usr/lib/R\n", str((home / path).parent.parent) + "\n")(home)

    return change


def nothing(home):
    pass


class Reasons(unittest.TestCase):
    def told(self, change, code, options="", language="", environment=()):
        """What a script prints in a home that was changed."""
        with tempfile.TemporaryDirectory() as directory:
            home = pathlib.Path(directory) / "home"
            for folder in ("bin", "lib"):
                shutil.copytree(STAGED / folder, home / folder, symlinks=True)
            (home / "JRE").symlink_to(STAGED / "JRE")
            change(home)
            script = SCRIPT.format(language=language, home=str(home), options=options, code=code)
            known = {**os.environ, "VEXA_HOME": str(home), "VEXADXTEMP": directory, **dict(environment)}
            run = subprocess.run([sys.executable, "-c", script], env=known, capture_output=True, text=True, timeout=50)
            return run.stdout.replace(str(home), "~") + run.stderr

    def test_what_is_wrong_is_named(self):
        for change, code, how, *sentences in (
            (remove("bin/StartXD"), START, {}, "StartVexa: no backend is running (17): ~/bin/StartXD is not there"),
            (forbid("bin/StartXD"), START, {}, "(99107): ~/bin/StartXD may not be executed"),
            (remove("bin/vexaengine"), START, {}, "(99107): ~/bin/StartXD ended with status 127"),
            (nothing, START, {"environment": {"VEXADXTEMP": "/none/"}}, "0xdapiresult cannot be made: No such file"),
            (nothing, START, {"options": "-data /none.csv"}, "(2002): /none.csv: No such file or directory"),
            (nothing, START, {"options": "-none"}, "(2001): ", "-none"),
            (remove("bin/startx"), RUN_PYTHON, {}, "Submit: ", "(99107): PYTHON: ~/bin/startx is not there"),
            (remove("lib/libvexapython.so"), RUN_PYTHON, {}, "(99114): PYTHON: ~/lib/libvexapython.so cannot be loaded"),
            (remove("lib/libvexapython.so"), RUN_PYTHON, {"language": "PYTHON"}, "~/lib/libvexapython.so cannot be loaded"),
            (configure("LIB_NAME=", "NO_NAME="), RUN_PYTHON, {}, "(99118): ", "[PYTHON] of ~/bin/vexadxcfg.ini has no LIB_N"),
            (configure("[PYTHON]\n", "[PYTHON]\nPYTHON_LIBRARY=none.so\n"), RUN_PYTHON, {}, "(3003): ", "loaded: none.so:"),
            (configure("[PYTHON]\n", "[PYTHON]\nSTARTX_MAIN_THREAD=true\n"), f'vexaxd.Submit("{RUN_ON_MAIN}")', {}, "(9)"),
            (configure("X=PYTHON", "X=COBOL"), RUN_PYTHON, {}, "not among the languages of ~/bin/vexadxcfg.ini"),
            (configure("/usr/lib/R\n", "/none\n"), RUN_R, {}, "R: /none/bin/R is not there"),
            (speak("lib/R/bin/R", "echo no libR >&2; exit 3"), RUN_R, {}, "bin/R ended with status 3; it wrote: no libR"),
            (remove("bin/vexajavaplugin.jar"), RUN_JAVA, {}, "it wrote: Error: Could not find or load main class"),
            (remove("JRE"), RUN_JAVA, {}, "(99123): JAVAEXTENSION: ~/JRE/bin/java is not there"),
            (nothing, RUN_PYTHON, {}, "(3001): PYTHON: Traceback", "ZeroDivisionError"),
            (nothing, RUN_PYTHON, {"language": "PYTHON"}, "(3001): PYTHON: Traceback", "ZeroDivisionError"),
            (nothing, "vexaxd.GetVariableName(7)", {}, "GetVariableName: ", "(10): variable 7: the dataset has 0"),
            (nothing, "vexaxd.SetNCellValue('d', 0, 0, 1)", {}, "SetNCellValue: no data step is open (89)"),
        ):
            with self.subTest(sentences=sentences):
                told = self.told(change, code, **how)
                for sentence in sentences:
                    self.assertIn(sentence, told)

    def test_the_last_failure_of_a_thread_stays_until_the_next(self):
        code = """
        told = [vexaxd.VexaLastError()]
        for index in (7, 8):
            try: vexaxd.GetVariableName(index)
            except vexaxd.Error as error: told.append(error.text == vexaxd.VexaLastError())
        vexaxd.GetVariableCount()
        told.append("variable 8" in vexaxd.VexaLastError())
        other = threading.Thread(target=lambda: told.append(vexaxd.VexaLastError()))
        other.start(), other.join()
        print(told)"""
        self.assertEqual(self.told(nothing, code), "['', True, True, True, '']\n")


if __name__ == "__main__":
    unittest.main()
