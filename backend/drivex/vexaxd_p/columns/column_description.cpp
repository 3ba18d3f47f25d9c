#include "column_description.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace {

constexpr std::string_view kLabel = "vexa.label", kFormat = "vexa.format", kLevel = "vexa.level",
                           kRole = "vexa.role", kWidth = "vexa.width", kMissing = "vexa.missing",
                           kLabels = "vexa.labels";
constexpr std::string_view kOneValue = "value", kRange = "range";
constexpr int kRangeFormat = -2, kRangeAndValueFormat = -3;
constexpr std::size_t kMostMissingValues = 3;

// --- Writing ---

void AddCount(std::string& image, std::size_t count) {
  const auto number = static_cast<std::int32_t>(count);
  image.append(reinterpret_cast<const char*>(&number), sizeof number);
}

// The keys and values that say something.
struct Pairs {
  void Add(std::string_view key, std::string_view value) {
    if (value.empty()) return;
    AddCount(image, key.size());
    image += key;
    AddCount(image, value.size());
    image += value;
    ++count;
  }
  void Add(std::string_view key, int number) {
    if (number != ColumnDescription::kNotSaid) Add(key, std::to_string(number));
  }

  std::string image;
  std::size_t count = 0;
};

void AddField(std::string& lines, std::string_view text) {
  for (const char c : text) {
    if (c == '\\' || c == '\t' || c == '\n') lines += '\\';
    lines += c == '\t' ? 't' : c == '\n' ? 'n' : c;
  }
}

void AddField(std::string& lines, const ColumnValue& value) {
  if (const auto* text = std::get_if<std::string>(&value)) return AddField(lines, std::string_view(*text));
  std::array<char, 32> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), std::get<double>(value)).ptr;
  lines.append(digits.data(), end);
}

void BeginLine(std::string& lines, std::string_view word) {
  if (!lines.empty()) lines += '\n';
  lines += word;
}

std::string MissingLines(const ColumnDescription& description) {
  std::string lines;
  const std::vector<ColumnValue>& values = description.missing;
  std::size_t next = 0;
  if (description.missing_format < 0 && values.size() >= 2) {
    BeginLine(lines, kRange);
    for (; next < 2; ++next) AddField(lines += '\t', values[next]);
  }
  for (; next < values.size(); ++next) {
    BeginLine(lines, kOneValue);
    AddField(lines += '\t', values[next]);
  }
  return lines;
}

std::string LabelLines(const ColumnDescription& description) {
  std::string lines;
  for (const auto& [value, label] : description.labels) {
    // The first field may be empty, so that the lines before it do not tell whether this is the first.
    if (&value != &description.labels.front().first) lines += '\n';
    AddField(lines, value);
    AddField(lines += '\t', std::string_view(label));
  }
  return lines;
}

// --- Reading ---

// Calls `take` with each piece of `text` between two marks, until it returns false.
template <class Take>
bool ForEachPiece(std::string_view text, char mark, Take take) {
  for (;;) {
    const std::size_t end = text.find(mark);
    if (!take(text.substr(0, end))) return false;
    if (end == std::string_view::npos) return true;
    text.remove_prefix(end + 1);
  }
}

bool ReadField(std::string_view field, std::string& text) {
  for (std::size_t i = 0; i < field.size(); ++i) {
    if (field[i] != '\\') {
      text += field[i];
      continue;
    }
    const char escaped = ++i < field.size() ? field[i] : '\0';
    if (escaped != '\\' && escaped != 't' && escaped != 'n') return false;
    text += escaped == 't' ? '\t' : escaped == 'n' ? '\n' : '\\';
  }
  return true;
}

template <class Number>
bool ReadNumber(std::string_view text, Number& number) {
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stop == end;
}

bool ReadValue(std::string_view field, bool is_text, ColumnValue& value) {
  if (is_text) return ReadField(field, value.emplace<std::string>());
  double& number = value.emplace<double>();
  return ReadNumber(field, number) && !std::isnan(number);
}

bool ReadCode(std::string_view text, int& number) { return ReadNumber(text, number) && number >= 0; }

