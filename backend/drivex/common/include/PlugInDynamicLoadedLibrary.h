// PlugInDynamicLoadedLibrary: one dynamic library, loaded by its path when it is first needed. A library that
// was loaded stays mapped until the process ends, whatever becomes of the object: its code may be on a stack,
// and what it registered is still called. Its symbols are visible to libraries that are loaded later. An
// object has one user at a time.
#ifndef PLUGINDYNAMICLOADEDLIBRARY_H
#define PLUGINDYNAMICLOADEDLIBRARY_H

#include <string>

#include "vexa_api.h"

class VEXA_API PlugInDynamicLoadedLibrary {
 public:
  // Loads nothing yet. In mode 1 the functions of the library are bound as they are called, in every other
  // mode at once.
  PlugInDynamicLoadedLibrary(const std::string& path, int mode);
  PlugInDynamicLoadedLibrary(const PlugInDynamicLoadedLibrary&) = delete;
  PlugInDynamicLoadedLibrary& operator=(const PlugInDynamicLoadedLibrary&) = delete;
  ~PlugInDynamicLoadedLibrary();

  // 0, or -1 when the library cannot be loaded. Once it is loaded nothing more happens.
  int LoadLibraryNow();
  // Loads the library if need be. Null when it cannot be loaded or lacks the name.
  void* GetSymbolAddress(const std::string& name);
  // Why the last operation failed; empty when it did not.
  std::string GetErrorString() const { return error_text; }

 private:
  void* handle = nullptr;
  int flags;
  std::string path;
  std::string error_text;
};

// The path of a library in the system's form, on Linux
//
//   dir/name      dir/libname.so
//   dir/name.so   as it is, without a prefix
//
// A name that begins with "lib" is given another one.
VEXA_API std::string PlugInDecorateDynamicPathName(const std::string& path);

#endif
