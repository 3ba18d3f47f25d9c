// Blocks of another language that the practice engine runs in a process of its own: what an empty block
// costs, in raw exchanges, and whether a call of the client API from within a block costs what it costs
// outside.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "ratio_table.h"
#include "raw_fifo.h"
#include "vexaxd_p.h"

namespace {

constexpr int kCalls = 100000;
constexpr std::size_t kRequest = 52, kReply = 56;  // GetVariableCount

RawPingPong* raw;

int Run(const std::string& lines) {
  const std::string text = "LANGUAGE BENCH.\n" + lines + "\nEND LANGUAGE.\n";
  return Submit(text.c_str(), static_cast<int>(text.size()));
}

void RawExchange(benchmark::State& state) {
  for (auto _ : state) {
    if (!raw->Exchange()) state.SkipWithError("the peer is gone");
  }
}
BENCHMARK(RawExchange)->Unit(benchmark::kMicrosecond);

// Six messages to set the block up, run it and end it, two for the end of its calls, two for the command that
// ends the level, and those of Submit itself.
void EmptyBlock(benchmark::State& state) {
  for (auto _ : state) {
    if (Run("") != 0) state.SkipWithError("the block failed");
  }
}
BENCHMARK(EmptyBlock)->Unit(benchmark::kMicrosecond);

void CallsOutside(benchmark::State& state) {
  for (auto _ : state) {
    int code = 0;
    for (int i = 0; i < kCalls && code == 0; ++i) GetVariableCount(&code);
    if (code != 0) state.SkipWithError("a call failed");
  }
}
BENCHMARK(CallsOutside)->Unit(benchmark::kMillisecond);

void CallsInABlock(benchmark::State& state) {
  for (auto _ : state) {
    if (Run(std::to_string(kCalls)) != 0) state.SkipWithError("the block failed");
  }
}
BENCHMARK(CallsInABlock)->Unit(benchmark::kMillisecond);

// A home like the staged one, in which the language of this benchmark is the one that is supported.
void MakeHome(const std::filesystem::path& home) {
  const std::filesystem::path staged = VEXA_STAGED_HOME;
  for (const char* folder : {"bin", "lib"}) {
    std::filesystem::create_directories(home / folder);
    for (const auto& entry : std::filesystem::directory_iterator(staged / folder)) {
      const auto link = home / folder / entry.path().filename();
      if (entry.path().filename() == "StartXD") {
        std::filesystem::copy_file(entry, link);  // it looks beside itself for the engine
      } else if (entry.path().extension() != ".ini") {
        std::filesystem::create_symlink(entry, link);
      }
    }
  }
  std::filesystem::create_symlink(VEXA_BENCH_LANGUAGE, home / "lib/libbench_language.so");
  std::ofstream(home / "bin/vexadxcfg.ini")
      << "[SUPPORTED_LANG]\nX=BENCH\n[BENCH]\nLIB_NAME=bench_language\nHOME=/usr\n";
}

}  // namespace

int main(int argc, char** argv) {
  const BenchDirectory directory;
  PinToOneCore();
  RawPingPong ping_pong(directory, kRequest, kReply);
  raw = &ping_pong;

  const std::string home = directory.path() + "home";
  MakeHome(home);
  setenv("VEXADXTEMP", directory.path().c_str(), 1);
  SetXNameAndSHome("DRIVER", home.c_str());
  int code = StartVexa("");
  if (code == 0) code = Run("1");  // which starts the process
  if (code != 0) {
    std::fprintf(stderr, "the language cannot be started: %d\n", code);
    return 1;
  }
  const int result = RunRatioTable(
      argc, argv,
      {{"an empty block in startx, one core / one raw ping-pong", "EmptyBlock", "RawExchange", 0},
       {"100,000 calls in a block / outside, one core", "CallsInABlock", "CallsOutside", 1.1}});
  StopVexa();
  std::filesystem::remove_all(home);
  return result;
}
