// The few commands that the practice engine runs. Everything else that is submitted is recorded and not run.
// A command ends with a period at the end of a line; case does not count in its words; a name or a path with
// blanks stands in double quotes.
//
//   GET DATA /TYPE=CSV /FILE="more.csv" /DATASET=name.
//   GET DATA /TYPE=BINARYSTREAM /SOCKET=port /VARIABLES=a b.
//   SAVE /TYPE=CSV /FILE="result.csv" /DATASET=name /KEEP=a b.
//   SAVE /TYPE=BINARYSTREAM /SOCKET=port /KEEP=a b.
#ifndef PRACTICE_COMMANDS_H
#define PRACTICE_COMMANDS_H

#include <span>
#include <string>
#include <string_view>

#include "session.h"

// Runs one command, and returns its code. The texts count as nothing in a CSV file.
int RunCommand(Session& session, std::span<const std::string> missing, std::string_view text);

#endif
