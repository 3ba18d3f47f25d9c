#include "PlugInDynamicLoadedLibrary.h"

#include <dlfcn.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "platform.h"

namespace {

constexpr int kLazyMode = 1;

std::string LoaderError() {
  const char* const text = dlerror();
  return text != nullptr ? text : "";
}

}  // namespace

PlugInDynamicLoadedLibrary::PlugInDynamicLoadedLibrary(const std::string& library_path, int mode)
    : flags(mode == kLazyMode ? platform::kBindLazily : platform::kBindNow), path(library_path) {}

PlugInDynamicLoadedLibrary::~PlugInDynamicLoadedLibrary() = default;

int PlugInDynamicLoadedLibrary::LoadLibraryNow() {
  error_text.clear();
  if (handle != nullptr) return 0;
  errno = 0;
  handle = dlopen(path.c_str(), flags);
  if (handle != nullptr) return 0;
  const int code = errno;
  char text[1024] = "";
  if (code != 0) std::snprintf(text, sizeof text, "dlopen errno(%d): %s\n", code, std::strerror(code));
  error_text = text + LoaderError();
  error_text.resize(std::min(error_text.size(), sizeof text - 1));
  return -1;
}

void* PlugInDynamicLoadedLibrary::GetSymbolAddress(const std::string& name) {
  // Without a handle dlsym would search the whole process.
  if (LoadLibraryNow() != 0) return nullptr;
  void* const address = dlsym(handle, name.c_str());
  if (address == nullptr) error_text = LoaderError();
  return address;
}

std::string PlugInDecorateDynamicPathName(const std::string& path) {
  const std::string_view suffix = platform::kLibrarySuffix;
  if (path.size() > suffix.size() && path.ends_with(suffix)) return path;
  const std::size_t name = path.rfind('/') + 1;  // npos + 1 is the start
  std::string decorated = path;
  return decorated.insert(name, platform::kLibraryPrefix).append(suffix);
}
