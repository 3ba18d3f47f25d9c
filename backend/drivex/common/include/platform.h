// All that differs between Linux and macOS, and nothing else.
#ifndef PLATFORM_H
#define PLATFORM_H

#include <string.h>

namespace platform {

#ifdef __APPLE__
inline constexpr const char* kLibrarySearchVariable = "DYLD_LIBRARY_PATH";
#else
inline constexpr const char* kLibrarySearchVariable = "LD_LIBRARY_PATH";
#endif

// The text of an errno value, callable in a forked child of a process with threads: no lock, no allocation.
inline const char* ErrorText(int code) {
#ifdef __APPLE__
  return strerror(code);
#else
  const char* text = strerrordesc_np(code);
  return text != nullptr ? text : "Unknown error";
#endif
}

}  // namespace platform

#endif
