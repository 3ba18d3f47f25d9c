#include "CleXDSmb.h"

#include <climits>
#include <cwchar>
#include <new>

#include "image.h"

namespace {

constexpr std::size_t kWord = CleXDSmb::LONG_LEN;
constexpr std::size_t kHeader = 3 * kWord;
constexpr std::size_t kAlignment = 16;
// An empty list takes four bytes of an image and many more of memory.
constexpr std::size_t kMostLists = std::size_t{1} << 20;

std::size_t Misalignment(const char* bytes) { return reinterpret_cast<std::uintptr_t>(bytes) % kAlignment; }

// Most slots of most messages are empty: these look ahead of a call.
template <class Payload>
std::size_t ListLength(const Payload& list) {
  return list.Empty() ? kWord : list.ImageLength();
}

template <class Payload>
void WriteList(ImageWriter& writer, const Payload& list) {
  if (list.Empty()) {
    writer.Word(0);
  } else {
    list.Write(writer);
  }
}

template <class Payload>
bool ParseList(ImageReader& reader, Payload& list) {
  return reader.SkipEmpty() || list.Parse(reader);
}

template <class Payload>
std::size_t ListsLength(const std::vector<Payload>& lists) {
  std::size_t length = kWord;
  for (const Payload& list : lists) length += list.ImageLength();
  return length;
}

template <class Payload>
void WriteLists(ImageWriter& writer, const std::vector<Payload>& lists) {
  writer.Word(lists.size());
  for (const Payload& list : lists) list.Write(writer);
}

template <class Payload>
bool ParseLists(ImageReader& reader, std::vector<Payload>& lists) {
  if (reader.SkipEmpty()) return true;
  std::size_t count = 0;
  if (!reader.Count(kWord, count) || (!reader.Trusted() && count > kMostLists)) return false;
  for (; count != 0; --count) {
    Payload list;
    const bool whole = list.Parse(reader);
    lists.push_back(std::move(list));
    if (!whole) return false;
  }
  return true;
}

template <class Payload>
bool SkipLists(ImageReader& reader) {
  std::size_t count = 0;
  if (!reader.Count(kWord, count)) return false;
  while (count != 0 && Payload::Skip(reader)) --count;
  return count == 0;
}

bool SkipBytes(ImageReader& reader, std::size_t width) {
  std::size_t count = 0;
  return reader.Count(width, count) && reader.Bytes(count * width) != nullptr;
}

}  // namespace

CleXDSmb::~CleXDSmb() {
  FreeImage();
  delete[] wstringData;
  if (voidData != nullptr) FreeVoidData();
}

void CleXDSmb::SetString(const char* text) {
  if (text != nullptr) stringData.SetValue(text);
}

void CleXDSmb::SetString(const char* text, int length) {
  if (text != nullptr)
    stringData.SetValue(std::string(text, length > 0 ? static_cast<std::size_t>(length) : 0));
}

void CleXDSmb::SetSingleString(const char* text) {
  stringData.CleanUp();
  SetString(text);
}

void CleXDSmb::SetwString(const wchar_t* text) {
  wchar_t* copy = nullptr;
  if (text != nullptr) {
    const std::size_t length = std::wcslen(text) + 1;
    copy = new wchar_t[length];
    std::wmemcpy(copy, text, length);
  }
  delete[] wstringData;
  wstringData = copy;
}

void CleXDSmb::SetBinaryString(const char* bytes, int length) {
  binaryLength = length > 0 ? length : 0;
  binaryData = new char[static_cast<std::size_t>(binaryLength)];
  if (binaryLength > 0) std::memcpy(binaryData, bytes, static_cast<std::size_t>(binaryLength));
}

void CleXDSmb::SetVoidData(void* data, int length) {
  if (data != voidData || data == nullptr) {
    FreeVoidData();
  }
  voidData = static_cast<char*>(data);
  voidDataLength = length;
}

void* CleXDSmb::GetVoidData(int& length) const {
  length = voidDataLength;
  return voidData;
}

void CleXDSmb::AllocVoidData(int size) {
  FreeVoidData();
  voidData = static_cast<char*>(std::malloc(size > 0 ? static_cast<std::size_t>(size) : 1));
}

