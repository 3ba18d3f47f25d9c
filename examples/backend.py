#!/usr/bin/env python3
"""A backend of eighty lines, in plain Python, which no part of the library helps: one variable, the squares of 0 to 9. The
library starts it as bin/StartXD of a home with the directory of the fifos, the id of the session and the language:

    home=$(mktemp -d); mkdir $home/bin; ln -s $PWD/examples/backend.py $home/bin/StartXD; cp -r build/user/home/lib $home
    VEXA_HOME=$home PYTHONPATH=build/user/home/lib/python python3 -c "
    import vexaxd
    with vexaxd.session(env={}, echo=False):
        print([case['Square'] for case in vexaxd.cases()])"
"""
import os
import select
import struct
import sys

DRIVER = os.getppid()
REQUESTS = "".join(sys.argv[1:4]) + "0xdapi"  # of the first nesting level
SQUARES = [float(i * i) for i in range(10)]
END_OF_DATA, NO_VARIABLE, UNKNOWN = 23, 10, 9999


def message(action, code=0, longs=(), doubles=(), strings=(), void=b""):
    body = struct.pack("<i", len(longs)) + struct.pack(f"<{len(longs)}i", *longs)
    body += struct.pack("<i", len(doubles)) + struct.pack(f"<{len(doubles)}d", *doubles)
    body += struct.pack("<i", len(strings)) + b"".join(struct.pack("<i", len(text)) + text for text in strings)
    body += bytes(4 * 6) + struct.pack("<i", len(void)) + void  # what is not needed here is empty
    return struct.pack("<3i", 12 + len(body), action, code) + body


def exactly(pipe, count):
    data = b""
    while len(data) < count:
        while not select.select([pipe], [], [], 0.5)[0]:
            if os.getppid() != DRIVER:
                sys.exit()  # it is gone
        data += os.read(pipe, count - len(data))
    return data


def answer(action, longs, at):
    """The reply, and the position in the data behind it."""
    if action in (1, 2, 7, 104):  # IsBackendReady, IsXDriven, and the number of variables
        return message(action, longs=[1]), at
    if action in (8, 103):  # GetRowCount
        return message(action, longs=[len(SQUARES)]), at
    if action in (9, 108, 11, 109, 32) and longs[0] != 0:
        return message(action, NO_VARIABLE), at
    if action in (9, 108):  # GetVariableName
        return message(action, strings=[b"Square"]), at
    if action in (11, 109):  # GetVariableType: a number
        return message(action, longs=[0]), at
    if action == 32:  # GetVarNMissingValues: none
        return message(action, longs=[0], doubles=[0.0] * 3), at
    if action in (4, 28, 33):  # StopVexa, RemoveCaseCursor, MakeCaseCursor
        return message(action), 0
    if action == 227:  # NextCaseBlock: so many cases of so many bytes are wanted
        cases = SQUARES[at : at + longs[0]]
        code = END_OF_DATA if at + len(cases) == len(SQUARES) else 0
        return message(action, code, [len(cases)], void=struct.pack(f"<{len(cases)}d", *cases)), at + len(cases)
    return message(action, UNKNOWN), at


def serve(requests, replies):
    os.write(replies, message(-1))  # the start went well
    at = action = 0
    while action != 4:
        (length,) = struct.unpack("<i", exactly(requests, 4))
        body = exactly(requests, length - 4)
        action, _, count, *longs = struct.unpack(f"<{len(body) // 4}i", body[: len(body) // 4 * 4]) + (0,) * 5
        reply, at = answer(action, longs[:count] + [-1, -1], at)  # an argument that is missing is no index
        os.write(replies, reply)


os.mkfifo(REQUESTS, 0o600)
try:
    # With a writer, until the driver comes to open it; the other one the driver has made.
    serve(os.open(REQUESTS, os.O_RDWR), os.open(REQUESTS + "result", os.O_WRONLY))
except BrokenPipeError:
    pass  # the driver is gone
finally:
    os.unlink(REQUESTS)
