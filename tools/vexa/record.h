// What processes recorded of a session, read back. docs/record.md has the form of the files.
#ifndef RECORD_H
#define RECORD_H

#include <cstdint>
#include <string>
#include <vector>

struct RecordedFrame {
  std::int32_t process = 0;
  std::string program;
  std::uint32_t thread = 0;
  bool sent = false;
  std::int64_t time = 0;  // nanoseconds
  std::int32_t code = 0;  // with which it broke off
  std::uint32_t moved = 0, length = 0;
  std::string fifo, bytes;  // its front
};

struct Record {
  std::vector<RecordedFrame> frames;  // by time
  std::vector<std::string> faults;    // what of it cannot be read
};
// Of a file, or of all such files of a directory. Throws std::runtime_error where there is none.
Record ReadRecord(const std::string& path);

#endif
