#include "MonitorThread.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <utility>

#include "CleXDErrorCode.h"
#include "XPipes.h"
#include "descriptor.h"
#include "patience.h"
#include "sigpipe.h"
#include "vexa_assert.h"

namespace {

constexpr std::int32_t kAlive = 1;
constexpr std::int32_t kFarewell = 3;
constexpr std::chrono::seconds kBeat{1};  // between two words, and between two tries to open the fifo
constexpr int kLookMilliseconds = 100;    // between two looks at whether to stop

}  // namespace

MonitorThread::MonitorThread(const char* pipeName, int monitorType)
    : pipe_name(pipeName != nullptr ? pipeName : ""), monitor_type(monitorType) {
  pipe = std::make_unique<VexaPipe>(pipe_name);
  if (monitorType == kWriter) {
    peer_alive = true;
  } else {
    VEXA_ASSERT_AS(monitorType == kReader, "Un_supported_monitorType");
    pipe->CreatePipe();
    pipe->DisconnectPipe();
  }
}

MonitorThread::~MonitorThread() {
  Stop();
  WaitForStop();
  pipe->ClosePipe();
}

std::int32_t MonitorThread::Run() {
  {
    const std::lock_guard lock(mutex);
    running = true;
    stop = told;
  }
  Monitor();
  const std::lock_guard lock(mutex);
  running = false;
  stop = true;
  return 0;
}

void MonitorThread::Stop() {
  {
    // Kept: a thread that ends already is not waited for. It may be in its handler, and that may wait for the
    // caller.
    const std::lock_guard lock(mutex);
    if (!HasThread() || (running && stop)) return;
    told = true;
    stop = true;
  }
  WaitForStop();
  const std::lock_guard lock(mutex);
  told = false;
}

void MonitorThread::SetExceptionHandle(int (*handler)()) { exception_handle = handler; }

void MonitorThread::Monitor() {
  if (monitor_type == kWriter) {
    Write();
  } else {
    Read();
  }
  int (*const handler)() = exception_handle;
  if (!quiet_end && handler != nullptr) handler();
}

// The last word of an orderly end is the farewell. A reader that has gone ends the writer without a word to
// anybody.
void MonitorThread::Write() {
  const SigpipeBlocked reader_may_be_gone;
  for (long known = 0; !pipe->IsWritePipeConnected() && !OpenedToWrite(known);) {
    if (!Pause()) return;
  }
  for (;;) {
    const bool last = stop;
    const std::int32_t word = last ? kFarewell : kAlive;
    unsigned long written = 0;
    const int code = pipe->WriteData(&word, sizeof word, &written);
    if (last || CleXDErrorCode::IsPipeError(code) || (code != 0 && pipe->PeerHungUp())) return;
    Pause();
  }
}

// The endpoint traces each failure to open, and is asked only when there is something new: `known` is what
// the last look found, a file or a reason. A look that finds a reader stays open until the endpoint has its
// own end, or the reader would see a writer go.
bool MonitorThread::OpenedToWrite(long& known) {
  const ::Descriptor look(open(pipe_name.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC | O_NOFOLLOW));
  struct stat file = {};
  const bool found = look.Number() != -1 && fstat(look.Number(), &file) == 0;
  const long now = found ? static_cast<long>(file.st_ino) : -errno;
  if (now == std::exchange(known, now)) return false;
  return pipe->OpenPipeToUnBlockWrite() == 0;
}

void MonitorThread::Read() {
  while (pipe->OpenPipeToUnBlockRead() != 0) {
    if (!Pause()) return;
  }
  pipe->ConnectPipe();
  while (!stop) {
    pollfd look = {pipe->Descriptor(), POLLIN, 0};
    if (poll(&look, 1, kLookMilliseconds) <= 0) continue;
    char buffer[XPipes::PIPE_BUF_SIZE] = {};
    unsigned long got = 0;
    const int code = pipe->ReadData(sizeof buffer, buffer, got);
    if (code != 0) {
      Pause();
    } else if (got == 0) {  // a writer was there and is gone
      quiet_end = false;
      peer_alive = false;
      stop = true;
    } else {
      std::int32_t word = 0;
      std::memcpy(&word, buffer, sizeof word);
      TakeWord(word);
    }
  }
}

void MonitorThread::TakeWord(std::int32_t word) {
  if (word == kAlive) {
    peer_alive = true;
  } else if (word == kFarewell) {
    stop = true;
    peer_alive = false;
  }
}

// One beat, cut short by Stop. Whether to go on.
bool MonitorThread::Pause() {
  const auto end = std::chrono::steady_clock::now() + kBeat;
  while (!stop && std::chrono::steady_clock::now() < end) ::Pause(kLookMilliseconds);
  return !stop;
}
