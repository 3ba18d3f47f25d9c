// One pass over the rows of a relation: of all rows a few blocks are in memory at a time. The rows are those
// of the moment in which the pass began.
#ifndef ROW_STREAM_H
#define ROW_STREAM_H

#include "row_source.h"

class RowStream {
 public:
  // From row `skip` on. One that writes has marks, and needs a transaction that stays open as long.
  RowStream(Connection& server, const Relation& relation, const std::vector<Variable>& variables, bool writes,
            std::size_t skip);

  // Rows from `first` on, at most `wanted`: how many there are. Rows in front of the one before it are
  // forgotten.
  std::size_t Ahead(std::size_t first, std::size_t wanted);
  bool Holds(std::size_t row) const { return row >= begin && row < begin + Rows(); }
  // It can still come to that row.
  bool IsAhead(std::size_t row) const { return row >= begin; }
  Unit* At(std::size_t row) { return units.data() + (row - begin) * case_units; }
  const RowMark& MarkAt(std::size_t row) const { return marks[row - begin]; }
  bool LineIsFree() const { return source->LineIsFree(); }

 private:
  std::size_t Rows() const { return units.size() / case_units; }
  void Forget(std::size_t before);

  RowReader reader;
  std::unique_ptr<RowSource> source;
  std::size_t case_units = 0, begin = 0;
  std::vector<Unit> units;
  std::vector<RowMark> marks;
  bool at_end = false;
};

#endif
