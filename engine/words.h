// The small grammar that the options and the side file share: words with blanks between them. Double quotes
// group a word that holds blanks; inside them "" stands for one quote.
//
//   missing 900 thru 999      four words
//   label "The ""best"" one"  two words
#ifndef WORDS_H
#define WORDS_H

#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

struct Word {
  std::string text;
  bool quoted = false;
};

// Nothing when a quote is not closed.
std::optional<std::vector<Word>> SplitWords(std::string_view line);

// Nothing unless all of the text is one finite decimal number. Blanks around it do not count, a "+" may stand
// in front.
std::optional<double> ParseNumber(std::string_view text);

// Without blanks and tabs at both ends.
std::string_view Trimmed(std::string_view text);

// Names of variables and keywords: case does not count.
bool SameName(std::string_view first, std::string_view second);
// The same text for all that are the same name: for sets of them.
std::string Folded(std::string_view name);
using FoldedNames = std::unordered_set<std::string>;

#endif
