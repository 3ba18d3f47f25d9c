// One small call to the practice engine against a raw exchange of the same bytes between two processes. On
// one core the bridge's own work shows; with a core each, the wake-up of the other. And what a long wait
// costs.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "peak_memory.h"
#include "ratio_table.h"
#include "raw_fifo.h"
#include "vexaxd_p.h"

namespace {

constexpr std::size_t kRequest = 52;  // GetVariableCount: a block without payload
constexpr std::size_t kReply = 56;    // its reply: one integer

RawPingPong* raw;

void RawExchange(benchmark::State& state) {
  const RawSide side;
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

double ProcessorMilliseconds() {
  timespec used = {};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
  return static_cast<double>(used.tv_sec) * 1e3 + static_cast<double>(used.tv_nsec) / 1e6;
}

// The engine is stopped meanwhile.
void PrintLongWait() {
  constexpr unsigned kSeconds = 10;
  const pid_t engine = Engine();
  if (engine <= 0 || kill(engine, SIGSTOP) != 0) return;
  const pid_t alarm_clock = fork();
  if (alarm_clock == 0) {
    sleep(kSeconds);
    kill(engine, SIGCONT);
    _exit(0);
  }
  int code = 0;
  const double before = ProcessorMilliseconds();
  GetVariableCount(&code);
  std::printf("Processor time of a wait of %u seconds, %s: %.2f ms (1 ms wanted)\n", kSeconds,
              CoreEach() ? "a core each" : "one core", ProcessorMilliseconds() - before);
  waitpid(alarm_clock, nullptr, 0);
}

}  // namespace

int main(int argc, char** argv) {
  const BenchDirectory directory;
  PlaceOnCores();
  RawPingPong ping_pong(directory, kRequest, kReply);
  raw = &ping_pong;

  setenv("VEXADXTEMP", directory.path().c_str(), 1);
  SetXNameAndSHome("BENCH", VEXA_STAGED_HOME);
  if (const int code = StartVexa("-data " VEXA_SOURCE_DIR "/examples/data/airquality.csv")) {
    std::fprintf(stderr, "StartVexa: %d\n", code);
    return 1;
  }
  const int result = RunRatioTable(
      argc, argv, {{"one small call / raw blocking exchange", "SmallCall", "RawExchange", 1.2, 0.15}});
  PrintLongWait();
  StopVexa();
  return result;
}
