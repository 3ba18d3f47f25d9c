#include "cell_records.h"

#include <algorithm>

// Once it is much, at once as much as a full queue of numbers takes: pages that are not touched cost nothing,
// and those that are would have to move.
bool GatheredRecords::MakeRoom(std::size_t length) {
  constexpr std::size_t kLeast = 4096, kMuch = std::size_t{1} << 20, kFullQueue = std::size_t{48} << 20;
  lender.BytesMayGo();
  const std::size_t needed = used + length;
  const std::size_t twice = std::max(kLeast, 2 * buffer.capacity());
  return buffer.Grow(std::max({needed, twice, twice > kMuch ? kFullQueue : 0})) || buffer.Grow(needed);
}
