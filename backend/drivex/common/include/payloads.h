// The typed payloads of a message block: one list each of 32-bit integers, doubles, strings and cell changes.
//
// A payload owns its values and, once ConstructData has run, the image that it returned. Copies take the
// values only. Nothing here is shared between threads.
//
// Images; integers and doubles in host byte order, nothing aligned, nothing terminated:
//   LongData   = count:4 { value:4 }
//   DoubleData = count:4 { value:8 }
//   StringData = count:4 { length:4 byte* }
//   StructData = count:4 { length:4 datasetName caseIndex:4 varIndex:4 valueType:4 numericValue:8
//                          length:4 stringValue }
#ifndef PAYLOADS_H
#define PAYLOADS_H

#include <cstdint>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "vexa_api.h"

class ImageReader;
class ImageWriter;

// One pending cell change of a dataset.
struct VEXA_API dataSet {  // exported as TypedPayload<dataSet> is
  std::string datasetName;
  std::int32_t caseIndex = 0;  // zero-based row
  std::int32_t varIndex = 0;   // zero-based column
  std::int32_t valueType = 0;  // 0: numericValue holds the cell; 1: stringValue does
  double numericValue = 0.0;
  std::string stringValue;
};

class VEXA_API DataType {
 public:
  // Builds the image anew, sets `length` to its bytes and returns it. The image stays the payload's.
  virtual char* ConstructData(int& length) = 0;
  // Appends what the image at `source` holds and sets `consumed` to its bytes. The image is trusted: it is
  // walked by the counts in it. A null source changes nothing.
  virtual void ParseData(void* source, int& consumed) = 0;
  // The bytes that the image takes; kept in constructedLength too.
  virtual int DataLength() = 0;
  // The number of elements.
  virtual int Size() = 0;

 protected:
  DataType() = default;
  DataType(const DataType&) noexcept {}
  // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): nothing is copied, each keeps its own image
  DataType& operator=(const DataType&) noexcept { return *this; }
  ~DataType() {
    if (constructedBuffer != nullptr) std::free(constructedBuffer);
  }

  char* constructedBuffer = nullptr;
  std::int32_t constructedLength = 0;
};

// What the four payloads have in common.
template <class Element>
class VEXA_API TypedPayload : public DataType {
 public:
  char* ConstructData(int& length) override;
  void ParseData(void* source, int& consumed) override;
  int DataLength() override;
  int Size() override { return static_cast<int>(values.size()); }
  void CleanUp() { values.clear(); }
  // No bound check: `index` is from 0 to Size() - 1.
  Element& operator[](int index) { return values[static_cast<std::size_t>(index)]; }

  const std::vector<Element>& Values() const { return values; }
  bool Empty() const { return values.empty(); }
  std::size_t ImageLength() const;
  void Write(ImageWriter& writer) const;
  // Appends as far as the reader's bytes reach. False when the counts ask for more than there is.
  bool Parse(ImageReader& reader);
  // Passes over an image. False when it is not all there.
  static bool Skip(ImageReader& reader);

 protected:
  // The lists of an ordinary request are filled without growing step by step.
  void Append(Element value) {
    constexpr std::size_t kOrdinary = 8;
    if (values.capacity() == 0) values.reserve(kOrdinary);
    values.push_back(std::move(value));
  }

  std::vector<Element> values;
};

extern template class TypedPayload<std::int32_t>;
extern template class TypedPayload<double>;
extern template class TypedPayload<std::string>;
extern template class TypedPayload<dataSet>;

class VEXA_API LongData final : public TypedPayload<std::int32_t> {
 public:
  void SetValue(int value) { Append(value); }
};

class VEXA_API DoubleData final : public TypedPayload<double> {
 public:
  void SetValue(double value) { Append(value); }
};

class VEXA_API StringData final : public TypedPayload<std::string> {
 public:
  void SetValue(std::string value) { Append(std::move(value)); }
  void SetValue(const char* value) { Append(std::string(value)); }
  // Makes `value` the only element.
  void SetSingleString(const char* value) { values.assign(1, value); }
  // A copy of element 0; empty for an empty list.
  std::string GetSingleString() const { return values.empty() ? std::string() : values.front(); }
  std::vector<std::string> GetData() const { return values; }
};

class VEXA_API StructData final : public TypedPayload<dataSet> {
 public:
  void SetValue(dataSet value) { values.push_back(std::move(value)); }
  void AssignValue(std::vector<dataSet> replacement) { values = std::move(replacement); }
};

#endif
