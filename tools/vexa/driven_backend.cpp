#include "driven_backend.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <utility>

#include "XCmdArgument.h"

namespace {

constexpr const char* kName = "VEXA";  // of the language that drives
constexpr int kLookMilliseconds = 20;

std::string ValueOf(const char* name, const char* otherwise) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : otherwise;
}

// A backend gets no more than that of the driver's.
void FillEnvironment(XCmdArgument& environment, const std::string& home) {
  const std::string search = ValueOf("LD_LIBRARY_PATH", "");
  environment.pushArgument("SHELL=" + ValueOf("SHELL", "/bin/bash"));
  environment.pushArgument("VEXA_HOME=" + home);
  environment.pushArgument("LD_LIBRARY_PATH=" + home + "/lib" + (search.empty() ? "" : ":" + search));
  environment.pushArgument("PATH=" + home + "/bin:" + ValueOf("PATH", "/usr/bin:/bin"));
  environment.pushArgument("TERM=");
  environment.pushArgument("VEXA_QUICK=1");
  if (const char* const temp = std::getenv("VEXATMPDIR"))
    environment.pushArgument(std::string("TMPDIR=") + temp);
  environment.pushArgument("HOME=" + ValueOf("HOME", "/"));
}

std::string InPath(const std::string& program) {
  if (program.find('/') != std::string::npos) return program;
  std::istringstream places(ValueOf("PATH", "/usr/bin:/bin"));
  for (std::string place; std::getline(places, place, ':');) {
    place.append("/").append(program);
    if (access(place.c_str(), X_OK) == 0) return place;
  }
  return program;
}

std::string InSeconds(double seconds) {
  char text[40];
  std::snprintf(text, sizeof text, "%g s", seconds);
  return text;
}

std::int64_t Nanoseconds() {
  return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// With all that it says in a file. Returns an errno.
int Spawn(const std::string& program, XCmdArgument& arguments, XCmdArgument& environment,
          const std::string& words, pid_t& process) {
  posix_spawn_file_actions_t files;
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, words.c_str(),
                                   O_WRONLY | O_CREAT | O_TRUNC | O_APPEND, 0600);
  posix_spawn_file_actions_adddup2(&files, STDOUT_FILENO, STDERR_FILENO);
  sigset_t usual;
  sigemptyset(&usual);
  sigaddset(&usual, SIGPIPE);  // which this program ignores
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setsigdefault(&attributes, &usual);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
  const int failed =
      posix_spawn(&process, program.c_str(), &files, &attributes, arguments.argv(), environment.argv());
  posix_spawn_file_actions_destroy(&files);
  posix_spawnattr_destroy(&attributes);
  return failed;
}

void Pause() { poll(nullptr, 0, kLookMilliseconds); }

}  // namespace

double Seconds() { return static_cast<double>(Nanoseconds()) / 1e9; }

DrivenBackend::DrivenBackend(const Launch& how, std::string directory_of_fifos)
    : launch(how), directory(std::move(directory_of_fifos)) {
  char id[20];
  std::snprintf(id, sizeof id, "%x", static_cast<unsigned>(getpid()));
  level = directory + id + kName + "0";
}

DrivenBackend::~DrivenBackend() {
  if (process > 0 && end_told.empty()) {
    kill(process, SIGKILL);
    waitpid(process, nullptr, 0);
  }
  unlink(RequestFifo().c_str());
  unlink(ReplyFifo().c_str());
}

