// Rows of a binary result as cases in the unit form, and the marks that a row can be found again by: the
// table it lies in, its place there and the transaction that wrote it. A row that somebody has changed since
// has other marks.
#ifndef ROW_READER_H
#define ROW_READER_H

#include <cstdint>
#include <string>
#include <vector>

#include "relation.h"

struct RowMark {
  std::uint32_t table = 0, block = 0, writer = 0;
  std::uint16_t place = 0;
  std::string PlaceText() const { return "(" + std::to_string(block) + "," + std::to_string(place) + ")"; }
};
inline constexpr int kMarkColumns = 3;

class RowReader {
 public:
  // The result has the columns of the relation, and in front of them the marks when asked for.
  RowReader(const Relation& relation, const std::vector<Variable>& variables, bool has_marks);
  // Appends the rows of the result.
  void Read(const PGresult* result, std::vector<Unit>& units, std::vector<RowMark>& marks);
  // Appends a row as COPY has it in its binary form.
  void ReadCopied(std::string_view row, std::vector<Unit>& units);

 private:
  struct Field {
    const ColumnType* type;
    Variable variable;
  };
  static void Store(const Field& field, Unit* place, std::string_view value);

  std::vector<Field> fields;
  std::size_t case_units = 0;
  bool marked;
};

#endif
