// A block of 20 MiB fetched from the practice engine and every cell read through the cursor, against a raw
// stream of as many bytes into a warm buffer and a plain loop over it; and one value read from the block in
// hand against a plain function call.
#include <benchmark/benchmark.h>
#include <fcntl.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <vector>

#include "peak_memory.h"
#include "ratio_table.h"
#include "raw_fifo.h"
#include "vexaxd_p.h"

namespace {

constexpr int kBlock = 20 << 20;
constexpr int kVariables = 10;
constexpr int kCases = kBlock / (kVariables * 8);
constexpr int kCells = kCases * kVariables;

int to_peer = -1;
int from_peer = -1;

std::vector<double> Cells() {
  std::vector<double> cells(kCells);
  for (int i = 0; i < kCells; ++i) cells[static_cast<std::size_t>(i)] = i * 0.5;
  return cells;
}

void ServeStream(int request_fd, int reply_fd) {
  const std::vector<double> cells = Cells();
  char go;
  while (ReadAll(request_fd, &go, 1) && WriteAll(reply_fd, cells.data(), kBlock)) {
  }
}

// What is done with every cell in every loop: one sum for each variable. A single sum would measure how fast
// the processor can add to one place, as a call makes the caller keep it in memory.
double sums[kVariables];

void RawStream(benchmark::State& state) {
  const RawSide side;
  std::vector<double> buffer(kCells, 1.0);
  for (auto _ : state) {
    if (!WriteAll(to_peer, "g", 1) || !ReadAll(from_peer, buffer.data(), kBlock))
      state.SkipWithError("no peer");
    for (std::size_t cell = 0; cell < kCells; cell += kVariables) {
      for (std::size_t column = 0; column < kVariables; ++column) sums[column] += buffer[cell + column];
    }
    benchmark::DoNotOptimize(sums);
  }
}
// The same with a plain function call for each cell: what a call interface cannot go below.
[[gnu::noinline]] int PlainCell(const double* cells, unsigned int index, double* value, int* missing) {
  *value = cells[index];
  *missing = 0;
  return 0;
}

void RawStreamAndCalls(benchmark::State& state) {
  const RawSide side;
  std::vector<double> buffer(kCells, 1.0);
  for (auto _ : state) {
    if (!WriteAll(to_peer, "g", 1) || !ReadAll(from_peer, buffer.data(), kBlock))
      state.SkipWithError("no peer");
    for (std::size_t cell = 0; cell < kCells; cell += kVariables) {
      for (unsigned int column = 0; column < kVariables; ++column) {
        double value;
        int missing;
        if (PlainCell(&buffer[cell], column, &value, &missing) != 0) state.SkipWithError("not read");
        sums[column] += value;
      }
    }
  }
}
BENCHMARK(RawStreamAndCalls)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(RawStream)->Unit(benchmark::kMillisecond)->UseRealTime();

// A pass over the data, which are one block.
bool ReadBlock() {
  for (int row = 0; row < kCases; ++row) {
    if (NextCase() != 0) return false;
    for (unsigned int column = 0; column < kVariables; ++column) {
      double value;
      int missing;
      if (GetNumericValue(column, &value, &missing) != 0) return false;
      sums[column] += value;
    }
  }
  return NextCase() == 23;
}

bool Fetch() { return MakeCaseCursor("r") == 0 && ReadBlock() && RemoveCaseCursor() == 0; }

void CursorBlock(benchmark::State& state) {
  for (auto _ : state) {
    if (!Fetch()) state.SkipWithError("the cursor failed");
    benchmark::DoNotOptimize(sums);
  }
}
BENCHMARK(CursorBlock)->Unit(benchmark::kMillisecond)->UseRealTime();

double plain_row[kVariables];

[[gnu::noinline]] int PlainRead(unsigned int index, double* value, int* missing) {
  *value = plain_row[index];
  *missing = 0;
  return 0;
}

template <int (*Read)(unsigned int, double*, int*)>
void ReadCells(benchmark::State& state) {
  unsigned int column = 0;
  for (auto _ : state) {
    double value;
    int missing;
    if (Read(column, &value, &missing) != 0) state.SkipWithError("not read");
    sums[column] += value;
    column = column + 1 == kVariables ? 0 : column + 1;
  }
  benchmark::DoNotOptimize(sums);
}
void PlainCall(benchmark::State& state) { ReadCells<PlainRead>(state); }
void CellOfBlock(benchmark::State& state) {
  if (MakeCaseCursor("r") != 0 || NextCase() != 0) state.SkipWithError("no block");
  ReadCells<GetNumericValue>(state);
  RemoveCaseCursor();
}
BENCHMARK(PlainCall);
BENCHMARK(CellOfBlock);

std::string WriteCsv(const BenchDirectory& directory) {
  std::string path = directory.path() + "data.csv";
  std::ofstream file(path);
  for (int column = 0; column < kVariables; ++column) file << (column == 0 ? "v" : ",v") << column;
  for (int cell = 0; cell < kCells; ++cell) file << (cell % kVariables == 0 ? '\n' : ',') << cell * 0.5;
  return path;
}

}  // namespace

int main(int argc, char** argv) {
  const BenchDirectory directory;
  PlaceOnCores();
  const FifoPeer stream(directory.path() + "request", directory.path() + "reply", ServeStream);
  to_peer = open((directory.path() + "request").c_str(), O_WRONLY | O_CLOEXEC);
  from_peer = open((directory.path() + "reply").c_str(), O_RDONLY | O_CLOEXEC);

  setenv("VEXADXTEMP", directory.path().c_str(), 1);
  SetXNameAndSHome("BENCH", VEXA_STAGED_HOME);
  if (const int code = StartVexa(("-data " + WriteCsv(directory)).c_str())) {
    std::fprintf(stderr, "StartVexa: %d\n", code);
    return 1;
  }
  const std::vector<RatioRow> rows = {
      {"20 MiB from the engine, every cell read / raw stream and plain loop", "CursorBlock", "RawStream", 0},
      {"the same / raw stream and a plain function call per cell", "CursorBlock", "RawStreamAndCalls", 1.1,
       1.05},
      {"one value from the block in hand / plain function call", "CellOfBlock", "PlainCall", 1.5, 0, false}};
  const bool good = PrintPeak("the fetch of 20 MiB", Fetch) && RunRatioTable(argc, argv, rows) == 0;
  StopVexa();
  return good ? 0 : 1;
}
