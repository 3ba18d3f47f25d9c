// WakeUp: ends the waits of threads in poll, in a way that no peer can see. It stays signalled until it is
// reset. Any thread may signal it; a fork of the process that made it signals nobody.
#ifndef WAKE_UP_H
#define WAKE_UP_H

#include <sys/types.h>

#include <atomic>

class WakeUp {
 public:
  WakeUp();
  WakeUp(const WakeUp&) = delete;
  WakeUp& operator=(const WakeUp&) = delete;
  ~WakeUp();

  void Signal();
  bool Signalled() const { return signalled; }
  // While nobody waits.
  void Reset();
  // Waits until the descriptor can be read or its writer hung up. False when this was signalled and there is
  // nothing to read.
  bool AwaitReadable(int descriptor) const;
  // For a wait of one's own: readable once this is signalled; -1 where there was none to be had, and then the
  // milliseconds between two looks at Signalled, otherwise -1.
  int Descriptor() const { return ends[0]; }
  int LookMilliseconds() const { return ends[0] == -1 ? kLookMilliseconds : -1; }

 private:
  static constexpr int kLookMilliseconds = 100;

  int ends[2];  // of a pipe; a byte in it is the signal
  std::atomic<bool> signalled = false;
  pid_t owner;
};

#endif
