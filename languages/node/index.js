// vexaxd: the client interface of libvexaxd_p for Node, over koffi: every function of vexaxd_p.h by its own name. Each is
// made from the description of the interface; README.md beside this file tells how arguments, results and errors look.
"use strict";
const fs = require("fs");
const os = require("os");
const path = require("path");
const koffi = require("koffi");

// --- The library ---

// That of the home in VEXA_HOME; without that, of the home that this package is staged in; else the one that is installed in
// the system, which finds its home itself.
function loadLibrary() {
  const staged = path.join(fs.realpathSync(__dirname), "../../..");
  const sharedOf = (home) => path.join(home, "lib/libvexaxd_p.so");
  const home = process.env.VEXA_HOME || (fs.existsSync(sharedOf(staged)) ? staged : null);
  const shared = home ? sharedOf(path.resolve(home)) : "libvexaxd_p.so.0";
  const told = "VEXA_HOME must name the home of the backend's installation";
  if (home && !fs.existsSync(shared)) throw new Error(`vexaxd: there is no ${shared}; ${told}`);
  try {
    if (home) process.env.VEXA_HOME = home; // the backend reads it, too
    return koffi.load(shared);
  } catch (error) {
    throw new Error(`vexaxd: ${shared} cannot be loaded: ${error.message}; where it is not installed, ${told}`);
  }
}

const library = loadLibrary();
const described = JSON.parse(fs.readFileSync(path.join(__dirname, "functions.json"), "utf8")).functions;

const VALUES = ["void", "bool", "int", "unsigned int", "long", "unsigned long", "double"];
const inC = (type) => (VALUES.includes(type) ? type : type === "char**" ? "char **" : "void *"); // an address else

// The functions as they are in C, by their names.
const plain = {};
for (const { name, c_type, arguments: list } of described) {
  plain[name] = library.func(name, inC(c_type), list.map((argument) => inC(argument.c_type)));
}

// --- Errors ---

class VexaError extends Error {
  constructor(called, code, text = told(plain.VexaLastError())) {
    super(text?.includes(`(${code})`) ? text : `${called} failed with code ${code}`);
    Object.assign(this, { name: new.target.name, function: called, code, text: this.message });
  }
}
class EndOfData extends VexaError {}
class NotRunning extends VexaError {}
class BackendGone extends VexaError {}

const CLASSES = { 17: NotRunning, 23: EndOfData, 67: EndOfData };
for (const code of [99103, 99104, 99107]) CLASSES[code] = BackendGone;

const thrown = []; // by a function of the caller's within a call: an exception cannot pass through C, and the call throws it

function refuse(called, code) {
  throwWhatWasThrown();
  if (code) throw new (CLASSES[code] ?? VexaError)(called, code);
}

function throwWhatWasThrown() {
  if (thrown.length) throw thrown.splice(0)[0];
}

// --- What goes in ---

function integer(least, most) {
  return (value) => {
    if (!Number.isInteger(value)) throw new TypeError("an integer expected");
    if (value < least || value > most) throw new RangeError(`${value} does not fit`);
    return value;
  };
}

function ofType(type) {
  return (value) => {
    if (typeof value !== type) throw new TypeError(`a ${type} expected`);
    return value;
  };
}

function bytes(value) {
  if (typeof value !== "string" && !ArrayBuffer.isView(value)) throw new TypeError("a string or bytes expected");
  return typeof value === "string" ? Buffer.from(value) : Buffer.from(value.buffer, value.byteOffset, value.byteLength);
}

const ended = (value) => Buffer.concat([bytes(value), Buffer.alloc(1)]);

function text(value) {
  if (bytes(value).includes(0)) throw new RangeError("a zero byte in a text, which would end there");
  return ended(value);
}

function several(check) {
  return (values) => {
    if (!Array.isArray(values)) throw new TypeError("an array expected");
    return values.map(check);
  };
}

const int = integer(-0x80000000, 0x7fffffff);
const ints = (values) => Int32Array.from(several(int)(values));
const texts = several((value) => {
  text(ofType("string")(value));
  return value;
});
const long = integer(Number.MIN_SAFE_INTEGER, Number.MAX_SAFE_INTEGER);

const GIVEN = {
  int,
  ints,
  long,
  text,
  texts,
  bytes: ended,
  data: bytes,
  uint: integer(0, 0xffffffff),
  double: ofType("number"),
  bool: ofType("boolean"),
  "text?": (value) => (value === null ? null : text(value)),
};

const LISTS = ["bytes", "data", "texts", "ints"];
const COUNTS = ["length", "count", "each"]; // of the list in front of them

function count(word, list, before) {
  // The library ends the process when there are none.
  if (word === "each" && !(list > 0 && list === before)) throw new RangeError("one type for each name, and one name at least");
  return list;
}

function handIn(called, { word, name }, value) {
  try {
    return word.startsWith("@") ? value : GIVEN[word](value);
  } catch (error) {
    error.message = `${called}: ${name}: ${error.message}`;
    throw error;
  }
}

// --- What comes out ---

