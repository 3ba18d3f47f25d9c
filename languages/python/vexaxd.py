"""vexaxd: the client interface of libvexaxd_p for Python, over ctypes: every function of vexaxd_p.h by its own name.

    import vexaxd

    with vexaxd.session('-data "examples/data/airquality.csv"'):
        for index in range(vexaxd.GetVariableCount()):
            print(vexaxd.GetVariableName(index), vexaxd.GetVariableFormat(index))
        print(max(case["Temp"] for case in vexaxd.cases("Temp")))

The library is the one of the home in VEXA_HOME; without that, of the home that this file belongs to, which then becomes
VEXA_HOME for the backend, too: the one that a wheel has brought along, or that this file is staged in. Else it is the one
that is installed in the system, which finds its home itself. In a process that has that library loaded already, it is that
same one.

Codes. A code other than 0 is raised as Error, of a subclass where a program may want to catch it. Two codes come with
an answer and are not raised: 93 of GetActive and 67 of IsEndSplit.
Results. What the header gives through out-parameters is returned: one value as it is, several as a named tuple in the
header's order, behind the function's own value. Arrays and string lists come as lists of Python's; what the header says
to free is freed here. Arguments that tell the length or the count of others are left out, and so are errCode and the
room for a text.
Texts. Arguments are str or bytes. Results are str, decoded as UTF-8; bytes that are not UTF-8 become lone surrogates
("surrogateescape"), which turn into the same bytes again as an argument. None is a null pointer, as a result and where
the header allows it as an argument. Text values keep the blanks at their end, except in cases().
Addresses. The functions that release memory or read a handle take addresses, for programs that call `library` on their
own.

One thread at a time calls. During a call other threads of Python run. On the main thread so do the handlers of signals:
what one of them raises, such as the KeyboardInterrupt of Ctrl-C, ends the call and comes out of it, and the session goes
on; the next call waits for what the backend is still doing.
"""
import atexit
import collections
import contextlib
import ctypes
import functools
import json
import operator
import os
import shutil
import sys
import tempfile
import textwrap
import threading

VALID, USER_MISSING, SYSTEM_MISSING = 0, 1, 2

class Error(Exception):
    """A function of the library gave a code: `function`, `code`, and in `text` what failed and why, as far as that is
    known: the words of VexaLastError, with the backend's or the language's own behind them."""

    def __init__(self, function, code, text=None):
        self.function, self.code = function, code
        told = _str(library.VexaLastError()) if text is None else text
        self.text = told if f"({code})" in told else f"{function} failed with code {code}"
        super().__init__(function, code, self.text)

    def __str__(self):
        return self.text


class EndOfData(Error):
    """The data (23), or a split of it (67), ended."""


class NotRunning(Error):
    """No backend runs (17)."""


class BackendGone(Error):
    """The backend ended, or its fifos failed (99103, 99104, 99107)."""


_CLASSES = {17: NotRunning, 23: EndOfData, 67: EndOfData, **dict.fromkeys((99103, 99104, 99107), BackendGone)}


def _error(function, code):
    if code == 99124 and _raised:
        return _raised.pop()  # what a signal's handler raised, as if in the call
    return _CLASSES.get(code, Error)(function, code)


# --- The library ---


_HERE = os.path.dirname(os.path.realpath(__file__))
_OWN_HOMES = (os.path.join(_HERE, "vexaxd_home"), os.path.dirname(os.path.dirname(_HERE)))  # of a wheel, of a build


def _library_of(home):
    """Its path; a package, which cannot hold links, has it by the name that programs are linked with."""
    paths = [os.path.join(os.path.abspath(home), "lib", name) for name in ("libvexaxd_p.so", "libvexaxd_p.so.0")]
    return next(filter(os.path.exists, paths), None)


