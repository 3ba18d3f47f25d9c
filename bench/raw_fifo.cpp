#include "raw_fifo.h"

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

namespace {
constexpr std::size_t kPiece = 8192;

cpu_set_t placed;  // the cores of this benchmark

// To the core of that place, where each process has one.
void PinToPlaced(int place) {
  cpu_set_t one;
  CPU_ZERO(&one);
  for (int core = 0; core < CPU_SETSIZE; ++core) {
    if (CPU_ISSET(core, &placed) && place-- == 0) CPU_SET(core, &one);
  }
  if (CoreEach()) sched_setaffinity(0, sizeof one, &one);
}
}  // namespace

BenchDirectory::BenchDirectory() {
  char name[] = "/tmp/vexa-bench-XXXXXX";
  if (mkdtemp(name) == nullptr) std::abort();
  path_ = std::string(name) + "/";
}

BenchDirectory::~BenchDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

FifoPeer::FifoPeer(const std::string& request, const std::string& reply, const Serve& serve) {
  if (mkfifo(request.c_str(), 0600) != 0) std::abort();
  if (mkfifo(reply.c_str(), 0600) != 0) std::abort();
  child_ = fork();
  if (child_ == 0) {
    PinToPlaced(1);
    signal(SIGPIPE, SIG_IGN);
    const int request_fd = open(request.c_str(), O_RDONLY);
    const int reply_fd = open(reply.c_str(), O_WRONLY);
    serve(request_fd, reply_fd);
    _exit(0);
  }
}

FifoPeer::~FifoPeer() {
  kill(child_, SIGKILL);
  waitpid(child_, nullptr, 0);
}

bool ReadAll(int fd, void* data, std::size_t size) {
  char* position = static_cast<char*>(data);
  while (size != 0) {
    const ssize_t got = read(fd, position, std::min(size, kPiece));
    if (got <= 0) return false;
    position += got;
    size -= static_cast<std::size_t>(got);
  }
  return true;
}

bool WriteAll(int fd, const void* data, std::size_t size) {
  const char* position = static_cast<const char*>(data);
  while (size != 0) {
    const ssize_t sent = write(fd, position, std::min(size, kPiece));
    if (sent <= 0) return false;
    position += sent;
    size -= static_cast<std::size_t>(sent);
  }
  return true;
}

RawPingPong::RawPingPong(const BenchDirectory& directory, std::size_t request, std::size_t reply)
    : peer_(directory.path() + "request", directory.path() + "reply",
            [request, reply](int request_fd, int reply_fd) {
              std::vector<char> question(request);
              const std::vector<char> answer(reply);
              while (ReadAll(request_fd, question.data(), request) &&
                     WriteAll(reply_fd, answer.data(), reply)) {
              }
            }),
      request_(request),
      reply_(reply),
      to_peer_(open((directory.path() + "request").c_str(), O_WRONLY | O_CLOEXEC)),
      from_peer_(open((directory.path() + "reply").c_str(), O_RDONLY | O_CLOEXEC)) {}

bool RawPingPong::Exchange() {
  return WriteAll(to_peer_, request_.data(), request_.size()) &&
         ReadAll(from_peer_, reply_.data(), reply_.size());
}

bool CoreEach() {
  const char* const cores = std::getenv("VEXA_BENCH_CORES");
  return cores != nullptr && std::atoi(cores) == 2;
}

void PlaceOnCores() {
  cpu_set_t allowed;
  sched_getaffinity(0, sizeof allowed, &allowed);
  for (int core = 0; core < CPU_SETSIZE; ++core) {
    if (CPU_ISSET(core, &allowed) && CPU_COUNT(&placed) < (CoreEach() ? 2 : 1)) CPU_SET(core, &placed);
  }
  sched_setaffinity(0, sizeof placed, &placed);
}

RawSide::RawSide() { PinToPlaced(0); }
RawSide::~RawSide() {
  if (CoreEach()) sched_setaffinity(0, sizeof placed, &placed);
}
