#include "csv_writer.h"

#include "replaced_file.h"
#include "words.h"

namespace {

constexpr std::size_t kPiece = std::size_t{1} << 18;  // written at once

void AppendText(std::string_view text, std::string& row) {
  if (text.find_first_of(",\"\r\n") == std::string_view::npos) {
    row += text;
    return;
  }
  row += '"';
  for (const char c : text) row.append(c == '"' ? 2 : 1, c);
  row += '"';
}

void AppendNumber(double value, std::string& row) {
  char number[kNumberBytes];
  row.append(number, WriteNumber(value, number));
}

void AppendValue(const Variable& variable, const Unit* value, std::string& row) {
  if (variable.IsText()) {
    const std::string_view text = TextAt(variable, value);
    AppendText(text.substr(0, text.find_last_not_of(' ') + 1), row);
  } else if (*value != kSystemMissing) {
    AppendNumber(NumberOf(*value), row);
  }
}

}  // namespace

void WriteCsv(Dataset& dataset, const Columns& columns, const std::string& path) {
  ReplacedFile file(path);
  std::string rows;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (i > 0) rows += ',';
    AppendText(dataset.variables[columns[i]].name, rows);
  }
  rows += '\n';
  for (std::size_t at = 0; at < dataset.CaseCount(); ++at) {
    for (std::size_t i = 0; i < columns.size(); ++i) {
      if (i > 0) rows += ',';
      const Variable& variable = dataset.variables[columns[i]];
      AppendValue(variable, dataset.Case(at) + variable.first_unit, rows);
    }
    rows += '\n';
    if (rows.size() < kPiece) continue;
    file.Write(rows);
    rows.clear();
  }
  file.Write(rows);
  file.Commit();
}
