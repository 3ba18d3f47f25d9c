#include "column_blocks.h"

#include <bit>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

#include "CleXDErrorCode.h"
#include "column_progress.h"
#include "column_target.h"
#include "column_tiles.h"
#include "dataset_catalogue.h"
#include "obs.h"
#include "session.h"
#include "vexaxd_p.h"

namespace {

// Memory of that size is used again without a page fault, and stays in the cache of either side.
constexpr std::size_t kBlockBytes = std::size_t{4} << 20;
constexpr double kSystemMissing = std::bit_cast<double>(kSystemMissingBits);

void Tell(std::size_t done, std::size_t total) {
  TellProgress(static_cast<long>(done), static_cast<long>(total));
}

// Cases in the unit form, in memory that CommitManyCases takes over.
class CaseBlock {
 public:
  CaseBlock(const ColumnInput& input_, std::span<ColumnPlan> plans_) : input(input_), plans(plans_) {
    for (const ColumnPlan& plan : plans) {
      places.push_back(case_bytes);
      case_bytes += static_cast<std::size_t>(ObsLength(plan.Width())) * sizeof(OBS);
      names.push_back(const_cast<char*>(plan.Name().c_str()));
      types.push_back(plan.Width());
    }
    if (case_bytes > static_cast<std::size_t>(std::numeric_limits<int>::max()))
      throw ColumnRefusal(CleXDErrorCode::kTooLarge, "a case of these columns is over 2 GiB");
    most = std::max<std::size_t>(kBlockBytes / case_bytes, 1);
  }

  // The tile's rows from `first` on that there is room for: their number.
  std::size_t Take(const ColumnTile& tile, std::size_t first, std::size_t count) {
    if (block == nullptr) Begin();
    count = std::min(count, most - cases);
    for (std::size_t i = 0; i < plans.size(); ++i) {
      char* place = block.get() + cases * case_bytes + places[i];
      const auto units = static_cast<std::size_t>(ObsLength(plans[i].Width())) * sizeof(OBS);
      for (std::size_t row = first; row < first + count; ++row, place += case_bytes) {
        if (plans[i].IsText()) {
          const std::string_view text = tile.Text(i, row);
          if (!text.empty()) std::memcpy(place, text.data(), text.size());
          std::memset(place + text.size(), ' ', units - text.size());
        } else {
          const double number = tile.Number(i, row);
          std::memcpy(place, &number, sizeof number);
        }
      }
    }
    cases += count;
    return count;
  }
  bool IsFull() const { return cases == most; }
  std::size_t Cases() const { return cases; }

  void Commit() {
    const std::size_t count = std::exchange(cases, 0);
    done += count;
    Require(CommitManyCases(names.data(), types.data(), block.release(), static_cast<int>(plans.size()),
                            static_cast<int>(count * case_bytes), static_cast<int>(count)));
    Tell(done, input.Rows());
  }

 private:
  void Begin() {
    const std::size_t rows = std::min(most, input.Rows() - done);
    block.reset(static_cast<char*>(std::malloc(rows * case_bytes)));
    if (block == nullptr) throw std::bad_alloc();
  }
  struct Free {
    void operator()(void* memory) const { std::free(memory); }
  };

  const ColumnInput& input;
  const std::span<ColumnPlan> plans;
  std::vector<std::size_t> places;
  std::vector<char*> names;
  std::vector<int> types;
  std::size_t case_bytes = 0, most = 0, cases = 0, done = 0;
  std::unique_ptr<char, Free> block;
};

void CountCases(const std::string& dataset, std::size_t added) {
  const int entry = FindInCatalogue(dataset.c_str());
  if (entry >= 0) casecountVec[static_cast<std::size_t>(entry)] += static_cast<long>(added);
}

void QueueRow(const ColumnTile& tile, std::span<ColumnPlan> plans, std::size_t row, CellRecord& cell,
              Missing missing) {
  constexpr std::int32_t kNumber = 0, kText = 1;
  for (std::size_t i = 0; i < plans.size(); ++i) {
    const bool is_text = plans[i].IsText();
    cell.valueType = is_text ? kText : kNumber;
    cell.varIndex = plans[i].variable;
    cell.stringValue = is_text ? tile.Text(i, row) : std::string_view();
    cell.numericValue = is_text ? 0.0 : tile.Number(i, row);
    const bool is_missing = is_text ? cell.stringValue.empty() : cell.numericValue == kSystemMissing;
    if (is_missing && missing == Missing::kLeaveOut) continue;
    if (!dataVec.Append(cell)) throw std::bad_alloc();
  }
  ++cell.caseIndex;
}

}  // namespace

void CommitCases(const ColumnInput& input, std::span<ColumnPlan> plans, const std::string& dataset) {
  if (input.Rows() == 0 || plans.empty()) return;
  CaseBlock block(input, plans);
  ColumnTile tile(plans);
  const auto commit = [&] {
    const std::size_t cases = block.Cases();
    block.Commit();
    CountCases(dataset, cases);
  };
  ForEachTile(input, plans, tile, [&](std::size_t count) {
    for (std::size_t taken = 0; taken < count;) {
      taken += block.Take(tile, taken, count - taken);
      if (block.IsFull()) commit();
    }
  });
  if (block.Cases() != 0) commit();
}

void CommitCells(const ColumnInput& input, std::span<ColumnPlan> plans, const std::string& dataset,
                 Missing missing) {
  if (input.Rows() == 0 || plans.empty()) return;
  ColumnTile tile(plans);
  CellRecord cell;
  cell.datasetName = dataset;
  const auto commit = [&] {
    if (dataVec.Count() != 0) Require(CommitDataSet());
    Tell(static_cast<std::size_t>(cell.caseIndex), input.Rows());
  };
  ForEachTile(input, plans, tile, [&](std::size_t count) {
    for (std::size_t row = 0; row < count; ++row) {
      QueueRow(tile, plans, row, cell, missing);
      if (dataVec.Bytes() >= kBlockBytes) commit();
    }
  });
  if (dataVec.Count() != 0) commit();
}
