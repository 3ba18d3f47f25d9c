"""Who dies while `vexasql` works: the server, its part of a session, the backend, the driver. What must hold then: a code, a way
on, nothing half written, and nothing left on the server. And the passwords, which nobody may see.

    VEXA_HOME=build/release/home PYTHONPATH=build/release/home/lib/python python3 tests/sql_deaths.py [Deaths | ...]
"""
import os
import pathlib
import signal
import subprocess
import sys
import threading
import time
import unittest

HERE = pathlib.Path(__file__).resolve().parent
sys.path[:0] = [str(HERE / "support"), str(HERE / "deaths")]
import pexpect
import processes
import vexaxd
from cell import wait_for
from cluster import programs
from database_case import CANCELLED, LOST, Case

SLEEPS = "DO $$ BEGIN PERFORM pg_sleep(60); END $$;"
WITHIN = 1  # second that the server's part of a session may outlive the one who drove it


class Deaths(Case):
    def engine(self):
        return next(child for child in processes.children(os.getpid()) if processes._read(child, "comm") == b"vexasql\n")

    def sleeping(self):
        return self.sessions("query LIKE '%pg_sleep%' AND state = 'active'") == 1

    def in_thread(self, work):
        """Starts the work, and gives what waits for its end and hands out what it raised."""
        raised = []

        def run():
            try:
                work()
            except vexaxd.Error as error:
                raised.append(error)

        thread = threading.Thread(target=run, daemon=True)
        thread.start()

        def ended():
            thread.join(10)
            self.assertFalse(thread.is_alive(), "the call has no end")
            return raised[0] if raised else None

        return ended

    def test_a_server_that_restarts_in_a_walk(self):
        self.psql("CREATE TABLE t (id int PRIMARY KEY, x float8); INSERT INTO t VALUES (1, 10)")
        self.assertEqual(self.submit("SELECT n, n * 0.5 AS h FROM generate_series(1, 20000000) n;"), 0)
        walk = vexaxd.cases("n")
        next(walk)
        self.server.stop()
        self.server.start()
        with self.assertRaises(vexaxd.Error) as raised:
            for _ in walk:
                pass
        self.assertEqual(raised.exception.code, LOST, raised.exception.text)
        self.assertEqual(self.submit("TABLE t;"), 0)
        self.assertEqual([case["x"] for case in vexaxd.cases("x")], [10])

    @staticmethod
    def let_go(holder):
        holder.kill()
        holder.wait()
        holder.stdin.close()
        holder.stdout.close()

    def waits_in_its_commit(self):
        """A table whose changes have to wait at their very end, for as long as the process has the lock that is returned."""
        self.psql("""CREATE TABLE t (id int PRIMARY KEY, x float8); INSERT INTO t SELECT n, 0 FROM generate_series(1, 1000) n;
            CREATE FUNCTION waits() RETURNS trigger LANGUAGE plpgsql AS 'BEGIN PERFORM pg_advisory_xact_lock(7); RETURN NULL; END';
            CREATE CONSTRAINT TRIGGER waits AFTER UPDATE OR INSERT ON t DEFERRABLE INITIALLY DEFERRED FOR EACH ROW EXECUTE FUNCTION waits()""")
        holder = subprocess.Popen([f"{programs()}/psql", "-XAtq"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
                                  env={**os.environ, **self.server.environment})  # fmt: skip
        self.addCleanup(self.let_go, holder)
        print("SELECT 'held' FROM pg_advisory_lock(7);", file=holder.stdin, flush=True)
        self.assertEqual(holder.stdout.readline(), "held\n")
        self.assertEqual(self.submit("TABLE t;"), 0)
        return holder

    WAITING = "wait_event = 'advisory'"

    def test_nothing_is_half_written_whoever_dies_in_a_commit(self):
        def terminate():
            self.psql(f"SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE {self.WAITING}")

        for who, kill in (
            ("the server's part", terminate),
            ("the backend", lambda: os.kill(self.engine(), signal.SIGKILL)),
            ("the server", lambda: self.server.stop()),
        ):
            for what, work in (
                ("values", lambda: vexaxd.replace({"x": [1.0] * 1000})),
                ("cases", lambda: vexaxd.append({"id": range(2000, 3000), "x": [1.0] * 1000})),
            ):
                with self.subTest(who=who, what=what):
                    self.psql("DROP TABLE IF EXISTS t; DROP FUNCTION IF EXISTS waits")
                    holder = self.waits_in_its_commit()
                    ended = self.in_thread(work)
                    wait_for(lambda: self.sessions(self.WAITING) == 1, "it does not wait")
                    kill()
                    error = ended()
                    self.assertIsNotNone(error)
                    self.assertIn(error.code, {"the backend": (99103, 99104)}.get(who, (LOST,)), error.text)
                    if who == "the server":
                        self.server.start()
                    # Else the server would go on as soon as it may, and have written all.
                    wait_for(lambda: self.sessions(self.WAITING) == 0, "the server still waits to commit", 2 * WITHIN)
                    self.let_go(holder)
                    self.assertEqual(self.rows("SELECT count(*), sum(x) FROM t"), [["1000", "0"]])
                    if who == "the backend":
                        vexaxd.StopVexa()
                        self.nothing_left()
                        self.start()
                    self.psql("DROP TRIGGER waits ON t")
                    self.assertEqual(self.submit("TABLE t;"), 0)
                    work()
                    self.assertEqual(self.rows("SELECT sum(x) FROM t"), [["1000"]])

    def test_a_driver_that_dies_ends_its_statement_and_its_session(self):
        vexaxd.StopVexa()
        for at, lines in (
            ("a statement", f'vexaxd.Submit("{SLEEPS}")'),
            ("a walk", "vexaxd.Submit('SELECT n FROM generate_series(1, 10000000) n;'); walk = vexaxd.cases(); next(walk); print('reached', flush=True); sys.stdin.read()"),
            ("a transaction", "vexaxd.Submit('BEGIN; CREATE TEMP TABLE passing AS SELECT 1; CREATE TABLE kept (a int);'); print('reached', flush=True); sys.stdin.read()"),
        ):  # fmt: skip
            with self.subTest(at=at):
                driver = subprocess.Popen([sys.executable, "-c", f"import sys, vexaxd\nvexaxd.StartVexa({self.options!r})\n{lines}"],
                                          stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)  # fmt: skip
                self.addCleanup(driver.communicate)
                if at == "a statement":
                    wait_for(self.sleeping, "it does not sleep")
                else:
                    self.assertEqual(driver.stdout.readline(), "reached\n")
                self.assertEqual(self.sessions(), 1)
                start = time.monotonic()
                driver.kill()
                wait_for(lambda: self.sessions() == 0, "the server's session is left", WITHIN)
                self.assertLess(time.monotonic() - start, WITHIN)
                driver.wait(10)
        self.nothing_left()
        self.assertEqual(self.psql("SELECT to_regclass('kept') IS NULL"), "t")
        self.start()

    def test_an_interrupt_cancels_the_statement(self):
        ended = self.in_thread(lambda: vexaxd.Submit(SLEEPS))
        wait_for(self.sleeping, "it does not sleep")
        os.kill(self.engine(), signal.SIGINT)
        self.assertEqual(ended().code, CANCELLED)
        self.assertEqual(self.submit("SELECT 1 AS one;"), 0)
        self.assertEqual([case["one"] for case in vexaxd.cases()], [1])

    def test_ctrl_c_in_the_shell(self):
        program = pathlib.Path(os.environ["VEXA_HOME"], "bin/vexa")
        if not program.exists():
            self.skipTest("there is no command vexa")
        vexaxd.StopVexa()
        shell = pexpect.spawn(str(program), ["shell", "--database", self.server.string], encoding="utf-8",
                              timeout=10, env={**os.environ, "TERM": "dumb", "VEXA_HISTORY": f"{self.directory}/history"})  # fmt: skip
        self.addCleanup(shell.close, force=True)
        shell.expect("> ")
        shell.sendline(SLEEPS)
        wait_for(self.sleeping, "it does not sleep")
        shell.sendintr()
        wait_for(lambda: not self.sleeping(), "the statement goes on", WITHIN)
        shell.expect("interrupted|canceling")
        shell.expect("> ")
        shell.sendline("CREATE TABLE behind AS SELECT 5 AS five;")
        wait_for(lambda: self.psql("SELECT to_regclass('behind') IS NOT NULL") == "t", "the shell does not go on")
        shell.sendeof()
        shell.expect(pexpect.EOF)
        shell.close()
        self.nothing_left()
        self.start()


class Passwords(Case):
    def test_nobody_sees_a_password(self):
        vexaxd.StopVexa()
        secret = self.server.password
        path = self.directory / "passwords"
        path.write_text(f"*:*:*:secret:{secret}\n")
        path.chmod(0o600)
        string = self.server.string.replace("user=postgres", "user=secret") + f" passfile={path}"
        vexaxd.StartVexa(f'-database "{string}" -log {self.directory}/log -output {self.directory}/output')
        self.assertEqual(self.submit("SELECT current_user AS who;"), 0)
        self.assertEqual([case["who"] for case in vexaxd.cases()], ["secret"])
        for child in processes.descendants(os.getpid()):
            self.assertNotIn(secret.encode(), processes._read(child, "cmdline") + processes._read(child, "environ"))
        vexaxd.StopVexa()
        read = [file.read_text(errors="replace") for file in self.directory.iterdir() if file.is_file() and file != path]
        self.assertTrue(any("Submit" in text for text in read))
        self.assertFalse(any(secret in text for text in read))
        path.write_text("*:*:*:secret:wrong\n")
        with self.assertRaises(vexaxd.Error) as raised:
            vexaxd.StartVexa(f'-database "{string}"')
        self.assertIn("password", raised.exception.text)
        self.start()


if __name__ == "__main__":
    unittest.main(verbosity=2)
