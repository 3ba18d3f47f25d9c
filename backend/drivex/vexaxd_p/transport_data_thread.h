// TransportDataThread: submits, in the background, the syntax that makes the backend stream data over a
// socket. It uses the session's pipes: no call of the program's own may overlap it.
#ifndef TRANSPORT_DATA_THREAD_H
#define TRANSPORT_DATA_THREAD_H

#include <atomic>
#include <string>

#include "PlugInThreadHot.h"

class TransportDataThread : public PlugInThreadHot {
 public:
  // True loads data into the backend, false saves from it.
  TransportDataThread(const char* socket_text, const char* variable_list, bool get_data);
  ~TransportDataThread() override { WaitForStop(); }

  std::int32_t Run() override;

 private:
  std::atomic<bool> running = false;
  std::string variables;
  std::string socket;
  bool getData;
};

#endif
