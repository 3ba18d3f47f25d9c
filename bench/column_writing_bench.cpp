// Columns written to the practice engine: three variables added to 1,000,000 cases, against the message with
// their cells ready-made through a raw fifo; and 1,000,000 cases of ten numbers appended, against the bytes
// of their values.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "peak_memory.h"
#include "ratio_table.h"
#include "raw_fifo.h"
#include "vexaxd_columns.h"
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

// Columns of numbers that stay here, whoever releases them, in one batch.
class Columns {
 public:
  explicit Columns(std::size_t count) : values(kRows), names(count), fields(count), arrays(count) {
    for (int row = 0; row < kRows; ++row) values[static_cast<std::size_t>(row)] = row * 0.5;
    for (std::size_t i = 0; i < count; ++i) names[i] = "n" + std::to_string(i);
  }
  ArrowArrayStream* Stream() {
    schema = {"+s",    "",      nullptr, 0,      static_cast<std::int64_t>(names.size()),
              nullptr, nullptr, Forget,  nullptr};
    batch = {kRows, 0, 0, 1, schema.n_children, no_buffers, nullptr, nullptr, Forget, nullptr};
    field_list.clear(), array_list.clear();
    for (std::size_t i = 0; i < names.size(); ++i) {
      fields[i] = {"g", names[i].c_str(), nullptr, ARROW_FLAG_NULLABLE, 0, nullptr, nullptr, Forget, nullptr};
      arrays[i] = {kRows, 0, 0, 2, 0, buffers, nullptr, nullptr, Forget, nullptr};
      field_list.push_back(&fields[i]), array_list.push_back(&arrays[i]);
    }
    schema.children = field_list.data();
    batch.children = array_list.data();
    stream = {[](ArrowArrayStream* self, ArrowSchema* out) { return *out = Of(self).schema, 0; },
              [](ArrowArrayStream* self, ArrowArray* out) {
                *out = Of(self).batch;
                Of(self).batch.release = nullptr;  // the next one is the end
                return 0;
              },
              [](ArrowArrayStream*) -> const char* { return nullptr; }, Forget, this};
    return &stream;
  }

 private:
  static Columns& Of(ArrowArrayStream* self) { return *static_cast<Columns*>(self->private_data); }
  template <class Struct>
  static void Forget(Struct* released) {
    released->release = nullptr;
  }

  std::vector<double> values;
  std::vector<std::string> names;
  std::vector<ArrowSchema> fields;
  std::vector<ArrowArray> arrays;
  std::vector<ArrowSchema*> field_list;
  std::vector<ArrowArray*> array_list;
  const void* buffers[2] = {nullptr, values.data()};
  const void* no_buffers[1] = {nullptr};
  ArrowSchema schema = {};
  ArrowArray batch = {};
  ArrowArrayStream stream = {};
};

Columns& AddedColumns() {
  static Columns columns(kAdded);
  return columns;
}
Columns& AppendedColumns() {
  static Columns columns(kAppended);
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