def _load():
    home = os.environ.get("VEXA_HOME") or next(filter(_library_of, _OWN_HOMES), None)
    path = _library_of(home) if home else "libvexaxd_p.so.0"
    told = "VEXA_HOME must name the home of the backend's installation"
    if not path:
        raise ImportError(f"vexaxd: there is no {os.path.join(os.path.abspath(home), 'lib/libvexaxd_p.so')}; {told}")
    try:
        loaded = ctypes.CDLL(path)
    except OSError as error:
        told = "" if home else f"; where it is not installed, {told}, and it is not set"
        raise ImportError(f"vexaxd: {path} cannot be loaded: {error}{told}") from error
    if home:
        os.environ["VEXA_HOME"] = home
    return loaded


library = _load()


# --- What goes in and what comes out ---


def _bytes(value):
    if isinstance(value, str):
        return value.encode("utf-8", "surrogateescape")
    if isinstance(value, bytes):
        return value
    raise TypeError(f"str or bytes expected, not {type(value).__name__}")


def _text(value):
    value = _bytes(value)
    if b"\0" in value:
        raise ValueError("a zero byte in a text, which would end there")
    return value


def _int(value):
    value = operator.index(value)
    if not -0x80000000 <= value <= 0x7FFFFFFF:
        raise OverflowError(f"{value} does not fit into 32 bits")
    return value


def _many(kind, check, values):
    if isinstance(values, (str, bytes)):
        raise TypeError("a list expected, not one text")
    values = [check(value) for value in values]
    return (kind * len(values))(*values)


def _one_each(names, types):
    """The library ends the process when there are none."""
    if len(names) != len(types) or not names:
        raise ValueError(f"{len(names)} names and {len(types)} types: one type for each, and one name at least")
    return len(names)


def _str(value):
    return None if value is None else value.decode("utf-8", "surrogateescape")


def _array(kind, address, count):
    values = (kind * count.value).from_address(address) if address and count.value > 0 else ()
    return [_str(value) for value in values] if kind is ctypes.c_char_p else list(values)


def _given(address, value):
    """What was made of memory that is given to us."""
    library.FreeString(address)
    return value


def _own(address):
    return _given(address, _str(ctypes.string_at(address)) if address else None)


def _list(handle):
    texts = [_str(library.GetStringFromList(handle, i)) for i in range(library.GetStringListLength(handle))]
    library.RemoveStringList(handle)
    return texts


# What a function returns, as a Python value: `result` as it is unless it stands here.
_RESULTS = {
    "void": "",
    "code": "",
    "text": "_str(result)",
    "own": "_own(result)",
    "image": "_given(result, ctypes.string_at(result, imageLength.value) if result else None)",
    "numbers": "_given(result, _array(ctypes.c_int, result, count))",
    "list": "_list(result)",
}
# What an argument hands in: itself unless it stands here. `last` is the list or the text in front of it.
_GIVEN = {
    "text": "_text({name})",
    "text?": "None if {name} is None else _text({name})",
    "bytes": "{name} := _bytes({name})",
    "data": "{name} := bytes(memoryview({name}))",
    "texts": "{name} := _many(ctypes.c_char_p, _text, {name})",
    "ints": "{name} := _many(ctypes.c_int, _int, {name})",
    "int": "_int({name})",
    "length": "len({last})",
    "count": "len({last})",
    "each": "_one_each(names, types)",
}
# What an argument takes out: the room for it, the value made of it, and what releases its array.
_TAKEN = {
    "error": ("c_int()", "", ""),
    "count*": ("c_int()", "", ""),
    "length*": ("c_int()", "", ""),
    "int*": ("c_int()", "{name}.value", ""),
    "long*": ("c_long()", "{name}.value", ""),
    "double*": ("c_double()", "{name}.value", ""),
    "text8*": ("create_string_buffer(8)", "_str({name}.value)", ""),
    "room*": ("create_string_buffer(32768)", "_str({name}.value)", ""),
    "text*": ("c_void_p()", "_own({name}.value)", ""),
    "list*": ("c_void_p()", "_list({name}.value)", ""),
    "texts*": ("c_void_p()", "_array(ctypes.c_char_p, {name}.value, count)", "FreeStringArray"),
    "numbers*": ("c_void_p()", "_array(ctypes.c_double, {name}.value, count)", "FreeDoubleArray"),
    "ints*": ("c_void_p()", "_array(ctypes.c_int, {name}.value, count)", "FreeString"),
}
_CTYPES = {
    **{"void": None, "bool": ctypes.c_bool, "int": ctypes.c_int, "unsigned int": ctypes.c_uint, "long": ctypes.c_long},
    **{"unsigned long": ctypes.c_ulong, "double": ctypes.c_double, "const char*": ctypes.c_char_p},
    "const wchar_t*": ctypes.c_wchar_p,
}  # any other is an address

