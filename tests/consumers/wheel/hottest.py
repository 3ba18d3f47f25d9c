# A script of somebody who has installed the wheel and nothing else. A block of Python runs in this process.
import os
import sys

import vexaxd

assert "VEXA_HOME" in os.environ, "found, and told to the backend"
vexaxd.SetXNameAndSHome("PYTHON", None)
with vexaxd.session("-data " + sys.argv[1]):
    vexaxd.Submit("LANGUAGE PYTHON.\nimport vexaxd\nrows = vexaxd.GetRowCount()\nEND LANGUAGE.\n")
    rows = sys.modules["__main__"].rows
    print(vexaxd.GetVariableCount(), rows, max(case["Temp"] for case in vexaxd.cases("Temp")))
