// The values of several columns for a few rows at a time, which stay in the cache while they are brought from
// columns into rows.
#ifndef COLUMN_TILES_H
#define COLUMN_TILES_H

#include <algorithm>
#include <span>
#include <string_view>
#include <vector>

#include "column_plan.h"

class ColumnTile {
 public:
  explicit ColumnTile(std::span<ColumnPlan> plans_)
      : plans(plans_),
        most(std::clamp<std::size_t>(kCells / std::max<std::size_t>(plans.size(), 1), 16, 2048)) {
    numbers.resize(plans.size() * most);
    const auto is_text = [](const ColumnPlan& plan) { return plan.IsText(); };
    if (std::any_of(plans.begin(), plans.end(), is_text)) texts.resize(plans.size() * most);
  }
  std::size_t MostRows() const { return most; }
  // Rows of the batch at hand.
  void Read(std::size_t first, std::size_t count) {
    for (std::size_t i = 0; i < plans.size(); ++i) {
      if (plans[i].IsText()) {
        plans[i].Texts(first, count, &texts[i * most]);
      } else {
        plans[i].Numbers(first, count, &numbers[i * most]);
      }
    }
  }
  double Number(std::size_t column, std::size_t row) const { return numbers[column * most + row]; }
  std::string_view Text(std::size_t column, std::size_t row) const { return texts[column * most + row]; }

 private:
  static constexpr std::size_t kCells = 8192;
  std::span<ColumnPlan> plans;
  std::size_t most;  // rows
  std::vector<double> numbers;
  std::vector<std::string_view> texts;
};

// Calls `take(count)` with the tile that holds the next rows of the input, until all have been.
template <class Take>
void ForEachTile(const ColumnInput& input, std::span<ColumnPlan> plans, ColumnTile& tile, Take take) {
  for (std::size_t batch = 0; batch < input.Batches(); ++batch) {
    for (ColumnPlan& plan : plans) plan.StartBatch(batch);
    const std::size_t rows = input.RowsOf(batch);
    for (std::size_t first = 0; first < rows; first += tile.MostRows()) {
      const std::size_t count = std::min(tile.MostRows(), rows - first);
      tile.Read(first, count);
      take(count);
    }
  }
}

#endif
