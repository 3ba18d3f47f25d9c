#include "dictionary_view.h"

#include <algorithm>
#include <cstdio>
#include <memory>

#include "CleXDErrorCode.h"
#include "calendar.h"
#include "terminal.h"
#include "vexaxd_p.h"

namespace {

void Require(int code) {
  if (code != 0) throw CallFailed{code};
}

int VariableCount() {
  int code = 0;
  const int count = GetVariableCount(&code);
  Require(code);
  return count;
}

using TextQuestion = const char* (*)(int, int*);
std::string TextOf(TextQuestion ask, int index) {
  int code = 0;
  const char* const text = ask(index, &code);
  Require(code);
  return text != nullptr ? Printable(text) : "";
}

using NumberQuestion = int (*)(int, int*);
int NumberOf(NumberQuestion ask, int index) {
  int code = 0;
  const int number = ask(index, &code);
  Require(code);
  return number;
}

std::string Word(const std::vector<const char*>& words, int number) {
  const auto at = static_cast<std::size_t>(number);
  return number >= 0 && at < words.size() ? words[at] : std::to_string(number);
}

std::string TypeOf(int index) {
  const int width = NumberOf(GetVariableType, index);
  return width == 0 ? "number" : "text of " + std::to_string(width);
}
std::string LevelOf(int index) {
  return Word({"", "nominal", "ordinal", "scale"}, NumberOf(GetVariableMeasurementLevel, index));
}
std::string RoleOf(int index) {
  return Word({"input", "target", "both", "none", "partition", "split"}, NumberOf(GetVariableRole, index));
}

std::string Upper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
  return text;
}

// -1 for a name that is not there.
int IndexOf(const std::string& name) {
  for (int i = 0, count = VariableCount(); i < count; ++i) {
    if (Upper(TextOf(GetVariableName, i)) == Upper(name)) return i;
  }
  return -1;
}

std::string Number(double value, int decimals = -1) {
  char text[400];  // the longest that there is, written out
  if (decimals >= 0)
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
  else
    std::snprintf(text, sizeof text, "%.15g", value);
  return text;
}

std::string MissingNumbers(int index) {
  int format = 0;
  double values[3] = {};
  Require(GetVarNMissingValues(index, &format, &values[0], &values[1], &values[2]));
  if (format < 0) {
    double low = 0, high = 0;
    Require(GetVEXALowHigh(&low, &high));
    const std::string range = (values[0] <= low ? "lowest" : Number(values[0])) + " thru " +
                              (values[1] >= high ? "highest" : Number(values[1]));
    return format == -3 ? range + ", " + Number(values[2]) : range;
  }
  std::string list;
  for (int i = 0; i < std::min(format, 3); ++i) list += (i > 0 ? ", " : "") + Number(values[i]);
  return list;
}

std::string MissingTexts(int index) {
  int format = 0;
  char values[3][9] = {};
  Require(GetVarCMissingValues(index, &format, values[0], values[1], values[2]));
  std::string list;
  for (int i = 0; i < std::min(format, 3); ++i)
    list.append(i > 0 ? ", \"" : "\"").append(Printable(values[i])) += '"';
  return list;
}

void AddLabels(int index, TextTable& table) {
  int count = 0;
  char** labels = nullptr;
  const auto add = [&](int i, const std::string& value) {
    table.body.push_back({{i == 0 ? "labels" : ""}, {value + "  " + Printable(labels[i])}});
  };
  if (NumberOf(GetVariableType, index) == 0) {
    double* values = nullptr;
    Require(GetNValueLabels(index, &values, &labels, &count));
    for (int i = 0; i < count; ++i) add(i, Number(values[i]));
    if (count > 0) FreeNValueLabels(values, labels, count);
  } else {
    char** values = nullptr;
    Require(GetCValueLabels(index, &values, &labels, &count));
    for (int i = 0; i < count; ++i) add(i, Printable(values[i]));
    if (count > 0) FreeCValueLabels(values, labels, count);
  }
}

struct Column {
  std::string name;
  unsigned index;
  int width;             // of a text; 0 for a number
  int format, decimals;  // as its values are shown
};

Column ColumnOf(int index) {
  int type = 0, width = 0, decimals = 0;
  Require(GetVariableFormatType(index, &type, &width, &decimals));
  return {TextOf(GetVariableName, index), static_cast<unsigned>(index), NumberOf(GetVariableType, index),
          type, decimals};
}

