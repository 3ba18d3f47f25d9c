#include "block_lines.h"

#include <algorithm>

#include "words.h"

std::string_view TakeLine(std::string_view& text) {
  const std::size_t end = std::min(text.find('\n'), text.size());
  std::string_view line = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  if (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

std::string OpenedLanguage(std::string_view line) {
  const auto words = SplitWords(Trimmed(line));
  const bool opens = words && words->size() == 2 && SameName((*words)[0].text, "LANGUAGE") &&
                     (*words)[1].text.ends_with('.');
  return opens ? UpperCase((*words)[1].text.substr(0, (*words)[1].text.size() - 1)) : std::string();
}

bool EndsBlock(std::string_view line) { return SameName(Trimmed(line), "END LANGUAGE."); }
