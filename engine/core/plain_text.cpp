#include "plain_text.h"

#include <utf8cpp/utf8.h>

#include <algorithm>
#include <charconv>
#include <iterator>

#include "calendar.h"

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD

bool IsXml(char32_t character) {
  if (character < 0x20) return character == '\t' || character == '\n' || character == '\r';
  return character != 0xFFFE && character != 0xFFFF;
}

// Commas between the thousands of the integer part.
void Group(std::string& digits) {
  std::size_t position = std::min(digits.find('.'), digits.size());
  const std::size_t first = digits.starts_with('-') ? 1 : 0;
  for (; position > first + 3; digits.insert(position, 1, ',')) position -= 3;
}

}  // namespace

bool IsUtf8(std::string_view text) { return utf8::is_valid(text.begin(), text.end()); }

std::string Cleaned(std::string_view text) {
  std::string valid, cleaned;
  valid.reserve(text.size());
  utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(valid));
  cleaned.reserve(valid.size());
  for (auto at = valid.begin(); at != valid.end();) {
    const auto start = at;
    const bool is_xml = IsXml(utf8::unchecked::next(at));
    cleaned.append(is_xml ? std::string_view(start, at) : kReplacement);
  }
  return cleaned;
}

std::string ReasonText(std::string_view text) {
  constexpr std::size_t kMostBytes = 4096;
  std::string reason = Cleaned(text.substr(0, text.find_last_not_of(" \t\r\n") + 1));
  if (reason.size() <= kMostBytes) return reason;
  std::size_t end = kMostBytes;
  while ((reason[end] & 0xC0) == 0x80) --end;  // in front of a character, not within it
  return reason.substr(0, end);
}

std::size_t Width(std::string_view text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

std::string NumberText(double value, NumberStyle style) {
  if (UnitOf(value) == kSystemMissing) return ".";
  const int decimals_of_second = std::max(style.decimals, 0);
  std::string moment;
  if (style.type == FormatType::Date) moment = DateText(value);
  if (style.type == FormatType::DateTime) moment = DateTimeText(value, decimals_of_second);
  if (style.type == FormatType::Time) moment = TimeText(value, decimals_of_second);
  if (!moment.empty()) return moment;
  char digits[512];  // the largest double has 309 digits in front of its decimals
  char* const end = digits + sizeof digits;
  const auto form =
      style.type == FormatType::Scientific ? std::chars_format::scientific : std::chars_format::fixed;
  const auto written = style.decimals == NumberStyle::kShortest
                           ? std::to_chars(digits, end, value)
                           : std::to_chars(digits, end, value, form, style.decimals);
  std::string text(digits, written.ptr);
  if (style.type == FormatType::Comma || style.type == FormatType::Dollar) Group(text);
  if (style.type == FormatType::Dollar) text.insert(text.starts_with('-') ? 1u : 0u, 1, '$');
  if (style.type == FormatType::Percent) text += '%';
  return text;
}

std::string ValueText(const Variable& variable, double value) {
  for (const ValueLabel& entry : variable.value_labels) {
    if (entry.number == value) return entry.label;
  }
  return NumberText(value, {variable.format.type, variable.format.decimals});
}

std::string ValueText(const Variable& variable, std::string_view value) {
  const auto without_blanks = [](std::string_view text) {
    return text.substr(0, text.find_last_not_of(' ') + 1);
  };
  for (const ValueLabel& entry : variable.value_labels) {
    if (without_blanks(entry.text) == without_blanks(value)) return entry.label;
  }
  return std::string(without_blanks(value));
}
