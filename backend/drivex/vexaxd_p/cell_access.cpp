// Cells of the datasets of a data step: one at a time, from a batch of rows, or within one case that is kept
// here.
#include <cstring>
#include <memory>

#include "call_frame.h"
#include "dataset_catalogue.h"
#include "datastep_smb.h"
#include "vexaxd_p.h"

namespace {

constexpr std::size_t kMostPendingWrites = 1048576;
constexpr std::int32_t kNumber = 0, kText = 1;  // what a pending write holds

// 0 when the cell is one of the dataset's, as far as the catalogue knows, and its entry there.
[[gnu::always_inline]] inline int FindCell(const char* name, long row, int column, std::size_t& entry) {
  if (!isVexaRunning) return CleXDErrorCode::kBackendNotRunning;
  if (!isProcedure) return CleXDErrorCode::kNoStepOpen;
  const int found = FindInCatalogue(name);
  if (found < 0) return CleXDErrorCode::kUnknownDataset;
  entry = static_cast<std::size_t>(found);
  if (row < 0 || row >= casecountVec[entry] || !FitsWire(row)) return CleXDErrorCode::kRowOutOfRange;
  return column >= 0 && column < varcountVec[entry] ? 0 : CleXDErrorCode::kIndexOutOfRange;
}

// Queues the cell whatever becomes of the commit that makes room for it; the commit's code is the call's.
[[gnu::always_inline]] inline int QueueCell(const char* name, long row, int column, std::int32_t type,
                                            double number, std::string_view text) {
  std::size_t entry = 0;
  int code = FindCell(name, row, column, entry);
  if (code != 0) return code;
  if (dataVec.Count() >= kMostPendingWrites) [[unlikely]]
    code = CommitDataSet();
  const CellRecord cell = {dsNameVec[entry], static_cast<std::int32_t>(row), column, type, number, text};
  return dataVec.Append(cell) ? code : CleXDErrorCode::kTooLarge;
}

// Adds to the case count of the dataset's first entry.
int ChangeCaseCount(int code, const char* name, int change) {
  const int entry = code == 0 ? FindInCatalogue(name) : -1;
  if (entry >= 0) casecountVec[static_cast<std::size_t>(entry)] += change;
  return code;
}

bool IsBatchOf(const char* name) {
  return DatastepBatch != nullptr && DSNameBatch != nullptr && name != nullptr &&
         std::strcmp(DSNameBatch, name) == 0;
}

bool FindValueInBatch(const char* name, long row, void* batch) {
  return batch != nullptr && IsBatchOf(name) && static_cast<DatastepSmb*>(batch)->HoldsRow(row);
}

// False when there is no batch to read from: the fetch was refused, and errCode tells.
bool FetchUnlessHeld(const char* name, long row, int column, int* errCode) {
  if (!FindValueInBatch(name, row, DatastepBatch)) FetchDatastep(name, row, column, errCode);
  return DatastepBatch != nullptr;
}

}  // namespace

double GetNCellValue(const char* name, long row, int column, int* missing, int* errCode) {
  FlushPendingWrites();
  ApiCall call(Action::GetNCellValue, name, row, column);
  StoreCode(errCode, call.code());
  if (call.code() != 0) return 0.0;
  call.TakeResults(Out(missing));
  return call.Double(0);
}

const char* GetCCellValue(const char* name, long row, int column, int* missing, int* errCode) {
  FlushPendingWrites();
  const char* text = nullptr;
  const auto take = [&](ApiCall& call) {
    text = KeepText(call.Text(0));
    call.TakeResults(Out(missing));
  };
  StoreCode(errCode, DeliveringCall(Action::GetCCellValue, take, name, row, column));
  return text;
}

int SetNCellValue(const char* name, long row, int column, double value) {
  return Failed(QueueCell(name, row, column, kNumber, value, {}));
}

int SetCCellValue(const char* name, long row, int column, const char* value) {
  return Failed(QueueCell(name, row, column, kText, 0.0, OrEmpty(value)));
}

int InsertCase(const char* name, long row) {
  return ChangeCaseCount(GuardedCall(Action::InsertCase, name, row), name, 1);
}

