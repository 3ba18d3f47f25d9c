#include "dataset.h"

#include <algorithm>
#include <cstring>

#include "words.h"

namespace {

struct FormatName {
  FormatType type;
  const char* letters;
};

constexpr FormatName kFormatNames[] = {{FormatType::Text, "A"},        {FormatType::Fixed, "F"},
                                       {FormatType::Scientific, "E"},  {FormatType::Comma, "COMMA"},
                                       {FormatType::Dollar, "DOLLAR"}, {FormatType::Percent, "PCT"}};

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
  if (type != FormatType::Text) text += "." + std::to_string(decimals);
  return text;
}

void Dataset::AddVariable(std::string name, std::size_t width) {
  Variable& variable = variables.emplace_back();
  variable.name = std::move(name);
  variable.width = static_cast<int>(width);
  variable.first_unit = case_units;
  case_units += variable.Units();
  if (!variable.IsText()) return;
  variable.format = {FormatType::Text, variable.width, 0};
  variable.level = Level::Nominal;
  variable.missing.values.fill(kBlankUnit);
}

void Dataset::ResizeCases(std::size_t count) {
  case_count = count;
  cells.resize(case_count * case_units);
}

Variable* Dataset::Find(std::string_view name) {
  const auto found = std::find_if(variables.begin(), variables.end(),
                                  [&](const Variable& variable) { return SameName(variable.name, name); });
  return found != variables.end() ? &*found : nullptr;
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
