// What a backend serves is found out by asking: each number of the interface once, with arguments of the
// right types that name nothing.
#include <algorithm>

#include "prove.h"

namespace {

using nlohmann::json;

constexpr const char* kNothing = "vexa_prove_none";  // is the name of nothing

// A stop has a section of its own, the end of a level is a language's, and the last waits for somebody to
// come.
constexpr Action kUnasked[] = {Action::StopVexa, Action::StopReceiveXdApiThread, Action::AcceptSocket};
// Numbers that stand for nothing.
constexpr std::int32_t kUnknown[] = {3, 30000, -7};

Frame ArgumentsOf(const json& function) {
  Frame frame;
  for (const json& argument : function["request"]) {
    const std::string slot = argument["slot"];
    if (slot == "longs") frame.longs.push_back(argument["element"] == "next" ? 1 : 0);
    if (slot == "doubles") frame.doubles.push_back(0);
    if (slot == "strings") frame.strings.emplace_back(kNothing);
    if (slot == "longArrays") frame.long_lists.push_back({0});
    if (slot == "stringArrays") frame.string_lists.push_back({kNothing});
    if (slot == "void") frame.void_block.assign(8, '\0');
  }
  return frame;
}

// The array of elements behind a first one; how many a count of the reply promises, below 0 where none does.
std::string WhyOtherLength(const json& item, const Frame& reply, std::int32_t promised) {
  const std::string slot = item["slot"], element = item["element"];
  const std::size_t from = element.starts_with("from ") ? std::stoul(element.substr(5)) : 0;
  const std::size_t size = SlotSize(reply, slot);
  const auto name = [&] { return item["name"].get<std::string>() + " (" + slot + ")"; };
  if (size < from)
    return name() + " begins at " + std::to_string(from) + ", and there are " + std::to_string(size);
  if (promised >= 0 && static_cast<std::size_t>(promised) != size - from)
    return name() + " has " + std::to_string(size - from) + " elements, and their count says " +
           std::to_string(promised);
  return "";
}

bool ComesWithAnswer(const json& function, std::int32_t code) {
  return code == 0 || std::any_of(function["codes"].begin(), function["codes"].end(),
                                  [=](const json& known) { return known == code; });
}

std::string WhyNoRefusal(const Frame& reply) {
  Frame bare;
  bare.strings = reply.strings;
  if (SlotsOf(reply) == SlotsOf(bare) && reply.strings.size() <= 1) return "";
  return "a refusal carries a sentence at most, and this one " + SlotsOf(reply);
}

// Elements that nobody reads. A committed case may bring the next one, which no function gives.
std::string WhyMore(const json& function, const Frame& reply) {
  if (function["name"] == "CommitCaseRecord") return "";
  for (const char* const slot :
       {"longs", "doubles", "strings", "structs", "longArrays", "doubleArrays", "stringArrays"}) {
    std::size_t described = 0;
    for (const json& item : function["reply"]) {
      if (item["slot"] != slot) continue;
      const bool one = item["element"].is_number() && item["element"] >= 0;
      described = std::max(described, one ? item["element"].get<std::size_t>() + 1 : reply.longs.max_size());
    }
    if (SlotSize(reply, slot) > described)
      return "of its " + SlotsOf(reply) + " nobody reads more than " + std::to_string(described) + " " + slot;
  }
  return "";
}

// What a family's line says.
struct Family {
  std::string name;
  std::size_t asked = 0;
  std::vector<std::string> refused;
};

}  // namespace

std::string WhyOtherShape(const json& function, const Frame& reply) {
  if (!ComesWithAnswer(function, reply.code)) return WhyNoRefusal(reply);
  if (reply.code != 0) return "";
  std::int32_t promised = -1;
  for (const json& item : function["reply"]) {
    if (item["name"] == "count" && item["slot"] == "longs" && !reply.longs.empty())
      promised = std::max(reply.longs[0], 0);
  }
  for (const json& item : function["reply"]) {
    const std::string slot = item["slot"];
    if (slot == "binary" || slot == "wide" || slot == "void") continue;  // may be empty
    const std::size_t size = SlotSize(reply, slot);
    if (item["element"].is_number()) {
      const int at = item["element"];
      const std::size_t least = static_cast<std::size_t>(at < 0 ? -at : at + 1);
      if (size < least && !(slot == "stringArrays" && promised == 0))
        return item["name"].get<std::string>() + " is missing: it is " + slot + "[" + std::to_string(at) +
               "], and the reply has " + SlotsOf(reply);
    } else if (item["element"] != "cell") {
      std::string why = WhyOtherLength(item, reply, promised);
      if (!why.empty()) return why;
    }
  }
  return WhyMore(function, reply);
}

namespace {

bool IsAsked(int action) {
  return std::none_of(std::begin(kUnasked), std::end(kUnasked),
                      [=](Action unasked) { return static_cast<int>(unasked) == action; });
}

// The codes with which numbers are refused that stand for nothing.
std::set<std::int32_t> CodesOfUnknown(Trial& trial) {
  std::set<std::int32_t> codes;
  TriedSession session(trial);
  for (const std::int32_t number : kUnknown) {
    const Frame reply = session.Ask(static_cast<Action>(number));
    session.Check(reply.code != 0, "action " + std::to_string(number) + ", which there is not, is refused",
                  "it was answered with code 0");
    codes.insert(reply.code);
  }
  return codes;
}

void Tell(Trial& trial, const Family& family, std::int32_t code) {
  std::string names;
  for (const std::string& name : family.refused) names += (names.empty() ? "" : ", ") + name;
  const std::string with = " (code " + std::to_string(code) + ")";
  if (family.refused.size() == family.asked) return trial.report.Left(family.name, "not served" + with);
  trial.report.Good(family.name +
                    (family.refused.empty()
                         ? ": all " + std::to_string(family.asked) + " are served"
                         : ": " + std::to_string(family.asked - family.refused.size()) + " of " +
                               std::to_string(family.asked) + " are served, not " + names + with));
}

}  // namespace

void ProveServed(Trial& trial) {
  trial.report.Begin("requests");
  const std::set<std::int32_t> unknown = CodesOfUnknown(trial);
  std::vector<Family> families;
  auto session = std::make_unique<TriedSession>(trial);
  for (const auto& [action, function] : trial.described.Functions()) {
    if (!IsAsked(action) || trial.GivenUp()) continue;
    if (!session->Goes()) session = std::make_unique<TriedSession>(trial);
    const std::string name = function["family"];
    auto family =
        std::find_if(families.begin(), families.end(), [&](const Family& each) { return each.name == name; });
    if (family == families.end()) family = families.insert(families.end(), Family{name, 0, {}});
    const Frame reply = session->Ask(static_cast<Action>(action), ArgumentsOf(function));
    if (!session->Goes()) continue;
    ++family->asked;
    if (unknown.count(reply.code) == 0) continue;
    trial.refused.emplace(action, reply.code);
    family->refused.push_back(function["name"]);
  }
  for (const Family& family : families) {
    if (family.asked != 0) Tell(trial, family, *unknown.begin());
  }
}