// The range, of numbers only, comes first among the values.
bool ReadMissingLine(std::string_view line, bool is_text, ColumnDescription& description) {
  std::vector<std::string_view> fields;
  ForEachPiece(line, '\t', [&](std::string_view field) { return fields.push_back(field), true; });
  std::vector<ColumnValue>& values = description.missing;
  ColumnValue first, last;
  if (fields.size() == 2 && fields[0] == kOneValue) {
    if (!ReadValue(fields[1], is_text, first)) return false;
    values.push_back(std::move(first));
    return true;
  }
  const bool is_range =
      fields.size() == 3 && fields[0] == kRange && !is_text && description.missing_format == 0;
  if (!is_range || !ReadValue(fields[1], false, first) || !ReadValue(fields[2], false, last)) return false;
  if (std::get<double>(first) > std::get<double>(last)) return false;
  description.missing_format = kRangeFormat;
  values.insert(values.begin(), {first, last});
  return true;
}

bool ReadMissing(std::string_view lines, bool is_text, ColumnDescription& description) {
  description.missing.clear();
  description.missing_format = 0;
  const bool read = lines.empty() || ForEachPiece(lines, '\n', [&](std::string_view line) {
                      return ReadMissingLine(line, is_text, description);
                    });
  const std::size_t values = description.missing.size();
  if (!read || values > kMostMissingValues) return false;
  if (description.missing_format == 0) description.missing_format = static_cast<int>(values);
  if (description.missing_format < 0 && values == kMostMissingValues)
    description.missing_format = kRangeAndValueFormat;
  return true;
}

bool ReadLabels(std::string_view lines, bool is_text, ColumnDescription& description) {
  description.labels.clear();
  return lines.empty() || ForEachPiece(lines, '\n', [&](std::string_view line) {
           auto& [value, label] = description.labels.emplace_back();
           const std::size_t tab = line.find('\t');
           return tab != std::string_view::npos && ReadValue(line.substr(0, tab), is_text, value) &&
                  ReadField(line.substr(tab + 1), label);
         });
}

bool ReadPair(std::string_view key, std::string_view value, bool is_text, ColumnDescription& description) {
  if (key == kLabel) return description.label = value, true;
  if (key == kFormat) return description.format = value, true;
  if (key == kLevel) return ReadCode(value, description.level);
  if (key == kRole) return ReadCode(value, description.role);
  if (key == kWidth) return ReadCode(value, description.width);
  if (key == kMissing) return ReadMissing(value, is_text, description);
  if (key == kLabels) return ReadLabels(value, is_text, description);
  return true;
}

// Nothing says where metadata end: the lengths in them are believed, but for one that cannot be.
class MetadataReader {
 public:
  explicit MetadataReader(const char* start) : next(start) {}
  bool Count(std::int32_t& count) {
    std::memcpy(&count, next, sizeof count);
    next += sizeof count;
    return count >= 0;
  }
  bool Text(std::string_view& text) {
    std::int32_t length = 0;
    if (!Count(length)) return false;
    text = {next, static_cast<std::size_t>(length)};
    next += length;
    return true;
  }

 private:
  const char* next;
};

}  // namespace

std::string ColumnDescription::Encode() const {
  Pairs pairs;
  pairs.Add(kLabel, label);
  pairs.Add(kFormat, format);
  pairs.Add(kLevel, level);
  pairs.Add(kRole, role);
  pairs.Add(kWidth, width);
  pairs.Add(kMissing, MissingLines(*this));
  pairs.Add(kLabels, LabelLines(*this));
  std::string image;
  if (pairs.count == 0) return image;
  AddCount(image, pairs.count);
  return image + pairs.image;
}

bool ColumnDescription::Decode(const char* metadata, bool is_text, ColumnDescription& description,
                               std::string& problem) {
  description = ColumnDescription();
  if (metadata == nullptr) return true;
  MetadataReader reader(metadata);
  std::int32_t count = 0;
  bool counted = reader.Count(count);
  for (std::string_view key, value; counted && count > 0; --count) {
    counted = reader.Text(key) && reader.Text(value);
    if (!counted || ReadPair(key, value, is_text, description)) continue;
    problem.assign("its metadata are wrong in ").append(key);
    return false;
  }
  if (!counted) problem = "its metadata have a negative length";
  return counted;
}
