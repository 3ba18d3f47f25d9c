// What a test may leave behind, counted: files in a private directory, descriptors, children.
#ifndef SUPPORT_SANDBOX_H
#define SUPPORT_SANDBOX_H

#include "support/test.h"

// A fresh directory of mode 0700, removed at the end with all that is in it.
class Sandbox {
 public:
  Sandbox();
  Sandbox(const Sandbox&) = delete;
  Sandbox& operator=(const Sandbox&) = delete;
  ~Sandbox();

  // Without a final "/".
  const std::string& path() const { return path_; }
  // Writes a file, with the folders that lead to it. Returns its full path.
  std::string Write(const std::string& relative, const std::string& content) const;
  // What lies in the directory, by name.
  std::vector<std::string> Entries() const;

 private:
  std::string path_;
};

// A process as the names of its fifos have it.
std::string IdOf(pid_t process);
// The descriptors that this process has open.
int OpenDescriptors();
// Whether this process has a child, alive or ended and not waited for. Reaps none.
bool HasChildren();
// The whole content of a file; empty when there is none.
std::string ReadFile(const std::string& path);
// Sets a variable of the environment, or unsets it with null.
void SetEnvironment(const char* name, const char* value);

#endif
