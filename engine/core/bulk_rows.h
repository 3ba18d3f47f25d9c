// Cases in bulk: the values of some variables, row by row, in the unit form of a case and with nothing
// between them. So they come in one block of a message, from the temp file and through a socket.
#ifndef BULK_ROWS_H
#define BULK_ROWS_H

#include <span>
#include <string>
#include <vector>

#include "dataset.h"

// The columns of these names, all for no name. Throws Refusal.
Columns FindColumns(Dataset& dataset, std::span<const std::string> names);
std::size_t RowBytes(const Dataset& dataset, const Columns& columns);

// The rows from `first` on, as bytes.
std::string RowsOf(Dataset& dataset, const Columns& columns, std::size_t first, std::size_t count);

#endif
