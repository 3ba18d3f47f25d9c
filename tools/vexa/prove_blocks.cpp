// Blocks of the languages that are known here, and how a session runs them.
#include <cstdlib>
#include <fstream>
#include <map>
#include <stdexcept>

#include "backend.h"
#include "described.h"
#include "driven_backend.h"
#include "prove_language.h"
#include "vexaxd_p.h"

namespace {

// Keeps what comes out.
class Keeper : public Presenter {
 public:
  void Text(const std::string& words) override { text += words; }
  void Heading(int, const std::string&) override {}
  void Table(const TextTable&) override {}
  void Image(const std::string&, const std::string&) override {}
  void Note(const std::string& words) override { text += words; }
  void Plot(const std::string&, const std::string&) override {}
  void Failed(const Failure& failure) override { reason = failure.reason; }
  void Done(const std::string&, double) override {}

  std::string text, reason;
};

std::string Cut(const std::string& text) {
  constexpr std::size_t kMost = 200;
  return "\"" + (text.size() > kMost ? text.substr(0, kMost) + "..." : text) + "\"";
}

BackendOptions OptionsOf(const TriedLanguage& language) {
  BackendOptions options;
  options.home = language.home;
  return options;
}

class BlockTrial {
 public:
  BlockTrial(const TriedLanguage& tried, Report& to)
      : language(tried), report(to), session(OptionsOf(tried), keeper) {
    setenv("VEXA_RECORD", record.File("record").c_str(), 1);
  }

  void Prove() {
    if (!Begin()) return;
    Check("an empty block runs", "", "");
    const Blocks& blocks = language.blocks;
    if (!blocks.print.empty())
      Check("what it prints is in the output", With(blocks.print, "Grüße"), "Grüße\n");
    if (!blocks.print.empty()) ProveManyLines();
    if (!blocks.fail.empty()) ProveFailure();
    if (!blocks.kept.empty()) {
      Run(With(blocks.keep, "remembered"));
      Check("a name that a block sets is there in the next one", blocks.kept, "remembered\n");
    }
    if (!blocks.count.empty()) {
      int code = 0;
      const std::string wanted = "variables " + std::to_string(GetVariableCount(&code)) + "\n";
      Check("a call of the client interface gives what it gives here", blocks.count, wanted);
    }
    if (!blocks.nest.empty()) Check("a block submits a block", With(blocks.nest, "inner"), "inner\n");
    if (!blocks.print.empty())
      Check("and blocks still run behind it", With(blocks.print, "outer"), "outer\n");
    if (session.Stop() != exit_codes::kGood) report.Fault("the session stops", keeper.reason, Said());
    if (Begin() && !blocks.print.empty())
      Check("blocks run in a second session, too", With(blocks.print, "again"), "again\n");
    report.Check(session.Stop() == exit_codes::kGood, "the sessions stop", keeper.reason, Said());
  }

 private:
  bool Begin() {
    since = Seconds();
    const bool good = session.Start() == exit_codes::kGood;
    if (!good) report.Fault("a session with " + language.home + " starts", keeper.reason);
    return good;
  }

  int Run(const std::string& lines) {
    keeper.text.clear();
    keeper.reason.clear();
    since = Seconds();
    const Backend::Task task(session, "a block of " + language.name);
    const std::string end = lines.empty() || lines.ends_with('\n') ? "" : "\n";
    return session.Submit(
        "LANGUAGE " + language.name + ".\n" + language.blocks.first + lines + end + "END LANGUAGE.\n", "");
  }

  void Check(const std::string& check, const std::string& lines, const std::string& wanted) {
    const int code = Run(lines);
    if (code != 0) return report.Fault(check, keeper.reason, Said());
    report.Check(keeper.text.find(wanted) != std::string::npos, check,
                 "expected " + Cut(wanted) + " in the output, which is " + Cut(keeper.text), Said());
  }

  // One block of many lines, none of which is lost.
  void ProveManyLines() {
    constexpr int kLines = 500;
    std::string lines, wanted;
    for (int i = 0; i < kLines; ++i) {
      lines += With(language.blocks.print, "line" + std::to_string(i)) + "\n";
      wanted += "line" + std::to_string(i) + "\n";
    }
    const int code = Run(lines);
    report.Check(code == 0 && keeper.text.find(wanted) != std::string::npos,
                 "a block of " + std::to_string(kLines) + " lines runs whole, in order",
                 code != 0 ? keeper.reason : "the output is " + Cut(keeper.text), Said());
  }

