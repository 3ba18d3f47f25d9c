// What the package for Node has beyond the suite of calls: sessions, columns, functions of the caller's, refusals.
//   VEXA_HOME=build/release/home NODE_PATH=build/release/home/lib/node:build/node-environment/node_modules node --test tests/node.js
"use strict";
const assert = require("node:assert");
const fs = require("node:fs");
const path = require("node:path");
const { test } = require("node:test");
const vexaxd = require("vexaxd");

const data = path.resolve(__dirname, "../interface/conformance/small.csv");
const timeout = 30000;

function inSession(name, body) {
  test(name, { timeout }, () => vexaxd.session(`-data ${data}`, { echo: false }, body));
}

test("a session gives what its body gives, and ends with it", { timeout }, async () => {
  assert.strictEqual(vexaxd.session("", () => vexaxd.GetRowCount()), 0);
  assert.throws(() => vexaxd.session("", () => { throw new RangeError("mine"); }), { message: "mine" });
  assert.throws(() => vexaxd.GetRowCount(), vexaxd.NotRunning);
  const promised = vexaxd.session("", async () => (await null, vexaxd.IsBackendReady()));
  assert.strictEqual(await promised, true);
  await null;
  assert.strictEqual(vexaxd.IsBackendReady(), false);
  assert.throws(() => vexaxd.start("-none"), { code: 2001, function: "StartVexa" });
  assert.deepStrictEqual(fs.readdirSync(process.env.VEXADXTEMP), []);
});

inSession("columns", () => {
  const all = vexaxd.read();
  assert.deepStrictEqual(Object.keys(all), ["Größe", "Name", "Gruppe"]);
  assert.deepStrictEqual(all.Größe, Float64Array.of(1.5, NaN, NaN, 1e300));
  assert.deepStrictEqual(vexaxd.read("Name"), { Name: ["Ärger", "", "日本語", "zwölf Boxkämpfer"] });
  assert.throws(() => vexaxd.read("none"), { code: 10 });
});

inSession("functions of the caller's, and what they throw", () => {
  const told = [];
  vexaxd.VexaSetProgress((...values) => told.push(values));
  vexaxd.read();
  assert.deepStrictEqual(told.at(-1), [4, 4]);
  vexaxd.VexaSetProgress(() => { throw new RangeError("mine"); });
  assert.throws(() => vexaxd.read(), { message: "mine" });
  vexaxd.VexaSetProgress(null);
  const waiting = "LANGUAGE PYTHON.\nimport time\ntime.sleep(0.5)\nEND LANGUAGE.\n"; // longer than two looks
  vexaxd.VexaSetInterruptCheck(() => true);
  assert.throws(() => vexaxd.Submit(waiting), { code: 99124 });
  vexaxd.VexaSetInterruptCheck(() => { throw new RangeError("mine"); });
  assert.throws(() => vexaxd.Submit(waiting), { message: "mine" });
  vexaxd.VexaSetInterruptCheck(null);
  assert.strictEqual(vexaxd.GetRowCount(), 4);
  const file = path.join(process.env.VEXADXTEMP, "record");
  vexaxd.SetRecordBrowserOutput(file, true);
  vexaxd.RecordBrowserOutput("Größe", (bytes) => bytes.toString().toUpperCase());
  vexaxd.SetRecordBrowserOutput("", false);
  assert.strictEqual(fs.readFileSync(file, "utf8"), "GRÖSSE");
  fs.unlinkSync(file);
});

inSession("what does not fit is refused before it is sent", () => {
  const refused = [
    [() => vexaxd.GetVariableName("0"), TypeError],
    [() => vexaxd.GetVariableName(), TypeError],
    [() => vexaxd.GetVariableName(0, 0), TypeError],
    [() => vexaxd.GetVariableName(2 ** 31), RangeError],
    [() => vexaxd.SetDatasetName("a\0b", "c"), RangeError],
    [() => vexaxd.SetVarNameAndType([], []), RangeError],
    [() => vexaxd.CommitManyCases(["a"], [0, 0], Buffer.alloc(8), 1), RangeError],
  ];
  for (const [call, kind] of refused) assert.throws(call, kind);
});

inSession("many cases at once", () => {
  vexaxd.StartDataStep();
  vexaxd.CreateDataset("many", false, false);
  [0, 8].forEach((type, at) => vexaxd.InsertVariable("many", at, "ab"[at], type));
  vexaxd.SetActive("many");
  vexaxd.EndDataStep();
  const units = Buffer.from("12345678text    ");
  units.writeDoubleLE(2.5);
  vexaxd.CommitManyCases(["a", "b"], [0, 8], units, 1);
  assert.deepStrictEqual(vexaxd.read(), { a: Float64Array.of(2.5), b: ["text"] });
});
