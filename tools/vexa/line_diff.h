// What was taken out of a list of lines, and put in, to make another one of it: the shortest way, by Myers.
// Where they have hardly anything in common, what differs is taken as a whole.
#ifndef LINE_DIFF_H
#define LINE_DIFF_H

#include <cstddef>
#include <string>
#include <vector>

struct Edit {
  enum class Kind { Kept, Removed, Added };
  Kind kind;
  std::size_t a, b;  // where it stands in each, or would stand
};
std::vector<Edit> EditsBetween(const std::vector<std::string>& a, const std::vector<std::string>& b);

// The edits of a hunk: those that differ, with some lines around them.
struct Hunk {
  std::size_t begin, end;  // of the edits
};
std::vector<Hunk> HunksOf(const std::vector<Edit>& edits, std::size_t around);

#endif
