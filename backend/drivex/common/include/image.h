// Reading and writing the bytes of an image. The writer fills a buffer whose size was computed before; the
// reader never goes past the bytes that it was given.
#ifndef IMAGE_H
#define IMAGE_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

// Of `count` bytes the first and the last word, which overlap.
template <class Word>
[[gnu::always_inline]] inline void CopyBothEnds(char* to, const char* from, std::size_t count) {
  Word first, last;
  std::memcpy(&first, from, sizeof first);
  std::memcpy(&last, from + count - sizeof last, sizeof last);
  std::memcpy(to, &first, sizeof first);
  std::memcpy(to + count - sizeof last, &last, sizeof last);
}

// memcpy, without a call for what is short, as names and most texts are. An empty source may be null.
[[gnu::always_inline]] inline void CopyBytes(char* to, const char* from, std::size_t count) {
  if (count > 16) {
    std::memcpy(to, from, count);
  } else if (count >= 8) {
    CopyBothEnds<std::uint64_t>(to, from, count);
  } else if (count >= 4) {
    CopyBothEnds<std::uint32_t>(to, from, count);
  } else if (count != 0) {
    const char first = from[0], middle = from[count / 2], last = from[count - 1];
    to[0] = first;
    to[count / 2] = middle;
    to[count - 1] = last;
  }
}

class ImageWriter {
 public:
  explicit ImageWriter(char* position) : position_(position) {}

  char* position() const { return position_; }
  [[gnu::always_inline]] void Bytes(const void* bytes, std::size_t count) {
    CopyBytes(position_, static_cast<const char*>(bytes), count);
    position_ += count;
  }
  void Word(std::size_t value) { Value(static_cast<std::int32_t>(value)); }
  [[gnu::always_inline]] void Text(std::string_view text) {
    Word(text.size());
    Bytes(text.data(), text.size());
  }
  template <class T>
  void Value(T value) {
    std::memcpy(position_, &value, sizeof value);
    position_ += sizeof value;
  }

 private:
  char* position_;
};

class ImageReader {
 public:
  // For an image that is trusted: its counts alone end the walk.
  static constexpr std::size_t kTrusted = SIZE_MAX;

  ImageReader(const char* position, std::size_t available) : position_(position), remaining_(available) {}

  const char* position() const { return position_; }
  bool Trusted() const { return remaining_ == kTrusted; }
  bool Has(std::size_t count) const { return count <= remaining_; }
  // Passes over a count of 0.
  bool SkipEmpty() {
    std::int32_t word = 0;
    if (!Has(sizeof word)) return false;
    std::memcpy(&word, position_, sizeof word);
    return word == 0 && Bytes(sizeof word) != nullptr;
  }
  // The next `count` bytes; null, and nothing is consumed, when there are not so many.
  const char* Bytes(std::size_t count) {
    if (!Has(count)) return nullptr;
    const char* bytes = position_;
    position_ += count;
    if (remaining_ != kTrusted) remaining_ -= count;
    return bytes;
  }
  template <class T>
  bool Value(T& value) {
    const char* bytes = Bytes(sizeof value);
    if (bytes == nullptr) return false;
    std::memcpy(&value, bytes, sizeof value);
    return true;
  }
  bool Text(std::string_view& text) {
    std::int32_t length = 0;
    if (!Value(length) || length < 0) return false;
    const char* const bytes = Bytes(static_cast<std::size_t>(length));
    if (bytes == nullptr) return false;
    text = {bytes, static_cast<std::size_t>(length)};
    return true;
  }
  // A count of elements of at least `element_size` bytes each: read as 0 when negative, false when the bytes
  // that are left cannot hold so many.
  bool Count(std::size_t element_size, std::size_t& count) {
    std::int32_t word = 0;
    if (!Value(word)) return false;
    count = word > 0 ? static_cast<std::size_t>(word) : 0;
    return Has(count * element_size);
  }

 private:
  const char* position_;
  std::size_t remaining_;
};

#endif
