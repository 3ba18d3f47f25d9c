/* The process that started this one. A program that the library starts is there for its starter alone: when
   that goes, it has to go, whatever it is busy with. For C and for C++, so that every language's side can
   watch in the same way.

   A process whose starter has gone is given another parent: one that looks for the first time then sees that
   one. It is told from the starter by the id of the fifos, which names the process that drives the session: a
   starter is that process itself or one that was started for it, and a parent that takes in orphans is an
   ancestor of it. */
#ifndef STARTER_H
#define STARTER_H

#include <errno.h>
#include <poll.h>
#include <signal.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/syscall.h>
#include <unistd.h>

struct Starter {
  pid_t child;  /* whose starter it is: this process, or one that stands between */
  pid_t parent; /* of the child, as it was first seen; -1 when it had gone by then */
  int end;      /* can be read when the parent has ended; -1 where the system has no such descriptor */
};

enum { kStarterLookMilliseconds = 100 };

/* The parent of a process; 0 when that is not known, as of a process that has gone. */
static inline pid_t ParentOf(pid_t process) {
  if (process == getpid()) return getppid();
  char name[64];
  snprintf(name, sizeof name, "/proc/%ld/status", (long)process);
  FILE* const status = fopen(name, "re");
  if (status == NULL) return 0;
  long parent = 0;
  char line[256];
  while (fgets(line, sizeof line, status) != NULL && sscanf(line, "PPid: %ld", &parent) != 1) continue;
  fclose(status);
  return (pid_t)parent;
}

static inline bool IsAncestorOf(pid_t process, pid_t descendant) {
  for (pid_t each = ParentOf(descendant); each > 0; each = ParentOf(each)) {
    if (each == process) return true;
  }
  return false;
}

/* Whether the parent can be what started a process of the session of that id. */
static inline bool MayStart(pid_t parent, const char* id) {
  const pid_t driver = (pid_t)strtol(id, NULL, 16);
  if (driver <= 0 || parent == driver) return true;
  const bool driver_gone = kill(driver, 0) == -1 && errno == ESRCH;
  return driver_gone ? parent != 1 : !IsAncestorOf(parent, driver);
}

/* Of this process, or of one that stands between this one and its starter. `id`: of the fifos. */
static inline struct Starter StarterOf(pid_t child, const char* id) {
  struct Starter starter = {child, ParentOf(child), -1};
  if (starter.parent <= 0 || !MayStart(starter.parent, id)) starter.parent = -1;
#ifdef SYS_pidfd_open
  if (starter.parent != -1) starter.end = (int)syscall(SYS_pidfd_open, starter.parent, 0);
#endif
  return starter;
}

static inline bool StarterGone(const struct Starter* starter) {
  return starter->parent == -1 || ParentOf(starter->child) != starter->parent;
}

/* Where there is no descriptor for its end, it is looked for a few times a second. */
static inline void AwaitStarterEnd(const struct Starter* starter) {
  struct pollfd look = {starter->end, POLLIN, 0};
  while (!StarterGone(starter) && poll(&look, 1, look.fd == -1 ? kStarterLookMilliseconds : -1) != 1)
    continue;
}

#endif
