#include "memory_dataset.h"

#include <algorithm>
#include <cstring>

#include "words.h"

namespace {

// The same value for another type. What cannot be said in it is missing: a text that is no number, a number
// that does not fit into the width. A text is cut.
void Convert(const Variable& from, const Unit* value, const Variable& to, Unit* place) {
  StoreMissing(to, place);
  if (from.IsText() && to.IsText()) {
    StoreText(to, place, TextAt(from, value).substr(0, static_cast<std::size_t>(to.width)));
  } else if (from.IsText()) {
    if (const auto number = ParseNumber(TextAt(from, value))) *place = UnitOf(*number);
  } else if (!to.IsText()) {
    *place = *value;
  } else if (*value != kSystemMissing) {
    char number[kNumberBytes];
    const std::string_view text(number, WriteNumber(NumberOf(*value), number));
    if (text.size() <= static_cast<std::size_t>(to.width)) StoreText(to, place, text);
  }
}

}  // namespace

void MemoryDataset::AddVariable(Variable variable) {
  variable.first_unit = case_units;
  variables.push_back(std::move(variable));
  case_units += variables.back().Units();
  cases.Replace({}, case_units, 0);
}

bool MemoryDataset::Arrange(std::vector<Variable> wanted, std::span<const std::size_t> sources) {
  const std::size_t units = Place(wanted);
  bool converts_twice = false;
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    if (sources[i] == kNowhere || !pending || pending->sources[sources[i]] == kNowhere) continue;
    const int width = variables[sources[i]].width;
    converts_twice = converts_twice || (wanted[i].width != width &&
                                        pending->variables[pending->sources[sources[i]]].width != width);
  }
  if (units > kMaxCaseBytes / kUnitBytes) return false;
  if (converts_twice) MoveValues();
  cases.Settle();
  Pending next;
  next.sources.assign(sources.begin(), sources.end());
  if (pending) {
    for (std::size_t& source : next.sources)
      source = source == kNowhere ? kNowhere : pending->sources[source];
  }
  next.room.reserve(CaseCount() * units);
  next.variables = std::move(pending ? pending->variables : variables);
  pending = std::move(next);
  variables = std::move(wanted);
  case_units = units;
  return true;
}

// What lies side by side before and after is moved together; what is new comes from a case of missing values.
void MemoryDataset::MoveValues() {
  struct Move {
    const Unit* from;  // in the first case, or in the missing one
    std::size_t step;  // from case to case
    std::size_t to, units;
  };
  const std::vector<Unit> missing = MissingCase();
  const std::size_t step = cases.RowUnits();
  std::vector<Move> moves;
  std::vector<std::pair<const Variable*, const Variable*>> conversions;
  for (std::size_t i = 0; i < variables.size() && CaseCount() > 0; ++i) {
    const Variable& variable = variables[i];
    const std::size_t source = pending->sources[i];
    const Variable* const before = source != kNowhere ? &pending->variables[source] : nullptr;
    if (before != nullptr && before->width != variable.width) {
      conversions.emplace_back(before, &variable);
      continue;
    }
    const Move move = {
        before != nullptr ? cases.At(0) + before->first_unit : missing.data() + variable.first_unit,
        before != nullptr ? step : 0, variable.first_unit, variable.Units()};
    if (!moves.empty() && moves.back().step == move.step &&
        moves.back().from + moves.back().units == move.from &&
        moves.back().to + moves.back().units == move.to) {
      moves.back().units += move.units;
    } else {
      moves.push_back(move);
    }
  }
  Units moved = std::move(pending->room);
  moved.resize(CaseCount() * case_units);
  for (std::size_t row = 0; row < CaseCount(); ++row) {
    Unit* const place = moved.data() + row * case_units;
    for (const Move& move : moves)
      std::memcpy(place + move.to, move.from + row * move.step, move.units * kUnitBytes);
    for (const auto& [before, variable] : conversions)
      Convert(*before, cases.At(row) + before->first_unit, *variable, place + variable->first_unit);
  }
  cases.Replace(std::move(moved), case_units, CaseCount());
  pending.reset();
}

void MemoryDataset::Settle() {
  if (pending) MoveValues();
  cases.Settle();
}

void MemoryDataset::ResizeCases(std::size_t count) {
  Units cells;
  cells.resize(count * case_units);
  SetCases(std::move(cells));
}

void MemoryDataset::SetCases(Units units) {
  const std::size_t count = case_units > 0 ? units.size() / case_units : 0;
  cases.Replace(std::move(units), case_units, count);
}

std::size_t MemoryDataset::StartPass(bool) {
  Settle();
  return CaseCount();
}

std::size_t MemoryDataset::Ahead(std::size_t first, std::size_t wanted) {
  return first < CaseCount() ? std::min(wanted, CaseCount() - first) : 0;
}

void MemoryDataset::Append(const Columns& columns, const void* rows, std::size_t count) {
  if (pending) MoveValues();
  const std::size_t first = CaseCount();
  cases.Insert(first, count, MissingCase());
  const char* source = static_cast<const char*>(rows);
  for (std::size_t row = first; row < first + count; ++row) {
    Unit* const units = cases.At(row);
    for (const std::size_t column : columns) {
      const Variable& variable = variables[column];
      Unit* const place = units + variable.first_unit;
      if (variable.IsText()) {
        StoreText(variable, place, {source, static_cast<std::size_t>(variable.width)});
      } else {
        std::memcpy(place, source, kUnitBytes);
      }
      source += variable.Units() * kUnitBytes;
    }
  }
}

void MemoryDataset::InsertCase(std::size_t at) {
  if (pending) MoveValues();
  cases.Insert(at, 1, MissingCase());
}

void MemoryDataset::DeleteCase(std::size_t at) {
  if (pending) MoveValues();
  cases.Delete(at);
}

void MemoryDataset::CopyFrom(Dataset& source) {
  auto& other = dynamic_cast<MemoryDataset&>(source);
  other.Settle();
  MemoryDataset copy = other;
  copy.name = std::move(name);
  *this = std::move(copy);
}
