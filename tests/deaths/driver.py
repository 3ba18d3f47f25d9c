"""driver.py REQUESTS REPORTS LANGUAGE: the program of a cell that drives the backend. It evaluates each line that comes from
the descriptor REQUESTS, and reports to REPORTS what came of it and when. A LANGUAGE lets the backend run its blocks here.
"""
import json
import os
import sys
import time

sys.path.insert(0, os.path.join(os.environ["VEXA_HOME"], "lib", "python"))
import vexaxd


def change_cells(count):
    """Changes that wait for their commit."""
    vexaxd.StartDataStep()
    vexaxd.CreateDataset("*", False, False)
    rows, put = vexaxd.GetCaseCountInDS("*"), vexaxd.library.SetNCellValue
    for cell in range(count):
        put(b"*", cell % rows, 0, 0.5)


def count_and_stop():
    try:
        vexaxd.GetRowCount()
    finally:
        vexaxd.StopVexa()


def main():
    requests, reports = int(sys.argv[1]), int(sys.argv[2])
    for end in requests, reports:
        os.set_inheritable(end, False)
    if sys.argv[3]:
        vexaxd.SetXNameAndSHome(sys.argv[3], os.environ["VEXA_HOME"])
    with os.fdopen(requests) as lines, os.fdopen(reports, "w", buffering=1) as out:
        for line in lines:
            begin, code, value = time.monotonic(), 0, None
            try:
                value = eval(json.loads(line))
            except vexaxd.Error as error:
                code = error.code
            print(json.dumps([code, value, begin, time.monotonic()], default=str), file=out)


main()
