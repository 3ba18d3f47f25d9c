// Keeps SIGPIPE away from the calling thread while it writes to a peer that may be gone. One that arises
// meanwhile is taken back; the process's own handling of the signal is not touched.
#ifndef SIGPIPE_H
#define SIGPIPE_H

#include <signal.h>

class SigpipeBlocked {
 public:
  SigpipeBlocked();
  SigpipeBlocked(const SigpipeBlocked&) = delete;
  SigpipeBlocked& operator=(const SigpipeBlocked&) = delete;
  ~SigpipeBlocked();

 private:
  bool was_pending;
  sigset_t before;
};

#endif
