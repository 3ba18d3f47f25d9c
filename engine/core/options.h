// The options that every backend has: what a driver writes behind StartVexa's own options. Blank-separated,
// double quotes group.
//
//   -log "/home/ann/all requests.log" -echo -env TZ=Europe/Berlin
#ifndef OPTIONS_H
#define OPTIONS_H

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "backend.h"

struct Options {
  std::string log;                  // a file that gets a line for every request; empty for none
  std::string output;               // in front of ".txt" and ".html" of the output document; empty for none
  std::vector<std::string> faults;  // to order
  std::string stream;               // a file or fifo that gets the output as it comes; empty for none
  bool echo = false;                // what commands and blocks write goes to standard output as it comes
  std::vector<std::pair<std::string, std::string>> environment;  // for what the engine starts
};

// What is none of them is the backend's. Throws Refusal for an option that is unknown, lacks its value or
// comes twice.
Options ParseOptions(std::string_view text, Backend& backend);
// A file that an option names: given once, and not empty. Throws Refusal.
void SetFile(std::string& file, const std::string& option, const std::string& value);

#endif
