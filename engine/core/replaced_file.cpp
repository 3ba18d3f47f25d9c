#include "replaced_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "engine_code.h"

namespace {

constexpr mode_t kUsual = 0666;

mode_t ModeOfNewFile() {
  const mode_t mask = umask(0);
  umask(mask);
  return kUsual & ~mask;
}

// Where the name leads to; as it is where there is nothing yet.
std::string Resolved(const std::string& path) {
  std::error_code error;
  const std::filesystem::path leads = std::filesystem::weakly_canonical(path, error);
  return error || path.empty() ? path : leads.string();
}

}  // namespace

ReplacedFile::ReplacedFile(const std::string& path) : target(Resolved(path)) {
  struct stat old = {};
  const bool exists = stat(target.c_str(), &old) == 0;
  if (exists && !S_ISREG(old.st_mode)) {
    file = Descriptor(open(target.c_str(), O_WRONLY | O_CLOEXEC));
    if (file.Number() == -1) Fail();
    return;
  }
  if (exists && access(target.c_str(), W_OK) != 0) Fail();
  beside = target + ".XXXXXX";
  file = Descriptor(mkostemp(beside.data(), O_CLOEXEC));
  if (file.Number() == -1) {
    beside.clear();
    Fail();
  }
  // A file system that keeps no permissions has none to lose.
  static_cast<void>(fchmod(file.Number(), exists ? old.st_mode & 07777 : ModeOfNewFile()));
}

ReplacedFile::~ReplacedFile() {
  if (!beside.empty()) unlink(beside.c_str());
}

void ReplacedFile::Fail() const {
  throw Refusal(engine_code::kUnreadable, target + ": " + std::strerror(errno));
}

void ReplacedFile::Write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(file.Number(), bytes.data(), bytes.size());
    if (written == -1 && errno == EINTR) continue;
    if (written <= 0) Fail();
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

// On the disk before it has the name: after a crash there is the old file or the new one.
void ReplacedFile::Commit() {
  if (beside.empty()) return;
  if (fsync(file.Number()) != 0 || std::rename(beside.c_str(), target.c_str()) != 0) Fail();
  beside.clear();
}
