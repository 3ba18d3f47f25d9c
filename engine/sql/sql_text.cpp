#include "sql_text.h"

#include <algorithm>
#include <cctype>

namespace {

constexpr std::string_view kBlanks = " \t\r\n\f";

bool IsWord(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return std::isalnum(byte) != 0 || c == '_' || byte >= 0x80;
}

// Behind the quote that closes the one at `at`. A doubled one is part of the text, as is one behind a
// backslash where the text is an E'...'.
std::size_t BehindQuote(std::string_view text, std::size_t at, bool escapes) {
  const char quote = text[at++];
  for (; at < text.size(); ++at) {
    if (escapes && text[at] == '\\') {
      ++at;
    } else if (text[at] == quote) {
      if (at + 1 >= text.size() || text[at + 1] != quote) return at + 1;
      ++at;
    }
  }
  return text.size();
}

// Behind $tag$ ... $tag$; where there is none at this place, behind the dollar.
std::size_t BehindDollars(std::string_view text, std::size_t at) {
  std::size_t end = at + 1;
  while (end < text.size() && IsWord(text[end])) ++end;
  const bool begins_with_digit = end > at + 1 && std::isdigit(static_cast<unsigned char>(text[at + 1])) != 0;
  if (end >= text.size() || text[end] != '$' || begins_with_digit) return at + 1;
  const std::string_view tag = text.substr(at, end + 1 - at);
  const std::size_t closes = text.find(tag, end + 1);
  return closes == std::string_view::npos ? text.size() : closes + tag.size();
}

// Comments of this kind nest.
std::size_t BehindComment(std::string_view text, std::size_t at) {
  int depth = 0;
  for (; at < text.size(); ++at) {
    const std::string_view two = text.substr(at, 2);
    if (two == "/*") {
      ++depth;
      ++at;
    } else if (two == "*/") {
      ++at;
      if (--depth == 0) return at + 1;
    }
  }
  return text.size();
}

std::size_t BehindLine(std::string_view text, std::size_t at) {
  return std::min(text.find('\n', at), text.size() - 1) + 1;
}

// Behind what begins here: a quoted text, a comment, a word or a character.
std::size_t BehindToken(std::string_view text, std::size_t at) {
  const char c = text[at];
  const std::string_view two = text.substr(at, 2);
  if (two == "--") return BehindLine(text, at);
  if (two == "/*") return BehindComment(text, at);
  if ((c == 'e' || c == 'E') && two.size() == 2 && two[1] == '\'') return BehindQuote(text, at + 1, true);
  if (c == '\'' || c == '"') return BehindQuote(text, at, false);
  if (c == '$') return BehindDollars(text, at);
  if (!IsWord(c)) return at + 1;
  while (at < text.size() && (IsWord(text[at]) || text[at] == '$')) ++at;
  return at;
}

}  // namespace

std::size_t StatementEnd(std::string_view text) {
  std::size_t at = 0;
  while (at < text.size() && text[at] != ';') at = BehindToken(text, at);
  if (at >= text.size()) return text.size();
  const std::size_t next = text.find_first_not_of(" \t\r", at + 1);
  if (next == std::string_view::npos) return text.size();
  return text[next] == '\n' ? next + 1 : at + 1;
}

bool IsWhole(std::string_view text) {
  bool whole = false;
  for (std::size_t at = 0; at < text.size();) {
    const std::string_view two = text.substr(at, 2);
    if (kBlanks.find(text[at]) == std::string_view::npos && two != "--" && two != "/*")
      whole = text[at] == ';';
    at = BehindToken(text, at);
  }
  return whole;
}

std::string_view BareStatement(std::string_view text) {
  for (;;) {
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    if (text.starts_with("--")) {
      text.remove_prefix(BehindLine(text, 0));
    } else if (text.starts_with("/*")) {
      text.remove_prefix(BehindComment(text, 0));
    } else {
      break;
    }
  }
  return text.substr(0, text.find_last_not_of("; \t\r\n\f") + 1);
}

std::string FirstWord(std::string_view statement) {
  const auto end = std::find_if_not(statement.begin(), statement.end(), IsWord);
  std::string word(statement.begin(), end);
  for (char& c : word) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  return word;
}
