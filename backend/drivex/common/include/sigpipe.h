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
  // Every write went well: spares the look for one that arose.
  void NoneArose() { may_be_pending = false; }

 private:
  bool may_be_pending = true;
  sigset_t before;
};

#endif
