// A thread of the library's own class, for tests of what threads do to each other.
#ifndef SUPPORT_WORKER_H
#define SUPPORT_WORKER_H

#include "PlugInThreadHot.h"
#include "support/processes.h"

// Runs what it is given.
struct Worker : PlugInThreadHot {
  explicit Worker(std::function<int()> todo) : work(std::move(todo)) {}
  ~Worker() override { WaitForStop(); }
  std::int32_t Run() override { return id = gettid(), work(); }
  int Result() { return WaitForStop() ? GetReturnValue() : -1; }
  // Waits until the thread sleeps in the kernel, as one that waits does. False if it ends before.
  bool Sleeps() const {
    const auto state = [this] { return ReadFile("/proc/self/task/" + std::to_string(id) + "/stat"); };
    return Await([&] { return !HasThread() || state().find(") S") != std::string::npos; }) && HasThread();
  }
  const std::function<int()> work;
  std::atomic<pid_t> id = 0;
};

#endif
