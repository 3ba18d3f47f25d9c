// MonitorThread: a heartbeat over a fifo of its own, by which two processes learn that the other one is gone.
// The writer sends a word once a second; the reader calls a handler when the writer goes without a word of
// farewell.
//
//   1: alive   3: the writer stops in an orderly way     32-bit, host byte order; the first of a chunk counts
//
// The reader makes the fifo. Both open it without blocking and try again once a second, so that Stop ends the
// thread within about a second even if no peer ever came.
#ifndef MONITORTHREAD_H
#define MONITORTHREAD_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "PlugInThreadHot.h"
#include "VexaPipe.h"
#include "vexa_api.h"

class VEXA_API MonitorThread : public PlugInThreadHot {
 public:
  static constexpr int kWriter = 0;
  static constexpr int kReader = 1;

  // Any other type fails the assertion "Un_supported_monitorType".
  MonitorThread(const char* pipeName, int monitorType);
  ~MonitorThread() override;

  std::int32_t Run() override;
  // Ends the thread and waits for its end; without effect on one that does not run, or that ends already.
  void Stop();
  // Called on the monitor's thread when the pipe broke. Set before Start. It may call Stop; it must not
  // destroy the monitor.
  void SetExceptionHandle(int (*handler)());
  // Whether the peer has been heard of and has not gone. A writer takes it for granted.
  bool PeerAlive() const { return peer_alive; }
  void RemoveFile(bool only_created) const { pipe->RemoveFile(only_created); }

 private:
  void Monitor();
  void Write();
  bool OpenedToWrite(long& known);
  void Read();
  void TakeWord(std::int32_t word);
  bool Pause();

  std::unique_ptr<VexaPipe> pipe;
  std::string pipe_name;
  std::atomic<bool> quiet_end = true;  // the handler is not to be called
  std::atomic<bool> peer_alive = false;
  std::atomic<bool> stop = true;  // the thread does not run, or has been told to end
  std::mutex mutex;               // of the two below
  bool running = false;           // in Run
  bool told = false;              // Stop waits for the thread, which need not have reached Run
  std::int32_t monitor_type;
  std::atomic<int (*)()> exception_handle = nullptr;
};

#endif
