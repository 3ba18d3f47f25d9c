// A child process of ours: started without running anything of the parent in the child, asked whether it
// lives, ended. A process id of -1 or 0 means that there is none, and never reaches kill, which would take it
// for a whole group.
#ifndef CHILD_PROCESS_H
#define CHILD_PROCESS_H

#include <sys/types.h>

// Forks and executes `program` under the real user id, with the vectors as they stand. In the child only
// async-signal-safe calls run. A program that cannot be executed writes the reason to standard output and
// ends with status 255; one whose user cannot be set says so and ends with 1. Returns fork's result.
pid_t StartChild(const char* program, char* const* argv, char* const* envp);

// Whether the child runs. Reaps it first: an ended child that nobody has waited for would still answer a
// signal.
bool ChildAlive(pid_t child);

// Kills the child if it runs, then waits for any child, and for this one if it was another that the wait
// found: callers rely on the first wait, and nothing of ours is left after the second. Does not wait for
// strangers when there was nothing to kill.
void EndChild(pid_t child);

#endif
