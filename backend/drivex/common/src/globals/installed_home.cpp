#include "installed_home.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>

namespace {

std::string FindHome() {
#ifdef VEXA_HOME_FROM_LIBRARY
  Dl_info library = {};
  if (dladdr(reinterpret_cast<const void*>(&InstalledHome), &library) == 0) return {};
  // A home may hold a link to the library.
  const std::unique_ptr<char, decltype(&std::free)> file(realpath(library.dli_fname, nullptr), &std::free);
  if (!file) return {};
  std::string path = file.get();
  path.resize(path.rfind('/') + 1);
  const std::unique_ptr<char, decltype(&std::free)> home(
      realpath((path + VEXA_HOME_FROM_LIBRARY).c_str(), nullptr), &std::free);
  if (home && access((std::string(home.get()) + "/bin/StartXD").c_str(), X_OK) == 0) return home.get();
#endif
  return {};
}

}  // namespace

const std::string& InstalledHome() {
  static const std::string& home = *new std::string(FindHome());
  return home;
}