int DeleteCase(const char* name, long row) {
  return ChangeCaseCount(GuardedCall(Action::DeleteCase, name, row), name, -1);
}

// Kept: ends with code 0, a failed fetch included; the cells that are then read tell. A code for what cannot
// be asked.
void FetchDatastep(const char* name, long row, int, int* errCode) {
  if (!isVexaRunning) return StoreCode(errCode, Failed(CleXDErrorCode::kBackendNotRunning));
  FlushPendingWrites();
  StoreCode(errCode, CodeOf([=] {
              CleXDSmb request;
              AddArgument(request, name);
              AddArgument(request, IsBatchOf(name) ? 1 : 0);
              AddArgument(request, row);
              auto batch = std::make_unique<DatastepSmb>();
              Exchange(Action::FetchDatastep, request, *batch);
              batch->SetrowInfo(batch->LongAt(0));
              batch->SetvarCount(batch->LongAt(1));
              char* const fetched = NewText(std::string(OrEmpty(name)));
              DropBatch();
              DSNameBatch = fetched;
              DatastepBatch = batch.release();
              return 0;
            }));
}

static double NumberOfBatch(const char* name, long row, int column, int* missing, int* errCode, void* batch,
                            const char* function = __builtin_FUNCTION()) {
  int code = FitsWire(row) ? 0 : CleXDErrorCode::kRowOutOfRange;
  int state = 0;
  double value = 0.0;
  if (batch != nullptr && code == 0)
    value = static_cast<DatastepSmb*>(batch)->GetNCellValue(name, row, column, state, code);
  StoreCode(errCode, Failed(code, function));
  if (code == 0) StoreCode(missing, state);
  return value;
}

static char* TextOfBatch(const char* name, long row, int column, int* missing, int* errCode, void* batch,
                         const char* function = __builtin_FUNCTION()) {
  int code = FitsWire(row) ? 0 : CleXDErrorCode::kRowOutOfRange;
  int state = 0;
  char* value = nullptr;
  if (batch != nullptr && code == 0) {
    code = CodeOf([&] {
      int read = 0;
      value = static_cast<DatastepSmb*>(batch)->GetCCellValue(name, row, column, state, read);
      return read;
    });
  }
  StoreCode(errCode, Failed(code, function));
  if (code == 0) StoreCode(missing, state);
  return value;
}

double GetNCellValueBatch(const char* name, long row, int column, int* missing, int* errCode, void* batch) {
  return NumberOfBatch(name, row, column, missing, errCode, batch);
}

char* GetCCellValueBatch(const char* name, long row, int column, int* missing, int* errCode, void* batch) {
  return TextOfBatch(name, row, column, missing, errCode, batch);
}

double GetNCellValueOptimize(const char* name, long row, int column, int* missing, int* errCode) {
  if (!FetchUnlessHeld(name, row, column, errCode)) return 0.0;
  return NumberOfBatch(name, row, column, missing, errCode, DatastepBatch);
}

char* GetCCellValueOptimize(const char* name, long row, int column, int* missing, int* errCode) {
  if (!FetchUnlessHeld(name, row, column, errCode)) return nullptr;
  return TextOfBatch(name, row, column, missing, errCode, DatastepBatch);
}

double GetNCellValueCache(const char* name, long row, int column, int* missing, int* errCode) {
  return NumberOfBatch(name, row, column, missing, errCode, DatastepBatch);
}

char* GetCCellValueCache(const char* name, long row, int column, int* missing, int* errCode) {
  return TextOfBatch(name, row, column, missing, errCode, DatastepBatch);
}

void ClearDatastepBatch() {
  delete DatastepBatch;
  DatastepBatch = nullptr;
}

void GetRowList(const char* name, long row, int column, long* first, long* last, long* third, int* errCode) {
  const auto store = [](long* target, int value) {
    if (target != nullptr) *target = value;
  };
  if (!FetchUnlessHeld(name, row, column, errCode)) return;
  if (!FitsWire(row)) return;
  store(first, DatastepBatch->LongAt(0));
  store(last, DatastepBatch->LongAt(-2));
  store(third, DatastepBatch->LongAt(-1));
  StoreCode(errCode, 0);
}

