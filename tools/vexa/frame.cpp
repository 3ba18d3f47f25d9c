#include "frame.h"

#include <cstring>

namespace {

template <class Value>
void Put(std::string& image, Value value) {
  image.append(reinterpret_cast<const char*>(&value), sizeof value);
}
void PutCount(std::string& image, std::size_t count) { Put(image, static_cast<std::int32_t>(count)); }

void PutElement(std::string& image, std::int32_t value) { Put(image, value); }
void PutElement(std::string& image, double value) { Put(image, value); }
void PutElement(std::string& image, const std::string& text) {
  PutCount(image, text.size());
  image += text;
}
void PutElement(std::string& image, const CellChange& cell) {
  constexpr std::int32_t kNumber = 0;
  PutElement(image, cell.dataset);
  for (const std::int32_t value : {cell.row, cell.column, kNumber}) Put(image, value);
  Put(image, cell.number);
  PutCount(image, 0);
}
template <class Element>
void PutElement(std::string& image, const std::vector<Element>& list) {
  PutCount(image, list.size());
  for (const Element& element : list) PutElement(image, element);
}

// Goes over the bytes once; what does not fit is told, and nothing behind it is read.
class Reader {
 public:
  explicit Reader(std::string_view bytes) : rest(bytes) {}

  template <class Value>
  void Take(Value& value, const std::string& what) {
    if (Wants(sizeof value, what)) std::memcpy(&value, rest.data(), sizeof value);
    Skip(sizeof value);
  }
  // A count of what takes at least so many bytes each.
  std::size_t Count(const std::string& what, std::size_t least) {
    std::int32_t count = 0;
    Take(count, "the count of " + what);
    if (why.empty() && (count < 0 || static_cast<std::size_t>(count) > rest.size() / least))
      why = "the count of " + what + " is " + std::to_string(count) + ", and " + std::to_string(rest.size()) +
            " bytes are left";
    return why.empty() ? static_cast<std::size_t>(count) : 0;
  }
  void Element(std::int32_t& value, const std::string& what) { Take(value, what); }
  void Element(double& value, const std::string& what) { Take(value, what); }
  void Element(std::string& text, const std::string& what) {
    const std::size_t length = Count("bytes of " + what, 1);
    text = rest.substr(0, length);
    Skip(length);
  }
  template <class Value>
  void Element(std::vector<Value>& list, const std::string& what) {
    list.resize(Count(what, sizeof(Value) == sizeof(double) ? sizeof(double) : sizeof(std::int32_t)));
    for (std::size_t i = 0; i < list.size() && why.empty(); ++i)
      Element(list[i], what + "[" + std::to_string(i) + "]");
  }
  void Records(std::size_t& count) {
    count = Count("records", 28);
    for (std::size_t i = 0; i < count && why.empty(); ++i) {
      std::string text;
      std::int32_t number = 0;
      double value = 0;
      Element(text, "a record's dataset");
      for (const char* const what : {"a record's row", "a record's column", "a record's type"})
        Element(number, what);
      Element(value, "a record's number");
      Element(text, "a record's text");
    }
  }
  std::size_t Block(const char* what, std::size_t size) {
    const std::size_t length = Count(what, size);
    Skip(length * size);
    return length;
  }
  const std::string& Why() const { return why; }
  std::size_t Left() const { return rest.size(); }

 private:
  bool Wants(std::size_t bytes, const std::string& what) {
    if (why.empty() && rest.size() < bytes) why = "it ends ahead of " + what;
    return why.empty();
  }
  void Skip(std::size_t bytes) {
    if (why.empty()) rest.remove_prefix(bytes);
  }

  std::string_view rest;
  std::string why;
};

}  // namespace

std::string ImageOf(const Frame& frame) {
  std::string image(sizeof(std::int32_t), '\0');
  PutElement(image, frame.action);
  PutElement(image, frame.code);
  PutElement(image, frame.longs);
  PutElement(image, frame.doubles);
  PutElement(image, frame.strings);
  PutElement(image, frame.cells);
  PutElement(image, frame.long_lists);
  PutElement(image, frame.double_lists);
  PutElement(image, frame.string_lists);
  PutCount(image, 0);
  PutCount(image, 0);
  PutElement(image, frame.void_block);
  const auto length = static_cast<std::int32_t>(image.size());
  std::memcpy(image.data(), &length, sizeof length);
  return image;
}

std::string WhyNoFrame(std::string_view bytes, Frame& frame) {
  frame = {};
  Reader reader(bytes);
  std::int32_t length = 0;
  reader.Take(length, "its length");
  if (reader.Why().empty() && static_cast<std::size_t>(length) != bytes.size())
    return "its length says " + std::to_string(length) + ", and " + std::to_string(bytes.size()) +
           " bytes came";
  reader.Take(frame.action, "its action");
  reader.Take(frame.code, "its code");
  reader.Element(frame.longs, "longs");
  reader.Element(frame.doubles, "doubles");
  reader.Element(frame.strings, "strings");
  reader.Records(frame.records);
  reader.Element(frame.long_lists, "longArrays");
  reader.Element(frame.double_lists, "doubleArrays");
  reader.Element(frame.string_lists, "stringArrays");
  frame.binary = reader.Block("bytes of binary", 1);
  frame.wide = reader.Block("characters of wide", 4);
  reader.Element(frame.void_block, "void");
  if (reader.Why().empty() && reader.Left() != 0)
    return std::to_string(reader.Left()) + " bytes stand behind its last slot";
  return reader.Why();
}

std::size_t SlotSize(const Frame& frame, std::string_view slot) {
  if (slot == "longs") return frame.longs.size();
  if (slot == "doubles") return frame.doubles.size();
  if (slot == "strings") return frame.strings.size();
  if (slot == "structs") return frame.records;
  if (slot == "longArrays") return frame.long_lists.size();
  if (slot == "doubleArrays") return frame.double_lists.size();
  if (slot == "stringArrays") return frame.string_lists.size();
  if (slot == "binary") return frame.binary;
  if (slot == "wide") return frame.wide;
  return frame.void_block.size();
}

std::string SlotsOf(const Frame& frame) {
  std::string text;
  for (const char* const slot : {"longs", "doubles", "strings", "structs", "longArrays", "doubleArrays",
                                 "stringArrays", "binary", "wide", "void"}) {
    if (const std::size_t size = SlotSize(frame, slot))
      text += (text.empty() ? "" : ", ") + std::to_string(size) + " " + slot;
  }
  return text.empty() ? "nothing" : text;
}
