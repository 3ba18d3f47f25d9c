#include "VexaPipe.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <mutex>

#include "CleXDErrorCode.h"
#include "DxTracer.h"
#include "XPipes.h"
#include "descriptor.h"
#include "platform.h"
#include "reasons.h"
#include "wake_up.h"

namespace {

constexpr mode_t kFifoMode = 0777;
constexpr mode_t kOwnersAlone = 0600;
constexpr int kCreateFileTries = 11;
constexpr int kOpenPauseMilliseconds = 5;  // between two looks at whether the reader has come

// A larger kernel buffer saves wake-ups on bulk data, and on bulk data alone: a user has few pages for all
// pipes. What crosses the wire stays the same, a system that refuses loses nothing, and a buffer that the
// peer made larger stays.
constexpr std::size_t kBulk = std::size_t{1} << 16;
void EnlargeBuffer([[maybe_unused]] int fd) {
#ifdef F_SETPIPE_SZ
  constexpr int kKernelBuffer = 1 << 18;  // still within a core's cache, on both ends of the copy
  if (fcntl(fd, F_GETPIPE_SZ) < kKernelBuffer) fcntl(fd, F_SETPIPE_SZ, kKernelBuffer);
#endif
}

bool PeerMayBeAnotherUser() {
  const char* const value = std::getenv(VexaPipe::kOtherUsers);
  return value != nullptr && *value != '\0';
}

// Makes the fifo private from its first moment on. The umask is the whole process's, and is back at once.
int MakeFifo(const char* name) {
  static std::mutex& one_at_a_time = *new std::mutex;
  if (PeerMayBeAnotherUser()) return mkfifo(name, kFifoMode);
  const std::lock_guard lock(one_at_a_time);
  const mode_t before = umask(~kOwnersAlone & kFifoMode);
  const int result = mkfifo(name, kFifoMode);
  const int reason = errno;
  umask(before);
  errno = reason;
  return result;
}

// Whether it is a fifo of this user's own, as far as that counts. errno says why not.
bool IsOwnFifo(const struct stat& file) {
  errno = EINVAL;
  if (!S_ISFIFO(file.st_mode)) return false;
  errno = EPERM;
  return PeerMayBeAnotherUser() || file.st_uid == geteuid();
}

// Ahead of an open that waits: it would wait for a stranger.
bool IsStrangers(const char* name) {
  struct stat file = {};
  return lstat(name, &file) == 0 && !IsOwnFifo(file);
}

// Whether what was opened is a fifo that nobody else can have a hand in. One of ours that a peer left open to
// others is closed to them. errno says why not.
bool IsPrivateFifo(int fd) {
  struct stat file = {};
  if (fstat(fd, &file) != 0 || !IsOwnFifo(file)) return false;
  if (PeerMayBeAnotherUser()) return true;
  return (file.st_mode & kFifoMode & ~kOwnersAlone) == 0 || fchmod(fd, kOwnersAlone) == 0;
}

// One piece of what is left behind the first `done` bytes.
ssize_t WriteFrom(int fd, std::span<const std::string_view> runs, std::size_t done) {
  constexpr std::size_t kMostRuns = 4;
  iovec parts[kMostRuns];
  int count = 0;
  std::size_t room = XPipes::PIPE_BUF_SIZE;
  for (const std::string_view run : runs) {
    const std::size_t passed = std::min(done, run.size());
    const std::size_t taken = std::min(run.size() - passed, room);
    done -= passed;
    room -= taken;
    if (taken != 0) parts[count++] = {const_cast<char*>(run.data()) + passed, taken};
  }
  return count == 1 ? write(fd, parts[0].iov_base, parts[0].iov_len) : writev(fd, parts, count);
}

}  // namespace

VexaPipe::VexaPipe() : owner(getpid()) {}

VexaPipe::VexaPipe(std::string name) : pipeName(std::move(name)), owner(getpid()) {}

VexaPipe::~VexaPipe() {
  if (HasPipe()) ClosePipe();
  if (getpid() == owner) unlink(pipeName.c_str());
}

void VexaPipe::SetPipeName(std::string name) { pipeName = std::move(name); }

const char* VexaPipe::GetPipeName(int& length) const {
  length = static_cast<int>(pipeName.size());
  return pipeName.c_str();
}

int VexaPipe::CreatePipe() {
  if (pipeName.empty()) return CleXDErrorCode::kPipeNameMissing;
  if (access(pipeName.c_str(), F_OK) == 0) return 0;
  if (MakeFifo(pipeName.c_str()) != 0) {
    DxTraceError(pipeName + " CreateNamedPipe", errno);
    return Because(CleXDErrorCode::kPipeFailed, pipeName, " cannot be made: ", platform::ErrorText(errno));
  }
  pipeCreated = true;
  return 0;
}

