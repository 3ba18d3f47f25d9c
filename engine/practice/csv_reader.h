// Reads a CSV file into a dataset: a header row of names, then one row for each case.
//
// The text is walked once to learn what each column is. The numbers are kept on the way, so that a file of
// numbers alone is done then; where there are texts, a second walk puts them beside the numbers.
#ifndef CSV_READER_H
#define CSV_READER_H

#include <span>
#include <string>
#include <vector>

#include "memory_dataset.h"

// A column of numbers (or of nothing at all) is numeric, an empty field being system-missing; any other is
// text, as wide as its longest value. A field that is one of the missing texts counts as an empty one. What a
// user should know of is added to the warnings. Throws Refusal, naming file and line.
MemoryDataset ReadCsv(const std::string& path, std::span<const std::string> missing_texts,
                      std::vector<std::string>& warnings);

#endif
