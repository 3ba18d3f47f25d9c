// vexa trace serve: a record in the place of a backend.
#include <filesystem>
#include <iostream>
#include <memory>
#include <stdexcept>

#include "backend.h"
#include "command.h"
#include "home.h"
#include "record.h"
#include "replay.h"
#include "replay_home.h"
#include "replay_server.h"
#include "trace_options.h"

namespace {

constexpr const char* kTells =
    "Runs PROGRAM with a home of its own, in which the backend answers what the record has. The k-th session "
    "that\n"
    "the program starts is the k-th of the record. A request that differs is told on standard error, with "
    "the slot,\n"
    "and is answered with code 2060; the replay goes on at the next request that the record has. Blocks that "
    "the\n"
    "backend handed to the program are handed to it again, other languages run with --languages alone.\n"
    "Not in a record, and so not replayed: files, sockets and output pages of the backend, how long it took, "
    "what\n"
    "it wrote to its standard output (but posted texts under -echo), and of a reply what is beyond 64 KiB.\n"
    "With --backend the words behind -- are those with which a bin/StartXD was called.\n"
    "Exit codes: PROGRAM's own; 2 no such record; 5 the program differed; 127 it cannot be started.";

struct Options : ServeOptions {
  std::string path, home, notes;
  std::vector<std::string> moved;  // where the home of the run stands, and where the real one does
  MaskOptions masks;
  bool backend = false;
};

std::string Absolute(const std::string& path) { return std::filesystem::absolute(path).string(); }

// The words that start a server of this run, up to those of StartXD.
std::vector<std::string> BackendWords(const Options& options, const std::string& notes,
                                      const std::string& real_home) {
  std::vector<std::string> words = {std::filesystem::read_symlink("/proc/self/exe").string(),
                                    "trace",
                                    "serve",
                                    Absolute(options.path),
                                    "--backend",
                                    "--notes",
                                    notes};
  if (options.any_order) words.emplace_back("--any-order");
  if (options.languages) words.emplace_back("--languages");
  if (options.masks.none) words.emplace_back("--no-masks");
  for (const std::string& rule : options.masks.rules) words.insert(words.end(), {"--mask", rule});
  // Its environment is made anew, and the program's temp directories are not in it.
  for (const char* const name : {"TMPDIR", "VEXADXTEMP"}) {
    if (const char* const value = std::getenv(name)) words.insert(words.end(), {"--temp", value});
  }
  const std::filesystem::path beside = std::filesystem::path(real_home).parent_path();
  words.insert(words.end(), {"--moved", notes, "--moved", beside.string(), "--"});
  return words;
}

int RunOn(const Options& options, std::size_t sessions) {
  const PrivateDirectory directory;
  const std::string& place = directory.Path();
  const std::string real = FindHome(options.home).path;
  UseHome(MakeReplayHome(place, real, BackendWords(options, place, real)));
  const int code = RunProgram(options.words);
  const ReplayNotes notes(place);
  const std::size_t turns = notes.AwaitTurns();
  if (code == kNotStarted && turns == 0) return code;
  if (turns < sessions)
    std::cerr << "vexa: the record has " << sessions << " sessions, and the program started " << turns
              << '\n';
  return turns < sessions || notes.Any() ? exit_codes::kDiffers : code;
}

// Throws std::runtime_error for what cannot be played.
Record PlayableRecord(const std::string& path, std::size_t& sessions) {
  Record record = ReadRecord(path);
  sessions = SessionsOf(ExchangesOf(record.frames)).size();
  if (sessions != 0) return record;
  throw std::runtime_error(path +
                           " has no start of a session: it takes what its driver or its backend recorded");
}

int Serve(Options options) {
  Masks masks;
  Record record;
  std::size_t sessions = 0;
  try {
    masks = MasksOf(options.masks);
    if (options.moved.size() == 2) masks.TakeFor(options.moved[0], options.moved[1]);
    record = PlayableRecord(options.path, sessions);
  } catch (const std::runtime_error& error) {
    std::cerr << "vexa: " << error.what() << '\n';
    return exit_codes::kUsage;
  }
  if (!options.backend) {
    for (const std::string& fault : record.faults) std::cerr << "vexa: " << fault << '\n';
    return RunOn(options, sessions);
  }
  const ReplayNotes notes(options.notes);
  if (!options.notes.empty()) options.session = notes.TakeTurn();
  return ServeRecord(record, DescriptionOf(options.home, masks), options, notes);
}

}  // namespace

void AddTraceServe(CLI::App& trace, int& exit_code) {
  const auto options = std::make_shared<Options>();
  CLI::App* const serve = trace.add_subcommand("serve", "Plays the backend's side of a record to a program");
  serve->add_option("RECORD", options->path, "The directory, or the file of the driver or of the backend")
      ->required()
      ->type_name("");
  serve->add_option("PROGRAM", options->words, "What is run, with its arguments, behind --")
      ->required()
      ->type_name("");
  serve->add_option("--home", options->home, "The home whose library and bindings the program uses")
      ->type_name("DIR");
  serve->add_flag("--any-order", options->any_order, "A request may come sooner, later, or again");
  serve->add_flag("--languages", options->languages, "Runs blocks that the record has in their languages");
  AddMaskOptions(*serve, options->masks);
  CLI::Option* const backend =
      serve->add_flag("--backend", options->backend, "Is the backend of the program that started it");
  serve->add_option("--session", options->session, "With --backend: the session of the record, from 1")
      ->type_name("N")
      ->needs(backend);
  serve->add_option("--notes", options->notes)->group("");
  serve->add_option("--moved", options->moved)->allow_extra_args(false)->group("");
  serve->add_option("--temp", options->masks.temp_directories)->allow_extra_args(false)->group("");
  serve->footer(kTells);
  serve->callback([options, &exit_code] {
    if (options->backend && options->words.size() != 4)
      throw CLI::ValidationError("--backend", "four words: the directory, the id, the language, the options");
    exit_code = Serve(*options);
  });
}
