#!/usr/bin/env python3
"""A query in SQL over the data, by DuckDB, whose result becomes a dataset of the session:

    VEXA_HOME=build/user/home PYTHONPATH=build/user/home/lib/python examples/query.py examples/data/airquality.csv

DuckDB and pyarrow come from the Python registry: scripts/python-environment makes a Python that has them."""
import sys

import duckdb
import vexaxd

with vexaxd.session(f'-data "{sys.argv[1]}"'):
    air = vexaxd.read().arrow()
    vexaxd.create("months", duckdb.sql("SELECT MonthName, count(*) AS Days, avg(Temp) AS Mean FROM air GROUP BY ALL"))

    print(vexaxd.read().pandas().sort_values("Mean"))
