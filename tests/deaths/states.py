"""The table of the matrix: the states that a session can be in, and who can die there."""
import base64
import collections
import itertools
import json
import os
import pathlib
import socket

from cell import DATA, wait_for

State = collections.namedtuple("State", "name victims enter needs hosts reduced")
WAYS = ("kill", "term", "stop")
PIECE = 32768  # of a large frame: less than any fifo holds
REQUEST = 40  # less than any request has

# --- Blocks ---

# By letters: P is Python in a process of its own, D is Python in the driver, R is R, J is a Java extension.
LANGUAGES = {"P": "PYTHON", "D": "PYTHON", "R": "R", "J": "JAVAEXTENSION"}
PROCESSES = {"P": "startx", "R": "R", "J": "java"}

CONSOLE = """import ctypes, os, time, vexaxd
handle = vexaxd.library._Z22CreateDXCallBackHandlev
handle.restype = ctypes.c_void_p
table = (ctypes.c_void_p * 16).from_address(handle())
if ctypes.CFUNCTYPE(ctypes.c_int)(table[8])() == 0:
    open({reached!r}, "x").close()
    while not os.path.exists({go!r}): time.sleep(0.005)
    room = ctypes.create_string_buffer(100)
    ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_char_p, ctypes.c_int)(table[11])(room, 99)"""

LINES = {
    "P": {
        "count": "import vexaxd\nvexaxd.GetRowCount()",
        "sit": "import time\nopen({reached!r}, 'x').close()\ntime.sleep(600)",
        "call": "import os, time, vexaxd\nopen({reached!r}, 'x').close()\n"
        "while not os.path.exists({go!r}): time.sleep(0.005)\nvexaxd.GetRowCount()",
        "console": CONSOLE,
        "submit": "import vexaxd\nvexaxd.Submit({text!r})",
    },
    "R": {
        "count": "GetRowCount()",
        "sit": "invisible(file.create('{reached}')); Sys.sleep(600)",
        "call": "file.create('{reached}'); while (!file.exists('{go}')) Sys.sleep(0.005); GetRowCount()",
        "submit": "Submit({quoted})",
    },
    "J": {
        "count": "count",
        "sit": "sit\n{reached}",
        "call": "call\n{reached}\n{go}",
        "submit": "submit\n{encoded}",
    },
}
LINES["D"] = {
    **LINES["P"],
    "sit": "import os, time\nopen({reached!r}, 'x').close()\nwhile not os.path.exists({go!r}): time.sleep(0.005)",
    "call": LINES["P"]["call"].replace("vexaxd.Get", "try: vexaxd.Get") + "\nfinally: open({answered!r}, 'x').close()",
    "calls": "import vexaxd\nopen({reached!r}, 'x').close()\nwhile True: vexaxd.GetRowCount()",
}


def block(cell, letter, does, text=""):
    told = {"text": text, "quoted": json.dumps(text), "encoded": base64.b64encode(text.encode()).decode()}
    lines = LINES[letter][does].format(**told, reached=cell.reached, go=cell.go, answered=cell.answered)
    if letter == "J":
        lines = f'PlayedExtension /JARS="{cell.walk.jar}"\n{lines}'
    return f"LANGUAGE {LANGUAGES[letter]}.\n{lines}\nEND LANGUAGE.\n"


def submission(cell, path, does):
    """The call that runs blocks of the path's languages within each other; the innermost one does it."""
    cell.outermost = PROCESSES.get(path[0], "")
    text = block(cell, path[-1], does)
    for letter in reversed(path[:-1]):
        text = block(cell, letter, "submit", text)
    return f"vexaxd.Submit({text!r})"


# --- The states: each function brings a cell whose driver is there into one ---


def idle(languages=""):
    def enter(cell):
        cell.start()
        for letter in languages:
            cell.ask(submission(cell, letter, "count"))

    return enter


def small_call(cell):
    cell.start()
    cell.freeze("backend")
    cell.sends("driver", REQUEST, lambda: cell.begin("vexaxd.GetRowCount()"))


def fetch(cell):
    cell.start(cell.walk.wide)
    cell.ask("vexaxd.MakeCaseCursor('r')")
    cell.freeze("backend")
    cell.sends("driver", REQUEST, lambda: cell.begin("vexaxd.NextCase()"))
    cell.freeze("driver")
    cell.sends("backend", PIECE, lambda: cell.thaw(cell.driver.pid))


def commit(cell):
    cell.start()
    cell.ask("change_cells(1_000_000)")
    cell.freeze("backend")
    cell.sends("driver", PIECE, lambda: cell.begin("vexaxd.CommitDataSet()"))


def before_first_message(cell):
    """The backend has made its fifo, and waits for the driver, which pauses for a second."""
    cell.begin(f"vexaxd.StartVexa('-data {DATA}')")
    wait_for(lambda: list((cell.directory / "fifos").glob("*0xdapi")), "the backend does not come up")


def after_first_message(cell):
    cell.begin(f"vexaxd.StartVexa('-data {DATA}')")
    cell.sends("backend", REQUEST)


def coming_up(program, letter=""):
    def enter(cell):
        cell.hold(program)
        if letter:
            cell.start()
            cell.begin(submission(cell, letter, "console" if program == "RConsole" else "count"))
        else:
            cell.begin(f"vexaxd.StartVexa('-data {DATA}')")
        cell.await_at_gate()

    return enter


