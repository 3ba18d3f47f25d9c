// The session of this process with its backend: file-level state, one set per process, without a lock, for
// the one thread that calls the client API. Each line says who writes it.
#ifndef SESSION_H
#define SESSION_H

#include <sys/types.h>

#include <cstdint>
#include <cstdio>
#include <string>

class CursorDataSmb;
class XPipeSuit;

// Said at the declarations, so that a use is one instruction and no look into the table of the library's
// symbols.
#pragma GCC visibility push(hidden)

// The backend can be talked to. Written by StartVexa, IsBackendReady, StopVexa, SetVexaRunning,
// ResetStaticVars.
extern bool isVexaRunning;
// The backend that this process started, -1 for none. Written by StartVexa, StopVexa, ResetStaticVars.
extern std::int32_t processId;
// The last answer of IsXDriven, which writes it; cleared by ResetStaticVars.
extern bool isxdriven;
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
// The text that the last call of that kind handed to its caller, from new[], owned. Written by KeepText.
extern char* stringResult;
// The same for wide texts. Written by KeepWideText.
extern wchar_t* wstringResult;
// A procedure or a data step is open. Written by StartProcedure and EndProcedure.
extern bool isProcedure;
// The file that RecordBrowserOutput writes to, owned; null while nothing is recorded. Written by
// SetRecordBrowserOutput, closed by CloseRecord.
extern std::FILE* outputFile;
// The temp folder of the R side. Written by SetRTempFolderToVEXA.
extern std::string rTempDir;

#pragma GCC visibility pop

void SetRunning(bool running);
void SetCursor(CursorDataSmb* cursor);

void CloseRecord();

// The end of a session: everything above is as it was at load, and what was owned is gone.
void ResetStaticVars();

// Notes that this process opened a session, so that a fork of it does not end the session when it exits.
void NoteSessionOwner();

#endif
