#include "session.h"

#include <unistd.h>

#include "CmdReceiveThread.h"
#include "call_frame.h"
#include "call_road.h"
#include "child_process.h"
#include "commit_case_data.h"
#include "cursor_data_smb.h"
#include "datastep_smb.h"
#include "dxglobals.h"
#include "fifo_files.h"
#include "result_texts.h"
#include "sigpipe.h"
#include "xpipemanager.h"

std::atomic<bool> isVexaRunning = false;
std::int32_t processId = -1;
bool isxdriven = false;
bool nestability = false;
CmdReceiveThread* cmdThread = nullptr;
XPipeSuit* myPipeSuit = nullptr;
std::string vexa_pipe_index;
std::string vexa_pipe_path;
std::string vexa_pipe_lang;
std::string vexa_home;
CursorDataSmb* curCaseData = nullptr;
static CursorDataSmb no_cursor;
CursorDataSmb* readableCursor = &no_cursor;
std::uint64_t cursorNumber = 0;
std::uint64_t sessionNumber = 0;
CacheCommitCaseData* curCommitCaseData = nullptr;
char* stringResult = nullptr;
wchar_t* wstringResult = nullptr;
bool isProcedure = false;
bool isDataStep = false;
std::FILE* outputFile = nullptr;
std::string rTempDir;
std::vector<std::string> dsNameVec;
std::vector<long> casecountVec;
std::vector<std::int32_t> varcountVec;
MultiDatastepData* dataSteps = nullptr;
std::int32_t datasetCount = 0;
std::string activeDatasetName;
std::int32_t activeDatasetIndex = -1;
GatheredRecords dataVec;
DatastepSmb* DatastepBatch = nullptr;
char* DSNameBatch = nullptr;

namespace {

pid_t session_owner = -1;

// Tells the backend that the process that drives it is going away. No reply is read. The backend may be gone
// already, or busy with a call that was given up: neither a broken pipe nor a full one must change how the
// process ends.
void SayGoodbye() {
  constexpr long kDriverLeaves = 998800;
  const SigpipeBlocked quiet;
  const Patience none = {[] { return CleXDErrorCode::kInterrupted; }, 0, -1};
  CleXDSmb farewell;
  VexaPipe* apiPipe = nullptr;
  VexaPipe* resultPipe = nullptr;
  GetXDApiPipes(&apiPipe, &resultPipe);
  farewell.SetLong(kDriverLeaves);
  if (!apiPipe->Debt().Any() && apiPipe->OpenToWrite(none) == 0) SendOnRoad(*apiPipe, farewell, none);
}

// A thread that does not end in time goes with the process.
void LetCommandThreadGo() {
  constexpr int kMilliseconds = 1000;
  if (cmdThread != nullptr && cmdThread->EndWithin(kMilliseconds)) EndCommandThread();
}

// The exit hook. Constructed behind the session's state, so that it is destroyed ahead of it.
struct InitializeData {
  ~InitializeData() {
    ++sessionNumber;
    if (getpid() == session_owner) {
      if (isVexaRunning && isxdriven) SayGoodbye();
      LetCommandThreadGo();
      RemoveFifos();
    }
    ReleaseResultTexts();
  }
};

InitializeData InstanceOfInitializeData;

}  // namespace

void SetRunning(bool running) {
  isVexaRunning = running;
  readableCursor = isVexaRunning && curCaseData != nullptr ? curCaseData : &no_cursor;
}

void SetCursor(CursorDataSmb* cursor) {
  curCaseData = cursor;
  ++cursorNumber;
  SetRunning(isVexaRunning);
}

// All fifos under this process's own id are its own to remove. Those under another id belong to the process
// that this one works for, apart from the ones made here.
void RemoveFifos() {
  const XPipeManager* const manager = GetXPipeManager();
  if (manager == nullptr) return;
  if (manager->getPipePid() != ProcessIdText()) return manager->RemoveFiles(true);
  RemoveFifosOf(manager->getPipePath(), manager->getPipePid());
}

void SetBackend(pid_t child) {
  processId = child;
  SetBackendProcess(child);
}

void EndCommandThread() {
  if (getpid() == session_owner) delete cmdThread;  // a fork has no such thread
  cmdThread = nullptr;
}

void CloseRecord() {
  if (outputFile != nullptr) std::fclose(outputFile);
  outputFile = nullptr;
}

void DropCaseBeingBuilt() {
  delete curCommitCaseData;
  curCommitCaseData = nullptr;
}

void DropBatch() {
  delete DatastepBatch;
  DatastepBatch = nullptr;
  delete[] DSNameBatch;
  DSNameBatch = nullptr;
}

void NoteSessionOwner() { session_owner = getpid(); }
bool IsSessionOwner() { return session_owner == getpid(); }

void ResetStaticVars() {
  ++sessionNumber;
  isDataStep = false;
  delete curCaseData;
  SetCursor(nullptr);
  SetRunning(false);
  isxdriven = false;
  ReleaseResultTexts();
  CloseRecord();
  DropBatch();
  SetBackend(-1);
  vexa_pipe_index.clear();
  vexa_pipe_path.clear();
  vexa_pipe_lang.clear();
  vexa_home.clear();
  rTempDir.clear();
  DropCaseBeingBuilt();
  myPipeSuit = nullptr;
  EndCommandThread();
}
