// A malloc'ed buffer with its capacity: the room for one frame, or for one block of cases cut out of it. It
// moves from the receiver to whoever keeps the data and back again for the next frame, so that a walk over
// many blocks touches fresh pages once.
#ifndef FRAME_BUFFER_H
#define FRAME_BUFFER_H

#include <cstddef>
#include <cstdlib>
#include <utility>

#include "platform.h"

class FrameBuffer {
 public:
  FrameBuffer() = default;
  // Adopts a pointer from malloc.
  FrameBuffer(void* data, std::size_t capacity) : data_(static_cast<char*>(data)), capacity_(capacity) {}
  FrameBuffer(FrameBuffer&& other) noexcept
      : data_(std::exchange(other.data_, nullptr)), capacity_(std::exchange(other.capacity_, 0)) {}
  FrameBuffer& operator=(FrameBuffer&& other) noexcept {
    std::swap(data_, other.data_);
    std::swap(capacity_, other.capacity_);
    return *this;
  }
  ~FrameBuffer() {
    if (data_ != nullptr) std::free(data_);
  }

  // Room for `size` bytes with contents undefined: the buffer in hand if it is large enough, else a new one.
  // False, and nothing in hand, when there is no memory.
  bool Reserve(std::size_t size) {
    if (size <= capacity_ && data_ != nullptr) return true;
    std::free(data_);
    data_ = static_cast<char*>(std::malloc(size != 0 ? size : 1));
    capacity_ = data_ != nullptr ? size : 0;
    platform::WantLargePages(data_, capacity_);
    return data_ != nullptr;
  }
  // Room for `size` bytes with contents kept. False, and what is in hand stays, when there is no memory.
  bool Grow(std::size_t size) {
    void* const grown = std::realloc(data_, size);
    if (grown == nullptr) return false;
    data_ = static_cast<char*>(grown);
    capacity_ = size;
    platform::WantLargePages(data_, capacity_);
    return true;
  }
  char* data() const { return data_; }
  std::size_t capacity() const { return capacity_; }

 private:
  char* data_ = nullptr;
  std::size_t capacity_ = 0;
};

#endif
