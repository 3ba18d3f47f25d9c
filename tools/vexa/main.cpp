// vexa: run, look, diagnose, trace, prove. Each subcommand is a file of its own.
#include <clocale>
#include <exception>
#include <iostream>

#include "command.h"
#include "vexaxd_p.h"

namespace {

constexpr const char* kCodes =
    "Exit codes: 0 good; 1 a command failed, or doctor or prove found something; 2 the words behind vexa are "
    "wrong;\n"
    "3 the backend did not start; 4 it went away; 130 given up by Ctrl-C; 143 asked to end.";

int Parse(CLI::App& program, int argc, char** argv, const int& exit_code) {
  try {
    program.parse(argc, argv);
    return exit_code;
  } catch (const CLI::ParseError& error) {
    return program.exit(error) == 0 ? exit_codes::kGood : exit_codes::kUsage;
  }
}

}  // namespace

void AddBackendOptions(CLI::App& command, BackendOptions& options) {
  const auto group = [&command](CLI::Option* option) { option->group("Backend")->configurable(false); };
  group(command.add_option("--home", options.home, "The backend's home, instead of VEXA_HOME or vexa's own")
            ->type_name("DIR"));
  group(command.add_option("--data", options.data, "The data, as CSV")->type_name("FILE"));
  group(
      command.add_option("--database", options.database, "A PostgreSQL database instead, as libpq names it")
          ->type_name("CONNECTION"));
  group(command.add_option("--table", options.table, "The table that is active at the start")
            ->type_name("NAME"));
  group(
      command.add_option("--output", options.output, "Writes the output document as PAGE.html and PAGE.txt")
          ->type_name("PAGE"));
  group(command.add_option("--log", options.log, "Writes a line for every request")->type_name("FILE"));
  group(command.add_option("--missing", options.missing, "A text of the data that counts as nothing")
            ->type_name("TEXT")
            ->allow_extra_args(false));
  group(command.add_option("--env", options.environment, "A variable for the languages")
            ->type_name("NAME=VALUE")
            ->allow_extra_args(false));
  group(command.add_option("--options", options.more, "More options, handed to the backend as they are")
            ->type_name("TEXT"));
}

int main(int argc, char** argv) {
  std::setlocale(LC_CTYPE, "C.UTF-8");
  CLI::App program("One command for people: runs commands on a backend, and looks why that does not work.",
                   "vexa");
  int exit_code = exit_codes::kGood;
  program.set_version_flag("--version", "vexa " VEXA_VERSION_TEXT);
  program.require_subcommand(1);
  program.footer(kCodes);
  AddRun(program, exit_code);
  AddShell(program, exit_code);
  AddDoctor(program, exit_code);
  AddTrace(program, exit_code);
  AddProve(program, exit_code);
  try {
    return Parse(program, argc, argv, exit_code);
  } catch (const std::exception& error) {
    std::cerr << "vexa: " << error.what() << '\n';
    return exit_codes::kFailed;
  }
}
