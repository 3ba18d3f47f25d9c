#include "column_form.h"

#include <charconv>
#include <string>

#include "column_refusal.h"
#include "vexaxd_columns.h"

namespace {

struct Number {
  std::size_t bytes;
  ColumnForm::Kind kind;
  char letter;
  bool is_signed;
};
constexpr Number kNumbers[] = {
    {0, ColumnForm::Kind::kNull, 'n', true},    {0, ColumnForm::Kind::kBoolean, 'b', false},
    {1, ColumnForm::Kind::kInteger, 'c', true}, {1, ColumnForm::Kind::kInteger, 'C', false},
    {2, ColumnForm::Kind::kInteger, 's', true}, {2, ColumnForm::Kind::kInteger, 'S', false},
    {4, ColumnForm::Kind::kInteger, 'i', true}, {4, ColumnForm::Kind::kInteger, 'I', false},
    {8, ColumnForm::Kind::kInteger, 'l', true}, {8, ColumnForm::Kind::kInteger, 'L', false},
    {2, ColumnForm::Kind::kFloat, 'e', true},   {4, ColumnForm::Kind::kFloat, 'f', true},
    {8, ColumnForm::Kind::kFloat, 'g', true},
};

constexpr std::int64_t kSecondsOfDay = 86400;
constexpr std::size_t kDecimalBytes = 16;

std::int64_t UnitsPerSecond(char unit) {
  switch (unit) {
    case 's':
      return 1;
    case 'm':
      return 1000;
    case 'u':
      return 1000000;
    case 'n':
      return 1000000000;
    default:
      return 0;
  }
}

template <class Value>
bool ReadWhole(std::string_view text, Value& value) {
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && stop == text.data() + text.size();
}

}  // namespace

// "d:precision,scale", with the width in bits behind it unless that is 128.
bool ColumnForm::ReadDecimal(std::string_view numbers) {
  const std::size_t comma = numbers.find(',');
  if (comma == std::string_view::npos) return false;
  int precision = 0, width = 128;
  std::string_view rest = numbers.substr(comma + 1);
  const std::size_t second = rest.find(',');
  if (second != std::string_view::npos && !ReadWhole(rest.substr(second + 1), width)) return false;
  kind = Kind::kDecimal;
  bytes = kDecimalBytes;
  return ReadWhole(numbers.substr(0, comma), precision) && ReadWhole(rest.substr(0, second), scale) &&
         width == 128;
}

// Times of day in seconds and milliseconds have 32 bits, as have dates in days.
bool ColumnForm::ReadTime(std::string_view format) {
  if (format.size() < 3) return false;
  kind = Kind::kTime;
  bytes = 8;
  const char family = format[1], unit = format[2];
  const std::string_view rest = format.substr(3);
  units_per_second = UnitsPerSecond(unit);
  switch (family) {
    case 'd':
      if (unit == 'D') bytes = 4, seconds = kSecondsOfDay, units_per_second = 1;
      return (unit == 'D' || unit == 'm') && rest.empty();
    case 't':
      if (unit == 's' || unit == 'm') bytes = 4;
      return units_per_second != 0 && rest.empty();
    case 'D':
      return units_per_second != 0 && rest.empty();
    case 's':
      return units_per_second != 0 && rest.starts_with(':');
    default:
      return false;
  }
}

bool ColumnForm::Read(std::string_view format) {
  for (const Number& number : kNumbers) {
    if (format.size() != 1 || format[0] != number.letter) continue;
    kind = number.kind, bytes = number.bytes, is_signed = number.is_signed;
    return true;
  }
  if (format.starts_with("d:")) return ReadDecimal(format.substr(2));
  if (format.starts_with("t")) return ReadTime(format);
  kind = Kind::kText;
  if (format == "u" || format == "z") return layout = Layout::kOffsets32, true;
  if (format == "U" || format == "Z") return layout = Layout::kOffsets64, true;
  if (format == "vu" || format == "vz") return layout = Layout::kViews, true;
  layout = Layout::kFixed;
  return format.starts_with("w:") && ReadWhole(format.substr(2), bytes);
}

ColumnForm ColumnForm::Of(const ArrowSchema& field) {
  const std::string_view name = field.name != nullptr ? field.name : "";
  const std::string_view format = field.format != nullptr ? field.format : "";
  ColumnForm form;
  if (!form.Read(format)) RefuseColumn(name, "the form \"" + std::string(format) + "\" is not taken");
  if (field.dictionary == nullptr) return form;
  if (form.kind != Kind::kInteger) RefuseColumn(name, "a dictionary is indexed by integers only");
  ColumnForm texts;
  const char* const of_texts = field.dictionary->format;
  const bool taken = of_texts != nullptr && texts.Read(of_texts) && texts.IsText();
  if (!taken || field.dictionary->dictionary != nullptr)
    RefuseColumn(name, "a dictionary of other things than texts is not taken");
  texts.has_dictionary = true;
  texts.index_bytes = form.bytes;
  texts.index_is_signed = form.is_signed;
  return texts;
}
