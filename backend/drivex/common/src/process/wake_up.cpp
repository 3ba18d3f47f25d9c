#include "wake_up.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>

#include "platform.h"

WakeUp::WakeUp() : owner(getpid()) {
  if (platform::PipeOfOurs(ends) != 0) ends[0] = ends[1] = -1;
}

WakeUp::~WakeUp() {
  for (const int end : ends) {
    if (end != -1) close(end);
  }
}

void WakeUp::Signal() {
  // The pipe is shared with a fork, whose waiters are not ours.
  if (getpid() != owner || signalled.exchange(true)) return;
  while (write(ends[1], "", 1) == -1 && errno == EINTR) continue;
}

void WakeUp::Reset() {
  if (getpid() != owner || !signalled.exchange(false)) return;
  char byte;
  while (read(ends[0], &byte, 1) == -1 && errno == EINTR) continue;
}

bool WakeUp::AwaitReadable(int descriptor) const {
  for (;;) {
    // What is there to be read goes first: the last message of a peer is not lost.
    pollfd looks[] = {{descriptor, POLLIN, 0}, {ends[0], POLLIN, 0}};
    const bool last_look = signalled;
    const int ready = poll(looks, 2, last_look ? 0 : LookMilliseconds());
    if (ready > 0 && looks[0].revents != 0) return true;
    if (last_look) return false;
  }
}
