#include "histogram.h"

#include <png.h>

#include <algorithm>
#include <new>
#include <vector>

namespace {

constexpr std::uint32_t kWidth = 320;
constexpr std::uint32_t kHeight = 200;
constexpr std::size_t kBars = 16;
constexpr char kWhite = '\xFF';
constexpr char kGrey = '\x60';

// The cases of each of the equal parts of the range.
std::vector<std::size_t> CountBars(Dataset& dataset, const Variable& variable) {
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

std::string HistogramPng(Dataset& dataset, const Variable& variable) {
  const std::vector<std::size_t> bars = CountBars(dataset, variable);
  const std::size_t most = std::max<std::size_t>(*std::max_element(bars.begin(), bars.end()), 1);
  std::string pixels;
  for (std::size_t y = 0; y < kHeight; ++y) {
    for (std::size_t x = 0; x < kWidth; ++x) {
      const std::size_t top = kHeight - bars[x * kBars / kWidth] * kHeight / most;
      const bool between = x % (kWidth / kBars) == 0;
      pixels += y >= top && !between ? kGrey : kWhite;
    }
  }
  png_image image = {};
  image.version = PNG_IMAGE_VERSION;
  image.width = kWidth;
  image.height = kHeight;
  image.format = PNG_FORMAT_GRAY;
  png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(image);
  std::string png(size, '\0');
  if (png_image_write_to_memory(&image, png.data(), &size, 0, pixels.data(), 0, nullptr) == 0)
    throw std::bad_alloc();
  png.resize(size);
  return png;
}
