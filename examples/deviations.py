#!/usr/bin/env python3
"""deviations.py DATA.csv VARIABLE
deviations.py DATABASE TABLE VARIABLE: a block of Python writes a new variable beside a numeric one: how many standard deviations
each value lies from the mean. The script is the same for a CSV file, where the variable lasts as long as the session, and for a
table of PostgreSQL, which has a column more from then on, or, where the block fails, is as it was.

DATABASE is a connection string of libpq, such as "host=/run/postgresql dbname=air". The home of the backend's installation
comes from VEXA_HOME.
"""
import os
import sys

sys.path.insert(0, os.path.join(os.environ["VEXA_HOME"], "lib", "python"))
import vexaxd

BLOCK = """LANGUAGE PYTHON.
import statistics
import vexaxd

values = vexaxd.read({name!r}).dict()[{name!r}]
valid = [value for value in values if value is not None]
mean, deviation = statistics.fmean(valid), statistics.stdev(valid)
vexaxd.add({{{name!r} + "_dev": [None if value is None else (value - mean) / deviation for value in values]}})
END LANGUAGE.
"""


def quoted(word):
    return '"' + word.replace('"', '""') + '"'


def main():
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__)
    *source, name = sys.argv[1:]
    options = f"-data {quoted(source[0])}" if len(source) == 1 else f"-database {quoted(source[0])} -table {quoted(source[1])}"
    try:
        with vexaxd.session(options):
            vexaxd.Submit(BLOCK.format(name=name))
            far = [case for case in vexaxd.cases() if abs(case[name + "_dev"] or 0) > 2]
            print(f"{len(far)} of {vexaxd.GetRowCount()} cases are more than two deviations away:")
            print(*sorted(case[name] for case in far))
    except vexaxd.Error as error:
        sys.exit(f"deviations: {error}")


if __name__ == "__main__":
    main()
