#include "column_type.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

#include "calendar.h"
#include "words.h"

namespace {

using Kind = ColumnType::Kind;

// The server's numbers of its own types, which never change.
constexpr struct {
  Oid oid;
  Kind kind;
} kKinds[] = {{16, Kind::Bool},       {20, Kind::Int8},     {21, Kind::Int2},        {23, Kind::Int4},
              {26, Kind::Int8},       {700, Kind::Float4},  {701, Kind::Float8},     {790, Kind::Numeric},
              {1082, Kind::Date},     {1083, Kind::Time},   {1114, Kind::Timestamp}, {1184, Kind::Timestamp},
              {1186, Kind::Interval}, {1700, Kind::Numeric}};
constexpr Oid kOidType = 26, kMoney = 790, kFixedText = 1042, kBoundedText = 1043, kTimestamptz = 1184;
constexpr int kHeaderOfModifier = 4;

constexpr double kDaySeconds = 86400, kMicroseconds = 1e6;
constexpr int kDecimals = 6;  // of a second
constexpr double kLargestFloat = 3.4028234663852886e38;
constexpr double kEpoch = 10957 * kDaySeconds;  // the server counts from 2000-01-01

// The infinite dates and times.
constexpr std::int32_t kEndOfDays = INT32_MAX, kStartOfDays = INT32_MIN;
constexpr std::int64_t kEndOfTime = INT64_MAX, kStartOfTime = INT64_MIN;

template <class Integer>
Integer BigEndian(const char* bytes) {
  std::make_unsigned_t<Integer> value = 0;
  for (std::size_t i = 0; i < sizeof(Integer); ++i)
    value = static_cast<decltype(value)>(value << 8 | static_cast<unsigned char>(bytes[i]));
  return static_cast<Integer>(value);
}

std::int64_t Load64(const char* bytes) {
  std::uint64_t value = 0;
  std::memcpy(&value, bytes, sizeof value);
  return static_cast<std::int64_t>(__builtin_bswap64(value));
}
std::int32_t Load32(const char* bytes) {
  std::uint32_t value = 0;
  std::memcpy(&value, bytes, sizeof value);
  return static_cast<std::int32_t>(__builtin_bswap32(value));
}

// Digits to the base 10,000. The quotient of two integers that a double holds exactly is the nearest double;
// what has more digits is read as text.
double NumericValue(std::string_view value) {
  constexpr int kBaseDigits = 4;
  constexpr std::uint64_t kExact = std::uint64_t{1} << 53;
  constexpr double kPowers[] = {1, 1e4, 1e8, 1e12, 1e16, 1e20};
  const int count = BigEndian<std::int16_t>(value.data());
  const int weight = BigEndian<std::int16_t>(value.data() + 2);
  const auto sign = BigEndian<std::uint16_t>(value.data() + 4);
  if (sign == 0xC000) return std::nan("");
  if (sign == 0xD000 || sign == 0xF000) return sign == 0xD000 ? HUGE_VAL : -HUGE_VAL;
  const char* const digits = value.data() + 8;
  const auto digit = [&](int i) { return BigEndian<std::int16_t>(digits + 2 * i); };
  const int behind = count - 1 - weight;  // digits behind the decimal point
  if (count <= 4 && behind >= -2 && behind <= 5) {
    std::uint64_t whole = 0;
    for (int i = 0; i < count; ++i) whole = whole * 10000 + static_cast<std::uint64_t>(digit(i));
    if (whole <= kExact) {
      const double number = static_cast<double>(whole);
      const double result = behind >= 0 ? number / kPowers[behind] : number * kPowers[-behind];
      if (behind >= 0 || whole * static_cast<std::uint64_t>(kPowers[-behind]) <= kExact)
        return sign == 0x4000 ? -result : result;
    }
  }
  std::string text = sign == 0x4000 ? "-0." : "0.";
  for (int i = 0; i < count; ++i) {
    const std::string part = std::to_string(digit(i));
    text.append(static_cast<std::size_t>(kBaseDigits) - part.size(), '0') += part;
  }
  text += "e" + std::to_string((weight + 1) * kBaseDigits);
  return std::strtod(text.c_str(), nullptr);
}

double IntervalSeconds(std::string_view value) {
  constexpr double kMonthDays = 30, kYearDays = 365.25;
  const double micros = static_cast<double>(Load64(value.data()));
  const int days = Load32(value.data() + 8), months = Load32(value.data() + 12);
  const int years = months / 12;
  return years * kYearDays * kDaySeconds + (months % 12 * kMonthDays + days) * kDaySeconds +
         micros / kMicroseconds;
}

Unit DateUnit(std::int32_t days) {
  if (days == kEndOfDays || days == kStartOfDays) return UnitOf(days > 0 ? HUGE_VAL : -HUGE_VAL);
  return UnitOf(days * kDaySeconds + kEpoch);
}

Unit TimestampUnit(std::int64_t micros) {
  if (micros == kEndOfTime || micros == kStartOfTime) return UnitOf(micros > 0 ? HUGE_VAL : -HUGE_VAL);
  // The double that is nearest to the value: of what a double does not hold in microseconds, whole seconds
  // and the rest are added up, which rounds once.
  constexpr std::int64_t kExact = std::int64_t{1} << 53;
  const std::int64_t seconds = micros / 1000000 + 946684800, rest = micros % 1000000;
  const std::int64_t whole = seconds * 1000000 + rest;
  if (whole >= -kExact && whole <= kExact) return UnitOf(static_cast<double>(whole) / kMicroseconds);
  return UnitOf(static_cast<double>(seconds) + static_cast<double>(rest) / kMicroseconds);
}

}  // namespace

