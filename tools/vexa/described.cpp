#include "described.h"

#include <algorithm>
#include <fstream>
#include <vector>

#include "CleXDSmb.h"
#include "DXCmdDispatcher.h"
#include "terminal.h"

namespace {

using Json = nlohmann::ordered_json;
using Slots = std::map<std::string, Json>;

template <class Lists>
Json ListsOf(const Lists& lists) {
  Json values = Json::array();
  for (const auto& list : lists) values.push_back(list.Values());
  return values;
}

Slots SlotsOf(CleXDSmb& block) {
  Slots slots = {{"longs", block.GetLongDataRef().Values()},
                 {"doubles", block.GetDoubleDataRef().Values()},
                 {"strings", block.GetStringDataRef().Values()},
                 {"longArrays", ListsOf(block.GetLongArrayRef())},
                 {"doubleArrays", ListsOf(block.GetDoubleArrayRef())},
                 {"stringArrays", ListsOf(block.GetStringArrayRef())}};
  const auto add = [&](const char* slot, const std::string& what) { slots[slot] = Json::array({what}); };
  if (block.GetStructDataRef().Size() != 0)
    add("structs", "<" + std::to_string(block.GetStructDataRef().Size()) + " records>");
  if (block.GetBinaryData() != nullptr) add("binary", "<bytes>");
  if (block.GetwStringData() != nullptr) add("wide", "<wide text>");
  int length = 0;
  if (block.GetVoidData(length) != nullptr) add("void", "<" + std::to_string(length) + " bytes>");
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
Json ValuesOf(CleXDSmb& block, const nlohmann::json& described) {
  Slots slots = SlotsOf(block);
  Json values = Json::array();
  std::vector<std::string> taken;
  for (const nlohmann::json& each : described) {
    const std::string slot = each["slot"];
    const Json value = Element(slots[slot], each["element"], NextFollows(described, slot));
    if (!value.is_null()) values.push_back(value);
    taken.push_back(slot);
  }
  for (const char* const slot : {"longs", "doubles", "strings", "structs", "longArrays", "doubleArrays",
                                 "stringArrays", "binary", "wide", "void"}) {
    if (std::find(taken.begin(), taken.end(), slot) != taken.end()) continue;
    for (const Json& value : slots[slot]) values.push_back(value);
  }
  return values;
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

std::string WrittenValue(const Json& value) {
  const auto dump = [](const Json& what) {
    return what.dump(-1, ' ', false, Json::error_handler_t::replace);
  };
  if (value.is_array()) {
    std::string text;
    for (std::size_t i = 0; i < std::min(value.size(), kMostList); ++i)
      text += (i == 0 ? "" : ", ") + WrittenValue(value[i]);
    return "[" + text + (value.size() > kMostList ? ", ... " + std::to_string(value.size()) : "") + "]";
  }
  if (!value.is_string()) return dump(value);
  const std::string text = value;
  return text.size() <= kMostText ? dump(value) : dump(CutTo(text, kMostText));
}

}  // namespace

Description::Description(const std::string& file) {
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
  // StopVexa asks twice whether it may before it does.
  for (const nlohmann::json& function : described["functions"]) {
    if (!function["asks"].empty() && function["request"].empty())
      functions.emplace(function["asks"].back().get<int>(), function);
  }
}

Told Description::Tell(const Exchange& exchange) const {
  CleXDSmb request, reply;
  const auto parse = [](const RecordedFrame* frame, CleXDSmb& block) {
    if (frame != nullptr) block.ParseFrame(frame->bytes.data(), frame->bytes.size());
  };
  parse(exchange.request, request);
  parse(exchange.reply, reply);
  const int action = static_cast<int>(request.GetCommandAction());
  const auto found = exchange.kind == Exchange::Kind::Call ? functions.find(action) : functions.end();
  const nlohmann::json none = nlohmann::json::array();
  Told told;
  if (exchange.request == nullptr) {
    told.name = "ready";
  } else if (exchange.kind == Exchange::Kind::Block) {
    told.name = "block";
  } else if (exchange.kind == Exchange::Kind::Command) {
    LongData& longs = request.GetLongDataRef();
    told.name = CommandName(longs.Empty() ? 0 : longs[0]);
    longs.CleanUp();
  } else {
    told.name = found != functions.end() ? found->second["name"].get<std::string>()
                                         : "action " + std::to_string(action);
  }
  told.arguments = ValuesOf(request, found != functions.end() ? found->second["request"] : none);
  told.results = ValuesOf(reply, found != functions.end() ? found->second["reply"] : none);
  told.state = StateOf(exchange);
  told.code = exchange.reply == nullptr   ? exchange.request->code
              : exchange.reply->code != 0 ? exchange.reply->code
                                          : reply.GetErrorCode();
  return told;
}

std::string Written(const Json& values) {
  std::string text;
  for (const Json& value : values) text += (text.empty() ? "" : ", ") + WrittenValue(value);
  return text;
}
