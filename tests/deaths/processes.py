"""What /proc tells of the processes of a cell: found by who started whom, or by a directory of the cell that stands in their
environment or among their arguments, and never by a name alone.
"""
import os
import pathlib

_ROLES = {"vexaengine": "backend", "StartXD": "backend"}
_ROLES.update({name: name for name in ("startx", "R", "java", "xterm", "RConsole")})


def _read(pid, file):
    try:
        return pathlib.Path(f"/proc/{pid}/{file}").read_bytes()
    except OSError:
        return b""


def _names(directory):
    try:
        return os.listdir(directory)
    except OSError:
        return []


def state(pid):
    """The letter of its state; empty when there is no such process."""
    return _read(pid, "stat").rpartition(b") ")[2][:1].decode()


def ended(pid):
    """Whether it is dead with all its threads, reaped or not."""
    return state(pid) in ("", "Z") and len(_names(f"/proc/{pid}/task")) <= 1


def parent(pid):
    told_behind_name = _read(pid, "stat").rpartition(b") ")[2].split()
    return int(told_behind_name[1]) if told_behind_name else 0


def role(pid):
    """What part it has in a session, by its program, or by the script that a shell runs."""
    names = [os.path.basename(argument.decode()) for argument in _read(pid, "cmdline").split(b"\0")[:2]]
    return _ROLES.get(names[-1] if names[0] in ("sh", "dash", "bash") else names[0], "")


def told(pid):
    """A process in words."""
    words = _read(pid, "cmdline").replace(b"\0", b" ").decode(errors="replace").split() or ["?"]
    return f"{role(pid) or os.path.basename(words[0])} ({state(pid) or 'gone'})"


def children(pid):
    lists = (_read(pid, f"task/{task}/children") for task in _names(f"/proc/{pid}/task"))
    return [int(child) for told_by_thread in lists for child in told_by_thread.split()]


def descendants(pid):
    found = children(pid)
    for child in found:  # which grows on the way
        found += children(child)
    return found


def marked(directory):
    """All processes that have to do with the directory."""
    mark = os.fsencode(directory)
    others = (int(name) for name in _names("/proc") if name.isdigit() and int(name) != os.getpid())
    return [pid for pid in others if mark in _read(pid, "environ") or mark in _read(pid, "cmdline")]


def written(pid):
    """The bytes that it has written by now, to fifos too."""
    count = _read(pid, "io").partition(b"wchar: ")[2]
    return int(count.split()[0]) if count else 0


def descriptors(pid):
    """Where its descriptors lead."""
    found = []
    for number in _names(f"/proc/{pid}/fd"):
        try:
            found.append(os.readlink(f"/proc/{pid}/fd/{number}"))
        except OSError:
            pass
    return found
