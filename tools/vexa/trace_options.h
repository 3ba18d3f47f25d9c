// What the subcommands of `vexa trace` share.
#ifndef TRACE_OPTIONS_H
#define TRACE_OPTIONS_H

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "described.h"

struct MaskOptions {
  std::vector<std::string> rules, temp_directories;
  bool none = false;
};
void AddMaskOptions(CLI::App& command, MaskOptions& options);
// Throws std::runtime_error for a rule that is none.
Masks MasksOf(const MaskOptions& options);
// The interface as the home has it; says so where that has no description.
Description DescriptionOf(const std::string& home, Masks masks = {});

void AddTraceShow(CLI::App& trace, int& exit_code);
void AddTraceServe(CLI::App& trace, int& exit_code);
void AddTraceDiff(CLI::App& trace, int& exit_code);

#endif
