#include "vexa_assert.h"

#include <cstdio>
#include <cstdlib>

void VexaAssertFailed(const char* file, int line, const char* expression) {
  std::fprintf(stderr, "%s:%d: assertion failed: %s\n", file, line, expression);
  std::fflush(nullptr);
  std::abort();
}
