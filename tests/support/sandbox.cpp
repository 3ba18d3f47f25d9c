#include "support/sandbox.h"

namespace fs = std::filesystem;

Sandbox::Sandbox() : path_((fs::temp_directory_path() / "vexa_test_XXXXXX").string()) {
  if (mkdtemp(path_.data()) == nullptr) throw std::system_error(errno, std::generic_category(), path_);
}

Sandbox::~Sandbox() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

std::string Sandbox::Write(const std::string& relative, const std::string& content) const {
  const fs::path file = fs::path(path_) / relative;
  fs::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << content;
  return file.string();
}

std::vector<std::string> Sandbox::Entries() const {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(path_)) names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

std::string IdOf(pid_t process) {
  char text[16];
  std::snprintf(text, sizeof text, "%04x", static_cast<unsigned>(process));
  return text;
}

int OpenDescriptors() {
  return static_cast<int>(std::distance(fs::directory_iterator("/proc/self/fd"), {}));  // the walk's own too
}

bool HasChildren() {
  siginfo_t info = {};
  return waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0;
}

std::string ReadFile(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void SetEnvironment(const char* name, const char* value) {
  value != nullptr ? setenv(name, value, 1) : unsetenv(name);
}
