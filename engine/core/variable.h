// What is said of a variable, and how its values lie in a case.
//
// A case is a run of 8-byte units in dictionary order, without header or gaps: one unit for a number, as many
// as hold the width for a text, with blanks behind it. A number and a text of nine bytes (5, "September")
// make a case of three units:
//
//   00 00 00 00 00 00 14 40   5.0
//   53 65 70 74 65 6D 62 65   "Septembe"
//   72 20 20 20 20 20 20 20   "r" and blanks
#ifndef VARIABLE_H
#define VARIABLE_H

#include <array>
#include <bit>
#include <climits>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

using Unit = std::uint64_t;
inline constexpr std::size_t kUnitBytes = sizeof(Unit);

inline constexpr Unit kSystemMissing = 0xFFEFFFFFFFFFFFFF;
// The ends of what a number can be: next to the system-missing value, and the largest double.
inline constexpr Unit kLowest = 0xFFEFFFFFFFFFFFFE;
inline constexpr Unit kHighest = 0x7FEFFFFFFFFFFFFF;
inline constexpr Unit kBlankUnit = 0x2020202020202020;

inline Unit UnitOf(double number) { return std::bit_cast<Unit>(number); }
inline double NumberOf(Unit unit) { return std::bit_cast<double>(unit); }
// The first eight bytes of a text, with blanks behind it.
Unit UnitOf(std::string_view text);
// The eight bytes of a unit.
std::string TextOf(Unit unit);

// A text may be this wide at most, a name this long.
inline constexpr std::size_t kMaxTextWidth = 32767;
inline constexpr std::size_t kMaxNameBytes = 64;
// A case travels in a message, whose length is a 32-bit number.
inline constexpr std::size_t kMaxCaseBytes = INT_MAX / 2;

enum class FormatType : int {
  Text = 1,
  Fixed = 2,
  Scientific = 3,
  Comma = 4,
  Dollar = 5,
  Percent = 6,
  Date = 7,  // dates and times are seconds: calendar.h
  DateTime = 8,
  Time = 9
};
enum class Level : int { Nominal = 1, Ordinal = 2, Scale = 3 };
enum class Role : int { Input = 0, Target = 1, Both = 2, None = 3, Partition = 4, Split = 5 };
enum class Alignment : int { Left = 0, Right = 1, Center = 2 };

// As users write them.
inline constexpr const char* kLevelNames[] = {"nominal", "ordinal", "scale"};  // from Level::Nominal

struct Format {
  FormatType type = FormatType::Fixed;
  int width = 8;
  int decimals = 2;
  std::string Text() const;  // "F8.2", "A9"
  bool HasDecimals() const { return type != FormatType::Text && type != FormatType::Date; }
  // What the type allows: a width of 1 to 40 for numbers; decimals within the width, which must fit.
  bool WidthFits() const;
  bool DecimalsFit() const;
};

// The letters of a format type, and back. Nothing found is null.
const char* FormatLetters(FormatType type);
const FormatType* FormatTypeOf(std::string_view letters);

// Which values count as user-missing. The values are units like those of the cases: numbers, or eight bytes
// of text.
struct MissingRule {
  static constexpr int kRange = -2;        // values[0] to values[1]
  static constexpr int kRangeAndOne = -3;  // the range, and values[2]
  int format = 0;                          // 0 none, 1 to 3 that many discrete values, or a range
  std::array<Unit, 3> values = {};
};

struct ValueLabel {
  double number = 0;  // of a numeric variable
  std::string text;   // of a text variable
  std::string label;
};

// A named list of values: what is known about a variable or about the whole, beyond the dictionary.
struct Attribute {
  std::string name;
  std::vector<std::string> values;
};
using Attributes = std::vector<Attribute>;
// Null when there is none of the name; case does not count.
Attribute* FindAttribute(Attributes& attributes, std::string_view name);

// Variables that are the answers to one question. Dichotomies: an answer is given where a variable has the
// counted value. Categories: each variable holds an answer.
struct ResponseSet {
  std::string name;
  std::string label;
  bool dichotomies = false;
  std::string counted;  // empty for categories
  bool is_text = false;
  std::vector<std::string> members;
};

struct Variable {
  Variable() = default;
  Variable(std::string variable_name, int text_width);  // a number for a width of 0

  std::string name;
  std::string label;
  int width = 0;  // 0 for a number, else the bytes of the text
  std::size_t first_unit = 0;
  Format format;
  Level level = Level::Scale;
  Role role = Role::Input;
  Alignment alignment = Alignment::Right;
  int column_width = 8;
  MissingRule missing;
  std::vector<ValueLabel> value_labels;
  Attributes attributes;

  bool IsText() const { return width > 0; }
  std::size_t Units() const {
    return IsText() ? (static_cast<std::size_t>(width) + kUnitBytes - 1) / kUnitBytes : 1;
  }
};

enum class MissingState : int { Valid = 0, User = 1, System = 2 };

enum class NameVerdict : int { Good = 0, BadLength = 1, BadStart = 2, BadCharacter = 3 };
NameVerdict JudgeName(std::string_view name);

// The missing value of a variable at its place.
void StoreMissing(const Variable& variable, Unit* place);
// The text with blanks behind it; it must not be wider than the variable.
void StoreText(const Variable& variable, Unit* place, std::string_view text);
// Blanks behind the width of a text.
void BlankRest(const Variable& variable, Unit* place);
// The whole width of a text, blanks included.
inline std::string_view TextAt(const Variable& variable, const Unit* place) {
  return {reinterpret_cast<const char*>(place), static_cast<std::size_t>(variable.width)};
}

// What the value at the variable's first unit counts as.
MissingState StateOf(const Variable& variable, const Unit* value);

#endif
