#include "peer_process.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <charconv>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <system_error>

#include "starter.h"

namespace {

namespace fs = std::filesystem;

int PortOf(const sockaddr_in& address) { return ntohs(address.sin_port); }

// The part of "0100007F:1F90" behind the ":".
int PortOf(const std::string& entry) {
  int port = -1;
  const std::size_t at = entry.find(':') + 1;
  std::from_chars(entry.data() + at, entry.data() + entry.size(), port, 16);
  return port;
}

struct End {
  uid_t user = 0;
  unsigned long inode = 0;
};

// The end of the connection whose own port and peer's port these are. The tables have a heading, and in each
// line: number, own address, peer's address, state, queues, timer, retransmits, user, time-out, inode. A
// program may reach the loopback address from either family.
std::optional<End> FindEnd(int own_port, int peer_port, bool& has_table) {
  for (const char* table : {"/proc/net/tcp", "/proc/net/tcp6"}) {
    std::ifstream lines(table);
    std::string line, skipped, own, peer;
    while (std::getline(lines, line)) {
      has_table = true;
      std::istringstream fields(line);
      End end;
      fields >> skipped >> own >> peer;
      if (PortOf(own) != own_port || PortOf(peer) != peer_port) continue;
      for (int i = 0; i < 4; ++i) fields >> skipped;
      if (fields >> end.user >> skipped >> end.inode) return end;
    }
  }
  return std::nullopt;
}

enum class Holds { kYes, kNo, kHidden };

Holds HoldsSocket(const fs::path& process, unsigned long inode) {
  const std::string socket = "socket:[" + std::to_string(inode) + "]";
  std::error_code failed;
  fs::directory_iterator each(process / "fd", failed);
  if (failed) return Holds::kHidden;
  for (; !failed && each != fs::directory_iterator(); each.increment(failed)) {
    std::error_code gone;
    if (fs::read_symlink(each->path(), gone) == socket) return Holds::kYes;
  }
  return Holds::kNo;
}

bool StartedHolds(pid_t process, unsigned long inode) {
  std::error_code failed;
  for (const auto& each : fs::directory_iterator("/proc", failed)) {
    const std::string name = each.path().filename();
    pid_t id = 0;
    const auto parsed = std::from_chars(name.data(), name.data() + name.size(), id);
    if (parsed.ec != std::errc() || parsed.ptr != name.data() + name.size()) continue;
    if (IsAncestorOf(process, id) && HoldsSocket(each.path(), inode) == Holds::kYes) return true;
  }
  return false;
}

}  // namespace

bool ConnectedFrom(pid_t process, int connection) {
  sockaddr_in own = {}, peer = {};
  socklen_t length = sizeof own, peer_length = sizeof peer;
  if (getsockname(connection, reinterpret_cast<sockaddr*>(&own), &length) != 0 ||
      getpeername(connection, reinterpret_cast<sockaddr*>(&peer), &peer_length) != 0) {
    return false;
  }
  bool has_table = false;
  const std::optional<End> end = FindEnd(PortOf(peer), PortOf(own), has_table);
  if (!end) return !has_table;
  const Holds holds = HoldsSocket("/proc/" + std::to_string(process), end->inode);
  if (holds == Holds::kHidden) return end->user == geteuid();
  return holds == Holds::kYes || StartedHolds(process, end->inode);
}
