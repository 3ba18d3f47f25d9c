#include "child_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>

#include "platform.h"

namespace {

constexpr int kNotExecuted = 255;

std::atomic<pid_t> backend = -1;

void WriteLine(const char* text) {
  // A result that nobody could act on: the child is about to end.
  if (write(STDOUT_FILENO, text, std::strlen(text)) == -1 || write(STDOUT_FILENO, "\n", 1) == -1) return;
}

pid_t Wait(pid_t child, int options) {
  int status = 0;
  pid_t found;
  do {
    found = waitpid(child, &status, options);
  } while (found == -1 && errno == EINTR);
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
  if (from == to) {
    fcntl(to, F_SETFD, 0);  // dup2 would leave it to be closed by execve
  } else {
    dup2(from, to);
  }
}

[[noreturn]] void RunChild(const char* program, char* const* argv, char* const* envp,
                           const ChildStreams* streams) {
  if (streams != nullptr) DefaultHandlingOf(SIGCHLD);
  const uid_t effective_user = geteuid();
  const gid_t effective_group = getegid();
  if (seteuid(getuid()) != 0 || setgid(effective_group) != 0 || setuid(effective_user) != 0) {
    WriteLine("Failed to change user in some way");
    _exit(1);
  }
  if (streams != nullptr) {
    Redirect(streams->input, STDIN_FILENO);
    Redirect(streams->output, STDOUT_FILENO);
  }
  execve(program, argv, envp);
  WriteLine(platform::ErrorText(errno));
  _exit(kNotExecuted);
}

}  // namespace

pid_t StartChild(const char* program, char* const* argv, char* const* envp, const ChildStreams* streams) {
  const pid_t child = fork();
  if (child == 0) RunChild(program, argv, envp, streams);
  return child;
}

bool ChildAlive(pid_t child) { return child > 0 && Wait(child, WNOHANG) == 0; }

void SetBackendProcess(pid_t child) { backend = child; }

bool BackendHasEnded() {
  const pid_t child = backend;
  if (child <= 0) return false;
  siginfo_t info = {};
  int found;
  do {
    found = waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOHANG | WNOWAIT);
  } while (found == -1 && errno == EINTR);
  return found == -1 || info.si_pid == child;  // reaped, or waiting to be
}

void EndChild(pid_t child) {
  if (!ChildAlive(child)) {
    Wait(-1, WUNTRACED | WNOHANG);
    return;
  }
  kill(child, SIGKILL);
  if (Wait(-1, WUNTRACED) != child) Wait(child, 0);
}

void KillChild(pid_t child) {
  if (!ChildAlive(child)) return;
  kill(child, SIGKILL);
  Wait(child, 0);
}
