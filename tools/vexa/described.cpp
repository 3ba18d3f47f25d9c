#include "described.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <utility>
#include <vector>

#include "DXCmdDispatcher.h"
#include "terminal.h"

namespace {

using Json = nlohmann::ordered_json;

// Eight digits that tell bytes apart: FNV-1a.
std::string Checksum(std::string_view bytes) {
  std::uint32_t sum = 2166136261;
  for (const char c : bytes) sum = (sum ^ static_cast<unsigned char>(c)) * 16777619;
  char text[9];
  std::snprintf(text, sizeof text, "%08x", sum);
  return text;
}

template <class Lists>
Json ListsOf(const Lists& lists) {
  Json values = Json::array();
  for (const auto& list : lists) values.push_back(list.Values());
  return values;
}

std::string Bytes(std::string_view bytes) {
  return "<" + std::to_string(bytes.size()) + " bytes, " + Checksum(bytes) + ">";
}

Json RecordsOf(StructData& data) {
  Json records = Json::array();
  for (const dataSet& record : data.Values())
    records.push_back({record.datasetName, record.caseIndex, record.varIndex, record.valueType,
                       record.numericValue, record.stringValue});
  return records;
}

// How long a binary string is, another slot tells in its own way: it is told by the frame around it.
Slots SlotsOf(CleXDSmb& block, std::string_view frame) {
  constexpr std::size_t kHead = 12;
  Slots slots = {{"longs", block.GetLongDataRef().Values()},
                 {"doubles", block.GetDoubleDataRef().Values()},
                 {"strings", block.GetStringDataRef().Values()},
                 {"structs", RecordsOf(block.GetStructDataRef())},
                 {"longArrays", ListsOf(block.GetLongArrayRef())},
                 {"doubleArrays", ListsOf(block.GetDoubleArrayRef())},
                 {"stringArrays", ListsOf(block.GetStringArrayRef())}};
  const auto add = [&](const char* slot, const std::string& what) { slots[slot] = Json::array({what}); };
  if (block.GetBinaryData() != nullptr) add("binary", Bytes(frame.substr(std::min(kHead, frame.size()))));
  if (const wchar_t* const wide = block.GetwStringData()) {
    const std::wstring_view text(wide);
    add("wide", Bytes({reinterpret_cast<const char*>(text.data()), text.size() * sizeof text[0]}));
  }
  int length = 0;
  if (const void* const data = block.GetVoidData(length))
    add("void", Bytes({static_cast<const char*>(data), static_cast<std::size_t>(length)}));
  delete[] block.GetBinaryData();  // nobody else's
  return slots;
}

// The element of a slot, or several: an index, which counts from the end where it is negative, "from N",
// "all", or "next", the one behind such a list. Null where there is none.
Json Element(const Json& list, const nlohmann::json& element, bool next_follows) {
  const int size = static_cast<int>(list.size());
  if (element.is_number()) {
    const int at = element.get<int>() < 0 ? size + element.get<int>() : element.get<int>();
    return at >= 0 && at < size ? list[static_cast<std::size_t>(at)] : Json();
  }
  const std::string word = element.get<std::string>();
  if (word == "next") return list.empty() ? Json() : list.back();
  if (word == "cell") return list;
  Json part = Json::array();
  const int from = word.starts_with("from ") ? std::stoi(word.substr(5)) : 0;
  for (int i = from; i < size - (next_follows ? 1 : 0); ++i)
    part.push_back(list[static_cast<std::size_t>(i)]);
  return part;
}

bool NextFollows(const nlohmann::json& described, const std::string& slot) {
  return std::any_of(described.begin(), described.end(), [&](const nlohmann::json& each) {
    return each["slot"] == slot && each["element"] == "next";
  });
}

// What is described, in its order; the slots that are not described at all behind it.
Json ValuesOf(Slots& slots, const nlohmann::json& described) {
  Json values = Json::array();
  std::vector<std::string> taken;
  for (const nlohmann::json& each : described) {
    const std::string slot = each["slot"];
    const Json value = Element(slots[slot], each["element"], NextFollows(described, slot));
    if (!value.is_null()) values.push_back(value);
    taken.push_back(slot);
  }
  for (const char* const slot : kSlotNames) {
    if (std::find(taken.begin(), taken.end(), slot) != taken.end()) continue;
    for (const Json& value : slots[slot]) values.push_back(value);
  }
  return values;
}

// Of the interface's own list of actions: several belong to no function alone.
std::string ActionName(int action) {
  static const std::map<int, const char*> names = {
#include "action_names.inc"
  };
  const auto found = names.find(action);
  return found != names.end() ? found->second : "action " + std::to_string(action);
}

const char* CommandName(int key) {
  switch (static_cast<DXCmdDispatcher::CmdKey>(key)) {
    case DXCmdDispatcher::kStopDX:
      return "kStopDX";
    case DXCmdDispatcher::kSetupDXRun:
      return "kSetupDXRun";
    case DXCmdDispatcher::kExitDxRun:
      return "kExitDxRun";
    case DXCmdDispatcher::kRunDX:
      return "kRunDX";
    case DXCmdDispatcher::kTestCmd:
      return "kTestCmd";
  }
  return "command";
}

std::string StateOf(const Exchange& exchange) {
  if (exchange.reply == nullptr) return exchange.request->code != 0 ? "broke off" : "no reply";
  for (const RecordedFrame* frame : {exchange.request, exchange.reply}) {
    if (frame != nullptr && frame->code != 0) return "broke off";
  }
  return "";
}

constexpr std::size_t kMostText = 60, kMostList = 6;

std::string Dumped(const Json& value) { return value.dump(-1, ' ', false, Json::error_handler_t::replace); }

std::string WrittenValue(const Json& value, Form form) {
  const auto check = [&](const std::string& whole) {
    return form == Form::Checked ? " #" + Checksum(whole) : std::string();
  };
  if (value.is_array()) {
    const std::size_t shown = form == Form::Whole ? value.size() : std::min(value.size(), kMostList);
    std::string text;
    for (std::size_t i = 0; i < shown; ++i) text += (i == 0 ? "" : ", ") + WrittenValue(value[i], form);
    if (shown < value.size()) text += ", ... " + std::to_string(value.size()) + check(Dumped(value));
    return "[" + text + "]";
  }
  if (!value.is_string()) return Dumped(value);
  const std::string text = value;
  if (form == Form::Whole || text.size() <= kMostText) return Dumped(value);
  return Dumped(CutTo(text, kMostText)) + check(text);
}

}  // namespace