// The descriptor of a new end, or -1 with errno. Takes the place of an end that was open: the new one is
// there before the old one goes, so that the peer never sees the last writer leave.
int VexaPipe::OpenEnd(int flags) {
  const bool waits = (flags & O_NONBLOCK) == 0;
  if (waits && IsStrangers(pipeName.c_str())) return Refuse();
  ::Descriptor opened(open(pipeName.c_str(), flags | O_CLOEXEC | O_NOFOLLOW));
  if (opened.Number() == -1) return -1;
  if (!IsPrivateFifo(opened.Number())) return Refuse();
  if (pipeFd != -1) close(pipeFd);
  pipeFd = opened.Release();
  blocks = waits;
  enlarged = false;
  return pipeFd;
}

int VexaPipe::Refuse() const {
  const int reason = errno;
  DxTraceError(pipeName + " is no fifo of this user alone", reason);
  Because(CleXDErrorCode::kPipeFailed, pipeName, " is no fifo of this user alone");
  errno = reason;
  return -1;
}

int VexaPipe::WriteEndOpened(const char* operation, int fd) {
  if (fd == -1) {
    DxTraceError(pipeName + operation, errno);
    return CleXDErrorCode::kPipeFailed;
  }
  writeConnected = true;
  return 0;
}

int VexaPipe::OpenPipeToWrite() { return WriteEndOpened(" OpenPipeToWrite", OpenEnd(O_WRONLY)); }

int VexaPipe::OpenPipeToUnBlockWrite() {
  return WriteEndOpened(" OpenPipeToUnBlockWrite", OpenEnd(O_WRONLY | O_NONBLOCK));
}

int VexaPipe::OpenPipeToRead() {
  if (HasPipe()) return 0;
  const int waiting = reads_end != nullptr ? O_NONBLOCK : 0;
  return OpenEnd(O_RDONLY | waiting) != -1 ? 0 : CleXDErrorCode::kPipeFailed;
}

int VexaPipe::OpenPipeToUnBlockRead() {
  if (HasPipe()) return 0;
  return OpenEnd(O_RDONLY | O_NONBLOCK) != -1 ? 0 : CleXDErrorCode::kPipeFailed;
}

int VexaPipe::VEXACreateFile() { return OpenEnd(O_WRONLY) != -1 ? 0 : CleXDErrorCode::kPipeFailed; }

int VexaPipe::VEXACreateFileR() {
  for (int tries = 0; tries < kCreateFileTries; ++tries) {
    const int fd = OpenEnd(O_RDONLY);
    if (fd > 0) return 0;
    if (fd == 0 || errno != ENOENT) break;  // kept: descriptor 0 counts as a failure
    sleep(1);
  }
  if (HasPipe()) {
    close(pipeFd);
    pipeFd = -1;
  }
  return CleXDErrorCode::kPipeFailed;
}

int VexaPipe::WriteData(const void* data, int length, unsigned long*) {
  if (length < 0) return CleXDErrorCode::kPipeFailed;
  const char* position = static_cast<const char*>(data);
  std::size_t remaining = static_cast<std::size_t>(length);
  for (;;) {
    const std::size_t chunk = std::min<std::size_t>(remaining, XPipes::PIPE_BUF_SIZE);
    const ssize_t sent = write(pipeFd, position, chunk);
    if (sent == -1) return CleXDErrorCode::kPipeFailed;
    if (chunk == remaining) return 0;  // kept: a last piece that was cut short is not continued
    position += sent;
    remaining -= static_cast<std::size_t>(sent);
  }
}

int VexaPipe::ReadData(int length, void* data, unsigned long& got) {
  if (reads_end != nullptr && !reads_end->AwaitReadable(pipeFd)) return CleXDErrorCode::kPipeFailed;
  const ssize_t count = length < 0 ? -1 : read(pipeFd, data, static_cast<std::size_t>(length));
  if (count < 0) return CleXDErrorCode::kPipeFailed;
  got = static_cast<unsigned long>(count);
  return 0;
}

int VexaPipe::FlushPipe() {
  fsync(pipeFd);
  return 0;
}

int VexaPipe::ClosePipe() {
  if (!HasPipe()) return 0;
  const int code = close(pipeFd) == -1 ? errno : 0;
  pipeFd = -1;
  writeConnected = false;
  pipeCreated = false;
  debt = {};
  DxTraceError(pipeName + " ClosePipe", code);
  return code;
}

int VexaPipe::MakeBlocking() {
  const int flags = fcntl(pipeFd, F_GETFL);
  if (flags == -1 || fcntl(pipeFd, F_SETFL, flags & ~O_NONBLOCK) == -1) return CleXDErrorCode::kPipeFailed;
  blocks = true;
  return 0;
}

