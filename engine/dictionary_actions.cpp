// The questions about the dictionary. There is one dataset, so the running procedure's is the same: its
// questions have numbers of their own and the same answers.
#include <algorithm>
#include <cctype>

#include "session.h"

namespace {

constexpr int kOutputWidth = 80;
constexpr std::size_t kMaxNameBytes = 64;

enum class NameVerdict : int { Good = 0, BadLength = 1, BadStart = 2, BadCharacter = 3 };

int VariableCount(Session& session, CleXDSmb&, CleXDSmb& reply) {
  reply.SetLong(static_cast<long>(session.dataset.variables.size()));
  return 0;
}

int RowCount(Session& session, CleXDSmb&, CleXDSmb& reply) {
  reply.SetLong(static_cast<long>(session.dataset.CaseCount()));
  return 0;
}

int Name(const Variable& variable, CleXDSmb& reply) {
  reply.SetString(variable.name);
  return 0;
}

int Label(const Variable& variable, CleXDSmb& reply) {
  reply.SetString(variable.label);
  return 0;
}

int Type(const Variable& variable, CleXDSmb& reply) {
  reply.SetLong(variable.width);
  return 0;
}

int FormatText(const Variable& variable, CleXDSmb& reply) {
  reply.SetString(variable.format.Text());
  return 0;
}

int FormatNumbers(const Variable& variable, CleXDSmb& reply) {
  reply.SetLong(static_cast<long>(variable.format.type));
  reply.SetLong(variable.format.width);
  reply.SetLong(variable.format.decimals);
  return 0;
}

int MeasurementLevel(const Variable& variable, CleXDSmb& reply) {
  reply.SetLong(static_cast<long>(variable.level));
  return 0;
}

int VariableRole(const Variable& variable, CleXDSmb& reply) {
  reply.SetLong(static_cast<long>(variable.role));
  return 0;
}

// All three values are always there, whatever the rule uses of them: the driver reads three. Texts keep their
// blanks, since the driver compares eight bytes.
int TextMissingValues(const Variable& variable, CleXDSmb& reply) {
  if (!variable.IsText()) return CleXDErrorCode::kWrongType;
  reply.SetLong(variable.missing.format);
  for (const Unit value : variable.missing.values) reply.SetString(TextOf(value));
  return 0;
}

int NumericMissingValues(const Variable& variable, CleXDSmb& reply) {
  if (variable.IsText()) return CleXDErrorCode::kWrongType;
  reply.SetLong(variable.missing.format);
  for (const Unit value : variable.missing.values) reply.SetDouble(NumberOf(value));
  return 0;
}

int NumericValueLabels(const Variable& variable, CleXDSmb& reply) {
  if (variable.IsText()) return CleXDErrorCode::kWrongType;
  reply.SetLong(static_cast<long>(variable.value_labels.size()));
  for (const ValueLabel& entry : variable.value_labels) {
    reply.SetDouble(entry.number);
    reply.SetString(entry.label);
  }
  return 0;
}

int TextValueLabels(const Variable& variable, CleXDSmb& reply) {
  if (!variable.IsText()) return CleXDErrorCode::kWrongType;
  StringData values;
  StringData labels;
  for (const ValueLabel& entry : variable.value_labels) {
    values.SetValue(entry.text);
    labels.SetValue(entry.label);
  }
  reply.SetLong(values.Size());
  reply.SetStringArray(values);
  reply.SetStringArray(labels);
  return 0;
}

int SplitVariables(Session& session, CleXDSmb&, CleXDSmb& reply) {
  for (const std::string& name : session.dataset.splits) reply.SetString(name);
  return 0;
}

int WeightVariable(Session& session, CleXDSmb&, CleXDSmb& reply) {
  reply.SetString(session.dataset.weight);
  return 0;
}

int LowHigh(Session&, CleXDSmb&, CleXDSmb& reply) {
  reply.SetDouble(NumberOf(kLowest));
  reply.SetDouble(NumberOf(kHighest));
  return 0;
}

int SystemMissingValue(Session&, CleXDSmb&, CleXDSmb& reply) {
  reply.SetDouble(NumberOf(kSystemMissing));
  return 0;
}

bool MayStartName(unsigned char c) {
  return std::isalpha(c) || c == '_' || c == '@' || c == '#' || c >= 0x80;
}
bool MayContinueName(unsigned char c) { return MayStartName(c) || std::isdigit(c) || c == '.' || c == '$'; }

NameVerdict Judge(const std::string& name) {
  if (name.empty() || name.size() > kMaxNameBytes) return NameVerdict::BadLength;
  if (!MayStartName(static_cast<unsigned char>(name[0]))) return NameVerdict::BadStart;
  const bool good = std::all_of(name.begin(), name.end(),
                                [](char c) { return MayContinueName(static_cast<unsigned char>(c)); });
  return good && name.back() != '.' ? NameVerdict::Good : NameVerdict::BadCharacter;
}

int ValidateName(Session&, CleXDSmb& request, CleXDSmb& reply) {
  if (request.GetStringDataRef().Size() < 1) return engine_code::kBadRequest;
  reply.SetLong(static_cast<long>(Judge(request.GetStringDataRef()[0])));
  return 0;
}

constexpr ActionEntry kActions[] = {
    {Action::GetVariableCount, VariableCount},
    {Action::GetRowCount, RowCount},
    {Action::GetVariableName, AboutVariable<Name>},
    {Action::GetVariableLabel, AboutVariable<Label>},
    {Action::GetVariableType, AboutVariable<Type>},
    {Action::GetVariableFormat, AboutVariable<FormatText>},
    {Action::GetVariableFormatType, AboutVariable<FormatNumbers>},
    {Action::GetVariableMeasurementLevel, AboutVariable<MeasurementLevel>},
    {Action::GetVariableRole, AboutVariable<VariableRole>},
    {Action::GetVarCMissingValues, AboutVariable<TextMissingValues>},
    {Action::GetVarNMissingValues, AboutVariable<NumericMissingValues>},
    {Action::GetNValueLabels, AboutVariable<NumericValueLabels>},
    {Action::GetCValueLabels, AboutVariable<TextValueLabels>},
    {Action::GetVexaOutputWidth, Answer<kOutputWidth>},
    {Action::GetSplitVariableNames, SplitVariables},
    {Action::GetWeightVar, WeightVariable},
    {Action::GetVEXALowHigh, LowHigh},
    {Action::IsNeedCache, Answer<0>},
    {Action::GetSystemMissingValue, SystemMissingValue},
    {Action::ValidateVarName, ValidateName},

    {Action::GetVariableCountInProcDS, VariableCount},
    {Action::GetRowCountInProcDS, RowCount},
    {Action::GetSelectedRowCountInProcDS, RowCount},  // nothing filters
    {Action::GetVariableNameInProcDS, AboutVariable<Name>},
    {Action::GetVariableLabelInProcDS, AboutVariable<Label>},
    {Action::GetVariableTypeInProcDS, AboutVariable<Type>},
    {Action::GetVariableFormatInProcDS, AboutVariable<FormatText>},
    {Action::GetVariableFormatTypeInProcDS, AboutVariable<FormatNumbers>},
    {Action::GetVariableMeasurementLevelInProcDS, AboutVariable<MeasurementLevel>},
    {Action::GetVariableRoleInProcDS, AboutVariable<VariableRole>},
    {Action::GetVarCMissingValuesInProcDS, AboutVariable<TextMissingValues>},
    {Action::GetVarNMissingValuesInProcDS, AboutVariable<NumericMissingValues>},
};

}  // namespace

std::span<const ActionEntry> DictionaryActions() { return kActions; }
