#include "csv_reader.h"

#include <algorithm>
#include <climits>

#include "csv_text.h"
#include "engine_code.h"
#include "words.h"

namespace {

struct Column {
  std::string name, label;
  std::size_t longest = 0;
  bool numeric = true;
  // Of a text: whether all that is no number in it is one and the same text.
  bool one_other = true;
  std::size_t numbers = 0, others = 0;
  std::string other;
};

// Reads the fields of one file.
struct Reader {
  const std::string& path;
  std::span<const std::string> missing_texts;
  std::vector<std::string>& warnings;
  bool decimal_comma = false;

  bool IsMissing(std::string_view field) const {
    return field.empty() ||
           std::find(missing_texts.begin(), missing_texts.end(), field) != missing_texts.end();
  }
  // Of a trimmed field.
  std::optional<double> NumberIn(std::string_view field) const {
    const std::size_t comma = decimal_comma ? field.find(',') : std::string_view::npos;
    if (comma == std::string_view::npos) return ParseNumber(field);
    std::string with_period(field);
    with_period[comma] = '.';
    return ParseNumber(with_period);
  }
  void Warn(const std::string& what) const { warnings.push_back(path + ": " + what); }
};

// Names as the interface allows them: "_" in place of a character that is not, and in front of one that no
// name begins with; the first bytes of a long one; V and the number of the column for an empty one.
std::string MendedName(std::string_view name, std::size_t number) {
  if (name.empty()) return "V" + std::to_string(number);
  std::string mended;
  for (const char c : name) mended += JudgeName(std::string("a") + c + "a") == NameVerdict::Good ? c : '_';
  if (JudgeName(mended) == NameVerdict::BadStart) mended.insert(0, 1, '_');
  if (mended.size() > kMaxNameBytes) {
    std::size_t end = kMaxNameBytes;
    while ((mended[end] & 0xC0) == 0x80) --end;  // in front of a character, not within it
    mended.resize(end);
  }
  if (mended.back() == '.') mended.back() = '_';
  return mended;
}

std::vector<Column> ReadHeader(CsvRows& rows, const Reader& reader) {
  if (!rows.StartRow(1)) rows.Fail("there is no header row");
  std::vector<Column> columns;
  FoldedNames names;
  do {
    const std::string name(Trimmed(rows.TakeField()));
    if (std::any_of(name.begin(), name.end(), [](unsigned char c) { return c < 0x20 || c == 0x7F; }))
      rows.Fail("the name of column " + std::to_string(columns.size() + 1) + " has a control character");
    columns.emplace_back().name = name;
    if (JudgeName(name) == NameVerdict::Good && !names.insert(Folded(name)).second)
      rows.Fail("the name " + name + " stands twice");
  } while (rows.GoesOn());
  for (std::size_t i = 0; i < columns.size(); ++i) {
    Column& column = columns[i];
    if (JudgeName(column.name) == NameVerdict::Good) continue;
    column.label = column.name;
    const std::string mended = MendedName(column.name, i + 1);
    column.name = mended;
    for (int more = 2; !names.insert(Folded(column.name)).second; ++more) {
      const std::string suffix = "_" + std::to_string(more);
      column.name = mended.substr(0, kMaxNameBytes - suffix.size()) + suffix;
    }
    reader.Warn("the name \"" + column.label + "\" of column " + std::to_string(i + 1) +
                " is no name of a variable: " + column.name + " takes its place");
  }
  return columns;
}

// A field of a column that holds more than numbers.
void NoteText(Column& column, std::string_view field, const Reader& reader) {
  if (!column.one_other) return;
  if (reader.NumberIn(field)) {
    ++column.numbers;
  } else if (column.others == 0 || field == column.other) {
    if (column.others++ == 0) column.other = field;
  } else {
    column.one_other = false;
  }
}

// The number in a field; what is none makes a text of the column.
Unit Measure(Column& column, std::string_view field, const Reader& reader) {
  const std::string_view trimmed = Trimmed(field);
  if (reader.IsMissing(trimmed)) {
    if (trimmed.empty()) column.longest = std::max(column.longest, field.size());
    return kSystemMissing;
  }
  column.longest = std::max(column.longest, field.size());
  if (column.numeric) {
    if (const auto number = reader.NumberIn(trimmed)) {
      ++column.numbers;
      return UnitOf(*number);
    }
    column.numeric = false;
  }
  NoteText(column, trimmed, reader);
  return kSystemMissing;
}

// The numbers of all columns, row by row; the columns learn what they are.
Units MeasureColumns(CsvRows& rows, std::vector<Column>& columns, std::size_t rows_expected,
                     const Reader& reader) {
  Units numbers;
  const bool plain = reader.missing_texts.empty();  // else a number may count as nothing
  numbers.reserve(rows_expected * columns.size());
  for (std::size_t row = 0; rows.StartRow(columns.size()); ++row) {
    if (row == INT_MAX) rows.Fail("more cases than a count can say");
    numbers.resize(numbers.size() + columns.size());
    Unit* unit = numbers.data() + row * columns.size();
    for (std::size_t i = 0; i < columns.size(); ++i, ++unit) {
      Column& column = columns[i];
      double number = 0;
      if (const std::size_t length = column.numeric && plain ? rows.TakeNumber(number) : 0) {
        ++column.numbers;
        column.longest = std::max(column.longest, length);
        *unit = UnitOf(number);
      } else {
        *unit = Measure(column, rows.TakeField(), reader);
        if (!column.numeric && column.longest > kMaxTextWidth)
          rows.Fail("the text column " + column.name + " is wider than 32767 bytes");
      }
      rows.Expect(i, columns.size());
    }
  }
  return numbers;
}

void StoreCases(CsvRows& rows, const Units& numbers, const Reader& reader, MemoryDataset& dataset) {
  const Unit* number = numbers.data();
  const std::size_t columns = dataset.variables.size();
  for (std::size_t row = 0; rows.StartRow(columns); ++row) {
    Unit* unit = dataset.Change(row);
    for (std::size_t i = 0; i < columns; ++i, ++number) {
      const Variable& variable = dataset.variables[i];
      const std::string_view field = rows.TakeField();
      if (variable.IsText()) {
        StoreText(variable, unit, reader.IsMissing(Trimmed(field)) ? std::string_view() : field);
      } else {
        *unit = *number;
      }
      unit += variable.Units();
      rows.GoesOn();
    }
  }
}

void WarnOfAlmostNumbers(const Column& column, const Reader& reader) {
  if (column.numeric || !column.one_other || column.numbers <= column.others) return;
  reader.Warn(column.name + " is a text, since \"" + column.other + "\" stands in it (" +
              std::to_string(column.others) + " times) beside " + std::to_string(column.numbers) +
              " numbers; the option -missing " + column.other + " makes it a number that is missing there");
}

}  // namespace

