// Queries of the active dataset's dictionary.
#include "call_frame.h"
#include "counted_arrays.h"
#include "vexa_assert.h"
#include "vexaxd_p.h"

int GetVariableCount(int* errCode) { return LongCall(Action::GetVariableCount, 0, errCode); }

const char* GetVariableName(int index, int* errCode) {
  return TextCall(Action::GetVariableName, nullptr, errCode, index);
}

const char* GetVariableLabel(int index, int* errCode) {
  return TextCall(Action::GetVariableLabel, nullptr, errCode, index);
}

int GetVariableType(int index, int* errCode) { return LongCall(Action::GetVariableType, 0, errCode, index); }

const char* GetVariableFormat(int index, int* errCode) {
  return TextCall(Action::GetVariableFormat, nullptr, errCode, index);
}

int GetVariableMeasurementLevel(int index, int* errCode) {
  return LongCall(Action::GetVariableMeasurementLevel, 0, errCode, index);
}

int GetVariableRole(int index, int* errCode) { return LongCall(Action::GetVariableRole, 0, errCode, index); }

int GetVexaOutputWidth(int* errCode) { return LongCall(Action::GetVexaOutputWidth, 0, errCode); }

const char* GetWeightVar(int* errCode) { return TextCall(Action::GetWeightVar, nullptr, errCode); }

int GetVariableFormatType(int index, int* formatType, int* formatWidth, int* formatDecimal) {
  return GuardedCall(Action::GetVariableFormatType, index, Out(formatType), Out(formatWidth),
                     Out(formatDecimal));
}

int GetVarCMissingValues(int index, int* missingFormat, char* value1, char* value2, char* value3) {
  return GuardedCall(Action::GetVarCMissingValues, index, Out(missingFormat), OutUnit(value1),
                     OutUnit(value2), OutUnit(value3));
}

int GetVarNMissingValues(int index, int* missingFormat, double* value1, double* value2, double* value3) {
  return GuardedCall(Action::GetVarNMissingValues, index, Out(missingFormat), Out(value1), Out(value2),
                     Out(value3));
}

int GetSystemMissingValue(double* value) { return GuardedCall(Action::GetSystemMissingValue, Out(value)); }

long GetRowCount(int* errCode) {
  ApiCall call(Action::GetRowCount);
  StoreCode(errCode, call.code());
  const bool answered = call.code() == 0 && call.reply().GetLongDataRef().Size() > 0;
  return answered ? call.Long(0) : -1;
}

void* GetSplitVariableNames(int* errCode) { return ListCall(Action::GetSplitVariableNames, errCode); }

int GetVEXALowHigh(double* low, double* high) {
  if (!isVexaRunning) return Failed(CleXDErrorCode::kBackendNotRunning);
  ApiCall call(Action::GetVEXALowHigh);
  if (call.code() != 0) return call.code();
  const int size = call.reply().GetDoubleDataRef().Size();
  VEXA_ASSERT(size > 1);
  call.TakeResults(Out(low), Out(high));
  return 0;
}

int IsNeedCache(int* need) {
  if (!isVexaRunning) return Failed(CleXDErrorCode::kBackendNotRunning);
  ApiCall call(Action::IsNeedCache);
  if (call.code() != 0) return call.code();
  const int size = call.reply().GetLongDataRef().Size();
  VEXA_ASSERT(size > 0);
  call.TakeResults(Out(need));
  return 0;
}

int ValidateVarName(const char* name) {
  ApiCall call(Action::ValidateVarName, name);
  if (call.code() != 0) return 0;
  const int size = call.reply().GetLongDataRef().Size();
  VEXA_ASSERT(size > 0);
  return call.Long(0);
}

int GetNValueLabels(int index, double** values, char*** labels, int* count) {
  if (!isVexaRunning) return Failed(CleXDErrorCode::kBackendNotRunning);
  const auto take = [=](ApiCall& call) { TakeNumberLabels(call, values, labels, count); };
  return DeliveringCall(Action::GetNValueLabels, take, index);
}

int GetCValueLabels(int index, char*** values, char*** labels, int* count) {
  if (!isVexaRunning) return Failed(CleXDErrorCode::kBackendNotRunning);
  const auto take = [=](ApiCall& call) { TakeTextLabels(call, values, labels, count); };
  return DeliveringCall(Action::GetCValueLabels, take, index);
}

int FreeNValueLabels(double* values, char** labels, int count) {
  if (!isVexaRunning) return Failed(CleXDErrorCode::kBackendNotRunning);
  if (count < 1) return 0;
  VEXA_ASSERT(values != NULL);
  VEXA_ASSERT(labels != NULL);
  for (int i = 0; i < count; ++i) delete[] labels[i];
  delete[] values;
  delete[] labels;
  return 0;
}

int FreeCValueLabels(char** values, char** labels, int count) {
  if (!isVexaRunning) return Failed(CleXDErrorCode::kBackendNotRunning);
  if (count < 1) return 0;
  VEXA_ASSERT(values != NULL);
  VEXA_ASSERT(labels != NULL);
  for (int i = 0; i < count; ++i) {
    delete[] values[i];
    delete[] labels[i];
  }
  delete[] values;
  delete[] labels;
  return 0;
}
