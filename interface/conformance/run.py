#!/usr/bin/env python3
"""Runs the suite through the Python module:

    VEXA_HOME=build/release/home PYTHONPATH=build/release/home/lib/python interface/conformance/run.py
"""
import contextlib
import json
import pathlib
import re
import sys
import tempfile

import vexaxd

HERE = pathlib.Path(__file__).resolve().parent


def same(got, wanted):
    if isinstance(got, bytes):
        got = len(got)
    if isinstance(got, (list, tuple)) and isinstance(wanted, list):
        return len(got) == len(wanted) and all(map(same, got, wanted))
    return wanted == "*" or got == wanted


def outcome(name, arguments):
    """The result, or the code."""
    arguments = [bytes.fromhex(one[4:]) if isinstance(one, str) and one.startswith("hex:") else one for one in arguments]
    try:
        return "->", getattr(vexaxd, name)(*arguments)
    except vexaxd.Error as error:
        return "!", error.code if error.function == name and error.text else None


def main():
    passed, failed = 0, 0
    with tempfile.TemporaryDirectory() as temp, contextlib.ExitStack() as session:
        for number, line in enumerate((HERE / "calls.txt").read_text(encoding="utf-8").split("\n"), 1):
            line = line.replace("{data}", str(HERE)).replace("{temp}", temp)
            if line.startswith("start"):
                session.enter_context(vexaxd.session(line.removeprefix("start").strip(), echo=False))
            elif line == "stop":
                session.close()
            elif line and not line.startswith("#"):
                name, arguments, way, wanted = re.fullmatch(r"(\w+) (\[.*\]) (->|!) (.*)", line).groups()
                got = outcome(name, json.loads(arguments))
                if got[0] == way and same(got[1], json.loads(wanted)):
                    passed += 1
                else:
                    failed += 1
                    print(f"line {number}: {line}\n    gave {' '.join(map(str, got))}")
    print(f"{passed} passed, {failed} failed, 0 left out")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
