// The values of a piece of a column, in whatever form they lie.
#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>

#include "column_input.h"
#include "column_refusal.h"
#include "obs.h"

namespace {

// An integer of 128 bits, as it lies in memory; not every machine has a type for it.
struct Wide {
  std::uint64_t low = 0, high = 0;
  bool Negative() const { return high >> 63 != 0; }
  Wide Size() const { return Negative() ? Wide{~low + 1, ~high + (low == 0 ? 1 : 0)} : *this; }
};

constexpr int kDigitsOfDouble = std::numeric_limits<double>::digits;
constexpr const char* kInexact = "a double does not hold it exactly";

bool BitAt(const std::uint8_t* bits, std::size_t place) { return (bits[place / 8] >> (place % 8) & 1) != 0; }

constexpr double kMissing = std::bit_cast<double>(kSystemMissingBits);

double FromFloat(double value, std::size_t row) {
  if (std::isnan(value)) return kMissing;
  if (value == kMissing) throw ValueRefusal(row, "the value stands for system-missing");
  return value;
}

template <class Value>
double FromInteger(Value value, std::size_t row) {
  if constexpr (sizeof value == sizeof(std::uint64_t)) {
    const auto bits = static_cast<std::uint64_t>(value);
    const std::uint64_t size = std::is_signed_v<Value> && value < 0 ? 0 - bits : bits;
    if (size != 0 && std::bit_width(size) - std::countr_zero(size) > kDigitsOfDouble)
      throw ValueRefusal(row, std::to_string(value) + ": " + kInexact);
  }
  return static_cast<double>(value);
}

double FromHalf(std::uint16_t half) {
  constexpr int kExponentBias = 25;  // of the significand as an integer of 11 bits
  const int exponent = half >> 10 & 0x1f, fraction = half & 0x3ff;
  double size = exponent == 0 ? std::ldexp(fraction, 1 - kExponentBias)
                              : std::ldexp(fraction | 0x400, exponent - kExponentBias);
  if (exponent == 0x1f) size = fraction == 0 ? HUGE_VAL : std::nan("");
  return (half & 0x8000) != 0 ? -size : size;
}

// Whole seconds and the rest apart: together they may have more digits than a double.
double FromTime(std::int64_t count, const ColumnForm& form) {
  const std::int64_t whole = count / form.units_per_second;
  const std::int64_t rest = count % form.units_per_second;
  return static_cast<double>(whole) * static_cast<double>(form.seconds) +
         static_cast<double>(rest) / static_cast<double>(form.units_per_second);
}

std::string DigitsOf(Wide size) {
  std::uint32_t parts[] = {static_cast<std::uint32_t>(size.high >> 32), static_cast<std::uint32_t>(size.high),
                           static_cast<std::uint32_t>(size.low >> 32), static_cast<std::uint32_t>(size.low)};
  std::string digits;
  const auto is_zero = [](std::uint32_t part) { return part == 0; };
  while (!std::all_of(std::begin(parts), std::end(parts), is_zero)) {
    std::uint64_t rest = 0;
    for (std::uint32_t& part : parts) {
      rest = rest << 32 | part;
      part = static_cast<std::uint32_t>(rest / 10);
      rest %= 10;
    }
    digits.insert(digits.begin(), static_cast<char>('0' + static_cast<int>(rest)));
  }
  return digits;
}

// The nearest double, which must give the same digits back.
double FromDecimal(Wide value, int scale, std::size_t row) {
  const Wide size = value.Size();
  if (size.high == 0 && size.low == 0) return 0.0;
  constexpr std::uint64_t kFifteenDigits = 999999999999999;  // of which a double holds any
  constexpr int kMostExactPower = 22;
  static constexpr double kPowers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                       1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
  if (size.high == 0 && size.low <= kFifteenDigits && scale >= 0 && scale <= kMostExactPower)
    return (value.Negative() ? -1.0 : 1.0) * static_cast<double>(size.low) / kPowers[scale];
  std::string digits = DigitsOf(size);
  const std::string number = (value.Negative() ? "-" : "") + digits.substr(0, 1) + "." + digits.substr(1) +
                             "0e" + std::to_string(static_cast<int>(digits.size()) - 1 - scale);
  double nearest = 0.0;
  const auto read = std::from_chars(number.data(), number.data() + number.size(), nearest);
  digits.erase(digits.find_last_not_of('0') + 1);
  char back[64];
  const auto end = std::to_chars(back, back + sizeof back, std::fabs(nearest), std::chars_format::scientific,
                                 static_cast<int>(digits.size()) - 1);
  std::string same(back, end.ptr);
  same.erase(same.find('e'));
  std::erase(same, '.');
  if (read.ec != std::errc() || same != digits) throw ValueRefusal(row, number + ": " + kInexact);
  return nearest;
}

template <class Offset>
std::string_view TextBetween(const ArrowArray& array, std::size_t place) {
  const auto* const offsets = static_cast<const Offset*>(array.buffers[1]);
  const auto* const bytes = static_cast<const char*>(array.buffers[2]);
  const auto length = static_cast<std::size_t>(offsets[place + 1] - offsets[place]);
  return length != 0 ? std::string_view(bytes + offsets[place], length) : std::string_view("");
}

// length:4, then up to twelve bytes of text, or their beginning:4 buffer:4 offset:4.
std::string_view ViewAt(const ArrowArray& array, std::size_t place) {
  constexpr std::size_t kViewBytes = 16;
  constexpr std::int32_t kMostInline = 12;
  const char* const view = static_cast<const char*>(array.buffers[1]) + place * kViewBytes;
  std::int32_t length = 0, buffer = 0, offset = 0;
  std::memcpy(&length, view, 4);
  if (length <= kMostInline) return {view + 4, static_cast<std::size_t>(length)};
  std::memcpy(&buffer, view + 8, 4);
  std::memcpy(&offset, view + 12, 4);
  return {static_cast<const char*>(array.buffers[2 + buffer]) + offset, static_cast<std::size_t>(length)};
}

std::string_view TextAt(const ArrowArray& array, const ColumnForm& form, std::size_t place) {
  switch (form.layout) {
    case ColumnForm::Layout::kOffsets32:
      return TextBetween<std::int32_t>(array, place);
    case ColumnForm::Layout::kOffsets64:
      return TextBetween<std::int64_t>(array, place);
    case ColumnForm::Layout::kViews:
      return ViewAt(array, place);
    default:
      return form.bytes == 0
                 ? std::string_view("")
                 : std::string_view(static_cast<const char*>(array.buffers[1]) + place * form.bytes,
                                    form.bytes);
  }
}

// Null where all values are valid.
const std::uint8_t* ValidityOf(const ArrowArray& array) {
  const bool may_have = array.null_count != 0 && array.n_buffers > 0;
  return may_have ? static_cast<const std::uint8_t*>(array.buffers[0]) : nullptr;
}

}  // namespace