Description::Description(const std::string& file, Masks masked) : masks(std::move(masked)) {
  std::ifstream stream(file);
  const nlohmann::json described = nlohmann::json::parse(stream, nullptr, false);
  if (!described.is_object() || !described.contains("functions")) return;
  there = true;
  // A function of that action alone goes before those that ask for more.
  for (const std::size_t most : {std::size_t{1}, std::size_t{100}}) {
    for (const nlohmann::json& function : described["functions"]) {
      const nlohmann::json& asks = function["asks"];
      if (!asks.empty() && asks.size() <= most) functions.emplace(asks[0].get<int>(), function);
    }
  }
  // What NextCase asks for where the client holds a cursor.
  functions.emplace(
      static_cast<int>(CleXDSmb::CommandAction::NextCaseBlock),
      nlohmann::json::parse(R"({"name": "NextCaseBlock", "family": "Case cursor", "codes": [23, 67],
      "request": [{"name": "wanted", "slot": "longs", "element": 0}, {"name": "bytes", "slot": "longs", "element": 1}],
      "reply": [{"name": "cases", "slot": "longs", "element": 0}, {"name": "block", "slot": "void", "element": 0}]})"));
  // StopVexa asks twice whether it may before it does.
  for (const nlohmann::json& function : described["functions"]) {
    if (!function["asks"].empty() && function["request"].empty())
      functions.emplace(function["asks"].back().get<int>(), function);
  }
}

Told Description::Tell(const Exchange& exchange) const {
  CleXDSmb request, reply;
  const auto parse = [](const RecordedFrame* frame, CleXDSmb& block) {
    if (frame == nullptr) return Side();
    block.ParseFrame(frame->bytes.data(), frame->bytes.size());
    return Side{&block, frame->bytes};
  };
  Told told = Tell(exchange.kind, parse(exchange.request, request), parse(exchange.reply, reply));
  told.state = StateOf(exchange);
  told.code = exchange.reply == nullptr   ? exchange.request->code
              : exchange.reply->code != 0 ? exchange.reply->code
                                          : reply.GetErrorCode();
  return told;
}

Told Description::Tell(Exchange::Kind kind, CleXDSmb& request) const {
  return Tell(kind, Side{&request, {}}, Side());
}

Told Description::Tell(Exchange::Kind kind, Side request, Side reply) const {
  Told told;
  if (request.block != nullptr) told.asked = SlotsOf(*request.block, request.frame);
  if (reply.block != nullptr) told.answered = SlotsOf(*reply.block, reply.frame);
  const int action = static_cast<int>(request.block != nullptr ? request.block->GetCommandAction()
                                                               : CleXDSmb::CommandAction::None);
  const auto found = kind == Exchange::Kind::Call ? functions.find(action) : functions.end();
  const bool named = found != functions.end();
  if (request.block == nullptr) {
    told.name = "ready";
  } else if (kind == Exchange::Kind::Block) {
    told.name = "block";
  } else if (kind == Exchange::Kind::Command) {
    Json& longs = told.asked["longs"];
    told.name = CommandName(longs.empty() ? 0 : longs[0].get<int>());
    longs = Json::array();
  } else {
    told.name = named ? found->second["name"].get<std::string>() : ActionName(action);
  }
  masks.Apply(told.name, told.asked);
  masks.Apply(told.name, told.answered);
  const nlohmann::json none = nlohmann::json::array();
  told.arguments = ValuesOf(told.asked, named ? found->second["request"] : none);
  told.results = ValuesOf(told.answered, named ? found->second["reply"] : none);
  return told;
}

std::string Written(const Json& values, Form form) {
  std::string text;
  for (const Json& value : values) text += (text.empty() ? "" : ", ") + WrittenValue(value, form);
  return text;
}

std::string RequestLine(const Told& told, Form form) {
  return told.name + "(" + Written(told.arguments, form) + ")";
}

std::string Line(const Told& told, Form form) {
  const std::string line = RequestLine(told, form) + " -> ", results = Written(told.results, form);
  if (!told.state.empty())
    return line + told.state + (told.code != 0 ? ", " + std::to_string(told.code) : "");
  return line + results + (results.empty() ? "" : ", ") + std::to_string(told.code);
}
