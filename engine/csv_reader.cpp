#include "csv_reader.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <deque>
#include <filesystem>
#include <memory>

#include "engine_code.h"
#include "words.h"

namespace {

using Fields = std::vector<std::string_view>;

// Walks the rows of a text. The fields of a row are valid until the next one.
class CsvRows {
 public:
  CsvRows(const std::string& file_path, std::string_view csv) : path(file_path), text(csv) {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (text.starts_with(kByteOrderMark)) position = kByteOrderMark.size();
  }

  bool Next(Fields& fields) {
    fields.clear();
    unescaped.clear();
    if (position >= text.size()) return false;
    row_line = line;
    for (;;) {
      fields.push_back(position < text.size() && text[position] == '"' ? Quoted() : Plain());
      if (position >= text.size()) return true;
      if (text[position++] == ',') continue;
      ++line;
      return true;
    }
  }

  // Skips the lines without any text, unless a lone empty field is what a row looks like.
  bool NextCase(Fields& fields, std::size_t columns) {
    do {
      if (!Next(fields)) return false;
    } while (columns > 1 && fields.size() == 1 && fields[0].empty());
    if (fields.size() == columns) return true;
    Fail(std::to_string(fields.size()) + " fields, where the header has " + std::to_string(columns));
  }

  [[noreturn]] void Fail(const std::string& reason) const {
    throw Refusal(engine_code::kBadData, path + ":" + std::to_string(row_line) + ": " + reason);
  }

 private:
  std::string_view Plain() {
    const std::size_t start = position;
    while (position < text.size() && text[position] != ',' && text[position] != '\n') ++position;
    std::size_t end = position;
    const bool line_end = position == text.size() || text[position] == '\n';
    if (line_end && end > start && text[end - 1] == '\r') --end;
    return text.substr(start, end - start);
  }

  std::string_view Quoted() {
    const std::size_t start = ++position;
    std::string* copy = nullptr;  // made at the first "", since only then the field differs from its text
    std::size_t piece = start;
    for (;; ++position) {
      position = text.find('"', position);
      if (position == std::string_view::npos) Fail("a quote is not closed");
      const std::string_view run = text.substr(piece, position - piece);
      line += static_cast<std::size_t>(std::count(run.begin(), run.end(), '\n'));
      const bool escaped = position + 1 < text.size() && text[position + 1] == '"';
      if (escaped && copy == nullptr) copy = &unescaped.emplace_back();
      if (copy != nullptr) copy->append(run);
      if (!escaped) break;
      piece = ++position;  // the second quote belongs to the next piece
    }
    const std::string_view field = copy != nullptr ? *copy : text.substr(start, position - start);
    ++position;
    if (text.substr(position).starts_with("\r\n") || text.substr(position) == "\r") ++position;
    if (position < text.size() && text[position] != ',' && text[position] != '\n')
      Fail("text behind a closing quote");
    return field;
  }

  const std::string& path;
  std::string_view text;
  std::size_t position = 0;
  std::size_t line = 1;
  std::size_t row_line = 1;
  std::deque<std::string> unescaped;
};

struct Column {
  std::string name;
  bool numeric = true;
  std::size_t longest = 0;
};

std::vector<Column> ReadHeader(CsvRows& rows) {
  Fields fields;
  if (!rows.Next(fields)) rows.Fail("there is no header row");
  std::vector<Column> columns;
  FoldedNames names;
  for (const std::string_view field : fields) {
    const std::string name(Trimmed(field));
    if (name.empty()) rows.Fail("a column has no name");
    if (name.size() > kMaxNameBytes) rows.Fail("the name " + name + " is longer than 64 bytes");
    if (!names.insert(Folded(name)).second) rows.Fail("the name " + name + " stands twice");
    columns.push_back({name});
  }
  return columns;
}

// The number of cases; the columns learn what they are.
std::size_t MeasureColumns(CsvRows& rows, std::vector<Column>& columns) {
  Fields fields;
  std::size_t cases = 0;
  for (; rows.NextCase(fields, columns.size()); ++cases) {
    if (cases == INT_MAX) rows.Fail("more cases than a count can say");
    for (std::size_t i = 0; i < fields.size(); ++i) {
      Column& column = columns[i];
      column.longest = std::max(column.longest, fields[i].size());
      if (column.numeric && !Trimmed(fields[i]).empty() && !ParseNumber(fields[i])) column.numeric = false;
      if (!column.numeric && column.longest > kMaxTextWidth) {
        rows.Fail("the text column " + column.name + " is wider than 32767 bytes");
      }
    }
  }
  return cases;
}

void StoreCases(CsvRows& rows, Dataset& dataset) {
  Fields fields;
  for (std::size_t row = 0; rows.NextCase(fields, dataset.variables.size()); ++row) {
    Unit* unit = dataset.Case(row);
    for (std::size_t i = 0; i < fields.size(); ++i) {
      const Variable& variable = dataset.variables[i];
      if (variable.IsText()) {
        StoreText(variable, unit, fields[i]);
      } else {
        const auto number = ParseNumber(fields[i]);
        *unit = number ? UnitOf(*number) : kSystemMissing;
      }
      unit += variable.Units();
    }
  }
}

}  // namespace

std::string ReadFile(const std::string& path) {
  const auto fail = [&](int error) {
    throw Refusal(engine_code::kUnreadable, path + ": " + std::strerror(error));
  };
  std::error_code error;
  const auto size = std::filesystem::file_size(path, error);  // a plain file: anything else has no size
  if (error) fail(error.value());
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rbe"), std::fclose);
  if (!file) fail(errno);
  std::string text(size, '\0');
  text.resize(std::fread(text.data(), 1, text.size(), file.get()));
  if (std::ferror(file.get()) != 0) fail(EIO);
  return text;
}

Dataset ReadCsv(const std::string& path) {
  const std::string text = ReadFile(path);
  CsvRows rows(path, text);
  std::vector<Column> columns = ReadHeader(rows);
  CsvRows cases_again = rows;
  const std::size_t cases = MeasureColumns(rows, columns);

  Dataset dataset;
  for (Column& column : columns) {
    const std::size_t width = column.numeric ? 0 : std::max<std::size_t>(column.longest, 1);
    dataset.AddVariable(Variable(std::move(column.name), static_cast<int>(width)));
  }
  if (dataset.CaseBytes() > kMaxCaseBytes) rows.Fail("a case is too long");
  dataset.ResizeCases(cases);
  StoreCases(cases_again, dataset);
  return dataset;
}
