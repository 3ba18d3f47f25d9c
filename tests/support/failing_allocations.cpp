#include "support/failing_allocations.h"

#include <cstdlib>
#include <new>
#include <utility>

namespace {

thread_local long left = 0;  // up to the one that fails
thread_local bool failed = false;

bool Fails() {
  const bool fails = left > 0 && --left == 0;
  failed = failed || fails;
  return fails;
}

}  // namespace

bool FailAllocation(long n) {
  left = n;
  return std::exchange(failed, false);
}

extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __wrap_malloc(std::size_t size) { return Fails() ? nullptr : __real_malloc(size); }
void* __wrap_calloc(std::size_t count, std::size_t size) {
  return Fails() ? nullptr : __real_calloc(count, size);
}
}

void* operator new(std::size_t size) {
  void* const room = Fails() ? nullptr : __real_malloc(size != 0 ? size : 1);
  if (room == nullptr) throw std::bad_alloc();
  return room;
}
void* operator new[](std::size_t size) { return operator new(size); }
void operator delete(void* room) noexcept { std::free(room); }
void operator delete[](void* room) noexcept { std::free(room); }
void operator delete(void* room, std::size_t) noexcept { std::free(room); }
void operator delete[](void* room, std::size_t) noexcept { std::free(room); }
