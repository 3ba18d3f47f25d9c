// ErrorRelay: what a child writes to its standard error goes on to this process's own, as if the child had
// inherited it, and the end of it is kept for the reason of a start that fails. Made before the child is
// started, destroyed when it has ended; what a program that outlives the child still writes is lost.
#ifndef ERROR_RELAY_H
#define ERROR_RELAY_H

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>

#include "PlugInThreadHot.h"
#include "descriptor.h"
#include "wake_up.h"

class ErrorRelay : public PlugInThreadHot {
 public:
  ErrorRelay();
  ~ErrorRelay() override;

  // What becomes the child's standard error; -1, and the child inherits, where there was no pipe or no thread
  // to be had.
  int ChildsEnd() const { return childs_end.Number(); }
  // Once the child has been started.
  void LetGo() { childs_end.Close(); }
  // Of a child that has ended: the end of what it wrote, whole lines, without the last line end.
  std::string LastWords();

  std::int32_t Run() override;

 private:
  Descriptor childs_end, reading;
  WakeUp stop;
  std::mutex mutex;  // of the two below
  std::string kept;
  bool ended = false;
  std::condition_variable end;
};

#endif
