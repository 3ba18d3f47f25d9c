// Writing to the practice engine, all on one core: 1,000,000 cells of a data step, queued here and committed
// in one message, against the same bytes written ready-made through a raw fifo and acknowledged; one cell
// queued against a plain record kept in a vector; and 1,000,000 cases read, changed and committed one by one
// against as many raw exchanges of the same bytes.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "payloads.h"
#include "ratio_table.h"
#include "raw_fifo.h"
#include "vexaxd_p.h"

namespace {

constexpr int kCells = 1000000;  // and cases: one variable
constexpr int kRunsOfCases = 5;  // of some seconds each
constexpr char kVariable[] = "x";
// The image of a block without payload; then a record for each cell: the dataset's name "*" and an empty text
// with their lengths, three integers and a double.
constexpr std::size_t kReply = 52;
constexpr std::size_t kCellsRequest = kReply + std::size_t{kCells} * (4 + 1 + 4 + 3 * 4 + 8);
// A value, the name in a list of one and a list of none, the number of cases wanted and the size of a case;
// the next case and the number of cases come back.
constexpr std::size_t kCaseRequest = kReply + 8 + (4 + 4 + 1) + 4 + 2 * 4;
constexpr std::size_t kCaseReply = kReply + 8 + 4;

RawPingPong* raw_cells;
RawPingPong* raw_cases;

bool QueueAndCommit() {
  if (StartDataStep() != 0 || CreateDataset("*", false, false) != 0) return false;
  for (int row = 0; row < kCells; ++row) {
    if (SetNCellValue("*", row, 0, row * 0.5) != 0) return false;
  }
  return CommitDataSet() == 0 && EndDataStep() == 0;
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

void RawCells(benchmark::State& state) {
  for (auto _ : state) {
    if (!raw_cells->Exchange()) state.SkipWithError("the peer is gone");
  }
}
BENCHMARK(RawCells)->Unit(benchmark::kMillisecond);

void CellsCommitted(benchmark::State& state) {
  for (auto _ : state) {
    if (!QueueAndCommit()) state.SkipWithError("the cells failed");
  }
}
BENCHMARK(CellsCommitted)->Unit(benchmark::kMillisecond);

void RawCases(benchmark::State& state) {
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

void RecordKept(benchmark::State& state) {
  std::vector<dataSet> records;
  records.reserve(kCells);
  const char* volatile name = "*";
  Collect(
      state,
      [&](int row) {
        records.push_back({name, row, 0, 0, row * 0.5, {}});
      },
      [&] { records.clear(); });
  benchmark::DoNotOptimize(records.data());
}
BENCHMARK(RecordKept);

// --- Peak memory of a process, as the system counts it ---

using Pid = std::string;

double Megabytes(const Pid& process, const std::string& what) {
  std::ifstream status("/proc/" + process + "/status");
  for (std::string word; status >> word;) {
    long kilobytes = 0;
    if (word == what + ":" && status >> kilobytes) return static_cast<double>(kilobytes) / 1024;
  }
  return 0;
}

// The child that was started last.
Pid Engine() {
  std::ifstream children("/proc/thread-self/children");
  Pid last;
  for (Pid child; children >> child;) last = child;
  return last;
}

bool PrintPeak(const char* what, bool (*work)()) {
  const Pid processes[] = {"self", Engine()};
  double before[2] = {};
  for (int i = 0; i < 2; ++i) {
    std::ofstream("/proc/" + processes[i] + "/clear_refs") << "5\n";  // the peak counts from now on
    before[i] = Megabytes(processes[i], "VmRSS");
  }
  if (!work()) return false;
  std::printf("Peak memory that %s added: %.1f MiB here, %.1f MiB in the engine\n", what,
              Megabytes(processes[0], "VmHWM") - before[0], Megabytes(processes[1], "VmHWM") - before[1]);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  const BenchDirectory directory, second_directory;
  PinToOneCore();
  RawPingPong cells(directory, kCellsRequest, kReply);
  RawPingPong cases(second_directory, kCaseRequest, kCaseReply);
  raw_cells = &cells;
  raw_cases = &cases;

  const std::string data = directory.path() + "data.csv";
  std::ofstream file(data);
  file << kVariable << '\n';
  for (int row = 0; row < kCells; ++row) file << "1\n";
  file.close();
  setenv("VEXADXTEMP", directory.path().c_str(), 1);
  SetXNameAndSHome("BENCH", VEXA_STAGED_HOME);
  if (const int code = StartVexa(("-data " + data).c_str())) {
    std::fprintf(stderr, "StartVexa: %d\n", code);
    return 1;
  }
  bool good = PrintPeak("1,000,000 cells", QueueAndCommit) && PrintPeak("1,000,000 cases", ChangeEachCase);
  if (good) {
    good =
        RunRatioTable(argc, argv,
                      {{"1,000,000 SetNCellValue and commit / raw fifo", "CellsCommitted", "RawCells", 4},
                       {"one SetNCellValue / a record in a vector", "CellQueued", "RecordKept", 0},
                       {"1,000,000 cases changed / raw ping-pongs", "CasesChanged", "RawCases", 1.5}}) == 0;
  }
  StopVexa();
  return good ? 0 : 1;
}
