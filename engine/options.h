// The engine's options: what a driver writes behind StartVexa's own options. Blank-separated, double quotes
// group.
//
//   -data "/home/ann/air quality.csv" -log /tmp/requests.log -echo -env TZ=Europe/Berlin
#ifndef OPTIONS_H
#define OPTIONS_H

#include <string>
#include <string_view>
#include <utility>
#include <vector>

struct Options {
  std::string data;                  // the CSV file; empty for an engine without data
  std::string log;                   // a file that gets a line for every request; empty for none
  std::string output;                // in front of ".txt" and ".html" of the output document; empty for none
  std::vector<std::string> missing;  // texts of the data that count as nothing
  std::vector<std::string> faults;   // to order
  std::string stream;                // a file or fifo that gets the output as it comes; empty for none
  bool echo = false;                 // what commands and blocks write goes to standard output as it comes
  std::vector<std::pair<std::string, std::string>> environment;  // for what the engine starts
};

// Throws Refusal for an option that is unknown, lacks its value or comes twice.
Options ParseOptions(std::string_view text);

#endif
