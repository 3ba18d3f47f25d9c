// vexa shell: commands and blocks from a prompt, and a few words of the shell's own, which begin with "\".
#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>

#include "CleXDErrorCode.h"
#include "backend.h"
#include "dictionary_view.h"
#include "interrupts.h"
#include "prompt.h"
#include "statements.h"
#include "terminal.h"
#include "vexaxd_p.h"

namespace {

constexpr const char* kHelp =
    "A command ends with a period at the end of a line, a block of a language with END LANGUAGE.\n"
    "  \\d            the variables of the active dataset\n"
    "  \\d NAME       one of them, with labels and missing values\n"
    "  \\n            the first 1000 cases; q leaves the pager\n"
    "  \\n N NAME ... the first N, or all, of these variables\n"
    "  \\log          the last ten requests; \\log N: the last N\n"
    "  \\timing       tells how long commands take, or no longer\n"
    "  \\restart      ends the backend and starts it anew, with the data of the start\n"
    "  \\?            this\n"
    "  \\q            leaves, as does Ctrl-D\n"
    "Ctrl-C drops what is being typed, and gives up the wait for a command.\n";

// Through a pager where a person looks.
void Page(const std::string& text) {
  const bool paged = IsTerminal(STDOUT_FILENO) && IsTerminal(STDIN_FILENO);
  const char* const named = std::getenv("PAGER");
  const char* const pager = named != nullptr && *named != '\0' ? named : "less -FRSX";
  std::cout.flush();
  std::FILE* const pipe = paged ? popen(pager, "w") : nullptr;
  if (pipe == nullptr) {
    std::cout << text << std::flush;
    return;
  }
  std::fwrite(text.data(), 1, text.size(), pipe);
  pclose(pipe);
  TakeInterrupt();  // Ctrl-C was the pager's
}

std::string LastLines(const std::string& path, std::size_t count) {
  std::ifstream file(path);
  std::deque<std::string> lines;
  for (std::string line; std::getline(file, line);) {
    lines.push_back(Printable(line) + '\n');
    if (lines.size() > count) lines.pop_front();
  }
  std::string text;
  for (const std::string& line : lines) text += line;
  return text;
}

std::optional<std::size_t> CountIn(const std::string& word) {
  std::size_t count = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), count);
  if (word == "all") return static_cast<std::size_t>(-1);
  if (error != std::errc() || end != word.data() + word.size()) return std::nullopt;
  return count;
}

class Shell {
 public:
  Shell(Backend& with, Presenter& presenter) : backend(with), shown(presenter), reader(with.TakesSql()) {}

  int Run() {
    if (interactive) std::cout << "vexa " VEXA_VERSION_TEXT ". \\? tells what there is, \\q leaves.\n";
    while (!over) TakeLine();
    return exit_code;
  }

 private:
  void TakeLine() {
    std::string line;
    const char* const prompt = reader.Open() ? "  ... " : "vexa> ";
    const Prompt::End end = input.Ask(prompt, line);
    if (AskedToEnd() || end == Prompt::End::Input) return Leave();
    if (end == Prompt::End::Interrupt) {
      TakeInterrupt();
      return reader.Drop();
    }
    input.Remember(line);
    if (!reader.Open() && line.starts_with('\\')) return Obey(line);
    if (const auto statement = reader.Take(line)) Submit(*statement);
  }

  // What was begun and not ended still counts where it comes from a pipe.
  void Leave() {
    over = true;
    if (AskedToEnd()) {
      exit_code = exit_codes::kEnded;
    } else if (const auto rest = reader.Rest(); rest && !interactive) {
      Submit(*rest);
    }
  }

  void Submit(const Statement& statement) {
    const Backend::Task task(backend, statement.text.substr(0, statement.text.find('\n')));
    Keep(backend.Submit(statement.text, ""));
    TellTime(task);
  }

  // Of a person's mistakes the exit code tells nothing; of a script's it does.
  void Keep(int code) {
    if (code == CleXDErrorCode::kInterrupted) TakeInterrupt();
    const int means = Backend::ExitCode(code);
    if (means == exit_codes::kLost) shown.Failed({"", code, "the backend is gone; \\restart starts it anew"});
    if (!interactive && means != exit_codes::kGood) exit_code = means;
  }