const told = (address) => (address ? koffi.decode.string(address) : null);
const upToZero = (room) => room.toString("utf8", 0, room.includes(0) ? room.indexOf(0) : room.length);
const array = (type, address, count) => (address && count > 0 ? Array.from(koffi.decode(address, type, count)) : []);

function given(address, value) {
  plain.FreeString(address);
  return value;
}

const own = (address) => given(address, told(address));

function takeList(handle) {
  const count = plain.GetStringListLength(handle);
  const list = Array.from({ length: count }, (_, i) => told(plain.GetStringFromList(handle, i)));
  plain.RemoveStringList(handle);
  return list;
}

// What a function returns; `rooms` are those of its arguments, by their names.
const RESULTS = {
  int: (value) => value,
  long: Number,
  double: (value) => value,
  bool: (value) => value,
  text: told,
  own,
  wide: (address) => (address ? koffi.decode.wstring(address) : null),
  image: (address, rooms) => given(address, address && Buffer.from(array("uint8_t", address, rooms.imageLength[0]))),
  numbers: (address, rooms) => given(address, array("int", address, rooms.count[0])),
  list: takeList,
};

const address = () => new BigUint64Array(1);
const one = () => new Int32Array(1);
// The room for it, the value made of it, and what releases its array.
const TAKEN = {
  error: { room: one },
  "count*": { room: one },
  "length*": { room: one },
  "int*": { room: one, value: ([value]) => value },
  "long*": { room: () => new BigInt64Array(1), value: ([value]) => Number(value) },
  "double*": { room: () => new Float64Array(1), value: ([value]) => value },
  "text8*": { room: () => Buffer.alloc(8), value: upToZero },
  "room*": { room: () => Buffer.alloc(32768), value: upToZero },
  "text*": { room: address, value: ([text]) => own(text || null) },
  "list*": { room: address, value: ([handle]) => takeList(handle) },
  "texts*": { room: address, value: ([start], count) => array("str", start, count), release: "FreeStringArray" },
  "numbers*": { room: address, value: ([start], count) => array("double", start, count), release: "FreeDoubleArray" },
  "ints*": { room: address, value: ([start], count) => array("int", start, count), release: "FreeString" },
};

function release({ released_by, arguments: list }, rooms) {
  const arrays = list.filter(({ word }) => TAKEN[word]?.release);
  const starts = arrays.map(({ name }) => rooms[name][0] || null);
  if (released_by) plain[released_by](...starts, rooms.count[0]);
  else arrays.forEach(({ word }, i) => plain[TAKEN[word].release](starts[i], ...(word === "ints*" ? [] : [rooms.count[0]])));
}

// --- The functions ---

// Outside a session they have answers of their own, or are meant for it; any other that asks the backend would wait there.
const OUTSIDE = ["IsBackendReady", "IsXDriven", "StopVexa", "RecordBrowserOutput"];

function requireSession(called) {
  // The library itself looks, and sends nothing.
  if (plain.FreeStringArray(null, 0) === 17) throw new NotRunning(called, 17, `${called}: no backend is running (17)`);
}

const defaultOf = ({ default: said }) => (said === null ? undefined : said === "None" ? null : JSON.parse(said));

// The arguments for C; the rooms of what comes out go into `rooms`.
function passedOf({ name: called, arguments: list }, parameters, values, rooms) {
  if (values.length > parameters.length) throw new TypeError(`${called} takes ${parameters.length} arguments`);
  let [last, before] = [0, 0];
  return list.map((argument) => {
    const { word, name } = argument;
    if (TAKEN[word]) return (rooms[name] = TAKEN[word].room());
    if (COUNTS.includes(word)) return count(word, last, before);
    const value = values[parameters.indexOf(argument)];
    const passed = handIn(called, argument, value === undefined ? defaultOf(argument) : value);
    if (LISTS.includes(word)) [last, before] = [passed.length - (word === "bytes"), last];
    return passed;
  });
}

function functionOf(description) {
  const { name: called, result, codes, arguments: list } = description;
  const parameters = list.filter(({ word }) => !TAKEN[word] && !COUNTS.includes(word));
  const outputs = list.filter(({ word }) => TAKEN[word]?.value);
  const waits = description.asks.length && !description.guarded && !OUTSIDE.includes(called);
  const call = (...values) => {
    const rooms = {};
    const passed = passedOf(description, parameters, values, rooms);
    if (waits) requireSession(called);
    const returned = plain[called](...passed);
    const code = result === "code" ? returned : rooms.errCode?.[0] ?? 0;
    refuse(called, codes.includes(code) ? 0 : code);
    const fields = RESULTS[result] ? [["value", RESULTS[result](returned, rooms)]] : [];
    for (const { word, name } of outputs) fields.push([name, TAKEN[word].value(rooms[name], rooms.count?.[0])]);
    release(description, rooms);
    return fields.length > 1 ? Object.fromEntries(fields) : fields[0]?.[1];
  };
  return Object.defineProperty(call, "name", { value: called });
}

// --- Functions that need more than their line says ---

