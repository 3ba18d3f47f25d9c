#include "bulk_rows.h"

#include <cstring>
#include <numeric>

#include "refusals.h"

Columns FindColumns(Dataset& dataset, std::span<const std::string> names) {
  Columns columns(names.empty() ? dataset.variables.size() : 0);
  std::iota(columns.begin(), columns.end(), std::size_t{0});
  for (const std::string& name : names) {
    columns.push_back(static_cast<std::size_t>(&VariableNamed(dataset, name) - dataset.variables.data()));
  }
  return columns;
}

std::size_t RowBytes(const Dataset& dataset, const Columns& columns) {
  std::size_t units = 0;
  for (const std::size_t column : columns) units += dataset.variables[column].Units();
  return units * kUnitBytes;
}

void AppendRows(Dataset& dataset, const Columns& columns, const void* rows, std::size_t count) {
  const std::size_t first = dataset.CaseCount();
  dataset.InsertCases(first, count);
  const char* source = static_cast<const char*>(rows);
  for (std::size_t row = first; row < first + count; ++row) {
    for (const std::size_t column : columns) {
      const Variable& variable = dataset.variables[column];
      Unit* const place = dataset.Case(row) + variable.first_unit;
      if (variable.IsText()) {
        StoreText(variable, place, {source, static_cast<std::size_t>(variable.width)});
      } else {
        std::memcpy(place, source, kUnitBytes);
      }
      source += variable.Units() * kUnitBytes;
    }
  }
}

std::string RowsOf(const Dataset& dataset, const Columns& columns, std::size_t first, std::size_t count) {
  std::string rows;
  rows.reserve(count * RowBytes(dataset, columns));
  for (std::size_t row = first; row < first + count; ++row) {
    for (const std::size_t column : columns) {
      const Variable& variable = dataset.variables[column];
      rows.append(reinterpret_cast<const char*>(dataset.Case(row) + variable.first_unit),
                  variable.Units() * kUnitBytes);
    }
  }
  return rows;
}
