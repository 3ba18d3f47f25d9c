#include "interrupts.h"

#include <csignal>
#include <initializer_list>

namespace {

volatile std::sig_atomic_t pressed = 0, asked = 0;

void Note(int signal) { (signal == SIGINT ? pressed : asked) = 1; }

}  // namespace

// Without SA_RESTART: a read of the prompt ends.
void WatchSignals() {
  struct sigaction action = {};
  action.sa_handler = Note;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaction(signal, &action, nullptr);
  std::signal(SIGPIPE, SIG_IGN);  // a backend or a reader that is gone shows as a failed write
}

bool Interrupted() { return pressed != 0 || asked != 0; }
bool AskedToEnd() { return asked != 0; }
void TakeInterrupt() { pressed = 0; }
