#include "peak_memory.h"

#include <cstdio>
#include <fstream>
#include <string>

namespace {

double Megabytes(const std::string& process, const std::string& what) {
  std::ifstream status("/proc/" + process + "/status");
  for (std::string word; status >> word;) {
    long kilobytes = 0;
    if (word == what + ":" && status >> kilobytes) return static_cast<double>(kilobytes) / 1024;
  }
  return 0;
}

}  // namespace

pid_t Engine() {
  std::ifstream children("/proc/thread-self/children");
  pid_t last = 0;
  for (pid_t child; children >> child;) last = child;
  return last;
}

bool PrintPeak(const char* what, const std::function<bool()>& work) {
  const std::string processes[] = {"self", std::to_string(Engine())};
  double before[2] = {};
  for (int i = 0; i < 2; ++i) {
    std::ofstream("/proc/" + processes[i] + "/clear_refs") << "5\n";  // the peak counts from now on
    before[i] = Megabytes(processes[i], "VmRSS");
  }
  if (!work()) return false;
  std::printf("Peak memory that %s added: %.1f MiB here, %.1f MiB in the engine\n", what,
              Megabytes(processes[0], "VmHWM") - before[0], Megabytes(processes[1], "VmHWM") - before[1]);
  return true;
}
