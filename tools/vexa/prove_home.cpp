// A home of links, in which one language is another.
#include <filesystem>
#include <fstream>

#include "VexaDXConfigReader.h"
#include "prove_language.h"

namespace {

namespace fs = std::filesystem;

void Link(const fs::path& from, const fs::path& to, const std::string& but) {
  fs::create_directories(to);
  std::error_code none;
  for (const auto& entry : fs::directory_iterator(from, none)) {
    if (entry.path().filename() != but) fs::create_symlink(entry.path(), to / entry.path().filename());
  }
}

// "libmine.so" is the library "mine".
std::string NameOf(const fs::path& library) {
  const std::string stem = library.stem().string();
  return stem.starts_with("lib") ? stem.substr(3) : stem;
}

}  // namespace

void MakeHomeOf(const std::string& home, const std::string& name, const std::string& library,
                const std::vector<std::string>& entries, const std::string& directory) {
  constexpr const char* kConfiguration = "vexadxcfg.ini";
  const fs::path own = directory, path = fs::absolute(library);
  const std::string file = "lib" + NameOf(path) + ".so";
  Link(home, own, "bin");
  fs::remove(own / "lib");
  Link(fs::path(home) / "bin", own / "bin", kConfiguration);
  Link(fs::path(home) / "lib", own / "lib", file);
  fs::create_symlink(path, own / "lib" / file);
  std::ofstream to(own / "bin" / kConfiguration);
  to << "[SUPPORTED_LANG]\nX=" << name << "\nTRACE=\n[" << name << "]\nLIB_NAME=" << NameOf(path) << '\n';
  // What the home has of it, line by line.
  std::ifstream from(fs::path(home) / "bin" / kConfiguration);
  bool inside = false;
  for (std::string line; std::getline(from, line);) {
    if (line.starts_with('['))
      inside = line == "[" + name + "]";
    else if (inside && !line.starts_with("LIB_NAME="))
      to << line << '\n';
  }
  for (const std::string& entry : entries) to << entry << '\n';
}
