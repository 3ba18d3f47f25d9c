#!/usr/bin/env python3
"""make_cases.py [N] OUT.csv: writes N cases (1,000,000 unless given) to try the library on a large data set.

The same N gives the same file. Columns: id, age (1 in 50 missing), income (1 in 20 missing), score, group (a short text).
"""
import random
import sys

GROUPS = ("north", "east", "south", "west", "abroad")
CHUNK = 50_000


def lines(first, last, uniform):
    for case in range(first, last):
        age = "" if uniform() < 0.02 else str(18 + int(uniform() * 73))
        income = "" if uniform() < 0.05 else f"{1200 + uniform() * 5400:.2f}"
        yield f"{case},{age},{income},{uniform() * 200 - 100:.4f},{GROUPS[int(uniform() * len(GROUPS))]}\n"


def main(arguments):
    if len(arguments) not in (1, 2):
        sys.exit("usage: make_cases.py [N] OUT.csv")
    count = int(arguments[0]) if len(arguments) == 2 else 1_000_000
    uniform = random.Random(19730501).random
    with open(arguments[-1], "w", encoding="ascii", newline="") as out:
        out.write("id,age,income,score,group\n")
        for first in range(1, count + 1, CHUNK):
            out.writelines(lines(first, min(first + CHUNK, count + 1), uniform))


if __name__ == "__main__":
    main(sys.argv[1:])
