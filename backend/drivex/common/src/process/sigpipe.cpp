#include "sigpipe.h"

#include <pthread.h>

namespace {

bool Pending() {
  sigset_t pending;
  sigpending(&pending);
  return sigismember(&pending, SIGPIPE) == 1;
}

}  // namespace

SigpipeBlocked::SigpipeBlocked() {
  sigset_t sigpipe;
  sigemptyset(&sigpipe);
  sigaddset(&sigpipe, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &sigpipe, &before);
  // One that is pending from before is not ours to take. It can only be where the signal was blocked already.
  if (sigismember(&before, SIGPIPE) == 1 && Pending()) may_be_pending = false;
}

SigpipeBlocked::~SigpipeBlocked() {
  if (may_be_pending && Pending()) {
    sigset_t sigpipe;
    int taken = 0;
    sigemptyset(&sigpipe);
    sigaddset(&sigpipe, SIGPIPE);
    pthread_kill(pthread_self(), SIGPIPE);  // one pending for the whole process may go to another thread
    sigwait(&sigpipe, &taken);
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}