std::vector<Column> ColumnsOf(const std::vector<std::string>& names, std::string& unknown) {
  std::vector<Column> columns;
  for (const std::string& name : names) {
    const int index = IndexOf(name);
    if (index >= 0)
      columns.push_back(ColumnOf(index));
    else
      unknown += (unknown.empty() ? "" : ", ") + name;
  }
  if (!names.empty()) return columns;
  for (int i = 0, count = VariableCount(); i < count; ++i) columns.push_back(ColumnOf(i));
  return columns;
}

// The formats of dates and times, which are seconds.
std::string NumberOfColumn(const Column& column, double value) {
  constexpr int kDate = 7, kDateTime = 8, kTime = 9;
  std::string moment;
  if (column.format == kDate) moment = DateText(value);
  if (column.format == kDateTime) moment = DateTimeText(value, column.decimals);
  if (column.format == kTime) moment = TimeText(value, column.decimals);
  return moment.empty() ? Number(value, column.decimals) : moment;
}

TableCell ValueOf(const Column& column, std::string& room) {
  int missing = 0;
  if (column.width == 0) {
    double value = 0;
    Require(GetNumericValue(column.index, &value, &missing));
    return {missing == 2 ? "." : NumberOfColumn(column, value), true};
  }
  room.assign(static_cast<std::size_t>(column.width) + 1, '\0');
  char* at = room.data();
  Require(GetStringValue(column.index, &at, column.width, &missing));
  const std::string text = room.c_str();
  return {Printable(text.substr(0, text.find_last_not_of(' ') + 1))};
}

// It goes in any case, so that the next one can be made.
struct OpenCursor {
  OpenCursor() { Require(MakeCaseCursor("r")); }
  OpenCursor(const OpenCursor&) = delete;
  OpenCursor& operator=(const OpenCursor&) = delete;
  ~OpenCursor() { RemoveCaseCursor(); }
};

}  // namespace

TextTable Dictionary() {
  TextTable table;
  table.head = {{{"Variable"}, {"Type"}, {"Format"}, {"Level"}, {"Role"}, {"Label"}}};
  table.leading = 1;
  for (int i = 0, count = VariableCount(); i < count; ++i) {
    table.body.push_back({{TextOf(GetVariableName, i)},
                          {TypeOf(i)},
                          {TextOf(GetVariableFormat, i)},
                          {LevelOf(i)},
                          {RoleOf(i)},
                          {TextOf(GetVariableLabel, i)}});
  }
  return table;
}

TextTable DescriptionOf(const std::string& name) {
  TextTable table;
  const int index = IndexOf(name);
  if (index < 0) return table;
  const bool is_number = NumberOf(GetVariableType, index) == 0;
  table.body = {{{"variable"}, {TextOf(GetVariableName, index)}},
                {{"type"}, {TypeOf(index)}},
                {{"format"}, {TextOf(GetVariableFormat, index)}},
                {{"level"}, {LevelOf(index)}},
                {{"role"}, {RoleOf(index)}},
                {{"label"}, {TextOf(GetVariableLabel, index)}},
                {{"missing"}, {is_number ? MissingNumbers(index) : MissingTexts(index)}}};
  AddLabels(index, table);
  return table;
}

TextTable Cases(std::size_t most, const std::vector<std::string>& names, std::string& unknown) {
  TextTable table;
  const std::vector<Column> columns = ColumnsOf(names, unknown);
  if (columns.empty()) return table;
  TableRow& head = table.head.emplace_back(TableRow{{"Case", true}});
  for (const Column& column : columns) head.push_back({column.name, column.width == 0});
  table.leading = 1;
  const OpenCursor cursor;
  std::string room;
  while (table.body.size() < most) {
    const int code = NextCase();
    if (code == CleXDErrorCode::kEndOfData || code == CleXDErrorCode::kEndOfSplit) break;
    Require(code);
    TableRow& row = table.body.emplace_back(TableRow{{std::to_string(table.body.size() + 1), true}});
    for (const Column& column : columns) row.push_back(ValueOf(column, room));
  }
  return table;
}

long CaseCount() {
  int code = 0;
  const long count = GetRowCount(&code);
  Require(code);
  return count;
}
