#include "vexa_assert.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

// A thread that waits inside a stream holds its lock: no stream is waited for, or the process would not end.
void VexaAssertFailed(const char* file, int line, const char* expression) {
  char text[1024];
  const int length =
      std::snprintf(text, sizeof text, "%s:%d: assertion failed: %s\n", file, line, expression);
  const std::size_t whole = static_cast<std::size_t>(std::max(length, 0));
  if (write(STDERR_FILENO, text, std::min(whole, sizeof text - 1)) == -1) std::abort();
  if (ftrylockfile(stdout) == 0) std::fflush(stdout);  // the lock is recursive
  std::abort();
}
