// Reads the side file of a CSV file: what a CSV cannot say about its variables. One statement a line, "#"
// starts a line of comment; the statements behind a "variable" line are about that variable. README.md has
// the list.
//
//   weight Count
//   variable Ozone
//     label "Mean ozone (ppb)"
//     missing 900 thru highest -1
#ifndef SIDE_FILE_H
#define SIDE_FILE_H

#include <string>

#include "dataset.h"

// Does nothing when there is no file of that name. Throws Refusal, naming file and line.
void ReadSideFile(const std::string& path, Dataset& dataset);

#endif
