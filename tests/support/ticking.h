// A timer for the thread that makes it, whose handler restarts nothing.
#ifndef SUPPORT_TICKING_H
#define SUPPORT_TICKING_H

#include "support/test.h"

class Ticking {
 public:
  explicit Ticking(int microseconds) {
    struct sigaction handler = {};
    handler.sa_handler = [](int) {};
    sigaction(SIGUSR2, &handler, nullptr);
    sigevent event = {};
    event.sigev_notify = SIGEV_THREAD_ID, event.sigev_signo = SIGUSR2;
    event._sigev_un._tid = gettid();
    const itimerspec each = {{0, microseconds * 1000L}, {0, microseconds * 1000L}};
    if (timer_create(CLOCK_MONOTONIC, &event, &timer) != 0 || timer_settime(timer, 0, &each, nullptr) != 0)
      std::abort();
  }
  Ticking(const Ticking&) = delete;
  Ticking& operator=(const Ticking&) = delete;
  ~Ticking() { timer_delete(timer); }

 private:
  timer_t timer = {};
};

#endif
