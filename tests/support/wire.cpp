#include "support/wire.h"
#include "support/test.h"

namespace {

// Walks over an image in the order of the wire; writes its bytes, or fills it from them.
struct Codec {
  const bool reading;
  std::string bytes;
  std::size_t at = 0;

  void Raw(void* data, std::size_t length) {
    if (!reading) {
      bytes.append(static_cast<char*>(data), length);
    } else if (length > bytes.size() - at) {
      throw std::runtime_error("the image ends too soon");
    } else {
      at += bytes.copy(static_cast<char*>(data), length, at);
    }
  }
  template <class List>
  void Size(List& list) {
    auto size = static_cast<std::int32_t>(list.size());
    Raw(&size, sizeof size);
    // Every element has a byte at least.
    if (size < 0 || (reading && static_cast<std::size_t>(size) > bytes.size() - at)) {
      throw std::runtime_error("bad count");
    }
    list.resize(static_cast<std::size_t>(size));
  }
  void Walk(std::int32_t& value) { Raw(&value, sizeof value); }
  void Walk(double& value) { Raw(&value, sizeof value); }
  void Walk(Record& r) { InOrder(r.dataset, r.row, r.column, r.type, r.number, r.text); }
  template <class Character>
  void Walk(std::basic_string<Character>& text) {
    Size(text);
    Raw(text.data(), text.size() * sizeof(Character));
  }
  template <class Element>
  void Walk(std::vector<Element>& list) {
    Size(list);
    for (Element& element : list) Walk(element);
  }
  void Walk(Image& i) {
    InOrder(i.action, i.error, i.longs, i.doubles, i.strings, i.records, i.long_lists, i.double_lists,
            i.string_lists, i.binary, i.wide, i.void_block);
  }
  template <class... Parts>
  void InOrder(Parts&... parts) {
    (Walk(parts), ...);
  }
};

// What the first word says, which is a part of the frame itself.
std::size_t LengthOf(const std::string& frame) {
  std::int32_t word = 0;
  std::memcpy(&word, frame.data(), sizeof word);
  return static_cast<std::size_t>(std::max<std::int32_t>(word, sizeof word));
}

}  // namespace

std::string Encode(Image image) {
  Codec writer{.reading = false, .bytes = {}};
  std::int32_t length = 0;
  writer.InOrder(length, image);
  length = static_cast<std::int32_t>(writer.bytes.size());
  return writer.bytes.replace(0, sizeof length, reinterpret_cast<const char*>(&length), sizeof length);
}

std::optional<Image> Decode(const std::string& bytes) try {
  Codec reader{.reading = true, .bytes = bytes};
  std::int32_t length = 0;
  Image image;
  reader.InOrder(length, image);
  if (reader.at != bytes.size() || static_cast<std::size_t>(length) != bytes.size()) return std::nullopt;
  return image;
} catch (const std::runtime_error&) {
  return std::nullopt;
}

std::ostream& operator<<(std::ostream& stream, const Image& image) {
  return stream << "action " << image.action << ", error " << image.error << ": "
                << testing::PrintToString(Encode(image).substr(12));
}

std::string ReadFrame(int fd, int milliseconds) {
  std::string frame(sizeof(std::int32_t), '\0');
  std::size_t at = 0;
  while (at < frame.size()) {
    pollfd look = {fd, POLLIN, 0};
    const ssize_t got = poll(&look, 1, milliseconds) > 0 ? read(fd, &frame[at], frame.size() - at) : 0;
    if (got <= 0) break;
    at += static_cast<std::size_t>(got);
    if (at == sizeof(std::int32_t)) frame.resize(LengthOf(frame));
  }
  frame.resize(at);
  return frame;
}

bool IsWhole(const std::string& frame) {
  return frame.size() >= sizeof(std::int32_t) && LengthOf(frame) <= frame.size();
}

bool WriteAll(int fd, const std::string& bytes, int milliseconds) {
  for (std::size_t sent = 0; sent < bytes.size();) {
    pollfd look = {fd, POLLOUT, 0};
    const bool ready = poll(&look, 1, milliseconds) > 0;
    const ssize_t count = ready ? write(fd, bytes.data() + sent, bytes.size() - sent) : 0;
    if (count <= 0) return false;
    sent += static_cast<std::size_t>(count);
  }
  return true;
}
