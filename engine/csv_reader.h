// Reads a CSV file into a dataset: a header row of names, then one row for each case. Fields are separated by
// commas; a field in double quotes may hold commas, line ends and "" for a quote. Lines end in LF or CR LF.
//
// The text is walked twice: once to learn what each column is, once to store the values where they belong. So
// the only memory beside the file and the cases is that of one row.
#ifndef CSV_READER_H
#define CSV_READER_H

#include <string>

#include "dataset.h"

// The whole file. Throws Refusal.
std::string ReadFile(const std::string& path);

// A column of numbers (or of nothing at all) is numeric, an empty field being system-missing; any other is
// text, as wide as its longest value. Throws Refusal, naming file and line.
Dataset ReadCsv(const std::string& path);

#endif
