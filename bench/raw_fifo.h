// What the bridge is held against: plain fifos between two processes, and the other end of a measured
// exchange played by a process that does nothing but read and write.
#ifndef BENCH_RAW_FIFO_H
#define BENCH_RAW_FIFO_H

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

// A private directory, removed with its fifos at the end.
class BenchDirectory {
 public:
  BenchDirectory();
  BenchDirectory(const BenchDirectory&) = delete;
  BenchDirectory& operator=(const BenchDirectory&) = delete;
  ~BenchDirectory();
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

// Two fifos with a child process at the other end: `serve` runs there until it returns.
class FifoPeer {
 public:
  using Serve = std::function<void(int request_fd, int reply_fd)>;
  // Makes the fifos `request` and `reply`. The child opens `request` first; the caller opens in the same
  // order.
  FifoPeer(const std::string& request, const std::string& reply, const Serve& serve);
  FifoPeer(const FifoPeer&) = delete;
  FifoPeer& operator=(const FifoPeer&) = delete;
  ~FifoPeer();

 private:
  pid_t child_;
};

// All of `size` bytes in pieces of at most 8192; false at the end of the peer.
bool ReadAll(int fd, void* data, std::size_t size);
bool WriteAll(int fd, const void* data, std::size_t size);

// An exchange of messages of fixed sizes with a process that does nothing else: what a call is held against.
class RawPingPong {
 public:
  RawPingPong(const BenchDirectory& directory, std::size_t request, std::size_t reply);
  bool Exchange();

 private:
  FifoPeer peer_;
  std::vector<char> request_;
  std::vector<char> reply_;
  int to_peer_;
  int from_peer_;
};

// Where the two processes of an exchange run: VEXA_BENCH_CORES is 1, and they share a core, or 2, and each
// can have one of its own. Then the raw side is pinned, a process to each, as it would wait on one core
// otherwise; the bridge's is left to the system, as looking before blocking is for processes that are not
// tied down. For this process and those that it starts from now on.
void PlaceOnCores();
bool CoreEach();

// Around a raw exchange: this process is where its side of it belongs.
class RawSide {
 public:
  RawSide();
  RawSide(const RawSide&) = delete;
  RawSide& operator=(const RawSide&) = delete;
  ~RawSide();
};

#endif