def _read_table():
    """The description of the interface, which the home has; a package has it beside this file or in the system's share."""
    homes = [os.path.join(home, "share/vexaxd") for home in _OWN_HOMES]
    for folder in (_HERE, *homes, os.path.join(_HERE, "../../../share/vexaxd")):
        path = os.path.join(folder, "functions.json")
        if os.path.exists(path):
            with open(path, encoding="utf-8") as file:
                return json.load(file)["functions"]
    raise ImportError(f"vexaxd: there is no {path}, the description of the interface")


# Outside a session they have answers of their own, or are meant for it; any other that asks the backend would wait there.
_OUTSIDE = ("IsBackendReady", "IsXDriven", "StopVexa", "RecordBrowserOutput")


def _source(function):
    """The Python function of a description, in the namespace of this module."""
    called, result, arguments = function["name"], function["result"], function["arguments"]
    parameters, rooms, passed, fields, releases, arrays, last = [], [], [], [], [], [], ""
    if value := _RESULTS.get(result, "result"):
        fields.append(("value", value))
    for argument in arguments:
        word, name, default = argument["word"], argument["name"], argument["default"]
        if word not in _TAKEN:
            if word not in ("length", "count", "each"):
                parameters.append(f"{name}={default}" if default else name)
            passed.append(f"({_GIVEN.get(word, '{name}')})".format(name=name, last=last))
            last = name if word in ("bytes", "data", "texts", "ints") else last
            continue
        room, value, release = _TAKEN[word]
        rooms.append(f"    {name} = ctypes.{room}")
        passed.append(f"ctypes.byref({name})")
        if value:
            fields.append((name, value.format(name=name)))
        if release:
            arrays.append(name)
            releases.append(f"    library.{release}({name}" + (")" if word == "ints*" else ", count)"))
    if function["released_by"]:
        releases = [f"    library.{function['released_by']}({', '.join(arrays)}, count)"]
    code = "result" if result == "code" else "errCode.value" if "ctypes.byref(errCode)" in passed else ""
    answered = "".join(f" and {code} != {number}" for number in function["codes"])
    answer = ", ".join(value for _, value in fields)
    returned = ", ".join(name for name, _ in fields)
    waits = function["asks"] and not function["guarded"] and called not in _OUTSIDE
    lines = [
        f"def {called}({', '.join(parameters)}):",
        f"    {_told_of(function, returned)!r}",
        f"    _require_session({called!r})" if waits else "",
        *rooms,
        f"    result = library.{called}({', '.join(passed)})",
        f"    if {code}{answered}:" if code else "",
        f"        raise _error({called!r}, {code})" if code else "    if _raised: raise _raised.pop()",
        f"    answer = {f'_named({returned!r})({answer})' if len(fields) > 1 else answer or None}",
        *releases,
        "    return answer",
    ]
    return "\n".join(lines) + "\n\n"


def _told_of(function, returned=""):
    """What help() shows: the declaration in C, what comes back, and what the header says."""
    arguments = ", ".join(f"{argument['c_type']} {argument['name']}" for argument in function["arguments"])
    first = f"{function['family']}: {function['c_type']} {function['name']}({arguments})."
    first += f" Returns {returned}." if returned else ""
    return "\n\n".join(map(textwrap.fill, (first, function["documentation"])))


def _require_session(function):
    """Instead of a wait that nobody would end. The library itself looks, and sends nothing."""
    if library.FreeStringArray(None, 0) == 17:
        raise NotRunning(function, 17, f"{function}: no backend is running (17)")


@functools.cache
def _named(fields):
    return collections.namedtuple("Result", fields)


# --- Functions that need more than their line says ---


