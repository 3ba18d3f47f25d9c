// A file with a line for each request, for whoever writes a binding: the number and what it was answered.
#ifndef REQUEST_LOG_H
#define REQUEST_LOG_H

#include <cstdio>
#include <memory>
#include <string>

#include "CleXDSmb.h"
#include "engine_code.h"

class RequestLog {
 public:
  RequestLog() = default;
  // No log for an empty path. Throws StartFailure.
  explicit RequestLog(const std::string& path) {
    if (path.empty()) return;
    file.reset(std::fopen(path.c_str(), "we"));
    if (!file) throw StartFailure(engine_code::kUnreadable, path + ": the log cannot be written");
    std::setvbuf(file.get(), nullptr, _IOLBF, BUFSIZ);
  }
  void Note(CleXDSmb::CommandAction action, int code) {
    if (file) std::fprintf(file.get(), "action %d code %d\n", static_cast<int>(action), code);
  }

 private:
  struct Closer {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
  };
  std::unique_ptr<std::FILE, Closer> file;
};

#endif
