// vexa prove: what another side is held to.
#include "prove.h"

#include <algorithm>
#include <cctype>
#include <csignal>
#include <cstring>
#include <iostream>
#include <memory>

#include "PlugInDynamicLoadedLibrary.h"
#include "VexaDXConfigReader.h"
#include "command.h"
#include "dxglobals.h"
#include "exchanges.h"
#include "home.h"
#include "interrupts.h"
#include "prove_language.h"
#include "terminal.h"

namespace {

struct ProveOptions {
  BackendOptions backend;
  std::vector<std::string> command;
  std::string junit;
  double within = 5;
};

int ExitCode(const Report& report, const std::string& junit) {
  report.PrintSummary();
  if (!junit.empty()) report.WriteJunit(junit);
  return report.Faults() == 0 ? exit_codes::kGood : exit_codes::kFailed;
}

int ProveBackend(const ProveOptions& options) {
  std::signal(SIGPIPE, SIG_IGN);
  WatchSignals();
  const Home home = FindHome(options.backend.home);
  const Description described(home.path + "/share/vexaxd/functions.json");
  if (!described.There()) {
    std::cerr << "vexa: " << home.path << " (" << home.told
              << ") has no share/vexaxd/functions.json, which tells what is asked: name a home with --home\n";
    return exit_codes::kNoBackend;
  }
  Launch launch{options.command, home.path, OptionsText(options.backend), options.within};
  if (launch.command.empty()) launch.command = {home.path + "/bin/StartXD"};
  Report report;
  Trial trial{launch, described, report, {}, 0};
  ProveStart(trial);
  if (report.Faults() != 0) {
    ExitCode(report, options.junit);
    return exit_codes::kNoBackend;
  }
  for (void (*const prove)(Trial&) : {ProveServed, ProveDictionaries, ProveCases, ProveNewVariables,
                                      ProveDataStep, ProveOutput, ProveMalformed, ProveDeath, ProveStop}) {
    if (Interrupted()) return AskedToEnd() ? exit_codes::kEnded : exit_codes::kInterrupt;
    if (trial.GivenUp()) {
      report.Left("the rest", "the backend broke off " + std::to_string(trial.lost) + " times");
      break;
    }
    prove(trial);
  }
  return ExitCode(report, options.junit);
}

struct LanguageOptions {
  std::string home, library, language, blocks, junit;
  std::vector<std::string> entries;
  double within = 20;
  int steps = -1;
};

bool IsPath(const std::string& library) {
  return library.find('/') != std::string::npos || library.ends_with(".so");
}

// "libvexalua.so" is LUA's, as far as nobody says otherwise.
std::string LanguageOf(const std::string& path) {
  std::string name = path.substr(path.rfind('/') + 1);
  name.resize(std::min(name.find('.'), name.size()));
  for (char& c : name) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  for (const char* const front : {"LIB", "VEXA"}) {
    if (name.starts_with(front)) name.erase(0, std::strlen(front));
  }
  return name;
}

// False where a name is none of a language of that home.
bool Resolve(const LanguageOptions& options, TriedLanguage& language, const std::string& made_home) {
  language.within = options.within;
  language.home = FindHome(options.home).path;
  if (IsPath(options.library)) {
    language.library = options.library;
    language.name = options.language.empty() ? LanguageOf(options.library) : options.language;
    MakeHomeOf(language.home, language.name, options.library, options.entries, made_home);
    language.home = made_home;
  } else {
    language.name = options.library;
  }
  SetVEXAHOME(language.home.c_str());
  VexaDXConfigReader* const reader = VexaDXConfigReader::GetInstance();
  if (!reader->IsSupportLanguage(language.name)) {
    std::string names;
    for (const std::string& name : reader->GetSupportLanguage()) names += " " + name;
    std::cerr << "vexa: " << language.name << " is no language of " << reader->ConfigPath()
              << ", which has:" << names << '\n';
    return false;
  }
  const std::string name = reader->GetOptions(language.name)->GetXLibName();
  if (!name.empty() && language.library.empty())
    language.library = PlugInDecorateDynamicPathName(language.home + "/lib/" + name);
  if (!options.blocks.empty())
    language.blocks = ReadBlocks(options.blocks);
  else if (const auto known = BlocksOf(language.name, language.home))
    language.blocks = *known;
  return true;
}

int ProveLanguage(const LanguageOptions& options) {
  WatchSignals();
  TriedLanguage language;
  if (options.steps >= 0)  // ends without clearing up
    return Resolve(options, language, "") ? TakeSteps(language, options.steps) : exit_codes::kUsage;
  const PrivateDirectory directory;
  if (!Resolve(options, language, directory.File("home"))) return exit_codes::kUsage;
  Report report;
  if (language.library.empty()) {
    report.Begin("library");
    report.Left("its functions", language.name + " is a program, and has none");
  } else {
    std::vector<std::string> words = {"vexa", "prove", "language", language.name, "--home", language.home};
    if (!options.blocks.empty()) words.insert(words.end(), {"--blocks", options.blocks});
    ProveLibrary(language, words, report);
  }
  if (language.blocks.print.empty()) {
    report.Begin("blocks");
    report.Left("what blocks do",
                "no lines of " + language.name + " are known here: give them with --blocks");
  }
  if (report.Faults() == 0) ProveBlocks(language, report);
  return ExitCode(report, options.junit);
}

}  // namespace

