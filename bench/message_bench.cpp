// Building and parsing a block with 20 MiB of void data, each against one memcpy of as many bytes into a
// buffer freshly allocated: its pages cost more than the copy.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "CleXDSmb.h"
#include "ratio_table.h"
#include "raw_fifo.h"

namespace {

constexpr int kVoid = 20 << 20;

std::vector<char> Bytes() { return std::vector<char>(kVoid, 'v'); }

void FreshMemcpy(benchmark::State& state) {
  const std::vector<char> bytes = Bytes();
  for (auto _ : state) {
    void* fresh = std::malloc(kVoid);
    std::memcpy(fresh, bytes.data(), kVoid);
    benchmark::DoNotOptimize(fresh);
    benchmark::ClobberMemory();
    std::free(fresh);
  }
}
BENCHMARK(FreshMemcpy)->Unit(benchmark::kMillisecond);

void BuildBlock(benchmark::State& state) {
  CleXDSmb block;
  block.AllocVoidData(kVoid);
  block.SaveDataIntoVoidData(Bytes().data(), kVoid);
  for (auto _ : state) {
    int length = 0;
    block.ContructSendData();
    benchmark::DoNotOptimize(block.GetSendBuf(length));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BuildBlock)->Unit(benchmark::kMillisecond);

void ParseBlock(benchmark::State& state) {
  CleXDSmb source;
  int length = 0;
  source.AllocVoidData(kVoid);
  source.SaveDataIntoVoidData(Bytes().data(), kVoid);
  source.ContructSendData();
  char* image = source.GetSendBuf(length);
  for (auto _ : state) {
    CleXDSmb block;
    block.ParseBuf(image);
    benchmark::DoNotOptimize(block.GetVoidData(length));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(ParseBlock)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  if (CoreEach()) return 0;
  return RunRatioTable(argc, argv,
                       {{"building a block with 20 MiB / one memcpy, fresh buffer", "BuildBlock",
                         "FreshMemcpy", 1.5, 0, false},
                        {"parsing a block with 20 MiB / one memcpy, fresh buffer", "ParseBlock",
                         "FreshMemcpy", 1.5, 0, false}});
}
