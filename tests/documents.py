"""The examples of the documents, as they stand there: each must run in a directory of its own beside the checkout.

    VEXA_HOME=build/release/home PYTHONPATH=build/release/home/lib/python python3 tests/documents.py
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

TOP = pathlib.Path(__file__).resolve().parent.parent
HOME = pathlib.Path(os.environ["VEXA_HOME"]).resolve()
KNOWN = {**os.environ, "VEXA_HOME": str(HOME), "PYTHONPATH": str(HOME / "lib/python")}


def fenced(document, language):
    """The blocks of a language that are whole programs."""
    blocks = re.findall(rf"^```{language}\n(.*?)^```", (TOP / document).read_text(encoding="utf-8"), flags=re.S | re.M)
    return [block for block in blocks if re.search(r"^(import|#include|library)", block, flags=re.M)]


def run(*command, **how):
    return subprocess.run(list(map(str, command)), cwd=TOP, env=KNOWN, capture_output=True, text=True, timeout=50, **how)


class Documents(unittest.TestCase):
    def test_blocks_of_python_run(self):
        ran = 0
        for document in ("README.md", "languages/python/README.md", "engine/README.md", "docs/binding.md"):
            for block in fenced(document, "python"):
                if "pandas" in block and subprocess.run([sys.executable, "-c", "import pandas"], capture_output=True).returncode:
                    continue
                ran += 1
                with self.subTest(document=document, block=block[:60]):
                    done = run(sys.executable, "-c", block)
                    self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertGreater(ran, 1)

    def test_the_ten_lines_of_c_run(self):
        (block,) = fenced("README.md", "c")
        with tempfile.TemporaryDirectory() as directory:
            ten = pathlib.Path(directory) / "ten"
            include = [f"-I{TOP}/backend/drivex/{folder}" for folder in ("vexaxd_p", "common/include")]
            link = [f"-L{HOME}/lib", "-lvexaxd_p", f"-Wl,-rpath,{HOME}/lib"]
            built = run("cc", *include, "-xc", "-", "-o", ten, *link, input=block)
            self.assertEqual(built.stderr, "")
            self.assertEqual(run(ten).stdout.split()[-1], "MonthName")

    def test_a_backend_needs_nothing_of_the_library(self):
        with tempfile.TemporaryDirectory() as directory:
            home = pathlib.Path(directory) / "home"
            (home / "bin").mkdir(parents=True)
            shutil.copy(TOP / "examples/backend.py", home / "bin/StartXD")
            for folder in ("lib", "share"):
                (home / folder).symlink_to(HOME / folder)
            code = """import vexaxd
with vexaxd.session(env={}, echo=False):
    print([case["Square"] for case in vexaxd.cases()][-3:], vexaxd.GetRowCount())
    try: vexaxd.Submit("x.")
    except vexaxd.Error as error: print(error.code)
"""
            known = {**KNOWN, "VEXA_HOME": str(home)}
            done = subprocess.run([sys.executable, "-c", code], env=known, capture_output=True, text=True, timeout=50)
            self.assertEqual((done.stdout, done.stderr), ("[49.0, 64.0, 81.0] 10\n9999\n", ""))


if __name__ == "__main__":
    unittest.main()
