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

void CleXDSmb::LendVoidData(Loan bytes) {
  FreeVoidData();
  lent_void = std::move(bytes);
}

void CleXDSmb::LendRecords(Loan image, std::size_t count) {
  lent_records = std::move(image);
  lent_record_count = count;
}

std::string_view CleXDSmb::VoidBytes() const {
  if (voidData == nullptr) return lent_void.Bytes();
  return {voidData, static_cast<std::size_t>(voidDataLength)};
}

int CleXDSmb::ContructSendData() {
  Build(SIZE_MAX);
  return 0;
}

std::span<const std::string_view> CleXDSmb::BuildRuns() {
  constexpr std::size_t kApart = 4096;  // less is copied faster than it is gathered
  Build(kApart);
  return Runs();
}

void CleXDSmb::Build(std::size_t apart) {
  FreeImage();
  if (voidData == nullptr || voidDataLength <= 0) voidDataLength = 0;
  const std::size_t binary_bytes =
      binaryData != nullptr && binaryLength > 0 ? static_cast<std::size_t>(binaryLength) : 0;
  const std::size_t wide_count = wstringData != nullptr ? std::wcslen(wstringData) : 0;
  const std::string_view void_bytes = VoidBytes();
  const std::string_view records_lent = lent_records.Bytes();

  const std::size_t length =
      kHeader + longData.ImageLength() + doubleData.ImageLength() + stringData.ImageLength() +
      (records_lent.empty() ? structData.ImageLength() : kWord + records_lent.size()) +
      ListsLength(longArray) + ListsLength(doubleArray) + ListsLength(stringArray) + kWord + binary_bytes +
      kWord + wide_count * sizeof(wchar_t) + kWord + void_bytes.size();
  if (length > INT_MAX) return;
  const bool records_apart = records_lent.size() >= apart;
  const bool void_apart = void_bytes.size() >= apart;
  const std::size_t copied =
      length - (records_apart ? records_lent.size() : 0) - (void_apart ? void_bytes.size() : 0);
  sendBuffer = copied <= sizeof small_image ? small_image : static_cast<char*>(std::malloc(copied));
  if (sendBuffer == nullptr) return;
  sendLength = static_cast<std::int32_t>(length);

  const char* run = sendBuffer;
  ImageWriter writer(sendBuffer);
  const auto end_run = [&](std::string_view bytes_apart) {
    runs[run_count++] = {run, static_cast<std::size_t>(writer.position() - run)};
    if (!bytes_apart.empty()) runs[run_count++] = bytes_apart;
    run = writer.position();
  };
  writer.Word(length);
  writer.Value(commandAction);
  writer.Value(errorCode);
  WriteList(writer, longData);
  WriteList(writer, doubleData);
  WriteList(writer, stringData);
  if (records_lent.empty()) {
    WriteList(writer, structData);
  } else {
    writer.Word(lent_record_count);
    if (records_apart) {
      end_run(records_lent);
    } else {
      writer.Bytes(records_lent.data(), records_lent.size());
    }
  }
  WriteLists(writer, longArray);
  WriteLists(writer, doubleArray);
  WriteLists(writer, stringArray);
  writer.Value(binaryLength);  // kept: a length without bytes goes out when the string itself is gone
  writer.Bytes(binaryData, binary_bytes);
  writer.Word(wide_count);
  writer.Bytes(wstringData, wide_count * sizeof(wchar_t));
  writer.Word(void_bytes.size());
  if (!void_apart) writer.Bytes(void_bytes.data(), void_bytes.size());
  end_run(void_apart ? void_bytes : std::string_view());
}

void CleXDSmb::FreeImage() {
  if (sendBuffer != nullptr && sendBuffer != small_image) std::free(sendBuffer);
  sendBuffer = nullptr;
  sendLength = 0;
  run_count = 0;
}

char* CleXDSmb::GetSendBuf(int& length) const {
  length = run_count == 1 ? sendLength : 0;
  return run_count == 1 ? sendBuffer : nullptr;
}

int CleXDSmb::ParseBuf(void* image) {
  if (image == nullptr) return 0;
  ImageReader reader(static_cast<const char*>(image), ImageReader::kTrusted);
  const char* const bytes = ParseSections(reader);
  FrameBuffer of_the_caller;
  KeepRecords(of_the_caller);
  if (bytes != nullptr) CopyVoidData(bytes);
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
    const bool kept = KeepRecords(buffer);
    if (kept && bytes == nullptr) return true;
    if (buffer.data() == nullptr || Misalignment(bytes) != 0) {
      if (kept && CopyVoidData(bytes)) return true;
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
                     ParseList(reader, stringData) && ParseRecords(reader) && ParseLists(reader, longArray) &&
                     ParseLists(reader, doubleArray) && ParseLists(reader, stringArray) &&
                     ParseBinaryString(reader) && ParseWideString(reader);
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

bool CleXDSmb::ParseRecords(ImageReader& reader) {
  if (!records_in_place) return ParseList(reader, structData);
  std::size_t count = 0;
  if (!reader.Count(CellRecord::kFixedBytes, count)) return false;
  const char* const begin = reader.position();
  const char* end = begin;
  std::size_t whole = 0;
  for (CellRecord record; whole < count && record.Read(reader); ++whole) end = reader.position();
  cellRecords = {{begin, static_cast<std::size_t>(end - begin)}, whole};
  return whole == count;
}

// In the frame that they came in, or else in a copy of their own.
bool CleXDSmb::KeepRecords(FrameBuffer& buffer) {
  const std::string_view image = cellRecords.Image();
  if (image.empty()) return true;
  if (buffer.data() != nullptr) {
    records_frame = FrameBuffer(std::move(buffer));
    return true;
  }
  if (!records_frame.Reserve(image.size())) {
    cellRecords = {};
    return false;
  }
  std::memcpy(records_frame.data(), image.data(), image.size());
  cellRecords.MoveTo(records_frame.data());
  return true;
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
  lent_void.End();
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
  CleanUpStructData();
  stringArray.clear();
  doubleArray.clear();
  longArray.clear();
  FreeVoidData();
  binaryData = nullptr;
}

void CleXDSmb::CleanUpStructData() {
  structData.CleanUp();
  lent_records.End();
  cellRecords = {};
  if (records_frame.data() != nullptr) records_frame = FrameBuffer();
}
