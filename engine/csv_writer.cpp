#include "csv_writer.h"

#include <charconv>
#include <filesystem>
#include <fstream>

namespace {

void AppendText(std::string_view text, std::string& row) {
  if (text.find_first_of(",\"\r\n") == std::string_view::npos) {
    row += text;
    return;
  }
  row += '"';
  for (const char c : text) row.append(c == '"' ? 2 : 1, c);
  row += '"';
}

void AppendValue(const Variable& variable, const Unit* value, std::string& row) {
  if (variable.IsText()) {
    const std::string_view text = TextAt(variable, value);
    AppendText(text.substr(0, text.find_last_not_of(' ') + 1), row);
  } else if (*value != kSystemMissing) {
    char number[32];
    row.append(number, std::to_chars(number, number + sizeof(number), NumberOf(*value)).ptr);
  }
}

}  // namespace

bool WriteCsv(const Dataset& dataset, const Columns& columns, const std::string& path) {
  std::ofstream file(path, std::ios::binary);
  if (!file) return false;
  std::string row;
  const auto end_row = [&] {
    file << row << '\n';
    row.clear();
  };
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (i > 0) row += ',';
    AppendText(dataset.variables[columns[i]].name, row);
  }
  end_row();
  for (std::size_t at = 0; at < dataset.CaseCount(); ++at) {
    for (std::size_t i = 0; i < columns.size(); ++i) {
      if (i > 0) row += ',';
      const Variable& variable = dataset.variables[columns[i]];
      AppendValue(variable, dataset.Case(at) + variable.first_unit, row);
    }
    end_row();
  }
  file.close();
  if (file) return true;
  std::error_code ignored;
  std::filesystem::remove(path, ignored);
  return false;
}