MemoryDataset ReadCsv(const std::string& path, std::span<const std::string> missing_texts,
                      std::vector<std::string>& warnings) {
  const FileText bytes = ReadFile(path);
  const std::string_view text(bytes.data(), bytes.size());
  CsvRows rows(path, text);
  const Reader reader = {path, missing_texts, warnings, rows.Separator() == ';'};
  std::vector<Column> columns = ReadHeader(rows, reader);
  CsvRows cases_again = rows;
  const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
  Units numbers = MeasureColumns(rows, columns, lines, reader);
  const std::size_t cases = numbers.size() / columns.size();

  MemoryDataset dataset;
  bool has_texts = false;
  for (Column& column : columns) {
    WarnOfAlmostNumbers(column, reader);
    has_texts = has_texts || !column.numeric;
    const std::size_t width = column.numeric ? 0 : std::max<std::size_t>(column.longest, 1);
    Variable variable(std::move(column.name), static_cast<int>(width));
    variable.label = std::move(column.label);
    dataset.AddVariable(std::move(variable));
  }
  if (dataset.CaseBytes() > kMaxCaseBytes) rows.Fail("a case is too long");
  if (has_texts) {
    dataset.ResizeCases(cases);
    StoreCases(cases_again, numbers, reader, dataset);
  } else {
    dataset.SetCases(std::move(numbers));
  }
  return dataset;
}
