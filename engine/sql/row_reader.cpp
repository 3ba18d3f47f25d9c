#include "row_reader.h"

#include <cstring>

namespace {

template <class Integer>
Integer Load(const char* bytes) {
  Integer value = 0;
  for (std::size_t i = 0; i < sizeof value; ++i)
    value = static_cast<Integer>(value << 8 | static_cast<unsigned char>(bytes[i]));
  return value;
}

RowMark MarkOf(const PGresult* result, int row) {
  const char* const place = PQgetvalue(result, row, 1);
  return {Load<std::uint32_t>(PQgetvalue(result, row, 0)), Load<std::uint32_t>(place),
          Load<std::uint32_t>(PQgetvalue(result, row, 2)), Load<std::uint16_t>(place + 4)};
}

// At the end of a character. That texts are cut to the widest that there can be, was said when they were
// measured; what has become longer since is not cut without a word.
void StoreCut(const Variable& variable, Unit* place, std::string_view text) {
  if (variable.width < static_cast<int>(kMaxTextWidth))
    throw Refusal(sql_code::kRowChanged, variable.name + ": there is a text of " +
                                             std::to_string(text.size()) + " bytes now, where " +
                                             std::to_string(variable.width) +
                                             " have room; open the data again");
  std::size_t length = static_cast<std::size_t>(variable.width);
  while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) --length;
  StoreText(variable, place, text.substr(0, length));
}

}  // namespace

RowReader::RowReader(const Relation& relation, const std::vector<Variable>& variables, bool has_marks)
    : marked(has_marks) {
  for (std::size_t i = 0; i < variables.size(); ++i) {
    fields.push_back({&relation.columns[i].type, variables[i]});
    case_units += variables[i].Units();
  }
}

void RowReader::Store(const Field& field, Unit* place, std::string_view value) {
  const Variable& variable = field.variable;
  if (!variable.IsText()) {
    *place = field.type->Read(value);
  } else if (value.size() <= static_cast<std::size_t>(variable.width)) {
    StoreText(variable, place, value);
  } else {
    StoreCut(variable, place, value);
  }
}

// A count of fields, then each with its length in front; a length of -1 for NULL.
void RowReader::ReadCopied(std::string_view row, std::vector<Unit>& units) {
  const char* at = row.data() + sizeof(std::int16_t);
  const std::size_t first = units.size();
  units.resize(first + case_units);
  Unit* const units_of_row = units.data() + first;
  for (const Field& field : fields) {
    const auto length = Load<std::uint32_t>(at);
    at += sizeof length;
    Unit* const place = units_of_row + field.variable.first_unit;
    if (length == UINT32_MAX) {
      StoreMissing(field.variable, place);
      continue;
    }
    Store(field, place, {at, length});
    at += length;
  }
}

void RowReader::Read(const PGresult* result, std::vector<Unit>& units, std::vector<RowMark>& marks) {
  const int rows = PQntuples(result), first = marked ? kMarkColumns : 0;
  std::size_t at = units.size();
  units.resize(at + static_cast<std::size_t>(rows) * case_units);
  for (int row = 0; row < rows; ++row, at += case_units) {
    if (marked) marks.push_back(MarkOf(result, row));
    int column = first;
    for (const Field& field : fields) {
      Unit* const place = units.data() + at + field.variable.first_unit;
      const auto length = static_cast<std::size_t>(PQgetlength(result, row, column));
      if (length == 0 && PQgetisnull(result, row, column) != 0) {
        StoreMissing(field.variable, place);
      } else {
        Store(field, place, {PQgetvalue(result, row, column), length});
      }
      ++column;
    }
  }
}
