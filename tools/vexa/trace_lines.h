// The calls of a record as lines of text and as objects, for what shows and compares them.
#ifndef TRACE_LINES_H
#define TRACE_LINES_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "described.h"
#include "exchanges.h"

struct Shown {
  Exchange exchange;  // points into the record
  Told told;
  double Microseconds() const { return static_cast<double>(exchange.end - exchange.start) / 1e3; }
};
// By session and start.
std::vector<Shown> ShownOf(const std::vector<RecordedFrame>& frames, const Description& description);

nlohmann::ordered_json ObjectOf(const Shown& shown);
std::string Dumped(const nlohmann::ordered_json& value);

// Without what is another machine's or another run's: times, processes, programs. What was asked meanwhile
// stands indented, and an empty line between two sessions.
struct StableLine {
  std::string text;
  const Shown* shown;  // of `all`; null for an empty line
};
std::vector<StableLine> StableLines(const std::vector<Shown>& all, Form form);

#endif
