// Blocks of another language that the practice engine runs in a process of its own: what an empty block
// costs, in raw exchanges, and whether a call of the client API from within a block costs what it costs
// outside. Where there is R: what its lines cost beside the same lines piped into the same R by a shell.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "ratio_table.h"
#include "raw_fifo.h"
#include "vexaxd_p.h"

namespace {

constexpr int kCalls = 100000;
constexpr std::size_t kRequest = 52, kReply = 56;  // GetVariableCount

RawPingPong* raw;

int Run(const std::string& lines, const std::string& language = "BENCH") {
  const std::string text = "LANGUAGE " + language + ".\n" + lines + "\nEND LANGUAGE.\n";
  return Submit(text.c_str(), static_cast<int>(text.size()));
}

void RawExchange(benchmark::State& state) {
  const RawSide side;
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

#ifdef VEXA_BENCH_R_HOME

constexpr int kRLines = 1000;

std::string TrivialLines() {
  std::string lines;
  for (int i = 0; i < kRLines; ++i) lines += "x <- " + std::to_string(i) + "\n";
  return lines;
}

// An R that a shell pipes lines into. It stays, as the one of the blocks does: neither figure has R's start
// in it.
class PipedR {
 public:
  PipedR() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) std::abort();
    output = ends[0];
    const int saved = dup(STDOUT_FILENO);
    dup2(ends[1], STDOUT_FILENO);  // which popen hands on
    input = popen("cat | " VEXA_BENCH_R_HOME "/bin/R --silent --no-save --no-restore", "we");
    dup2(saved, STDOUT_FILENO);
    close(saved);
    close(ends[1]);
  }
  PipedR(const PipedR&) = delete;
  PipedR& operator=(const PipedR&) = delete;
  ~PipedR() {
    pclose(input);
    close(output);
  }
  // False if R ends before the lines are done.
  bool Run(const std::string& lines) {
    std::fputs((lines + "cat('do', 'ne\\n', sep = '')\n").c_str(), input);  // which is not its own echo
    std::fflush(input);
    std::string end;
    for (char got[4096]; !end.ends_with("done\n> ");) {
      const ssize_t count = read(output, got, sizeof got);
      if (count <= 0) return false;
      end = (end + std::string(got, static_cast<std::size_t>(count)));
      if (end.size() > 16) end.erase(0, end.size() - 16);
    }
    return true;
  }

 private:
  FILE* input;
  int output;
};

void BlockOfR(benchmark::State& state) {
  const std::string lines = TrivialLines();
  for (auto _ : state) {
    if (Run(lines, "R") != 0) state.SkipWithError("the block failed");
  }
}
BENCHMARK(BlockOfR)->Unit(benchmark::kMillisecond);

void PipedIntoR(benchmark::State& state) {
  static PipedR piped;
  const std::string lines = TrivialLines();
  for (auto _ : state) {
    if (!piped.Run(lines)) state.SkipWithError("R has ended");
  }
}
BENCHMARK(PipedIntoR)->Unit(benchmark::kMillisecond);

constexpr const char* kSectionOfR =
    "[R]\nHOME=" VEXA_BENCH_R_HOME "\nARGS=R --silent --no-save --no-restore\nR_LIBS=" VEXA_BENCH_R_LIBRARY
    "\n";
#else
constexpr const char* kSectionOfR = "";
#endif

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
  std::ofstream(home / "bin/vexadxcfg.ini") << "[SUPPORTED_LANG]\nX=BENCH;R\n"
                                            << kSectionOfR << "[BENCH]\nLIB_NAME=bench_language\nHOME=/usr\n";
}

}  // namespace

int main(int argc, char** argv) {
  const BenchDirectory directory;
  PlaceOnCores();
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
  std::vector<RatioRow> rows = {
      {"an empty block in startx / one raw ping-pong", "EmptyBlock", "RawExchange", 0},
      {"100,000 calls in a block / outside", "CallsInABlock", "CallsOutside", 1.1}};
#ifdef VEXA_BENCH_R_HOME
  if (Run("", "R") == 0)
    rows.push_back({"1,000 lines of R in a block / piped", "BlockOfR", "PipedIntoR", 1.5});
#endif
  const int result = RunRatioTable(argc, argv, rows);
  StopVexa();
  std::filesystem::remove_all(home);
  return result;
}
