#define _GNU_SOURCE  // for nftw
#include <R.h>
#include <R_ext/Rdynload.h>
#include <dirent.h>
#include <ftw.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include "generated.h"
#include "shim.h"
#include "starter.h"
#include "vexaxd_p.h"

static const struct timespec kGrace = {0, 600000000};  // within a second everything is to be over

static pthread_t r_thread;
static pid_t r_process;  // a fork of it has no say
static struct Starter starter;
static void (*interrupt)(int);  // R's own handler
static char fifo_directory[4096];
static char fifo_prefix[256];  // of this language's levels
static char session_directory[4096];

static void RemoveFifos(void) {
  if (getpid() != r_process) return;
  DIR* const directory = opendir(fifo_directory);
  if (directory == NULL) return;
  const size_t length = strlen(fifo_prefix);
  for (const struct dirent* entry; (entry = readdir(directory)) != NULL;) {
    const char* const level = entry->d_name + length;
    if (strncmp(entry->d_name, fifo_prefix, length) == 0 && *level >= '0' && *level <= '9')
      unlinkat(dirfd(directory), entry->d_name, 0);
  }
  closedir(directory);
}

static int RemoveEntry(const char* path, const struct stat* about, int type, struct FTW* place) {
  (void)about, (void)type, (void)place;
  remove(path);
  return 0;
}

// Whatever R is busy with when its starter goes, nobody waits for it any more. At a prompt it ends by itself;
// a computation is interrupted, so that it comes to one; what cannot be interrupted is not waited for, and
// what R would have removed at its end is removed here.
static void* EndWithStarter(void* unused) {
  AwaitStarterEnd(&starter);
  RemoveFifos();
  if (!AtPrompt()) {
    signal(SIGINT, interrupt);
    pthread_kill(r_thread, SIGINT);
  }
  nanosleep(&kGrace, NULL);
  if (session_directory[0] == '/') nftw(session_directory, RemoveEntry, 16, FTW_DEPTH | FTW_PHYS);
  RemoveFifos();             // a call may have made them anew
  quick_exit(EXIT_FAILURE);  // this process is the backend's, and R's own way out is on the other thread
  return unused;
}

static void NoteSessionDirectory(void) {
  const SEXP call = PROTECT(Rf_lang1(Rf_install("tempdir")));
  const SEXP directory = PROTECT(Rf_eval(call, R_BaseEnv));
  if (Rf_isString(directory) && Rf_length(directory) == 1)
    snprintf(session_directory, sizeof session_directory, "%s", CHAR(STRING_ELT(directory, 0)));
  UNPROTECT(2);
}

// With no signal of R's: their handlers are for R's thread.
static void WatchStarter(void) {
  pthread_t watch;
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  if (pthread_create(&watch, NULL, EndWithStarter, NULL) == 0) pthread_detach(watch);
  pthread_sigmask(SIG_SETMASK, &before, NULL);
}

// An interrupt of R's ends a call that waits, as an error of that call.
static void LookForInterrupt(void* unused) {
  (void)unused;
  R_CheckUserInterrupt();
}
static int WasInterrupted(void* unused) { return R_ToplevelExec(LookForInterrupt, unused) ? 0 : 1; }

// Not to ignore it: what R starts would ignore it, too. R's own handler would jump out of the library.
static void PassOver(int signal) { (void)signal; }

void PrepareSignals(void) {
  static bool prepared = false;
  if (prepared) return;
  prepared = true;
  struct sigaction action;
  memset(&action, 0, sizeof action);
  action.sa_handler = PassOver;
  action.sa_flags = SA_RESTART;
  sigaction(SIGPIPE, &action, NULL);
  VexaSetInterruptCheck(WasInterrupted, NULL);
}

SEXP C_init_process(SEXP name, SEXP path, SEXP id, SEXP language) {
  const char* const application = TextOf(name);
  snprintf(fifo_directory, sizeof fifo_directory, "%s", TextOf(path));
  snprintf(fifo_prefix, sizeof fifo_prefix, "%s%s", TextOf(id), TextOf(language));
  PrepareSignals();
  interrupt = signal(SIGINT, SIG_IGN);  // meant for the program that drives the backend
  InitXProcess(application, TextOf(path), TextOf(id), TextOf(language), "");
  r_thread = pthread_self();
  r_process = getpid();
  atexit(RemoveFifos);
  starter = StarterOf(getpid(), TextOf(id));
  NoteSessionDirectory();
  // The starter removes it where R cannot any more. It reads this ahead of the next prompt.
  dprintf(STDOUT_FILENO, "session directory: %s\n", session_directory);
  WatchStarter();
  TakeConsole();
  return R_NilValue;
}

#define ENTRY(entry, count) .name = #entry, .fun = (DL_FUNC)&entry, .numArgs = count

static const R_CallMethodDef kEntries[] = {{ENTRY(C_init_process, 4)}, {ENTRY(C_begin_block, 0)},
                                           {ENTRY(C_end_block, 0)},    {ENTRY(C_open_columns, 5)},
                                           {ENTRY(C_next_columns, 2)}, {ENTRY(C_write_columns, 3)},
                                           GENERATED_ENTRIES{NULL}};

void R_init_vexastatistics(DllInfo* library) {
  R_registerRoutines(library, NULL, kEntries, NULL, NULL);
  R_useDynamicSymbols(library, FALSE);
}