TriedSession::TriedSession(Trial& trial)
    : of(trial), backend(std::make_unique<DrivenBackend>(trial.launch, directory.File(""))) {
  const std::string why = backend->Start();
  goes = why.empty();
  if (!goes) Break("a session starts", why);
}

void TriedSession::Break(const std::string& check, const std::string& why) {
  of.report.Fault(check, why, Shown());
  goes = false;
  ++of.lost;
}

std::string TriedSession::Shown() const { return ShownExchanges(*backend, of.described, 1); }

Heard TriedSession::AskBytes(const std::string& bytes) { return backend->AskBytes(bytes); }

Frame TriedSession::Ask(Action action, Frame arguments) {
  constexpr std::int32_t kNothing = -1;
  arguments.action = static_cast<std::int32_t>(action);
  Frame nothing;
  nothing.code = kNothing;
  if (!goes) return nothing;
  const auto known = of.described.Functions().find(arguments.action);
  const bool has_name = known != of.described.Functions().end();
  const std::string name =
      has_name ? known->second["name"].get<std::string>() : "action " + std::to_string(arguments.action);
  const Heard heard = backend->Ask(arguments);
  if (!heard.why.empty()) {
    Break(name + " is answered", heard.why);
    return nothing;
  }
  const std::string wrong = has_name ? WhyOtherShape(known->second, heard.frame) : "";
  if (!wrong.empty()) Check(false, name + " gives what is described", wrong);
  return heard.frame;
}

// What was told is not told again of the same session.
void TriedSession::Check(bool good, const std::string& check, const std::string& why) {
  if (goes && told.emplace(check, good).second) of.report.Check(good, check, why, good ? "" : Shown());
}

void TriedSession::Left(const std::string& check, const Frame& refusal) {
  if (goes) of.report.Left(check, "refused with " + CodeOf(refusal));
}

std::string ShownExchanges(const DrivenBackend& backend, const Description& described, std::size_t most) {
  constexpr std::size_t kWidth = 200;
  const std::vector<RecordedFrame>& said = backend.Said();
  const std::vector<Exchange> exchanges = ExchangesOf(said);
  std::string lines;
  for (std::size_t i = exchanges.size() - std::min(most, exchanges.size()); i < exchanges.size(); ++i)
    lines += CutTo(Line(described.Tell(exchanges[i])), kWidth) + "\n";
  return lines;
}

std::string CodeOf(const Frame& reply) {
  return "code " + std::to_string(reply.code) + (reply.strings.empty() ? "" : " (" + reply.strings[0] + ")");
}

void AddProve(CLI::App& program, int& exit_code) {
  const auto options = std::make_shared<ProveOptions>();
  CLI::App* const prove =
      program.add_subcommand("prove", "Holds a backend or a language to what it is held to");
  prove->require_subcommand(1);
  prove->footer(program.get_footer());
  CLI::App* const backend = prove->add_subcommand(
      "backend", "Drives a backend through start, all that it serves, broken requests, death and stop");
  backend
      ->add_option(
          "COMMAND", options->command,
          "The program and what stands in front of the driver's arguments; nothing: bin/StartXD of the home")
      ->type_name("");
  AddBackendOptions(*backend, options->backend);
  backend->add_option("--junit", options->junit, "Writes the report in JUnit's form, too")->type_name("FILE");
  backend->add_option("--within", options->within, "Seconds for each answer (5)")->type_name("N");
  backend->footer(
      "A line for each check: good; FAULT, with the exchange that shows it; left: not served, so not tried.\n"
      "It writes: give it data that may change.\n" +
      program.get_footer());
  backend->callback([options, &exit_code] { exit_code = ProveBackend(*options); });

  const auto language_options = std::make_shared<LanguageOptions>();
  LanguageOptions& of = *language_options;
  CLI::App* const language =
      prove->add_subcommand("language", "Calls the functions of a language, and runs blocks of it");
  language
      ->add_option("LIBRARY", of.library, "A language of the home's configuration, or the path of a library")
      ->required()
      ->type_name("");
  language->add_option("--home", of.home, "The home, instead of VEXA_HOME or vexa's own")->type_name("DIR");
  language->add_option("--language", of.language, "Of a path: the name of the language")->type_name("NAME");
  language->add_option("--set", of.entries, "Of a path: an entry of its section; may be given again")
      ->type_name("KEY=VALUE")
      ->allow_extra_args(false);
  language
      ->add_option("--blocks", of.blocks, "Its lines that print, fail, ...; known of those that come along")
      ->type_name("FILE");
  language->add_option("--junit", of.junit, "Writes the report in JUnit's form, too")->type_name("FILE");
  language->add_option("--within", of.within, "Seconds for each step (20)")->type_name("N");
  language->add_option("--steps", of.steps)->group("");
  language->footer(
      "A line for each check: good; FAULT, with what was expected; left: not there, so not tried.\n" +
      program.get_footer());
  language->callback([language_options, &exit_code] { exit_code = ProveLanguage(*language_options); });
}
