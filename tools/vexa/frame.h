// A message as its bytes lie on a fifo, taken apart strictly: where the library skips what does not fit, this
// says what is wrong with it. docs/backend.md has the layout.
#ifndef FRAME_H
#define FRAME_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct CellChange {
  std::string dataset;
  std::int32_t row = 0, column = 0;
  double number = 0;
};

struct Frame {
  std::int32_t action = -1, code = 0;
  std::vector<std::int32_t> longs = {};
  std::vector<double> doubles = {};
  std::vector<std::string> strings = {};
  std::vector<CellChange> cells = {};  // written alone, of numbers
  std::vector<std::vector<std::int32_t>> long_lists = {};
  std::vector<std::vector<double>> double_lists = {};
  std::vector<std::vector<std::string>> string_lists = {};
  std::size_t binary = 0, wide = 0;  // read alone, how many there are, as of the records
  std::size_t records = 0;
  std::string void_block = {};
};

inline constexpr std::size_t kFrameHead = 12;  // length, action, code

std::string ImageOf(const Frame& frame);
// What keeps the bytes from being one whole message; empty for nothing.
std::string WhyNoFrame(std::string_view bytes, Frame& frame);
// The elements of the slot that functions.json calls so.
std::size_t SlotSize(const Frame& frame, std::string_view slot);
// "2 longs, 1 strings"; "nothing".
std::string SlotsOf(const Frame& frame);

#endif
