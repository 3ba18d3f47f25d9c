// Blocks of lines of another language. A block goes to a process that hosts its language: the driver itself,
// where it serves a command channel, or else a process of bin/startx, which is started for the first block
// and stays for the next. While the block runs, it may call the client API on a nesting level of its own, and
// so submit a block in turn.
#ifndef LANGUAGE_RUN_H
#define LANGUAGE_RUN_H

#include <string>
#include <vector>

#include "session.h"

// Runs the block and returns its code: the language's, or why it could not be run.
int RunBlock(Session& session, const std::string& language, std::vector<std::string> lines);

// Tells the languages to end: those that the engine started, and the driver's own command channel.
void StopLanguages(const Session& session);

#endif
