// What is submitted: commands, which are the backend's, and between them blocks of another language. A block
// stands between two lines of its own:
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
