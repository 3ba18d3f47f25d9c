// Which values are null, or user-missing, asked of many side by side.
#ifndef MISSING_RULE_H
#define MISSING_RULE_H

#include <cstdint>
#include <limits>

#include "column_arrays.h"
#include "cursor_data_smb.h"

// Of numbers, without a branch: what is not used is never true. As CursorDataSmb::IsMissing has it.
class NumberRule {
 public:
  NumberRule() = default;
  explicit NumberRule(const VarInfo& info) {
    const int format = info.missingFormat;
    if (format >= 1 && format <= 3) values[0] = ObsBits(info.missing1);
    if (format == 2 || format == 3) values[1] = ObsBits(info.missing2);
    if (format == 3 || format == -3) values[2] = ObsBits(info.missing3);
    if (format == -2 || format == -3) low = ObsNumber(info.missing1), high = ObsNumber(info.missing2);
  }
  bool Any() const {
    return values[0] != kSystemMissingBits || values[1] != kSystemMissingBits ||
           values[2] != kSystemMissingBits || low <= high;
  }
  // Of either kind.
  bool Null(std::uint64_t bits) const {
    const double number = ObsNumber(reinterpret_cast<const OBS&>(bits));
    return (bits == kSystemMissingBits) | (bits == values[0]) | (bits == values[1]) | (bits == values[2]) |
           ((number >= low) & (number <= high));
  }
  bool UserMissing(std::uint64_t bits) const { return bits != kSystemMissingBits && Null(bits); }

 private:
  std::uint64_t values[3] = {kSystemMissingBits, kSystemMissingBits, kSystemMissingBits};
  double low = std::numeric_limits<double>::infinity();
  double high = -std::numeric_limits<double>::infinity();
};

inline bool TextMissing(const VarInfo& info, const char* value) {
  return CursorDataSmb::IsMissing(&info, reinterpret_cast<const OBS*>(value)) == kUserMissing;
}

// Sets the bits of those of `count` values, `step` bytes apart, of which `is_set` is true, eight at a time.
// Calls `each` with the place of each of them.
template <class IsSet, class Each>
void SetBits(RowBits& bits, std::size_t row, const char* values, std::size_t step, std::size_t count,
             IsSet is_set, Each each) {
  for (std::size_t first = 0; first < count; first += 8) {
    const std::size_t end = first + 8 < count ? first + 8 : count;
    unsigned mask = 0;
    for (std::size_t i = first; i < end; ++i)
      mask |= static_cast<unsigned>(is_set(values + i * step)) << (i - first);
    if (mask == 0) continue;
    bits.Set(row + first, mask);
    for (std::size_t i = first; i < end; ++i)
      if ((mask >> (i - first) & 1) != 0) each(i);
  }
}

inline std::uint64_t BitsAt(const char* value) { return ObsBits(*reinterpret_cast<const OBS*>(value)); }

#endif
