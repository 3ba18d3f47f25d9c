// Messages in the words of the interface: the function that an action stands for, and the values that it
// carries, as share/vexaxd/functions.json describes them. What is not described comes behind it, as it lies.
#ifndef DESCRIBED_H
#define DESCRIBED_H

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <string>

#include "exchanges.h"

struct Told {
  std::string name;
  nlohmann::ordered_json arguments, results;  // lists of values
  std::int32_t code = 0;
  std::string state;  // "no reply", "broke off", "cut"; empty for an exchange that is whole
};

class Description {
 public:
  // Actions go by their numbers where there is no such file.
  explicit Description(const std::string& file);
  bool There() const { return there; }
  Told Tell(const Exchange& exchange) const;

 private:
  bool there = false;
  std::map<int, nlohmann::json> functions;  // by action
};

// Values as a call has them, long texts and lists cut.
std::string Written(const nlohmann::ordered_json& values);

#endif
