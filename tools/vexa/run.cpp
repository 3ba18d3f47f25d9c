// vexa run: the commands of a file or of standard input, one after the other, to the first that fails.
#include <cerrno>
#include <cstring>
#include <deque>
#include <fstream>
#include <iostream>
#include <memory>
#include <stdexcept>

#include "CleXDErrorCode.h"
#include "backend.h"
#include "interrupts.h"
#include "statements.h"

namespace {

struct RunOptions {
  BackendOptions backend;
  std::string file = "-";
  bool json = false, keep_going = false;
  std::size_t width = 0;
};

// The statements of a file or of a pipe. Those of a file are all known at the start.
class Source {
 public:
  Source(const std::string& path, bool reads_sql)
      : name(path == "-" ? "standard input" : path), reader(reads_sql) {
    if (path == "-") return;
    errno = 0;
    std::ifstream file(path);
    std::string line;
    while (std::getline(file, line)) {
      if (auto statement = reader.Take(line)) ready.push_back(std::move(*statement));
    }
    if (!file.eof()) throw std::runtime_error(path + ": " + std::strerror(errno != 0 ? errno : EIO));
    if (auto rest = reader.Rest()) ready.push_back(std::move(*rest));
    count = ready.size();
    from_pipe = false;
  }

  std::optional<Statement> Next() {
    if (from_pipe) return NextOfPipe();
    if (ready.empty()) return std::nullopt;
    Statement next = std::move(ready.front());
    ready.pop_front();
    ++taken;
    return next;
  }
  std::string Place(const Statement& statement) const { return name + ":" + std::to_string(statement.line); }
  // "[3/17] SAVE /TYPE=CSV"
  std::string Title(const Statement& statement) const {
    constexpr std::size_t kMost = 40;
    const std::string first = statement.text.substr(0, statement.text.find('\n')).substr(0, kMost);
    return from_pipe ? first : "[" + std::to_string(taken) + "/" + std::to_string(count) + "] " + first;
  }

 private:
  std::optional<Statement> NextOfPipe() {
    std::string line;
    while (!Interrupted() && std::getline(std::cin, line)) {
      if (auto statement = reader.Take(line)) return statement;
    }
    return Interrupted() ? std::nullopt : reader.Rest();
  }

  std::string name;
  StatementReader reader;
  std::deque<Statement> ready;
  std::size_t count = 0, taken = 0;
  bool from_pipe = true;
};

int RunAll(Source& source, Backend& backend, Presenter& shown, bool keep_going) {
  int worst = exit_codes::kGood;
  while (const auto statement = source.Next()) {
    const Backend::Task task(backend, source.Title(*statement));
    const int code = backend.Submit(statement->text, source.Place(*statement));
    if (code == 0) shown.Done(source.Place(*statement), task.Seconds());
    if (!std::cout) return exit_codes::kFailed;  // whoever read it is gone
    const int exit_code = Backend::ExitCode(code);
    if (exit_code == exit_codes::kGood) continue;
    worst = exit_code;
    if (!keep_going || exit_code != exit_codes::kFailed) break;
  }
  return worst != exit_codes::kGood || !Interrupted() ? worst
                                                      : Backend::ExitCode(CleXDErrorCode::kInterrupted);
}

int Run(const RunOptions& options) {
  Source source(options.file, options.backend.database.has_value());
  const auto shown = options.json ? MakeJsonPresenter() : MakeTextPresenter(options.width);
  WatchSignals();
  Backend backend(options.backend, *shown);
  int exit_code = backend.Start();
  if (exit_code != exit_codes::kGood) return exit_code;
  exit_code = RunAll(source, backend, *shown, options.keep_going);
  const int end_code = backend.Stop();
  return exit_code != exit_codes::kGood ? exit_code : end_code;
}

}  // namespace

void AddRun(CLI::App& program, int& exit_code) {
  const auto options = std::make_shared<RunOptions>();
  CLI::App* const command =
      program.add_subcommand("run", "Runs the commands of a file, or of standard input");
  command->add_option("FILE", options->file, "The commands; - or nothing: standard input")->type_name("");
  AddBackendOptions(*command, options->backend);
  command->add_flag("--keep-going", options->keep_going, "Goes on behind a command that failed");
  command->add_flag("--json", options->json, "What comes out as objects of JSON, one a line");
  command->add_option("--width", options->width, "Columns of a table, instead of the terminal's")
      ->type_name("N");
  command->footer(
      "Commands end with a period at the end of a line; a block of a language stands between\n"
      "LANGUAGE NAME. and END LANGUAGE.\n" +
      program.get_footer());
  command->callback([options, &exit_code] { exit_code = Run(*options); });
}
