// Data steps: several datasets open at once, by name.
#include <algorithm>
#include <cstring>
#include <memory>

#include "call_frame.h"
#include "counted_arrays.h"
#include "dataset_catalogue.h"
#include "datastep_smb.h"
#include "vexa_assert.h"
#include "vexaxd_p.h"

namespace {

constexpr const char* kActiveDataset = "*";

// Kept: the records of a data step are not destroyed with it. Not inlined: the leak checker's list knows it
// by name.
[[gnu::noinline]] DatastepDataSmb* MakeUnownedRecord() { return new DatastepDataSmb; }

int DatasetNames(Asked asked, char*** names, int* count) {
  if (!isVexaRunning) return Failed(CleXDErrorCode::kBackendNotRunning, asked.function);
  return DeliveringCall(
      asked, [=](ApiCall& call) { TakeTexts(call, call.reply().GetStringDataRef().Size(), names, count); });
}

// What is remembered may have been cleared since.
DatastepDataSmb* RecordAt(int index) {
  const bool there = dataSteps != nullptr && index >= 0 && index < datasetCount;
  return there ? dataSteps->datasetStates[static_cast<std::size_t>(index)] : nullptr;
}

}  // namespace

DatastepDataSmb* FindRecord(const char* name) {
  const char* wanted = name != nullptr ? name : "";
  if (activeDatasetName != wanted) {
    int index = -1;
    for (int i = 0; dataSteps != nullptr && i < datasetCount && index < 0; ++i) {
      if (dataSteps->datasetNames[static_cast<std::size_t>(i)] == wanted) index = i;
    }
    // What cannot be remembered is looked for again.
    if (CodeOf([&] { return activeDatasetName = wanted, 0; }) != 0) return RecordAt(index);
    activeDatasetIndex = index;
  }
  return RecordAt(activeDatasetIndex);
}

void FlushPendingWrites() {
  if (dataVec.Count() != 0) CommitDataSet();
}

int RebuildVarObsIndex(const char* name, DatastepDataSmb& record) {
  int code = 0;
  record.ClearVarObsIndex();
  const int count = GetVarCountInDS(name, &code);
  for (int i = 0; i < count && !NotReached(code); ++i) record.AddVarObsIndex(GetVarObsIndex(name, i, &code));
  return code;
}

int StartDataStep() {
  if (!isVexaRunning) return Failed(CleXDErrorCode::kBackendNotRunning);
  const int code = Call(Action::StartDataStep);
  if (code == 0) isProcedure = isDataStep = true;
  return code;
}

int EndDataStep() {
  if (!isVexaRunning) return Failed(CleXDErrorCode::kBackendNotRunning);
  FlushPendingWrites();
  const int code = Call(Action::EndDataStep);
  DropBatch();
  if (code != 0) return code;
  isProcedure = isDataStep = false;
  dataVec.ClearWithRoom();
  dsNameVec.clear();
  casecountVec.clear();
  varcountVec.clear();
  delete dataSteps;  // and not its records
  dataSteps = nullptr;
  datasetCount = 0;
  return 0;
}

static int AskForLayout(const char* name);

int CreateDataset(const char* name, bool flag1, bool flag2) {
  int code = GuardedCall(Action::CreateDataset, name, Flag(flag1), Flag(flag2));
  if (code != 0) return code;
  return CodeOf([&] {
    std::string dataset = name != nullptr ? name : "";
    if (dataset.empty() || dataset == kActiveDataset) dataset = GetActive(&code);
    const long cases = GetCaseCountInDS(dataset.c_str(), &code);
    const int variables = GetVarCountInDS(dataset.c_str(), &code);
    casecountVec.reserve(dsNameVec.size() + 1);  // all three go in, or none
    varcountVec.reserve(dsNameVec.size() + 1);
    dsNameVec.push_back(dataset);
    casecountVec.push_back(cases);
    varcountVec.push_back(variables);
    return code == 0 ? AskForLayout(dataset.c_str()) : code;
  });
}

