"""What signals do to a session in Python: a timer that fires each millisecond changes nothing, and Ctrl-C ends the call
that it comes in, and nothing else.

    VEXA_HOME=build/release/home PYTHONPATH=build/release/home/lib/python python3 tests/interrupts.py
"""
import os
import signal
import tempfile
import threading
import time
import unittest
import unittest.mock

import vexaxd

SLEEP = "LANGUAGE PYTHON.\nimport time\ntime.sleep({})\nEND LANGUAGE.\n"


def in_a_moment(action):
    threading.Timer(0.2, action).start()


def press():
    os.kill(os.getpid(), signal.SIGINT)


class Interrupts(unittest.TestCase):
    directory = tempfile.TemporaryDirectory()

    def setUp(self):
        signal.alarm(50)
        os.environ["VEXADXTEMP"] = self.directory.name
        self.data = os.path.join(self.directory.name, "data.csv")
        with open(self.data, "w") as file:
            file.write("a,b\n" + "".join(f"{i},{-i}\n" for i in range(300000)))

    def tearDown(self):
        os.unlink(self.data)
        self.assertEqual(os.listdir(self.directory.name), [], "fifos are left")
        signal.alarm(0)

    def interrupted(self, call):
        """How long the call lasted that Ctrl-C ended."""
        start = time.monotonic()
        in_a_moment(press)
        with self.assertRaises(KeyboardInterrupt):
            call()
        return time.monotonic() - start

    def test_a_timer_changes_nothing(self):
        fired = []
        signal.signal(signal.SIGUSR1, lambda *_: fired.append(0))
        with vexaxd.session(f"-data {self.data}"):
            pest = threading.Event()

            def pester():
                while not pest.wait(0.001):
                    signal.pthread_kill(threading.main_thread().ident, signal.SIGUSR1)

            thread = threading.Thread(target=pester)
            thread.start()
            try:
                for i in range(500):
                    self.assertEqual(vexaxd.GetVariableName(i % 2), "ab"[i % 2])
                self.assertEqual(sum(case["a"] + case["b"] for case in vexaxd.cases()), 0)
                vexaxd.Submit(f'SAVE /TYPE=CSV /FILE="{self.data}".\n')
                self.assertEqual(vexaxd.GetRowCount(), 300000)
            finally:
                pest.set()
                thread.join()
        self.assertGreater(len(fired), 20)

    def test_control_c_ends_its_call_and_the_session_goes_on(self):
        with vexaxd.session(f"-data {self.data}"):
            self.assertLess(self.interrupted(lambda: vexaxd.Submit(SLEEP.format(1))), 0.8)
            self.assertEqual(vexaxd.GetVariableName(1), "b")
            self.assertLess(self.interrupted(lambda: vexaxd.Submit(SLEEP.format(1))), 0.8)
            # A second one, while the call behind it waits for what the first left.
            self.assertLess(self.interrupted(lambda: vexaxd.GetVariableName(0)), 0.8)
            self.assertEqual(vexaxd.GetRowCount(), 300000)

    def test_a_session_ends_behind_a_call_that_was_given_up(self):
        start = None
        with self.assertRaises(KeyboardInterrupt):
            with vexaxd.session(f"-data {self.data}"):
                in_a_moment(press)
                try:
                    vexaxd.Submit(SLEEP.format(60))
                finally:
                    start = time.monotonic()
        self.assertLess(time.monotonic() - start, 5)
        self.assertFalse(vexaxd.IsBackendReady())

    def test_what_a_handler_raises_comes_out_of_the_call(self):
        def raise_it(*_):
            raise TimeoutError("enough")

        signal.signal(signal.SIGUSR2, raise_it)
        with vexaxd.session(f"-data {self.data}"):
            in_a_moment(lambda: os.kill(os.getpid(), signal.SIGUSR2))
            with self.assertRaisesRegex(TimeoutError, "enough"):
                vexaxd.Submit(SLEEP.format(1))
            self.assertTrue(vexaxd.IsXDriven())

    @unittest.mock.patch.dict(os.environ, {"VEXA_QUICK": ""})
    def test_control_c_ends_a_start(self):
        self.interrupted(lambda: vexaxd.StartVexa(f"-data {self.data}"))
        self.assertFalse(vexaxd.IsBackendReady())


if __name__ == "__main__":
    unittest.main()
