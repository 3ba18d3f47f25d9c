// The case cursor: cases of the active dataset, fetched in blocks and read on this side.
#include <algorithm>
#include <climits>
#include <cstring>

#include "call_frame.h"
#include "case_blocks.h"
#include "cursor_data_smb.h"
#include "reasons.h"
#include "vexaxd_p.h"

namespace {

void RemoveCursor() {
  delete curCaseData;
  SetCursor(nullptr);
  DropCaseBeingBuilt();
}

int AccessTypeOf(const char* accessType) {
  if (accessType == nullptr || accessType[0] == '\0' || accessType[1] != '\0') return CursorDataSmb::kOther;
  if (*accessType == 'r' || *accessType == 'R') return CursorDataSmb::kRead;
  if (*accessType == 'w' || *accessType == 'W') return CursorDataSmb::kWrite;
  return CursorDataSmb::kOther;
}

// The units of a variable of that type in a case.
int CaseUnits(int varType) {
  if (varType <= 7) return 1;  // numeric, short, or not told
  return (varType - 1) / 8 + 1;
}

// Both codes count: the first that says that nobody answers any more.
int AskForVariable(int index, VarInfo* info) {
  int code = 0;
  info->varType = GetVariableTypeInProcDS(index, &code);
  if (NotReached(code)) return code;
  if (info->varType != 0) {
    return GetVarCMissingValues(index, &info->missingFormat, info->missing1.bytes, info->missing2.bytes,
                                info->missing3.bytes);
  } else {
    double missing1 = 0.0;
    double missing2 = 0.0;
    double missing3 = 0.0;
    code = GetVarNMissingValues(index, &info->missingFormat, &missing1, &missing2, &missing3);
    info->missing1 = AsOBS(missing1);
    info->missing2 = AsOBS(missing2);
    info->missing3 = AsOBS(missing3);
    return code;
  }
}

int CasesWanted(const CursorDataSmb& cursor) {
  const int size = cursor.GetOneCaseSize();
  if (cursor.GetAccessType() != CursorDataSmb::kRead || size <= 0 || size >= CursorDataSmb::CACHE_SIZE)
    return 1;
  return CursorDataSmb::CACHE_SIZE / size;
}

int FetchBlock(CursorDataSmb& cursor) {
  CleXDSmb request;
  request.SetCommandAction(Action::NextCaseBlock);
  request.SetLong(CasesWanted(cursor));
  request.SetLong(cursor.GetOneCaseSize());
  VexaPipe* resultPipe = nullptr;
  const int sent = SendRequest(request, resultPipe);
  if (sent != 0) return sent;

  Reply reply;
  reply.OfferFrame(cursor.ReleaseBuffer());
  const int code = ReceiveXDApiResult(reply, resultPipe);
  const bool at_end = code == CleXDErrorCode::kEndOfData || code == CleXDErrorCode::kEndOfSplit;
  LongData& longs = reply.GetLongDataRef();
  const int cases = longs.Size() > 0 ? longs[0] : 0;
  if (code == 0 || (at_end && cases >= 1)) {
    cursor.SetReceivedCases(cases);
    cursor.TakeBlock(reply.TakeVoidBlock());
    if (cases >= 1 && !cursor.HasCase()) return CleXDErrorCode::kPipeFailed;  // told and not there
    cursor.SetLastError(code);  // the end is told when the last case of the block has been stepped over
    return 0;
  }
  if (code == CleXDErrorCode::kInterrupted) cursor.Lose();
  if (!at_end) NoteWordsOf(reply, code);
  cursor.SetReceivedCases(-1);  // the block in hand went with its room
  cursor.SetLastError(0);
  return code;
}

[[gnu::noinline]] int LeaveCase() {
  if (!isVexaRunning) return CleXDErrorCode::kBackendNotRunning;
  if (curCaseData == nullptr) return Call(Action::NextCase);
  if (curCaseData->Lost()) return CleXDErrorCode::kInterrupted;
  const int code = curCaseData->NextCase();
  if (code != CursorDataSmb::NO_CACHE_DATA) return code;
  return CodeOf([] { return FetchBlock(*curCaseData); }, "NextCase");
}

[[gnu::noinline]] int GetOtherValue(unsigned int index, double* value, int* missing) {
  if (!isVexaRunning) return CleXDErrorCode::kBackendNotRunning;
  if (curCaseData != nullptr) {
    double number = 0.0;
    int state = 0;
    const int code = curCaseData->GetNumericValue(index, number, state);
    if (code == 0 && value != nullptr) *value = number;
    if (code == 0) StoreCode(missing, state);
    return code;
  }
  return Call(Action::GetNumericValue, static_cast<int>(index), Out(missing), Out(value));
}

// Kept: a cursor that stands there is overwritten and not released, apart from its block of cases.
// Not inlined: the leak checker's list knows it by name.
[[gnu::noinline]] CursorDataSmb& MakeOverwritingCursor() {
  auto* cursor = new CursorDataSmb;
  if (curCaseData != nullptr) curCaseData->SetCasePtr(nullptr, 0);
  SetCursor(cursor);
  return *cursor;
}

}  // namespace