ColumnInput::Piece::Piece(const ArrowArray& batch, std::size_t column, const ColumnForm& form_)
    : array(*batch.children[column]),
      form(form_),
      start(static_cast<std::size_t>(batch.offset + array.offset)),
      bits(ValidityOf(array)),
      parent_bits(ValidityOf(batch)),
      parent_start(static_cast<std::size_t>(batch.offset)) {}

// Calls `read` with each row of the range, from 0, and whether it has a value.
template <class Read>
void ColumnInput::Piece::Each(std::size_t first, std::size_t count, Read read) const {
  const bool all = bits == nullptr && parent_bits == nullptr;
  for (std::size_t i = 0; all && i < count; ++i) read(i, true);
  for (std::size_t i = 0; !all && i < count; ++i) {
    read(i, (bits == nullptr || BitAt(bits, start + first + i)) &&
                (parent_bits == nullptr || BitAt(parent_bits, parent_start + first + i)));
  }
}

template <class Value, class Function>
void ColumnInput::Piece::Convert(std::size_t first, std::size_t count, double* values,
                                 Function convert) const {
  const auto* const source = static_cast<const Value*>(array.buffers[1]) + start + first;
  Each(first, count,
       [=](std::size_t i, bool valid) { values[i] = valid ? convert(source[i], i) : kMissing; });
}

