// The few commands that the engine runs. Everything else that is submitted is recorded and not run. A command
// ends with a period at the end of a line; case does not count in its words; a name or a path with blanks
// stands in double quotes.
//
//   GET DATA /TYPE=CSV /FILE="more.csv" /DATASET=name.
//   GET DATA /TYPE=BINARYSTREAM /SOCKET=port /VARIABLES=a b.
//   SAVE /TYPE=CSV /FILE="result.csv" /DATASET=name /KEEP=a b.
//   SAVE /TYPE=BINARYSTREAM /SOCKET=port /KEEP=a b.
//
// A block of another language stands between two lines of its own:
//
//   LANGUAGE PYTHON.
//   print("lines of that language")
//   END LANGUAGE.
#ifndef COMMANDS_H
#define COMMANDS_H

#include <string_view>

#include "session.h"

// Runs the commands of a text up to the first that fails, and returns that one's code.
int RunCommands(Session& session, std::string_view text);

#endif
