// Runs the benchmarks of a program, each many times in random order, and prints medians: a measured figure
// beside its limit, taken in the same run, and the ratio of the two.
#ifndef BENCH_RATIO_TABLE_H
#define BENCH_RATIO_TABLE_H

#include <string>
#include <vector>

struct RatioRow {
  std::string title;
  std::string measured;     // name of a benchmark
  std::string limit;        // name of the benchmark it is held against
  double at_most;           // the ratio wanted; 0 where none is
  double at_most_each = 0;  // the same with a core each, where it is another
  bool placed = true;       // whether it matters where the two processes run
};

int RunRatioTable(int argc, char** argv, const std::vector<RatioRow>& rows);

#endif
