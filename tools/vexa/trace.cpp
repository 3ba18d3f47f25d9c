// vexa trace: what is done with the record of a session.
#include <iostream>
#include <utility>

#include "command.h"
#include "home.h"
#include "trace_options.h"

void AddMaskOptions(CLI::App& command, MaskOptions& options) {
  command
      .add_option(
          "--mask", options.rules,
          "A value that may vary: FUNCTION, FUNCTION:SLOT, FUNCTION:SLOT[N], or /REGEX/ in any text; may be "
          "given again")
      ->type_name("RULE")
      ->allow_extra_args(false);
  command.add_flag("--no-masks", options.none,
                   "Without the usual masks: temp paths, addresses, times, numbers of sockets");
}

Masks MasksOf(const MaskOptions& options) {
  Masks masks = options.none ? Masks() : Masks::Usual(options.temp_directories);
  for (const std::string& rule : options.rules) masks.Add(rule);
  return masks;
}

Description DescriptionOf(const std::string& home, Masks masks) {
  Description described(FindHome(home).path + "/share/vexaxd/functions.json", std::move(masks));
  if (!described.There())
    std::cerr << "vexa: the home has no share/vexaxd/functions.json: functions go by their actions\n";
  return described;
}

void AddTrace(CLI::App& program, int& exit_code) {
  CLI::App* const trace =
      program.add_subcommand("trace", "Shows, plays and compares records of sessions (VEXA_RECORD)");
  trace->require_subcommand(1);
  trace->footer(program.get_footer());
  AddTraceShow(*trace, exit_code);
  AddTraceServe(*trace, exit_code);
  AddTraceDiff(*trace, exit_code);
}
