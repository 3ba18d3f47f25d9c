// DatastepSmb: the batch of rows that FetchDatastep brought, which is the reply itself, kept. Cells are read
// where they lie; a cell outside the batch reads as 0.0 or as no text.
//
//   longs: first row, number of variables, their types, ..., last row, a further row
//   first list of the long, double and string arrays: missing state, number and text of cell
//   (row - first row) * number of variables + column, whatever the variable's type
#ifndef DATASTEP_SMB_H
#define DATASTEP_SMB_H

#include <cstdint>
#include <optional>

#include "reply.h"

class DatastepSmb : public Reply {
 public:
  void SetvarCount(int count) { varCount = count; }
  void SetrowInfo(long row) { firstRow = row; }

  double GetNCellValue(const char* name, long row, int column, int& missing, int& errCode);
  // A terminated copy from new[], or null.
  char* GetCCellValue(const char* name, long row, int column, int& missing, int& errCode);

  // Element `index` of the longs, counted from the end when negative; 0 when it is not there.
  int LongAt(int index);
  bool HoldsRow(long row);

 private:
  std::uint32_t CellIndex(long row, int column) const;
  int MissingState(std::uint32_t cell);

  std::int32_t varCount = 0;
  std::int64_t firstRow = -1;
};

#endif