const CHECK = koffi.pointer(koffi.proto("int VexaCheck(void *context)"));
const PROGRESS = koffi.pointer(koffi.proto("void VexaProgress(void *context, long done, long total)"));
const CONVERSION = koffi.pointer(
  koffi.proto("int VexaConversion(void *source, unsigned long size, void *destination, unsigned long room)"),
);
const registered = {}; // what the library may call, by the function that set it

function guarded(failed, body) {
  return (...values) => {
    try {
      return thrown.length ? failed : body(...values);
    } catch (error) {
      thrown.push(error);
      return failed;
    }
  };
}

function setCallback(setter, type, callback, failed, body) {
  if (callback !== null) ofType("function")(callback);
  const before = registered[setter];
  registered[setter] = callback && koffi.register(guarded(failed, body), type);
  plain[setter](registered[setter], null);
  if (before) koffi.unregister(before);
}

const written = {
  VexaSetInterruptCheck(check) {
    setCallback("VexaSetInterruptCheck", CHECK, check, 1, () => Number(Boolean(check())));
  },

  VexaSetProgress(progress) {
    setCallback("VexaSetProgress", PROGRESS, progress, undefined, (_, done, total) => {
      progress(Number(done), total < 0 ? null : Number(total));
    });
  },

  RecordBrowserOutput(recorded, convert = null) {
    recorded = text(recorded);
    const into = (source, size, destination, room) => {
      const converted = bytes(convert(Buffer.from(koffi.decode(source, "uint8_t", Number(size)))));
      const fitting = converted.subarray(0, Number(room) - 1);
      if (fitting.length) new Uint8Array(koffi.view(destination, fitting.length)).set(fitting);
      return 0;
    };
    const conversion = convert && koffi.register(guarded(0, into), CONVERSION);
    try {
      plain.RecordBrowserOutput(recorded, recorded.length - 1, conversion);
    } finally {
      if (conversion) koffi.unregister(conversion);
    }
    refuse("RecordBrowserOutput", 0);
  },

  GetStringValue(index) {
    // A text that fills its variable has no end of its own, and nothing is longer than 32767 bytes.
    const [room, missing] = [Buffer.alloc(32768), one()];
    const where = BigUint64Array.of(koffi.address(room));
    refuse("GetStringValue", plain.GetStringValue(GIVEN.uint(index), where, 32767, missing));
    return { value: upToZero(room), missing: missing[0] };
  },

  CommitManyCases(names, types, data, caseCount) {
    [names, types, data] = [texts(names), ints(types), bytes(data)];
    count("each", types.length, names.length);
    int(caseCount);
    const memory = koffi.alloc("uint8_t", data.length || 1); // the library's, from the call on
    new Uint8Array(koffi.view(memory, data.length || 1)).set(data);
    refuse("CommitManyCases", plain.CommitManyCases(names, types, memory, names.length, data.length, caseCount));
  },

  GetVarTypeInDSCache(count) {
    const [types, code] = [new Int32Array(integer(0, 0x7fffffff)(count)), one()];
    plain.GetVarTypeInDSCache(types, count, code);
    refuse("GetVarTypeInDSCache", code[0]);
    return Array.from(types);
  },

  SaveFileInDS() {
    throw new Error("SaveFileInDS is no longer served; the library would end the process");
  },
};

for (const description of described) exports[description.name] = written[description.name] ?? functionOf(description);
Object.assign(exports, { VexaError, EndOfData, NotRunning, BackendGone, library: plain });

// --- Beyond the header ---

const HANDED_ON = ["DISPLAY", "XAUTHORITY", "LANG", "LC_ALL", "TZ"];
const quoted = (word) => `"${word.replaceAll('"', '""')}"`;

// The directory for the fifos where the program names none: the user's own, and gone with the program.
function prepare() {
  process.env.VEXA_QUICK ??= "1";
  if (process.env.VEXADXTEMP !== undefined) return;
  const directory = fs.mkdtempSync(path.join(os.tmpdir(), "vexa_"));
  process.env.VEXADXTEMP = directory;
  process.on("exit", () => fs.rmSync(directory, { recursive: true, force: true }));
}

function start(options = "", { env, echo = Boolean(process.stdout.isTTY) } = {}) {
  prepare();
  const handedOn = { ...Object.fromEntries(HANDED_ON.map((name) => [name, process.env[name]])), ...env };
  const none = env && Object.keys(env).length === 0;
  for (const [name, value] of none ? [] : Object.entries(handedOn)) {
    if (value !== undefined && value !== null) options += ` -env ${quoted(`${name}=${value}`)}`;
  }
  try {
    exports.StartVexa(options + (echo ? " -echo" : ""));
  } catch (error) {
    exports.StopVexa();
    throw error;
  }
  process.prependListener("exit", stop); // ahead of what removes the fifos
}

function stop() {
  process.off("exit", stop);
  exports.StopVexa();
}

function session(options, settings, body = settings) {
  if (exports.IsBackendReady()) return body();
  start(options, body === settings ? {} : settings);
  let result;
  try {
    result = body();
    return result;
  } finally {
    if (typeof result?.then === "function") result.then(stop, stop);
    else stop();
  }
}

Object.assign(exports, { start, stop, session, read: require("./columns.js")(exports, throwWhatWasThrown) });
