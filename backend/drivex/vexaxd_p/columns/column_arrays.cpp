#include "column_arrays.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <new>

#include "platform.h"

namespace {

struct HeldArray {
  ArrayParts parts;
  std::vector<const void*> buffers;
  std::vector<ArrowArray*> children;
  ArrowArray dictionary = {};
};

struct HeldSchema {
  std::string format, name, metadata;
  std::vector<ArrowSchema> children;
  std::vector<ArrowSchema*> pointers;
  ArrowSchema dictionary = {};
  ~HeldSchema() {
    for (ArrowSchema& child : children)
      if (child.release != nullptr) child.release(&child);
    if (dictionary.release != nullptr) dictionary.release(&dictionary);
  }
};

void ReleaseSchema(ArrowSchema* schema) {
  delete static_cast<HeldSchema*>(schema->private_data);
  schema->release = nullptr;
}

}  // namespace

// A first allocation that is large comes in whole large pages from its beginning: of a buffer that is filled
// once, and never used again here, half the cost is its small pages otherwise.
void GrowTo(FrameBuffer& buffer, std::size_t needed, std::size_t expected) {
  constexpr std::size_t kAhead = 64;  // of what is there: the expectation is somebody else's word
  constexpr std::size_t kLargePage = std::size_t{2} << 20, kLarge = 4 * kLargePage;
  if (needed <= buffer.capacity() && buffer.data() != nullptr) return;
  const std::size_t wanted = std::max({needed, std::min(expected, kAhead * needed), std::size_t{8}});
  const std::size_t in_pages = (wanted + kLargePage - 1) & ~(kLargePage - 1);
  void* pages = nullptr;
  if (buffer.data() == nullptr && in_pages >= kLarge && posix_memalign(&pages, kLargePage, in_pages) == 0) {
    buffer = FrameBuffer(pages, in_pages);
  } else if (!buffer.Grow(wanted) && !buffer.Grow(needed)) {
    throw std::bad_alloc();
  }
  platform::WantLargePages(buffer.data(), buffer.capacity());
}

void RowBits::Cover(std::size_t size) {
  if (size <= covered) return;
  GrowTo(bytes, size, 2 * size);
  std::memset(bytes.data() + covered, 0, bytes.capacity() - covered);
  covered = bytes.capacity();
}

void RowBits::Set(std::size_t row, unsigned mask) {
  if (mask == 0) return;
  Cover(row / 8 + 2);
  const unsigned bits = mask << row % 8;
  char* const at = bytes.data() + row / 8;
  at[0] = static_cast<char>(static_cast<unsigned char>(at[0]) | (bits & 0xFF));
  at[1] = static_cast<char>(static_cast<unsigned char>(at[1]) | bits >> 8);
  count += static_cast<std::size_t>(std::popcount(mask));
}

FrameBuffer RowBits::Take(std::size_t rows, bool inverted) {
  Cover(rows / 8 + 1);
  if (inverted) {
    for (std::size_t i = 0; i < (rows + 7) / 8; ++i) bytes.data()[i] = static_cast<char>(~bytes.data()[i]);
  }
  covered = count = 0;
  return std::move(bytes);
}

void ReleaseArray(ArrowArray* array) {
  auto* const held = static_cast<HeldArray*>(array->private_data);
  for (ArrowArray& child : held->parts.children)
    if (child.release != nullptr) child.release(&child);
  if (held->dictionary.release != nullptr) held->dictionary.release(&held->dictionary);
  delete held;
  array->release = nullptr;
}

void MakeArray(ArrayParts&& parts, ArrowArray* dictionary, ArrowArray& array) {
  auto held = std::make_unique<HeldArray>();
  held->buffers.reserve(parts.buffers.size() + parts.shared_buffers.size());
  held->children.reserve(parts.children.size());
  held->parts = std::move(parts);
  for (const FrameBuffer& buffer : held->parts.buffers) held->buffers.push_back(buffer.data());
  for (const void* buffer : held->parts.shared_buffers) held->buffers.push_back(buffer);
  for (ArrowArray& child : held->parts.children) held->children.push_back(&child);
  if (dictionary != nullptr) held->dictionary = *dictionary;
  array = {};
  array.length = static_cast<std::int64_t>(held->parts.length);
  array.null_count = static_cast<std::int64_t>(held->parts.null_count);
  array.n_buffers = static_cast<std::int64_t>(held->buffers.size());
  array.n_children = static_cast<std::int64_t>(held->children.size());
  array.buffers = held->buffers.data();
  array.children = held->children.empty() ? nullptr : held->children.data();
  array.dictionary = dictionary != nullptr ? &held->dictionary : nullptr;
  array.release = ReleaseArray;
  array.private_data = held.release();
}

void MakeSchema(const Field& field, ArrowSchema& schema) {
  auto held = std::make_unique<HeldSchema>();
  held->format = field.format;
  held->name = field.name;
  held->metadata = field.metadata;
  held->children.resize(field.children.size());
  held->pointers.reserve(field.children.size());
  for (std::size_t i = 0; i < field.children.size(); ++i) {
    MakeSchema(field.children[i], held->children[i]);
    held->pointers.push_back(&held->children[i]);
  }
  if (!field.dictionary.empty()) MakeSchema(field.dictionary[0], held->dictionary);
  schema = {};
  schema.format = held->format.c_str();
  schema.name = held->name.c_str();
  schema.metadata = held->metadata.empty() ? nullptr : held->metadata.c_str();
  schema.flags = field.nullable ? ARROW_FLAG_NULLABLE : 0;
  schema.n_children = static_cast<std::int64_t>(held->children.size());
  schema.children = held->pointers.empty() ? nullptr : held->pointers.data();
  schema.dictionary = field.dictionary.empty() ? nullptr : &held->dictionary;
  schema.release = ReleaseSchema;
  schema.private_data = held.release();
}
