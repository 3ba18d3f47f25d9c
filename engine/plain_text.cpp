#include "plain_text.h"

#include <algorithm>
#include <charconv>

namespace {

constexpr char32_t kBad = 0xFFFFFFFF;
constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD

// Takes the character in front of `text`, as many bytes of it as `length` then says. kBad, with a length of
// 1, for what is no UTF-8: also an overlong form, a surrogate, a character beyond U+10FFFF.
char32_t FirstCharacter(std::string_view text, std::size_t& length) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  length = 1;
  if (byte(0) < 0x80) return byte(0);
  const std::size_t size = byte(0) >= 0xF0 ? 4 : byte(0) >= 0xE0 ? 3 : 2;
  if (byte(0) < 0xC2 || byte(0) > 0xF4 || text.size() < size) return kBad;
  char32_t character = byte(0) & (0x7Fu >> size);
  for (std::size_t i = 1; i < size; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return kBad;
    character = character << 6 | (byte(i) & 0x3F);
  }
  constexpr char32_t kLeast[] = {0x80, 0x800, 0x10000};
  const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
  if (character < kLeast[size - 2] || character > 0x10FFFF || surrogate) return kBad;
  length = size;
  return character;
}

bool IsXml(char32_t character) {
  if (character < 0x20) return character == '\t' || character == '\n' || character == '\r';
  return character != kBad && character != 0xFFFE && character != 0xFFFF;
}

// Commas between the thousands of the integer part.
void Group(std::string& digits) {
  std::size_t position = std::min(digits.find('.'), digits.size());
  const std::size_t first = digits.starts_with('-') ? 1 : 0;
  for (; position > first + 3; digits.insert(position, 1, ',')) position -= 3;
}

}  // namespace

bool IsUtf8(std::string_view text) {
  for (std::size_t length = 0; !text.empty(); text.remove_prefix(length)) {
    if (FirstCharacter(text, length) == kBad) return false;
  }
  return true;
}

std::string Cleaned(std::string_view text) {
  std::string cleaned;
  cleaned.reserve(text.size());
  for (std::size_t length = 0; !text.empty(); text.remove_prefix(length)) {
    const char32_t character = FirstCharacter(text, length);
    cleaned += IsXml(character) ? text.substr(0, length) : kReplacement;
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