def stopping(languages=""):
    """The backend waits for a language that does not go; without one it has got the first request of the stop."""

    def enter(cell):
        idle(languages)(cell)
        cell.freeze(PROCESSES.get(languages, "backend"))
        requests = 3 if languages in PROCESSES else 1
        cell.sends("driver", requests * REQUEST, lambda: cell.begin("vexaxd.StopVexa()"))

    return enter


def stop_behind_a_call(cell):
    cell.start()
    cell.freeze("backend")
    cell.sends("driver", REQUEST, lambda: cell.begin("count_and_stop()"))


def in_block(path, does="sit"):
    """The block sits there; or it has sent a request that is not answered: to the backend, or to its console."""

    def enter(cell):
        cell.start()
        cell.begin(submission(cell, path, does))
        wait_for(lambda: os.path.exists(cell.reached), f"no block runs: {cell.noise()}")
        if does == "call":
            cell.freeze("backend")
        if does != "sit":
            cell.sends(PROCESSES.get(path[-1], "driver"), REQUEST, pathlib.Path(cell.go).touch)

    return enter


def connecting(cell):
    """Java is up, and looks for the class in a jar that does not come."""
    cell.start()
    os.mkfifo(cell.gate)
    text = f'LANGUAGE JAVAEXTENSION.\nPlayedExtension /JARS="{cell.gate}"\ncount\nEND LANGUAGE.\n'
    cell.begin(f"vexaxd.Submit({text!r})")
    cell.await_at_gate()


def accepting(cell):
    cell.start()
    cell.ask("vexaxd.CreateSocket()")
    cell.sends("driver", REQUEST, lambda: cell.begin("vexaxd.AcceptSocket()"))


def streaming(command):
    def enter(cell):
        cell.start(cell.walk.wide)
        _, port = cell.ask("vexaxd.CreateSocket()")
        cell.peer = socket.create_connection(("127.0.0.1", port))
        cell.ask("vexaxd.AcceptSocket()")
        text = command.format(port)
        cell.sends("driver", REQUEST, lambda: cell.begin(f"vexaxd.Submit({text!r})"))
        if text.startswith("SAVE"):
            cell.peer.settimeout(5)
            cell.peer.recv(1)

    return enter


# --- The table ---


def table():
    states = []

    def state(name, others, enter, needs="", hosts=False, reduced=True):
        states.append(State(name, ["driver", "backend", *filter(None, others)], enter, needs, hosts, reduced))

    console = ["startx", "xterm", "RConsole"]
    state("idle", [], idle())
    state("idle with languages", ["startx", "R"], idle("PR"), "R")
    state("small call", [], small_call)
    state("fetch of 20 MiB", [], fetch)
    state("commit of a million cells", [], commit)
    state("before the first message", [], before_first_message)
    state("after the first message", [], after_first_message)
    state("StartXD ahead of main", [], coming_up("StartXD"))
    for letter, process in PROCESSES.items():
        state(f"{process} ahead of main", [process], coming_up(process, letter), letter)
    state("console coming up", console, coming_up("RConsole", "P"), "X")
    state("console in a read", console, in_block("P", "console"), "X")
    state("java connecting", ["java"], connecting, "J")
    state("stop", [], stopping())
    state("stop behind a call", [], stop_behind_a_call)
    state("stop of a host", [], stopping("D"), hosts=True)
    for letter in "PR":
        state(f"stop of {PROCESSES[letter]}", [PROCESSES[letter]], stopping(letter), letter)
    for letter in "DPRJ":
        name, process = LANGUAGES[letter] + " in the driver" * (letter == "D"), PROCESSES.get(letter)
        state(f"block of {name}", [process], in_block(letter), letter, letter == "D")
        state(f"callback of {name}", [process], in_block(letter, "call"), letter, letter == "D")
    state("bulk socket waiting", [], accepting)
    state("bulk socket out", [], streaming("SAVE /TYPE=BINARYSTREAM /SOCKET={}.\n"))
    state("bulk socket in", [], streaming("GET DATA /TYPE=BINARYSTREAM /SOCKET={} /VARIABLES=id.\n"))
    some = {"PR", "RP", "PJ", "JP", "RJ", "JR", "DR", "JD", "PRJ", "JPR", "RDJ"}
    paths = [path for languages in ("PRJ", "DRJ") for depth in (2, 3) for path in itertools.permutations(languages, depth)]
    for path in sorted(set(map("".join, paths)), key=lambda path: (len(path), "D" in path)):
        processes = [PROCESSES.get(letter) for letter in path]
        state("nested " + ">".join(path), processes, in_block(path), path, "D" in path, path in some)
    # The innermost block is in the process of an outer one, or calls from the driver, which cannot be ended.
    states.append(State("nested P>R>P", ["R"], in_block("PRP"), "R", False, True))
    states.append(State("callbacks of PYTHON in the driver within R", ["R"], in_block("RD", "calls"), "R", True, True))
    return states


def cells_of(states, reduced):
    """(state, victim, way): all of them, or one of each state with all victims and ways by turns."""
    if not reduced:
        ways = {2: WAYS[:1]}  # for the deepest
        return [(s, who, way) for s in states for who in s.victims for way in ways.get(s.name.count(">"), WAYS)]
    chosen, used = [], collections.Counter()
    for s in filter(lambda s: s.reduced, states):
        victim = min(s.victims, key=lambda role: used[role])
        way = min(WAYS, key=lambda way: used[victim, way])
        used.update((victim, (victim, way)))
        chosen.append((s, victim, way))
    return chosen
