// A child process of ours: started without running anything of the parent in the child, asked whether it
// lives, ended. A process id of -1 or 0 means that there is none, and never reaches kill, which would take it
// for a whole group.
#ifndef CHILD_PROCESS_H
#define CHILD_PROCESS_H

#include <sys/types.h>

#include <string>

// What a child has in the place of the parent's standard streams. Descriptors of the parent's; it inherits
// where there is none.
struct ChildStreams {
  int input = -1;
  int output = -1;
  int errors = -1;
};

// Forks and executes `program` under the real user id, with the vectors as they stand. In the child only
// async-signal-safe calls run. A program that cannot be executed writes the reason to standard output and
// ends with status 255; one whose user cannot be set says so and ends with 1. Returns fork's result. A child
// with an input of its own also has the default handling of SIGCHLD.
pid_t StartChild(const char* program, char* const* argv, char* const* envp, const ChildStreams& streams = {});

// Whether the process runs. A child is reaped first: an ended child that nobody has waited for would still
// answer a signal. In a fork of the process that started it, where it is no child, the signal is all there
// is.
bool ChildAlive(pid_t child);

// In words how the child that was started with that program came to its end: for the child whose end was seen
// last, with its status. Of one that was not executed, why.
std::string HowChildEnded(const std::string& program, pid_t child);

// The backend that this process started, -1 for none. These two are called while nobody else waits for it;
// BackendAlive is ChildAlive of it.
void SetBackendProcess(pid_t child);
bool BackendAlive();
// The opposite question without reaping, for threads that wait for the backend while another one reaps it.
// False where there is none: then nothing is known.
bool BackendHasEnded();
// For poll: readable once it has ended. -1 where there is none, or no such descriptor.
int BackendExit();

// Kills the child if it runs, and reaps it. No other child is touched, and nobody who is no child of this
// process.
void KillChild(pid_t child);

#endif
