// The active dataset as a person looks at it. What fails throws its code.
#ifndef DICTIONARY_VIEW_H
#define DICTIONARY_VIEW_H

#include <string>
#include <vector>

#include "text_table.h"

struct CallFailed {
  int code;
};

// All variables.
TextTable Dictionary();
// One of them, with labels and missing values. An empty table for a name that is not there.
TextTable DescriptionOf(const std::string& name);
// The first cases, at most so many, of these variables or of all. Names that are not there go to `unknown`.
TextTable Cases(std::size_t most, const std::vector<std::string>& names, std::string& unknown);
// How many there are; -1 where the backend does not know.
long CaseCount();

#endif
