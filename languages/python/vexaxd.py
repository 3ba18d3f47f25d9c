"""vexaxd: the client interface of libvexaxd_p for Python, over ctypes: every function of vexaxd_p.h by its own name.

    import vexaxd

    with vexaxd.session('-data "examples/data/airquality.csv"'):
        for index in range(vexaxd.GetVariableCount()):
            print(vexaxd.GetVariableName(index), vexaxd.GetVariableFormat(index))
        print(max(case["Temp"] for case in vexaxd.cases("Temp")))

The library is the one of the home in VEXA_HOME; without that, of the home that this file is staged in, which then
becomes VEXA_HOME for the backend, too. In a process that has that library loaded already, it is that same one.

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
import operator
import os
import shutil
import sys
import tempfile
import threading

VALID, USER_MISSING, SYSTEM_MISSING = 0, 1, 2

# A line for each function: what it returns, its name, its arguments, and behind ">" what releases its arrays, or a code
# that comes with an answer. The words are explained below; one in capitals stands for several arguments. "@T" is the C
# type T, as an address.
_TABLE = """
# Session
void SetXNameAndSHome text? xname, text? home
code StartVexa text? commandLine=""
bool IsBackendReady
bool IsXDriven
void StopVexa
void VexaSetInterruptCheck check* check, @void* context
code SetVexaRunning bool running
code StopReceiveXdApiThread
text VexaLastError
void InitXProcess text? appName, text? tempPath, text? pid, text? xname, text? fifth=None
# Syntax and output streams
code Submit bytes command, length
code QueueCommandPart bytes command, length
code PostVexaOutput bytes output, length
code StartProcedure text name, text? secondName=None
code EndProcedure
int HasProcedure
code GetNestDepth int* depth
text TransCode text source, error
text GetOutputLanguage error
void SetOutputLanguage text language, error
code SetXDriveMode int mode
code GetXDriveMode int* mode, int* second
code SetMode int mode
int IsUTF8mode
code SetRTempFolderToVEXA text? folder
text GetRTempFolderToVEXA
code SetRecordBrowserOutput text? path, bool enable
void RecordBrowserOutput text text, ulong length, conversion convert
# Dictionary of the active dataset
int GetVariableCount error
long GetRowCount error
text GetVariableName int index, error
text GetVariableLabel int index, error
text GetVariableFormat int index, error
int GetVariableType int index, error
int GetVariableMeasurementLevel int index, error
int GetVariableRole int index, error
int GetVexaOutputWidth error
list GetSplitVariableNames error
text GetWeightVar error
code GetVariableFormatType int index, int* formatType, int* formatWidth, int* formatDecimal
code GetVarCMissingValues int index, MISSING_TEXTS
code GetVarNMissingValues int index, MISSING_NUMBERS
code GetVEXALowHigh double* low, double* high
code GetNValueLabels int index, numbers* values, texts* labels, count* > FreeNValueLabels
code GetCValueLabels int index, texts* values, texts* labels, count* > FreeCValueLabels
code FreeNValueLabels @double* values, @char** labels, int count
code FreeCValueLabels @char** values, @char** labels, int count
code IsNeedCache int* need
code GetSystemMissingValue double* value
int ValidateVarName text name
# Dictionary of the running procedure's dataset
long GetRowCountInProcDS error
int GetVariableCountInProcDS error
text GetVariableFormatInProcDS int index, error
text GetVariableLabelInProcDS int index, error
int GetVariableMeasurementLevelInProcDS int index, error
text GetVariableNameInProcDS int index, error
int GetVariableTypeInProcDS int index, error
int GetVariableRoleInProcDS int index, error
code GetVarCMissingValuesInProcDS int index, MISSING_TEXTS
code GetVarNMissingValuesInProcDS int index, MISSING_NUMBERS
code GetVariableFormatTypeInProcDS int index, int* formatType, int* formatWidth, int* formatDecimal
long GetSelectedRowCountInProcDS error
# Attributes and multiple response sets
code GetVarAttributeNames int index, texts* names, count* > FreeAttributeNames
code GetDataFileAttributeNames texts* names, count* > FreeAttributeNames
code GetVarAttributes int index, text attrName, texts* values, count* > FreeAttributes
code GetDataFileAttributes text attrName, texts* values, count* > FreeAttributes
code GetVarAttributeNamesInProcDS int index, texts* names, count* > FreeAttributeNames
code GetDataFileAttributeNamesInProcDS texts* names, count* > FreeAttributeNames
code GetVarAttributesInProcDS int index, text attrName, texts* values, count* > FreeAttributes
code GetDataFileAttributesInProcDS text attrName, texts* values, count* > FreeAttributes
code SetVarAttributes text attrText1, text attrText2, text attrText3, int attrValue
code FreeAttributeNames @char** names, int count
code FreeAttributes @char** values, int count
list GetMultiResponseSetNames error
list GetMultiResponseSetNamesInProcDS error
void GetMultiResponseSet text setName, SET
void GetMultiResponseSetInProcDS text setName, SET
# Pivot tables
code StartPivotTable TABLE
code HidePivotTableTitle TABLE
code PivotTableCaption TABLE, text caption
code AddCaptionFootnotes TABLE, text caption, text footnote
code MinDataColumnWidth TABLE, int width
code MaxDataColumnWidth TABLE, int width
code AddOutlineFootnotes text tableText1, text tableText2, text tableText3, text footnote, bool tableFlag
code AddTitleFootnotes text tableText1, text tableText2, text tableText3, text footnote, bool tableFlag
code AddProcFootnotes text footnote
code SplitChange text splitText
code SetGraphicsLabel text labelText1, text labelText2
code AddTextBlock text tableText1, text tableText2, text tableText3, int blockValue
code AddDimension DIMENSION
code AddDimFootnotes DIMENSION, text footnote
code AddNumberCategory DIMENSION, double value
code AddStringCategory DIMENSION, text value
code AddVarNameCategory DIMENSION, int varIndex
code AddVarValueDoubleCategory DIMENSION, int varIndex, double value
code AddVarValueStringCategory DIMENSION, int varIndex, text value
code AddCategoryFootnotes DIMENSION, text footnote
code SetNumberCell DIMENSION, double value
code SetStringCell DIMENSION, text value
code SetVarNameCell DIMENSION, int varIndex
code SetVarValueDoubleCell DIMENSION, int varIndex, double value
code SetVarValueStringCell DIMENSION, int varIndex, text value
code AddCellFootnotes DIMENSION, text footnote
code SetDateCell DIMENSION, text value
code SetFormatSpecCoefficient
code SetFormatSpecCoefficientSE
code SetFormatSpecCoefficientVar
code SetFormatSpecCorrelation
code SetFormatSpecGeneralStat
code SetFormatSpecMean int formatValue
code SetFormatSpecCount
code SetFormatSpecPercent
code SetFormatSpecPercentNoSign
code SetFormatSpecProportion
code SetFormatSpecSignificance
code SetFormatSpecResidual
code SetFormatSpecVariable int formatValue
code SetFormatSpecStdDev int formatValue
code SetFormatSpecDifference int formatValue
code SetFormatSpecSum int formatValue
# XPath, images, settings and the host
code CreateXPathDictionary text handle
code RemoveXPathHandle text handle
list EvaluateXPath text handle, text xpathText2, text xpathText3, error
wide GetXmlUtf16 text handle, error
int GetXmlUtf16Length
image GetImage text handle, text imageName, length* imageLength, text* imageText, error
void GetGraphic text filePath
text GetSetting text settingName, error, text? settingText2=None
list GetOMSTagList error
list GetHandleList error
list GetFileHandles error
text GetVEXALocale error
code GetCLocale text* locale
code GetHostAppNameAndVersion text* appName, text* appVersion
code GetHostAppCopyright text* copyright
code SetHostAppNameAndVersion text appName, text appVersion
code SetHostAppCopyright text copyright
int GetQuillonServerMode
void SetQuillonServerMode int mode
bool IsDistributedMode
code IsUseOrFilter int* useFilter
# Case cursor
code MakeCaseCursor text accessType
void IntializeCursorData text accessType
code NextCase
code GetNumericValue uint index, double* value, int* missing
code GetStringValue uint index, @char** value, int length, int* missing
code RemoveCaseCursor
code GetCursorPosition int* position
code HasCursor int* hasCursor
code ResetDataPass
code IsEndSplit int* isEnd > 67
# New variables and case commit
code SetVarNameAndType texts names, ints types, each numOfVar
code AllocNewVarsBuffer int count
code SetOneVarNameAndType text name, int type
code SetVarLabel text name, text label
code SetVarCValueLabel text name, text value, text label
code SetVarNValueLabel text name, double value, text label
code SetVarCMissingValues text name, int missingFormat, THREE_TEXTS
code SetVarNMissingValues text name, int missingFormat, THREE_NUMBERS
code SetVarMeasureLevel text name, int level
code SetVarAlignment text name, int alignment
code SetVarFormat text name, int type, int width, int decimals
code SetVarRole text name, int role
code CommitHeader
code SetValueNumeric text name, double value
code SetValueChar text name, bytes value, length
code CommitCaseRecord
code CommitNewCase
code CommitManyCases texts names, ints types, @void* data, count numOfVar, int dataLength, int caseCount
code EndChanges
code CommitDataSet
# Data steps
code StartDataStep
code EndDataStep
code CreateDataset text name, bool flag1, bool flag2
void IntiDataStepData text name
code SetDatasetName text name, text newName
code GetNewDatasetName room* name
code SetActive text name
code CopyDataset text source, text target
text GetActive error > 93
code GetVexaDatasets texts* names, count*
code GetOpenedVexaDatasets texts* names, count*
code GetDatastepDatasets texts* names, count*
code CloseDataset text name
int GetVarCountInDS text name, error
long GetCaseCountInDS text name, error
# Dictionary of a dataset of the step
code InsertVariable text name, int position, text varName, int type
code DeleteVariable text name, int var
code SetVarTypeInDS text name, int var, int type
code MoveVariables text name, ints vars, count, int target
text GetVarNameInDS text name, int var, error
text GetVarLabelInDS text name, int var, error
text GetVarFormatInDS text name, int var, error
text GetVarMeasurementLevelInDS text name, int var, error
int GetVarTypeInDS text name, int var, error
int GetVarAlignmentInDS text name, int var, error
int GetVarRoleInDS text name, int var, error
int GetVarColumnWidthInDS text name, int var, error
code SetVarNameInDS text name, int var, text value
code SetVarLabelInDS text name, int var, text value
code SetVarMeasurementLevelInDS text name, int var, text value
code SetVarAlignmentInDS text name, int var, int value
code SetVarColumnWidthInDS text name, int var, int value
code SetVarRoleInDS text name, int var, int value
code SetVarFormatInDS text name, int var, int type, int width, int decimals
code GetVarNMissingValuesInDS text name, int var, MISSING_NUMBERS
code GetVarCMissingValuesInDS text name, int var, MISSING_TEXTS
code SetVarNMissingValuesInDS text name, int var, int missingFormat, THREE_NUMBERS
code SetVarCMissingValuesInDS text name, int var, int missingFormat, THREE_TEXTS
code GetVarNValueLabelInDS text name, int var, numbers* values, texts* labels, count*
code GetVarCValueLabelInDS text name, int var, texts* values, texts* labels, count*
code SetVarNValueLabelInDS text name, int var, text label, double value
code SetVarCValueLabelInDS text name, int var, text value, text label
code DelVarValueLabelInDS text name, int var
code DelVarNValueLabelInDS text name, int var, double value
code DelVarCValueLabelInDS text name, int var, text value
code FreeDoubleArray @void* array, int count
code GetVarAttributesNameInDS text name, int var, texts* names, count*
code GetVarAttributesInDS text name, int var, text attrName, texts* values, count*
code SetVarAttributesInDS text name, int var, text attrName, texts values, count
code DelVarAttributesInDS text name, int var, text attrName
code SetDataFileAttributesInDS text name, text attrName, texts values, count
code GetDataFileAttributeNamesInDS text name, texts* names, count*
code GetDataFileAttributesInDS text name, text attrName, texts* values, count*
code DelDataFileAttributesInDS text name, text attrName
void SetMultiResponseSetInDS text name, text setName, text setText1, int setValue1, text setText2, texts members, count, error
list GetMultiResponseSetNamesInDS text name, error
void GetMultiResponseSetInDS text name, text setName, SET
code DelMultiResponseSetInDS text name, text setName
code SaveFileInDS @void* first, @void* second, int third
# Cells of the step's datasets
double GetNCellValue text name, long row, int column, int* missing, error
text GetCCellValue text name, long row, int column, int* missing, error
code SetNCellValue text name, long row, int column, double value
code SetCCellValue text name, long row, int column, text value
code InsertCase text name, long row
code DeleteCase text name, long row
void FetchDatastep text name, long row, int column, error
double GetNCellValueBatch text name, long row, int column, int* missing, error, @void* batch
own GetCCellValueBatch text name, long row, int column, int* missing, error, @void* batch
double GetNCellValueOptimize text name, long row, int column, int* missing, error
own GetCCellValueOptimize text name, long row, int column, int* missing, error
double GetNCellValueCache text name, long row, int column, int* missing, error
own GetCCellValueCache text name, long row, int column, int* missing, error
void ClearDatastepBatch
void GetRowList text name, long row, int column, long* first, long* last, long* third, error
void GetVarTypeInDSCache @int* types, int count, error
void GetCaseValue text name, int row, bool flag, int* size, error
code SetCaseValue text name, long row, bool flag, data data, length size
code SetCasePartValue text name, long row, ints vars, bool flag, count
double GetNCellValueFromCache text name, int var, int* missing, error
own GetCCellValueFromCache text name, int var, error
code SetNCellValueFromCache text name, int var, double value
code SetCCellValueFromCache text name, int var, text value
void GetVarInfo text name, ints* types, count*
int GetCaseLength text name, error
int GetVarObsIndex text name, int var, error
code SetCacheInDS text name, bool flag
# Bulk transport
code CreateSocket int* socket
code AcceptSocket
code TransportData text socket, text variables, bool getData
code SaveDataToTempFile text name, ints vars, count
code GetDataFromTempFile text name, int first, int second
long GetRowCountInTempFile error
numbers GetSplitEndIndex count*, error
numbers GetTrendsInfoInDS text name, count*, error
# Lists and texts that the caller gives back
int GetStringListLength @void* handle
text GetStringFromList @void* handle, int index
void RemoveStringList @void* handle
code FreeStringArray @void** array, int count
code FreeString @void* text
"""

_SHORTHANDS = {
    "DIMENSION": "TABLE, text dimText, int dimValue1, int dimValue2, bool dimFlag1, bool dimFlag2",
    "TABLE": "text tableText1, text tableText2, text tableText3, bool tableFlag",
    "MISSING_NUMBERS": "int* missingFormat, double* value1, double* value2, double* value3",
    "MISSING_TEXTS": "int* missingFormat, text8* value1, text8* value2, text8* value3",
    "THREE_NUMBERS": "double value1=0.0, double value2=0.0, double value3=0.0",
    "THREE_TEXTS": "text? value1=None, text? value2=None, text? value3=None",
    "SET": "text* setText1, int* setValue1, text* setText2, int* setValue2, list* members, error",
}


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


def _load():
    home = os.environ.get("VEXA_HOME")
    staged = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
    path = os.path.join(os.path.abspath(home or staged), "lib", "libvexaxd_p.so")
    if not os.path.exists(path):
        told = "VEXA_HOME must name the home of the backend's installation"
        raise ImportError(f"vexaxd: there is no {path}; {told}" + ("" if home else ", and it is not set"))
    try:
        loaded = ctypes.CDLL(path)
    except OSError as error:
        raise ImportError(f"vexaxd: {path} cannot be loaded: {error}") from error
    if not home:
        os.environ["VEXA_HOME"] = staged
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
# The words as C types; any other is one, or the address of one behind its "@".
_IN_C = {
    **dict.fromkeys(("code", "length", "count", "each"), "int"),
    **dict.fromkeys(("error", "count*", "length*", "ints", "numbers"), "int*"),
    **dict.fromkeys(("text", "text?", "bytes"), "const char*"),
    **dict.fromkeys(("own", "image", "text8*", "room*"), "char*"),
    **{"texts": "char**", "text*": "char**", "texts*": "char***", "numbers*": "double**", "ints*": "int**"},
    **{"list": "void*", "data": "void*", "list*": "void**", "wide": "const wchar_t*"},
    **{"uint": "unsigned int", "ulong": "unsigned long"},
    "check*": "int (*)(void*)",
    "conversion": "int (*)(const char* source, unsigned long sourceSize, "
    "char* destination, unsigned long destinationSize)",
}
_CTYPES = {
    **{"void": None, "bool": ctypes.c_bool, "int": ctypes.c_int, "unsigned int": ctypes.c_uint, "long": ctypes.c_long},
    **{"unsigned long": ctypes.c_ulong, "double": ctypes.c_double, "const char*": ctypes.c_char_p},
    "const wchar_t*": ctypes.c_wchar_p,
}  # any other is an address

# `arguments` are (word, name, default); `c_types` begin with the result's.
_Function = collections.namedtuple("_Function", "name part result arguments behind c_types")


def _read_table():
    part = ""
    for line in _TABLE.strip().split("\n"):
        if line.startswith("# "):
            part = line[2:]
            continue
        for shorthand, meaning in _SHORTHANDS.items():
            line = line.replace(shorthand, meaning)
        line, _, behind = line.partition(" > ")
        result, name, *rest = line.split(" ", 2)
        arguments = []
        for text in rest[0].split(", ") if rest else []:
            word, _, called = text.partition(" ")
            called, _, default = called.partition("=")
            arguments.append((word, called or {"error": "errCode"}.get(word, word.rstrip("*")), default))
        c_types = [_IN_C.get(word, word.lstrip("@")) for word in (result, *(word for word, _, _ in arguments))]
        yield _Function(name, part, result, arguments, behind.split(), c_types)


def _source(function):
    """The Python function of a line, in the namespace of this module."""
    parameters, rooms, passed, fields, releases, arrays, last = [], [], [], [], [], [], ""
    if value := _RESULTS.get(function.result, "result"):
        fields.append(("value", value))
    for word, name, default in function.arguments:
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
    for word in function.behind:
        if not word.isdigit():
            releases = [f"    library.{word}({', '.join(arrays)}, count)"]
    code = "result" if function.result == "code" else "errCode.value" if "ctypes.byref(errCode)" in passed else ""
    answered = [word for word in function.behind if word.isdigit()]
    answer, returned = ", ".join(value for _, value in fields), ", ".join(name for name, _ in fields)
    c_types = iter(function.c_types)
    declaration = f"{next(c_types)} {function.name}"
    declaration += f"({', '.join(f'{next(c_types)} {name}' for _, name, _ in function.arguments)})"
    lines = [
        f"def {function.name}({', '.join(parameters)}):",
        f'    """{function.part}: {declaration}' + (f'. Returns {returned}."""' if returned else '."""'),
        *rooms,
        f"    result = library.{function.name}({', '.join(passed)})",
        f"    if {code}{''.join(f' and {code} != {word}' for word in answered)}:" if code else "",
        f"        raise _error({function.name!r}, {code})" if code else "    if _raised: raise _raised.pop()",
        f"    answer = {f'_named({returned!r})({answer})' if len(fields) > 1 else answer or None}",
        *releases,
        "    return answer",
    ]
    return "\n".join(lines) + "\n\n"


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
        plain = getattr(library, function.name)
        plain.restype, *plain.argtypes = (_CTYPES.get(c_type, ctypes.c_void_p) for c_type in function.c_types)
        if function.name not in globals():
            sources.append(_source(function))
    exec(compile("".join(sources), "<the table of vexaxd.py>", "exec"), globals())


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
