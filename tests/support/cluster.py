#!/usr/bin/python3
"""A PostgreSQL server of one's own, for as long as it is needed: in a directory of its own, on a Unix socket alone, as a user
other than root. The tests use it as a module; as a program it runs a command that finds the server by libpq's environment:

    tests/support/cluster.py build/user/home/bin/vexa run --options '-database ""' months.sql

A process beside it watches the one that asked for the server: when that closes it, ends or is killed, the server is stopped
and its directory removed.
"""
import contextlib
import glob
import os
import pathlib
import pwd
import shutil
import signal
import subprocess
import sys
import tempfile

SECONDS = 60  # that any of its programs may take
SETTINGS = {  # what is in it need not outlive the machine
    **{"listen_addresses": "", "fsync": "off", "full_page_writes": "off", "autovacuum": "off", "shared_buffers": "32MB"},
    **{"max_wal_size": "1GB", "max_connections": "30", "lc_messages": "C"},
}


def programs():
    """The directory of the server's programs, which Debian keeps out of the PATH; None where there is no server."""
    places = sorted(glob.glob("/usr/lib/postgresql/*/bin"), key=lambda place: int(place.split("/")[4]), reverse=True)
    found = shutil.which("initdb", path=os.pathsep.join([*places, os.environ.get("PATH", "")]))
    return found and os.path.dirname(found)


def _user():
    """The server refuses to run as root."""
    if os.geteuid() != 0:
        return os.geteuid(), os.getegid()
    for name in "postgres", "nobody":
        with contextlib.suppress(KeyError):
            return pwd.getpwnam(name)[2:4]
    raise RuntimeError("there is no user that the server could run as")


class Server:
    """Started when it is made; closed at the end of `with`, by close, or when this process is gone. `settings` are those of
    postgresql.conf; who connects as `secret` needs the password that `password` gives."""

    password = "a secret of the tests"

    def __init__(self, **settings):
        self.user, self.group = _user()
        self.directory = tempfile.mkdtemp(prefix="vexapg.", dir="/tmp")  # a socket's path is short
        self._watcher = subprocess.Popen([sys.executable, __file__, "--watch", self.directory], stdin=subprocess.PIPE,
                                         start_new_session=True)  # fmt: skip
        try:
            os.chown(self.directory, self.user, self.group)
            os.chmod(self.directory, 0o711)
            self.data = os.path.join(self.directory, "data")
            self._program("initdb", "--no-sync", "--username=postgres", "--auth=trust", "--encoding=UTF8", "--locale=C.UTF-8")
            with open(os.path.join(self.data, "postgresql.conf"), "a") as file:
                for name, value in (SETTINGS | {"unix_socket_directories": self.directory} | settings).items():
                    file.write(f"{name} = '{value}'\n")
            rules = pathlib.Path(self.data, "pg_hba.conf")
            rules.write_text("local all secret scram-sha-256\n" + rules.read_text())
            self.start()
            self.psql(f"CREATE ROLE secret LOGIN PASSWORD '{self.password}'")
        except BaseException:
            self.close()
            raise

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    @property
    def string(self):
        """The connection string."""
        return f"host={self.directory} user=postgres dbname=postgres"

    @property
    def environment(self):
        """The same for libpq."""
        return {"PGHOST": self.directory, "PGUSER": "postgres", "PGDATABASE": "postgres"}

    def psql(self, sql, *options):
        """What psql prints: a line for each row, without anything around."""
        command = [os.path.join(programs(), "psql"), "-XAtq", "-v", "ON_ERROR_STOP=1", *options]
        done = subprocess.run(command, input=sql, capture_output=True, text=True, timeout=SECONDS,
                              env={**os.environ, **self.environment})  # fmt: skip
        if done.returncode != 0:
            raise RuntimeError(done.stderr)
        return done.stdout.removesuffix("\n")

    def start(self):
        self._program("pg_ctl", "start", "-w", "-s", "-l", os.path.join(self.data, "log"))

    def stop(self, mode="immediate"):
        self._program("pg_ctl", "stop", "-w", "-s", "-m", mode)

    def close(self):
        self._watcher.stdin.close()
        self._watcher.wait(SECONDS)

    def _program(self, name, *words):
        _run(self.data, self.user, self.group, name, *words)


def _run(data, user, group, name, *words):
    as_user = {"user": user, "group": group, "extra_groups": []} if os.geteuid() == 0 else {}
    # The server inherits what it is given here: no pipe, whose end somebody would wait for.
    with tempfile.TemporaryFile() as said:
        command = [os.path.join(programs(), name), "-D", data, *words]
        code = subprocess.run(command, cwd="/", stdin=subprocess.DEVNULL, stdout=said, stderr=said, timeout=SECONDS,
                              start_new_session=True, **as_user).returncode  # fmt: skip
        if code != 0:
            said.seek(0)
            raise RuntimeError(f"{name}: {said.read().decode(errors='replace')}")


def _watch(directory):
    for ignored in signal.SIGINT, signal.SIGTERM, signal.SIGHUP:
        signal.signal(ignored, signal.SIG_IGN)
    sys.stdin.read()
    with contextlib.suppress(RuntimeError):  # it does not run
        _run(os.path.join(directory, "data"), *_user(), "pg_ctl", "stop", "-w", "-s", "-m", "immediate")
    shutil.rmtree(directory)


if __name__ == "__main__":
    if sys.argv[1:2] == ["--watch"]:
        _watch(sys.argv[2])
    elif len(sys.argv) < 2:
        sys.exit(__doc__)
    elif not programs():
        sys.exit("There is no PostgreSQL here: scripts/install test brings postgresql-15")
    else:
        with Server() as server:
            sys.exit(subprocess.run(sys.argv[1:], env={**os.environ, **server.environment}).returncode)
