#!/usr/bin/env python3
"""deaths.py HOME: the matrix of deaths. In each of the states that a session can be in, each of its processes dies; whoever
survives has to answer or to end at once, and nothing may be left. README.md tells the rest.
"""
import argparse
import concurrent.futures
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import traceback

from cell import Cell, Hung, Unreached
from states import PROCESSES, block, cells_of, table


# Not as wanted, and known: the driver's own thread runs the inner block, and what waits for the outer one waits for that.
# Counted and told, and no failure.
KNOWN = re.compile(r"nested \S*[RJ]\S*>D / (R|java) / ")


def name_of(state, victim, way):
    return f"{state.name} / {victim} / {way}"


# --- The walk ---


class Walk:
    """What the cells share."""

    def __init__(self, home, within):
        self.home, self.within, self.display, self.display_server = pathlib.Path(home).resolve(), within, "", None
        self.directory = tempfile.mkdtemp(prefix="vexa_deaths_")
        self.wide, self.jar = f"{self.directory}/wide.csv", self.home.parent / "tests/PlayedExtension.jar"
        with open(self.wide, "w", encoding="ascii") as file:  # 30,000 cases of more than 1,000 bytes
            file.write("id,text\n1," + "x" * 1000 + "\n" + "".join(f"{case},x\n" for case in range(2, 30001)))
        told = re.search(r"^\[R\][^[]*?^HOME=(.*)", (self.home / "bin/vexadxcfg.ini").read_text(), re.M)
        self.r_home, self.missing = told and told[1], {}
        if not self.r_home:
            self.missing["R"] = "R"
        if not self.jar.exists():
            self.missing["J"] = "Java"
        if not (os.path.exists("/usr/bin/xterm") and shutil.which("Xvfb") and self._open_display()):
            self.missing["X"] = "a display (xterm, Xvfb)"

    def _open_display(self):
        told, number = os.pipe()
        command = ["Xvfb", "-displayfd", str(number), "-nolisten", "tcp"]
        self.display_server = subprocess.Popen(command, pass_fds=[number], stderr=subprocess.DEVNULL)
        os.close(number)
        with os.fdopen(told) as reader:
            self.display = ":" + reader.readline().strip()
        return len(self.display) > 1

    def close(self):
        if self.display_server:
            self.display_server.terminate()
            self.display_server.wait()
        shutil.rmtree(self.directory, ignore_errors=True)

    def lacks(self, state):
        return [self.missing[need] for need in state.needs if need in self.missing]

    def run(self, number, state, victim, way):
        """One cell. What is not as wanted stands in "faults"."""
        cell = Cell(f"{self.directory}/cell_{number}", self)
        try:
            cell.start_driver("PYTHON" if state.hosts else "")
            state.enter(cell)
            cell.strike(victim, way)
            if state.name == "callback of PYTHON in the driver" and victim == "backend":
                cell.await_block()
            if victim != "driver":
                if state.name.startswith("stop"):
                    cell.look_for_zombies()
                letter = next((letter for letter, process in PROCESSES.items() if process == victim), "")
                lives = victim != "backend" and not state.name.startswith("stop")
                cell.go_on(lives, block(cell, letter, "count") if letter else "")
            cell.end()
        except Hung as failure:
            cell.faults.append(f"hangs: {failure}")
        except Unreached as failure:
            cell.faults.append(f"not reached: {failure}")
        except Exception:  # the matrix's own fault
            cell.faults.append("the matrix failed: " + traceback.format_exc(limit=-3))
        finally:
            cell.clear()
        return {"cell": name_of(state, victim, way), "faults": cell.faults}


def walk_all(walk, cells, jobs):
    """The results of the cells. Each that is not as wanted gets a line as soon as it is known."""
    before, results = set(os.listdir("/dev/shm")), []
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        walks = [pool.submit(walk.run, number, *cell) for number, cell in enumerate(cells)]
        try:
            for done in concurrent.futures.as_completed(walks):
                results.append(done.result())
                if results[-1]["faults"]:
                    print(f"{results[-1]['cell']}: {'; '.join(results[-1]['faults'])}", flush=True)
        except KeyboardInterrupt:
            pool.shutdown(cancel_futures=True)  # behind the cells that run: they clear up
            raise
    if new := set(os.listdir("/dev/shm")) - before:
        results[-1]["faults"] += [f"left: shared memory {name}" for name in new]
        print(f"beside the cells: {', '.join(results[-1]['faults'][-len(new):])}")
    return results


def summarise(results, left_out):
    """The figures. Returns how many cells are not as wanted."""
    unanswered = ("hangs", "does not end", "not reached", "the matrix failed")
    without = lambda *kinds: sum(not any(fault.startswith(kinds) for fault in r["faults"]) for r in results)  # noqa: E731
    known = sum(bool(r["faults"] and KNOWN.match(r["cell"])) for r in results)
    bad = len(results) - without("") - known
    things = sum(fault.startswith("left") for r in results for fault in r["faults"])
    print(f"{len(results)} cells: {without(*unanswered)} answered, {without('late', *unanswered)} of them in time, "
          f"{things} things left; {bad} cells are not as wanted, and {known} more that are known")  # fmt: skip
    for cell, lacking in left_out:
        print(f"left out for want of {' and '.join(lacking)}: {name_of(*cell)}")
    return bad


def main():
    parser = argparse.ArgumentParser(description=__doc__.partition("\n\n")[0])
    parser.add_argument("home", metavar="HOME", help="the staged home")
    parser.add_argument("--reduced", action="store_true", help="one death in each state")
    parser.add_argument("--only", metavar="PATTERN", default="", help="cells whose name the expression is found in")
    parser.add_argument("--list", action="store_true", help="the names of the cells")
    parser.add_argument("--within", metavar="SECONDS", type=float, default=1.0, help="how long an answer may take")
    parser.add_argument("-j", dest="jobs", metavar="N", type=int, default=2, help="cells at the same time")
    options = parser.parse_args()
    cells = [cell for cell in cells_of(table(), options.reduced) if re.search(options.only, name_of(*cell))]
    if options.list:
        print(*(name_of(*cell) for cell in cells), sep="\n")
        return 0
    walk = Walk(options.home, options.within)
    try:
        results = walk_all(walk, [cell for cell in cells if not walk.lacks(cell[0])], options.jobs)
        return min(summarise(results, [(cell, walk.lacks(cell[0])) for cell in cells if walk.lacks(cell[0])]), 1)
    finally:
        walk.close()


if __name__ == "__main__":
    sys.exit(main())
