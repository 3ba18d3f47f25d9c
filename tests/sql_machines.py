"""A table over three PostgreSQL servers, as docs/database.md sets it up: partitions as foreign tables, walked through
`vexasql`, and aggregated where the rows are.

    VEXA_HOME=build/release/home PYTHONPATH=build/release/home/lib/python python3 tests/sql_machines.py
"""
import pathlib
import sys
import unittest

HERE = pathlib.Path(__file__).resolve().parent
sys.path[:0] = [str(HERE / "support"), str(HERE / "deaths")]
import vexaxd
from cluster import Server
from database_case import FAILED, Case

ROWS, PARTS = 30_000, 3


class Machines(Case):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.others = [cls.enterClassContext(Server()) for _ in range(PARTS - 1)]

    def setUp(self):
        super().setUp()
        columns = "(id bigint, region int, x float8)"
        self.psql(f"""DROP EXTENSION IF EXISTS postgres_fdw CASCADE; CREATE EXTENSION postgres_fdw;
            CREATE TABLE readings {columns} PARTITION BY LIST (region);
            CREATE TABLE readings_0 PARTITION OF readings FOR VALUES IN (0)""")
        for number, server in enumerate(self.others, 1):
            server.psql(f"DROP TABLE IF EXISTS readings; CREATE TABLE readings {columns}")
            self.psql(f"""CREATE SERVER machine_{number} FOREIGN DATA WRAPPER postgres_fdw
                OPTIONS (host '{server.directory}', dbname 'postgres', async_capable 'true', fetch_size '10000');
                CREATE USER MAPPING FOR postgres SERVER machine_{number} OPTIONS (user 'postgres');
                CREATE FOREIGN TABLE readings_{number} PARTITION OF readings FOR VALUES IN ({number})
                SERVER machine_{number} OPTIONS (table_name 'readings')""")
        self.psql(f"INSERT INTO readings SELECT n, n % {PARTS}, n * 0.5 FROM generate_series(1, {ROWS}) n")

    def test_a_walk_sees_the_rows_of_all(self):
        self.assertEqual([server.psql("SELECT count(*) FROM readings") for server in self.others], [str(ROWS // PARTS)] * 2)
        self.assertEqual(self.submit("SELECT * FROM readings;"), 0)
        columns = vexaxd.read().dict()
        self.assertEqual(sorted(columns["id"]), list(range(1, ROWS + 1)))
        self.assertEqual(sum(columns["x"]), ROWS * (ROWS + 1) / 4)

    def test_parts_of_an_aggregate_are_computed_where_the_rows_are(self):
        query = "SELECT region, count(*) AS n, avg(x) AS mean FROM readings GROUP BY region ORDER BY region;"
        self.assertEqual(self.submit(f"SET enable_partitionwise_aggregate = on; EXPLAIN (VERBOSE, COSTS OFF) {query}"), 0)
        plan = "\n".join(case["QUERY_PLAN"] for case in vexaxd.cases()) if self.names() == ["QUERY_PLAN"] else self.output()
        self.assertEqual(plan.count("Remote SQL: SELECT region, count(*), avg(x) FROM public.readings GROUP BY 1"), 2, plan)
        self.assertEqual(self.submit(query), 0)
        self.assertEqual([[str(int(case["region"])), str(int(case["n"]))] for case in vexaxd.cases("region", "n")],
                         self.rows("SELECT region, count(*) FROM readings GROUP BY region ORDER BY region"))  # fmt: skip

    def test_cases_go_to_their_machine_and_a_machine_that_is_gone_is_told(self):
        self.assertEqual(self.submit("TABLE readings;"), 0)
        vexaxd.append({"id": [ROWS + 1, ROWS + 2], "region": [1, 2], "x": [1.0, 2.0]})
        self.assertEqual([server.psql(f"SELECT x FROM readings WHERE id > {ROWS}") for server in self.others], ["1", "2"])
        self.others[1].stop()
        try:
            self.assertIn("machine_2", self.refused(FAILED, lambda: list(vexaxd.cases())))
            self.refused(FAILED, vexaxd.append, {"id": [0, 0], "region": [1, 2], "x": [1.0, 2.0]})
        finally:
            self.others[1].start()
        self.assertEqual(self.others[0].psql("SELECT count(*) FROM readings WHERE id = 0"), "0")
        self.assertEqual(self.submit("SELECT count(*) AS n FROM readings;"), 0)
        self.assertEqual([case["n"] for case in vexaxd.cases()], [ROWS + 2])


if __name__ == "__main__":
    unittest.main(verbosity=2)
