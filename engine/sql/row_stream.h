// One pass over the rows of a relation, through a cursor on the server: of all rows a few blocks are in
// memory at a time, and while one is looked at, the next is on its way. The rows are those of the moment in
// which the pass began. Whoever has it keeps a transaction open for as long.
#ifndef ROW_STREAM_H
#define ROW_STREAM_H

#include "row_reader.h"

class RowStream final : public InFlight {
 public:
  // Skips so many rows.
  RowStream(Connection& connection, const Relation& relation, const std::vector<Variable>& variables,
            bool marks, std::size_t skip);
  RowStream(const RowStream&) = delete;
  RowStream& operator=(const RowStream&) = delete;
  ~RowStream() override;

  // Rows from `first` on, at most `wanted`: how many there are. Rows in front of the one before it are
  // forgotten.
  std::size_t Ahead(std::size_t first, std::size_t wanted);
  bool Holds(std::size_t row) const { return row >= begin && row < begin + Rows(); }
  // It can still come to that row.
  bool IsAhead(std::size_t row) const { return row >= begin; }
  Unit* At(std::size_t row) { return units.data() + (row - begin) * case_units; }
  const RowMark& MarkAt(std::size_t row) const { return marks[row - begin]; }
  std::size_t Cut() const { return reader.Cut(); }
  void Absorb() override;

 private:
  std::size_t Rows() const { return case_units != 0 ? units.size() / case_units : 0; }
  void Ask(std::size_t rows);
  void Take();
  void Forget(std::size_t before);

  Connection& server;
  std::string name;
  int of_connection = 0;
  RowReader reader;
  std::size_t case_units = 0, begin = 0;
  std::vector<Unit> units;
  std::vector<RowMark> marks;
  std::size_t asked = 0;  // rows on their way
  bool at_end = false;
  Result absorbed;
};

#endif
