#include "cell_records.h"

#include <algorithm>

bool GatheredRecords::MakeRoom(std::size_t length) {
  constexpr std::size_t kLeast = 4096;
  lender.BytesMayGo();
  return buffer.Grow(std::max({kLeast, 2 * buffer.capacity(), used + length}));
}
