// The dictionary of a dataset of the data step, by name and index. Four functions change the list of
// variables and keep this side's records in step; the others are one request and one reply.
#include <memory>

#include "call_frame.h"
#include "counted_arrays.h"
#include "dataset_catalogue.h"
#include "string_list.h"
#include "vexa_assert.h"
#include "vexaxd_p.h"

namespace {

// After a change of the list: the count in the catalogue, the record, and the places of the variables, whose
// questions give the code.
template <class Change>
int KeepInStep(int code, const char* name, int count_change, Change change) {
  if (code != 0) return code;
  const int entry = FindInCatalogue(name);
  if (entry >= 0) varcountVec[static_cast<std::size_t>(entry)] += count_change;
  return CodeOf([&] {
    DatastepDataSmb* record = FindRecord(name);
    if (record == nullptr) return 0;
    change(*record);
    return RebuildVarObsIndex(name, *record);
  });
}

}  // namespace

int InsertVariable(const char* name, int position, const char* varName, int type) {
  const int code = GuardedCall(Action::InsertVariable, name, position, varName, type);
  return KeepInStep(code, name, 1, [=](DatastepDataSmb& record) { record.InsertVarType(position, type); });
}

int DeleteVariable(const char* name, int var) {
  const int code = GuardedCall(Action::DeleteVariable, name, var);
  return KeepInStep(code, name, -1, [=](DatastepDataSmb& record) { record.EraseVarType(var); });
}

int SetVarTypeInDS(const char* name, int var, int type) {
  const int code = GuardedCall(Action::SetVarTypeInDS, name, var, type);
  return KeepInStep(code, name, 0, [=](DatastepDataSmb& record) { record.UpdateVarType(var, type); });
}

int MoveVariables(const char* name, int* vars, int count, int target) {
  const int code = GuardedCall(Action::MoveVariables, name, EachLong(vars, count), target);
  // Kept: the catalogue counts one more, and the record's types stay in their old order.
  return KeepInStep(code, name, 1, [](DatastepDataSmb&) {});
}

const char* GetVarNameInDS(const char* name, int var, int* errCode) {
  return TextCall(Action::GetVarNameInDS, "", errCode, name, var);
}

const char* GetVarLabelInDS(const char* name, int var, int* errCode) {
  return TextCall(Action::GetVarLabelInDS, nullptr, errCode, name, var);
}

const char* GetVarFormatInDS(const char* name, int var, int* errCode) {
  return TextCall(Action::GetVarFormatInDS, nullptr, errCode, name, var);
}

const char* GetVarMeasurementLevelInDS(const char* name, int var, int* errCode) {
  return TextCall(Action::GetVarMeasurementLevelInDS, nullptr, errCode, name, var);
}

int GetVarTypeInDS(const char* name, int var, int* errCode) {
  return LongCall(Action::GetVarTypeInDS, 0, errCode, name, var);
}

int GetVarAlignmentInDS(const char* name, int var, int* errCode) {
  return LongCall(Action::GetVarAlignmentInDS, 0, errCode, name, var);
}

int GetVarRoleInDS(const char* name, int var, int* errCode) {
  return LongCall(Action::GetVarRoleInDS, 0, errCode, name, var);
}

int GetVarColumnWidthInDS(const char* name, int var, int* errCode) {
  ApiCall call(Action::GetVarColumnWidthInDS, name, var);
  StoreCode(errCode, call.code());
  if (call.code() != 0) return 0;
  const int size = call.reply().GetLongDataRef().Size();
  VEXA_ASSERT(size > 0);
  return call.Long(0);
}

int SetVarNameInDS(const char* name, int var, const char* value) {
  return GuardedCall(Action::SetVarNameInDS, name, var, value);
}

int SetVarLabelInDS(const char* name, int var, const char* value) {
  return GuardedCall(Action::SetVarLabelInDS, name, var, value);
}

int SetVarMeasurementLevelInDS(const char* name, int var, const char* value) {
  return GuardedCall(Action::SetVarMeasurementLevelInDS, name, var, value);
}

int SetVarAlignmentInDS(const char* name, int var, int value) {
  return GuardedCall(Action::SetVarAlignmentInDS, name, var, value);
}

int SetVarColumnWidthInDS(const char* name, int var, int value) {
  return GuardedCall(Action::SetVarColumnWidthInDS, name, var, value);
}

int SetVarRoleInDS(const char* name, int var, int value) {
  return GuardedCall(Action::SetVarRoleInDS, name, var, value);
}

int SetVarFormatInDS(const char* name, int var, int type, int width, int decimals) {
  return GuardedCall(Action::SetVarFormatInDS, name, var, type, width, decimals);
}

int GetVarNMissingValuesInDS(const char* name, int var, int* missingFormat, double* value1, double* value2,
                             double* value3) {
  return GuardedCall(Action::GetVarNMissingValuesInDS, name, var, Out(missingFormat), Out(value1),
                     Out(value2), Out(value3));
}

int GetVarCMissingValuesInDS(const char* name, int var, int* missingFormat, char* value1, char* value2,
                             char* value3) {
  return GuardedCall(Action::GetVarCMissingValuesInDS, name, var, Out(missingFormat), OutUnit(value1),
                     OutUnit(value2), OutUnit(value3));
}