  void ProveFailure() {
    constexpr const char* kWords = "mistaken";
    const char* const check = "a block that fails says so, with its reason";
    const int code = Run(With(language.blocks.fail, kWords));
    const bool told = (keeper.text + keeper.reason).find(kWords) != std::string::npos;
    if (language.blocks.tells_code && code == 0)
      report.Fault(check, "expected a code other than 0, and its code is 0", Said());
    else
      report.Check(told, check,
                   std::string("expected the words \"") + kWords + "\" in its output or reason, which are " +
                       Cut(keeper.text) + " and " + Cut(keeper.reason),
                   Said());
    if (!language.blocks.print.empty())
      Check("the next block runs", With(language.blocks.print, "unharmed"), "unharmed\n");
  }

  // All that was exchanged for the block, by all processes.
  std::string Said() const {
    constexpr std::size_t kMost = 12;
    const Description described(language.home + "/share/vexaxd/functions.json");
    std::string lines;
    try {
      Record all = ReadRecord(record.File("record"));
      std::erase_if(all.frames, [this](const RecordedFrame& frame) {
        return static_cast<double>(frame.time) / 1e9 < since;
      });
      std::size_t count = 0;
      for (const Exchange& exchange : ExchangesOf(all.frames)) {
        if (++count > kMost) break;
        std::string program = exchange.First().program;
        program.resize(12, ' ');
        lines += program + std::string(2 * exchange.depth, ' ') + Line(described.Tell(exchange)) + "\n";
      }
    } catch (const std::runtime_error&) {  // nothing was said yet
    }
    return lines;
  }

  const TriedLanguage& language;
  Report& report;
  PrivateDirectory record;
  Keeper keeper;
  Backend session;
  double since = 0;
};

}  // namespace

std::optional<Blocks> BlocksOf(const std::string& language, const std::string& home) {
  if (language == "PYTHON")
    return Blocks{"print('{}')",
                  "raise RuntimeError('{}')",
                  "kept = '{}'",
                  "print(kept)",
                  "import vexaxd\nprint('variables', vexaxd.GetVariableCount())",
                  "import vexaxd\nvexaxd.Submit('LANGUAGE PYTHON.\\nprint(\"{}\")\\nEND LANGUAGE.\\n')"};
  if (language == "LUA")
    return Blocks{"print('{}')",
                  "error('{}')",
                  "kept = '{}'",
                  "print(kept)",
                  "print('variables ' .. require('vexaxd').GetVariableCount())",
                  "require('vexaxd').Submit('LANGUAGE LUA.\\nprint(\"{}\")\\nEND LANGUAGE.\\n')"};
  // A block of R within one of R is refused: another command goes in its place.
  if (language == "R")
    return Blocks{"cat('{}\\n')",
                  "stop('{}')",
                  "kept <- '{}'",
                  "cat(kept); cat('\\n')",
                  "cat('variables', GetVariableCount()); cat('\\n')",
                  "Submit('* nothing.')\ncat('{}\\n')",
                  "",
                  false};
  if (language != "JAVAEXTENSION") return std::nullopt;
  const std::string trial = "com.kor.statistics.plugin.Trial /JARS=\"" + home + "/bin/vexajavaplugin.jar\"";
  return Blocks{"print {}",  "fail {}",
                "",          "",
                "count",     "submit LANGUAGE JAVAEXTENSION.\\n" + trial + "\\nprint {}\\nEND LANGUAGE.\\n",
                trial + "\n"};
}

Blocks ReadBlocks(const std::string& path) {
  Blocks blocks;
  const std::map<std::string, std::string*> kinds = {{"[print]", &blocks.print}, {"[fail]", &blocks.fail},
                                                     {"[keep]", &blocks.keep},   {"[kept]", &blocks.kept},
                                                     {"[count]", &blocks.count}, {"[nest]", &blocks.nest}};
  std::ifstream file(path);
  if (!file) throw std::runtime_error(path + " cannot be read");
  std::string* to = nullptr;
  for (std::string line; std::getline(file, line);) {
    const auto kind = kinds.find(line);
    if (kind != kinds.end())
      to = kind->second;
    else if (to == nullptr)
      throw std::runtime_error(path + " has lines ahead of the first of [print], [fail], ...");
    else
      to->append(line).append("\n");
  }
  return blocks;
}

std::string With(const std::string& block, const std::string& text) {
  std::string with = block;
  for (std::size_t at = 0; (at = with.find("{}", at)) != std::string::npos; at += text.size())
    with.replace(at, 2, text);
  return with;
}

void ProveBlocks(const TriedLanguage& language, Report& report) {
  report.Begin("blocks");
  BlockTrial(language, report).Prove();
}
