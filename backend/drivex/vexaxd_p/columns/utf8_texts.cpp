#include "utf8_texts.h"

#include <algorithm>

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

struct Sequence {
  std::size_t length;  // at least 1
  bool whole;          // else these are the bytes that stand for one U+FFFD
};

bool Within(unsigned char byte, unsigned char low, unsigned char high) { return byte >= low && byte <= high; }

// The second byte has bounds of its own where it tells apart what is too long, a surrogate, or out of range.
Sequence FirstOf(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(0);
  if (lead < 0x80) return {1, true};
  if (!Within(lead, 0xC2, 0xF4)) return {1, false};
  const std::size_t wanted = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  const unsigned char low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  const unsigned char high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  if (text.size() < 2 || !Within(byte(1), low, high)) return {1, false};
  std::size_t length = 2;
  while (length < wanted && length < text.size() && Within(byte(length), 0x80, 0xBF)) ++length;
  return {length, length == wanted};
}

}  // namespace

std::size_t Utf8Length(std::string_view text) {
  std::size_t length = 0;
  while (length < text.size()) {
    if (text.size() - length >= 8 && (EightBytes(text.data() + length) & kHighBits) == 0) {
      length += 8;
      continue;
    }
    const Sequence next = FirstOf(text.substr(length));
    if (!next.whole) break;
    length += next.length;
  }
  return length;
}

std::size_t WriteUtf8(std::string_view text, char* to) {
  char* const begin = to;
  for (;;) {
    const std::size_t good = Utf8Length(text);
    to = std::copy_n(text.data(), good, to);
    text.remove_prefix(good);
    if (text.empty()) return static_cast<std::size_t>(to - begin);
    text.remove_prefix(FirstOf(text).length);
    to = std::copy(kReplacement.begin(), kReplacement.end(), to);
  }
}

std::string AsUtf8(std::string_view text) {
  std::string utf8(kMostUtf8 * text.size(), '\0');
  utf8.resize(WriteUtf8(text, utf8.data()));
  return utf8;
}