std::string DrivenBackend::Run() {
  if (mkfifo(ReplyFifo().c_str(), 0600) != 0) return ReplyFifo() + " cannot be made: " + std::strerror(errno);
  replies = Descriptor(open(ReplyFifo().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  const std::string program = InPath(launch.command.front());
  XCmdArgument arguments, environment;
  for (const std::string& word : launch.command) arguments.pushArgument(word);
  arguments.pushArgument(directory);
  arguments.pushArgument(
      level.substr(directory.size(), level.size() - directory.size() - 1 - std::strlen(kName)));
  arguments.pushArgument(kName);
  arguments.pushArgument(launch.options.starts_with(' ') ? launch.options : " " + launch.options);
  FillEnvironment(environment, launch.home);
  const int failed = Spawn(program, arguments, environment, directory + "words", process);
  if (failed != 0) process = -1;
  return failed == 0 ? "" : program + ": " + std::strerror(failed);
}

std::string DrivenBackend::LastWords() const {
  std::ifstream file(directory + "words");
  std::string last;
  for (std::string line; std::getline(file, line);) {
    if (!line.empty()) last = line;
  }
  return last.empty() ? "" : "; its last words: " + last;
}

std::string DrivenBackend::Ended() {
  if (process <= 0 || !end_told.empty()) return end_told;
  int status = 0;
  if (waitpid(process, &status, WNOHANG) != process) return "";
  killed = WIFSIGNALED(status);
  end_told = (killed ? "it died of signal " + std::to_string(WTERMSIG(status))
                     : "it ended with status " + std::to_string(WEXITSTATUS(status))) +
             LastWords();
  return end_told;
}

std::string DrivenBackend::AwaitEnd(double seconds) {
  const double end = Seconds() + seconds;
  while (Ended().empty() && Seconds() < end) Pause();
  return end_told;
}

// False, with the reason, when so many are not there in time.
bool DrivenBackend::AwaitBytes(std::size_t count, double end, std::string& bytes, std::string& why) {
  while (bytes.size() < count) {
    char chunk[65536];
    const ssize_t got = read(replies.Number(), chunk, std::min(sizeof chunk, count - bytes.size()));
    if (got > 0) {
      bytes.append(chunk, static_cast<std::size_t>(got));
      continue;
    }
    pollfd look = {replies.Number(), POLLIN, 0};
    poll(&look, 1, kLookMilliseconds);
    if ((look.revents & POLLIN) != 0) continue;
    const bool hung_up = (look.revents & POLLHUP) != 0;
    if (hung_up) AwaitEnd(std::min(0.5, end - Seconds()));  // most likely it died
    if (!Ended().empty()) {
      // What it wrote ahead of its end is there by now.
      look = {replies.Number(), POLLIN, 0};
      if (poll(&look, 1, 0) == 1 && (look.revents & POLLIN) != 0) continue;
      why = end_told;
    } else if (hung_up) {
      why = "it closed its fifo of replies, and lives on";
    } else if (Seconds() > end) {
      why = "nothing came for " + InSeconds(launch.within);
    }
    if (!why.empty()) return false;
  }
  return true;
}

void DrivenBackend::Note(bool sent, const std::string& bytes, bool whole) {
  constexpr int kBrokeOff = 99103;
  std::uint32_t length = 0;
  std::memcpy(&length, bytes.data(), std::min(bytes.size(), sizeof length));
  RecordedFrame frame;
  frame.process = getpid();
  frame.program = "driver";
  frame.sent = sent;
  frame.time = Nanoseconds();
  frame.code = whole ? 0 : kBrokeOff;
  frame.moved = static_cast<std::uint32_t>(bytes.size());
  frame.length = length;
  frame.fifo = sent ? RequestFifo() : ReplyFifo();
  frame.bytes = bytes;
  said.push_back(std::move(frame));
}

Heard DrivenBackend::Await(double seconds) {
  Heard heard;
  std::string bytes;
  const double end = Seconds() + seconds;
  std::int32_t length = 0;
  if (AwaitBytes(sizeof length, end, bytes, heard.why)) {
    std::memcpy(&length, bytes.data(), sizeof length);
    if (length < static_cast<std::int32_t>(kFrameHead))
      heard.why = "the reply begins with the length " + std::to_string(length);
    else
      AwaitBytes(static_cast<std::size_t>(length), end, bytes, heard.why);
  }
  Note(false, bytes, heard.why.empty());
  if (!heard.why.empty() && bytes.size() > sizeof length && length >= static_cast<std::int32_t>(kFrameHead))
    heard.why += ", behind " + std::to_string(bytes.size()) + " of " + std::to_string(length) + " bytes";
  if (!heard.why.empty()) return heard;
  const std::string wrong = WhyNoFrame(bytes, heard.frame);
  if (!wrong.empty()) heard.why = "the reply is no message: " + wrong;
  return heard;
}

Heard DrivenBackend::AwaitFirst() { return Await(launch.within); }

std::string DrivenBackend::OpenRequests() {
  struct stat file = {};
  if (stat(RequestFifo().c_str(), &file) != 0) return RequestFifo() + " is not there";
  if (!S_ISFIFO(file.st_mode)) return RequestFifo() + " is no fifo";
  if ((file.st_mode & 077) != 0) return RequestFifo() + " is open to others: its mode has to be 0600";
  requests = Descriptor(open(RequestFifo().c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
  return requests.Number() != -1 ? "" : "nobody has opened " + RequestFifo() + " to read";
}

std::string DrivenBackend::Start() {
  if (std::string why = Run(); !why.empty()) return why;
  const Heard first = AwaitFirst();
  if (!first.why.empty()) return "no first message: " + first.why;
  if (first.frame.code != 0)
    return "it refused to start with code " + std::to_string(first.frame.code) +
           (first.frame.strings.empty() ? "" : ": " + first.frame.strings[0]);
  return OpenRequests();
}

std::string DrivenBackend::Send(const std::string& bytes) {
  const double end = Seconds() + launch.within;
  std::size_t sent = 0;
  std::string why;
  while (sent < bytes.size() && why.empty()) {
    const ssize_t moved = write(requests.Number(), bytes.data() + sent, bytes.size() - sent);
    if (moved > 0) {
      sent += static_cast<std::size_t>(moved);
    } else if (moved == -1 && errno == EPIPE) {
      why = AwaitEnd(0.5).empty() ? "it closed its fifo of requests, and lives on" : end_told;
    } else if (!Ended().empty()) {
      why = end_told;
    } else if (Seconds() > end) {
      why = "it takes no request: its fifo has been full for " + InSeconds(launch.within);
    } else {
      Pause();
    }
  }
  Note(true, bytes, sent == bytes.size());
  return why;
}

Heard DrivenBackend::AskBytes(const std::string& bytes) {
  Heard heard;
  heard.why = Send(bytes);
  return heard.why.empty() ? Await(launch.within) : heard;
}
