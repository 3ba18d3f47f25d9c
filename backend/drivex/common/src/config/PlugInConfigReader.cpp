#include "PlugInConfigReader.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "text.h"

namespace {

// As isspace knows it in the C locale. A locale of the host must not make white space of a byte of a name.
constexpr const char* kWhiteSpace = " \t\n\v\f\r";

bool IsAbsent(const char* name) { return name == nullptr || *name == '\0'; }
const char* OrEmpty(const char* name) { return name != nullptr ? name : ""; }

class NameList {
 public:
  NameList(char* buffer, std::size_t size) : buffer_(buffer), size_(buffer != nullptr ? size : 0) {}

  bool Add(std::string_view name) {
    if (used_ + name.size() + 2 > size_) return false;
    buffer_[used_ + name.copy(buffer_ + used_, name.size())] = '\0';
    used_ += name.size() + 1;
    return true;
  }
  std::int64_t Used() const { return static_cast<std::int64_t>(used_); }

 private:
  char* buffer_;
  std::size_t size_;
  std::size_t used_ = 0;
};

}  // namespace

PlugInConfigReader::~PlugInConfigReader() = default;

std::int64_t PlugInConfigReader::GetPrivateProfileString(const char* section, const char* key, const char*,
                                                         char* buffer, std::size_t size, const char* path) {
  if (buffer != nullptr) std::memset(buffer, 0, size);
  const File file = OpenFile(path);
  if (file == nullptr) return 0;
  if (IsAbsent(section)) return RetrieveSectionNames(file.get(), buffer, size);
  if (IsAbsent(key)) return RetrieveKeyNames(file.get(), section, buffer, size);
  return RetrieveValue(file.get(), section, key, buffer, size);
}

std::int64_t PlugInConfigReader::RetrieveSectionNames(std::FILE* file, char* buffer, std::size_t size) {
  NameList names(buffer, size);
  Line line;
  while (NextLine(file, line)) {
    if (line[0] != '[') continue;
    const char* name = line + 1;
    if (!names.Add({name, std::strcspn(name, "]")})) break;
  }
  return names.Used();
}

std::int64_t PlugInConfigReader::RetrieveKeyNames(std::FILE* file, const char* section, char* buffer,
                                                  std::size_t size) {
  NameList names(buffer, size);
  if (GotoSectionStart(file, section) == 0) return 0;
  Line line;
  while (NextLineOfSection(file, line)) {
    if (line[0] == '\0') continue;
    if (!names.Add({line, std::strcspn(line, "=")})) break;
  }
  return names.Used();
}

std::int64_t PlugInConfigReader::RetrieveValue(std::FILE* file, const char* section, const char* key,
                                               char* buffer, std::size_t size) {
  if (buffer == nullptr || size == 0) return 0;
  buffer[0] = '\0';
  if (GotoSectionStart(file, section) == 0) return 0;
  Line line;
  while (NextLineOfSection(file, line)) {
    if (strincmp(OrEmpty(key), line, std::strlen(OrEmpty(key))) != 0) continue;
    const char* equals = std::strchr(line, '=');
    if (equals == nullptr) return 0;
    const std::size_t length = std::string_view(equals + 1).copy(buffer, size - 1);
    buffer[length] = '\0';
    return static_cast<std::int64_t>(length);
  }
  return 0;
}

int PlugInConfigReader::GotoSectionStart(std::FILE* file, const char* section) {
  Line line;
  while (NextLine(file, line)) {
    if (line[0] == '[' && strincmp(OrEmpty(section), line + 1, std::strlen(OrEmpty(section))) == 0) return 1;
  }
  return 0;
}

void PlugInConfigReader::TrimAll(char* text) {
  if (text == nullptr) return;
  const std::string_view whole(text);
  const std::size_t first = std::min(whole.find_first_not_of(kWhiteSpace), whole.size());
  const std::size_t end = whole.find_last_not_of(kWhiteSpace) + 1;  // npos + 1 is 0
  const std::size_t length = end > first ? end - first : 0;
  std::memmove(text, text + first, length);
  text[length] = '\0';
}

PlugInConfigReader::File PlugInConfigReader::OpenFile(const char* path) {
  return File(path != nullptr ? std::fopen(path, "rte") : nullptr);
}

bool PlugInConfigReader::NextLine(std::FILE* file, Line& line) {
  if (std::fgets(line, sizeof line, file) == nullptr) return false;
  TrimAll(line);
  return true;
}

bool PlugInConfigReader::NextLineOfSection(std::FILE* file, Line& line) {
  while (NextLine(file, line)) {
    if (line[0] != ';') return line[0] != '[';
  }
  return false;
}
