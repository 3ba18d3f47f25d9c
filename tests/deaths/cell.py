"""A cell of the matrix: a session of its own in a directory of its own, one death in it, and what came of that."""
import collections
import json
import os
import pathlib
import select
import shutil
import signal
import subprocess
import sys
import time

import processes

HANG = 8.0  # seconds after which nothing is waited for any more
PAUSE = 0.2  # between a stop and the death
BY_CONTRACT = {"vexaxd.StartVexa": 1.0, "vexaxd.StopVexa": 1.0}  # seconds that they take at least
PATIENCE = 2.0  # that they have with a block of a dead session that runs in the driver
COUNT = "vexaxd.GetRowCount()"
DATA, ROWS = pathlib.Path(__file__).resolve().parents[2] / "examples/data/airquality.csv", 153
DRIVER = pathlib.Path(__file__).with_name("driver.py")


class Unreached(Exception):
    """The cell did not come to its state."""


class Hung(Exception):
    """A survivor waits without end."""


def wait_for(condition, what, limit=HANG):
    end = time.monotonic() + limit
    while not (value := condition()):
        if time.monotonic() > end:
            raise Unreached(what)
        time.sleep(0.005)
    return value


class Cell:
    def __init__(self, directory, walk):
        self.directory, self.walk = pathlib.Path(directory), walk
        self.reached, self.go, self.answered, self.gate = (f"{directory}/{x}" for x in ("reached", "go", "answered", "gate"))
        self.outermost = ""  # the process of the block that the driver waits for
        self.stopped, self.gate_end, self.held_role, self.peer = set(), -1, "", None
        self.faults = []
        self.driver = self.requests = self.reports = None
        self._lay_out_home()

    def _lay_out_home(self):
        self.home = self.directory / "home"
        for made in ("fifos", "tmp", "user", "home/bin"):
            (self.directory / made).mkdir(parents=True)
        for program in (self.walk.home / "bin").iterdir():
            (self.home / "bin" / program.name).symlink_to(program)
        for same in ("lib", "JRE"):
            (self.home / same).symlink_to(self.walk.home / same)
        self.configure("[PYTHON]\n", f"[PYTHON]\nDISPLAY={self.walk.display}\n")

    def configure(self, text, replacement):
        file = self.home / "bin/vexadxcfg.ini"
        content = file.read_text().replace(text, replacement)
        file.unlink()
        file.write_text(content)

    # --- The driver ---

    def start_driver(self, language):
        self.hosts = bool(language)
        requests, reports = os.pipe(), os.pipe()
        places = {"VEXA_HOME": "home", "VEXADXTEMP": "fifos", "VEXATMPDIR": "tmp", "TMPDIR": "tmp", "HOME": "user"}
        places["LD_LIBRARY_PATH"] = "none"  # the one that every process of a session inherits: the cell's mark
        environment = {name: f"{self.directory}/{place}" for name, place in places.items()}
        with open(self.directory / "noise", "wb") as noise:
            self.driver = subprocess.Popen(
                [sys.executable, DRIVER, str(requests[0]), str(reports[1]), language],
                env={**environment, "PATH": os.environ["PATH"], "LANG": "C.UTF-8"}, pass_fds=(requests[0], reports[1]),
                stdin=subprocess.DEVNULL, stdout=noise, stderr=noise, start_new_session=True)  # fmt: skip
        os.close(requests[0])
        os.close(reports[1])
        self.requests, self.reports = os.fdopen(requests[1], "w", buffering=1), os.fdopen(reports[0])
        self.ask("None")
        self.descriptors = self.descriptors_now()

    def begin(self, call):
        """The driver is on its way into the call."""
        self.calling = call.partition("(")[0]
        print(json.dumps(call), file=self.requests)

    def take_answer(self, since=0.0, within=HANG):
        """Code and value of the call. It counts from its begin, or from a time behind that."""
        line = self.reports.readline()
        if not line:
            raise Hung(f"the driver ended in {self.calling}: {self.noise()}")
        code, value, begin, end = json.loads(line)
        own = BY_CONTRACT.get(self.calling, 0)
        if own and os.path.exists(self.reached) and self.hosts:
            own = PATIENCE
        self.note(end - max(begin, since), within + own, self.calling)
        self.calling = ""
        return code, value

    def ask(self, call, within=HANG):
        """Has the driver make the call, which has to come back within that time."""
        self.begin(call)
        if not select.select([self.reports], [], [], HANG)[0]:
            raise Hung(f"no answer from {self.calling}")
        return self.take_answer(within=within)

    def start(self, data=DATA):
        code, _ = self.ask(f"vexaxd.StartVexa('-data {data}')")
        if code:
            raise Unreached(f"StartVexa gave {code}: {self.noise()}")

    def descriptors_now(self):
        return collections.Counter(processes.descriptors(self.driver.pid))

    def noise(self):
        return (self.directory / "noise").read_text(errors="replace")[-300:].strip().replace("\n", " | ")

    # --- Its processes, and how one is held where it is ---

    def find(self, role):
        if role == "driver":
            return self.driver.pid
        there = processes.descendants(self.driver.pid)
        return next((pid for pid in there if role and role == processes.role(pid)), None)

    def await_role(self, role):
        return wait_for(lambda: self.find(role), f"there is no {role}")

    def freeze(self, role):
        pid = self.await_role(role)
        self.stopped.add(pid)
        os.kill(pid, signal.SIGSTOP)
        wait_for(lambda: processes.state(pid) == "T", f"{role} does not stop")

    def thaw(self, spared=None):
        for pid in self.stopped - {spared}:
            os.kill(pid, signal.SIGCONT)
        self.stopped &= {spared}

    def sends(self, role, least, action=lambda: None):
        """Does the action, and waits until the process has written that many bytes more."""
        pid = self.await_role(role)
        before = processes.written(pid)
        action()
        wait_for(lambda: processes.written(pid) >= before + least, f"{role} has not written {least} bytes")

    def hold(self, program):
        """Each start of the program waits at the gate before it comes to its main()."""
        self.held_role = "backend" if program == "StartXD" else program
        held = real = self.walk.home / "bin" / program
        if program == "R":
            held, real = self.directory / "R/bin/R", f"{self.walk.r_home}/bin/R"
            self.configure(f"HOME={self.walk.r_home}\n", f"HOME={self.directory}/R\n")
        elif program == "java":
            (self.home / "JRE").unlink()
            held, real = self.home / "JRE/bin/java", self.walk.home / "JRE/bin/java"
        else:
            held = self.home / "bin" / program
            held.unlink()
        held.parent.mkdir(parents=True, exist_ok=True)
        held.write_text(f'#!/bin/sh\n[ ! -p {self.gate} ] || read line < {self.gate}\nexec {real} "$@"\n')
        held.chmod(0o700)
        os.mkfifo(self.gate)

    def await_at_gate(self):
        """Until somebody reads there. Nothing comes before the gate's end is closed."""

        def somebody_is_there():
            try:
                self.gate_end = os.open(self.gate, os.O_WRONLY | os.O_NONBLOCK)
            except OSError:
                return False
            os.unlink(self.gate)
            return True

        wait_for(somebody_is_there, "nobody came to the gate")

    # --- The death, and what the others make of it ---

    def strike(self, role, way):
        victim, doomed = self.await_role(role), processes.descendants(self.driver.pid)
        if role not in ("driver", "backend"):
            doomed = processes.descendants(victim)
        if role == "RConsole":
            doomed.append(self.find("xterm"))
        watched = {os.pidfd_open(pid): pid for pid in {victim, *doomed}}
        names = {pid: processes.told(pid) for pid in watched.values()}
        call, held = self.calling, self.find(self.held_role)
        held = held if held != victim else None

        def let_others_go_on(spared):
            self.thaw(spared)
            if role != "driver" and not self.calling:
                self.begin(COUNT)

        if way == "stop":
            os.kill(victim, signal.SIGSTOP)
            let_others_go_on(victim)
            time.sleep(PAUSE)
        death = time.monotonic()
        os.kill(victim, signal.SIGTERM if way == "term" else signal.SIGKILL)
        let_others_go_on(None if way == "term" else victim)
        code = self.await_survivors(watched, names, held, death, role != "driver")
        failed = role == "backend" and call not in BY_CONTRACT or role == self.outermost and call == "vexaxd.Submit"
        if failed and code == 0:
            self.faults.append(f"counts as success: {call or COUNT}")
        elif role in ("xterm", "RConsole"):
            self.expect("the code of the call", code, 0)

    def await_survivors(self, watched, names, held, death, asked):
        """Until those that have to go have ended, and the driver that was asked has an answer. Returns its code. The one
        that is held goes on when its starter is gone: whom the death orphans comes to its main() behind it."""
        poller, code, starter, since = select.poll(), None, held and processes.parent(held), {}
        for descriptor in [*watched, *([self.reports.fileno()] if asked else [])]:
            poller.register(descriptor, select.POLLIN)
        while (watched or asked and self.calling) and (left := death + HANG - time.monotonic()) > 0:
            for descriptor, _ in poller.poll(5 if held else left * 1000):
                poller.unregister(descriptor)
                if descriptor in watched:
                    pid = watched.pop(descriptor)
                    self.note(time.monotonic() - since.get(pid, death), self.walk.within, f"the end of {names[pid]}")
                    os.close(descriptor)
                else:
                    code, _ = self.take_answer(death, self.walk.within)
            if held and (processes.parent(held) != starter or time.monotonic() > death + self.walk.within / 2):
                os.close(self.gate_end)
                since[held], held, self.gate_end = time.monotonic(), None, -1
        for descriptor, pid in watched.items():
            self.faults.append(f"does not end: {names[pid]}")
            os.close(descriptor)
        if asked and self.calling:
            raise Hung(f"no answer from {self.calling}")
        return code

    def await_block(self):
        """The call of a block in the driver, which survives, is answered as well."""
        try:
            wait_for(lambda: os.path.exists(self.answered), "", self.walk.within)
        except Unreached:
            self.faults.append("hangs: no answer to the block in the driver")

    def note(self, seconds, limit, what):
        if seconds > limit:
            self.faults.append(f"late: {what} after {seconds:.1f} s")

    def expect(self, what, found, wanted):
        if found != wanted:
            self.faults.append(f"{what}: {found} instead of {wanted}")

    # --- What is left ---

    def go_on(self, session_lives, block):
        """The driver that lives goes on: with the session if that lives, or else with another one."""
        within = self.walk.within
        if session_lives:
            self.expect("the next call", self.ask(COUNT, within), (0, ROWS))
            if block:
                self.expect("the next block", self.ask(f"vexaxd.Submit({block!r})")[0], 0)
        else:
            self.stop()
            start = f"vexaxd.StartVexa('-data {DATA}')"
            code, _ = self.ask(start, within)
            if code and os.path.exists(self.reached):  # it may refuse while a block of the dead session runs
                pathlib.Path(self.go).touch()
                code, _ = self.ask(start, within)
            self.expect("the next start", code, 0)
            if code == 0:
                self.expect("the next session's call", self.ask(COUNT, within), (0, ROWS))
        self.stop()
        self.settle(lambda: [f"descriptor {name}" for name in self.descriptors_now() - self.descriptors])

    def stop(self):
        self.ask("vexaxd.StopVexa()", self.walk.within)
        self.look_for_zombies()

    def look_for_zombies(self):
        self.settle(lambda: [f"zombie {processes.told(pid)}" for pid in processes.children(self.driver.pid)
                             if processes.state(pid) == "Z"])  # fmt: skip

    def end(self):
        """The driver leaves, if it has not died, and everything has to be gone."""
        self.requests.close()
        try:
            self.driver.wait(HANG)
        except subprocess.TimeoutExpired:
            raise Hung("the driver does not exit") from None
        self.settle(self.left)

    def left(self):
        found = [f"process {processes.told(pid)}" for pid in processes.marked(self.directory)]
        for place in ("fifos", "tmp", "user"):
            for entry in (self.directory / place).iterdir():
                found.append(f"{'fifo' if entry.is_fifo() else 'directory' if entry.is_dir() else 'file'} {entry.name}")
        return found

    def settle(self, left):
        """What is still there after a while is left."""
        try:
            wait_for(lambda: not left(), "", self.walk.within)
        except Unreached:
            self.faults += [f"left: {thing}" for thing in left()]

    def clear(self):
        """Whatever came of it, nothing of it stays: no process that bears the cell's mark, no file."""
        for pid in processes.marked(self.directory):
            try:
                os.kill(pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
        if self.driver:
            self.driver.wait()
        for end in filter(None, (self.requests, self.reports, self.peer)):
            end.close()
        if self.gate_end != -1:
            os.close(self.gate_end)
        shutil.rmtree(self.directory, ignore_errors=True)
