// `vexa prove language`: a language as it stands in a configuration, tried in two ways. Its library, if it
// has one, alone in a process of its own, function by function; then its blocks, as the practice engine runs
// them.
#ifndef PROVE_LANGUAGE_H
#define PROVE_LANGUAGE_H

#include <optional>
#include <string>
#include <vector>

#include "prove_report.h"

// Lines of the language that do something which can be seen. "{}" stands for a text of letters.
struct Blocks {
  std::string print;       // a line with it to the output
  std::string fail;        // an error whose words have it
  std::string keep;        // it, under a name
  std::string kept;        // what stands under that name, in a line
  std::string count;       // "variables N", asked of the client interface
  std::string nest;        // submits a block that prints it
  std::string first = {};  // stands ahead of all lines of a block
  bool tells_code = true;  // a block that fails gives a code; else the output tells of it
};
// Of a language that is known here; nothing for others.
std::optional<Blocks> BlocksOf(const std::string& language, const std::string& home);
// From a file with a line "[print]" and so on ahead of each. Throws std::runtime_error.
Blocks ReadBlocks(const std::string& file);
std::string With(const std::string& block, const std::string& text);

struct TriedLanguage {
  std::string home, name;
  std::string library;  // its path; empty for one that has none
  Blocks blocks;
  double within = 0;  // seconds, for each step
};

// Of a home, a copy whose one language is this library, with entries "KEY=VALUE" for its section behind those
// that the home has for a language of that name. The directory is the caller's, and becomes the home.
void MakeHomeOf(const std::string& home, const std::string& name, const std::string& library,
                const std::vector<std::string>& entries, const std::string& directory);

void ProveLibrary(const TriedLanguage& language, const std::vector<std::string>& words, Report& report);
// In the process that the former starts with these words: tells on the descriptor how each step went.
int TakeSteps(const TriedLanguage& language, int told);
void ProveBlocks(const TriedLanguage& language, Report& report);

#endif
