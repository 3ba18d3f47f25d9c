#include "words.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>

namespace {

constexpr std::string_view kBlanks = " \t";

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// Takes a quoted word whose first quote is at `position`; false when it is not closed.
bool TakeQuoted(std::string_view line, std::size_t& position, std::string& text) {
  for (++position; position < line.size(); ++position) {
    if (line[position] == '"') {
      ++position;
      if (position == line.size() || line[position] != '"') return true;
    }
    text += line[position];
  }
  return false;
}

}  // namespace

std::optional<std::vector<Word>> SplitWords(std::string_view line) {
  std::vector<Word> words;
  for (std::size_t position = 0;;) {
    position = line.find_first_not_of(kBlanks, position);
    if (position == std::string_view::npos) return words;
    Word& word = words.emplace_back();
    if (line[position] == '"') {
      word.quoted = true;
      if (!TakeQuoted(line, position, word.text)) return std::nullopt;
    } else {
      const std::size_t end = std::min(line.find_first_of(kBlanks, position), line.size());
      word.text = line.substr(position, end - position);
      position = end;
    }
  }
}

char* WriteNumber(double value, char* text) {
  const double size = std::abs(value);
  const bool plain = size == 0 || (size >= 1e-6 && size < 1e21);
  const auto form = plain ? std::chars_format::fixed : std::chars_format::scientific;
  return std::to_chars(text, text + kNumberBytes, value, form).ptr;
}

std::optional<double> ParseNumber(std::string_view text) {
  text = Trimmed(text);
  double plain = 0;
  const char* const behind = TakePlainNumber(text.data(), text.data() + text.size(), plain);
  if (behind != nullptr && behind == text.data() + text.size()) return plain;
  if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
  double value = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, failure] = std::from_chars(text.data(), end, value);
  // One that is nearer to zero than the smallest is zero; one beyond the largest stays none.
  if (failure == std::errc::result_out_of_range && stop == end) {
    value = std::strtod(std::string(text).c_str(), nullptr);
    return std::isfinite(value) ? std::optional(value) : std::nullopt;
  }
  // from_chars also reads "inf" and "nan": words, not numbers.
  if (failure != std::errc() || stop != end || !std::isfinite(value)) return std::nullopt;
  return value;
}

std::string_view Trimmed(std::string_view text) {
  const auto is_blank = [](char c) { return c == ' ' || c == '\t'; };
  if (!text.empty() && !is_blank(text.front()) && !is_blank(text.back())) return text;
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::string Folded(std::string_view name) {
  std::string folded(name);
  std::transform(folded.begin(), folded.end(), folded.begin(), Lower);
  return folded;
}

bool SameName(std::string_view first, std::string_view second) {
  return std::equal(first.begin(), first.end(), second.begin(), second.end(),
                    [](char a, char b) { return Lower(a) == Lower(b); });
}

std::string UpperCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
  return text;
}
