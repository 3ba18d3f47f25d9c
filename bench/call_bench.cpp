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

RawPingPong* raw;

void RawExchange(benchmark::State& state) {
  for (auto _ : state) {
    if (!raw->Exchange()) state.SkipWithError("the peer is gone");
  }
}
BENCHMARK(RawExchange);

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
  RawPingPong ping_pong(directory, kRequest, kReply);
  raw = &ping_pong;

  setenv("VEXADXTEMP", directory.path().c_str(), 1);
  SetXNameAndSHome("BENCH", VEXA_STAGED_HOME);
  if (const int code = StartVexa("-data " VEXA_SOURCE_DIR "/examples/data/airquality.csv")) {
    std::fprintf(stderr, "StartVexa: %d\n", code);
    return 1;
  }
  const int result = RunRatioTable(
      argc, argv, {{"one small call, one core / raw ping-pong", "SmallCall", "RawExchange", 1.25}});
  StopVexa();
  return result;
}
