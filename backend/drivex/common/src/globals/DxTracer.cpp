#include "DxTracer.h"

#include <pthread.h>

#include <atomic>
#include <ctime>
#include <mutex>

namespace {

std::atomic<DxTracer*> gDxTracer = nullptr;

// Held while any tracer is used, and while the process forks: a fork finds it free, and no line half written.
// Never destroyed.
std::mutex& Tracing() {
  static std::mutex* const tracing = [] {
    pthread_atfork([] { Tracing().lock(); }, [] { Tracing().unlock(); }, [] { Tracing().unlock(); });
    return new std::mutex;
  }();
  return *tracing;
}

}  // namespace

DxTracer::~DxTracer() {
  if (stream != nullptr) std::fclose(stream);
}

void DxTracer::setXName(const std::string& name) {
  const std::lock_guard lock(Tracing());
  xname = name;
}

void DxTracer::open(const std::string& path) {
  if (path.empty()) return;
  const std::lock_guard lock(Tracing());
  if (stream != nullptr) std::fclose(stream);
  stream = std::fopen(path.c_str(), "we");
  if (stream == nullptr) return;
  const std::string stars(40, '*');
  std::fputs((stars + "TRACE BEGIN" + stars + "\n").c_str(), stream);
  std::fflush(stream);
}

void DxTracer::write(const std::string& message) {
  const std::lock_guard lock(Tracing());
  if (stream == nullptr) return;
  const std::time_t now = std::time(nullptr);
  std::tm local = {};
  localtime_r(&now, &local);
  char stamp[100] = "";
  if (std::strftime(stamp, sizeof stamp, "%x %X ", &local) == 0) stamp[0] = '\0';
  const std::string line = stamp + xname + ">>" + message + "\n";
  std::fwrite(line.data(), 1, line.size(), stream);
  std::fflush(stream);
}

DxTracer* GetDxTracer() { return gDxTracer; }
void SetDxTracer(DxTracer* tracer) { gDxTracer = tracer; }

void DxTrace(const std::string& message) {
  if (DxTracer* tracer = GetDxTracer()) tracer->write(message);
}

void DxTraceError(const std::string& message, int code) {
  if (DxTracer* tracer = GetDxTracer())
    tracer->write(message + " error code : " + std::to_string(code) + ".");
}
