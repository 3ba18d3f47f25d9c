#include "SyncSyntaxBuffer.h"

#include <utility>

#include "CleXDErrorCode.h"

SyncSyntaxBuffer& mySyntaxData = *new SyncSyntaxBuffer;
SyncSyntaxBuffer& gSyntaxBuffer = *new SyncSyntaxBuffer;
std::atomic<bool> myUseSyncDx = false;
std::vector<std::string>& gSyntaxList = *new std::vector<std::string>;
std::mutex& gSyntaxListMutex = *new std::mutex;
std::atomic<std::int32_t> gCurNestLayer = 0;
std::atomic<std::int32_t> gOriNestLayer = 0;

void SyncSyntaxBuffer::SignalCommand() {
  const std::lock_guard lock(pending_mutex);
  pending = true;
  command.Signal();
}

void SyncSyntaxBuffer::WaitCommand() {
  for (;;) {
    command.WaitForSignal();
    const std::lock_guard lock(pending_mutex);
    command.Unsignal();
    if (std::exchange(pending, false)) return;
  }
}

void SyncSyntaxBuffer::WaitResponse() {
  response.WaitForSignal();
  response.Unsignal();
}

void SyncSyntaxBuffer::AbandonCommand() {
  const std::lock_guard lock(pending_mutex);
  if (!std::exchange(pending, false)) return;
  command.Unsignal();
  result = CleXDErrorCode::kThreadNotStarted;
  response.Signal();
}

int SyncSyntaxWriter::Exchange() {
  buffer.SignalCommand();
  buffer.WaitResponse();
  return buffer.GetResult();
}

void GSetUseSyncDx(bool use) { myUseSyncDx = use; }

bool GGetUseSyncDx() { return myUseSyncDx; }

int GRunSyncSyntax(std::vector<std::string>& lines) {
  SyncSyntaxWriter writer(mySyntaxData);
  mySyntaxData.SetSyntaxs(lines);
  return writer.Exchange();
}

int GStopSyncSyntax() {
  SyncSyntaxWriter writer(mySyntaxData);
  mySyntaxData.SetStop(true);
  return writer.Exchange();
}
