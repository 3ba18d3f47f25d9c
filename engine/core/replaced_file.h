// A file that is written beside another one and takes its place when it is whole: whatever goes wrong before
// that, a full disk too, leaves the old file as it was. The new one has its permissions, and where the name
// is a link, the file that it leads to is replaced. What is no plain file (a pipe, a terminal) is written in
// place.
#ifndef REPLACED_FILE_H
#define REPLACED_FILE_H

#include <string>
#include <string_view>

#include "descriptor.h"

class ReplacedFile {
 public:
  // All throw Refusal, with the name and the system's reason.
  explicit ReplacedFile(const std::string& path);
  ReplacedFile(const ReplacedFile&) = delete;
  ReplacedFile& operator=(const ReplacedFile&) = delete;
  ~ReplacedFile();
  void Write(std::string_view bytes);
  void Commit();

 private:
  [[noreturn]] void Fail() const;

  std::string target;
  std::string beside;  // empty when it is written in place, or has taken its place
  Descriptor file;
};

#endif
