// Columns of variables with value labels: indices into a dictionary, which begins with the labels and grows
// by each value that has none. What a dictionary once held stays at its place for the whole stream.
#include <array>
#include <bit>
#include <charconv>
#include <climits>
#include <cstring>
#include <unordered_map>

#include "column_layout.h"
#include "missing_rule.h"
#include "utf8_texts.h"

namespace {

// A dictionary as arrays hand it out. They share it until it grows.
struct Snapshot {
  std::vector<char> ends;
  std::string bytes;
};

template <class Offset>
std::shared_ptr<const Snapshot> SnapshotOf(const std::vector<std::string>& texts) {
  auto snapshot = std::make_shared<Snapshot>();
  snapshot->ends.resize((texts.size() + 1) * sizeof(Offset));
  std::size_t size = 0;
  for (const std::string& text : texts) size += text.size();
  if (sizeof(Offset) == sizeof(std::int32_t) && size > INT32_MAX)
    throw TextsTooLong("the labels of a variable pass 2 GiB: take VEXA_LARGE_TEXTS");
  snapshot->bytes.reserve(size + 1);
  for (std::size_t i = 0; i < texts.size(); ++i) {
    snapshot->bytes += texts[i];
    const auto end = static_cast<Offset>(snapshot->bytes.size());
    std::memcpy(&snapshot->ends[(i + 1) * sizeof(Offset)], &end, sizeof end);
  }
  return snapshot;
}

std::string NumberText(double number) {
  std::array<char, 32> digits;
  return {digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr};
}

class Factors : public Column {
 public:
  Factors(const VarInfo& info_, bool user_missing_is_null, bool large_, const ColumnDescription& description)
      : info(info_),
        rule(user_missing_is_null ? NumberRule(info) : NumberRule()),
        text_nulls(user_missing_is_null && info.missingFormat >= 1 && info.missingFormat <= 3),
        large(large_) {
    for (const auto& [value, label] : description.labels) {
      const std::int32_t place = PlaceOf(label);
      if (const auto* text = std::get_if<std::string>(&value)) {
        by_text.emplace(*text, place);
      } else {
        by_number.emplace(KeyOf(std::bit_cast<std::uint64_t>(std::get<double>(value))), place);
      }
    }
  }

  void Reserve(std::size_t needed, std::size_t expected) override {
    GrowTo(indices, needed * sizeof(std::int32_t), expected * sizeof(std::int32_t));
  }
  void Append(const char* rows, std::size_t row_size, std::size_t count) override {
    std::int32_t* const to = reinterpret_cast<std::int32_t*>(indices.data()) + length;
    const auto is_null = [this](const char* at) {
      return info.varType == 0 ? rule.Null(BitsAt(at)) : text_nulls && TextMissing(info, at);
    };
    for (std::size_t i = 0; i < count; ++i) {
      const char* const at = rows + i * row_size;
      to[i] = is_null(at) ? 0 : info.varType == 0 ? IndexOf(BitsAt(at)) : IndexOf(at);
    }
    SetBits(nulls, length, rows, row_size, count, is_null, [](std::size_t) {});
    length += count;
  }
  void Finish(ArrowArray& array) override {
    Reserve(length, 0);
    if (snapshot == nullptr || snapshot_size != texts.size()) {
      snapshot = large ? SnapshotOf<std::int64_t>(texts) : SnapshotOf<std::int32_t>(texts);
      snapshot_size = texts.size();
    }
    ArrayParts entries;
    entries.length = texts.size();
    entries.shared = snapshot;
    entries.shared_buffers = {nullptr, snapshot->ends.data(), snapshot->bytes.data()};
    ArrowArray dictionary;
    MakeArray(std::move(entries), nullptr, dictionary);
    try {
      ArrayParts parts;
      parts.length = length;
      parts.null_count = nulls.Count();
      parts.buffers.reserve(2);
      parts.buffers.push_back(nulls.Count() != 0 ? nulls.Take(length, true) : FrameBuffer());
      parts.buffers.push_back(std::move(indices));
      MakeArray(std::move(parts), &dictionary, array);
    } catch (...) {
      ReleaseArray(&dictionary);
      throw;
    }
    Clear();
  }
  void Clear() override {
    length = 0;
    indices = FrameBuffer();
    nulls = RowBits();
  }

 private:
  // The zeros are one value.
  static std::uint64_t KeyOf(std::uint64_t bits) { return bits << 1 == 0 ? 0 : bits; }

  // Of a text of the dictionary, which goes behind the others if it is new.
  std::int32_t PlaceOf(const std::string& text) {
    const auto [found, is_new] = places.emplace(text, static_cast<std::int32_t>(texts.size()));
    if (is_new) texts.push_back(text);
    return found->second;
  }
  std::int32_t IndexOf(std::uint64_t bits) {
    const std::uint64_t key = KeyOf(bits);
    if (key == last_key && last_index >= 0) return last_index;
    const auto found = by_number.find(key);
    last_index = found != by_number.end()
                     ? found->second
                     : by_number.emplace(key, PlaceOf(NumberText(std::bit_cast<double>(key)))).first->second;
    last_key = key;
    return last_index;
  }
  std::int32_t IndexOf(const char* value) {
    const std::size_t length_of = WithoutBlanks(value, static_cast<std::size_t>(info.varType));
    sought.assign(value, length_of);
    const auto found = by_text.find(sought);
    if (found != by_text.end()) return found->second;
    const std::string utf8 = AsUtf8(sought);
    const auto labelled = by_text.find(utf8);
    const std::int32_t place = labelled != by_text.end() ? labelled->second : PlaceOf(utf8);
    return by_text.emplace(sought, place).first->second;
  }

  const VarInfo info;
  const NumberRule rule;
  const bool text_nulls;
  const bool large;
  std::vector<std::string> texts;  // the dictionary
  std::unordered_map<std::string, std::int32_t> places;
  std::unordered_map<std::uint64_t, std::int32_t> by_number;
  std::unordered_map<std::string, std::int32_t> by_text;
  std::uint64_t last_key = 0;
  std::int32_t last_index = -1;
  std::string sought;
  std::shared_ptr<const Snapshot> snapshot;
  std::size_t snapshot_size = 0;
  std::size_t length = 0;
  FrameBuffer indices;
  RowBits nulls;
};

}  // namespace

std::unique_ptr<Column> MakeFactors(const VarInfo& info, bool user_missing_is_null, int options,
                                    const ColumnDescription& description) {
  return std::make_unique<Factors>(info, user_missing_is_null, (options & VEXA_LARGE_TEXTS) != 0,
                                   description);
}