def GetStringValue(index):
    """Case cursor: the text of a variable of the current case. Returns value, missing."""
    # A text that fills its variable has no end of its own, and nothing is longer than 32767 bytes.
    room, missing = ctypes.create_string_buffer(32768), ctypes.c_int()
    where = ctypes.c_void_p(ctypes.addressof(room))
    result = library.GetStringValue(index, ctypes.byref(where), 32767, ctypes.byref(missing))
    if result:
        raise _error("GetStringValue", result)
    return _named("value, missing")(_str(room.value), missing.value)


def CommitManyCases(names, types, data, caseCount):
    """New variables and case commit: commits cases at once, laid out one behind the other in units of 8 bytes."""
    names, types = _many(ctypes.c_char_p, _text, names), _many(ctypes.c_int, _int, types)
    data = bytes(memoryview(data))
    count = _one_each(names, types)
    memory = _malloc(len(data) or 1)  # the library's, from the call on
    if not memory:
        raise MemoryError
    ctypes.memmove(memory, data, len(data))
    result = library.CommitManyCases(names, types, memory, count, len(data), _int(caseCount))
    if result:
        raise _error("CommitManyCases", result)


def GetVarTypeInDSCache(count):
    """Cells of the step's datasets: the types of the first `count` variables of the batch in hand, as a list."""
    types, code = (ctypes.c_int * count)(), ctypes.c_int()
    library.GetVarTypeInDSCache(types, count, ctypes.byref(code))
    if code.value:
        raise _error("GetVarTypeInDSCache", code.value)
    return list(types)


def RecordBrowserOutput(text, convert=None):
    """Syntax and output streams: appends text to the file of SetRecordBrowserOutput. Where the backend works in UTF-8,
    what `convert`, from bytes to bytes, makes of it; no more than four times as long."""

    def convert_into(source, _, destination, size):
        converted = convert(ctypes.string_at(source))[: size - 1]
        ctypes.memmove(destination, converted, len(converted))
        return 0

    text = _text(text)
    conversion = _CONVERSION(convert_into) if convert else None
    library.RecordBrowserOutput(text, len(text), conversion)


def VexaSetInterruptCheck(check, context=None):
    """Session: not for programs in Python, where the module itself looks for signals."""
    raise NotImplementedError("the module looks for signals itself")


def SaveFileInDS(first, second, third):
    """Dictionary of a dataset of the step: no longer served; the library would end the process."""
    raise NotImplementedError("SaveFileInDS is no longer served")


_CONVERSION = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p, ctypes.c_ulong, ctypes.c_void_p, ctypes.c_ulong)
_malloc = ctypes.CDLL(None).malloc
_malloc.restype, _malloc.argtypes = ctypes.c_void_p, [ctypes.c_size_t]


def _make_functions():
    """Those that do not stand above are written by _source."""
    sources = []
    for function in _read_table():
        plain = getattr(library, function["name"])
        c_types = [function["c_type"], *(argument["c_type"] for argument in function["arguments"])]
        plain.restype, *plain.argtypes = (_CTYPES.get(c_type, ctypes.c_void_p) for c_type in c_types)
        if function["name"] in globals():
            own = globals()[function["name"]]
            own.__doc__ = _told_of(function) + "\n\nHere: " + own.__doc__
        else:
            sources.append(_source(function))
    exec(compile("".join(sources), "<functions of the interface>", "exec"), globals())


_make_functions()


# --- Signals ---

_raised = []  # by the handler of a signal that came in a call; the call raises it
_CHECK = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p)


def _look_for_signals():
    """Each step lets Python run the handlers of the signals that have come, and gives 1 when one of them raised. A
    generator: it is resumed within the try, while a function would be entered, and left again by the exception, ahead
    of its first line."""
    stop = 0
    while True:
        try:
            while True:
                yield stop
                stop = 0
        except GeneratorExit:
            return
        except BaseException as error:  # it belongs to the call, and must not hold the frame of this generator
            _raised[:], stop = [error.with_traceback(error.__traceback__.tb_next)], 1
            if isinstance(error, KeyboardInterrupt) and "vexa_block" in sys.modules:
                sys.modules["vexa_block"].interrupt()  # the call may have led to a block that runs in this process


