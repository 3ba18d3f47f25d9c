// Columns of numbers, and of what is user-missing.
#include <cstring>

#include "column_layout.h"
#include "missing_rule.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// The values side by side, and whether any of them is null.
template <class IsNull>
[[gnu::always_inline]] inline bool CopyNumbers(const char* from, std::size_t step, std::size_t count,
                                               double* to, IsNull is_null) {
  bool any = false;
  for (std::size_t i = 0; i < count; ++i, from += step) {
    const std::uint64_t bits = BitsAt(from);
    any |= is_null(bits);
    std::memcpy(to + i, &bits, sizeof bits);
  }
  return any;
}

class Numbers : public Column {
 public:
  explicit Numbers(const NumberRule& rule_) : rule(rule_), plain(!rule.Any()) {}

  void Reserve(std::size_t needed, std::size_t expected) override {
    GrowTo(values, needed * sizeof(double), expected * sizeof(double));
  }
  void Append(const char* rows, std::size_t row_size, std::size_t count) override {
    const auto system_missing = [](std::uint64_t bits) { return bits == kSystemMissingBits; };
    const auto missing = [this](std::uint64_t bits) { return rule.Null(bits); };
    double* const to = reinterpret_cast<double*>(values.data()) + length;
    const bool any = plain ? CopyNumbers(rows, row_size, count, to, system_missing)
                           : CopyNumbers(rows, row_size, count, to, missing);
    if (any) {
      SetBits(
          nulls, length, rows, row_size, count, [this](const char* at) { return rule.Null(BitsAt(at)); },
          [to](std::size_t i) { to[i] = kNaN; });
    }
    length += count;
  }
  void Finish(ArrowArray& array) override {
    Reserve(length, 0);
    ArrayParts parts;
    parts.length = length;
    parts.null_count = nulls.Count();
    parts.buffers.reserve(2);
    parts.buffers.push_back(nulls.Count() != 0 ? nulls.Take(length, true) : FrameBuffer());
    parts.buffers.push_back(std::move(values));
    MakeArray(std::move(parts), nullptr, array);
    Clear();
  }
  void Clear() override {
    length = 0;
    values = FrameBuffer();
    nulls = RowBits();
  }

 private:
  const NumberRule rule;
  const bool plain;
  std::size_t length = 0;
  FrameBuffer values;
  RowBits nulls;
};

class Missing : public Column {
 public:
  explicit Missing(const VarInfo& info_) : info(info_), rule(info) {}

  void Reserve(std::size_t, std::size_t) override {}
  void Append(const char* rows, std::size_t row_size, std::size_t count) override {
    const auto nothing = [](std::size_t) {};
    if (info.varType == 0) {
      SetBits(
          bits, length, rows, row_size, count,
          [this](const char* at) { return rule.UserMissing(BitsAt(at)); }, nothing);
    } else {
      SetBits(
          bits, length, rows, row_size, count, [this](const char* at) { return TextMissing(info, at); },
          nothing);
    }
    length += count;
  }
  void Finish(ArrowArray& array) override {
    ArrayParts parts;
    parts.length = length;
    parts.buffers.resize(2);
    parts.buffers[1] = bits.Take(length, false);
    MakeArray(std::move(parts), nullptr, array);
    Clear();
  }
  void Clear() override {
    length = 0;
    bits = RowBits();
  }

 private:
  const VarInfo info;
  const NumberRule rule;
  std::size_t length = 0;
  RowBits bits;
};

}  // namespace

std::unique_ptr<Column> MakeNumbers(const VarInfo& info, bool user_missing_is_null) {
  return std::make_unique<Numbers>(user_missing_is_null ? NumberRule(info) : NumberRule());
}

std::unique_ptr<Column> MakeMissing(const VarInfo& info) { return std::make_unique<Missing>(info); }
