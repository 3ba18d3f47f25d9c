// How far a frame has come, and what is left of one whose wait was given up.
#ifndef FRAME_PROGRESS_H
#define FRAME_PROGRESS_H

#include <pthread.h>

#include <cstddef>
#include <cstdint>
#include <string>

struct FrameProgress {
  std::size_t received = 0;
  std::size_t length = 0;  // 0 until the first word has come
  char head[sizeof(std::int32_t)] = {};
  int broken = 0;  // the code of the transport, where the frame did not come whole
};

// Of one endpoint; gone when it is closed.
struct FrameDebt {
  bool Any() const { return broken || owed || !unsent.empty(); }
  // Whether the calling thread is the one that left it.
  bool IsMine() const { return (owed || !unsent.empty()) && pthread_equal(owner, pthread_self()) != 0; }

  bool broken = false;  // a frame was cut: what comes behind it cannot be told apart any more
  std::string unsent;   // the rest of a frame that was partly sent, to go ahead of the next one
  bool owed = false;    // a frame is still to come that nobody waits for, and has come as far as:
  FrameProgress progress;
  pthread_t owner = {};  // the thread that gave the wait up
};

#endif