void ColumnInput::Piece::Numbers(std::size_t first, std::size_t count, double* values) const {
  if (count == 0) return;
  const auto integers = [&]<class Value>(Value) {
    Convert<Value>(first, count, values,
                   [](Value value, std::size_t row) { return FromInteger(value, row); });
  };
  const auto times = [&]<class Value>(Value) {
    Convert<Value>(first, count, values, [&](Value value, std::size_t) { return FromTime(value, form); });
  };
  switch (form.kind) {
    case ColumnForm::Kind::kNull:
    case ColumnForm::Kind::kText:
      return Each(0, count, [=](std::size_t i, bool) { values[i] = kMissing; });
    case ColumnForm::Kind::kBoolean: {
      const auto* const source = static_cast<const std::uint8_t*>(array.buffers[1]);
      return Each(first, count, [&](std::size_t i, bool valid) {
        values[i] = !valid ? kMissing : BitAt(source, start + first + i) ? 1.0 : 0.0;
      });
    }
    case ColumnForm::Kind::kFloat:
      if (form.bytes == 8) return Convert<double>(first, count, values, FromFloat);
      if (form.bytes == 4) return Convert<float>(first, count, values, FromFloat);
      return Convert<std::uint16_t>(first, count, values, [](std::uint16_t half, std::size_t row) {
        return FromFloat(FromHalf(half), row);
      });
    case ColumnForm::Kind::kDecimal: {
      const auto* const source = static_cast<const char*>(array.buffers[1]);
      return Each(first, count, [&](std::size_t i, bool valid) {
        Wide value;
        if (valid) std::memcpy(&value, source + (start + first + i) * sizeof value, sizeof value);
        values[i] = valid ? FromDecimal(value, form.scale, i) : kMissing;
      });
    }
    case ColumnForm::Kind::kTime:
      return form.bytes == 4 ? times(std::int32_t()) : times(std::int64_t());
    case ColumnForm::Kind::kInteger:
      break;
  }
  switch (form.bytes) {
    case 1:
      return form.is_signed ? integers(std::int8_t()) : integers(std::uint8_t());
    case 2:
      return form.is_signed ? integers(std::int16_t()) : integers(std::uint16_t());
    case 4:
      return form.is_signed ? integers(std::int32_t()) : integers(std::uint32_t());
    default:
      return form.is_signed ? integers(std::int64_t()) : integers(std::uint64_t());
  }
}

void ColumnInput::Piece::Texts(std::size_t first, std::size_t count, std::string_view* values) const {
  Each(first, count, [&](std::size_t i, bool valid) {
    const bool there = valid && form.IsText();
    values[i] = there ? TextAt(array, form, start + first + i) : std::string_view();
  });
}

void ColumnInput::Piece::Places(std::size_t first, std::size_t count, std::int64_t* values) const {
  const auto* const source = static_cast<const char*>(array.buffers[1]);
  const auto read = [&]<class Index>(Index) {
    Each(first, count, [&](std::size_t i, bool valid) {
      Index index = 0;
      if (valid) std::memcpy(&index, source + (start + first + i) * sizeof index, sizeof index);
      const bool inside = index >= 0 && static_cast<std::uint64_t>(index) <
                                            static_cast<std::uint64_t>(array.dictionary->length);
      if (valid && !inside) throw ValueRefusal(i, "its dictionary has no entry " + std::to_string(index));
      values[i] = valid ? static_cast<std::int64_t>(index) : -1;
    });
  };
  switch (form.index_bytes) {
    case 1:
      return form.index_is_signed ? read(std::int8_t()) : read(std::uint8_t());
    case 2:
      return form.index_is_signed ? read(std::int16_t()) : read(std::uint16_t());
    case 4:
      return form.index_is_signed ? read(std::int32_t()) : read(std::uint32_t());
    default:
      return form.index_is_signed ? read(std::int64_t()) : read(std::uint64_t());
  }
}

std::vector<std::string_view> ColumnInput::Piece::Dictionary() const {
  const ArrowArray& texts = *array.dictionary;
  const std::uint8_t* const validity = ValidityOf(texts);
  std::vector<std::string_view> entries(static_cast<std::size_t>(texts.length));
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const std::size_t place = static_cast<std::size_t>(texts.offset) + i;
    if (validity == nullptr || BitAt(validity, place)) entries[i] = TextAt(texts, form, place);
  }
  return entries;
}

bool ColumnInput::Piece::SharesDictionary(const Piece& other) const {
  const ArrowArray& mine = *array.dictionary;
  const ArrowArray& theirs = *other.array.dictionary;
  return mine.length == theirs.length && mine.offset == theirs.offset && mine.n_buffers == theirs.n_buffers &&
         std::equal(mine.buffers, mine.buffers + mine.n_buffers, theirs.buffers);
}
