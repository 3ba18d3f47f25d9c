// The cells of the datasets of a data step: one by one, in batches of rows, by whole cases, and the changes
// that a driver has gathered. Rows and columns count from 0.
#include <algorithm>
#include <cstring>

#include "arguments.h"

namespace {

constexpr std::size_t kBatchCells = std::size_t{1} << 16;
constexpr std::size_t kJumpCells = 8;
constexpr std::size_t kBatchBytes = std::size_t{4} << 20;

bool IsRow(Dataset& dataset, int row) {
  return row >= 0 && static_cast<std::size_t>(row) < dataset.CaseCount();
}

struct Cell {
  const Variable* variable = nullptr;
  const Unit* value = nullptr;
};

// The variable of a cell that is there.
const Variable& VariableOfCell(Dataset& dataset, int row, int column) {
  if (!IsRow(dataset, row)) RefuseRow(dataset, row);
  if (column < 0 || static_cast<std::size_t>(column) >= dataset.variables.size()) VariableAt(dataset, column);
  return dataset.variables[static_cast<std::size_t>(column)];
}

Cell TakeCell(Dataset& dataset, Arguments& arguments) {
  const std::optional<int> row = arguments.TakeLong();
  const std::optional<int> column = arguments.TakeLong();
  if (!row || !column) throw Refusal(engine_code::kBadRequest, "the request lacks a row or a column");
  const Variable& variable = VariableOfCell(dataset, *row, *column);
  return {&variable, dataset.Case(static_cast<std::size_t>(*row)) + variable.first_unit};
}

int NumericCell(Dataset& dataset, Arguments& arguments, CleXDSmb& reply) {
  const Cell cell = TakeCell(dataset, arguments);
  if (cell.variable->IsText()) return CleXDErrorCode::kNumberOfString;
  reply.SetDouble(NumberOf(*cell.value));
  reply.SetLong(static_cast<long>(StateOf(*cell.variable, cell.value)));
  return 0;
}

int TextCell(Dataset& dataset, Arguments& arguments, CleXDSmb& reply) {
  const Cell cell = TakeCell(dataset, arguments);
  if (!cell.variable->IsText()) return CleXDErrorCode::kTextOfNumber;
  reply.SetString(std::string(TextAt(*cell.variable, cell.value)));
  reply.SetLong(static_cast<long>(StateOf(*cell.variable, cell.value)));
  return 0;
}

// The rows that come with the one that is asked for. A driver that reads on, in either direction, gets four
// times as many as the last time, up to a message of moderate size; one that jumps gets few, so that a jump
// costs no more than to read a cell.
RowWindow WindowAt(Dataset& dataset, std::size_t row) {
  const std::size_t columns = dataset.variables.size(), size = dataset.batch.end - dataset.batch.first;
  const bool forward = row >= dataset.batch.end && row - dataset.batch.end < size;
  const bool backward = row < dataset.batch.first && dataset.batch.first - row <= size;
  const std::size_t room = std::min(kBatchCells / columns, kBatchBytes / dataset.CaseBytes());
  const std::size_t wanted = forward || backward ? 4 * size : kJumpCells / columns;
  const std::size_t rows = std::max<std::size_t>(std::min(wanted, room), 1);
  const std::size_t first = backward ? row + 1 - std::min(rows, row + 1) : row;
  return {first, std::min(first + rows, dataset.CaseCount())};
}

// Every cell has a place in all three lists. The last integer is the number of cases.
int Batch(Dataset& dataset, Arguments& arguments, CleXDSmb& reply) {
  arguments.TakeLong();  // whether the driver has a batch of this dataset already: it gets a whole one
  const std::optional<int> row = arguments.TakeLong();
  if (!row) return engine_code::kBadRequest;
  if (!IsRow(dataset, *row)) RefuseRow(dataset, *row);
  if (dataset.variables.empty()) return engine_code::kNoData;
  const auto [first, end] = dataset.batch = WindowAt(dataset, static_cast<std::size_t>(*row));
  LongData states;
  DoubleData numbers;
  StringData texts;
  for (std::size_t i = first; i < end; ++i) {
    const Unit* const units = dataset.Case(i);
    for (const Variable& variable : dataset.variables) {
      const Unit* const value = units + variable.first_unit;
      states.SetValue(static_cast<int>(StateOf(variable, value)));
      numbers.SetValue(variable.IsText() ? 0.0 : NumberOf(*value));
      texts.SetValue(variable.IsText() ? std::string(TextAt(variable, value)) : std::string());
    }
  }
  reply.SetLong(static_cast<long>(first));
  reply.SetLong(static_cast<long>(dataset.variables.size()));
  for (const Variable& variable : dataset.variables) reply.SetLong(variable.width);
  reply.SetLong(static_cast<long>(end - 1));
  reply.SetLong(static_cast<long>(dataset.CaseCount()));
  reply.SetLongArray(states);
  reply.SetDoubleArray(numbers);
  reply.SetStringArray(texts);
  return 0;
}

int WholeCase(Dataset& dataset, Arguments& arguments, CleXDSmb& reply) {
  const std::optional<int> row = arguments.TakeLong();
  if (!row) return engine_code::kBadRequest;
  if (!IsRow(dataset, *row)) RefuseRow(dataset, *row);
  reply.LendVoidData(dataset.Lend(static_cast<std::size_t>(*row), dataset.CaseBytes()));
  return 0;
}

// A run of units of a case.
struct Part {
  std::size_t first, count;
};

// Row and flag for a whole case; row, number of parts, each part's first unit and length, flag for some of
// it. The block is a whole case either way.
int StoreCase(Session& session, CleXDSmb& request, CleXDSmb&) {
  Arguments arguments(request);
  Dataset& dataset = *StepDataset(session, arguments).dataset;
  const auto longs = arguments.Longs();
  int bytes = 0;
  const void* const block = request.GetVoidData(bytes);
  if (longs.size() < 2 || static_cast<std::size_t>(bytes) != dataset.CaseBytes()) {
    return engine_code::kBadRequest;
  }
  if (!IsRow(dataset, longs[0])) RefuseRow(dataset, longs[0]);
  std::vector<Part> parts;
  if (longs.size() == 2) {
    parts.push_back({0, dataset.CaseUnits()});
  } else {
    if (longs[1] < 0 || longs.size() != 3 + 2 * static_cast<std::size_t>(longs[1])) {
      return engine_code::kBadRequest;
    }
    for (std::size_t i = 2; i + 1 < longs.size(); i += 2) {
      const Part part = {static_cast<std::size_t>(longs[i]), static_cast<std::size_t>(longs[i + 1])};
      if (part.first > dataset.CaseUnits() || part.count > dataset.CaseUnits() - part.first) {
        return CleXDErrorCode::kIndexOutOfRange;
      }
      parts.push_back(part);
    }
  }
  Unit* const units = dataset.Change(static_cast<std::size_t>(longs[0]));
  for (const Part& part : parts) {
    std::memcpy(units + part.first, static_cast<const char*>(block) + part.first * kUnitBytes,
                part.count * kUnitBytes);
  }
  for (const Variable& variable : dataset.variables) BlankRest(variable, units + variable.first_unit);
  dataset.Keep();
  return 0;
}

// Changes side by side that are about one dataset: as a rule all of them.
struct Run {
  std::string_view name;
  Dataset* dataset;
  std::size_t length;
};

Run StartRun(Session& session, std::string_view name) {
  Dataset* const dataset = session.datasets.FindInStep(name);
  if (dataset == nullptr)
    throw Refusal(CleXDErrorCode::kUnknownDataset, std::string(name) + " is not in the data step");
  return {name, dataset, 0};
}

// All changes or, when one of them cannot be, none: they are walked twice where they came in.
int StoreCells(Session& session, CleXDSmb& request, CleXDSmb&) {
  if (!session.datasets.StepOpen()) return CleXDErrorCode::kNoStepOpen;
  std::vector<Run> runs;
  CellRecord change;
  for (CellRecords walk = request.Records(); walk.Next(change);) {
    if (runs.empty() || runs.back().name != change.datasetName) {
      runs.push_back(StartRun(session, change.datasetName));
    }
    Run& run = runs.back();
    const Variable& variable = VariableOfCell(*run.dataset, change.caseIndex, change.varIndex);
    const bool is_text = change.valueType == 1;
    if (is_text != variable.IsText()) RefuseType(variable);
    if (is_text && change.stringValue.size() > static_cast<std::size_t>(variable.width))
      RefuseWidth(variable, change.stringValue.size());
    ++run.length;
  }
  CellRecords walk = request.Records();
  for (const Run& run : runs) {
    for (std::size_t left = run.length; left != 0 && walk.Next(change); --left) {
      const Variable& variable = run.dataset->variables[static_cast<std::size_t>(change.varIndex)];
      Unit* const value =
          run.dataset->Change(static_cast<std::size_t>(change.caseIndex)) + variable.first_unit;
      if (change.valueType == 1) {
        StoreText(variable, value, change.stringValue);
      } else {
        *value = UnitOf(change.numericValue);
      }
    }
    run.dataset->Keep();
  }
  return 0;
}

// Nothing depends on a cache.
int SwitchCache(Dataset&, Arguments& arguments) {
  return arguments.TakeLong() ? 0 : engine_code::kBadRequest;
}

constexpr ActionEntry kActions[] = {
    {Action::GetNCellValue, About<StepDataset, NumericCell>},
    {Action::GetCCellValue, About<StepDataset, TextCell>},
    {Action::FetchDatastep, About<StepDataset, Batch>},
    {Action::GetCaseValue, About<StepDataset, WholeCase>},
    {Action::SetCaseValue, StoreCase},
    {Action::CommitDataSet, StoreCells},
    {Action::SetCacheInDS, About<StepDataset, SwitchCache>},
};

}  // namespace

std::span<const ActionEntry> CellActions() { return kActions; }
