// The cases of a dataset: rows of equally many units. As a rule they lie one behind the other in one piece of
// memory. While rows are inserted and deleted in between, the rows stay where they are, new ones go behind
// the last, and a list of runs tells their order:
//
//   runs {0, 5} {9, 1} {5, 4}: a row was inserted in front of row 5 of nine
//
// So a change costs a look through the list, and one pass over memory is due for every few thousand of them.
#ifndef CASES_H
#define CASES_H

#include <memory>
#include <new>
#include <span>
#include <utility>
#include <vector>

#include "loan.h"
#include "variable.h"

// Does not clear what is about to be written.
template <class Value>
struct Uninitialised : std::allocator<Value> {
  template <class Other>
  struct rebind {
    using other = Uninitialised<Other>;
  };
  template <class Made>
  void construct(Made* place) {
    ::new (static_cast<void*>(place)) Made;
  }
  template <class Made, class... Values>
  void construct(Made* place, Values&&... values) {
    ::new (static_cast<void*>(place)) Made(std::forward<Values>(values)...);
  }
};
using Units = std::vector<Unit, Uninitialised<Unit>>;

// What throws has changed nothing.
class Cases {
 public:
  std::size_t Count() const { return count; }
  std::size_t RowUnits() const { return row_units; }
  // Valid until the next change.
  Unit* At(std::size_t row) { return (runs.empty() ? cells.data() + row * row_units : Find(row)); }

  // So many bytes from a row on, to be sent from here; of more than one row once they are settled. Meanwhile
  // the rows may change, and not move.
  Loan Lend(std::size_t row, std::size_t bytes) { return lender.Lend(At(row), bytes); }

  // Rows of that many units in place of all that was there.
  void Replace(Units rows, std::size_t units, std::size_t rows_count);
  // Each a copy of the row that is given.
  void Insert(std::size_t at, std::size_t rows, std::span<const Unit> row);
  void Delete(std::size_t at);
  // All in one piece of memory, in their order.
  void Settle();

 private:
  struct Run {
    std::size_t first, count;  // rows as they lie in memory
  };
  Unit* Find(std::size_t row);
  // The place in the list of the run that begins at that row; a run that only holds it is cut in two.
  std::size_t CutAt(std::size_t row);

  std::size_t count = 0;
  std::size_t row_units = 0;
  Units cells;
  Lender lender;
  std::vector<Run> runs;                      // empty: the rows lie in their order
  std::size_t near_run = 0, near_begins = 0;  // a run that was found last, and its first row
};

#endif
