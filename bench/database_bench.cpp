// A database behind the interface, against libpq alone on the same server: 1,000,000 rows of three numbers of
// a query, every cell read through the cursor, or as columns, against the binary result of that query; and
// 1,000,000 new cases, against a binary COPY of the same rows. What a walk over 10,000,000 rows adds to the
// memory. libpq's environment names the server: tests/support/cluster.py bench/database_bench
#include <benchmark/benchmark.h>
#include <endian.h>
#include <libpq-fe.h>

#include <bit>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "number_columns.h"
#include "peak_memory.h"
#include "ratio_table.h"
#include "raw_fifo.h"
#include "vexaxd_p.h"

namespace {

constexpr int kRows = 1000000, kVariables = 3, kWalkedRows = 10000000;
constexpr int kRuns = 5;
constexpr double kSum = kVariables * 0.5 * (kRows / 2.0) * (kRows - 1);
const std::string kQuery = "SELECT n0, n1, n2 FROM numbers";

using Result = std::unique_ptr<PGresult, decltype(&PQclear)>;

PGconn* connection;

bool Good(const Result& result) {
  const ExecStatusType status = PQresultStatus(result.get());
  const bool good = status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK || status == PGRES_COPY_IN;
  if (!good) std::fputs(PQerrorMessage(connection), stderr);
  return good;
}
bool Run(const std::string& statement) {
  return Good(Result(PQexec(connection, statement.c_str()), PQclear));
}
bool SubmitText(std::string text) { return Submit(text.data(), static_cast<int>(text.size())) == 0; }

double FromNetwork(const char* bytes) {
  std::uint64_t bits;
  std::memcpy(&bits, bytes, sizeof bits);
  return std::bit_cast<double>(be64toh(bits));
}

bool LibpqReads() {
  const Result result(PQexecParams(connection, kQuery.c_str(), 0, nullptr, nullptr, nullptr, nullptr, 1),
                      PQclear);
  if (!Good(result) || PQntuples(result.get()) != kRows) return false;
  double sum = 0;
  for (int row = 0; row < kRows; ++row) {
    for (int column = 0; column < kVariables; ++column) {
      if (!PQgetisnull(result.get(), row, column)) sum += FromNetwork(PQgetvalue(result.get(), row, column));
    }
  }
  return sum == kSum;
}

bool CursorReads() {
  if (!SubmitText(kQuery + ";") || MakeCaseCursor("r") != 0) return false;
  double sum = 0;
  while (NextCase() == 0) {
    for (int column = 0; column < kVariables; ++column) {
      double value;
      int missing;
      if (GetNumericValue(column, &value, &missing) == 0 && missing == 0) sum += value;
    }
  }
  return RemoveCaseCursor() == 0 && sum == kSum;
}

// Of the rows that the columns hold; -1 where they fail.
double ColumnSum() {
  ArrowArrayStream stream;
  if (VexaReadColumns(nullptr, nullptr, 0, 0, 0, &stream) != 0) return -1;
  double sum = 0;
  bool good;
  for (ArrowArray batch; (good = stream.get_next(&stream, &batch) == 0) && batch.release != nullptr;) {
    for (std::int64_t column = 0; column < batch.n_children; ++column) {
      const auto* const values = static_cast<const double*>(batch.children[column]->buffers[1]);
      for (std::int64_t row = 0; row < batch.length; ++row) sum += values[row];
    }
    batch.release(&batch);
  }
  stream.release(&stream);
  return good ? sum : -1;
}
bool ColumnsRead() { return SubmitText(kQuery + ";") && ColumnSum() == kSum; }

bool Walk() {
  constexpr double kWalked = kVariables * 0.5 * kWalkedRows * (kWalkedRows + 1.0);
  const std::string n = "n::float8";
  return SubmitText("SELECT " + n + " a, " + n + " b, " + n + " c FROM generate_series(1, " +
                    std::to_string(kWalkedRows) + ") n;") &&
         ColumnSum() == kWalked;
}

bool MakeEmpty() { return Run("TRUNCATE target"); }
bool TargetIsFull() {
  const Result count(PQexec(connection, "SELECT count(*) FROM target"), PQclear);
  return Good(count) && std::atoi(PQgetvalue(count.get(), 0, 0)) == kRows;
}

template <class Number>
void Append(std::string& to, Number value) {
  to.append(reinterpret_cast<const char*>(&value), sizeof value);
}

bool LibpqCopies() {
  if (!Run("BEGIN") || !Run("COPY target FROM STDIN (FORMAT binary)")) return false;
  std::string bytes("PGCOPY\n\377\r\n\0\0\0\0\0\0\0\0\0", 19);
  bool good = true;
  for (int row = 0; good && row < kRows; ++row) {
    Append(bytes, htobe16(kVariables));
    for (int column = 0; column < kVariables; ++column) {
      Append(bytes, htobe32(sizeof(double)));
      Append(bytes, htobe64(std::bit_cast<std::uint64_t>(row * 0.5)));
    }
    if (bytes.size() > 65536) {
      good = PQputCopyData(connection, bytes.data(), static_cast<int>(bytes.size())) == 1;
      bytes.clear();
    }
  }
  Append(bytes, std::int16_t{-1});
  good = good && PQputCopyData(connection, bytes.data(), static_cast<int>(bytes.size())) == 1 &&
         PQputCopyEnd(connection, nullptr) == 1;
  good = Good(Result(PQgetResult(connection), PQclear)) && good;
  while (PGresult* rest = PQgetResult(connection)) PQclear(rest);
  return Run("COMMIT") && good;
}

bool CasesAppend() {
  static NumberColumns columns(kVariables, kRows);
  return VexaAppendColumns(nullptr, columns.Stream()) == 0;
}

// `before` and `after` stand beside the clock.
void Measure(benchmark::State& state, bool (*before)(), bool (*work)(), bool (*after)()) {
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
bool Nothing() { return true; }
void Read(benchmark::State& state, bool (*work)()) { Measure(state, Nothing, work, Nothing); }
void Write(benchmark::State& state, bool (*before)(), bool (*work)()) {
  Measure(state, before, work, TargetIsFull);
}
bool MakeEmptyAndActive() { return MakeEmpty() && SubmitText("TABLE target;"); }

void Libpq(benchmark::State& state) { Read(state, LibpqReads); }
void Cursor(benchmark::State& state) { Read(state, CursorReads); }
void Columns(benchmark::State& state) { Read(state, ColumnsRead); }
void Copy(benchmark::State& state) { Write(state, MakeEmpty, LibpqCopies); }
void Cases(benchmark::State& state) { Write(state, MakeEmptyAndActive, CasesAppend); }
BENCHMARK(Libpq)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1)->Repetitions(kRuns);
BENCHMARK(Cursor)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1)->Repetitions(kRuns);
BENCHMARK(Columns)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1)->Repetitions(kRuns);
BENCHMARK(Copy)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1)->Repetitions(kRuns);
BENCHMARK(Cases)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1)->Repetitions(kRuns);

