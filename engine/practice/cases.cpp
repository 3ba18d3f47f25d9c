#include "cases.h"

#include <algorithm>

namespace {

// A look through so many costs about what a request does.
constexpr std::size_t kMostRuns = 4096;

}  // namespace

Unit* Cases::Find(std::size_t row) {
  if (row < near_begins) near_run = near_begins = 0;
  for (; row - near_begins >= runs[near_run].count; ++near_run) near_begins += runs[near_run].count;
  return cells.data() + (runs[near_run].first + row - near_begins) * row_units;
}

void Cases::Replace(Units rows, std::size_t units, std::size_t rows_count) {
  lender.BytesMayGo();
  cells = std::move(rows);
  row_units = units;
  count = rows_count;
  runs.clear();
  near_run = near_begins = 0;
}

std::size_t Cases::CutAt(std::size_t row) {
  if (row == count) return runs.size();
  Find(row);
  const std::size_t place = near_run, before = row - near_begins;
  if (before == 0) return place;
  const Run rest = {runs[place].first + before, runs[place].count - before};
  runs.insert(runs.begin() + static_cast<std::ptrdiff_t>(place) + 1, rest);
  runs[place].count = before;
  return place + 1;
}

void Cases::Insert(std::size_t at, std::size_t rows, std::span<const Unit> row) {
  if (rows == 0) return;
  const bool behind_all = at == count && runs.empty();
  lender.BytesMayGo();
  if (runs.size() >= kMostRuns) Settle();
  if (!behind_all) runs.reserve(runs.size() + 3);
  const std::size_t lies = row_units == 0 ? count : cells.size() / row_units;
  cells.resize((lies + rows) * row_units);
  for (std::size_t i = lies; i < lies + rows; ++i)
    std::copy(row.begin(), row.end(), cells.data() + i * row_units);
  if (!behind_all) {
    if (runs.empty() && count > 0) runs.push_back({0, count});
    const std::size_t place = CutAt(at);
    if (place > 0 && runs[place - 1].first + runs[place - 1].count == lies) {
      runs[place - 1].count += rows;
    } else {
      runs.insert(runs.begin() + static_cast<std::ptrdiff_t>(place), {lies, rows});
    }
  }
  count += rows;
  near_run = near_begins = 0;
}

void Cases::Delete(std::size_t at) {
  if (runs.size() >= kMostRuns) Settle();
  runs.reserve(runs.size() + 2);
  if (runs.empty()) runs.push_back({0, count});
  const std::size_t place = CutAt(at);
  ++runs[place].first;
  if (--runs[place].count == 0) runs.erase(runs.begin() + static_cast<std::ptrdiff_t>(place));
  --count;
  near_run = near_begins = 0;
  if (count == 0) Replace({}, row_units, 0);
}

void Cases::Settle() {
  if (runs.empty()) return;
  Units settled;
  settled.resize(count * row_units);
  Unit* place = settled.data();
  for (const Run& run : runs)
    place = std::copy_n(cells.data() + run.first * row_units, run.count * row_units, place);
  Replace(std::move(settled), row_units, count);
}