void GetVarTypeInDSCache(int* types, int count, int* errCode) {
  for (int i = 0; i < count; ++i) types[i] = DatastepBatch != nullptr ? DatastepBatch->LongAt(i + 2) : 0;
  StoreCode(errCode, 0);
}

void GetCaseValue(const char* name, int row, bool flag, int* size, int* errCode) {
  DatastepDataSmb* record = FindRecord(name);
  if (record == nullptr) return;
  int length = 0;
  const auto take = [&](ApiCall& call) {
    const void* block = call.reply().GetVoidData(length);
    record->SetCaseValue(block, length);
  };
  const int code = DeliveringCall(Action::GetCaseValue, take, name, row, Flag(flag));
  StoreCode(errCode, code);
  if (code == 0) StoreCode(size, length);
}

int SetCaseValue(const char* name, long row, bool flag, void* data, int size) {
  return Call(Action::SetCaseValue, name, row, Flag(flag), VoidCopy(data, size));
}

// The whole case travels, with pairs of first unit and units that tell which parts of it count.
int SetCasePartValue(const char* name, long row, int* vars, bool flag, int count) {
  return CodeOf([&] {
    const DatastepDataSmb* record = FindRecord(name);
    if (record == nullptr) return 0;
    CleXDSmb request;
    Reply reply;
    AddArgument(request, name);
    AddArgument(request, row);
    AddArgument(request, count);
    for (int i = 0; i < count; ++i) {
      AddArgument(request, record->GetVarObsIndex(vars[i]));
      AddArgument(request, record->GetVarObsLength(vars[i]));
    }
    AddArgument(request, Flag(flag));
    int size = 0;
    const OBS* values = record->GetCaseValue(size);
    AddArgument(request, VoidCopy(values, size));
    return Exchange(Action::SetCaseValue, request, reply);
  });
}

double GetNCellValueFromCache(const char* name, int var, int* missing, int* errCode) {
  StoreCode(errCode, 0);
  const DatastepDataSmb* record = FindRecord(name);
  if (record == nullptr) return 0.0;
  int code = 0;
  int state = 0;
  const double value = record->GetNCellValue(static_cast<unsigned int>(var), state, code);
  if (code == 0) StoreCode(missing, state);
  StoreCode(errCode, Failed(code));
  return value;
}

char* GetCCellValueFromCache(const char* name, int var, int* errCode) {
  StoreCode(errCode, 0);
  const DatastepDataSmb* record = FindRecord(name);
  if (record == nullptr) return nullptr;
  char* value = nullptr;
  StoreCode(errCode, CodeOf([&] {
              int code = 0;
              value = record->GetCCellValue(static_cast<unsigned int>(var), code);
              return code;
            }));
  return value;
}

int SetNCellValueFromCache(const char* name, int var, double value) {
  DatastepDataSmb* record = FindRecord(name);
  return record != nullptr ? Failed(record->SetNCellValue(static_cast<unsigned int>(var), value)) : 0;
}

int SetCCellValueFromCache(const char* name, int var, const char* value) {
  DatastepDataSmb* record = FindRecord(name);
  return record != nullptr ? Failed(record->SetCCellValue(static_cast<unsigned int>(var), value)) : 0;
}

void GetVarInfo(const char* name, int** types, int* count) {
  CodeOf([=] {
    const DatastepDataSmb* record = FindRecord(name);
    if (record != nullptr && count != nullptr) record->GetVarInfo(types, *count);
    return 0;
  });
}

int GetCaseLength(const char* name, int* errCode) {
  return LongCall(Action::GetCaseLength, 0, errCode, name);
}

int GetVarObsIndex(const char* name, int var, int* errCode) {
  return LongCall(Action::GetVarObsIndex, 0, errCode, name, var);
}

int SetCacheInDS(const char* name, bool flag) { return Call(Action::SetCacheInDS, name, Flag(flag)); }

long GetRowCountInTempFile(int* errCode) {
  StoreCode(errCode, 0);
  return LongCall(Action::GetRowCountInTempFile, 0, errCode);
}
