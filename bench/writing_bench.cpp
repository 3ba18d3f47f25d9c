// Writing to the practice engine: 1,000,000 cells of a data step, queued here and committed in one message,
// against the same bytes written ready-made through a raw fifo and acknowledged; one cell queued against a
// plain append of the same bytes; and 1,000,000 cases read, changed and committed one by one against as many
// raw exchanges of the same bytes.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "peak_memory.h"
#include "ratio_table.h"
#include "raw_fifo.h"
#include "vexaxd_p.h"

namespace {

constexpr int kCells = 1000000;  // and cases: a number and a text
constexpr int kRunsOfCases = 3;  // of some seconds each
constexpr char kVariable[] = "x";
constexpr char kText[] = "a text";
// The image of a block without payload; then a record for each cell: the dataset's name "*" and an empty text
// with their lengths, three integers and a double.
constexpr std::size_t kReply = 52;
constexpr std::size_t kRecord = 4 + 1 + 3 * 4 + 8 + 4;
constexpr std::size_t kCellsRequest = kReply + std::size_t{kCells} * kRecord;
constexpr std::size_t kTextsRequest = kCellsRequest + std::size_t{kCells} * (sizeof kText - 1);
// A value, the name in a list of one and a list of none, the number of cases wanted and the size of a case;
// the next case and the number of cases come back.
constexpr std::size_t kCaseRequest = kReply + 8 + (4 + 4 + 1) + 4 + 2 * 4;
constexpr std::size_t kCaseReply = kReply + 2 * 8 + 4;

RawPingPong* raw_cells;
RawPingPong* raw_texts;
RawPingPong* raw_cases;

template <class Queue>
bool QueueAndCommit(Queue queue) {
  if (StartDataStep() != 0 || CreateDataset("*", false, false) != 0) return false;
  for (int row = 0; row < kCells; ++row) {
    if (queue(row) != 0) return false;
  }
  return CommitDataSet() == 0 && EndDataStep() == 0;
}
bool WriteNumbers() {
  return QueueAndCommit([](int row) { return SetNCellValue("*", row, 0, row * 0.5); });
}
bool WriteTexts() {
  return QueueAndCommit([](int row) { return SetCCellValue("*", row, 1, kText); });
}

bool ChangeEachCase() {
  if (MakeCaseCursor("w") != 0) return false;
  for (int row = 0; row < kCells; ++row) {
    double value;
    int missing;
    const bool changed = NextCase() == 0 && GetNumericValue(0, &value, &missing) == 0 &&
                         SetValueNumeric(kVariable, value + 1) == 0 && CommitCaseRecord() == 0;
    if (!changed) return false;
  }
  return NextCase() == 23 && RemoveCaseCursor() == 0;
}

template <RawPingPong*& raw>
void Exchange(benchmark::State& state) {
  const RawSide side;
  for (auto _ : state) {
    if (!raw->Exchange()) state.SkipWithError("the peer is gone");
  }
}
void RawCells(benchmark::State& state) { Exchange<raw_cells>(state); }
void RawTexts(benchmark::State& state) { Exchange<raw_texts>(state); }

template <bool (*Write)()>
void Commit(benchmark::State& state) {
  for (auto _ : state) {
    if (!Write()) state.SkipWithError("the cells failed");
  }
}
void CellsCommitted(benchmark::State& state) { Commit<WriteNumbers>(state); }
void TextsCommitted(benchmark::State& state) { Commit<WriteTexts>(state); }
BENCHMARK(RawCells)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(CellsCommitted)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(RawTexts)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(TextsCommitted)->Unit(benchmark::kMillisecond)->UseRealTime();

void RawCases(benchmark::State& state) {
  const RawSide side;
  for (auto _ : state) {
    for (int i = 0; i < kCells; ++i) {
      if (!raw_cases->Exchange()) state.SkipWithError("the peer is gone");
    }
  }
}
BENCHMARK(RawCases)->Unit(benchmark::kMillisecond)->Repetitions(kRunsOfCases);

void CasesChanged(benchmark::State& state) {
  for (auto _ : state) {
    if (!ChangeEachCase()) state.SkipWithError("the cases failed");
  }
}
BENCHMARK(CasesChanged)->Unit(benchmark::kMillisecond)->Repetitions(kRunsOfCases);

// A million times `put`, then `drop` beside the clock.
template <class Put, class Drop>
void Collect(benchmark::State& state, Put put, Drop drop) {
  int row = 0;
  for (auto _ : state) {
    put(row);
    if (++row == kCells) {
      state.PauseTiming();
      drop();
      row = 0;
      state.ResumeTiming();
    }
  }
  drop();
}

void CellQueued(benchmark::State& state) {
  if (StartDataStep() != 0 || CreateDataset("*", false, false) != 0) state.SkipWithError("no step");
  Collect(
      state,
      [&](int row) {
        if (SetNCellValue("*", row, 0, row * 0.5) != 0) state.SkipWithError("a cell failed");
      },
      [&] {
        if (CommitDataSet() != 0) state.SkipWithError("the cells failed");
      });
  EndDataStep();
}
BENCHMARK(CellQueued);

void BytesAppended(benchmark::State& state) {
  std::vector<char> bytes;
  bytes.reserve(kCells * kRecord);
  char record[kRecord] = {1, 0, 0, 0, '*'};
  Collect(
      state,
      [&](int row) {
        const double value = row * 0.5;
        std::memcpy(record + 5, &row, sizeof row);
        std::memcpy(record + 17, &value, sizeof value);
        bytes.insert(bytes.end(), record, record + kRecord);
      },
      [&] { bytes.clear(); });
  benchmark::DoNotOptimize(bytes.data());
}
BENCHMARK(BytesAppended);

}  // namespace

int main(int argc, char** argv) {
  const BenchDirectory directory, second_directory, third_directory;
  PlaceOnCores();
  RawPingPong cells(directory, kCellsRequest, kReply);
  RawPingPong texts(third_directory, kTextsRequest, kReply);
  RawPingPong cases(second_directory, kCaseRequest, kCaseReply);
  raw_cells = &cells;
  raw_texts = &texts;
  raw_cases = &cases;

  const std::string data = directory.path() + "data.csv";
  std::ofstream file(data);
  file << kVariable << ",t\n";
  for (int row = 0; row < kCells; ++row) file << "1,any text\n";
  file.close();
  setenv("VEXADXTEMP", directory.path().c_str(), 1);
  SetXNameAndSHome("BENCH", VEXA_STAGED_HOME);
  if (const int code = StartVexa(("-data " + data).c_str())) {
    std::fprintf(stderr, "StartVexa: %d\n", code);
    return 1;
  }
  const std::vector<RatioRow> rows = {
      {"1,000,000 SetNCellValue and commit / raw fifo", "CellsCommitted", "RawCells", 2},
      {"1,000,000 SetCCellValue and commit / raw fifo", "TextsCommitted", "RawTexts", 2},
      {"one SetNCellValue / a plain append of its bytes", "CellQueued", "BytesAppended", 2, 0, false},
      {"1,000,000 cases changed / raw ping-pongs", "CasesChanged", "RawCases", 1.15}};
  const bool good = PrintPeak("1,000,000 cells", WriteNumbers) &&
                    PrintPeak("1,000,000 cases", ChangeEachCase) && RunRatioTable(argc, argv, rows) == 0;
  StopVexa();
  return good ? 0 : 1;
}
