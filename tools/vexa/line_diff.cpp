#include "line_diff.h"

#include <algorithm>
#include <optional>

namespace {

using Lines = std::vector<std::string>;
using Kind = Edit::Kind;

// So many lines differ at most where the shortest way is looked for: it takes room of the square of that.
constexpr long kMostEdits = 3000;

// For each number of edits the furthest line of `a` on each diagonal, -edits to edits.
using Trail = std::vector<std::vector<long>>;

std::optional<Trail> Explore(const Lines& a, const Lines& b, std::size_t from, long size_a, long size_b) {
  Trail trail;
  const auto same = [&](long x, long y) {
    return a[from + static_cast<std::size_t>(x)] == b[from + static_cast<std::size_t>(y)];
  };
  for (long edits = 0; edits <= std::min(kMostEdits, size_a + size_b); ++edits) {
    std::vector<long> furthest(static_cast<std::size_t>(2 * edits + 1), -1);
    const auto before = [&](long diagonal) {
      const long at = diagonal + edits - 1;
      return edits > 0 && at >= 0 && at < 2 * edits - 1 ? trail.back()[static_cast<std::size_t>(at)] : -1;
    };
    for (long diagonal = -edits; diagonal <= edits; diagonal += 2) {
      long x = edits == 0 ? 0 : std::max(before(diagonal + 1), before(diagonal - 1) + 1);
      long y = x - diagonal;
      if (x > size_a || y > size_b || y < 0) continue;
      while (x < size_a && y < size_b && same(x, y)) ++x, ++y;
      furthest[static_cast<std::size_t>(diagonal + edits)] = x;
      if (x < size_a || y < size_b) continue;
      trail.push_back(std::move(furthest));
      return trail;
    }
    trail.push_back(std::move(furthest));
  }
  return std::nullopt;
}

// The way back along the trail, last edit first.
std::vector<Edit> Retraced(const Trail& trail, std::size_t from, long x, long y) {
  std::vector<Edit> edits;
  const auto add = [&](Kind kind, long at_x, long at_y) {
    edits.push_back({kind, from + static_cast<std::size_t>(at_x), from + static_cast<std::size_t>(at_y)});
  };
  for (long count = static_cast<long>(trail.size()) - 1; count >= 0; --count) {
    const long diagonal = x - y;
    const auto before = [&](long other) {
      const long at = other + count - 1;
      return count > 0 && at >= 0 && at < 2 * count - 1
                 ? trail[static_cast<std::size_t>(count - 1)][static_cast<std::size_t>(at)]
                 : -1;
    };
    const bool added = count > 0 && before(diagonal + 1) >= before(diagonal - 1) + 1;
    const long start = count == 0 ? 0 : added ? before(diagonal + 1) : before(diagonal - 1) + 1;
    for (; x > start; --x, --y) add(Kind::Kept, x - 1, y - 1);
    if (count == 0) break;
    if (added)
      add(Kind::Added, x, --y);
    else
      add(Kind::Removed, --x, y);
  }
  return edits;
}

}  // namespace

std::vector<Edit> EditsBetween(const Lines& a, const Lines& b) {
  const std::size_t least = std::min(a.size(), b.size());
  std::size_t front = 0, back = 0;
  while (front < least && a[front] == b[front]) ++front;
  while (back < least - front && a[a.size() - 1 - back] == b[b.size() - 1 - back]) ++back;
  std::vector<Edit> edits;
  for (std::size_t i = 0; i < front; ++i) edits.push_back({Kind::Kept, i, i});
  const std::size_t end_a = a.size() - back, end_b = b.size() - back;
  const long size_a = static_cast<long>(end_a - front), size_b = static_cast<long>(end_b - front);
  if (const auto trail = Explore(a, b, front, size_a, size_b)) {
    const std::vector<Edit> middle = Retraced(*trail, front, size_a, size_b);
    edits.insert(edits.end(), middle.rbegin(), middle.rend());
  } else {
    for (std::size_t i = front; i < end_a; ++i) edits.push_back({Kind::Removed, i, front});
    for (std::size_t i = front; i < end_b; ++i) edits.push_back({Kind::Added, end_a, i});
  }
  for (std::size_t i = 0; i < back; ++i) edits.push_back({Kind::Kept, end_a + i, end_b + i});
  return edits;
}

std::vector<Hunk> HunksOf(const std::vector<Edit>& edits, std::size_t around) {
  std::vector<Hunk> hunks;
  for (std::size_t i = 0; i < edits.size(); ++i) {
    if (edits[i].kind == Kind::Kept) continue;
    const std::size_t begin = i - std::min(i, around), end = std::min(edits.size(), i + 1 + around);
    if (!hunks.empty() && begin <= hunks.back().end)
      hunks.back().end = end;
    else
      hunks.push_back({begin, end});
  }
  return hunks;
}
