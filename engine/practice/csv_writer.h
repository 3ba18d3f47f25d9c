// Writes cases as CSV, in the form that the reader takes: a header row of names, numbers so that they are
// read back as the same, an empty field for the system-missing value, texts without the blanks behind them.
#ifndef CSV_WRITER_H
#define CSV_WRITER_H

#include <string>

#include "bulk_rows.h"

// Beside the file first, and then in its place: one that cannot be written whole is as it was. Throws
// Refusal.
void WriteCsv(Dataset& dataset, const Columns& columns, const std::string& path);

#endif
