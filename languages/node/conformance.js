// Runs the suite of interface/conformance through this package, as scripts/conformance does.
"use strict";
const fs = require("fs");
const os = require("os");
const path = require("path");
const vexaxd = require("vexaxd");

const suite = path.resolve(__dirname, "../../interface/conformance");

// In the header's order.
const plain = (got) => (got && got.constructor === Object ? Object.values(got) : Buffer.isBuffer(got) ? got.length : got ?? null);

function same(got, wanted) {
  if (Array.isArray(got) && Array.isArray(wanted)) {
    return got.length === wanted.length && got.every((value, i) => same(plain(value), wanted[i]));
  }
  return wanted === "*" || got === wanted;
}

function outcome(name, values) {
  try {
    return ["->", plain(vexaxd[name](...values))];
  } catch (error) {
    if (!(error instanceof vexaxd.VexaError)) throw error;
    return ["!", error.function === name && error.text ? error.code : null];
  }
}

const counts = { passed: 0, failed: 0 };
const temp = fs.mkdtempSync(path.join(os.tmpdir(), "vexa_suite_"));
fs.readFileSync(path.join(suite, "calls.txt"), "utf8").split("\n").forEach((read, index) => {
  const line = read.replaceAll("{data}", suite).replaceAll("{temp}", temp);
  if (/^start\b/.test(line)) return vexaxd.start(line.slice("start".length).trim(), { echo: false });
  if (line === "stop") return vexaxd.stop();
  if (!line || line.startsWith("#")) return;
  const [, name, values, way, wanted] = /^(\w+) (\[.*\]) (->|!) (.*)$/.exec(line);
  const bytes = (_, value) => (/^hex:/.test(value) ? Buffer.from(value.slice("hex:".length), "hex") : value);
  const [gotWay, got] = outcome(name, JSON.parse(values, bytes));
  const good = gotWay === way && same(got, JSON.parse(wanted));
  counts[good ? "passed" : "failed"] += 1;
  if (!good) console.log(`line ${index + 1}: ${line}\n    gave ${gotWay} ${JSON.stringify(got)}`);
});
fs.rmSync(temp, { recursive: true });
console.log(`${counts.passed} passed, ${counts.failed} failed, 0 left out`);
process.exitCode = counts.failed ? 1 : 0;
