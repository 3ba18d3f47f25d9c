// The questions about a dictionary: of the active dataset, which is also the running procedure's, and of the
// datasets of a data step. Each has numbers of its own and the same answers.
#include <algorithm>

#include "arguments.h"

namespace {

constexpr int kOutputWidth = 80;

int VariableCount(Dataset& dataset, CleXDSmb& reply) {
  reply.SetLong(static_cast<long>(dataset.variables.size()));
  return 0;
}

int RowCount(Dataset& dataset, CleXDSmb& reply) {
  reply.SetLong(static_cast<long>(dataset.CaseCount()));
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

int LevelName(const Variable& variable, CleXDSmb& reply) {
  reply.SetString(kLevelNames[static_cast<int>(variable.level) - static_cast<int>(Level::Nominal)]);
  return 0;
}

int AlignmentNumber(const Variable& variable, CleXDSmb& reply) {
  reply.SetLong(static_cast<long>(variable.alignment));
  return 0;
}

int ColumnWidth(const Variable& variable, CleXDSmb& reply) {
  reply.SetLong(variable.column_width);
  return 0;
}

int FirstUnit(const Variable& variable, CleXDSmb& reply) {
  reply.SetLong(static_cast<long>(variable.first_unit));
  return 0;
}

int CaseLength(Dataset& dataset, CleXDSmb& reply) {
  reply.SetLong(static_cast<long>(dataset.CaseBytes()));
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
  for (const std::string& name : session.Data().splits) reply.SetString(name);
  return 0;
}

int WeightVariable(Session& session, CleXDSmb&, CleXDSmb& reply) {
  reply.SetString(session.Data().weight);
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

int ValidateName(Session&, CleXDSmb& request, CleXDSmb& reply) {
  const std::string* name = TextArgument(request, 0);
  if (name == nullptr) return engine_code::kBadRequest;
  reply.SetLong(static_cast<long>(JudgeName(*name)));
  return 0;
}

constexpr ActionEntry kActions[] = {
    {Action::GetVariableCount, About<ActiveDataset, VariableCount>},
    {Action::GetRowCount, About<ActiveDataset, RowCount>},
    {Action::GetVariableName, About<ActiveVariable, Name>},
    {Action::GetVariableLabel, About<ActiveVariable, Label>},
    {Action::GetVariableType, About<ActiveVariable, Type>},
    {Action::GetVariableFormat, About<ActiveVariable, FormatText>},
    {Action::GetVariableFormatType, About<ActiveVariable, FormatNumbers>},
    {Action::GetVariableMeasurementLevel, About<ActiveVariable, MeasurementLevel>},
    {Action::GetVariableRole, About<ActiveVariable, VariableRole>},
    {Action::GetVarCMissingValues, About<ActiveVariable, TextMissingValues>},
    {Action::GetVarNMissingValues, About<ActiveVariable, NumericMissingValues>},
    {Action::GetNValueLabels, About<ActiveVariable, NumericValueLabels>},
    {Action::GetCValueLabels, About<ActiveVariable, TextValueLabels>},
    {Action::GetVexaOutputWidth, Answer<kOutputWidth>},
    {Action::GetSplitVariableNames, SplitVariables},
    {Action::GetWeightVar, WeightVariable},
    {Action::GetVEXALowHigh, LowHigh},
    {Action::IsNeedCache, Answer<0>},
    {Action::GetSystemMissingValue, SystemMissingValue},
    {Action::ValidateVarName, ValidateName},

    {Action::GetVariableCountInProcDS, About<ActiveDataset, VariableCount>},
    {Action::GetRowCountInProcDS, About<ActiveDataset, RowCount>},
    {Action::GetSelectedRowCountInProcDS, About<ActiveDataset, RowCount>},  // nothing filters
    {Action::GetVariableNameInProcDS, About<ActiveVariable, Name>},
    {Action::GetVariableLabelInProcDS, About<ActiveVariable, Label>},
    {Action::GetVariableTypeInProcDS, About<ActiveVariable, Type>},
    {Action::GetVariableFormatInProcDS, About<ActiveVariable, FormatText>},
    {Action::GetVariableFormatTypeInProcDS, About<ActiveVariable, FormatNumbers>},
    {Action::GetVariableMeasurementLevelInProcDS, About<ActiveVariable, MeasurementLevel>},
    {Action::GetVariableRoleInProcDS, About<ActiveVariable, VariableRole>},
    {Action::GetVarCMissingValuesInProcDS, About<ActiveVariable, TextMissingValues>},
    {Action::GetVarNMissingValuesInProcDS, About<ActiveVariable, NumericMissingValues>},

    {Action::GetVarCountInDS, About<StepDataset, VariableCount>},
    {Action::GetCaseCountInDS, About<StepDataset, RowCount>},
    {Action::GetCaseLength, About<StepDataset, CaseLength>},
    {Action::GetVarObsIndex, About<StepVariable, FirstUnit>},
    {Action::GetVarNameInDS, About<StepVariable, Name>},
    {Action::GetVarLabelInDS, About<StepVariable, Label>},
    {Action::GetVarTypeInDS, About<StepVariable, Type>},
    {Action::GetVarFormatInDS, About<StepVariable, FormatText>},
    {Action::GetVarAlignmentInDS, About<StepVariable, AlignmentNumber>},
    {Action::GetVarColumnWidthInDS, About<StepVariable, ColumnWidth>},
    {Action::GetVarMeasurementLevelInDS, About<StepVariable, LevelName>},
    {Action::GetVarRoleInDS, About<StepVariable, VariableRole>},
    {Action::GetVarCMissingValuesInDS, About<StepVariable, TextMissingValues>},
    {Action::GetVarNMissingValuesInDS, About<StepVariable, NumericMissingValues>},
    {Action::GetVarNValueLabelInDS, About<StepVariable, NumericValueLabels>},
    {Action::GetVarCValueLabelInDS, About<StepVariable, TextValueLabels>},
};

}  // namespace

std::span<const ActionEntry> DictionaryActions() { return kActions; }
