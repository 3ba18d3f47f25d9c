#include "bulk_rows.h"

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

std::string RowsOf(Dataset& dataset, const Columns& columns, std::size_t first, std::size_t count) {
  std::string rows;
  rows.reserve(count * RowBytes(dataset, columns));
  for (std::size_t row = first; row < first + count; ++row) {
    const Unit* const units = dataset.Case(row);
    for (const std::size_t column : columns) {
      const Variable& variable = dataset.variables[column];
      rows.append(reinterpret_cast<const char*>(units + variable.first_unit), variable.Units() * kUnitBytes);
    }
  }
  return rows;
}
