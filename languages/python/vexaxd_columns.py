"""Cases as columns, for vexaxd: `read` gives arrays and data frames, `append`, `add`, `replace` and `create` take them.

    hot = vexaxd.read("Temp", "MonthName").pandas()
    vexaxd.add({"Kelvin": (hot["Temp"] - 32) / 1.8 + 273.15})

Columns travel in Arrow's C interface, which pyarrow, polars, pandas, DuckDB and others read and write as it is; nothing
of them is needed, and numpy only where its arrays are. vexaxd_columns.h tells what of a column is stored how.
"""
import collections.abc
import ctypes
import datetime
import itertools
import sys

import vexaxd

_library = vexaxd.library


class _Schema(ctypes.Structure):
    pass


class _Array(ctypes.Structure):
    pass


class _Stream(ctypes.Structure):
    pass


def _function(of, *arguments):
    return ctypes.CFUNCTYPE(ctypes.c_int if arguments else None, ctypes.POINTER(of), *arguments)


_ReleaseSchema, _ReleaseArray, _ReleaseStream = _function(_Schema), _function(_Array), _function(_Stream)
_GetSchema, _GetNext = _function(_Stream, ctypes.POINTER(_Schema)), _function(_Stream, ctypes.POINTER(_Array))
_GetError = ctypes.CFUNCTYPE(ctypes.c_void_p, ctypes.POINTER(_Stream))

_Schema._fields_ = [
    ("format", ctypes.c_char_p),
    ("name", ctypes.c_char_p),
    ("metadata", ctypes.c_void_p),
    ("flags", ctypes.c_int64),
    ("n_children", ctypes.c_int64),
    ("children", ctypes.POINTER(ctypes.POINTER(_Schema))),
    ("dictionary", ctypes.POINTER(_Schema)),
    ("release", _ReleaseSchema),
    ("private_data", ctypes.c_void_p),
]
_Array._fields_ = [
    *((name, ctypes.c_int64) for name in ("length", "null_count", "offset", "n_buffers", "n_children")),
    ("buffers", ctypes.POINTER(ctypes.c_void_p)),
    ("children", ctypes.POINTER(ctypes.POINTER(_Array))),
    ("dictionary", ctypes.POINTER(_Array)),
    ("release", _ReleaseArray),
    ("private_data", ctypes.c_void_p),
]
_Stream._fields_ = [
    ("get_schema", _GetSchema),
    ("get_next", _GetNext),
    ("get_last_error", _GetError),
    ("release", _ReleaseStream),
    ("private_data", ctypes.c_void_p),
]

_Progress = ctypes.CFUNCTYPE(None, ctypes.c_void_p, ctypes.c_long, ctypes.c_long)
ALL_ROWS = -1
_USER_MISSING, _BINARY, _LABELS, _LARGE = 1, 2, 4, 8

# --- Capsules, in which streams change hands ---

_new_capsule = ctypes.pythonapi.PyCapsule_New
_new_capsule.restype, _new_capsule.argtypes = ctypes.py_object, [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_void_p]
_capsule_pointer = ctypes.pythonapi.PyCapsule_GetPointer
_capsule_pointer.restype, _capsule_pointer.argtypes = ctypes.c_void_p, [ctypes.py_object, ctypes.c_char_p]
# Called while the capsule dies: it must not come back to life, as it would as an argument of a py_object.
_dying_pointer = ctypes.PYFUNCTYPE(ctypes.c_void_p, ctypes.c_void_p, ctypes.c_char_p)(
    ("PyCapsule_GetPointer", ctypes.pythonapi)
)
_CAPSULE_NAME = b"arrow_array_stream"
_in_capsules = {}


@ctypes.PYFUNCTYPE(None, ctypes.c_void_p)
def _drop_capsule(capsule):
    _release(_in_capsules.pop(_dying_pointer(capsule, _CAPSULE_NAME)))


