#include "commands.h"

#include "block_lines.h"
#include "language_run.h"
#include "plot.h"
#include "reasons.h"
#include "words.h"

namespace {

// Where the language does not say why, what a block wrote last tells it as a rule.
int RunLines(Session& session, const std::string& language, std::vector<std::string> lines) {
  session.output.said_last.clear();
  session.backend.StartBlock(session);
  int code = 0;
  try {
    code = RunBlock(session, language, std::move(lines));
  } catch (...) {  // there was no memory or no thread for it
    session.backend.EndBlock(session, false);
    throw;
  }
  session.backend.EndBlock(session, code == 0);
  if (code == 0) return 0;
  const std::string known = TakeReason(code);
  std::string reason = language + ": " + (known.empty() ? MeaningOf(code) : known);
  if (known.empty() && !session.output.said_last.empty()) reason += "\n" + session.output.said_last;
  throw Refusal(code, reason);
}

// Takes the lines of a block and the one that closes it.
int RunLanguageBlock(Session& session, const std::string& language, std::string_view& text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const std::string_view line = TakeLine(text);
    if (EndsBlock(line)) return RunLines(session, language, std::move(lines));
    lines.emplace_back(line);
  }
  throw Refusal(engine_code::kBadCommand, "LANGUAGE " + language + ".: there is no line END LANGUAGE.");
}

}  // namespace

int RunCommands(Session& session, std::string_view text) {
  while (!text.empty()) {
    std::string_view behind_line = text;
    const std::string_view line = TakeLine(behind_line);
    if (IsPlot(line)) {
      text = behind_line;
      RunPlot(session, line);
      continue;
    }
    if (const std::string language = OpenedLanguage(line); !language.empty()) {
      text = behind_line;
      if (const int code = RunLanguageBlock(session, language, text)) return code;
      continue;
    }
    const std::size_t end = session.backend.CommandEnd(text);
    if (const int code = session.backend.Run(session, text.substr(0, end))) return code;
    text.remove_prefix(end);
  }
  return 0;
}
