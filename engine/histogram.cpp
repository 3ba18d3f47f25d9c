#include "histogram.h"

#include <algorithm>
#include <vector>

namespace {

constexpr std::uint32_t kWidth = 320;
constexpr std::uint32_t kHeight = 200;
constexpr std::size_t kBars = 16;
constexpr char kWhite = '\xFF';
constexpr char kGrey = '\x60';
constexpr std::size_t kMostStored = 65535;  // bytes of a stored block

std::string BigEndian(std::uint32_t value) {
  return {static_cast<char>(value >> 24), static_cast<char>(value >> 16), static_cast<char>(value >> 8),
          static_cast<char>(value)};
}

std::uint32_t Crc32(const std::string& bytes) {
  std::uint32_t crc = 0xFFFFFFFF;
  for (const char byte : bytes) {
    crc ^= static_cast<unsigned char>(byte);
    for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ ((crc & 1) != 0 ? 0xEDB88320u : 0u);
  }
  return ~crc;
}

std::string Chunk(const std::string& type, const std::string& data) {
  return BigEndian(static_cast<std::uint32_t>(data.size())) + type + data + BigEndian(Crc32(type + data));
}

// A zlib stream of stored blocks: nothing is compressed, and no library is needed.
std::string Stored(const std::string& data) {
  std::string stream = "\x78\x01";
  std::uint32_t low = 1, high = 0;  // the two sums of Adler-32
  for (std::size_t at = 0; at < data.size(); at += kMostStored) {
    const std::size_t size = std::min(kMostStored, data.size() - at);
    const auto byte = [](std::size_t value) { return static_cast<char>(value & 0xFF); };
    stream += {byte(at + size == data.size()), byte(size), byte(size >> 8), byte(~size), byte(~size >> 8)};
    stream.append(data, at, size);
  }
  for (const char byte : data) {
    low = (low + static_cast<unsigned char>(byte)) % 65521;
    high = (high + low) % 65521;
  }
  return stream + BigEndian(high << 16 | low);
}

// The cases of each of the equal parts of the range.
std::vector<std::size_t> CountBars(const Dataset& dataset, const Variable& variable) {
  std::vector<double> values;
  for (std::size_t i = 0; i < dataset.CaseCount(); ++i) {
    const Unit* unit = dataset.Case(i) + variable.first_unit;
    if (StateOf(variable, unit) == MissingState::Valid) values.push_back(NumberOf(*unit));
  }
  std::vector<std::size_t> bars(kBars);
  if (values.empty()) return bars;
  const auto [least, most] = std::minmax_element(values.begin(), values.end());
  const double width = *most / kBars - *least / kBars;  // divided first: the range may be wider than a double
  for (const double value : values) {
    const double bar = width > 0 ? value / width - *least / width : 0;
    ++bars[std::min(static_cast<std::size_t>(bar), kBars - 1)];
  }
  return bars;
}

}  // namespace

std::string HistogramPng(const Dataset& dataset, const Variable& variable) {
  const std::vector<std::size_t> bars = CountBars(dataset, variable);
  const std::size_t most = std::max<std::size_t>(*std::max_element(bars.begin(), bars.end()), 1);
  std::string pixels;
  for (std::size_t y = 0; y < kHeight; ++y) {
    pixels += '\0';  // no filter on this line
    for (std::size_t x = 0; x < kWidth; ++x) {
      const std::size_t top = kHeight - bars[x * kBars / kWidth] * kHeight / most;
      const bool between = x % (kWidth / kBars) == 0;
      pixels += y >= top && !between ? kGrey : kWhite;
    }
  }
  const std::string header = BigEndian(kWidth) + BigEndian(kHeight) + std::string("\x08\0\0\0\0", 5);
  return "\x89PNG\r\n\x1A\n" + Chunk("IHDR", header) + Chunk("IDAT", Stored(pixels)) + Chunk("IEND", "");
}
