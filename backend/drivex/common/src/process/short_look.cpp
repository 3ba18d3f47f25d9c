#include "short_look.h"

#include <sched.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <string_view>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::microseconds kLookAtMost(40);  // and what the last glance takes
constexpr int kMostBlockingWaits = 64;

bool MayLook() {
  static const char* const wanted = std::getenv("VEXA_SPIN");
  if (wanted != nullptr && std::string_view(wanted) == "0") return false;
  cpu_set_t allowed;
  return sched_getaffinity(0, sizeof allowed, &allowed) != 0 || CPU_COUNT(&allowed) > 1;
}

}  // namespace

bool ShortLook::Finds(int descriptor) {
  if (blocking_waits > 0) {
    --blocking_waits;
    return false;
  }
  if (!MayLook()) {
    blocking_waits = kMostBlockingWaits;
    return false;
  }
  const Clock::time_point end = Clock::now() + kLookAtMost;
  bool found = false;
  bool in_time = true;
  while (!found && in_time) {
    sched_yield();  // first: what was just asked for is not there yet
    int bytes = 0;
    found = ioctl(descriptor, FIONREAD, &bytes) == 0 && bytes > 0;
    in_time = Clock::now() < end;
  }
  if (in_time) {
    after_next_miss = 1;
    return true;
  }
  // Late, or not at all: where the core is busy, others took it for long.
  blocking_waits = after_next_miss;
  after_next_miss = std::min(2 * after_next_miss, kMostBlockingWaits);
  return found;
}
