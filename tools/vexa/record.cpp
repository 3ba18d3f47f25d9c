#include "record.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string_view>

#include "frame_record.h"

namespace {

namespace fs = std::filesystem;

std::string ContentOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::string content{std::istreambuf_iterator<char>(file), {}};
  if (!file.good() && !file.eof()) throw std::runtime_error(path.string() + " cannot be read");
  return content;
}

// The front of one file, as far as it has been read.
class RecordReader {
 public:
  RecordReader(std::string_view content, Record& record) : rest(content), to(record) {}

  // False for what begins otherwise.
  bool TakeHead() {
    RecordHead head = {};
    std::string_view program;
    if (!StartsWithHead() || !Take(head, program)) return false;
    process = head.process;
    name = program;
    rest.remove_prefix(head.length);
    return true;
  }
  // False at the end, and at what is no whole entry.
  bool TakeEntry() {
    RecordEntry entry = {};
    std::string_view behind;
    if (!Take(entry, behind) || entry.direction > RecordEntry::kEnded || entry.name > behind.size() ||
        entry.kept != behind.size() - entry.name)
      return false;
    rest.remove_prefix(entry.length);
    if (entry.direction == RecordEntry::kEnded) {
      to.faults.push_back("process " + std::to_string(process) + " (" + name +
                          ") recorded nothing from some moment on: " + std::strerror(entry.code));
      return true;
    }
    to.frames.push_back({process, name, entry.thread, entry.direction == RecordEntry::kSent, entry.time,
                         entry.code, entry.moved, entry.frame, std::string(behind.substr(0, entry.name)),
                         std::string(behind.substr(entry.name))});
    return true;
  }
  // Zeros are room that a process was killed before it used.
  std::size_t Left() const {
    return rest.find_first_not_of('\0') == std::string_view::npos ? 0 : rest.size();
  }

 private:
  bool StartsWithHead() const {
    return rest.starts_with(std::string_view(RecordHead::kMagic, sizeof RecordHead::magic));
  }
  template <class Front>
  bool Take(Front& front, std::string_view& behind) {
    if (rest.size() < sizeof front) return false;
    std::memcpy(&front, rest.data(), sizeof front);
    if (front.length < sizeof front || front.length > rest.size()) return false;
    behind = rest.substr(sizeof front, front.length - sizeof front);
    return true;
  }

  std::string_view rest;
  Record& to;
  std::int32_t process = 0;
  std::string name;
};

void ReadFile(const fs::path& path, Record& record) {
  const std::string content = ContentOf(path);
  RecordReader reader(content, record);
  if (content.empty()) record.faults.push_back(path.string() + " is empty: its process could not write it");
  if (reader.Left() == 0) return;  // or was killed as it began
  if (!reader.TakeHead()) throw std::runtime_error(path.string() + " is no record");
  while (reader.TakeEntry()) {
  }
  if (reader.Left() != 0)
    record.faults.push_back(path.string() + " is cut off: its last " + std::to_string(reader.Left()) +
                            " bytes are no whole entry");
}

}  // namespace

Record ReadRecord(const std::string& path) {
  std::vector<fs::path> files;
  std::error_code unknown;
  if (!fs::exists(path, unknown)) throw std::runtime_error(path + ": there is no such file or directory");
  if (!fs::is_directory(path, unknown)) files.emplace_back(path);
  for (fs::directory_iterator at(path, unknown), end; !unknown && at != end; at.increment(unknown)) {
    if (at->path().extension() == ".vexarec") files.push_back(at->path());
  }
  if (files.empty()) throw std::runtime_error(path + " has no record of a process, <pid>.vexarec");
  std::sort(files.begin(), files.end());
  Record record;
  for (const fs::path& file : files) ReadFile(file, record);
  std::stable_sort(record.frames.begin(), record.frames.end(),
                   [](const RecordedFrame& a, const RecordedFrame& b) { return a.time < b.time; });
  return record;
}
