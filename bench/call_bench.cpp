// One small call to the practice engine against a raw exchange of the same bytes between two processes. All
// on one core: there the bridge's own work shows, which the wake-up of another core would hide.
#include <benchmark/benchmark.h>
#include <fcntl.h>

#include <cstdio>
#include <cstdlib>

#include "ratio_table.h"
#include "raw_fifo.h"
#include "vexaxd_p.h"

namespace {

constexpr std::size_t kRequest = 52;  // GetVariableCount: a block without payload
constexpr std::size_t kReply = 56;    // its reply: one integer

int to_peer = -1;
int from_peer = -1;

void RawPingPong(benchmark::State& state) {
  char request[kRequest] = {};
  char reply[kReply];
  for (auto _ : state) {
    if (!WriteAll(to_peer, request, sizeof request) || !ReadAll(from_peer, reply, sizeof reply)) {
      state.SkipWithError("the peer is gone");
    }
  }
}
BENCHMARK(RawPingPong);

void SmallCall(benchmark::State& state) {
  int code = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(GetVariableCount(&code));
    if (code != 0) state.SkipWithError("GetVariableCount failed");
  }
}
BENCHMARK(SmallCall);

}  // namespace

int main(int argc, char** argv) {
  const BenchDirectory directory;
  PinToOneCore();
  const FifoPeer peer(
      directory.path() + "request", directory.path() + "reply", [](int request_fd, int reply_fd) {
        char request[kRequest];
        char reply[kReply] = {};
        while (ReadAll(request_fd, request, sizeof request) && WriteAll(reply_fd, reply, sizeof reply)) {
        }
      });
  to_peer = open((directory.path() + "request").c_str(), O_WRONLY | O_CLOEXEC);
  from_peer = open((directory.path() + "reply").c_str(), O_RDONLY | O_CLOEXEC);

  setenv("VEXADXTEMP", directory.path().c_str(), 1);
  SetXNameAndSHome("BENCH", VEXA_STAGED_HOME);
  if (const int code = StartVexa("-data " VEXA_SOURCE_DIR "/examples/data/airquality.csv")) {
    std::fprintf(stderr, "StartVexa: %d\n", code);
    return 1;
  }
  const int result = RunRatioTable(
      argc, argv, {{"one small call, one core / raw ping-pong", "SmallCall", "RawPingPong", 1.25}});
  StopVexa();
  return result;
}
