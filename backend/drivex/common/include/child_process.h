// A child process of ours: started without running anything of the parent in the child, asked whether it
// lives, ended. A process id of -1 or 0 means that there is none, and never reaches kill, which would take it
// for a whole group.
#ifndef CHILD_PROCESS_H
#define CHILD_PROCESS_H

#include <sys/types.h>

// What a child has in the place of the parent's standard input and output. Descriptors of the parent's.
struct ChildStreams {
  int input;
  int output;
};

// Forks and executes `program` under the real user id, with the vectors as they stand. In the child only
// async-signal-safe calls run. A program that cannot be executed writes the reason to standard output and
// ends with status 255; one whose user cannot be set says so and ends with 1. Returns fork's result. A child
// with streams of its own also has the default handling of SIGCHLD.
pid_t StartChild(const char* program, char* const* argv, char* const* envp,
                 const ChildStreams* streams = nullptr);

// Whether the child runs. Reaps it first: an ended child that nobody has waited for would still answer a
// signal.
bool ChildAlive(pid_t child);

// The same question without reaping, for threads that wait for the backend while another one reaps it:
// whether the backend that this process started, as SetBackendProcess said last, has ended. False where there
// is none: then nothing is known.
void SetBackendProcess(pid_t child);
bool BackendHasEnded();

// Kills the child if it runs, then waits for any child, and for this one if it was another that the wait
// found: callers rely on the first wait, and nothing of ours is left after the second. Does not wait for
// strangers when there was nothing to kill.
void EndChild(pid_t child);

// Kills the child if it runs, and reaps it; no other child is touched.
void KillChild(pid_t child);

#endif
