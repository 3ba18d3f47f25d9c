// The trace: the one log of the library, one text line a message, each flushed at once so that the file is
// current when a process dies. It is written when the configuration names a directory for it; without one
// every message is dropped.
//
//   ****************************************TRACE BEGIN****************************************
//   11/22/26 21:24:59 R>>call StartVEXA
//
// Date and time are as the locale writes them; the language's name stands in front of ">>" once a driver was
// added. Any thread may trace.
#ifndef DXTRACER_H
#define DXTRACER_H

#include <cstdio>
#include <string>

#include "vexa_api.h"

class VEXA_API DxTracer {
 public:
  DxTracer() = default;
  DxTracer(const DxTracer&) = delete;
  DxTracer& operator=(const DxTracer&) = delete;
  ~DxTracer();

  void setXName(const std::string& name);
  // Truncates the file at `path` and writes the banner. An empty path does nothing. A file that cannot be
  // opened is no error: messages are lost.
  void open(const std::string& path);
  void write(const std::string& message);

 private:
  std::string xname;
  std::FILE* stream = nullptr;
};

// The process's tracer, null until InitDxGlobal made it. It then stays for the life of the process.
VEXA_API DxTracer* GetDxTracer();
VEXA_API void SetDxTracer(DxTracer* tracer);

// Without a tracer both do nothing. DxTraceError appends " error code : N." whatever the code is, 0 included:
// it traces a result, not only a failure.
VEXA_API void DxTrace(const std::string& message);
VEXA_API void DxTraceError(const std::string& message, int code);

#endif