int SetVarNMissingValuesInDS(const char* name, int var, int missingFormat, double value1, double value2,
                             double value3) {
  return GuardedCall(Action::SetVarNMissingValuesInDS, name, var, missingFormat, value1, value2, value3);
}

int SetVarCMissingValuesInDS(const char* name, int var, int missingFormat, const char* value1,
                             const char* value2, const char* value3) {
  return GuardedCall(Action::SetVarCMissingValuesInDS, name, var, missingFormat, value1, value2, value3);
}

int GetVarNValueLabelInDS(const char* name, int var, double** values, char*** labels, int* count) {
  if (!isVexaRunning) return Failed(CleXDErrorCode::kBackendNotRunning);
  const auto take = [=](ApiCall& call) { TakeNumberLabels(call, values, labels, count); };
  return DeliveringCall(Action::GetVarNValueLabelInDS, take, name, var);
}

int GetVarCValueLabelInDS(const char* name, int var, char*** values, char*** labels, int* count) {
  if (!isVexaRunning) return Failed(CleXDErrorCode::kBackendNotRunning);
  const auto take = [=](ApiCall& call) { TakeTextLabels(call, values, labels, count); };
  return DeliveringCall(Action::GetVarCValueLabelInDS, take, name, var);
}

int SetVarNValueLabelInDS(const char* name, int var, const char* label, double value) {
  return GuardedCall(Action::SetVarNValueLabelInDS, name, var, value, label);
}

int SetVarCValueLabelInDS(const char* name, int var, const char* value, const char* label) {
  return GuardedCall(Action::SetVarCValueLabelInDS, name, var, value, label);
}

int DelVarValueLabelInDS(const char* name, int var) {
  return GuardedCall(Action::DelVarValueLabelInDS, name, var);
}

int DelVarNValueLabelInDS(const char* name, int var, double value) {
  return GuardedCall(Action::DelVarNValueLabelInDS, name, var, value);
}

int DelVarCValueLabelInDS(const char* name, int var, const char* value) {
  return GuardedCall(Action::DelVarCValueLabelInDS, name, var, value);
}

int FreeDoubleArray(void* array, int count) {
  if (count >= 1) delete[] static_cast<double*>(array);
  return 0;
}

int GetVarAttributesNameInDS(const char* name, int var, char*** names, int* count) {
  return TextsCall(Action::GetVarAttributesNameInDS, names, count, name, var);
}

int GetVarAttributesInDS(const char* name, int var, const char* attrName, char*** values, int* count) {
  return TextsCall(Action::GetVarAttributesInDS, values, count, name, var, attrName);
}

int SetVarAttributesInDS(const char* name, int var, const char* attrName, char** values, int count) {
  return GuardedCall(Action::SetVarAttributesInDS, name, var, attrName, TextList(values, count));
}

int DelVarAttributesInDS(const char* name, int var, const char* attrName) {
  return GuardedCall(Action::DelVarAttributesInDS, name, var, attrName);
}

int SetDataFileAttributesInDS(const char* name, const char* attrName, char** values, int count) {
  return GuardedCall(Action::SetDataFileAttributesInDS, name, attrName, TextList(values, count));
}

int GetDataFileAttributeNamesInDS(const char* name, char*** names, int* count) {
  return TextsCall(Action::GetDataFileAttributeNamesInDS, names, count, name);
}

int GetDataFileAttributesInDS(const char* name, const char* attrName, char*** values, int* count) {
  return TextsCall(Action::GetDataFileAttributesInDS, values, count, name, attrName);
}

int DelDataFileAttributesInDS(const char* name, const char* attrName) {
  return GuardedCall(Action::DelDataFileAttributesInDS, name, attrName);
}

void SetMultiResponseSetInDS(const char* name, const char* setName, const char* setText1, int setValue1,
                             const char* setText2, char** members, int count, int* errCode) {
  StoreCode(errCode, Call(Action::SetMultiResponseSetInDS, name, setName, setText1, setValue1, setText2,
                          TextList(members, count)));
}

void* GetMultiResponseSetNamesInDS(const char* name, int* errCode) {
  return ListCall(Action::GetMultiResponseSetNamesInDS, errCode, name);
}

void GetMultiResponseSetInDS(const char* name, const char* setName, char** setText1, int* setValue1,
                             char** setText2, int* setValue2, void** members, int* errCode) {
  const auto deliver = [=](ApiCall& call) {
    std::unique_ptr<char[]> text1(NewText(call.Text(0)));
    std::unique_ptr<char[]> text2(NewText(call.Text(1)));
    *members = NewStringList(call.reply().GetStringDataRef(), 2);
    if (call.reply().GetStringDataRef().Size() > 1) {
      *setText1 = text1.release();
      *setText2 = text2.release();
    }
    if (call.reply().GetLongDataRef().Size() > 1) call.TakeResults(Out(setValue1), Out(setValue2));
  };
  StoreCode(errCode, DeliveringCall(Action::GetMultiResponseSetInDS, deliver, name, setName));
}

int DelMultiResponseSetInDS(const char* name, const char* setName) {
  return GuardedCall(Action::DelMultiResponseSetInDS, name, setName);
}

int SaveFileInDS(void*, void*, int) {
  VexaAssertFailed(__FILE__, __LINE__, "No_longer_support_SaveFileInDS");
}
