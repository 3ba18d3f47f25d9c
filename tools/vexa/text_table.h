// A table as text with aligned columns. One that is wider than there is room for comes in parts below each
// other, each with the columns that lead its rows.
#ifndef TEXT_TABLE_H
#define TEXT_TABLE_H

#include <cstddef>
#include <string>
#include <vector>

struct TableCell {
  std::string text;
  bool right = false;    // aligned to the right
  std::size_t span = 1;  // columns
};
using TableRow = std::vector<TableCell>;

struct TextTable {
  std::vector<TableRow> head, body;
  std::size_t leading = 0;  // columns that say what a row is about
};

// In lines, each with its end. A width of 0 is room for everything.
std::string Drawn(const TextTable& table, std::size_t width);

#endif