def _watch_signals():
    """Python runs the handlers on its main thread alone, and so the library asks in calls of that thread alone."""
    if threading.current_thread() is not threading.main_thread():
        return
    looks = _look_for_signals()
    next(looks)
    check = _CHECK(looks.send)
    library.VexaSetInterruptCheck(check, None)
    atexit.register(lambda: library.VexaSetInterruptCheck(None, None) or check)


_watch_signals()


# --- Beyond the header ---


_HANDED_ON = ("DISPLAY", "XAUTHORITY", "LANG", "LC_ALL", "TZ")


def _quoted(word):
    return '"' + word.replace('"', '""') + '"'


@contextlib.contextmanager
def session(commandLine="", env=None, echo=None):
    """StartVexa and, whatever happens, StopVexa. A backend that runs already is used and left running.

    What the backend starts, such as a language, gets DISPLAY, XAUTHORITY, LANG, LC_ALL and TZ of this program, and what
    `env`, a dict, names beside them or, with None for a value, takes away. With `echo`, what commands and blocks write is
    shown on standard output as it comes; the default is to show it where this is a script on a terminal. Both are options
    of the practice engine, -env and -echo: for another backend pass env={} and echo=False.

    Sets VEXA_QUICK unless the program has set it, so that neither start nor stop pauses; and unless VEXADXTEMP names a
    directory for the fifos, one of the user's own is made, and removed when the program ends."""
    if IsBackendReady():
        yield
        return
    os.environ.setdefault("VEXA_QUICK", "1")
    if "VEXADXTEMP" not in os.environ:
        os.environ["VEXADXTEMP"] = directory = tempfile.mkdtemp(prefix="vexa_")
        atexit.register(shutil.rmtree, directory, ignore_errors=True)
    if env != {}:
        handed_on = {name: os.environ[name] for name in _HANDED_ON if name in os.environ} | (env or {})
        for name, value in handed_on.items():
            commandLine += "" if value is None else " -env " + _quoted(f"{name}={value}")
    if echo or echo is None and sys.stdout is not None and sys.stdout.isatty() and not hasattr(sys, "ps1"):
        commandLine += " -echo"
    try:
        StartVexa(commandLine)
        yield
    finally:
        StopVexa()


def cases(*names, user_missing=False):
    """Walks the cases of the active dataset, or of the running procedure's, to the end of the data or of the split: for
    each a dict from name to value, of the variables named or of all. Numbers are float, texts str without the blanks at
    their end, and what is missing is None; with user_missing=True, only what is system-missing is. No other cursor may
    be open; the one of the walk goes with it."""
    number, missing, least = ctypes.c_double(), ctypes.c_int(), USER_MISSING + bool(user_missing)
    number_out, missing_out = ctypes.byref(number), ctypes.byref(missing)
    MakeCaseCursor("r")
    try:
        there = {GetVariableNameInProcDS(i): i for i in range(GetVariableCountInProcDS())}
        columns = [(name, there[name], GetVariableTypeInProcDS(there[name])) for name in names or there]
        room = ctypes.create_string_buffer(1 + max((width for _, _, width in columns), default=0))
        text_out = ctypes.byref(ctypes.c_void_p(ctypes.addressof(room)))
        while (code := library.NextCase()) == 0:
            case = {}
            for name, index, width in columns:
                if width:
                    code = library.GetStringValue(index, text_out, width, missing_out)
                    value = _str(room.raw[:width].partition(b"\0")[0].rstrip(b" "))
                else:
                    code = library.GetNumericValue(index, number_out, missing_out)
                    value = number.value
                if code:
                    raise _error("GetStringValue" if width else "GetNumericValue", code)
                case[name] = None if missing.value >= least else value
            yield case
        if code not in (23, 67):
            raise _error("NextCase", code)
    except BaseException:
        library.RemoveCaseCursor()  # what it gives is not the reason
        raise
    RemoveCaseCursor()


# Data frames, which stand on all of the above.
from vexaxd_columns import ALL_ROWS, Columns, add, append, create, read, replace  # noqa: E402, F401
