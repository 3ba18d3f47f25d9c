const vexaxd = require("vexaxd");

vexaxd.session(`-data ${process.argv[2]}`, () => {
  const { Temp } = vexaxd.read("Temp");
  console.log(vexaxd.GetVariableCount(), Temp.length, Math.max(...Temp).toFixed(1));
});
