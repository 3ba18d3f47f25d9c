// Cell records as they lie in an image, without a dataSet for each: written once, behind those that are there
// already, and read where they came in. The layout of one:
//
//   length:4 datasetName caseIndex:4 varIndex:4 valueType:4 numericValue:8 length:4 stringValue
#ifndef CELL_RECORDS_H
#define CELL_RECORDS_H

#include <cstdint>
#include <string_view>

#include "frame_buffer.h"
#include "image.h"
#include "loan.h"

// The fields are those of dataSet. The texts are somebody else's bytes.
struct CellRecord {
  static constexpr std::size_t kFixedBytes = 4 + 3 * 4 + 8 + 4;

  std::size_t Length() const { return kFixedBytes + datasetName.size() + stringValue.size(); }
  [[gnu::always_inline]] void Write(ImageWriter& writer) const {
    writer.Text(datasetName);
    writer.Value(caseIndex);
    writer.Value(varIndex);
    writer.Value(valueType);
    writer.Value(numericValue);
    writer.Text(stringValue);
  }
  bool Read(ImageReader& reader) {
    constexpr std::size_t kMiddle = 3 * 4 + 8;
    if (!reader.Text(datasetName)) return false;
    const char* const bytes = reader.Bytes(kMiddle);
    if (bytes == nullptr) return false;
    ImageReader middle(bytes, ImageReader::kTrusted);
    middle.Value(caseIndex), middle.Value(varIndex), middle.Value(valueType), middle.Value(numericValue);
    return reader.Text(stringValue);
  }

  std::string_view datasetName;
  std::int32_t caseIndex = 0;
  std::int32_t varIndex = 0;
  std::int32_t valueType = 0;
  double numericValue = 0.0;
  std::string_view stringValue;
};

// Records that are gathered for a message, which is sent from here.
class GatheredRecords {
 public:
  // False without memory, and then nothing has changed. Always inlined: a program does this for each cell.
  [[gnu::always_inline]] bool Append(const CellRecord& record) {
    const std::size_t length = record.Length();
    if (length > buffer.capacity() - used && !MakeRoom(length)) [[unlikely]]
      return false;
    ImageWriter writer(buffer.data() + used);
    record.Write(writer);
    used += length;
    ++count;
    return true;
  }
  std::size_t Count() const { return count; }
  std::size_t Bytes() const { return used; }
  Loan Lend() const { return lender.Lend(buffer.data(), used); }
  // The room stays, for the next ones.
  void Clear() {
    lender.BytesMayGo();
    used = count = 0;
  }
  void ClearWithRoom() {
    Clear();
    buffer = FrameBuffer();
  }

 private:
  bool MakeRoom(std::size_t length);

  FrameBuffer buffer;
  std::size_t used = 0;
  std::size_t count = 0;
  Lender lender;
};

// Records where they lie, found whole before. For each in turn:
//   CellRecord record;
//   for (CellRecords walk = block.Records(); walk.Next(record);) ...
class CellRecords {
 public:
  CellRecords() = default;
  CellRecords(std::string_view image, std::size_t count) : image_(image), left(count) {}
  std::string_view Image() const { return image_; }
  // To a copy of the image.
  void MoveTo(const char* copy) { image_ = {copy, image_.size()}; }
  bool Next(CellRecord& record) {
    if (left == 0) return false;
    --left;
    ImageReader reader(image_.data(), ImageReader::kTrusted);
    record.Read(reader);
    image_.remove_prefix(static_cast<std::size_t>(reader.position() - image_.data()));
    return true;
  }

 private:
  std::string_view image_;
  std::size_t left = 0;
};

#endif