  void Mistake(const std::string& reason) {
    shown.Failed({"", 0, reason});
    if (!interactive) exit_code = exit_codes::kFailed;
  }

  void TellTime(const Backend::Task& task) const {
    if (timing) std::printf("Time: %.3f ms\n", 1000 * task.Seconds());
    std::fflush(stdout);
  }

  void Obey(const std::string& line) {
    std::istringstream words(line);
    std::string word;
    words >> word;
    std::vector<std::string> rest;
    for (std::string argument; words >> argument;) rest.push_back(argument);
    const Backend::Task task(backend, word);
    try {
      Obey(word, rest);
    } catch (const CallFailed& failure) {
      shown.Failed(
          {"", failure.code, failure.code == CleXDErrorCode::kInterrupted ? "interrupted" : VexaLastError()});
      Keep(failure.code);
    }
    if (word == "\\d" || word == "\\n") TellTime(task);
  }

  void Obey(const std::string& word, std::vector<std::string>& arguments) {
    if (word == "\\q") {
      over = true;
    } else if (word == "\\?") {
      std::cout << kHelp;
    } else if (word == "\\d") {
      ShowDictionary(arguments);
    } else if (word == "\\n") {
      ShowCases(arguments);
    } else if (word == "\\timing") {
      timing = !timing;
      std::cout << "Timing is " << (timing ? "on.\n" : "off.\n");
    } else if (word == "\\log") {
      constexpr std::size_t kUsual = 10;
      std::cout << LastLines(backend.LogFile(),
                             arguments.empty() ? kUsual : CountIn(arguments[0]).value_or(kUsual));
    } else if (word == "\\restart") {
      backend.Stop();
      if (backend.Start() != exit_codes::kGood) TakeInterrupt();
    } else {
      Mistake(Printable(word) + " is nothing here; \\? tells what there is");
    }
    std::cout.flush();
  }

  void ShowDictionary(const std::vector<std::string>& names) {
    if (names.empty()) return Page(Drawn(Dictionary(), TerminalWidth()));
    for (const std::string& name : names) {
      const TextTable table = DescriptionOf(name);
      if (table.body.empty()) Mistake(Printable(name) + ": there is no such variable");
      std::cout << Drawn(table, TerminalWidth());
    }
  }

  void ShowCases(std::vector<std::string>& arguments) {
    constexpr std::size_t kUsual = 1000;
    const auto asked = arguments.empty() ? std::nullopt : CountIn(arguments.front());
    if (asked) arguments.erase(arguments.begin());
    std::string unknown;
    const TextTable table = Cases(asked.value_or(kUsual), arguments, unknown);
    if (!unknown.empty()) Mistake(Printable(unknown) + ": there is no such variable");
    const long all = CaseCount();
    std::string text = Drawn(table, TerminalWidth());
    if (all > static_cast<long>(table.body.size()) && !table.body.empty())
      text += std::to_string(table.body.size()) + " of " + std::to_string(all) + " cases\n";
    Page(text);
  }

  Backend& backend;
  Presenter& shown;
  Prompt input;
  StatementReader reader;
  bool interactive = IsTerminal(STDIN_FILENO) && IsTerminal(STDOUT_FILENO);
  bool over = false, timing = false;
  int exit_code = exit_codes::kGood;
};

int Run(BackendOptions options) {
  const auto shown = MakeTextPresenter(0);
  WatchSignals();
  Backend backend(options, *shown);
  backend.LogByDefault();
  int exit_code = backend.Start();
  if (exit_code != exit_codes::kGood) return exit_code;
  exit_code = Shell(backend, *shown).Run();
  const int end_code = backend.Stop();
  return exit_code != exit_codes::kGood ? exit_code : end_code;
}

}  // namespace

void AddShell(CLI::App& program, int& exit_code) {
  const auto options = std::make_shared<BackendOptions>();
  CLI::App* const command = program.add_subcommand("shell", "Takes commands from a prompt");
  AddBackendOptions(*command, *options);
  command->footer(std::string("At the prompt:\n") + kHelp +
                  "VEXA_HISTORY names the file of the history; empty: none.\n" + program.get_footer());
  command->callback([options, &exit_code] { exit_code = Run(*options); });
}
