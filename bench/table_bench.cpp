// Cells of a pivot table: 10,000 calls of SetNumberCell to the practice engine against as many raw exchanges
// of the same bytes between two processes, all on one core.
#include <benchmark/benchmark.h>
#include <fcntl.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "ratio_table.h"
#include "raw_fifo.h"
#include "vexaxd_p.h"

namespace {

constexpr int kCells = 10000;
constexpr std::string_view kTable[] = {"Benchmark", "Cells", "A table of cells"};
constexpr std::string_view kDimension = "Column";
// The image of a block without payload; four texts with their lengths, five integers and a double.
constexpr std::size_t kReply = 52;
constexpr std::size_t kRequest =
    kReply + 4 * 4 + kTable[0].size() + kTable[1].size() + kTable[2].size() + kDimension.size() + 5 * 4 + 8;

RawPingPong* raw;

template <class Call, class... Own>
int OnColumn(Call call, Own... own) {
  return call(kTable[0].data(), kTable[1].data(), kTable[2].data(), false, kDimension.data(), 1, 0, false,
              false, own...);
}

void RawExchanges(benchmark::State& state) {
  const RawSide side;
  for (auto _ : state) {
    for (int i = 0; i < kCells; ++i) {
      if (!raw->Exchange()) state.SkipWithError("the peer is gone");
    }
  }
}
BENCHMARK(RawExchanges)->Unit(benchmark::kMillisecond);

void NumberCells(benchmark::State& state) {
  for (auto _ : state) {
    for (int i = 0; i < kCells; ++i) {
      if (OnColumn(SetNumberCell, i + 0.25) != 0) state.SkipWithError("SetNumberCell failed");
    }
  }
}
BENCHMARK(NumberCells)->Unit(benchmark::kMillisecond);

// Each cell in a place of its own: a table of 5,000 columns, whose categories are named between the cells.
void CellsAndCategories(benchmark::State& state) {
  for (auto _ : state) {
    for (int i = 0; i < kCells / 2; ++i) {
      const bool failed =
          OnColumn(AddNumberCategory, static_cast<double>(i)) != 0 || OnColumn(SetNumberCell, 0.25) != 0;
      if (failed) state.SkipWithError("a cell failed");
    }
  }
}
BENCHMARK(CellsAndCategories)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  const BenchDirectory directory;
  PlaceOnCores();
  RawPingPong ping_pong(directory, kRequest, kReply);
  raw = &ping_pong;

  setenv("VEXADXTEMP", directory.path().c_str(), 1);
  SetXNameAndSHome("BENCH", VEXA_STAGED_HOME);
  int code = StartVexa("");
  if (code == 0) code = StartPivotTable(kTable[0].data(), kTable[1].data(), kTable[2].data(), false);
  if (code == 0) code = OnColumn(AddDimension);
  if (code == 0) code = OnColumn(AddNumberCategory, 0.0);
  if (code != 0) {
    std::fprintf(stderr, "the table cannot be started: %d\n", code);
    return 1;
  }
  const int result = RunRatioTable(
      argc, argv,
      {{"10,000 SetNumberCell / raw ping-pongs", "NumberCells", "RawExchanges", 1.4},
       {"5,000 categories and cells / raw ping-pongs", "CellsAndCategories", "RawExchanges", 0}});
  StopVexa();
  return result;
}
