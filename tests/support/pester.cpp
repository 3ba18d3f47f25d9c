// With VEXA_TEST_TIMER in the environment a signal comes to the main thread each millisecond, with a handler
// that restarts nothing: what waits there has to go on by itself.
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <cstdlib>

namespace {

struct Pester {
  Pester() {
    if (std::getenv("VEXA_TEST_TIMER") == nullptr) return;
    struct sigaction ignored = {};
    ignored.sa_handler = [](int) {};
    sigaction(SIGUSR2, &ignored, nullptr);
    sigevent to_this_thread = {};
    to_this_thread.sigev_notify = SIGEV_THREAD_ID;
    to_this_thread.sigev_signo = SIGUSR2;
    to_this_thread._sigev_un._tid = gettid();
    timer_t timer;
    constexpr timespec kMillisecond = {0, 1000000};
    const itimerspec each = {kMillisecond, kMillisecond};
    if (timer_create(CLOCK_MONOTONIC, &to_this_thread, &timer) != 0 ||
        timer_settime(timer, 0, &each, nullptr) != 0)
      std::abort();
  }
};

const Pester pester;

}  // namespace
