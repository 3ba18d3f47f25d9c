"""The examples of the documents, as they stand there: each whole program in a fence is written under the name that its first
line tells, beside what a checkout has, and the lines below it are run.

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

sys.path.insert(0, str(pathlib.Path(__file__).with_name("support")))
import cluster

TOP = pathlib.Path(__file__).resolve().parent.parent
HOME = pathlib.Path(os.environ["VEXA_HOME"]).resolve()
KNOWN = {**os.environ, "VEXA_HOME": str(HOME), "PYTHONPATH": str(HOME / "lib/python")}
PAGES = [page for pattern in ("README.md", "docs/*.md", "*/README.md", "*/*/README.md") for page in sorted(TOP.glob(pattern))
         if page.relative_to(TOP).parts[0] != "build"]  # fmt: skip
# Of the language of a fence what a whole program has, and what runs it.
PROGRAMS = {
    "c": (r"^int main\(", ["gcc"]),
    "python": (r"^(import|from) ", ["/usr/bin/python3"]),
    "r": (r"^library\(", ["Rscript", HOME / "lib/R-library"]),
    "java": (r"^public .*class ", ["java", "javac", HOME / "bin/vexajavaplugin.jar"]),
    "js": (r"require\(|^import ", ["node", TOP / "build/node-environment/node_modules"]),
    "lua": (r"\brequire\b", ["lua5.4", HOME / "lib/lua/vexaxd.so"]),
    "ruby": (r"^require", ["ruby", "/usr/bin/ruby"]),
}


def programs(page, language):
    """Of each the name of its file, its lines, and the lines that are given to run it."""
    text = page.read_text(encoding="utf-8")
    for block, below in re.findall(rf"^```{language}\n(.*?)^```\n(.*?)(?=^```|^#|\Z)", text, flags=re.S | re.M):
        if re.search(PROGRAMS[language][0], block, flags=re.M):
            name = re.match(r"(?://|#|--) (\w+\.\w+)\b", block)
            yield name and name[1], block, "\n".join(re.findall(r"^    (.*)$", below, flags=re.M))


DATABASE = "dbname=air"  # in the lines of the documents: the reader's own


def missing(needs, command=""):
    """What the machine lacks."""
    if DATABASE in command and not (cluster.programs() and (HOME / "bin/vexasql").exists()):
        return ["PostgreSQL"]
    environment = "build/python-environment/bin/python"
    needs = needs + [TOP / environment] if environment in command else needs
    return [str(each) for each in needs if not (shutil.which(each) if isinstance(each, str) else each.exists())]


class Documents(unittest.TestCase):
    def checkout(self):
        """A directory with what the lines of the documents name; the build is the one under test."""
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        top = pathlib.Path(directory.name)
        (top / "build").mkdir()
        (top / "build/user").symlink_to(HOME.parent)
        for name in ("backend", "examples", "build/node-environment", "build/python-environment"):
            (top / name).symlink_to(TOP / name)
        return top

    servers = []

    @classmethod
    def tearDownClass(cls):
        for server in cls.servers:
            server.close()

    def run_in(self, top, command):
        if DATABASE in command:
            self.servers or self.servers.append(cluster.Server())
            command = command.replace(DATABASE, self.servers[0].string)
        known = {key: value for key, value in os.environ.items() if not key.startswith(("VEXA", "PYTHON", "NODE"))}
        known |= {"TMPDIR": str(top), "VEXA_QUICK": "1"}
        return subprocess.run(["sh", "-ec", command], cwd=top, env=known, capture_output=True, text=True, timeout=50)

    def run_all(self, language):
        if lacks := missing(PROGRAMS[language][1]):
            self.skipTest(f"examples of {language} are left out: there is no {', '.join(lacks)}")
        outputs, ran = {}, 0
        for page in PAGES:
            for name, block, command in programs(page, language):
                if lacks := missing([], command):
                    print(f"{name} of {page.name} is left out: there is no {', '.join(lacks)}", file=sys.stderr)
                    continue
                with self.subTest(page=str(page.relative_to(TOP)), name=name, block=block[:60]):
                    self.assertTrue(name and name in command, "the first line names the file, and a line below runs it")
                    top = self.checkout()
                    (top / name).write_text(block, encoding="utf-8")
                    done = self.run_in(top, command)
                    self.assertEqual((done.returncode, done.stderr), (0, ""))
                    self.assertTrue(done.stdout)
                    outputs[page.name], ran = done.stdout, ran + 1
        self.assertGreater(ran, 0)
        if "drive.md" in outputs:
            told = re.search(r"Each prints\n\n(.*?)\n\n", (TOP / "docs/drive.md").read_text(encoding="utf-8"), flags=re.S)[1]
            self.assertEqual([line.strip() for line in outputs["drive.md"].splitlines()], [line.strip() for line in told.splitlines()])

    def test_lines_that_run_an_example(self):
        """Those of one page in one directory: a later one may read what an earlier one wrote."""
        ran = 0
        for page in PAGES:
            lines = re.findall(r"^    (VEXA_HOME=\S+ .*?(?:build/user/examples/|examples/)(\w+).*)$", page.read_text(encoding="utf-8"), flags=re.M)
            top = self.checkout()
            if page.name == "database.md" and not missing([], DATABASE):  # whose program makes the table
                for name, block, command in programs(page, "python"):
                    (top / name).write_text(block, encoding="utf-8")
                    self.run_in(top, command)
            for line, name in lines:
                of = {"regression": "r", "streamed_regression": "r", "wordcount": "java", "means": "c"}.get(name, "python")
                if lacks := missing(PROGRAMS[of][1], line + ("build/python-environment/bin/python" if name == "query" else "")):
                    print(f"{line} is left out: there is no {', '.join(lacks)}", file=sys.stderr)
                    continue
                with self.subTest(page=str(page.relative_to(TOP)), line=line):
                    done = self.run_in(top, line)
                    self.assertEqual((done.returncode, done.stderr), (0, ""))
                    ran += 1
        self.assertGreater(ran, 5)

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


for each in PROGRAMS:
    setattr(Documents, f"test_programs_of_{each}", lambda self, language=each: self.run_all(language))

if __name__ == "__main__":
    unittest.main(verbosity=2)
