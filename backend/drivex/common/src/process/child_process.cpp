#include "child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <string>

#include "platform.h"

namespace {

constexpr int kNotExecuted = 255;

std::atomic<pid_t> backend = -1;
std::atomic<int> backend_exit = -1;  // readable once it has ended; -1 where there is no such descriptor

void WriteLine(const char* text) {
  // A result that nobody could act on: the child is about to end.
  if (write(STDOUT_FILENO, text, std::strlen(text)) == -1 || write(STDOUT_FILENO, "\n", 1) == -1) return;
}

// The child whose end was seen last, and how it ended.
std::atomic<pid_t> ended = -1;
std::atomic<int> ended_how = 0;

pid_t Wait(pid_t child, int options) {
  int status = 0;
  pid_t found;
  do {
    found = waitpid(child, &status, options);
  } while (found == -1 && errno == EINTR);
  if (found > 0) {
    ended_how = status;
    ended = found;
  }
  return found;
}

void DefaultHandlingOf(int signal_number) {
  struct sigaction by_default = {};
  by_default.sa_handler = SIG_DFL;
  sigaction(signal_number, &by_default, nullptr);
  sigset_t unblocked;
  sigemptyset(&unblocked);
  sigaddset(&unblocked, signal_number);
  sigprocmask(SIG_UNBLOCK, &unblocked, nullptr);
}

void Redirect(int from, int to) {
  if (from == -1) return;
  if (from == to) {
    fcntl(to, F_SETFD, 0);  // dup2 would leave it to be closed by execve
  } else {
    dup2(from, to);
  }
}

[[noreturn]] void RunChild(const char* program, char* const* argv, char* const* envp,
                           const ChildStreams& streams) {
  if (streams.input != -1) DefaultHandlingOf(SIGCHLD);
  const uid_t effective_user = geteuid();
  const gid_t effective_group = getegid();
  if (seteuid(getuid()) != 0 || setgid(effective_group) != 0 || setuid(effective_user) != 0) {
    WriteLine("Failed to change user in some way");
    _exit(1);
  }
  Redirect(streams.input, STDIN_FILENO);
  Redirect(streams.output, STDOUT_FILENO);
  Redirect(streams.errors, STDERR_FILENO);
  execve(program, argv, envp);
  WriteLine(platform::ErrorText(errno));
  _exit(kNotExecuted);
}

}  // namespace

pid_t StartChild(const char* program, char* const* argv, char* const* envp, const ChildStreams& streams) {
  const pid_t child = fork();
  if (child == 0) RunChild(program, argv, envp, streams);
  return child;
}

std::string HowChildEnded(const std::string& program, pid_t child) {
  if (child <= 0) return program + " could not be started";
  if (access(program.c_str(), F_OK) != 0) return program + " is not there";
  if (access(program.c_str(), X_OK) != 0) return program + " may not be executed";
  if (ended != child) return program + " has ended";
  const int how = ended_how;
  if (WIFSIGNALED(how)) return program + " was ended by signal " + std::to_string(WTERMSIG(how));
  if (WEXITSTATUS(how) == kNotExecuted) return program + " could not be executed";
  return program + " ended with status " + std::to_string(WEXITSTATUS(how));
}

bool ChildAlive(pid_t child) {
  if (child <= 0) return false;
  const pid_t found = Wait(child, WNOHANG);
  if (found == 0) return true;
  // No child of this process, which may be a fork of its parent, or reaped by somebody else.
  return found == -1 && (kill(child, 0) == 0 || errno != ESRCH);
}

void SetBackendProcess(pid_t child) {
  if (const int spent = backend_exit.exchange(-1); spent != -1) close(spent);
  backend = child;
  if (child > 0) backend_exit = platform::OpenProcess(child);
}

bool BackendHasEnded() {
  const pid_t child = backend;
  if (child <= 0) return false;
  pollfd exit = {backend_exit, POLLIN, 0};
  if (exit.fd != -1) return poll(&exit, 1, 0) > 0;
  siginfo_t info = {};
  int found;
  do {
    found = waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOHANG | WNOWAIT);
  } while (found == -1 && errno == EINTR);
  if (found == -1) return kill(child, 0) == -1 && errno == ESRCH;
  return info.si_pid == child;
}

int BackendExit() { return backend_exit; }

bool BackendAlive() {
  const bool alive = ChildAlive(backend);
  if (alive) return true;
  if (const int spent = backend_exit.exchange(-1); spent != -1) close(spent);
  return false;
}

void KillChild(pid_t child) {
  if (child <= 0 || Wait(child, WNOHANG) != 0) return;
  kill(child, SIGKILL);
  Wait(child, 0);
}
