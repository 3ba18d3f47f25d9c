#include "language_run.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>
#include <thread>

#include "CleXDErrorCode.h"
#include "OutpStatisticsX.h"
#include "VexaDXConfigReader.h"
#include "XManager.h"
#include "drivex.h"
#include "dxglobals.h"
#include "msleep.h"
#include "serving.h"
#include "xpipemanager.h"

namespace {

constexpr int kOnThisMachine = 1;
constexpr int kEndLooks = 100;
constexpr unsigned int kEndPause = 10;  // milliseconds

// Becomes readable when something is over.
class Bell {
 public:
  Bell() : descriptor(eventfd(0, EFD_CLOEXEC)) {}
  Bell(const Bell&) = delete;
  Bell& operator=(const Bell&) = delete;
  ~Bell() { close(descriptor); }
  void Ring() const { eventfd_write(descriptor, 1); }
  int Descriptor() const { return descriptor; }

 private:
  int descriptor;
};

bool DriverHosts(const Session& session, const std::string& language) {
  return session.driver_channel && language == session.driver_language;
}

// Kept by the manager for the blocks to come.
OutpStatisticsX* RuntimeOf(Session& session, const std::string& language, XConfigOptions* options) {
  XManager* const manager = GetXManager();
  if (auto* const runtime = dynamic_cast<OutpStatisticsX*>(manager->getStatisticsX(language))) {
    const bool in_use = session.depth > 0;  // maybe by a block around this one
    if (in_use || !runtime->isIntialized() || runtime->isXProcessActive()) return runtime;
    session.output.Post(language + " has ended, and what its blocks left there is gone.\n");
    manager->destoryStatisticsX(language);
    GetXPipeManager()->removePipeSuit(language);  // its pipes lead to nobody
  }
  auto* const runtime = new OutpStatisticsX(options, kOnThisMachine, !DriverHosts(session, language));
  manager->addStatisticsX(language, runtime);
  return runtime;
}

// What the session knows of a block while it runs.
class RunningBlock {
 public:
  RunningBlock(Session& of_session, bool of_driver)
      : session(of_session), outer_x_drives(of_session.x_drives) {
    ++session.depth;
    session.x_drives = of_driver;
  }
  RunningBlock(const RunningBlock&) = delete;
  RunningBlock& operator=(const RunningBlock&) = delete;
  ~RunningBlock() {
    --session.depth;
    session.x_drives = outer_x_drives;
  }

 private:
  Session& session;
  bool outer_x_drives;
};

// Of a process that ends its pipes go first. The next block is not for one that is about to be gone.
void AwaitEnd(OutpStatisticsX& runtime, int code) {
  const bool pipes_gone = code == CleXDErrorCode::kPeerClosed || code == CleXDErrorCode::kPipeFailed ||
                          code == CleXDErrorCode::kProcessNotAlive;
  for (int look = 0; pipes_gone && look < kEndLooks && runtime.isXProcessActive(); ++look) msleep(kEndPause);
}

}  // namespace

int RunBlock(Session& session, const std::string& language, std::vector<std::string> lines) {
  VexaDXConfigReader* const configuration = VexaDXConfigReader::GetInstance();
  if (!configuration->IsSupportLanguage(language)) return engine_code::kNoLanguage;
  session.languages.insert(language);
  XConfigOptions* const options = configuration->GetOptions(language);
  OutpStatisticsX* const runtime = RuntimeOf(session, language, options);
  auto* const driver = new DriveX(language, runtime, options);
  GetXManager()->addVexaDX(driver);  // which opens the level
  driver->setSyntax(lines);
  ApiChannel channel(*GetXPipeManager()->getPipeSuit(language)->getXPipes());
  int code = engine_code::kNoConnection;
  if (channel.Listen()) {
    const RunningBlock running(session, DriverHosts(session, language));
    const Bell over;
    std::jthread run([&] {
      code = driver->invokeX();
      over.Ring();
    });
    Serve(session, channel, over.Descriptor());
    run.join();
  }
  GetXManager()->destoryVexaDX(driver);
  if (!DriverHosts(session, language)) AwaitEnd(*runtime, code);
  return code;
}

// A process that died earlier has left fifos, and the engine may be killed before it could remove them at its
// own end.
void StopLanguages(const Session& session) {
  GetXManager()->stopX();
  for (const std::string& language : session.languages) {
    if (!DriverHosts(session, language)) GetXPipeManager()->removePipeSuit(language);
  }
  if (!session.driver_channel) return;
  GetXPipeManager()
      ->getPipeSuit(session.driver_language)
      ->getCmdDispatcher(false)
      ->sendCmd(DXCmdDispatcher::kStopDX);
}
