#include "VexaPipe.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "CleXDErrorCode.h"
#include "DxTracer.h"
#include "XPipes.h"
#include "msleep.h"
#include "wake_up.h"

namespace {

constexpr mode_t kFifoMode = 0777;
constexpr int kCreateFileTries = 11;
constexpr int kPeerLookMilliseconds = 20;  // between two looks at whether the peer is still there

// A larger kernel buffer saves wake-ups on bulk data. What crosses the wire stays the same, and a system that
// refuses loses nothing.
void EnlargeBuffer([[maybe_unused]] int fd) {
#ifdef F_SETPIPE_SZ
  constexpr int kKernelBuffer = 1 << 18;  // still within a core's cache, on both ends of the copy
  fcntl(fd, F_SETPIPE_SZ, kKernelBuffer);
#endif
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
  if (mkfifo(pipeName.c_str(), kFifoMode) != 0) {
    DxTraceError(pipeName + " CreateNamedPipe", errno);
    return CleXDErrorCode::kPipeFailed;
  }
  pipeCreated = true;
  return 0;
}

// The descriptor of a new end, or -1 with errno. Takes the place of an end that was open: the new one is
// there before the old one goes, so that the peer never sees the last writer leave.
int VexaPipe::OpenEnd(int flags) {
  const int fd = open(pipeName.c_str(), flags | O_CLOEXEC);
  if (fd == -1) return -1;
  EnlargeBuffer(fd);
  if (pipeFd != -1) close(pipeFd);
  pipeFd = fd;
  return fd;
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
  DxTraceError(pipeName + " ClosePipe", code);
  return code;
}

int VexaPipe::MakeBlocking() {
  const int flags = fcntl(pipeFd, F_GETFL);
  if (flags == -1 || fcntl(pipeFd, F_SETFL, flags & ~O_NONBLOCK) == -1) return CleXDErrorCode::kPipeFailed;
  return 0;
}

int VexaPipe::OpenPipeToReadWhile(const std::function<bool()>& peer_alive) {
  if (HasPipe()) return 0;
  if (OpenEnd(O_RDONLY | O_NONBLOCK) == -1) return CleXDErrorCode::kPipeFailed;
  if (AwaitDataWhile(peer_alive) == 0) return MakeBlocking();
  ClosePipe();
  return CleXDErrorCode::kProcessNotAlive;
}

int VexaPipe::AwaitDataWhile(const std::function<bool()>& peer_alive) const {
  for (bool alive = true;;) {
    pollfd look = {pipeFd, POLLIN, 0};
    if (poll(&look, 1, alive ? kPeerLookMilliseconds : 0) > 0) return 0;
    if (!alive)  // looked once more after the death: a last message is not lost
      return CleXDErrorCode::kProcessNotAlive;
    alive = peer_alive();
  }
}

int VexaPipe::OpenPipeToWriteWhile(const std::function<bool()>& peer_alive) {
  int fd;
  while ((fd = OpenEnd(O_WRONLY | O_NONBLOCK)) == -1 && errno == ENXIO) {
    if (!peer_alive()) return CleXDErrorCode::kProcessNotAlive;
    msleep(kPeerLookMilliseconds / 4);
  }
  const int code = WriteEndOpened(" OpenPipeToWrite", fd);
  return code == 0 ? MakeBlocking() : code;
}

bool VexaPipe::PeerHungUp() const {
  pollfd look = {pipeFd, 0, 0};
  return poll(&look, 1, 0) > 0 && (look.revents & (POLLHUP | POLLERR)) != 0;
}

void VexaPipe::RemoveFile(bool only_created) const {
  if (pipeCreated || !only_created) unlink(pipeName.c_str());
}