std::string ShortestText(double value) {
  if (std::isnan(value)) return "NaN";
  if (std::isinf(value)) return value > 0 ? "Infinity" : "-Infinity";
  char text[kNumberBytes];
  return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

ColumnType TypeOf(Oid oid, int modifier) {
  ColumnType type;
  type.oid = oid;
  type.modifier = modifier;
  for (const auto& [known, kind] : kKinds) {
    if (known == oid) type.kind = kind;
  }
  return type;
}

int ColumnType::DeclaredWidth() const {
  const bool bounded = (oid == kFixedText || oid == kBoundedText) && modifier > kHeaderOfModifier;
  return bounded ? std::min(modifier - kHeaderOfModifier, static_cast<int>(kMaxTextWidth)) : 0;
}

std::string ColumnType::Expression(const std::string& column) const {
  if (oid == kMoney) return column + "::numeric";
  if (oid == kOidType) return column + "::int8";
  const bool as_it_is = kind != Kind::Text && kind != Kind::Enum;
  return as_it_is ? column : column + "::text";
}

Format ColumnType::NumberFormat() const {
  switch (kind) {
    case Kind::Bool:
      return {FormatType::Fixed, 1, 0};
    case Kind::Enum:
      return {FormatType::Fixed, 4, 0};
    case Kind::Int2:
      return {FormatType::Fixed, 6, 0};
    case Kind::Int4:
      return {FormatType::Fixed, 11, 0};
    case Kind::Int8:
      return {FormatType::Fixed, 20, 0};
    case Kind::Date:
      return {FormatType::Date, 10, 0};
    case Kind::Timestamp:
      return {FormatType::DateTime, 19, 0};
    case Kind::Time:
    case Kind::Interval:
      return {FormatType::Time, 8, 0};
    default:
      break;
  }
  if (oid == kMoney) return {FormatType::Dollar, 16, 2};
  if (kind != Kind::Numeric || modifier < kHeaderOfModifier) return {FormatType::Fixed, 12, 2};
  const int precision = (modifier - kHeaderOfModifier) >> 16 & 0xFFFF,
            scale = (modifier - kHeaderOfModifier) & 0x7FF;
  const int decimals = scale <= 16 ? scale : 0;  // a negative scale is a large one here
  return {FormatType::Fixed, std::clamp(precision + 2, decimals + 2, 40), decimals};
}

Level ColumnType::MeasurementLevel() const {
  if (kind == Kind::Bool || IsText()) return Level::Nominal;
  return kind == Kind::Enum ? Level::Ordinal : Level::Scale;
}

Unit ColumnType::Read(std::string_view value) const {
  switch (kind) {
    case Kind::Bool:
      return UnitOf(value[0] != 0 ? 1.0 : 0.0);
    case Kind::Int2:
      return UnitOf(BigEndian<std::int16_t>(value.data()));
    case Kind::Int4:
      return UnitOf(Load32(value.data()));
    case Kind::Int8:
      return UnitOf(static_cast<double>(Load64(value.data())));
    case Kind::Float4:
      return UnitOf(std::bit_cast<float>(Load32(value.data())));
    case Kind::Float8:
      return static_cast<Unit>(Load64(value.data()));
    case Kind::Numeric:
      return UnitOf(NumericValue(value));
    case Kind::Date:
      return DateUnit(Load32(value.data()));
    case Kind::Timestamp:
      return TimestampUnit(Load64(value.data()));
    case Kind::Time:
      return UnitOf(static_cast<double>(Load64(value.data())) / kMicroseconds);
    case Kind::Interval:
      return UnitOf(IntervalSeconds(value));
    case Kind::Enum: {
      const auto place = places.find(value);
      return place != places.end() ? UnitOf(place->second) : kSystemMissing;
    }
    case Kind::Text:
      break;
  }
  return kSystemMissing;
}

void ColumnType::Refuse(Unit value, const std::string& column) const {
  throw Refusal(sql_code::kCannotChange, "the column " + column + ", of type " + name + ", has no room for " +
                                             ShortestText(NumberOf(value)));
}

std::int64_t ColumnType::WholeNumber(Unit unit, const std::string& column) const {
  const double value = NumberOf(unit);
  const double bound = kind == Kind::Int2 ? 0x1p15 : kind == Kind::Int4 ? 0x1p31 : 0x1p63;
  const bool fits = kind == Kind::Bool ? value == 0 || value == 1
                                       : std::nearbyint(value) == value && value >= -bound && value < bound;
  if (!fits) Refuse(unit, column);
  return static_cast<std::int64_t>(value);
}

std::string ColumnType::Written(Unit unit, const std::string& column) const {
  const double value = NumberOf(unit);
  const bool is_moment = kind == Kind::Date || kind == Kind::Timestamp;
  if (is_moment && std::isinf(value)) return value > 0 ? "infinity" : "-infinity";
  std::string text;
  switch (kind) {
    case Kind::Bool:
    case Kind::Int2:
    case Kind::Int4:
    case Kind::Int8:
      return std::to_string(WholeNumber(unit, column));
    case Kind::Float4:
      if (std::isinf(value) || !(std::fabs(value) > kLargestFloat)) text = ShortestText(value);
      break;
    case Kind::Date:
      if (std::fmod(value, kDaySeconds) == 0) text = DateText(value);
      break;
    case Kind::Timestamp:
      text = DateTimeText(value, kDecimals);
      if (!text.empty()) text.insert(text.ends_with("BC") ? text.size() - 3 : text.size(), "+00");
      break;
    case Kind::Time:
      if (value >= 0 && value <= kDaySeconds) text = TimeText(value, kDecimals);
      break;
    case Kind::Interval:
      text = TimeText(value, kDecimals);
      break;
    case Kind::Enum:
      for (const auto& [label, place] : places) text = place == value ? label : text;
      break;
    default:
      text = ShortestText(value);
  }
  if (text.empty()) Refuse(unit, column);
  return text;
}
