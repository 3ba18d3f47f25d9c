-- Runs the suite of interface/conformance through the Lua module:
--
--   VEXA_HOME=build/release/home LUA_CPATH="build/release/home/lib/lua/?.so;;" lua5.4 languages/lua/conformance.lua
local json = require "cjson"
local vexaxd = require "vexaxd"

local here = "interface/conformance"
local passed, failed, left_out = 0, 0, 0

-- Of a call's results what the suite compares: nothing, one value, or all.
local function outcome(name, arguments)
  local results = table.pack(pcall(vexaxd[name], table.unpack(arguments, 1, arguments.n)))
  if results[1] then return "->", results, results.n - 1 end
  if type(results[2]) ~= "table" then return "raised", { results[2] }, 0 end
  return "!", { results[2].fun == name and results[2].code }, 0
end

local function same(got, wanted)
  if wanted == "*" then return true end
  if wanted == json.null then return got == nil end
  if type(wanted) ~= "table" then
    return got == wanted or (type(got) == "string" and type(wanted) == "number" and #got == wanted)
  end
  if type(got) ~= "table" or #got ~= #wanted then return false end
  for i = 1, #wanted do
    if not same(got[i], wanted[i]) then return false end
  end
  return true
end

local function results_same(results, count, wanted)
  if count == 0 then return wanted == json.null end
  if count == 1 then return same(results[2], wanted) end
  return same({ table.unpack(results, 2, count + 1) }, wanted)
end

local function shell(command)
  local pipe = io.popen(command)
  local text = pipe:read("l")
  pipe:close()
  return text
end

local number, temp, data = 0, shell("mktemp -d"), shell("pwd") .. "/" .. here
for line in io.lines(here .. "/calls.txt") do
  number = number + 1
  line = line:gsub("{data}", data):gsub("{temp}", temp)
  local name, arguments, way, wanted = line:match("^(%w+) (%[.*%]) ([-!]>?) (.*)$")
  if line:match("^start") then
    vexaxd.start(line:sub(7))
  elseif line == "stop" then
    vexaxd.stop()
  elseif name and not vexaxd[name] then
    left_out = left_out + 1
  elseif name then
    local given = json.decode(arguments)
    given.n = #given
    for i = 1, given.n do
      if given[i] == json.null then given[i] = nil end
      local hex = type(given[i]) == "string" and given[i]:match("^hex:(.*)")
      if hex then given[i] = hex:gsub("..", function(byte) return string.char(tonumber(byte, 16)) end) end
    end
    local got, results, count = outcome(name, given)
    wanted = json.decode("[" .. wanted .. "]")[1]
    if got == way and ((way == "!" and results[1] == wanted) or (way == "->" and results_same(results, count, wanted))) then
      passed = passed + 1
    else
      failed = failed + 1
      print(("line %d: %s\n    gave %s %s"):format(number, line, got, json.encode({ table.unpack(results, 2, count + 1) })))
    end
  end
end
os.execute("rm -rf " .. temp)
print(("%d passed, %d failed, %d left out"):format(passed, failed, left_out))
os.exit(failed == 0)
