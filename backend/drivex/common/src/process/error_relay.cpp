#include "error_relay.h"

#include <signal.h>

#include <chrono>

#include "platform.h"

namespace {

constexpr std::size_t kKept = 2000;                  // bytes of the end
constexpr int kPiecesOfPipe = 16;                    // of 4,096 bytes
constexpr std::chrono::milliseconds kPatience{200};  // for the rest, where another program holds the pipe

void WriteOn(const char* text, std::size_t size) {
  while (size > 0) {
    const ssize_t written = write(STDERR_FILENO, text, size);
    if (written <= 0) return;  // nobody could act on it
    text += written;
    size -= static_cast<std::size_t>(written);
  }
}

}  // namespace

ErrorRelay::ErrorRelay() {
  int ends[2];
  if (platform::PipeOfOurs(ends) != 0) return;
  reading = Descriptor(ends[0]);
  childs_end = Descriptor(ends[1]);
  if (Start()) return;
  childs_end.Close();
  reading.Close();
}

ErrorRelay::~ErrorRelay() {
  stop.Signal();
  WaitForStop();
}

// Signals are for the threads of the host.
std::int32_t ErrorRelay::Run() {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, nullptr);
  char piece[4096];
  // At the end what the pipe holds, and no more: a program that outlives the child may write on and on.
  for (int left = kPiecesOfPipe; left > 0 && stop.AwaitReadable(reading.Number());) {
    if (stop.Signalled()) --left;
    const ssize_t got = read(reading.Number(), piece, sizeof piece);
    if (got <= 0) break;
    WriteOn(piece, static_cast<std::size_t>(got));
    const std::lock_guard lock(mutex);
    kept.append(piece, static_cast<std::size_t>(got));
    if (kept.size() > 2 * kKept) kept.erase(0, kept.size() - kKept);
  }
  const std::lock_guard lock(mutex);
  ended = true;
  end.notify_all();
  return 0;
}

std::string ErrorRelay::LastWords() {
  LetGo();
  std::unique_lock lock(mutex);
  if (reading.Number() != -1) end.wait_for(lock, kPatience, [this] { return ended; });
  std::string words = kept;
  if (words.size() > kKept) {
    words.erase(0, words.size() - kKept);
    words.erase(0, words.find('\n') + 1);  // the rest of a line; all stays where there is only one
  }
  while (words.ends_with('\n')) words.pop_back();
  return words;
}
