#include "ratio_table.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>

#include "raw_fifo.h"

namespace {

class MedianCollector : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.error_occurred) {
        std::fprintf(stderr, "%s: %s\n", run.benchmark_name().c_str(), run.error_message.c_str());
        failed = true;
      } else if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
        nanoseconds[run.run_name.function_name] =
            run.GetAdjustedRealTime() / benchmark::GetTimeUnitMultiplier(run.time_unit) * 1e9;
      }
    }
  }

  std::map<std::string, double> nanoseconds;
  bool failed = false;
};

std::string Readable(double nanoseconds) {
  const struct {
    double scale;
    const char* unit;
  } units[] = {{1e6, "ms"}, {1e3, "us"}, {1.0, "ns"}};
  char text[32];
  for (const auto& [scale, unit] : units) {
    std::snprintf(text, sizeof text, "%.2f %s", nanoseconds / scale, unit);
    if (nanoseconds >= scale) break;
  }
  return text;
}

}  // namespace

int RunRatioTable(int argc, char** argv, const std::vector<RatioRow>& rows) {
  std::vector<char*> arguments(argv, argv + argc);
  char interleave[] = "--benchmark_enable_random_interleaving=true";
  char repetitions[] = "--benchmark_repetitions=15";
  char time[] = "--benchmark_min_time=0.1";
  arguments.insert(arguments.begin() + 1, {interleave, repetitions, time});
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  MedianCollector medians;
  benchmark::RunSpecifiedBenchmarks(&medians);
  for (const RatioRow& row : rows) {
    const double measured = medians.nanoseconds[row.measured];
    const double limit = medians.nanoseconds[row.limit];
    const double at_most = CoreEach() && row.at_most_each != 0 ? row.at_most_each : row.at_most;
    const char* const place = !row.placed ? "" : CoreEach() ? ", a core each" : ", one core";
    if (measured == 0 || limit == 0 || (!row.placed && CoreEach())) continue;
    char wanted[16] = "-";
    if (at_most != 0) std::snprintf(wanted, sizeof wanted, "%.2f", at_most);
    std::printf("| %-66s | %10s | %10s | %5.2f | %5s |\n", (row.title + place).c_str(),
                Readable(measured).c_str(), Readable(limit).c_str(), measured / limit, wanted);
    std::fflush(stdout);
  }
  return medians.failed ? 1 : 0;
}
