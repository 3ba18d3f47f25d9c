#include "statements.h"

#include <algorithm>
#include <utility>

#include "sql_text.h"

namespace {

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const std::size_t first = std::min(text.find_first_not_of(kBlanks), text.size());
  text.remove_prefix(first);
  return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

bool SameWord(std::string_view first, std::string_view second) {
  const auto upper = [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; };
  return std::equal(first.begin(), first.end(), second.begin(), second.end(),
                    [&](char a, char b) { return upper(a) == upper(b); });
}

// "LANGUAGE name."
bool OpensBlock(std::string_view line) {
  const std::size_t blank = std::min(line.find_first_of(" \t"), line.size());
  const std::string_view name = Trimmed(line.substr(blank));
  return SameWord(line.substr(0, blank), "LANGUAGE") && name.size() > 1 && name.ends_with('.') &&
         name.find_first_of(" \t") == std::string_view::npos;
}

}  // namespace

bool StatementReader::Ends() const {
  const std::string_view text = Trimmed(begun.text);
  if (in_block) return SameWord(Trimmed(text.substr(text.find_last_of('\n') + 1)), "END LANGUAGE.");
  return sql ? IsWhole(text) : text.ends_with('.');
}

std::optional<Statement> StatementReader::Take(std::string_view line) {
  ++lines;
  const std::string_view words = Trimmed(line);
  if (!Open()) {
    const bool starts_script = lines == 1 && line.starts_with("#!");
    if (words.empty() || starts_script) return std::nullopt;
    begun.line = lines;
    in_block = OpensBlock(words);
  }
  begun.text.append(line) += '\n';
  return Ends() ? Rest() : std::nullopt;
}

std::optional<Statement> StatementReader::Rest() {
  if (!Open()) return std::nullopt;
  in_block = false;
  return std::exchange(begun, {});
}

void StatementReader::Drop() {
  begun = {};
  in_block = false;
}
