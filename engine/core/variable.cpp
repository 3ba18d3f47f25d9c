#include "variable.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "words.h"

namespace {

struct FormatName {
  FormatType type;
  const char* letters;
};

constexpr FormatName kFormatNames[] = {
    {FormatType::Text, "A"},      {FormatType::Fixed, "F"},           {FormatType::Scientific, "E"},
    {FormatType::Comma, "COMMA"}, {FormatType::Dollar, "DOLLAR"},     {FormatType::Percent, "PCT"},
    {FormatType::Date, "DATE"},   {FormatType::DateTime, "DATETIME"}, {FormatType::Time, "TIME"}};

bool InRange(const MissingRule& rule, Unit value) {
  return NumberOf(value) >= NumberOf(rule.values[0]) && NumberOf(rule.values[1]) >= NumberOf(value);
}

// Discrete values compare by their bits, as they do on the driver's side: -0.0 is not 0.0.
bool IsUserMissing(const MissingRule& rule, Unit value) {
  if (rule.format == MissingRule::kRange) return InRange(rule, value);
  if (rule.format == MissingRule::kRangeAndOne) return value == rule.values[2] || InRange(rule, value);
  return std::find(rule.values.begin(), rule.values.begin() + rule.format, value) !=
         rule.values.begin() + rule.format;
}

bool MayStartName(unsigned char c) {
  return std::isalpha(c) || c == '_' || c == '@' || c == '#' || c >= 0x80;
}
bool MayContinueName(unsigned char c) { return MayStartName(c) || std::isdigit(c) || c == '.' || c == '$'; }

}  // namespace

Unit UnitOf(std::string_view text) {
  Unit unit = kBlankUnit;
  std::memcpy(&unit, text.data(), std::min(text.size(), kUnitBytes));
  return unit;
}

std::string TextOf(Unit unit) {
  std::string text(kUnitBytes, ' ');
  std::memcpy(text.data(), &unit, kUnitBytes);
  return text;
}

const char* FormatLetters(FormatType type) {
  for (const FormatName& name : kFormatNames) {
    if (name.type == type) return name.letters;
  }
  return nullptr;
}

const FormatType* FormatTypeOf(std::string_view letters) {
  for (const FormatName& name : kFormatNames) {
    if (SameName(name.letters, letters)) return &name.type;
  }
  return nullptr;
}

std::string Format::Text() const {
  std::string text = FormatLetters(type) + std::to_string(width);
  if (HasDecimals()) text += "." + std::to_string(decimals);
  return text;
}

bool Format::WidthFits() const {
  constexpr int kMaxNumberWidth = 40;
  return width >= 1 &&
         width <= (type == FormatType::Text ? static_cast<int>(kMaxTextWidth) : kMaxNumberWidth);
}

bool Format::DecimalsFit() const {
  constexpr int kMaxDecimals = 16;
  return decimals >= 0 && decimals <= (HasDecimals() ? std::min(kMaxDecimals, width - 1) : 0);
}

Variable::Variable(std::string variable_name, int text_width)
    : name(std::move(variable_name)), width(text_width) {
  if (!IsText()) return;
  format = {FormatType::Text, width, 0};
  level = Level::Nominal;
  alignment = Alignment::Left;
  missing.values.fill(kBlankUnit);
}

NameVerdict JudgeName(std::string_view name) {
  if (name.empty() || name.size() > kMaxNameBytes) return NameVerdict::BadLength;
  if (!MayStartName(static_cast<unsigned char>(name[0]))) return NameVerdict::BadStart;
  const bool good = std::all_of(name.begin(), name.end(),
                                [](char c) { return MayContinueName(static_cast<unsigned char>(c)); });
  return good && name.back() != '.' ? NameVerdict::Good : NameVerdict::BadCharacter;
}

void StoreMissing(const Variable& variable, Unit* place) {
  std::fill_n(place, variable.Units(), variable.IsText() ? kBlankUnit : kSystemMissing);
}

void StoreText(const Variable& variable, Unit* place, std::string_view text) {
  std::fill_n(place, variable.Units(), kBlankUnit);
  std::copy(text.begin(), text.end(), reinterpret_cast<char*>(place));
}

void BlankRest(const Variable& variable, Unit* place) {
  const auto width = static_cast<std::size_t>(variable.width);
  if (variable.IsText())
    std::memset(reinterpret_cast<char*>(place) + width, ' ', variable.Units() * kUnitBytes - width);
}

Attribute* FindAttribute(Attributes& attributes, std::string_view name) {
  const auto found = std::find_if(attributes.begin(), attributes.end(),
                                  [&](const Attribute& attribute) { return SameName(attribute.name, name); });
  return found != attributes.end() ? &*found : nullptr;
}

MissingState StateOf(const Variable& variable, const Unit* value) {
  if (variable.IsText()) {
    // A missing text has eight bytes: of a longer value the rest must be blank.
    const bool rest_blank =
        std::all_of(value + 1, value + variable.Units(), [](Unit unit) { return unit == kBlankUnit; });
    return rest_blank && IsUserMissing(variable.missing, *value) ? MissingState::User : MissingState::Valid;
  }
  if (*value == kSystemMissing) return MissingState::System;
  return IsUserMissing(variable.missing, *value) ? MissingState::User : MissingState::Valid;
}
