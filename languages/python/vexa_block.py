"""Runs blocks of Python lines for the backend, in __main__, so that names live on from block to block. While a block
runs, what it prints goes to the backend's output. The language library imports this module and calls it; a block has no
need to.
"""
import atexit
import ctypes
import io
import linecache
import sys
import threading
import time
import traceback

import __main__

# What a block ends with, beside 0: an exception, lines that are no Python. sys.exit gives its own number.
EXCEPTION, NOT_PYTHON = 3001, 3002

_PostFunction = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_char_p, ctypes.c_int)
_post = None
_blocks = 0  # that were begun
_failure = b""  # what the last block that failed said of it
_threads = []  # of the blocks that run, each within the one before
_PATIENCE = 1.0  # seconds


def set_post(address):
    """Takes the C function that hands text to the backend."""
    global _post
    _post = _PostFunction(address)


class _Output(io.TextIOBase):
    """A stream that posts whole lines, and the rest when it is flushed. What the backend does not take, because it is gone,
    goes to the stream that was there before.
    """

    encoding = "utf-8"
    errors = "surrogateescape"

    def __init__(self, before):
        self._before = before
        self._pending = ""

    def writable(self):
        return True

    def write(self, text):
        lines, line_end, self._pending = (self._pending + text).rpartition("\n")
        self._send(lines + line_end)
        return len(text)

    def flush(self):
        text, self._pending = self._pending, ""
        self._send(text)

    def _send(self, text):
        if not text:
            return
        image = text.encode(self.encoding, self.errors)
        if (_post is None or _post(image, len(image)) != 0) and self._before is not None:
            self._before.write(text)


def _fail(code, words):
    """Shows the words where the block's errors go, and keeps them for whoever asks about the code."""
    global _failure
    _failure = words.encode("utf-8", "backslashreplace")
    print(words, file=sys.stderr)
    return code


def failure():
    """What the last block that failed said of it, as bytes."""
    return _failure


def _fail_with(code, error, trace):
    return _fail(code, "".join(traceback.format_exception(error.with_traceback(trace))).rstrip("\n"))


def _exit_code(value):
    if value is None:
        return 0
    return value if isinstance(value, int) else _fail(EXCEPTION, str(value))


def _execute(text):
    global _blocks
    _blocks += 1
    name = f"<block {_blocks}>"
    linecache.cache[name] = (len(text), None, text.splitlines(True), name)  # for the lines of a traceback
    try:
        code = compile(text, name, "exec")
    except (SyntaxError, ValueError) as error:
        return _fail_with(NOT_PYTHON, error, None)
    try:
        exec(code, __main__.__dict__)
    except SystemExit as leaving:
        return _exit_code(leaving.code)
    except BaseException as error:
        return _fail_with(EXCEPTION, error, error.__traceback__.tb_next)  # without the frame of this module
    return 0


def interrupt():
    """KeyboardInterrupt in the innermost block that runs, on whatever thread that is."""
    for thread in _threads[-1:]:
        ctypes.pythonapi.PyThreadState_SetAsyncExc(ctypes.c_ulong(thread), ctypes.py_object(KeyboardInterrupt))


@atexit.register
def _let_blocks_end():
    """A program whose backend died goes on while the block, on another thread, has yet to learn of it."""
    end = time.monotonic() + _PATIENCE
    while _threads and time.monotonic() < end:
        time.sleep(0.01)


def run(block):
    """Runs a block, given as bytes, and returns its code."""
    _threads.append(threading.get_ident())
    before = sys.stdout, sys.stderr
    output, errors = sys.stdout, sys.stderr = _Output(sys.stdout), _Output(sys.stderr)
    try:
        return _execute(block.decode("utf-8", "surrogateescape"))
    finally:
        output.flush()
        errors.flush()
        sys.stdout, sys.stderr = before
        _threads.pop()
