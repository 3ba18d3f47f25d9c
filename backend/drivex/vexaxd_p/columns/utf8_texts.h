// Texts of the backend as columns have them: without the blanks at their end, and as UTF-8. Each run of bytes
// that is none, as far as it could have become a character, is one U+FFFD.
#ifndef UTF8_TEXTS_H
#define UTF8_TEXTS_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

inline constexpr std::uint64_t kEightBlanks = 0x2020202020202020;
inline constexpr std::uint64_t kHighBits = 0x8080808080808080;

inline std::uint64_t EightBytes(const char* at) {
  std::uint64_t bytes;
  std::memcpy(&bytes, at, sizeof bytes);
  return bytes;
}

// The length without the blanks at the end.
inline std::size_t WithoutBlanks(const char* text, std::size_t length) {
  while (length >= 8 && EightBytes(text + length - 8) == kEightBlanks) length -= 8;
  while (length > 0 && text[length - 1] == ' ') --length;
  return length;
}

// Whether the text has nothing but ASCII in it.
inline bool IsAscii(const char* text, std::size_t length) {
  std::uint64_t bits = 0;
  for (; length >= 8; text += 8, length -= 8) bits |= EightBytes(text);
  for (; length > 0; --length) bits |= static_cast<unsigned char>(text[length - 1]);
  return (bits & kHighBits) == 0;
}

// The bytes at the front that are UTF-8.
std::size_t Utf8Length(std::string_view text);
// What a text grows to at the most, as UTF-8.
inline constexpr std::size_t kMostUtf8 = 3;
// Writes the text as UTF-8. Returns the bytes that were written.
std::size_t WriteUtf8(std::string_view text, char* to);
std::string AsUtf8(std::string_view text);

#endif
