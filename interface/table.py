"""Reads functions.txt: for bindings that are made from it, for the checks, and for describe, which writes it as JSON."""
import collections
import pathlib

TABLE = pathlib.Path(__file__).with_name("functions.txt")

SHORTHANDS = {
    "DIMENSION": "TABLE, text dimText, int dimValue1, int dimValue2, bool dimFlag1, bool dimFlag2",
    "TABLE": "text tableText1, text tableText2, text tableText3, bool tableFlag",
    "MISSING_NUMBERS": "int* missingFormat, double* value1, double* value2, double* value3",
    "MISSING_TEXTS": "int* missingFormat, text8* value1, text8* value2, text8* value3",
    "THREE_NUMBERS": "double value1=0.0, double value2=0.0, double value3=0.0",
    "THREE_TEXTS": "text? value1=None, text? value2=None, text? value3=None",
    "SET": "text* setText1, int* setValue1, text* setText2, int* setValue2, list* members, error",
}

# The words as C types; any other is one, or the address of one behind its "@".
IN_C = {
    **dict.fromkeys(("code", "length", "size", "count", "each"), "int"),
    **dict.fromkeys(("error", "count*", "length*", "ints", "ints[]", "numbers"), "int*"),
    **dict.fromkeys(("text", "text?", "bytes"), "const char*"),
    **dict.fromkeys(("own", "image", "text8*", "room*"), "char*"),
    **dict.fromkeys(("texts", "text*", "text[]"), "char**"),
    **{ "texts*": "char***", "numbers*": "double**", "ints*": "int**"},
    **{"list": "void*", "data": "void*", "taken": "void*", "list*": "void**", "wide": "const wchar_t*"},
    **{"uint": "unsigned int", "ulong": "unsigned long"},
    "check*": "int (*)(void*)",
    "progress*": "void (*)(void* context, long done, long total)",
    "conversion": "int (*)(const char* source, unsigned long sourceSize, "
    "char* destination, unsigned long destinationSize)",
}

# The slot of a message that a word's value travels in.
SLOTS = {
    **dict.fromkeys(("int", "uint", "long", "bool", "each", "size", "ints", "int*", "long*", "count*", "length*"), "longs"),
    **dict.fromkeys(("double", "double*", "numbers*"), "doubles"),
    **dict.fromkeys(("text", "text?", "bytes", "own", "text*", "text8*", "text[]", "room*", "texts*", "list", "list*"), "strings"),
    **{"texts": "stringArrays", "data": "void", "taken": "void", "wide": "wide", "image": "binary", "numbers": "longs"},
}
GOING_OUT = ("error", "count*", "length*", "int*", "long*", "double*", "text8*", "room*", "text*", "list*", "texts*",
             "numbers*", "ints*", "ints[]", "text[]")  # fmt: skip

Argument = collections.namedtuple("Argument", "word name c_type default")
# `released_by` releases its arrays, `codes` come with an answer, `asks` are the numbers of its requests, in their order;
# `request` is the first one's and `reply` what is read from its answer: the slot and the element of each value. `untried`
# says why no suite of all languages can call it.
Function = collections.namedtuple(
    "Function", "family name result c_type arguments released_by codes asks guarded aborts untried request reply"
)
Value = collections.namedtuple("Value", "name slot element")


def _arguments(text):
    for shorthand, meaning in SHORTHANDS.items():
        text = text.replace(shorthand, meaning)
    for one in text.split(", ") if text else []:
        word, _, called = one.partition(" ")
        if word.startswith("@"):  # its type has blanks
            word, _, called = one.rpartition(" ")
        called, _, default = called.partition("=")
        name = called or {"error": "errCode"}.get(word, word.rstrip("*"))
        yield Argument(word, name, IN_C.get(word, word.lstrip("@")), default or None)


def _elements(words):
    """Of each word and name in turn its slot, or the slot told with it, and the element there: a number; "from 2" for a
    list; "next" behind one; "all" where a list is the one element of a slot of lists."""
    used = collections.Counter()
    listed = set()
    for word, name, told in words:
        slot = told or SLOTS.get(word)
        if slot is None:
            continue
        whole = word in ("ints", "list", "texts*", "numbers*", "numbers", "list*", "texts") and slot in ("longs", "strings", "doubles")
        yield Value(name, slot, f"from {used[slot]}" if whole else "next" if slot in listed else used[slot])
        used[slot] += 1
        if whole:
            listed.add(slot)


def _request(arguments, told):
    """All that goes in; the length or the count of others does not travel."""
    by_name = {argument.name: argument.word for argument in arguments}
    if told == "nothing":
        return []
    if told:
        words = [part.partition(" in ") for part in told.split(", ")]
        words = [(by_name.get(name), name, slot) for name, _, slot in words]
        return list(_elements((word if word in SLOTS else "int", name, slot) for word, name, slot in words))
    return list(_elements((word, name, "") for name, word in by_name.items() if word not in GOING_OUT))


def _reply(result, arguments, told):
    if told:
        parts = [part.replace(" in ", " ").split() for part in told.split(", ")]
        return [Value(name, slot, element if element.isalpha() else int(element)) for name, slot, element in parts]
    out = [(argument.word, argument.name) for argument in arguments if argument.word in GOING_OUT]
    if [word for word, _ in out].count("texts*") == 2:  # each a list of its own
        lists = iter(range(2))
        return [Value(name, *(("stringArrays", next(lists)) if word == "texts*" else ("longs", 0))) for word, name in out
                if word != "error"]  # fmt: skip
    if result not in ("void", "code"):
        out.insert(0, (result, "result"))
    return list(_elements((word, name, "") for word, name in out))


def _wire(text):
    """ "9 guarded aborts(size > 0): index -> name in all strings": the numbers, the words, the request and the reply."""
    text, _, reply = text.partition(" -> ")
    text, _, request = text.partition(": ")
    text, _, untried = text.partition(" untried(")
    aborts = []
    while " aborts(" in text:
        text, _, last = text.rpartition(" aborts(")
        aborts.insert(0, last.rstrip(")"))
    guarded = " guarded" in text
    numbers = text.replace(" guarded", "").split(", ")[0]
    asks = [int(number) for number in numbers.replace(" or ", "; ").split("; ") if number != "-"]
    return asks, guarded, aborts, untried.rstrip(")"), request, reply


def _untried(arguments, aborts, told):
    """Why the suite has no call of a function; None where it has."""
    words = [argument.word for argument in arguments]
    if "always" in aborts:
        return "it ends the process"
    if any(word in ("check*", "progress*", "conversion") for word in words):
        return "it takes a function of the caller's"
    return told or ("it takes an address" if any(word.startswith("@") for word in words) else None)


def functions(path=TABLE):
    family = ""
    for line in pathlib.Path(path).read_text(encoding="utf-8").split("\n")[3:]:
        if line.startswith("# "):
            family = line[2:]
        elif line:
            said, _, wire = line.rpartition(" | ")
            said, _, behind = said.partition(" > ")
            result, name, *rest = said.split(" ", 2)
            arguments = list(_arguments(rest[0] if rest else ""))
            asks, guarded, aborts, untried, request, reply = _wire(wire)
            behind = behind.split()
            yield Function(
                family, name, result, IN_C.get(result, result), arguments,
                next((word for word in behind if not word.isdigit()), None),
                [int(word) for word in behind if word.isdigit()], asks, guarded, aborts,
                _untried(arguments, aborts, untried), _request(arguments, request) if asks else [], _reply(result, arguments, reply) if asks else [],
            )  # fmt: skip
