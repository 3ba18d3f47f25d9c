#!/usr/bin/env python3
"""nesting.py DATA.csv: this script drives the backend, the backend runs a block of Python back in this process, and that
block drives the backend in turn. Three levels deep: each hands its findings up in a variable of the script, and ends with
a code of its own, which the level above gets from Submit.

    level 0   this script              submits level 1
    level 1   reads the dictionary     submits level 2 for each numeric variable
    level 2   walks the cases          submits level 3 with the values of one variable
    level 3   does the arithmetic
"""
import os
import sys

sys.path.insert(0, os.path.join(os.environ["VEXA_HOME"], "lib", "python"))
import vexaxd

NAME_OF_THE_LANGUAGE = "PYTHON"  # as the configuration file has it: lines of it can be run in this process

READ_DICTIONARY = """
for index in range(vexaxd.GetVariableCount()):
    if vexaxd.GetVariableType(index) == 0:
        name = vexaxd.GetVariableName(index)
        codes.append(run(READ_CASES))
sys.exit(10)
"""

READ_CASES = """
values = [case[name] for case in vexaxd.cases(name) if case[name] is not None]
codes.append(run(CALCULATE))
sys.exit(20)
"""

CALCULATE = """
levels.append(vexaxd.GetNestDepth())
means[name] = sum(values) / len(values)
sys.exit(30)
"""


def run(lines):
    """Has the backend run a block in this process. Returns the code that the block ended with."""
    try:
        vexaxd.Submit(f"LANGUAGE {NAME_OF_THE_LANGUAGE}.\n{lines}\nEND LANGUAGE.\n")
        return 0
    except vexaxd.Error as error:
        return error.code


means, levels, codes = {}, [], []  # where the blocks leave what they found: they run in this module, __main__


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: nesting.py DATA.csv")
    vexaxd.SetXNameAndSHome(NAME_OF_THE_LANGUAGE, os.environ["VEXA_HOME"])
    with vexaxd.session(f'-data "{os.path.abspath(sys.argv[1])}"'):
        outermost = run(READ_DICTIONARY)
    for name, mean in means.items():
        print(f"{name}: mean {mean:.6g}")
    print("deepest level", max(levels))
    print("codes", outermost, *sorted(set(codes)))


if __name__ == "__main__":
    main()
