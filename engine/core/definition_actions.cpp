// What a driver says of a variable: one that it declares or that is there, by name, or one of a dataset of
// the step, by index.
#include <algorithm>

#include "arguments.h"
#include "words.h"

namespace {

int SetLabel(Variable& variable, Arguments& arguments) {
  const std::string* label = arguments.TakeText();
  if (label == nullptr) return engine_code::kBadRequest;
  variable.label = *label;
  return 0;
}

// One of the numbers from `first` on that the enumeration or the range has.
template <auto member, int first, int last>
int SetNumber(Variable& variable, Arguments& arguments) {
  const std::optional<int> number = arguments.TakeLong();
  if (!number || *number < first || *number > last) return engine_code::kBadRequest;
  variable.*member = static_cast<std::remove_reference_t<decltype(variable.*member)>>(*number);
  return 0;
}

constexpr auto kSetLevel = SetNumber<&Variable::level, 1, 3>;
constexpr auto kSetRole = SetNumber<&Variable::role, 0, 5>;
constexpr auto kSetAlignment = SetNumber<&Variable::alignment, 0, 2>;
constexpr auto kSetColumnWidth = SetNumber<&Variable::column_width, 1, 255>;

int SetLevelByName(Variable& variable, Arguments& arguments) {
  const std::string* name = arguments.TakeText();
  const auto found = std::find_if(std::begin(kLevelNames), std::end(kLevelNames), [&](const char* level) {
    return name != nullptr && SameName(level, *name);
  });
  if (found == std::end(kLevelNames)) return engine_code::kBadRequest;
  variable.level = static_cast<Level>(static_cast<int>(Level::Nominal) + (found - std::begin(kLevelNames)));
  return 0;
}

int SetFormat(Variable& variable, Arguments& arguments) {
  const auto numbers = arguments.Longs();
  if (numbers.size() != 3) return engine_code::kBadRequest;
  const Format format = {static_cast<FormatType>(numbers[0]), numbers[1], numbers[2]};
  if (FormatLetters(format.type) == nullptr) return engine_code::kBadRequest;
  if ((format.type == FormatType::Text) != variable.IsText()) return CleXDErrorCode::kWrongType;
  if (!format.WidthFits() || !format.DecimalsFit()) return engine_code::kBadRequest;
  variable.format = format;
  return 0;
}

int SetNumericMissing(Variable& variable, Arguments& arguments) {
  const std::optional<int> format = arguments.TakeLong();
  MissingRule rule;
  for (Unit& value : rule.values) value = UnitOf(arguments.TakeDouble().value_or(0));
  if (!format || *format < MissingRule::kRangeAndOne || *format == -1 || *format > 3) {
    return engine_code::kBadRequest;
  }
  if (variable.IsText()) return CleXDErrorCode::kWrongType;
  rule.format = *format;
  variable.missing = rule;
  return 0;
}

// A value of up to eight bytes each; texts that the driver left out are blank.
int SetTextMissing(Variable& variable, Arguments& arguments) {
  const int format = arguments.TakeLong().value_or(-1);
  const auto texts = arguments.Texts();
  if (format < 0 || format > 3 || static_cast<std::size_t>(format) > texts.size()) {
    return engine_code::kBadRequest;
  }
  if (!variable.IsText()) return CleXDErrorCode::kWrongType;
  MissingRule rule;
  rule.values.fill(kBlankUnit);
  for (std::size_t i = 0; i < std::min<std::size_t>(texts.size(), 3); ++i) {
    if (texts[i].size() > kUnitBytes) return engine_code::kTooWide;
    rule.values[i] = UnitOf(std::string_view(texts[i]));
  }
  rule.format = format;
  variable.missing = rule;
  return 0;
}

// --- Value labels ---

// The value of a request, fit for this variable.
int TakeValue(const Variable& variable, bool is_text, Arguments& arguments, ValueLabel& entry) {
  if (variable.IsText() != is_text) return CleXDErrorCode::kWrongType;
  if (is_text) {
    const std::string* text = arguments.TakeText();
    if (text == nullptr) return engine_code::kBadRequest;
    if (text->size() > static_cast<std::size_t>(variable.width)) RefuseWidth(variable, text->size());
    entry.text = *text;
  } else {
    const std::optional<double> number = arguments.TakeDouble();
    if (!number) return engine_code::kBadRequest;
    entry.number = *number;
  }
  return 0;
}

auto HasValueOf(const ValueLabel& entry) {
  return [&entry](const ValueLabel& other) {
    return UnitOf(other.number) == UnitOf(entry.number) && other.text == entry.text;
  };
}

template <bool is_text>
int SetValueLabel(Variable& variable, Arguments& arguments) {
  ValueLabel entry;
  if (const int code = TakeValue(variable, is_text, arguments, entry)) return code;
  const std::string* label = arguments.TakeText();
  if (label == nullptr) return engine_code::kBadRequest;
  entry.label = *label;
  auto& labels = variable.value_labels;
  const auto old = std::find_if(labels.begin(), labels.end(), HasValueOf(entry));
  if (old != labels.end()) {
    old->label = entry.label;
  } else {
    labels.push_back(std::move(entry));
  }
  return 0;
}

template <bool is_text>
int DeleteValueLabel(Variable& variable, Arguments& arguments) {
  ValueLabel entry;
  if (const int code = TakeValue(variable, is_text, arguments, entry)) return code;
  return std::erase_if(variable.value_labels, HasValueOf(entry)) > 0 ? 0 : engine_code::kUnknownName;
}

int DeleteValueLabels(Variable& variable, Arguments&) {
  variable.value_labels.clear();
  return 0;
}

constexpr ActionEntry kActions[] = {
    {Action::SetVarLabel, About<NamedVariable, SetLabel>},
    {Action::SetVarCValueLabel, About<NamedVariable, SetValueLabel<true>>},
    {Action::SetVarNValueLabel, About<NamedVariable, SetValueLabel<false>>},
    {Action::SetVarCMissingValues, About<NamedVariable, SetTextMissing>},
    {Action::SetVarNMissingValues, About<NamedVariable, SetNumericMissing>},
    {Action::SetVarMeasureLevel, About<NamedVariable, kSetLevel>},
    {Action::SetVarAlignment, About<NamedVariable, kSetAlignment>},
    {Action::SetVarFormat, About<NamedVariable, SetFormat>},
    {Action::SetVarRole, About<NamedVariable, kSetRole>},

    {Action::SetVarLabelInDS, About<StepVariable, SetLabel>},
    {Action::SetVarFormatInDS, About<StepVariable, SetFormat>},
    {Action::SetVarAlignmentInDS, About<StepVariable, kSetAlignment>},
    {Action::SetVarColumnWidthInDS, About<StepVariable, kSetColumnWidth>},
    {Action::SetVarMeasurementLevelInDS, About<StepVariable, SetLevelByName>},
    {Action::SetVarRoleInDS, About<StepVariable, kSetRole>},
    {Action::SetVarNMissingValuesInDS, About<StepVariable, SetNumericMissing>},
    {Action::SetVarCMissingValuesInDS, About<StepVariable, SetTextMissing>},
    {Action::SetVarNValueLabelInDS, About<StepVariable, SetValueLabel<false>>},
    {Action::SetVarCValueLabelInDS, About<StepVariable, SetValueLabel<true>>},
    {Action::DelVarValueLabelInDS, About<StepVariable, DeleteValueLabels>},
    {Action::DelVarNValueLabelInDS, About<StepVariable, DeleteValueLabel<false>>},
    {Action::DelVarCValueLabelInDS, About<StepVariable, DeleteValueLabel<true>>},
};

}  // namespace

std::span<const ActionEntry> DefinitionActions() { return kActions; }