void CleXDSmb::SaveDataIntoVoidData(const void* data, int length) {
  if (voidData == nullptr || length <= 0) return;
  std::memcpy(voidData + voidDataLength, data, static_cast<std::size_t>(length));
  voidDataLength += length;
}

int CleXDSmb::ContructSendData() {
  FreeImage();
  if (voidData == nullptr || voidDataLength <= 0) voidDataLength = 0;
  const std::size_t binary_bytes =
      binaryData != nullptr && binaryLength > 0 ? static_cast<std::size_t>(binaryLength) : 0;
  const std::size_t wide_count = wstringData != nullptr ? std::wcslen(wstringData) : 0;
  const std::size_t void_bytes = static_cast<std::size_t>(voidDataLength);

  const std::size_t length = kHeader + longData.ImageLength() + doubleData.ImageLength() +
                             stringData.ImageLength() + structData.ImageLength() + ListsLength(longArray) +
                             ListsLength(doubleArray) + ListsLength(stringArray) + kWord + binary_bytes +
                             kWord + wide_count * sizeof(wchar_t) + kWord + void_bytes;
  if (length > INT_MAX) return 0;
  sendBuffer = length <= sizeof small_image ? small_image : static_cast<char*>(std::malloc(length));
  if (sendBuffer == nullptr) return 0;
  sendLength = static_cast<std::int32_t>(length);

  ImageWriter writer(sendBuffer);
  writer.Value(sendLength);
  writer.Value(commandAction);
  writer.Value(errorCode);
  WriteList(writer, longData);
  WriteList(writer, doubleData);
  WriteList(writer, stringData);
  WriteList(writer, structData);
  WriteLists(writer, longArray);
  WriteLists(writer, doubleArray);
  WriteLists(writer, stringArray);
  writer.Value(binaryLength);  // kept: a length without bytes goes out when the string itself is gone
  writer.Bytes(binaryData, binary_bytes);
  writer.Word(wide_count);
  writer.Bytes(wstringData, wide_count * sizeof(wchar_t));
  writer.Word(void_bytes);
  writer.Bytes(voidData, void_bytes);
  return 0;
}

void CleXDSmb::FreeImage() {
  if (sendBuffer != nullptr && sendBuffer != small_image) std::free(sendBuffer);
  sendBuffer = nullptr;
  sendLength = 0;
}

char* CleXDSmb::GetSendBuf(int& length) const {
  length = sendLength;
  return sendBuffer;
}

int CleXDSmb::ParseBuf(void* image) {
  if (image == nullptr) return 0;
  ImageReader reader(static_cast<const char*>(image), ImageReader::kTrusted);
  if (const char* bytes = ParseSections(reader)) CopyVoidData(bytes);
  return 0;
}

bool CleXDSmb::ParseFrame(const char* image, std::size_t length) {
  return ParseFrame(FrameBuffer(), image, length);
}

bool CleXDSmb::ParseFrame(FrameBuffer buffer, const char* image, std::size_t length) {
  char* const earlier = binaryData;  // may have been handed out
  try {
    ImageReader reader(image, length);
    const char* bytes = ParseSections(reader);
    if (bytes == nullptr) return true;
    if (buffer.data() == nullptr || Misalignment(bytes) != 0) {
      if (CopyVoidData(bytes)) return true;
    } else {
      voidData = const_cast<char*>(bytes);
      frame = std::move(buffer);
      return true;
    }
  } catch (const std::bad_alloc&) {
  }
  if (binaryData != earlier) delete[] binaryData;
  CleanUpAllData();
  return false;
}

std::size_t CleXDSmb::FrameShift(const char* image, std::size_t length) {
  ImageReader reader(image, length);
  const bool reached = reader.Bytes(kHeader) != nullptr && LongData::Skip(reader) &&
                       DoubleData::Skip(reader) && StringData::Skip(reader) && StructData::Skip(reader) &&
                       SkipLists<LongData>(reader) && SkipLists<DoubleData>(reader) &&
                       SkipLists<StringData>(reader) && SkipBytes(reader, 1) &&
                       SkipBytes(reader, sizeof(wchar_t)) && reader.Bytes(kWord) != nullptr;
  if (!reached) return 0;
  const std::size_t behind = static_cast<std::size_t>(reader.position() - image) % kAlignment;
  return (kAlignment - behind) % kAlignment;
}

