#include "fifo_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <memory>
#include <string_view>

#include "XPipes.h"

namespace {

constexpr const char* kIdDigits = "0123456789abcdef";
constexpr const char* kLevelDigits = "0123456789";
constexpr std::size_t kShortestId = 4;

bool IsOwnFifo(int directory, const char* name) {
  struct stat status = {};
  return fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISFIFO(status.st_mode) &&
         status.st_uid == geteuid();
}

template <class Condition, class Act>
void ForEachOwnFifo(const std::string& directory, Condition wanted, Act act) {
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(opendir(directory.empty() ? "." : directory.c_str()),
                                                    closedir);
  if (!entries) return;
  const int place = dirfd(entries.get());
  while (const dirent* const entry = readdir(entries.get())) {
    if (wanted(entry->d_name) && IsOwnFifo(place, entry->d_name)) act(place, entry->d_name);
  }
}

template <class Condition>
void RemoveOwnFifos(const std::string& directory, Condition wanted) {
  ForEachOwnFifo(directory, wanted, [](int place, const char* name) { unlinkat(place, name, 0); });
}

// What is left of a name in front of one of the library's endings; empty when it has none of them.
std::string_view InFrontOfEnding(std::string_view name) {
  for (const std::string_view ending : {"P2C", "C2P", "_s", "_c"}) {
    if (name.ends_with(ending)) return name.substr(0, name.size() - ending.size());
  }
  for (const std::string_view ending :
       {XPipes::SYNTAX_PIPE, XPipes::SYNTAX_RESULT_PIPE, XPipes::XDAPI_PIPE, XPipes::XDAPI_RESULT_PIPE}) {
    if (!name.ends_with(ending)) continue;
    name.remove_suffix(ending.size());
    const std::size_t language_end = name.find_last_not_of(kLevelDigits) + 1;
    return name.substr(0, language_end == name.size() ? 0 : language_end);
  }
  return {};
}

bool HasNoProcess(std::string_view id) {
  pid_t process = 0;
  const auto [end, error] = std::from_chars(id.data(), id.data() + id.size(), process, 16);
  if (error != std::errc() || process <= 0) return false;
  return kill(process, 0) == -1 && errno == ESRCH;
}

bool IsStale(std::string_view name) {
  const std::string_view session_and_language = InFrontOfEnding(name);
  const std::size_t id_end = session_and_language.find_first_not_of(kIdDigits);
  if (id_end == std::string_view::npos || id_end < kShortestId) return false;
  return HasNoProcess(session_and_language.substr(0, id_end));
}

}  // namespace

void RemoveFifosOf(const std::string& directory, const std::string& id) {
  if (id.empty()) return;
  RemoveOwnFifos(directory, [&id](std::string_view name) {
    return name.starts_with(id) && name.find_first_not_of(kIdDigits, id.size()) == id.size();
  });
}

std::vector<std::string> StaleFifos(const std::string& directory) {
  std::vector<std::string> names;
  ForEachOwnFifo(directory, IsStale, [&](int, const char* name) { names.emplace_back(name); });
  return names;
}

void RemoveStaleFifos(const std::string& directory) { RemoveOwnFifos(directory, IsStale); }
