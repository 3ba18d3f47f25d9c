// Messages in the words of the interface: the function that an action stands for, and the values that it
// carries, as share/vexaxd/functions.json describes them. What is not described comes behind it, as it lies.
#ifndef DESCRIBED_H
#define DESCRIBED_H

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "CleXDSmb.h"
#include "exchanges.h"
#include "masks.h"

struct Told {
  std::string name;
  Slots asked, answered;
  nlohmann::ordered_json arguments, results;  // lists of values, out of these
  std::int32_t code = 0;
  std::string state;  // "no reply", "broke off", "cut"; empty for an exchange that is whole
};

class Description {
 public:
  // Where there is no such file, actions go by their own names.
  explicit Description(const std::string& file, Masks masked = {});
  bool There() const { return there; }
  Told Tell(const Exchange& exchange) const;
  // A request that nobody has answered yet.
  Told Tell(Exchange::Kind kind, CleXDSmb& request) const;
  // As the file has them, by action.
  const std::map<int, nlohmann::json>& Functions() const { return functions; }

 private:
  // Either may be null; with their frames, as far as they were kept.
  struct Side {
    CleXDSmb* block = nullptr;
    std::string_view frame;
  };
  Told Tell(Exchange::Kind kind, Side request, Side reply) const;

  Masks masks;
  bool there = false;
  std::map<int, nlohmann::json> functions;  // by action
};

// How values stand in a line. What is cut in Checked has a checksum behind it: two lines are the same where
// their values are.
enum class Form { Cut, Checked, Whole };
std::string Written(const nlohmann::ordered_json& values, Form form = Form::Cut);
// `Name(arguments) -> results, code`: the state in the place of results that never came.
std::string Line(const Told& told, Form form = Form::Cut);
// `Name(arguments)` alone.
std::string RequestLine(const Told& told, Form form = Form::Cut);

#endif
