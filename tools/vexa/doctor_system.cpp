// What lies outside the home: the directory of the fifos, limits, the display.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>

#include "descriptor.h"
#include "doctor.h"
#include "fifo_files.h"
#include "platform.h"

namespace {

constexpr const char* kPrivate = "mkdir -m 700 ~/.vexa-temp && export VEXADXTEMP=~/.vexa-temp";

struct Temp {
  std::string path;
  std::string told;  // by which variable
};

// As the library looks for it.
Temp TempDirectory() {
  for (const char* name : {"VEXADXTEMP", "TEMP", "TMP", "tmp"}) {
    if (const char* value = std::getenv(name)) return {value, name};
  }
  return {"/tmp/", "no variable"};
}

std::string WhyNoFifo(const std::string& directory) {
  const std::string path = directory + "/vexa_doctor_" + std::to_string(getpid());
  if (mkfifo(path.c_str(), 0600) != 0) return std::strerror(errno);
  unlink(path.c_str());
  return {};
}

void LookAtRights(const Temp& temp, Findings& findings) {
  struct stat status = {};
  stat(temp.path.c_str(), &status);
  const bool others_write = (status.st_mode & (S_IWGRP | S_IWOTH)) != 0;
  const std::string what = temp.path + " (" + temp.told + ")";
  if (!others_write) return findings.Good("temp", what);
  const bool sticky = (status.st_mode & S_ISVTX) != 0;
  const std::string text = what + (sticky ? ": others can put files in the way of a start there"
                                          : ": others can remove the fifos there");
  sticky ? findings.Hint("temp", text, kPrivate) : findings.Fault("temp", text, kPrivate);
}

void LookAtSpace(const Temp& temp, Findings& findings) {
  constexpr unsigned long kLeastBytes = 1 << 20, kLeastFiles = 100;
  struct statvfs space = {};
  if (statvfs(temp.path.c_str(), &space) != 0) return;
  if (space.f_bavail * space.f_frsize < kLeastBytes)
    findings.Fault("temp", temp.path + " has less than 1 MiB left",
                   "make room there, or name another in VEXADXTEMP");
  if (space.f_files != 0 && space.f_favail < kLeastFiles)
    findings.Fault("temp", temp.path + " has room for " + std::to_string(space.f_favail) + " files more",
                   "remove some, or name another in VEXADXTEMP");
}

std::string IdOf(const std::string& fifo) {
  return fifo.substr(0, fifo.find_first_not_of("0123456789abcdef"));
}

void LookForStaleFifos(const DoctorOptions& options, const Temp& temp, Findings& findings) {
  const auto stale = StaleFifos(temp.path);
  if (stale.empty()) return;
  std::set<std::string> sessions;
  for (const std::string& name : stale) sessions.insert(IdOf(name));
  const std::string text = temp.path + " has " + std::to_string(stale.size()) + " fifos that " +
                           std::to_string(sessions.size()) + " dead processes left";
  if (!options.clean) return findings.Hint("temp", text, "vexa doctor --clean removes them");
  RemoveStaleFifos(temp.path);
  findings.Good("temp", text + ", now removed");
}

void LookAtTemp(const DoctorOptions& options, Findings& findings) {
  const Temp temp = TempDirectory();
  struct stat status = {};
  if (stat(temp.path.c_str(), &status) != 0)
    return findings.Fault("temp", temp.told + " names " + temp.path + ": " + std::strerror(errno),
                          "make it, with mode 0700, or name another in VEXADXTEMP");
  if (const std::string why = WhyNoFifo(temp.path); !why.empty())
    return findings.Fault("temp", "no fifo can be made in " + temp.path + " (" + temp.told + "): " + why,
                          "name a directory of yours in VEXADXTEMP: " + std::string(kPrivate));
  LookAtRights(temp, findings);
  LookAtSpace(temp, findings);
  LookForStaleFifos(options, temp, findings);
}

void LookAtLimits(Findings& findings) {
  constexpr rlim_t kFewFiles = 256;
  constexpr int kUsualPipe = 65536;
  rlimit files = {};
  getrlimit(RLIMIT_NOFILE, &files);
  if (files.rlim_cur < kFewFiles)
    findings.Fault("limits",
                   "a process may open " + std::to_string(files.rlim_cur) +
                       " files, and each block of a language takes 16",
                   "ulimit -n 1024");
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0)
    return findings.Fault("limits", std::string("no pipe can be made: ") + std::strerror(errno),
                          "close programs of yours");
  const Descriptor reading(ends[0]), writing(ends[1]);
  const int size = fcntl(writing.Number(), F_GETPIPE_SZ);
  if (size < kUsualPipe)
    findings.Hint("limits",
                  "a pipe holds " + std::to_string(size) + " bytes, so that large messages take long",
                  "close programs with many pipes, or raise /proc/sys/fs/pipe-user-pages-soft");
  else if (files.rlim_cur >= kFewFiles)
    findings.Good("limits",
                  std::to_string(files.rlim_cur) + " files, pipes of " + std::to_string(size) + " bytes");
}

// ":5" and ":5.0" are sockets of this machine.
bool Answers(const std::string& display) {
  if (!display.starts_with(':')) return true;
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  const std::string path = "/tmp/.X11-unix/X" + display.substr(1, display.find('.') - 1);
  if (path.size() >= sizeof address.sun_path) return false;
  path.copy(address.sun_path, path.size());
  const Descriptor socket_end(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  return connect(socket_end.Number(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
}

void LookAtDisplay(Findings& findings) {
  const char* const display = std::getenv("DISPLAY");
  if (display == nullptr || *display == '\0')
    return findings.Hint("console", "DISPLAY is not set, so no language can open a console",
                         "set it, if one is wanted");
  if (access(platform::kTerminal, X_OK) != 0)
    return findings.Hint("console", std::string("there is no ") + platform::kTerminal,
                         "apt-get install xterm");
  if (!Answers(display))
    return findings.Hint("console", std::string("nobody answers at the display ") + display,
                         "set DISPLAY to the one in use, as `echo $DISPLAY` tells in a terminal there");
  findings.Good("console", std::string("display ") + display);
}

}  // namespace

void LookAtSystem(const DoctorOptions& options, Findings& findings) {
  LookAtTemp(options, findings);
  LookAtLimits(findings);
  LookAtDisplay(findings);
}
