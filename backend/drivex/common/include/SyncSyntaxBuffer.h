// SyncSyntaxBuffer: a mailbox with one slot between two threads. A writer holds it for a whole exchange; the
// next writer queues:
//
//   writer: AcquireBuffer  SetSyntaxs  SignalCommand  WaitResponse ...  GetResult  ReleaseBuffer
//   reader:                            WaitCommand  GetSyntaxs  SetResult  SignalResponse
//
// Two of them serve the process for its whole life: mySyntaxData takes a block to the host's thread in the
// synchronous mode, gSyntaxBuffer takes a line from a language's execute_x to its read loop. They are never
// destroyed, as a thread may be parked in either when the process ends.
#ifndef SYNCSYNTAXBUFFER_H
#define SYNCSYNTAXBUFFER_H

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "PlugInCriticalSection.h"
#include "PlugInSynchEvent.h"
#include "vexa_api.h"

class VEXA_API SyncSyntaxBuffer {
 public:
  SyncSyntaxBuffer() = default;
  SyncSyntaxBuffer(const SyncSyntaxBuffer&) = delete;
  SyncSyntaxBuffer& operator=(const SyncSyntaxBuffer&) = delete;

  void AcquireBuffer() { writers.Acquire(); }
  void ReleaseBuffer() { writers.Release(); }
  void SetSyntax(std::string line) { syntax = std::move(line); }
  void SetSyntaxs(const std::vector<std::string>& block) { syntaxs = block; }
  // Never taken back.
  void SetStop(bool stops) { stop = stops; }
  void SignalCommand();
  void WaitResponse();
  std::int32_t GetResult() const { return result; }

  void WaitCommand();
  const std::string& GetSyntax() const { return syntax; }
  const std::vector<std::string>& GetSyntaxs() const { return syntaxs; }
  bool GetStop() const { return stop; }
  void SetResult(int code) { result = code; }
  void SignalResponse() { response.Signal(); }

  // Takes back a command that no reader has taken, and answers it with 99116. For the end of a session, which
  // must not wait for a reader that never comes.
  void AbandonCommand();

 private:
  std::string syntax;
  std::vector<std::string> syntaxs;
  std::int32_t result = 0;
  bool stop = false;
  PlugInCriticalSection writers;  // held by the writer for the whole exchange
  PlugInSynchEvent command{true, false, nullptr};
  PlugInSynchEvent response{true, false, nullptr};
  std::mutex pending_mutex;  // of the one below, and of what the command event says about it
  bool pending = false;      // there is a command that no reader has taken
};

// The writer of one exchange.
class SyncSyntaxWriter {
 public:
  explicit SyncSyntaxWriter(SyncSyntaxBuffer& to) : buffer(to) { buffer.AcquireBuffer(); }
  SyncSyntaxWriter(const SyncSyntaxWriter&) = delete;
  SyncSyntaxWriter& operator=(const SyncSyntaxWriter&) = delete;
  ~SyncSyntaxWriter() { buffer.ReleaseBuffer(); }
  // The reader's result for what was set.
  int Exchange();

 private:
  SyncSyntaxBuffer& buffer;
};

extern SyncSyntaxBuffer& mySyntaxData;
extern SyncSyntaxBuffer& gSyntaxBuffer;
// The synchronous mode: blocks of the first nesting level run on the host's thread.
extern std::atomic<bool> myUseSyncDx;
// The text of nested blocks that waits for the outer one, under its mutex, and the nest layer: now, and as
// the writer of lines noted it last.
extern std::vector<std::string>& gSyntaxList;
extern std::mutex& gSyntaxListMutex;
extern std::atomic<std::int32_t> gCurNestLayer;
extern std::atomic<std::int32_t> gOriNestLayer;

// The host's choice, made before the first run.
VEXA_API void GSetUseSyncDx(bool use);
VEXA_API bool GGetUseSyncDx();
// Has the host's thread run the block, and returns its result.
VEXA_API int GRunSyncSyntax(std::vector<std::string>& lines);
// Has the host's thread leave CmdVexaDX::invokeX, now and at the first command of every later one. Waits for
// it; 0.
VEXA_API int GStopSyncSyntax();

#endif
