// Cases as columns, for index.js: what VexaReadColumns gives is in the Arrow C stream interface, and copied out of it.
"use strict";
const koffi = require("koffi");

const ALL_ROWS = -1;
const LARGE_TEXTS = 8; // with offsets of 64 bits

module.exports = (vexaxd, throwWhatWasThrown) => {
  const address = "void *";
  const Schema = koffi.struct("ArrowSchema", {
    ...{ format: "str", name: "str", metadata: address, flags: "int64_t", n_children: "int64_t" },
    ...{ children: address, dictionary: address, release: address, private_data: address },
  });
  const Batch = koffi.struct("ArrowArray", {
    ...{ length: "int64_t", null_count: "int64_t", offset: "int64_t", n_buffers: "int64_t", n_children: "int64_t" },
    ...{ buffers: address, children: address, dictionary: address, release: address, private_data: address },
  });
  const Stream = koffi.struct("ArrowArrayStream", {
    ...{ get_schema: address, get_next: address, get_last_error: address, release: address, private_data: address },
  });
  const GetNext = koffi.proto("int VexaGetNext(void *stream, void *out)");
  const LastError = koffi.proto("str VexaStreamError(void *stream)");
  const Release = koffi.proto("void VexaRelease(void *released)");

  // What `fill` writes into a struct, for `body`, and released behind it.
  function within(type, fill, body) {
    const memory = koffi.alloc(type, 1);
    try {
      fill(memory);
      return body(koffi.decode(memory, type), memory);
    } finally {
      const { release } = koffi.decode(memory, type);
      if (release) koffi.call(release, Release, memory);
      koffi.free(memory);
    }
  }

  const children = ({ n_children, children }, type) =>
    Array.from({ length: Number(n_children) }, (_, i) => koffi.decode(koffi.decode(children, 8 * i, address), type));

  function valid(bits, row) {
    return !bits || (bits[row >> 3] >> (row & 7)) & 1;
  }

  function values(format, { length, offset, buffers }) {
    if (offset) throw new Error("a batch that begins within its memory");
    const rows = Number(length);
    const [mask, first, second] = [0, 8, 16].map((at) => koffi.decode(buffers, at, address));
    const bits = mask && koffi.decode(mask, "uint8_t", (rows + 7) >> 3);
    if (format === "g") {
      const numbers = rows ? Float64Array.from(koffi.decode(first, "double", rows)) : new Float64Array();
      return numbers.map((number, row) => (valid(bits, row) ? number : NaN));
    }
    const ends = rows ? Array.from(koffi.decode(first, "int64_t", rows + 1), Number) : [];
    const all = ends.at(-1) ? Buffer.from(koffi.decode(second, "uint8_t", ends.at(-1))) : Buffer.alloc(0);
    return Array.from({ length: rows }, (_, row) =>
      valid(bits, row) ? all.toString("utf8", ends[row], ends[row + 1]) : null,
    );
  }

  return function read(...names) {
    const list = names.length ? names : null;
    const open = (memory) => {
      const listed = list && koffi.as(list, "char **");
      vexaxd.VexaReadColumns(null, listed, names.length, ALL_ROWS, LARGE_TEXTS, memory);
    };
    return within(Stream, open, (stream, memory) => {
      const next = (getter) => (out) => {
        const code = koffi.call(getter, GetNext, memory, out);
        throwWhatWasThrown(); // by the functions for progress and interrupts
        if (code) throw new vexaxd.VexaError("read", code, `${koffi.call(stream.get_last_error, LastError, memory)} (${code})`);
      };
      return within(Schema, next(stream.get_schema), (schema) =>
        within(Batch, next(stream.get_next), (batch) => {
          const fields = children(schema, Schema);
          return Object.fromEntries(
            children(batch, Batch).map((column, i) => [fields[i].name, values(fields[i].format, column)]),
          );
        }),
      );
    });
  };
};