// Asks for the variables one by one. A code when nobody answers any more, or memory runs out; then there is
// no cursor.
static int FillCursor(const char* accessType) {
  CursorDataSmb& cursor = MakeOverwritingCursor();
  int code = 0;
  const int count = GetVariableCountInProcDS(&code);
  std::int64_t units = 0;
  for (int i = 0; i < count && !NotReached(code); ++i) {
    VarInfo* info = cursor.NewVarInfo();
    code = AskForVariable(i, info);
    cursor.GetObsIndex().push_back(static_cast<std::int32_t>(units));
    cursor.AddVarInfo(info);
    units += CaseUnits(info->varType);
  }
  constexpr std::int64_t kMostUnits = INT_MAX / static_cast<int>(sizeof(OBS));
  cursor.SetOneCaseSize(static_cast<int>(std::min(units, kMostUnits)) * static_cast<int>(sizeof(OBS)));
  cursor.SetAccessType(AccessTypeOf(accessType));
  return NotReached(code) ? code : 0;
}

static int MakeCursor(const char* accessType) {
  const int code = CodeOf([=] { return FillCursor(accessType); });
  if (code != 0) RemoveCursor();
  return code;
}

void IntializeCursorData(const char* accessType) { MakeCursor(accessType); }

int MakeCaseCursor(const char* accessType) {
  const int code = GuardedCall(Action::MakeCaseCursor, accessType);
  return code != 0 ? code : Failed(MakeCursor(accessType));
}

int NextCaseBlock(CaseBlock& block) {
  block = {};
  if (isVexaRunning && curCaseData != nullptr && curCaseData->HasData())
    curCaseData->SetCurCasePos(curCaseData->ReceivedCases() - 1);
  const int code = Failed(LeaveCase(), "NextCase");
  if (code != 0 || curCaseData == nullptr) return code;
  const std::size_t case_size = static_cast<std::size_t>(curCaseData->GetOneCaseSize());
  const std::size_t count = static_cast<std::size_t>(std::max(curCaseData->ReceivedCases(), 0));
  const std::size_t bytes = static_cast<std::size_t>(std::max(curCaseData->Block().length, 0));
  if (count == 0 || count * case_size > bytes) {
    return Failed(Because(CleXDErrorCode::kPipeFailed, "a block of ", std::to_string(count), " cases of ",
                          std::to_string(case_size), " bytes came with ", std::to_string(bytes)),
                  "NextCase");
  }
  block = {curCaseData->Block().data, count};
  return 0;
}

// An ordinary step and an ordinary cell are straight lines; everything else, the guard included, is asked
// about behind them.
int NextCase() { return readableCursor->StepAhead() ? 0 : Failed(LeaveCase()); }

int GetNumericValue(unsigned int index, double* value, int* missing) {
  if (value != nullptr && readableCursor->ReadPlainNumber(index, *value)) [[likely]] {
    StoreCode(missing, kValid);
    return 0;
  }
  return Failed(GetOtherValue(index, value, missing));
}

int GetStringValue(unsigned int index, char** value, int length, int* missing) {
  if (!isVexaRunning) return Failed(CleXDErrorCode::kBackendNotRunning);
  if (curCaseData != nullptr) {
    int state = 0;
    const int code = curCaseData->GetStringValue(index, *value, length, state);
    if (code == 0) StoreCode(missing, state);
    return Failed(code);
  }
  ApiCall call(Action::GetStringValue, static_cast<int>(index), length);
  if (call.code() != 0) return call.code();
  call.TakeResults(Out(missing));
  if (length > 0) std::strncpy(*value, call.Text(0).c_str(), static_cast<std::size_t>(length));
  return 0;
}

int RemoveCaseCursor() {
  if (!isVexaRunning) return Failed(CleXDErrorCode::kBackendNotRunning);
  RemoveCursor();
  return Call(Action::RemoveCaseCursor);
}

int ResetDataPass() {
  if (!isVexaRunning) return Failed(CleXDErrorCode::kBackendNotRunning);
  const int code = Call(Action::ResetDataPass);
  RemoveCursor();
  return code;
}

int GetCursorPosition(int* position) { return GuardedCall(Action::GetCursorPosition, Out(position)); }

int HasCursor(int* hasCursor) { return GuardedCall(Action::HasCursor, Out(hasCursor)); }

int IsEndSplit(int* isEnd) {
  if (!isVexaRunning) return Failed(CleXDErrorCode::kBackendNotRunning);
  if (curCaseData != nullptr && curCaseData->HasData()) {
    StoreCode(isEnd, 0);
    return 0;
  }
  ApiCall call(Action::IsEndSplit);
  if (call.code() == 0 || call.code() == CleXDErrorCode::kEndOfSplit) call.TakeResults(Out(isEnd));
  return call.code();
}
