#include "sigpipe.h"

#include <pthread.h>

SigpipeBlocked::SigpipeBlocked() {
  sigset_t pending;
  sigset_t sigpipe;
  sigpending(&pending);
  was_pending = sigismember(&pending, SIGPIPE) == 1;
  sigemptyset(&sigpipe);
  sigaddset(&sigpipe, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &sigpipe, &before);
}

SigpipeBlocked::~SigpipeBlocked() {
  sigset_t pending;
  sigpending(&pending);
  if (!was_pending && sigismember(&pending, SIGPIPE) == 1) {
    sigset_t sigpipe;
    int taken = 0;
    sigemptyset(&sigpipe);
    sigaddset(&sigpipe, SIGPIPE);
    sigwait(&sigpipe, &taken);
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}
