// The wire image as a peer knows it, read and written by code of its own, so that a fault in the library's
// image cannot hide in both ends. The layout stands at the top of CleXDSmb.h.
#ifndef SUPPORT_WIRE_H
#define SUPPORT_WIRE_H

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

struct Record {
  std::string dataset;
  std::int32_t row = 0, column = 0, type = 0;
  double number = 0.0;
  std::string text;
};

struct Image {
  std::int32_t action = -1, error = 0;
  std::vector<std::int32_t> longs;
  std::vector<double> doubles;
  std::vector<std::string> strings;
  std::vector<Record> records;
  std::vector<std::vector<std::int32_t>> long_lists;
  std::vector<std::vector<double>> double_lists;
  std::vector<std::vector<std::string>> string_lists;
  std::string binary;
  std::u32string wide;
  std::string void_block;
};

std::string Encode(Image image);
// Nothing when a count does not fit, or when the length word and the sections do not end where the bytes end.
std::optional<Image> Decode(const std::string& bytes);
// By their bytes: a NaN equals itself, and the zeros differ.
inline bool operator==(const Image& one, const Image& other) { return Encode(one) == Encode(other); }
std::ostream& operator<<(std::ostream& stream, const Image& image);

// The next frame from a descriptor, up to its end and no further; less when the next piece does not come in
// time. Whether there is as much as the first word says.
std::string ReadFrame(int fd, int milliseconds);
bool IsWhole(const std::string& frame);
// Whether all of it was taken, each piece in time.
bool WriteAll(int fd, const std::string& bytes, int milliseconds);

// The content of one slot: Longs{3}, Strings{"age"}, LongLists{{1, 2}, {3}}, Void{bytes}.
template <auto Slot, class List>
struct In {
  List content;
  In(std::initializer_list<typename List::value_type> values) : content(values) {}
  explicit In(List values) : content(std::move(values)) {}
  void AddTo(Image& image) const { image.*Slot = content; }
};
using Longs = In<&Image::longs, std::vector<std::int32_t>>;
using Doubles = In<&Image::doubles, std::vector<double>>;
using Strings = In<&Image::strings, std::vector<std::string>>;
using Records = In<&Image::records, std::vector<Record>>;
using LongLists = In<&Image::long_lists, std::vector<std::vector<std::int32_t>>>;
using DoubleLists = In<&Image::double_lists, std::vector<std::vector<double>>>;
using StringLists = In<&Image::string_lists, std::vector<std::vector<std::string>>>;
using Binary = In<&Image::binary, std::string>;
using Wide = In<&Image::wide, std::u32string>;
using Void = In<&Image::void_block, std::string>;
struct Error {
  std::int32_t code;
  void AddTo(Image& image) const { image.error = code; }
};

template <class... Slots>
Image MakeImage(std::int32_t action, const Slots&... slots) {
  Image image;
  image.action = action;
  (slots.AddTo(image), ...);
  return image;
}

#endif
