// 1,000,000 cases of 10 numbers read as columns, in one batch and in batches of a block, against a raw stream
// of as many bytes into a warm buffer and one copy of them into another; and what a walk over 10,000,000
// cases in batches adds to the memory.
#include <benchmark/benchmark.h>
#include <fcntl.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <vector>

#include "peak_memory.h"
#include "ratio_table.h"
#include "raw_fifo.h"
#include "vexaxd_columns.h"
#include "vexaxd_p.h"

namespace {

constexpr int kVariables = 10;
constexpr int kCases = 1000000;
constexpr int kWalkedCases = 10000000;  // of one number
constexpr std::size_t kCells = std::size_t{kCases} * kVariables;
constexpr std::size_t kBytes = kCells * sizeof(double);

int to_peer = -1;
int from_peer = -1;

void ServeStream(int request_fd, int reply_fd) {
  const std::vector<double> cells(kCells, 0.5);
  char go;
  while (ReadAll(request_fd, &go, 1) && WriteAll(reply_fd, cells.data(), kBytes)) {
  }
}

void RawStreamAndCopy(benchmark::State& state) {
  const RawSide side;
  std::vector<double> buffer(kCells, 1.0), copy(kCells, 1.0);
  for (auto _ : state) {
    if (!WriteAll(to_peer, "g", 1) || !ReadAll(from_peer, buffer.data(), kBytes))
      state.SkipWithError("no peer");
    std::memcpy(copy.data(), buffer.data(), kBytes);
    benchmark::DoNotOptimize(copy.data());
  }
}
BENCHMARK(RawStreamAndCopy)->Unit(benchmark::kMillisecond)->UseRealTime();

// Whether all cases came, each with the number of its row in the first variable.
bool Read(long batch_rows, long cases) {
  ArrowArrayStream stream;
  if (VexaReadColumns(nullptr, nullptr, 0, batch_rows, 0, &stream) != 0) return false;
  bool good = true;
  std::int64_t rows = 0;
  for (ArrowArray batch;
       good && (good = stream.get_next(&stream, &batch) == 0) && batch.release != nullptr;) {
    const auto* const values = static_cast<const double*>(batch.children[0]->buffers[1]);
    good = values[0] == static_cast<double>(rows);
    rows += batch.length;
    good = good && values[batch.length - 1] == static_cast<double>(rows - 1);
    batch.release(&batch);
  }
  stream.release(&stream);
  return good && rows == cases;
}

template <long batch_rows>
void Columns(benchmark::State& state) {
  for (auto _ : state) {
    if (!Read(batch_rows, kCases)) state.SkipWithError("the columns failed");
  }
}
void ColumnsInOneBatch(benchmark::State& state) { Columns<VEXA_ALL_ROWS>(state); }
void ColumnsInBlocks(benchmark::State& state) { Columns<0>(state); }
BENCHMARK(ColumnsInOneBatch)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(ColumnsInBlocks)->Unit(benchmark::kMillisecond)->UseRealTime();

bool StartWith(const BenchDirectory& directory, int cases, int variables) {
  const std::string path = directory.path() + "data.csv";
  {
    std::ofstream file(path);
    for (int column = 0; column < variables; ++column) file << (column == 0 ? "v" : ",v") << column;
    for (int row = 0; row < cases; ++row) {
      file << '\n' << row;
      for (int column = 1; column < variables; ++column) file << ",0.5";
    }
  }
  const int code = StartVexa(("-data " + path).c_str());
  if (code != 0) std::fprintf(stderr, "%s\n", VexaLastError());
  return code == 0;
}

bool Walk() { return Read(0, kWalkedCases); }

}  // namespace

int main(int argc, char** argv) {
  const BenchDirectory directory;
  PlaceOnCores();
  setenv("VEXADXTEMP", directory.path().c_str(), 1);
  SetXNameAndSHome("BENCH", VEXA_STAGED_HOME);
  bool good = CoreEach() || (StartWith(directory, kWalkedCases, 1) &&
                             PrintPeak("a walk of 10,000,000 cases in batches (3 blocks are 60 MiB)", Walk));
  StopVexa();

  const FifoPeer stream(directory.path() + "request", directory.path() + "reply", ServeStream);
  to_peer = open((directory.path() + "request").c_str(), O_WRONLY | O_CLOEXEC);
  from_peer = open((directory.path() + "reply").c_str(), O_RDONLY | O_CLOEXEC);
  const std::vector<RatioRow> rows = {
      {"1,000,000 x 10 numbers as columns / raw stream of the bytes and one copy", "ColumnsInOneBatch",
       "RawStreamAndCopy", 1.3},
      {"the same in batches of a block", "ColumnsInBlocks", "RawStreamAndCopy", 1.3}};
  good = good && StartWith(directory, kCases, kVariables) && RunRatioTable(argc, argv, rows) == 0;
  StopVexa();
  return good ? 0 : 1;
}
