#include "frame_record.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
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

// The file of this process, written through a window of memory: no call into the system for a frame, and what
// stands there outlives the process however that ends. Its room is the file's before it is touched, as a full
// disk would end the process otherwise.
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
    if (!MakeRoom(entry.length)) return GiveUp();
    char* to = window + (offset - base) + sizeof entry;
    const auto put = [&to](std::string_view run) {
      std::memcpy(to, run.data(), run.size());
      to += run.size();
    };
    put(fifo);
    std::size_t room = entry.kept;
    for (const std::string_view run : bytes) {
      put(run.substr(0, room));
      room -= std::min(room, run.size());
    }
    Finish(entry);
    return true;
  }

  // What there was room for and was not used goes. A frame that comes yet makes room anew.
  void Trim() {
    if (fd == -1) return;
    CloseWindow();
    // NOLINTNEXTLINE(bugprone-unused-return-value): zeros at the end are no harm
    [[maybe_unused]] const int code = ftruncate(fd, static_cast<off_t>(offset));
  }

  // The parent's file and window stay the parent's.
  void BeginAnew() {
    CloseWindow();
    if (fd != -1) close(fd);
    fd = -1;
    offset = 0;
  }

  std::mutex mutex;

 private:
  static constexpr std::size_t kWindow = std::size_t{1} << 20;  // and the largest entry fits many times

  // The length comes last: until then the record ends ahead of it.
  template <class Front>
  void Finish(Front front) {
    const std::uint32_t length = front.length;
    char* const at = window + (offset - base);
    const std::size_t length_at = offsetof(Front, length);
    front.length = 0;
    std::memcpy(at, &front, sizeof front);
    std::atomic_signal_fence(std::memory_order_release);
    std::memcpy(at + length_at, &length, sizeof length);
    offset += length;
  }

  // There is always room for the entry that ends the record. The window that is stays until there is another.
  bool MakeRoom(std::size_t bytes) {
    if (window != nullptr && offset + bytes + sizeof(RecordEntry) <= base + kWindow) return true;
    const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t next = offset / page * page;
    if (!Allocate(next)) return false;
    void* const mapped =
        mmap(nullptr, kWindow, PROT_READ | PROT_WRITE, MAP_SHARED, fd, static_cast<off_t>(next));
    if (mapped == MAP_FAILED) return false;
    CloseWindow();
    base = next;
    window = static_cast<char*>(mapped);
    return true;
  }

  // A file over the limit of the process would be a signal, which ends it as a rule.
  bool Allocate(std::size_t start) {
    rlimit limit = {};
    errno = EFBIG;
    if (getrlimit(RLIMIT_FSIZE, &limit) == 0 && start + kWindow > limit.rlim_cur) return false;
    errno = posix_fallocate(fd, static_cast<off_t>(start), kWindow);
    return errno == 0;
  }

  void CloseWindow() {
    if (window != nullptr) munmap(window, kWindow);
    window = nullptr;
  }

  // A program that takes this process over, or has its id later, has a file beside it.
  bool Open() {
    constexpr int kMostFiles = 1000;
    if (mkdir(directory.c_str(), kOwnersDirectory) != 0 && errno != EEXIST) return GiveUp();
    for (int number = 1; fd == -1 && number <= kMostFiles; ++number) {
      path = directory + "/" + std::to_string(getpid());
      path += (number == 1 ? "" : "-" + std::to_string(number)) + ".vexarec";
      fd = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, kOwnersFile);
      if (fd == -1 && errno != EEXIST) break;
    }
    const std::string program = ProgramName();
    RecordHead head = {};
    head.length = static_cast<std::uint32_t>(sizeof head + program.size());
    if (fd == -1 || !MakeRoom(head.length)) return GiveUp();
    std::memcpy(head.magic, RecordHead::kMagic, sizeof head.magic);
    head.process = getpid();
    head.monotonic = Nanoseconds(CLOCK_MONOTONIC);
    head.wall = Nanoseconds(CLOCK_REALTIME);
    std::memcpy(window + sizeof head, program.data(), program.size());
    Finish(head);
    return true;
  }

  bool GiveUp() {
    const int code = errno;
    const std::string reason = platform::ErrorText(code);
    if (window != nullptr) {
      RecordEntry end = {};
      end.length = sizeof end;
      end.direction = RecordEntry::kEnded;
      end.time = Nanoseconds(CLOCK_MONOTONIC);
      end.code = code;
      Finish(end);
    }
    std::fprintf(stderr, "vexa: nothing more is recorded (VEXA_RECORD): %s: %s\n",
                 path.empty() ? directory.c_str() : path.c_str(), reason.c_str());
    Trim();
    BeginAnew();
    return false;
  }

  const std::string directory;
  std::string path;
  int fd = -1;
  char* window = nullptr;
  std::size_t base = 0, offset = 0;  // of the window, and of the next entry, in the file
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
          file->Trim();
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
