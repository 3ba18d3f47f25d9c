// A file with a line for each request, for whoever writes a binding: when it was answered, its name and
// number, the code and what that means.
//
//   2026-11-23 12:51:48.123456 GetVariableName (9): 10 variable 7: the dataset has 3, from 0
#ifndef REQUEST_LOG_H
#define REQUEST_LOG_H

#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include "CleXDSmb.h"

// The number of an action, by the name that it has in the log.
std::optional<int> ActionNamed(const std::string& name);

class RequestLog {
 public:
  RequestLog() = default;
  // No log for an empty path. Throws Refusal.
  explicit RequestLog(const std::string& path);
  void Note(CleXDSmb::CommandAction action, CleXDSmb& reply);

 private:
  struct Closer {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
  };
  std::string file_name;
  std::unique_ptr<std::FILE, Closer> file;
};

#endif
