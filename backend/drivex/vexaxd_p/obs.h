// OBS: one unit of case storage, 8 bytes that hold one double or eight characters. A case is a run of units
// without header or gap, the variables in dictionary order: a numeric variable takes one unit, a string
// variable the units that hold its width, at least one, its text filled up with blanks. Units may lie at any
// address.
//
// Two units compare by their 64 bits, never as floating numbers: 0.0 and -0.0 differ, a NaN equals itself.
#ifndef OBS_H
#define OBS_H

#include <cstdint>
#include <cstring>

struct OBS {
  char bytes[8];
};
static_assert(sizeof(OBS) == 8 && alignof(OBS) == 1);

inline OBS& AsOBS(double& value) { return reinterpret_cast<OBS&>(value); }

inline std::uint64_t ObsBits(const OBS& unit) {
  std::uint64_t bits;
  std::memcpy(&bits, unit.bytes, sizeof bits);
  return bits;
}

inline double ObsNumber(const OBS& unit) {
  double number;
  std::memcpy(&number, unit.bytes, sizeof number);
  return number;
}

inline OBS ObsOf(double number) {
  OBS unit;
  std::memcpy(unit.bytes, &number, sizeof number);
  return unit;
}

inline bool ObsEqual(const OBS& first, const OBS& second) { return ObsBits(first) == ObsBits(second); }

inline bool operator==(const OBS& first, const OBS& second) { return ObsEqual(first, second); }
inline bool operator!=(const OBS& first, const OBS& second) { return !ObsEqual(first, second); }
inline bool operator==(const OBS& first, double second) { return ObsEqual(first, ObsOf(second)); }
inline bool operator==(double first, const OBS& second) { return ObsEqual(ObsOf(first), second); }

inline constexpr std::uint64_t kSystemMissingBits = 0xFFEFFFFFFFFFFFFF;

// -1.7976931348623157e+308.
double VEXA_SystemMissing();
// Eight blanks.
OBS BlankObs();
extern const OBS blankObs;

// The units of a string value of that width; 1 from 0 to 8.
inline int ObsLength(int width) { return width >= 0 && width <= 8 ? 1 : (width + 7) >> 3; }

// Whether a string value of `units` units is the missing one: the first unit equal and blanks behind it, as a
// missing value has at most eight bytes.
bool MissingStringMatch(const OBS* value, const OBS& missing, int units);

#endif
