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

}  // namespace

RowReader::RowReader(const Relation& relation, const std::vector<Variable>& variables, bool has_marks)
    : marked(has_marks) {
  for (std::size_t i = 0; i < variables.size(); ++i) {
    fields.push_back({&relation.columns[i].type, variables[i]});
    case_units += variables[i].Units();
  }
}

void RowReader::StoreCut(const Variable& variable, Unit* place, std::string_view text) {
  std::size_t length = static_cast<std::size_t>(variable.width);
  while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) --length;
  StoreText(variable, place, text.substr(0, length));
  ++cut;
}

void RowReader::Read(const PGresult* result, std::vector<Unit>& units, std::vector<RowMark>& marks) {
  const int rows = PQntuples(result), first = marked ? kMarkColumns : 0;
  std::size_t at = units.size();
  units.resize(at + static_cast<std::size_t>(rows) * case_units);
  for (int row = 0; row < rows; ++row, at += case_units) {
    if (marked) marks.push_back(MarkOf(result, row));
    int column = first;
    for (const auto& [type, variable] : fields) {
      Unit* const place = units.data() + at + variable.first_unit;
      const auto length = static_cast<std::size_t>(PQgetlength(result, row, column));
      if (length == 0 && PQgetisnull(result, row, column) != 0) {
        StoreMissing(variable, place);
      } else {
        const std::string_view value(PQgetvalue(result, row, column), length);
        if (!variable.IsText()) {
          *place = type->Read(value);
        } else if (length <= static_cast<std::size_t>(variable.width)) {
          StoreText(variable, place, value);
        } else {
          StoreCut(variable, place, value);
        }
      }
      ++column;
    }
  }
}
