#include "frame_record.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <mutex>

#include "VexaPipe.h"
#include "platform.h"

namespace {

constexpr mode_t kOwnersFile = 0600, kOwnersDirectory = 0700;
constexpr std::size_t kMostPending = std::size_t{1} << 16;

std::int64_t Nanoseconds(clockid_t clock) {
  timespec now = {};
  clock_gettime(clock, &now);
  return now.tv_sec * std::int64_t{1000000000} + now.tv_nsec;
}

std::string ProgramName() {
  char path[4096];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
  const std::string_view whole(path, length > 0 ? static_cast<std::size_t>(length) : 0);
  return std::string(whole.substr(whole.rfind('/') + 1));
}

template <class Value>
void Append(std::string& to, const Value& value) {
  to.append(reinterpret_cast<const char*>(&value), sizeof value);
}

// The file of this process.
class RecordFile {
 public:
  explicit RecordFile(std::string in) : directory(std::move(in)) {}

  // False when there is no record any more.
  bool Add(RecordEntry entry, std::string_view fifo, std::span<const std::string_view> bytes) {
    if (fd == -1 && !Open()) return false;
    thread_local const std::uint32_t thread = ++threads;
    entry.thread = thread;
    entry.name = static_cast<std::uint32_t>(fifo.size());
    entry.length = static_cast<std::uint32_t>(sizeof entry + fifo.size() + entry.kept);
    Append(pending, entry);
    pending += fifo;
    std::size_t room = entry.kept;
    for (const std::string_view run : bytes) {
      const std::string_view front = run.substr(0, room);
      pending += front;
      room -= front.size();
    }
    const bool waits = entry.direction == RecordEntry::kReceived && pending.size() < kMostPending;
    return waits || Flush();
  }

  bool Flush() {
    std::size_t done = 0;
    while (fd != -1 && done < pending.size()) {
      const ssize_t count = write(fd, pending.data() + done, pending.size() - done);
      if (count == -1 && errno == EINTR) continue;
      if (count <= 0) return GiveUp();
      done += static_cast<std::size_t>(count);
    }
    pending.clear();
    return true;
  }

  // What the parent has not written yet is the parent's.
  void BeginAnew() {
    if (fd != -1) close(fd);
    fd = -1;
    pending.clear();
    threads = 0;
  }

  std::mutex mutex;

 private:
  bool Open() {
    if (mkdir(directory.c_str(), kOwnersDirectory) != 0 && errno != EEXIST) return GiveUp();
    path = directory + "/" + std::to_string(getpid()) + ".vexarec";
    fd = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, kOwnersFile);
    struct stat file = {};
    if (fd == -1 || fstat(fd, &file) != 0) return GiveUp();
    errno = EINVAL;
    if (!S_ISREG(file.st_mode)) return GiveUp();
    const std::string program = ProgramName();
    RecordHead head = {};
    std::memcpy(head.magic, RecordHead::kMagic, sizeof head.magic);
    head.length = static_cast<std::uint32_t>(sizeof head + program.size());
    head.process = getpid();
    head.monotonic = Nanoseconds(CLOCK_MONOTONIC);
    head.wall = Nanoseconds(CLOCK_REALTIME);
    Append(pending, head);
    pending += program;
    return true;
  }

  bool GiveUp() {
    const std::string reason = platform::ErrorText(errno);
    std::fprintf(stderr, "vexa: nothing more is recorded (VEXA_RECORD): %s: %s\n",
                 path.empty() ? directory.c_str() : path.c_str(), reason.c_str());
    BeginAnew();
    return false;
  }

  const std::string directory;
  std::string path, pending;
  int fd = -1;
  std::atomic<std::uint32_t> threads = 0;
};

// Never destroyed: threads may be in a call while the process ends.
RecordFile* file = nullptr;

}  // namespace

std::atomic<FrameRecord::State> FrameRecord::state = State::Unknown;

std::string FrameRecord::Directory() {
  const char* const value = std::getenv("VEXA_RECORD");
  if (value == nullptr || *value == '\0') return "";
  std::error_code unknown;
  return std::filesystem::absolute(value, unknown);
}

std::int64_t FrameRecord::Now() { return Nanoseconds(CLOCK_MONOTONIC); }

bool FrameRecord::IsOn() {
  static std::once_flag once;
  try {
    std::call_once(once, [] {
      const std::string directory = Directory();
      if (!directory.empty()) {
        file = new RecordFile(directory);
        pthread_atfork([] { file->mutex.lock(); }, [] { file->mutex.unlock(); },
                       [] {
                         file->BeginAnew();
                         file->mutex.unlock();
                       });
        std::atexit([] {
          const std::lock_guard lock(file->mutex);
          file->Flush();
        });
      }
      state.store(file != nullptr ? State::On : State::Off, std::memory_order_release);
    });
  } catch (const std::exception&) {
    return false;
  }
  return state.load(std::memory_order_acquire) == State::On;
}

void FrameRecord::Add(const VexaPipe& pipe, const RecordEntry& entry,
                      std::span<const std::string_view> bytes) noexcept {
  const int reason = errno;
  try {
    int length = 0;
    const char* const name = pipe.GetPipeName(length);
    const std::string_view path(name, static_cast<std::size_t>(length));
    const std::lock_guard lock(file->mutex);
    // Another thread may have found meanwhile that nothing can be written.
    if (state.load() == State::On && !file->Add(entry, path.substr(path.rfind('/') + 1), bytes))
      state = State::Off;
  } catch (const std::exception&) {  // no memory for it: a gap is better than a failed call
  }
  errno = reason;
}

namespace {

std::uint32_t Kept(std::size_t bytes) {
  return static_cast<std::uint32_t>(std::min(bytes, RecordEntry::kMostKept));
}

}  // namespace

void FrameRecord::Sent(const VexaPipe& pipe, std::span<const std::string_view> runs, std::size_t sent,
                       int code, std::int64_t time) noexcept {
  std::size_t length = 0;
  for (const std::string_view run : runs) length += run.size();
  RecordEntry entry = {};
  entry.direction = RecordEntry::kSent;
  entry.time = time;
  entry.code = code;
  entry.moved = static_cast<std::uint32_t>(sent);
  entry.frame = static_cast<std::uint32_t>(length);
  entry.kept = Kept(sent);
  Add(pipe, entry, runs);
}

void ReceivedFrame::Take(const char* bytes, std::size_t count) noexcept {
  try {
    kept.append(bytes, std::min(count, RecordEntry::kMostKept - kept.size()));
  } catch (const std::exception&) {
  }
}

void ReceivedFrame::Record(const VexaPipe& pipe, const FrameProgress& progress) const noexcept {
  RecordEntry entry = {};
  entry.direction = RecordEntry::kReceived;
  entry.time = FrameRecord::Now();
  entry.code = progress.broken;
  entry.moved = static_cast<std::uint32_t>(progress.received);
  entry.frame = static_cast<std::uint32_t>(progress.length);
  entry.kept = Kept(kept.size());
  const std::string_view bytes = kept;
  FrameRecord::Add(pipe, entry, {&bytes, 1});
}
