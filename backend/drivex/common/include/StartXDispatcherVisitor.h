// StartXDispatcherVisitor: what the commands of the backend do in a process that hosts a language. It serves
// on the thread that receives, and touches XManager and the drivers from there.
//
//   kSetupDXRun   makes a driver and the fifo of its syntax, and starts it
//   kRunDX        starts the driver on top once more
//   kExitDxRun    waits until the driver on top has stopped, and removes it
//   kStopDX       in the synchronous mode has the host's thread leave its loop
//   kTestCmd, 0   nothing
//
// Any other key is answered with 99119. Where there is no driver to start, 99116 tells the backend so, which
// would otherwise wait for the driver's first answer; with no level at all it is the code of the creation.
// That a driver's thread could not be started is not told.
#ifndef STARTXDISPATCHERVISITOR_H
#define STARTXDISPATCHERVISITOR_H

#include <string>
#include <vector>

#include "DXCmdDispatcher.h"
#include "vexa_api.h"

class WakeUp;

class VEXA_API StartXDispatcherVisitor : public DXCmdDispatcherVisitor {
 public:
  // The flag goes on to CreateLanguageX.
  StartXDispatcherVisitor(const std::string& language, bool flag);
  // Ignores the arguments.
  int cmdDispatcher(DXCmdDispatcher::CmdKey key, const std::vector<std::string>& arguments) override;

  // A kExitDxRun under way gives up, with the driver as it is, when that is signalled.
  void EndWaitsBy(const WakeUp* wake) { waits_end = wake; }

 private:
  int SetupRun();
  int StartDriver();
  void ExitRun();

  std::string xname;
  bool backend_drives;
  const WakeUp* waits_end = nullptr;
};

#endif
