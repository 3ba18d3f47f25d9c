#include "child_process.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform.h"

namespace {

constexpr int kNotExecuted = 255;

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

[[noreturn]] void RunChild(const char* program, char* const* argv, char* const* envp) {
  const uid_t effective_user = geteuid();
  const gid_t effective_group = getegid();
  if (seteuid(getuid()) != 0 || setgid(effective_group) != 0 || setuid(effective_user) != 0) {
    WriteLine("Failed to change user in some way");
    _exit(1);
  }
  execve(program, argv, envp);
  WriteLine(platform::ErrorText(errno));
  _exit(kNotExecuted);
}

}  // namespace

pid_t StartChild(const char* program, char* const* argv, char* const* envp) {
  const pid_t child = fork();
  if (child == 0) RunChild(program, argv, envp);
  return child;
}

bool ChildAlive(pid_t child) { return child > 0 && Wait(child, WNOHANG) == 0; }

void EndChild(pid_t child) {
  if (!ChildAlive(child)) {
    Wait(-1, WUNTRACED | WNOHANG);
    return;
  }
  kill(child, SIGKILL);
  if (Wait(-1, WUNTRACED) != child) Wait(child, 0);
}
