// All that differs between Linux and macOS, and nothing else.
#ifndef PLATFORM_H
#define PLATFORM_H

#include <dlfcn.h>
#include <fcntl.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#ifdef __APPLE__
#include <crt_externs.h>
#else
#include <sys/syscall.h>
#endif

namespace platform {

#ifdef __APPLE__
inline constexpr const char* kLibrarySearchVariable = "DYLD_LIBRARY_PATH";
inline constexpr const char* kLibrarySuffix = ".dylib";
inline constexpr const char* kTerminal = "/usr/X11/bin/xterm";
#else
inline constexpr const char* kLibrarySearchVariable = "LD_LIBRARY_PATH";
inline constexpr const char* kLibrarySuffix = ".so";
inline constexpr const char* kTerminal = "/usr/bin/xterm";
#endif
inline constexpr const char* kLibraryPrefix = "lib";

// For dlopen: the numbers are each system's own. Visible to the libraries that are loaded later.
inline constexpr int kBindLazily = RTLD_LAZY | RTLD_GLOBAL;
inline constexpr int kBindNow = RTLD_NOW | RTLD_GLOBAL;

// The text of an errno value, callable in a forked child of a process with threads: no lock, no allocation.
inline const char* ErrorText(int code) {
#ifdef __APPLE__
  return strerror(code);
#else
  const char* text = strerrordesc_np(code);
  return text != nullptr ? text : "Unknown error";
#endif
}

// A descriptor that becomes readable when the process has ended; -1 where there is none to be had.
inline int OpenProcess([[maybe_unused]] pid_t process) {
#ifdef SYS_pidfd_open
  return static_cast<int>(syscall(SYS_pidfd_open, process, 0));  // close-on-exec from birth
#else
  return -1;
#endif
}

// Descriptors that no program gets that another thread starts meanwhile: they are close-on-exec from birth
// where the system can do that.
inline int PipeOfOurs(int ends[2]) {
#ifdef __APPLE__
  const int result = pipe(ends);
  for (int i = 0; result == 0 && i < 2; ++i) fcntl(ends[i], F_SETFD, FD_CLOEXEC);
  return result;
#else
  return pipe2(ends, O_CLOEXEC);
#endif
}
inline int SocketOfOurs(int domain, int type) {
#ifdef __APPLE__
  const int fd = socket(domain, type, 0);
  if (fd != -1) fcntl(fd, F_SETFD, FD_CLOEXEC);
  return fd;
#else
  return socket(domain, type | SOCK_CLOEXEC, 0);
#endif
}
inline int AcceptOfOurs(int listener, sockaddr* peer, socklen_t* length) {
#ifdef __APPLE__
  const int fd = accept(listener, peer, length);
  if (fd != -1) fcntl(fd, F_SETFD, FD_CLOEXEC);
  return fd;
#else
  return accept4(listener, peer, length, SOCK_CLOEXEC);
#endif
}

// The environment of this process.
inline char** Environment() {
#ifdef __APPLE__
  return *_NSGetEnviron();
#else
  return environ;
#endif
}

// Memory that is about to be filled from end to end comes in large pages, where the system has them to give:
// most of what a fresh block of many megabytes costs is its small ones.
inline void WantLargePages([[maybe_unused]] void* memory, [[maybe_unused]] std::size_t size) {
#ifdef MADV_HUGEPAGE
  constexpr std::uintptr_t kPage = std::uintptr_t{2} << 20;
  constexpr std::size_t kWorthIt = 4 * kPage;
  if (size < kWorthIt) return;
  const auto at = reinterpret_cast<std::uintptr_t>(memory);
  const std::uintptr_t begin = (at + kPage - 1) & ~(kPage - 1);
  const std::uintptr_t end = (at + size) & ~(kPage - 1);
  madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
#endif
}

}  // namespace platform

#endif