// The tables, and a session on the same server.
bool Prepare() {
  const std::string rows = std::to_string(kRows - 1);
  if (!Run("DROP TABLE IF EXISTS numbers, target") ||
      !Run("CREATE TABLE numbers AS SELECT n * 0.5::float8 n0, n * 0.5::float8 n1, n * 0.5::float8 n2 FROM "
           "generate_series(0, " +
           rows + ") n") ||
      !Run("CREATE TABLE target (LIKE numbers)") || !Run("VACUUM ANALYZE numbers"))
    return false;
  const std::string database = std::string("host=") + PQhost(connection) + " user=" + PQuser(connection) +
                               " dbname=" + PQdb(connection);
  const bool good = StartVexa(("-database \"" + database + "\"").c_str()) == 0;
  if (!good) std::fprintf(stderr, "%s\n", VexaLastError());
  return good;
}

}  // namespace

int main(int argc, char** argv) {
  const BenchDirectory directory;
  setenv("VEXADXTEMP", directory.path().c_str(), 1);
  SetXNameAndSHome("BENCH", VEXA_STAGED_HOME);
  connection = PQconnectdb("");
  const std::vector<RatioRow> rows = {
      {"1,000,000 x 3 numbers of a query by the cursor / libpq's binary result", "Cursor", "Libpq", 0.8, 0,
       false},
      {"the same as columns / the same", "Columns", "Libpq", 0, 0, false},
      {"1,000,000 new cases committed / `COPY` by libpq", "Cases", "Copy", 1.3, 0, false}};
  const bool good = Prepare() && PrintPeak("a walk over 10,000,000 rows of a query", Walk) &&
                    RunRatioTable(argc, argv, rows) == 0;
  StopVexa();
  PQfinish(connection);
  return good ? 0 : 1;
}
