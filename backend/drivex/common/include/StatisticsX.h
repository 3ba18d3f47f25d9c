// StatisticsX: the runtime of one external language: brings it up, hands it blocks of lines with a step
// before and one behind each, and stops it. Callers use the plain operations, which keep the flags and write
// the trace; each of them calls the virtual operation of its name with "x_" in front, which does the work.
//
// XManager owns the runtimes, one for each language, shared by nested runs. Calls come from one thread at a
// time, whichever runs the block; any thread may look at the flags.
#ifndef STATISTICSX_H
#define STATISTICSX_H

#include <atomic>

#include "vexa_api.h"

// Takes output of the language for the backend.
using PostOutputFunction = int (*)(const char* text, int length);

class VEXA_API StatisticsX {
 public:
  // `backendDrives`: the backend started the language, and so starts and stops it here. Otherwise the
  // language runs already and drives the backend.
  explicit StatisticsX(bool backendDrives);
  StatisticsX(const StatisticsX&) = delete;
  StatisticsX& operator=(const StatisticsX&) = delete;

  // The order of the virtual operations is part of the interface. All results are codes.

  virtual ~StatisticsX();
  virtual int x_init_embedded_x(int argc, char** argv) = 0;
  virtual int x_execute_x(char* lines) = 0;
  virtual int x_stop_embedded_x() = 0;
  virtual int x_pre_action() = 0;
  virtual int x_post_action() = 0;
  virtual void x_setup_dxcallback(void* handle);
  virtual void x_set_post_vexa_output(PostOutputFunction post);
  virtual int x_get_library_lock();
  virtual int x_release_library_lock();

  // Without effect when the language is initialised, except for R, which is asked again each time. One that
  // the backend does not drive counts as initialised from here on, and is not called.
  int init_embedded_x(int argc, char** argv);
  // One text with all lines of a block, each ended by "\n". 99115 when the language is not initialised, as of
  // the two steps.
  int execute_x(char* lines);
  int pre_action();
  int post_action();
  // Stops a language that is initialised and driven by the backend. Afterwards none is initialised.
  int stop_embedded_x();
  // The table through which the language calls the library back.
  void setup_dxcallback(void* handle);
  void set_post_vexa_output(PostOutputFunction post);
  int get_library_lock() { return x_get_library_lock(); }
  int release_library_lock() { return x_release_library_lock(); }

  bool isVexaDrive() const { return backend_drives; }
  // Whether the language may be given lines.
  bool isIntialized() const { return initialised.load(std::memory_order_relaxed); }
  void setIntialized(bool value) { initialised.store(value, std::memory_order_relaxed); }
  // Whether lines are being executed right now.
  bool isRunning() const { return running.load(std::memory_order_relaxed); }
  // Kept for the caller; the library never looks at it.
  bool hasLock() const { return lock.load(std::memory_order_relaxed); }
  void setLock(bool value) { lock.store(value, std::memory_order_relaxed); }
  bool isR() const { return is_r.load(std::memory_order_relaxed); }
  void setR(bool value) { is_r.store(value, std::memory_order_relaxed); }

 private:
  const bool backend_drives;
  std::atomic<bool> initialised = false;
  std::atomic<bool> running = false;
  std::atomic<bool> lock = false;
  std::atomic<bool> is_r = false;
};

#endif
