// What the subcommands of `vexa` share: how they end, and the options of those that start a backend. A
// subcommand is one file; it adds itself to the program and leaves its exit code in `exit_code`.
#ifndef COMMAND_H
#define COMMAND_H

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

namespace exit_codes {
inline constexpr int kGood = 0;
inline constexpr int kFailed = 1;       // a command failed; doctor: something was found
inline constexpr int kUsage = 2;        // the words behind `vexa`
inline constexpr int kNoBackend = 3;    // it did not start
inline constexpr int kLost = 4;         // it went away
inline constexpr int kDiffers = 5;      // a program differed from the record that it ran on
inline constexpr int kInterrupt = 130;  // Ctrl-C; 143 for a request to end
inline constexpr int kEnded = 143;
}  // namespace exit_codes

// What is said of a backend on the command line.
struct BackendOptions {
  std::string home;  // empty: the one that OwnHome finds
  std::string data, output, log;
  std::optional<std::string> database;  // of a server, instead of data
  std::string table;
  std::vector<std::string> missing, environment;  // NAME=VALUE
  std::string more;                               // handed on as it is
};
void AddBackendOptions(CLI::App& command, BackendOptions& options);

void AddRun(CLI::App& program, int& exit_code);
void AddShell(CLI::App& program, int& exit_code);
void AddDoctor(CLI::App& program, int& exit_code);
void AddTrace(CLI::App& program, int& exit_code);
void AddProve(CLI::App& program, int& exit_code);

#endif
