// Rows laid out as columns, a tile of rows at a time, so that the tile is in cache while each column takes
// its own from it. A column gathers the rows of one batch and hands them over as an array.
#ifndef COLUMN_LAYOUT_H
#define COLUMN_LAYOUT_H

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <vector>

#include "column_arrays.h"
#include "column_description.h"
#include "row_source.h"

class Column {
 public:
  virtual ~Column() = default;
  // Room for so many rows in all, of which so many are expected in the end. Throws.
  virtual void Reserve(std::size_t needed, std::size_t expected) = 0;
  // Takes its own of `count` rows; there is room. `rows` is where the variable's first one stands.
  virtual void Append(const char* rows, std::size_t row_size, std::size_t count) = 0;
  // Hands over what was gathered, and begins anew.
  virtual void Finish(ArrowArray& array) = 0;
  // Drops it.
  virtual void Clear() = 0;
};

// The texts of a batch are more than 32-bit offsets reach.
struct TextsTooLong : std::runtime_error {
  using std::runtime_error::runtime_error;
};

std::unique_ptr<Column> MakeNumbers(const VarInfo& info, bool user_missing_is_null);
std::unique_ptr<Column> MakeTexts(const RowVariable& variable, bool user_missing_is_null, int options);
std::unique_ptr<Column> MakeFactors(const VarInfo& info, bool user_missing_is_null, int options,
                                    const ColumnDescription& description);
// Whether the value is user-missing.
std::unique_ptr<Column> MakeMissing(const VarInfo& info);

#endif
