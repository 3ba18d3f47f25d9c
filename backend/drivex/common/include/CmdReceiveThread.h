// CmdReceiveThread: serves the command channel of a process that drives the backend, so that the backend can
// run language code in it. The thread lives for exactly the serving loop. The session owns it; the channel
// outlives it.
#ifndef CMDRECEIVETHREAD_H
#define CMDRECEIVETHREAD_H

#include <atomic>
#include <cstdint>
#include <string>

#include "PlugInThreadHot.h"
#include "vexa_api.h"

class DXCmdDispatcher;

class VEXA_API CmdReceiveThread : public PlugInThreadHot {
 public:
  // For runs of the language of this process, or of the one of that name.
  explicit CmdReceiveThread(DXCmdDispatcher* dispatcher);
  CmdReceiveThread(DXCmdDispatcher* dispatcher, const std::string& language);
  // Ends the loop and waits for the end of the thread.
  ~CmdReceiveThread() override;

  bool IsRunning() const { return isRunningFlag; }
  std::int32_t Run() override;

  // Ends the loop, whatever the peer does, once the command in hand is served; does not wait.
  void EndServing();
  // The same, waiting up to that long. Whether the thread has ended.
  bool EndWithin(int milliseconds);

 private:
  DXCmdDispatcher* m_dispatcher;
  const std::string xname;
  std::atomic<bool> isRunningFlag = false;
};

#endif