def _capsule(stream):
    address = ctypes.addressof(stream)
    _in_capsules[address] = stream
    return _new_capsule(address, _CAPSULE_NAME, ctypes.cast(_drop_capsule, ctypes.c_void_p))


def _release(struct):
    if struct.release:
        struct.release(ctypes.byref(struct))


# --- Reading ---


class _Memory:
    """A batch, and what was made of it: released with the last of them."""

    def __init__(self, array):
        self.array = array

    def __del__(self):
        _release(self.array)


def _numbers(array, kind, memory):
    """The values of a column as a ctypes array that keeps the batch alive."""
    values = (kind * array.length).from_address(array.buffers[1]) if array.length else (kind * 0)()
    values.memory = memory
    return values


def _nulls(array):
    """Whether each value is null; None where none is."""
    if not array.null_count or not array.buffers[0]:
        return None
    bits = ctypes.string_at(array.buffers[0], (array.length + 7) // 8)
    return [not bits[i >> 3] >> (i & 7) & 1 for i in range(array.length)]


def _texts(array, large, binary):
    kind = ctypes.c_int64 if large else ctypes.c_int32
    offsets = (kind * (array.length + 1)).from_address(array.buffers[1]) if array.length else (0,)
    data = ctypes.string_at(array.buffers[2], offsets[-1]) if offsets[-1] else b""
    if binary:
        return [data[start:end] for start, end in itertools.pairwise(offsets)]
    if data.isascii():
        text = data.decode("ascii")
        return [text[start:end] for start, end in itertools.pairwise(offsets)]
    return [data[start:end].decode("utf-8") for start, end in itertools.pairwise(offsets)]


def _values(form, array, memory):
    """The values of a column as a list: None for what is null."""
    if array.dictionary:
        # The form of the labels is the schema's; it is one of texts.
        labels = _texts(array.dictionary.contents, form.endswith("U"), False)
        values = [labels[i] if i >= 0 else None for i in _numbers(array, ctypes.c_int32, memory)]
    elif form == "b":
        bits = ctypes.string_at(array.buffers[1], (array.length + 7) // 8) if array.length else b""
        return [bool(bits[i >> 3] >> (i & 7) & 1) for i in range(array.length)]
    elif form == "g":
        values = list(_numbers(array, ctypes.c_double, memory))
    else:
        values = _texts(array, form in "UZ", form in "zZ")
    nulls = _nulls(array)
    return values if nulls is None else [None if null else value for null, value in zip(nulls, values)]


class Columns:
    """Variables of a dataset, as `read` names them. Nothing is read before one of the methods asks for it, each time
    anew; the session must still be there then. What they give is Python's own, and outlives the session.

    It has the Arrow stream protocol: pyarrow.table(columns), polars.DataFrame(columns) and DuckDB take it as it is. The
    session is in use until such a stream has been read to its end."""

    def __init__(self, names, dataset, rows, options, progress):
        self._names, self._dataset, self._rows, self._options = names, dataset, rows, options
        self._progress = progress

    def _open(self, rows, options=0):
        names = vexaxd._many(ctypes.c_char_p, vexaxd._text, self._names)
        dataset = None if self._dataset is None else vexaxd._text(self._dataset)
        stream = _Stream()
        code = _library.VexaReadColumns(
            dataset, names or None, len(names), rows, self._options | options, ctypes.byref(stream)
        )
        if code:
            raise vexaxd._error("VexaReadColumns", code)
        return stream

    def __arrow_c_stream__(self, requested_schema=None):
        return _capsule(self._open(self._rows))

    def _whole(self):
        """The name, the form and the array of each column, and what keeps them alive."""
        with _told(self._progress):
            stream, schema, array = self._open(ALL_ROWS, _LARGE), _Schema(), _Array()
            try:
                for get, struct in ((stream.get_schema, schema), (stream.get_next, array)):
                    if get(ctypes.byref(stream), ctypes.byref(struct)):
                        if vexaxd._raised:
                            raise vexaxd._raised.pop()
                        told = stream.get_last_error(ctypes.byref(stream))
                        raise RuntimeError(ctypes.string_at(told).decode("utf-8", "replace") if told else "no reason")
                fields = [schema.children[i].contents for i in range(schema.n_children)]
                forms = [field.dictionary.contents.format if field.dictionary else field.format for field in fields]
                named = [(field.name.decode("utf-8"), form.decode()) for field, form in zip(fields, forms)]
            finally:
                _release(schema)
                _release(stream)
        memory = _Memory(array)
        return [(*named[i], array.children[i].contents) for i in range(array.n_children)], memory

    def dict(self):
        """A list for each variable, by its name: float, str (bytes where `binary`), bool. What is missing is None."""
        columns, memory = self._whole()
        return {name: _values(form, array, memory) for name, form, array in columns}

    def numpy(self):
        """An array for each variable, by its name. Numbers are float64, NaN where they are missing, and lie where they
        were read; texts are objects; labels are objects, None where the value is missing."""
        import numpy

        columns, memory = self._whole()
        arrays = {}
        for name, form, array in columns:
            if form == "g":
                arrays[name] = numpy.ctypeslib.as_array(_numbers(array, ctypes.c_double, memory))
            else:
                values = _values(form, array, memory)
                arrays[name] = numpy.array(values, dtype=bool if form == "b" else object)
        return arrays

    def arrow(self):
        """A pyarrow.Table."""
        import pyarrow

        with _told(self._progress):
            try:
                return pyarrow.RecordBatchReader.from_stream(self).read_all()
            except OSError:
                if vexaxd._raised:
                    raise vexaxd._raised.pop() from None
                raise

    def pandas(self):
        """A pandas.DataFrame: by pyarrow where it is installed, and then with labels as categories."""
        import pandas

        try:
            import pyarrow  # noqa: F401
        except ImportError:
            return pandas.DataFrame(self.numpy())
        table = self.arrow()
        try:
            table = table.unify_dictionaries()
        except NotImplementedError:
            pass
        return table.to_pandas(split_blocks=True, self_destruct=True)

    def polars(self):
        """A polars.DataFrame."""
        import polars

        with _told(self._progress):
            return polars.DataFrame(self)

    def __repr__(self):
        what = ", ".join(map(repr, self._names)) or "all variables"
        return f"<vexaxd.Columns: {what}{f' of {self._dataset!r}' if self._dataset else ''}>"


def read(*names, dataset=None, rows=0, labels=False, user_missing=False, binary=False, progress=None):
    """The named variables, or all, of the active dataset, or of the one named: a Columns, which becomes arrays, lists or a
    data frame by its methods, and is an Arrow stream for whoever reads one.

    `labels`: a variable with value labels comes as these (a factor, a categorical). `user_missing`: user-missing values
    come as they are, each such variable with a column NAME.missing of booleans behind it; else they are missing. `binary`:
    texts are bytes, with the blanks at their end. `rows`: how many of them a batch of the stream has; 0 as many as cost
    least. `progress`: True for a bar on standard error, or a function of the rows done and of all (None where that is not
    known)."""
    options = bool(user_missing) * _USER_MISSING | bool(binary) * _BINARY | bool(labels) * _LABELS
    return Columns(names, dataset, rows, options, progress)


# --- Writing ---


class _Field:
    """A column to be written: its form, and its buffers, which are kept."""

    def __init__(self, form, length, *buffers, nulls=None, dictionary=None):
        self.form, self.length, self.buffers, self.dictionary = form, length, list(buffers), dictionary
        validity = None
        if nulls is not None and any(nulls):
            bits = bytearray((length + 7) // 8)
            for i, null in enumerate(nulls):
                if not null:
                    bits[i >> 3] |= 1 << (i & 7)
            validity = bits
        self.buffers.insert(0, validity)


def _address(buffer):
    if buffer is None or not len(buffer):
        return None
    if hasattr(buffer, "ctypes"):
        return buffer.ctypes.data
    return ctypes.addressof((ctypes.c_char * len(buffer)).from_buffer(buffer))


def _text_field(values):
    pieces = [b"" if value is None else vexaxd._bytes(value) for value in values]
    offsets = (ctypes.c_int64 * (len(pieces) + 1))(0, *itertools.accumulate(map(len, pieces)))
    data = bytearray(b"".join(pieces))
    is_binary = any(isinstance(value, bytes) for value in values)
    nulls = [value is None for value in values]
    return _Field("Z" if is_binary else "U", len(pieces), memoryview(offsets).cast("B"), data, nulls=nulls)


_NUMBERS = (int, float)
_EPOCH = datetime.datetime(1970, 1, 1)
_MICROSECOND = datetime.timedelta(microseconds=1)


def _microseconds(value):
    if isinstance(value, datetime.datetime):
        if value.tzinfo is not None:
            value = value.astimezone(datetime.timezone.utc).replace(tzinfo=None)
        return (value - _EPOCH) // _MICROSECOND
    return (datetime.datetime.combine(value, datetime.time()) - _EPOCH) // _MICROSECOND


def _ints(form, values):
    buffer = (ctypes.c_int64 * len(values))(*(0 if value is None else value for value in values))
    return _Field(form, len(values), memoryview(buffer).cast("B"), nulls=[value is None for value in values])


def _list_field(values, name):
    """Of a list. None is missing."""
    known = [value for value in values if value is not None]
    if all(isinstance(value, (str, bytes)) for value in known) and known:
        return _text_field(values)
    if all(isinstance(value, int) for value in known) and known:
        if all(-(2**63) <= value < 2**63 for value in known):
            return _ints("l", values)  # the library checks that a double holds them
        for row, value in enumerate(values):
            if value is not None and not (abs(value) < 2**1023 and int(float(value)) == value):
                raise ValueError(f"column {name!r}, row {row}: {value}, which a double does not hold exactly")
    if all(isinstance(value, datetime.date) for value in known) and known:
        return _ints("tsu:", [None if value is None else _microseconds(value) for value in values])
    if all(isinstance(value, datetime.timedelta) for value in known) and known:
        return _ints("tDu", [None if value is None else value // _MICROSECOND for value in values])
    try:
        buffer = (ctypes.c_double * len(values))(*(float("nan") if value is None else float(value) for value in values))
    except (TypeError, ValueError):
        kinds = ", ".join(sorted({type(value).__name__ for value in known}))
        raise TypeError(f"column {name!r}: values of {kinds} in one list") from None
    return _Field("g", len(values), memoryview(buffer).cast("B"))


_FORMS = {
    **dict(zip(("i1", "u1", "i2", "u2", "i4", "u4", "i8", "u8"), "cCsSiIlL")),
    **dict(zip(("f2", "f4", "f8"), "efg")),
}
_UNITS = {"s": "s", "ms": "m", "us": "u", "ns": "n", "D": None}


def _numpy_field(values, name):
    import numpy

    if values.ndim != 1:
        raise ValueError(f"column {name!r}: {values.ndim} dimensions, where a column has one")
    kind = values.dtype.kind
    if kind == "b":
        return _Field("b", len(values), numpy.packbits(values, bitorder="little"))
    if kind in "mM":
        unit = numpy.datetime_data(values.dtype)[0]
        nulls = numpy.isnat(values)
        if _UNITS.get(unit) is None:
            values, unit = values.astype(f"{kind}8[s]"), "s"
        form = ("ts{}:" if kind == "M" else "tD{}").format(_UNITS[unit])
        return _Field(form, len(values), numpy.ascontiguousarray(values).view("i8").view("u1"), nulls=nulls)
    if kind in "iuf":
        form = _FORMS.get(values.dtype.str[1:])
        if form is None:
            values, form = values.astype("f8"), "g"
        values = numpy.ascontiguousarray(values, dtype=values.dtype.newbyteorder("="))
        return _Field(form, len(values), values.view("u1"))
    missing = [value is None or value != value for value in values.tolist()]
    return _list_field([None if null else value for null, value in zip(missing, values.tolist())], name)


def _field(values, name):
    if type(values).__module__.partition(".")[0] == "pandas":
        if hasattr(values.dtype, "categories"):
            codes = values.cat.codes if hasattr(values, "cat") else values.codes
            indices, nulls = codes.to_numpy() if hasattr(codes, "to_numpy") else codes, None
            field = _numpy_field(indices.astype("i4"), name)
            nulls = [code < 0 for code in indices.tolist()]
            labels = _text_field([str(category) for category in values.dtype.categories])
            return _Field(field.form, field.length, *field.buffers[1:], nulls=nulls, dictionary=labels)
        values = values.to_numpy()
    if hasattr(values, "__array__") and hasattr(values, "dtype"):
        return _numpy_field(values, name)
    if isinstance(values, (str, bytes)):
        raise TypeError(f"column {name!r}: one text, where a list is expected")
    if not isinstance(values, collections.abc.Iterable):
        raise TypeError(f"column {name!r}: {type(values).__name__}, where a list is expected")
    return _list_field(list(values), name)


_kept = {}  # what a struct that was handed out points to, until it is released
_keys = itertools.count(1)


def _keep(struct, *what):
    struct.private_data = next(_keys)
    _kept[struct.private_data] = what


def _releaser(kind):
    @kind
    def release(address):
        struct = address.contents
        for i in range(getattr(struct, "n_children", 0)):
            _release(struct.children[i].contents)
        if getattr(struct, "dictionary", None):
            _release(struct.dictionary.contents)
        del _kept[struct.private_data]
        struct.release = kind()

    return release


_release_schema, _release_array, _release_stream = map(_releaser, (_ReleaseSchema, _ReleaseArray, _ReleaseStream))


def _pointers(structs):
    kind = type(structs[0]) if structs else _Schema
    return (ctypes.POINTER(kind) * len(structs))(*map(ctypes.pointer, structs))


def _fill_schema(schema, form, name, children=(), dictionary=None):
    """`children` and the dictionary are filled schemas."""
    pointers = _pointers(list(children))
    schema.format, schema.name, schema.flags, schema.n_children = form, name, 2, len(children)
    schema.children = ctypes.cast(pointers, type(schema.children))
    if dictionary is not None:
        schema.dictionary = ctypes.pointer(dictionary)
    _keep(schema, form, name, children, pointers, dictionary)
    schema.release = _release_schema
    return schema


def _fill_array(array, length, buffers, children=(), dictionary=None):
    addresses = (ctypes.c_void_p * len(buffers))(*map(_address, buffers))
    pointers = _pointers(list(children))
    array.length, array.null_count, array.n_buffers, array.n_children = length, -1, len(buffers), len(children)
    array.buffers = ctypes.cast(addresses, type(array.buffers))
    array.children = ctypes.cast(pointers, type(array.children))
    if dictionary is not None:
        array.dictionary = ctypes.pointer(dictionary)
    _keep(array, addresses, pointers, buffers, children, dictionary)
    array.release = _release_array
    return array


def _schema_of(name, field):
    labels = None if field.dictionary is None else _schema_of("", field.dictionary)
    return _fill_schema(_Schema(), field.form.encode(), name.encode("utf-8"), dictionary=labels)


def _array_of(field):
    labels = None if field.dictionary is None else _array_of(field.dictionary)
    return _fill_array(_Array(), field.length, field.buffers, dictionary=labels)


def _stream_of(columns):
    """A stream of one batch of the columns, a dict from name to _Field."""
    lengths = {name: field.length for name, field in columns.items()}
    if len(set(lengths.values())) > 1:
        raise ValueError(f"columns of different lengths: {lengths}")
    left = [dict(columns)]

    @_GetSchema
    def get_schema(_, out):
        _fill_schema(out.contents, b"+s", b"", [_schema_of(*item) for item in columns.items()])
        return 0

    @_GetNext
    def get_next(_, out):
        if left:
            length = next(iter(lengths.values()), 0)
            _fill_array(out.contents, length, [None], [_array_of(field) for field in left.pop().values()])
        else:
            out.contents.release = _ReleaseArray()
        return 0

    @_GetError
    def get_error(_):
        return None

    stream = _Stream(get_schema, get_next, get_error, _release_stream)
    _keep(stream, get_schema, get_next, get_error)
    return stream


def _taken(data):
    """The stream of what was given, and what has to live as long."""
    if hasattr(data, "__arrow_c_stream__"):
        try:
            capsule = data.__arrow_c_stream__()
            return _Stream.from_address(_capsule_pointer(capsule, _CAPSULE_NAME)), capsule
        except ImportError:
            pass  # a data frame that needs pyarrow for it
    if isinstance(data, Columns):
        raise TypeError("columns of this session cannot be read and written at the same time")
    if type(data).__module__.partition(".")[0] == "pandas":
        data = {str(name): data[name] for name in data.columns}
    if not isinstance(data, collections.abc.Mapping):
        raise TypeError("a dict of columns expected, a data frame or an Arrow stream")
    return _stream_of({name: _field(values, name) for name, values in data.items()}), None


def _write(function, dataset, data, progress):
    if isinstance(data, Columns):
        data = data.arrow() if "pyarrow" in sys.modules else data.dict()
    stream, kept = _taken(data)
    with _told(progress):
        code = getattr(_library, function)(None if dataset is None else vexaxd._text(dataset), ctypes.byref(stream))
    del kept
    if code:
        raise vexaxd._error(function, code)


def append(data, dataset=None, progress=None):
    """Appends cases to the active dataset, or to the one named. `data` is anything with the Arrow stream protocol, a dict
    from name to a list or an array, or a pandas frame; its columns are variables that are there, the others are missing in
    the new cases. None and NaN are missing. What cannot be stored is refused before anything is written: Error then
    names the column, the row and the reason."""
    _write("VexaAppendColumns", dataset, data, progress)


def add(data, dataset=None, progress=None):
    """Adds the columns as new variables, with a value for each case. A categorical becomes a number with value labels."""
    _write("VexaAddColumns", dataset, data, progress)


def replace(data, dataset=None, progress=None):
    """Overwrites the values of existing variables in all cases."""
    _write("VexaReplaceColumns", dataset, data, progress)


def create(name, data, progress=None):
    """Makes a dataset of that name, which becomes the active one."""
    _write("VexaCreateColumns", name, data, progress)


# --- Progress ---


class _told:
    """While it lasts, `progress` is told of the rows: a function, or True for a bar on standard error."""

    def __init__(self, progress):
        self.progress, self.bar, self.raised = progress, None, None

    def _show(self, done, total):
        if self.bar is None:
            try:
                from tqdm import tqdm
            except ImportError:
                self.bar = False
            else:
                self.bar = tqdm(total=total, unit=" rows", unit_scale=True)
        if self.bar:
            self.bar.update(done - self.bar.n)
        elif sys.stderr is not None and sys.stderr.isatty():
            sys.stderr.write(f"\r{done} rows" + (f" of {total}" if total else ""))

    def __enter__(self):
        if self.progress is None or self.progress is False:
            return self
        tell = self._show if self.progress is True else self.progress

        @_Progress
        def told(_, done, total):
            try:
                if self.raised is None:
                    tell(done, None if total < 0 else total)
            except BaseException as error:  # raised behind the call: nothing can be in its middle
                self.raised = error

        self.callback = told
        _library.VexaSetProgress(told, None)
        return self

    def __exit__(self, kind, *_):
        if self.progress is None or self.progress is False:
            return
        _library.VexaSetProgress(_Progress(), None)
        if self.bar:
            self.bar.close()
        elif self.bar is False and sys.stderr is not None and sys.stderr.isatty():
            sys.stderr.write("\n")
        if self.raised is not None and kind is None:
            raise self.raised