void IntiDataStepData(const char* name) {
  CodeOf([=] { return AskForLayout(name != nullptr ? name : ""); });
}

// The code when nobody answers any more.
static int AskForLayout(const char* name) {
  int code = 0;
  if (dataSteps == nullptr) dataSteps = new MultiDatastepData;
  std::unique_ptr<DatastepDataSmb> record(MakeUnownedRecord());
  record->SetOneCaseSize(GetCaseLength(name, &code));
  const int count = GetVarCountInDS(name, &code);
  for (int i = 0; i < count && !NotReached(code); ++i) {
    record->AddVarType(GetVarTypeInDS(name, i, &code));
    record->AddVarObsIndex(GetVarObsIndex(name, i, &code));
  }
  std::vector<DatastepDataSmb*>& records = dataSteps->datasetStates;
  records.reserve(records.size() + 1);  // name and record go in, or neither
  dataSteps->datasetNames.emplace_back(name);
  records.push_back(record.release());
  ++datasetCount;
  activeDatasetName = name;
  activeDatasetIndex = datasetCount - 1;
  return NotReached(code) ? code : 0;
}

int SetDatasetName(const char* name, const char* newName) {
  return GuardedCall(Action::SetDatasetName, name, newName);
}

int GetNewDatasetName(char* name) {
  if (!isVexaRunning) return Failed(CleXDErrorCode::kBackendNotRunning);
  ApiCall call(Action::GetNewDatasetName);
  if (call.code() != 0) return call.code();
  const int size = call.reply().GetStringDataRef().Size();
  VEXA_ASSERT(size > 0);
  return CodeOf([&] {
    const std::string text = UpToZero(call.Text(0));
    std::memcpy(name, text.c_str(), text.size() + 1);
    return 0;
  });
}

const char* GetActive(int* errCode) {
  ApiCall call(Action::GetActive);
  const char* name = kActiveDataset;
  int code = call.code();
  if ((code == 0 || code == CleXDErrorCode::kNoActiveName) && call.reply().GetStringDataRef().Size() > 0) {
    const int kept = CodeOf([&] { return name = KeepText(call.Text(0)), 0; });
    if (kept != 0) code = kept;
  }
  StoreCode(errCode, code);
  return name;
}

int SetActive(const char* name) { return GuardedCall(Action::SetActive, name); }

int CopyDataset(const char* source, const char* target) {
  return GuardedCall(Action::CopyDataset, source, target);
}

int GetVexaDatasets(char*** names, int* count) { return DatasetNames(Action::GetVexaDatasets, names, count); }

int GetOpenedVexaDatasets(char*** names, int* count) {
  return DatasetNames(Action::GetOpenedVexaDatasets, names, count);
}

int GetDatastepDatasets(char*** names, int* count) {
  return DatasetNames(Action::GetDatastepDatasets, names, count);
}

int CloseDataset(const char* name) {
  if (!isVexaRunning) return Failed(CleXDErrorCode::kBackendNotRunning);
  FlushPendingWrites();
  const int code = Call(Action::CloseDataset, name);
  const int entry = code == 0 ? FindInCatalogue(name) : -1;
  if (entry >= 0) {
    dsNameVec.erase(dsNameVec.begin() + entry);
    casecountVec.erase(casecountVec.begin() + entry);
    varcountVec.erase(varcountVec.begin() + entry);
  }
  return code;
}

int GetVarCountInDS(const char* name, int* errCode) {
  return LongCall(Action::GetVarCountInDS, 0, errCode, name);
}

long GetCaseCountInDS(const char* name, int* errCode) {
  ApiCall call(Action::GetCaseCountInDS, name);
  StoreCode(errCode, call.code());
  if (call.code() != 0) return -1;
  const int size = call.reply().GetLongDataRef().Size();
  VEXA_ASSERT(size > 0);
  return call.Long(0);
}
