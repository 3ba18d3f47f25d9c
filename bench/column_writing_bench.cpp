// Columns written to the practice engine: three variables added to 1,000,000 cases, against the message with
// their cells ready-made through a raw fifo; and 1,000,000 cases of ten numbers appended, against the bytes
// of their values.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "number_columns.h"
#include "peak_memory.h"
#include "ratio_table.h"
#include "raw_fifo.h"
#include "vexaxd_p.h"

namespace {

constexpr int kRows = 1000000;
constexpr std::size_t kAdded = 3, kAppended = 10;
// The image of a block without payload, and of a cell of the dataset "*".
constexpr std::size_t kReply = 52;
constexpr std::size_t kRecord = 4 + 1 + 3 * 4 + 8 + 4;
constexpr std::size_t kCellsRequest = kReply + kAdded * kRows * kRecord;
constexpr std::size_t kCasesRequest = kReply + kAppended * kRows * sizeof(double);

RawPingPong* raw_cells;
RawPingPong* raw_cases;

NumberColumns& AddedColumns() {
  static NumberColumns columns(kAdded, kRows);
  return columns;
}
NumberColumns& AppendedColumns() {
  static NumberColumns columns(kAppended, kRows);
  return columns;
}

bool Add() { return VexaAddColumns(nullptr, AddedColumns().Stream()) == 0; }
bool TakeAway() {
  if (StartDataStep() != 0 || CreateDataset("*", false, false) != 0) return false;
  for (std::size_t i = 0; i < kAdded; ++i) {
    if (DeleteVariable("*", 1) != 0) return false;
  }
  int missing, code;
  GetNCellValue("*", 0, 0, &missing, &code);  // moves the cases now
  return EndDataStep() == 0 && code == 0;
}

// An empty dataset with the variables, which is not the active one afterwards.
bool MakeEmpty() {
  bool made = StartDataStep() == 0 && CreateDataset("target", false, false) == 0;
  for (std::size_t i = 0; i < kAppended; ++i) {
    const int place = static_cast<int>(i);
    made = made && InsertVariable("target", place, ("n" + std::to_string(i)).c_str(), 0) == 0;
  }
  return EndDataStep() == 0 && made;
}
bool Append() { return VexaAppendColumns("target", AppendedColumns().Stream()) == 0; }

template <RawPingPong*& raw>
void Exchange(benchmark::State& state) {
  const RawSide side;
  for (auto _ : state) {
    if (!raw->Exchange()) state.SkipWithError("the peer is gone");
  }
}
void RawCells(benchmark::State& state) { Exchange<raw_cells>(state); }
void RawCases(benchmark::State& state) { Exchange<raw_cases>(state); }

// `before` and `after` stand beside the clock.
template <class Before, class Work, class After>
void Measure(benchmark::State& state, Before before, Work work, After after) {
  for (auto _ : state) {
    state.PauseTiming();
    bool good = before();
    state.ResumeTiming();
    good = good && work();
    state.PauseTiming();
    if (!good || !after()) state.SkipWithError(VexaLastError());
    state.ResumeTiming();
  }
}
void ColumnsAdded(benchmark::State& state) {
  Measure(
      state, [] { return true; }, Add, TakeAway);
}
void CasesAppended(benchmark::State& state) {
  Measure(state, MakeEmpty, Append, [] { return CloseDataset("target") == 0; });
}
BENCHMARK(RawCells)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(ColumnsAdded)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(RawCases)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(CasesAppended)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  const BenchDirectory directory, second_directory;
  PlaceOnCores();
  RawPingPong cells(directory, kCellsRequest, kReply);
  RawPingPong cases(second_directory, kCasesRequest, kReply);
  raw_cells = &cells;
  raw_cases = &cases;

  const std::string data = directory.path() + "data.csv";
  std::ofstream file(data);
  file << "x\n";
  for (int row = 0; row < kRows; ++row) file << "1\n";
  file.close();
  setenv("VEXADXTEMP", directory.path().c_str(), 1);
  SetXNameAndSHome("BENCH", VEXA_STAGED_HOME);
  if (const int code = StartVexa(("-data " + data).c_str())) {
    std::fprintf(stderr, "StartVexa: %d\n", code);
    return 1;
  }
  const std::vector<RatioRow> rows = {
      {"3 variables added to 1,000,000 cases / their message through a raw fifo", "ColumnsAdded", "RawCells",
       3},
      {"1,000,000 x 10 numbers appended / raw fifo", "CasesAppended", "RawCases", 0}};
  const bool good = PrintPeak("3 variables added", [] { return Add() && TakeAway(); }) &&
                    RunRatioTable(argc, argv, rows) == 0;
  StopVexa();
  return good ? 0 : 1;
}