int VexaPipe::MakeUnblocking() {
  const int flags = fcntl(pipeFd, F_GETFL);
  if (flags == -1 || fcntl(pipeFd, F_SETFL, flags | O_NONBLOCK) == -1) return CleXDErrorCode::kPipeFailed;
  blocks = false;
  return 0;
}

int VexaPipe::OpenToWrite(const Patience& patience) {
  if (writeConnected) return 0;
  int fd;
  while ((fd = OpenEnd(O_WRONLY | O_NONBLOCK)) == -1 && (errno == ENXIO || errno == EINTR)) {
    const int code = patience.ask ? patience.ask() : 0;
    if (code != 0) return code;
    Pause(kOpenPauseMilliseconds);
  }
  return WriteEndOpened(" OpenPipeToWrite", fd);
}

int VexaPipe::OpenToRead(const Patience& patience) {
  if (HasPipe()) return 0;
  if (OpenEnd(O_RDONLY | O_NONBLOCK) == -1) return CleXDErrorCode::kPipeFailed;
  return AwaitReadable(patience);
}

// A wake-up that ends the reads ends this wait as well.
int VexaPipe::AwaitReadable(const Patience& patience) const {
  if (reads_end == nullptr) return AwaitEvents(pipeFd, POLLIN, patience);
  Patience ended;
  ended.descriptor = reads_end->Descriptor();
  ended.look = reads_end->LookMilliseconds();
  ended.ask = [wake = reads_end, &patience] {
    if (wake->Signalled()) return CleXDErrorCode::kPipeFailed;
    return patience.ask ? patience.ask() : 0;
  };
  return AwaitEvents(pipeFd, POLLIN, ended);
}

void VexaPipe::PrepareFor(std::size_t bytes) {
  if (bytes < kBulk || enlarged) return;
  EnlargeBuffer(pipeFd);
  enlarged = true;
}

int VexaPipe::Send(std::span<const std::string_view> runs, std::size_t& sent, const Patience& patience) {
  sent = 0;
  if (!HasPipe()) return CleXDErrorCode::kPipeFailed;
  if (blocks && patience.ask && MakeUnblocking() != 0) return CleXDErrorCode::kPipeFailed;
  std::size_t length = 0;
  for (const std::string_view run : runs) length += run.size();
  PrepareFor(length);
  do {
    const ssize_t count = WriteFrom(pipeFd, runs, sent);
    if (count >= 0) {
      sent += static_cast<std::size_t>(count);
    } else if (errno == EAGAIN) {
      const int code = AwaitEvents(pipeFd, POLLOUT, patience);
      if (code != 0) return code;
    } else if (errno != EINTR) {
      return CleXDErrorCode::kPipeFailed;
    }
  } while (sent < length);
  return 0;
}

bool VexaPipe::ReadableSoon() { return short_look.Finds(pipeFd); }

int VexaPipe::Receive(char* to, std::size_t room, unsigned long& got, bool within_frame,
                      const Patience& patience) {
  if (!HasPipe()) return CleXDErrorCode::kPipeFailed;
  if (within_frame) PrepareFor(room);
  // A read that blocks, and that nothing else may end, is a wait as good as any.
  const bool plain = blocks && !patience.ask && reads_end == nullptr;
  const bool there = !within_frame && ReadableSoon();
  for (bool look = !there && (!within_frame || blocks);; look = true) {
    if (look && !plain) {
      const int code = AwaitReadable(patience);
      if (code != 0) return code;
    }
    const ssize_t count = read(pipeFd, to, room);
    if (count >= 0) {
      got = static_cast<unsigned long>(count);
      return 0;
    }
    if (errno != EINTR && errno != EAGAIN) return CleXDErrorCode::kPipeFailed;
  }
}

int VexaPipe::OpenPipeToReadWhile(const std::function<bool()>& peer_alive) {
  const int code = OpenToRead(WhileAlive(peer_alive, CleXDErrorCode::kProcessNotAlive));
  if (code != 0) ClosePipe();
  return code;
}

int VexaPipe::OpenPipeToWriteWhile(const std::function<bool()>& peer_alive) {
  return OpenToWrite(WhileAlive(peer_alive, CleXDErrorCode::kProcessNotAlive));
}

int VexaPipe::AwaitDataWhile(const std::function<bool()>& peer_alive) const {
  return AwaitReadable(WhileAlive(peer_alive, CleXDErrorCode::kProcessNotAlive));
}

bool VexaPipe::PeerHungUp() const {
  pollfd look = {pipeFd, 0, 0};
  return poll(&look, 1, 0) > 0 && (look.revents & (POLLHUP | POLLERR)) != 0;
}

void VexaPipe::RemoveFile(bool only_created) const {
  if (pipeCreated || !only_created) unlink(pipeName.c_str());
}
