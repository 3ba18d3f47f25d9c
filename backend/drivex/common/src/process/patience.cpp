#include "patience.h"

#include <poll.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <thread>

namespace {
constexpr int kLookMilliseconds = 20;  // between two looks at whether a peer is still there
constexpr int kFirstLook = 10;
}  // namespace

Patience WhileAlive(const std::function<bool()>& peer_alive, int code) {
  return {[&peer_alive, code] { return peer_alive() ? 0 : code; }, kLookMilliseconds, -1};
}

int AwaitEvents(int descriptor, short events, const Patience& patience) {
  // Most waits are over in no time: they look at nothing else.
  pollfd first = {descriptor, events, 0};
  if (poll(&first, 1, patience.look >= 0 ? std::min(patience.look, kFirstLook) : kFirstLook) > 0) return 0;
  int code = patience.ask ? patience.ask() : 0;
  int look = patience.look;
  int beside = patience.descriptor;
  for (;;) {
    pollfd looks[] = {{descriptor, events, 0}, {beside, POLLIN, 0}};
    const int ready = poll(looks, 2, code != 0 ? 0 : look);
    if (ready > 0 && looks[0].revents != 0) return 0;
    if (code != 0) return code;
    if (patience.ask) code = patience.ask();
    if (code == 0 && ready > 0) {
      // It stays readable: a look by the clock takes its place.
      beside = -1;
      if (look == -1) look = kLookMilliseconds;
    }
  }
}

bool Quick() {
  const char* const quick = std::getenv("VEXA_QUICK");
  return quick != nullptr && *quick != '\0';
}

void PauseForStart(int milliseconds) {
  if (!Quick()) Pause(milliseconds);
}

void Pause(int milliseconds) { std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds)); }