FrameBuffer CleXDSmb::ReserveFrame(std::size_t size) {
  FrameBuffer buffer = std::move(offered);
  buffer.Reserve(size);
  return buffer;
}

CleXDSmb::VoidBlock CleXDSmb::TakeVoidBlock() {
  VoidBlock block;
  if (voidData != nullptr && voidDataLength > 0) {
    block.data = voidData;
    block.length = voidDataLength;
    block.buffer = frame.data() != nullptr ? std::move(frame)
                                           : FrameBuffer(voidData, static_cast<std::size_t>(voidDataLength));
    voidData = nullptr;
  }
  FreeVoidData();
  return block;
}

const char* CleXDSmb::ParseSections(ImageReader& reader) {
  if (voidData != nullptr) FreeVoidData();
  if (!reader.Value(sendLength) || !reader.Value(commandAction) || !reader.Value(errorCode)) return nullptr;
  const bool whole = ParseList(reader, longData) && ParseList(reader, doubleData) &&
                     ParseList(reader, stringData) && ParseList(reader, structData) &&
                     ParseLists(reader, longArray) && ParseLists(reader, doubleArray) &&
                     ParseLists(reader, stringArray) && ParseBinaryString(reader) && ParseWideString(reader);
  std::int32_t length = 0;
  if (!whole || !reader.Value(length)) return nullptr;
  if (length < 1) {
    voidDataLength = length;
    return nullptr;
  }
  const char* bytes = reader.Bytes(static_cast<std::size_t>(length));
  if (bytes != nullptr) voidDataLength = length;
  return bytes;
}

bool CleXDSmb::ParseBinaryString(ImageReader& reader) {
  std::int32_t length = 0;
  if (!reader.Value(length)) return false;
  binaryData = nullptr;  // let go, not freed: it may have been handed out
  if (length <= 0) return true;
  const char* bytes = reader.Bytes(static_cast<std::size_t>(length));
  if (bytes == nullptr) return false;
  // Kept: one byte of the next section comes along behind the string, so readers go by a length told
  // elsewhere.
  const std::size_t copied = static_cast<std::size_t>(length) + (reader.Has(1) ? 1 : 0);
  binaryData = new char[static_cast<std::size_t>(length) + 1]();
  std::memcpy(binaryData, bytes, copied);
  return true;
}

bool CleXDSmb::ParseWideString(ImageReader& reader) {
  std::size_t count = 0;
  if (!reader.Count(sizeof(wchar_t), count)) return false;
  delete[] wstringData;
  wstringData = nullptr;
  if (count == 0) return true;
  wstringData = new wchar_t[count + 1]();
  std::memcpy(wstringData, reader.Bytes(count * sizeof(wchar_t)), count * sizeof(wchar_t));
  return true;
}

bool CleXDSmb::CopyVoidData(const char* bytes) {
  const std::size_t length = static_cast<std::size_t>(voidDataLength);
  FrameBuffer copy = ReserveFrame(length);
  if (copy.data() == nullptr) {
    voidDataLength = 0;
    return false;
  }
  std::memcpy(copy.data(), bytes, length);
  voidData = copy.data();
  frame = std::move(copy);
  return true;
}

void CleXDSmb::FreeVoidData() {
  if (frame.data() != nullptr) {
    frame = FrameBuffer();
  } else {
    std::free(voidData);
  }
  voidData = nullptr;
  voidDataLength = 0;
}

void CleXDSmb::CleanUp() {
  FreeImage();
  delete[] wstringData;
  wstringData = nullptr;
  CleanUpAllData();
  binaryLength = 0;
}

void CleXDSmb::CleanUpAllData() {
  stringData.CleanUp();
  longData.CleanUp();
  doubleData.CleanUp();
  structData.CleanUp();
  stringArray.clear();
  doubleArray.clear();
  longArray.clear();
  FreeVoidData();
  binaryData = nullptr;
}
