// New variables, and cases committed whole: the values of one case are gathered here and go out in one
// request, which can bring back the next case for a write cursor.
#include <cstdlib>

#include "call_frame.h"
#include "commit_case_data.h"
#include "cursor_data_smb.h"
#include "vexa_assert.h"
#include "vexaxd_p.h"

namespace {

CacheCommitCaseData& CaseBeingBuilt() {
  if (curCommitCaseData == nullptr) curCommitCaseData = new CacheCommitCaseData;
  return *curCommitCaseData;
}

// Both lists of names go out, even when one is empty. Without a case nothing does.
void AddCase(CleXDSmb& request) {
  if (curCommitCaseData == nullptr) return;
  const CacheCommitCaseData& values = *curCommitCaseData;
  StringData numeric_names;
  StringData string_names;
  for (const std::string& name : values.numericNames) numeric_names.SetValue(name);
  for (const std::string& name : values.stringNames) string_names.SetValue(name);
  for (const double value : values.numericValues) request.SetDouble(value);
  for (const std::string& value : values.stringValues) request.SetString(value);
  request.SetStringArray(numeric_names);
  request.SetStringArray(string_names);
}

}  // namespace

int SetVarNameAndType(char** names, int* types, int numOfVar) {
  VEXA_ASSERT(numOfVar > 0);
  if (!isVexaRunning) return Failed(CleXDErrorCode::kBackendNotRunning);
  return CodeOf([=] {
    CleXDSmb request;
    Reply reply;
    for (int i = 0; i < numOfVar; ++i) {
      request.SetLong(types[i]);
      request.SetString(names[i]);
    }
    request.SetLong(numOfVar);
    return Exchange(Action::SetVarNameAndType, request, reply);
  });
}

int SetVarLabel(const char* name, const char* label) { return GuardedCall(Action::SetVarLabel, name, label); }

int SetVarCValueLabel(const char* name, const char* value, const char* label) {
  return GuardedCall(Action::SetVarCValueLabel, name, value, label);
}

int SetVarNValueLabel(const char* name, double value, const char* label) {
  return GuardedCall(Action::SetVarNValueLabel, name, value, label);
}

int SetVarCMissingValues(const char* name, int missingFormat, const char* value1, const char* value2,
                         const char* value3) {
  return GuardedCall(Action::SetVarCMissingValues, name, missingFormat, value1, value2, value3);
}

int SetVarNMissingValues(const char* name, int missingFormat, double value1, double value2, double value3) {
  return GuardedCall(Action::SetVarNMissingValues, name, missingFormat, value1, value2, value3);
}

int SetVarMeasureLevel(const char* name, int level) {
  return GuardedCall(Action::SetVarMeasureLevel, name, level);
}

int SetVarAlignment(const char* name, int alignment) {
  return GuardedCall(Action::SetVarAlignment, name, alignment);
}

int SetVarFormat(const char* name, int type, int width, int decimals) {
  return GuardedCall(Action::SetVarFormat, name, type, width, decimals);
}

int SetVarRole(const char* name, int role) { return GuardedCall(Action::SetVarRole, name, role); }

int AllocNewVarsBuffer(int count) { return GuardedCall(Action::AllocNewVarsBuffer, count); }

int SetOneVarNameAndType(const char* name, int type) {
  return GuardedCall(Action::SetOneVarNameAndType, name, type);
}

int CommitHeader() { return GuardedCall(Action::CommitHeader); }

int EndChanges() { return GuardedCall(Action::EndChanges); }

int SetValueNumeric(const char* name, double value) {
  if (!isVexaRunning) return Failed(CleXDErrorCode::kBackendNotRunning);
  return CodeOf([=] {
    CacheCommitCaseData& values = CaseBeingBuilt();
    values.numericValues.reserve(values.numericValues.size() + 1);  // both go in, or neither
    values.numericNames.emplace_back(name != nullptr ? name : "");
    values.numericValues.push_back(value);
    return 0;
  });
}

int SetValueChar(const char* name, const char* value, int length) {
  if (!isVexaRunning) return Failed(CleXDErrorCode::kBackendNotRunning);
  return CodeOf([=] {
    CacheCommitCaseData& values = CaseBeingBuilt();
    const bool empty = value == nullptr || length <= 0;
    std::string text = empty ? std::string() : std::string(value, static_cast<std::size_t>(length));
    values.stringValues.reserve(values.stringValues.size() + 1);  // both go in, or neither
    values.stringNames.emplace_back(name != nullptr ? name : "");
    values.stringValues.push_back(std::move(text));
    return 0;
  });
}

static int CommitRecord() {
  CleXDSmb request;
  Reply reply;
  AddCase(request);
  if (curCaseData != nullptr) {
    constexpr long kOneCase = 1;
    request.SetLong(kOneCase);
    request.SetLong(curCaseData->GetOneCaseSize());
  }
  const int code = Exchange(Action::CommitCaseRecord, request, reply);
  int length = 0;
  if (code == 0 && curCaseData != nullptr && reply.GetVoidData(length) != nullptr && length >= 1) {
    LongData& longs = reply.GetLongDataRef();
    curCaseData->TakeBlock(reply.TakeVoidBlock());
    curCaseData->SetReceivedCases(longs.Size() > 0 ? longs[0] : 0);
    curCaseData->SetLastError(0);
    curCaseData->SetCurCasePos(-1);  // so that the next step goes to the first case of this block
  }
  return code;
}

int CommitCaseRecord() {
  if (!isVexaRunning) return Failed(CleXDErrorCode::kBackendNotRunning);
  const int code = CodeOf(CommitRecord);
  DropCaseBeingBuilt();
  return code;
}

int CommitNewCase() {
  if (!isVexaRunning) return Failed(CleXDErrorCode::kBackendNotRunning);
  const int code = CodeOf([] {
    CleXDSmb request;
    Reply reply;
    AddCase(request);
    return Exchange(Action::CommitNewCase, request, reply);
  });
  DropCaseBeingBuilt();
  return code;
}

int CommitManyCases(char** names, int* types, void* data, int numOfVar, int dataLength, int caseCount) {
  CleXDSmb request;
  request.SetVoidData(data, dataLength);  // the caller's no more, whatever comes of it
  if (!isVexaRunning) return Failed(CleXDErrorCode::kBackendNotRunning);
  const int code = CodeOf([&] {
    Reply reply;
    LongData type_list;
    for (int i = 0; i < numOfVar; ++i) {
      request.SetString(names[i]);
      type_list.SetValue(types[i]);
    }
    request.SetLong(numOfVar);
    request.SetLong(caseCount);
    request.SetLongArray(type_list);
    return Exchange(Action::CommitManyCases, request, reply);
  });
  DropCaseBeingBuilt();
  return code;
}

// The records are gone, whatever comes of it; the room for them is kept for the next ones.
int CommitDataSet() {
  if (!isVexaRunning) return Failed(CleXDErrorCode::kBackendNotRunning);
  const int code = Failed(CodeOf([] {
    CleXDSmb request;
    Reply reply;
    request.LendRecords(dataVec.Lend(), dataVec.Count());
    return Exchange(Action::CommitDataSet, request, reply);
  }));
  dataVec.Clear();
  return code;
}
