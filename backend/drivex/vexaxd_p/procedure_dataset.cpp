// Queries of the running procedure's dataset: the dictionary's questions under numbers of their own. Where
// they differ from their twins, failure cannot be taken for an answer.
#include "call_frame.h"
#include "vexa_assert.h"
#include "vexaxd_p.h"

namespace {

// A long that the reply must hold.
template <class... Arguments>
int RequiredLongCall(Action action, int failure, int* errCode, Arguments... arguments) {
  ApiCall call(action, arguments...);
  StoreCode(errCode, call.code());
  if (call.code() != 0) return failure;
  const int size = call.reply().GetLongDataRef().Size();
  VEXA_ASSERT(size > 0);
  return call.Long(0);
}

}  // namespace

long GetRowCountInProcDS(int* errCode) { return RequiredLongCall(Action::GetRowCountInProcDS, -1, errCode); }

int GetVariableCountInProcDS(int* errCode) {
  return RequiredLongCall(Action::GetVariableCountInProcDS, 0, errCode);
}

int GetVariableMeasurementLevelInProcDS(int index, int* errCode) {
  return RequiredLongCall(Action::GetVariableMeasurementLevelInProcDS, -1, errCode, index);
}

int GetVariableTypeInProcDS(int index, int* errCode) {
  return RequiredLongCall(Action::GetVariableTypeInProcDS, -1, errCode, index);
}

int GetVariableRoleInProcDS(int index, int* errCode) {
  return RequiredLongCall(Action::GetVariableRoleInProcDS, -1, errCode, index);
}

const char* GetVariableFormatInProcDS(int index, int* errCode) {
  return TextCall(Action::GetVariableFormatInProcDS, "", errCode, index);
}

const char* GetVariableLabelInProcDS(int index, int* errCode) {
  return TextCall(Action::GetVariableLabelInProcDS, "", errCode, index);
}

const char* GetVariableNameInProcDS(int index, int* errCode) {
  const char* name = "";
  const auto keep = [&](ApiCall& call) {
    // No name leaves the text of an earlier call in place.
    if (call.reply().GetStringDataRef().Size() > 0) name = KeepText(call.Text(0));
  };
  StoreCode(errCode, DeliveringCall(Action::GetVariableNameInProcDS, keep, index));
  return name;
}

int GetVarCMissingValuesInProcDS(int index, int* missingFormat, char* value1, char* value2, char* value3) {
  return GuardedCall(Action::GetVarCMissingValuesInProcDS, index, Out(missingFormat), OutUnit(value1),
                     OutUnit(value2), OutUnit(value3));
}

int GetVarNMissingValuesInProcDS(int index, int* missingFormat, double* value1, double* value2,
                                 double* value3) {
  return GuardedCall(Action::GetVarNMissingValuesInProcDS, index, Out(missingFormat), Out(value1),
                     Out(value2), Out(value3));
}

int GetVariableFormatTypeInProcDS(int index, int* formatType, int* formatWidth, int* formatDecimal) {
  return GuardedCall(Action::GetVariableFormatTypeInProcDS, index, Out(formatType), Out(formatWidth),
                     Out(formatDecimal));
}

long GetSelectedRowCountInProcDS(int* errCode) {
  StoreCode(errCode, 0);
  if (!isVexaRunning) {
    StoreCode(errCode, CleXDErrorCode::kBackendNotRunning);
    return -1;
  }
  return LongCall(Action::GetSelectedRowCountInProcDS, -1, errCode);
}
