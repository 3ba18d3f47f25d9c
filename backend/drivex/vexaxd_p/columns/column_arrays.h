// Arrays and schemas that are handed out in the form of Arrow. Each owns its memory, and each child its own,
// so that they can be moved apart and released in any order, by any thread.
#ifndef COLUMN_ARRAYS_H
#define COLUMN_ARRAYS_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "frame_buffer.h"
#include "vexaxd_columns.h"

// Room for `needed` bytes with contents kept, and ahead of that for `expected`, within reason. Throws.
void GrowTo(FrameBuffer& buffer, std::size_t needed, std::size_t expected);

// A bit for each row, none set until one is.
class RowBits {
 public:
  // The bits of up to eight rows from this one on. Where the mask is 0 nothing is to be done.
  void Set(std::size_t row, unsigned mask);
  std::size_t Count() const { return count; }
  // Hands over the bits of so many rows, or their opposites.
  FrameBuffer Take(std::size_t rows, bool inverted);

 private:
  void Cover(std::size_t bytes);

  FrameBuffer bytes;
  std::size_t covered = 0;  // bytes that are zeroed
  std::size_t count = 0;
};

struct ArrayParts {
  std::size_t length = 0;
  std::size_t null_count = 0;
  std::vector<FrameBuffer> buffers;  // one without memory is a null pointer
  std::vector<ArrowArray> children;
  std::shared_ptr<const void> shared;       // what lives as long as this
  std::vector<const void*> shared_buffers;  // behind the others
};

// On an exception children and dictionary are still the caller's, and nothing is written. `dictionary` may be
// null.
void MakeArray(ArrayParts&& parts, ArrowArray* dictionary, ArrowArray& array);
void ReleaseArray(ArrowArray* array);

struct Field {
  std::string format, name, metadata;
  bool nullable = false;
  std::vector<Field> children;
  std::vector<Field> dictionary;  // one or none
};
void MakeSchema(const Field& field, ArrowSchema& schema);

#endif
