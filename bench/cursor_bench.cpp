// A block of 20 MiB fetched and every cell read through the cursor, against a raw stream of as many bytes
// into a warm buffer and a plain loop over it; and one value read from the block in hand against a plain
// function call.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "CleXDSmb.h"
#include "ratio_table.h"
#include "raw_fifo.h"
#include "vexaxd_p.h"

namespace {

using Action = CleXDSmb::CommandAction;

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

std::string Image(CleXDSmb& block) {
  int length = 0;
  block.ContructSendData();
  const char* image = block.GetSendBuf(length);
  return std::string(image, static_cast<std::size_t>(length));
}

// Answers a cursor's questions, and each fetch with the same block.
void ServeCursor(int request_fd, int reply_fd) {
  CleXDSmb block;
  block.SetLong(kCases);
  block.AllocVoidData(kBlock);
  block.SaveDataIntoVoidData(Cells().data(), kBlock);
  const std::string block_image = Image(block);
  for (;;) {
    char frame[8192];
    int length = 0;
    if (!ReadAll(request_fd, frame, 4)) return;
    std::memcpy(&length, frame, 4);
    if (!ReadAll(request_fd, frame + 4, static_cast<std::size_t>(length) - 4)) return;
    CleXDSmb request;
    request.ParseBuf(frame);
    CleXDSmb reply;
    switch (request.GetCommandAction()) {
      case Action::NextCaseBlock:
        if (!WriteAll(reply_fd, block_image.data(), block_image.size())) return;
        continue;
      case Action::GetVariableCountInProcDS:
        reply.SetLong(kVariables);
        break;
      case Action::GetVarNMissingValues:
        for (int i = 0; i < 3; ++i) reply.SetDouble(0.0);
        [[fallthrough]];
      default:
        reply.SetLong(0);
    }
    const std::string image = Image(reply);
    if (!WriteAll(reply_fd, image.data(), image.size())) return;
  }
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
  return true;
}

void CursorBlock(benchmark::State& state) {
  for (auto _ : state) {
    if (!ReadBlock()) state.SkipWithError("the cursor failed");
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
void CellOfBlock(benchmark::State& state) { ReadCells<GetNumericValue>(state); }
BENCHMARK(PlainCall);
BENCHMARK(CellOfBlock);

long PeakKilobytes() {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

}  // namespace

int main(int argc, char** argv) {
  const BenchDirectory directory;
  char own_id[16];
  std::snprintf(own_id, sizeof own_id, "%04x", static_cast<unsigned>(getpid()));
  setenv("VEXADXTEMP", directory.path().c_str(), 1);
  SetXNameAndSHome("BENCH", "");
  SetVexaRunning(true);
  const std::string prefix = directory.path() + own_id + "BENCH0";
  const FifoPeer backend(prefix + "xdapi", prefix + "xdapiresult", ServeCursor);
  const FifoPeer stream(directory.path() + "request", directory.path() + "reply", ServeStream);
  to_peer = open((directory.path() + "request").c_str(), O_WRONLY);
  from_peer = open((directory.path() + "reply").c_str(), O_RDONLY);

  const long before = PeakKilobytes();
  if (MakeCaseCursor("r") != 0 || !ReadBlock()) {
    std::fprintf(stderr, "the cursor failed\n");
    return 1;
  }
  const double peak = static_cast<double>(PeakKilobytes() - before) / 1024;

  // The block in hand stands on its first case while single values are read.
  if (NextCase() != 0) return 1;
  const int result = RunRatioTable(
      argc, argv,
      {{"20 MiB block, every cell read / raw stream and plain loop", "CursorBlock", "RawStream", 1.5},
       {"the same / raw stream and a plain function call per cell", "CursorBlock", "RawStreamAndCalls", 0},
       {"one value from the block in hand / plain function call", "CellOfBlock", "PlainCall", 1.5}});
  std::printf("Peak memory that the fetch of the first 20 MiB block added: %.1f MiB\n", peak);
  return result;
}
