// Attributes of variables and of the data file, and multiple response sets.
#include <memory>

#include "call_frame.h"
#include "counted_arrays.h"
#include "vexaxd_p.h"

namespace {

void ResponseSetCall(Asked asked, const char* setName, char** setText1, int* setValue1, char** setText2,
                     int* setValue2, void** members, int* errCode) {
  const auto deliver = [=](ApiCall& call) {
    std::unique_ptr<char[]> text1(NewText(call.Text(0)));
    std::unique_ptr<char[]> text2(NewText(call.Text(1)));
    *members = NewStringList(call.reply().GetStringDataRef(), 2);
    *setText1 = text1.release();
    *setText2 = text2.release();
    call.TakeResults(Out(setValue1), Out(setValue2));
  };
  StoreCode(errCode, DeliveringCall(asked, deliver, setName));
}

}  // namespace

int GetVarAttributeNames(int index, char*** names, int* count) {
  return TextsCall(Action::GetVarAttributeNames, names, count, index);
}

int GetDataFileAttributeNames(char*** names, int* count) {
  return TextsCall(Action::GetDataFileAttributeNames, names, count);
}

int GetVarAttributes(int index, const char* attrName, char*** values, int* count) {
  return TextsCall(Action::GetVarAttributes, values, count, index, attrName);
}

int GetDataFileAttributes(const char* attrName, char*** values, int* count) {
  return TextsCall(Action::GetDataFileAttributes, values, count, attrName);
}

int GetVarAttributeNamesInProcDS(int index, char*** names, int* count) {
  return TextsCall(Action::GetVarAttributeNamesInProcDS, names, count, index);
}

int GetDataFileAttributeNamesInProcDS(char*** names, int* count) {
  return TextsCall(Action::GetDataFileAttributeNamesInProcDS, names, count);
}

int GetVarAttributesInProcDS(int index, const char* attrName, char*** values, int* count) {
  return TextsCall(Action::GetVarAttributesInProcDS, values, count, index, attrName);
}

int GetDataFileAttributesInProcDS(const char* attrName, char*** values, int* count) {
  return TextsCall(Action::GetDataFileAttributesInProcDS, values, count, attrName);
}

int SetVarAttributes(const char* attrText1, const char* attrText2, const char* attrText3, int attrValue) {
  return GuardedCall(Action::SetVarAttributes, attrText1, attrText2, attrText3, attrValue);
}

int FreeAttributeNames(char** names, int count) { return FreeAttributes(names, count); }

int FreeAttributes(char** values, int count) {
  if (!isVexaRunning) return Failed(CleXDErrorCode::kBackendNotRunning);
  FreeTexts(values, count);
  return 0;
}

void* GetMultiResponseSetNames(int* errCode) { return ListCall(Action::GetMultiResponseSetNames, errCode); }

void* GetMultiResponseSetNamesInProcDS(int* errCode) {
  return ListCall(Action::GetMultiResponseSetNamesInProcDS, errCode);
}

void GetMultiResponseSet(const char* setName, char** setText1, int* setValue1, char** setText2,
                         int* setValue2, void** members, int* errCode) {
  ResponseSetCall(Action::GetMultiResponseSet, setName, setText1, setValue1, setText2, setValue2, members,
                  errCode);
}

void GetMultiResponseSetInProcDS(const char* setName, char** setText1, int* setValue1, char** setText2,
                                 int* setValue2, void** members, int* errCode) {
  ResponseSetCall(Action::GetMultiResponseSetInProcDS, setName, setText1, setValue1, setText2, setValue2,
                  members, errCode);
}
