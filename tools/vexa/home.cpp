#include "home.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "dxglobals.h"

namespace {

std::string Absolute(const std::string& path) {
  std::error_code ignored;
  std::string absolute = std::filesystem::absolute(path, ignored).lexically_normal().string();
  while (absolute.size() > 1 && absolute.ends_with('/')) absolute.pop_back();
  return absolute;
}

}  // namespace

Home FindHome(const std::string& option) {
  if (!option.empty()) return {Absolute(option), "--home"};
  const char* const named = std::getenv("VEXA_HOME");
  if (named != nullptr && *named != '\0') return {Absolute(named), "VEXA_HOME"};
  std::error_code error;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
  const std::filesystem::path around = program.parent_path().parent_path();
  const std::string installed = GetVEXAHOME();
  if (std::filesystem::exists(around / "bin/StartXD", error) || installed.empty())
    return {around.string(), "the program"};
  return {installed, "the library"};
}
