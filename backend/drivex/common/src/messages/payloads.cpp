#include "payloads.h"

#include <algorithm>

#include "cell_records.h"
#include "image.h"

namespace {

constexpr std::size_t kWord = 4;

// The image of one element: its length, which is least for an empty one, its writing, its reading. Elements
// of one fixed width are moved as a whole instead.
std::size_t ElementLength(std::int32_t) { return sizeof(std::int32_t); }
std::size_t ElementLength(double) { return sizeof(double); }
std::size_t ElementLength(const std::string& text) { return kWord + text.size(); }
std::size_t ElementLength(const dataSet& record) {
  return CellRecord::kFixedBytes + record.datasetName.size() + record.stringValue.size();
}

void WriteElement(ImageWriter& writer, const std::string& text) { writer.Text(text); }
void WriteElement(ImageWriter& writer, const dataSet& record) {
  CellRecord{record.datasetName, record.caseIndex,    record.varIndex,
             record.valueType,   record.numericValue, record.stringValue}
      .Write(writer);
}

// Into a new element.
bool ReadElement(ImageReader& reader, std::string& text) {
  std::string_view bytes;
  if (!reader.Text(bytes)) return false;
  if (!bytes.empty()) text.assign(bytes);
  return true;
}
bool ReadElement(ImageReader& reader, dataSet& record) {
  CellRecord read;
  const bool whole = read.Read(reader);
  record = {std::string(read.datasetName), read.caseIndex, read.varIndex, read.valueType, read.numericValue,
            std::string(read.stringValue)};
  return whole;
}

bool SkipElement(ImageReader& reader, const std::string*) {
  std::string_view text;
  return reader.Text(text);
}
bool SkipElement(ImageReader& reader, const dataSet*) {
  CellRecord record;
  return record.Read(reader);
}

// A text takes four bytes of an image or more, and eight times that of memory.
constexpr std::size_t kMostElements = std::size_t{1} << 22;

template <class Element>
constexpr bool kFixedWidth = std::is_arithmetic_v<Element>;

}  // namespace

template <class Element>
std::size_t TypedPayload<Element>::ImageLength() const {
  if constexpr (kFixedWidth<Element>) {
    return kWord + values.size() * sizeof(Element);
  } else {
    std::size_t length = kWord;
    for (const Element& value : values) length += ElementLength(value);
    return length;
  }
}

template <class Element>
void TypedPayload<Element>::Write(ImageWriter& writer) const {
  writer.Word(values.size());
  if constexpr (kFixedWidth<Element>) {
    writer.Bytes(values.data(), values.size() * sizeof(Element));
  } else {
    for (const Element& value : values) WriteElement(writer, value);
  }
}

template <class Element>
bool TypedPayload<Element>::Parse(ImageReader& reader) {
  std::size_t count = 0;
  if (!reader.Count(ElementLength(Element()), count)) return false;
  if constexpr (kFixedWidth<Element>) {
    const std::size_t before = values.size();
    values.resize(before + count);
    if (count != 0)
      std::memcpy(values.data() + before, reader.Bytes(count * sizeof(Element)), count * sizeof(Element));
  } else {
    if (!reader.Trusted() && count > kMostElements) return false;
    constexpr std::size_t kReservedAtMost = 64;  // of a count that is the peer's
    values.reserve(values.size() + std::min(count, kReservedAtMost));
    for (; count != 0; --count) {
      if (ReadElement(reader, values.emplace_back())) continue;
      values.pop_back();
      return false;
    }
  }
  return true;
}

template <class Element>
bool TypedPayload<Element>::Skip(ImageReader& reader) {
  std::size_t count = 0;
  if (!reader.Count(ElementLength(Element()), count)) return false;
  if constexpr (kFixedWidth<Element>)
    return reader.Bytes(count * sizeof(Element)) != nullptr;
  else {
    while (count != 0 && SkipElement(reader, static_cast<const Element*>(nullptr))) --count;
    return count == 0;
  }
}

template <class Element>
int TypedPayload<Element>::DataLength() {
  constructedLength = static_cast<std::int32_t>(ImageLength());
  return constructedLength;
}

template <class Element>
char* TypedPayload<Element>::ConstructData(int& length) {
  std::free(constructedBuffer);
  length = DataLength();
  constructedBuffer = static_cast<char*>(std::malloc(static_cast<std::size_t>(length)));
  if (constructedBuffer != nullptr) {
    ImageWriter writer(constructedBuffer);
    Write(writer);
  }
  return constructedBuffer;
}

template <class Element>
void TypedPayload<Element>::ParseData(void* source, int& consumed) {
  if (source == nullptr) return;
  const char* start = static_cast<const char*>(source);
  ImageReader reader(start, ImageReader::kTrusted);
  Parse(reader);
  constructedLength = static_cast<std::int32_t>(reader.position() - start);
  consumed = constructedLength;
}

template class TypedPayload<std::int32_t>;
template class TypedPayload<double>;
template class TypedPayload<std::string>;
template class TypedPayload<dataSet>;
