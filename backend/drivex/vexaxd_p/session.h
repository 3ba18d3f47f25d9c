// The session of this process with its backend: file-level state, one set per process, without a lock, for
// the one thread that calls the client API. Each line says who writes it.
#ifndef SESSION_H
#define SESSION_H

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "cell_records.h"

class CmdReceiveThread;
class CursorDataSmb;
class DatastepSmb;
class XPipeSuit;
struct CacheCommitCaseData;
struct MultiDatastepData;

// Said at the declarations, so that a use is one instruction and no look into the table of the library's
// symbols.
#pragma GCC visibility push(hidden)

// The backend can be talked to. Written by StartVexa, IsBackendReady, StopVexa, SetVexaRunning,
// ResetStaticVars; the thread of a bulk transport reads it too.
extern std::atomic<bool> isVexaRunning;
// The backend that this process started, -1 for none. Written by StartVexa, StopVexa, ResetStaticVars.
extern std::int32_t processId;
// The last answer of IsXDriven, which writes it; cleared by ResetStaticVars.
extern bool isxdriven;
// The configuration supports the language of this process, so the backend can run language code in it: the
// session has a command channel and its thread. Written by IntializePipeInfo.
extern bool nestability;
// The thread that serves the command channel, owned. Written by StartVexa; ended by EndCommandThread.
extern CmdReceiveThread* cmdThread;
// This process's pipes, owned by the XPipeManager; null until IntializePipeInfo has run. Cleared by StopVexa
// and ResetStaticVars.
extern XPipeSuit* myPipeSuit;
// The id text of this process in the fifos' names and their directory. Written by IntializePipeInfo.
extern std::string vexa_pipe_index;
extern std::string vexa_pipe_path;
// The language and the home. Written by SetXNameAndSHome, IntializePipeInfo, StartVexa.
extern std::string vexa_pipe_lang;
extern std::string vexa_home;
// The cursor, owned. Written by IntializeCursorData; deleted by RemoveCaseCursor, ResetDataPass,
// ResetStaticVars.
extern CursorDataSmb* curCaseData;
// The cursor while the backend can be talked to, otherwise one without variables: never null, so that reading
// a value, done for every cell of a walk, has one question to ask. Follows isVexaRunning and curCaseData.
extern CursorDataSmb* readableCursor;
// How many cursors and how many sessions there have been: what belongs to one of them knows by these whether
// it is there still. Written by SetCursor; by StartVexa, ResetStaticVars and the exit of the process.
extern std::uint64_t cursorNumber;
extern std::uint64_t sessionNumber;
// The values of the case being built, owned; null between cases. Written by SetValueNumeric and SetValueChar,
// deleted by DropCaseBeingBuilt.
extern CacheCommitCaseData* curCommitCaseData;
// The text that the last call of that kind handed to its caller, from new[], owned. Written by KeepText.
extern char* stringResult;
// The same for wide texts. Written by KeepWideText.
extern wchar_t* wstringResult;
// A procedure or a data step is open. Written by StartProcedure and EndProcedure.
extern bool isProcedure;
// A data step is open. Written by StartDataStep, EndDataStep, StartVexa and ResetStaticVars.
extern bool isDataStep;
// The file that RecordBrowserOutput writes to, owned; null while nothing is recorded. Written by
// SetRecordBrowserOutput, closed by CloseRecord.
extern std::FILE* outputFile;
// The temp folder of the R side. Written by SetRTempFolderToVEXA.
extern std::string rTempDir;

// The catalogue of a data step, three lists side by side. Written by CreateDataset, CloseDataset,
// EndDataStep; the counts are kept in step by InsertCase, DeleteCase, InsertVariable, DeleteVariable,
// MoveVariables.
extern std::vector<std::string> dsNameVec;
extern std::vector<long> casecountVec;
extern std::vector<std::int32_t> varcountVec;
// The case layouts of its datasets, owned, and their number. Written by IntiDataStepData and EndDataStep.
extern MultiDatastepData* dataSteps;
extern std::int32_t datasetCount;
// The dataset that was looked up last and its place in dataSteps, -1 when it was not there. Written by
// FindRecord and IntiDataStepData.
extern std::string activeDatasetName;
extern std::int32_t activeDatasetIndex;
// The pending cell writes. Written by SetNCellValue and SetCCellValue, sent from there by CommitDataSet.
extern GatheredRecords dataVec;
// The batch of rows and the name of its dataset, from new[], both owned. Written by FetchDatastep; deleted by
// ClearDatastepBatch (the batch alone) and DropBatch.
extern DatastepSmb* DatastepBatch;
extern char* DSNameBatch;

#pragma GCC visibility pop

void SetRunning(bool running);
void SetCursor(CursorDataSmb* cursor);

// Writes processId.
void SetBackend(pid_t child);
// Removes the files of the session's fifos: all under this process's own id, and of another id those made
// here.
void RemoveFifos();
// Ends the command thread, if there is one, and waits for its end.
void EndCommandThread();

void CloseRecord();
void DropCaseBeingBuilt();
void DropBatch();

// The end of a session: everything above is as it was at load, and what was owned is gone.
void ResetStaticVars();

// Notes that this process opened a session, so that a fork of it does not end the session when it exits.
void NoteSessionOwner();
bool IsSessionOwner();

#endif
