// Columns of texts: where each ends, and their bytes one behind the other.
#include <bit>
#include <climits>
#include <cstring>

#include "column_layout.h"
#include "missing_rule.h"
#include "utf8_texts.h"

namespace {

constexpr std::size_t kUnit = sizeof(OBS);

template <class Offset>
class Texts : public Column {
 public:
  Texts(const RowVariable& variable, bool user_missing_is_null, bool binary_)
      : name(variable.name),
        info(variable.info),
        width(static_cast<std::size_t>(info.varType)),
        nulls_possible(user_missing_is_null && info.missingFormat >= 1 && info.missingFormat <= 3),
        binary(binary_) {}

  void Reserve(std::size_t needed, std::size_t expected) override {
    GrowTo(ends, (needed + 1) * sizeof(Offset), (expected + 1) * sizeof(Offset));
  }
  void Append(const char* rows, std::size_t row_size, std::size_t count) override {
    MakeRoom(count * (width + kUnit));
    if (nulls_possible) {
      SetBits(
          nulls, length, rows, row_size, count, [this](const char* at) { return TextMissing(info, at); },
          [](std::size_t) {});
    }
    Offset* const end = reinterpret_cast<Offset*>(ends.data()) + length;
    if (length == 0) end[0] = 0;
    for (std::size_t i = 0; i < count; ++i, rows += row_size) {
      if (!nulls_possible || !TextMissing(info, rows)) Add(rows, (count - i - 1) * (width + kUnit));
      end[i + 1] = static_cast<Offset>(size);
    }
    length += count;
    if (sizeof(Offset) == sizeof(std::int32_t) && size > INT32_MAX)
      throw TextsTooLong("the texts of " + AsUtf8(name) +
                         " in one batch pass 2 GiB: take smaller batches, or VEXA_LARGE_TEXTS");
  }
  void Finish(ArrowArray& array) override {
    Reserve(length, 0);
    MakeRoom(0);
    if (length == 0) reinterpret_cast<Offset*>(ends.data())[0] = 0;
    ArrayParts parts;
    parts.length = length;
    parts.null_count = nulls.Count();
    parts.buffers.reserve(3);
    parts.buffers.push_back(nulls.Count() != 0 ? nulls.Take(length, true) : FrameBuffer());
    parts.buffers.push_back(std::move(ends));
    parts.buffers.push_back(std::move(bytes));
    MakeArray(std::move(parts), nullptr, array);
    Clear();
  }
  void Clear() override {
    length = size = 0;
    ends = FrameBuffer();
    bytes = FrameBuffer();
    nulls = RowBits();
  }

 private:
  void MakeRoom(std::size_t more) { GrowTo(bytes, size + more, 2 * (size + more)); }

  // There is room for the text as it is, and for `behind` bytes of those that follow.
  void Add(const char* text, std::size_t behind) {
    if (binary) {
      std::memcpy(bytes.data() + size, text, width);
      size += width;
    } else if (std::endian::native != std::endian::little || width > kUnit || !AddUnit(text)) {
      AddLong(text, behind);
    }
  }
  // A text of one unit: false, and nothing is done, where it is not ASCII.
  bool AddUnit(const char* text) {
    const std::uint64_t kept = ~std::uint64_t{0} >> (8 * (kUnit - width) & 63);
    const std::uint64_t unit = (EightBytes(text) & kept) | (kEightBlanks & ~kept);
    if ((unit & kHighBits) != 0) return false;
    std::memcpy(bytes.data() + size, &unit, kUnit);
    size += kUnit - static_cast<std::size_t>(std::countl_zero(unit ^ kEightBlanks)) / 8;
    return true;
  }
  void AddLong(const char* text, std::size_t behind) {
    const std::size_t trimmed = WithoutBlanks(text, width);
    if (IsAscii(text, trimmed) || Utf8Length({text, trimmed}) == trimmed) {
      std::memcpy(bytes.data() + size, text, trimmed);
      size += trimmed;
    } else {
      MakeRoom(kMostUtf8 * trimmed + behind);
      size += WriteUtf8({text, trimmed}, bytes.data() + size);
    }
  }

  const std::string name;
  const VarInfo info;
  const std::size_t width;
  const bool nulls_possible;
  const bool binary;
  std::size_t length = 0;
  std::size_t size = 0;
  FrameBuffer ends;
  FrameBuffer bytes;
  RowBits nulls;
};

}  // namespace

std::unique_ptr<Column> MakeTexts(const RowVariable& variable, bool user_missing_is_null, int options) {
  const bool binary = (options & VEXA_BINARY_TEXTS) != 0;
  if ((options & VEXA_LARGE_TEXTS) != 0)
    return std::make_unique<Texts<std::int64_t>>(variable, user_missing_is_null, binary);
  return std::make_unique<Texts<std::int32_t>>(variable, user_missing_is_null, binary);
}
