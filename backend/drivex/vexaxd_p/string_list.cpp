#include "string_list.h"

#include <algorithm>
#include <string>
#include <vector>

#include "vexaxd_p.h"

namespace {
const std::vector<std::string>& Strings(void* handle) {
  return *static_cast<std::vector<std::string>*>(handle);
}
}  // namespace

void* NewStringList(const StringData& texts, std::size_t first) {
  const std::vector<std::string>& all = texts.Values();
  const auto begin = all.begin() + static_cast<std::ptrdiff_t>(std::min(first, all.size()));
  return new std::vector<std::string>(begin, all.end());
}

int GetStringListLength(void* handle) {
  return handle != nullptr ? static_cast<int>(Strings(handle).size()) : 0;
}

const char* GetStringFromList(void* handle, int index) {
  if (index < 0 || index >= GetStringListLength(handle)) return "";
  return Strings(handle)[static_cast<std::size_t>(index)].c_str();
}

void RemoveStringList(void* handle) { delete static_cast<std::vector<std::string>*>(handle); }
