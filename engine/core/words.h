// The small grammar that the options and the side file share: words with blanks between them. Double quotes
// group a word that holds blanks; inside them "" stands for one quote.
//
//   missing 900 thru 999      four words
//   label "The ""best"" one"  two words
#ifndef WORDS_H
#define WORDS_H

#include <cstdint>
#include <iterator>
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

// Writes the shortest form that is read back as the same, with an exponent only where a person would write
// one, too; at most kNumberBytes. Its end.
inline constexpr std::size_t kNumberBytes = 32;
char* WriteNumber(double value, char* text);

// Takes up to 15 digits with at most a period among them and a "-" in front: the quotient of two numbers that
// a double holds exactly is the nearest there is, so that most numbers are read in a few steps. Where they
// end; null for others.
inline const char* TakePlainNumber(const char* at, const char* end, double& number) {
  constexpr double kPowers[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
  const bool negative = at != end && *at == '-';
  if (negative) ++at;
  std::uint64_t digits = 0;
  const auto take_digits = [&] {
    const char* const first = at;
    for (unsigned digit = 0; at != end && (digit = static_cast<unsigned>(*at - '0')) <= 9; ++at)
      digits = digits * 10 + digit;
    return static_cast<std::size_t>(at - first);
  };
  std::size_t count = take_digits(), decimals = 0;
  if (at != end && *at == '.') {
    ++at;
    count += decimals = take_digits();
  }
  if (count == 0 || count > std::size(kPowers) - 1) return nullptr;
  number = static_cast<double>(digits) / kPowers[decimals];
  if (negative) number = -number;
  return at;
}

// Without blanks and tabs at both ends.
std::string_view Trimmed(std::string_view text);

// ASCII alone.
std::string UpperCase(std::string text);

// Names of variables and keywords: case does not count.
bool SameName(std::string_view first, std::string_view second);
// The same text for all that are the same name: for sets of them.
std::string Folded(std::string_view name);
using FoldedNames = std::unordered_set<std::string>;

#endif
