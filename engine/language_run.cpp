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
#include "java_block.h"
#include "msleep.h"
#include "serving.h"
#include "xpipemanager.h"

namespace {

constexpr int kOnThisMachine = 1;
constexpr const char* kR = "R";
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

DriveX* OpenLevel(const std::string& language, StatisticsX* runtime, XConfigOptions* options,
                  std::vector<std::string>& lines) {
  auto* const driver = new DriveX(language, runtime, options);
  GetXManager()->addVexaDX(driver);  // which opens the level
  driver->setSyntax(lines);
  return driver;
}

struct Outcome {
  int code = engine_code::kNoConnection;
  bool said_done = false;  // the process did, over the client interface
};

// Runs the driver's block and serves its level meanwhile.
Outcome Drive(Session& session, DriveX& driver, bool of_driver) {
  Outcome outcome;
  ApiChannel channel(*GetXPipeManager()->getPipeSuit(driver.XName())->getXPipes());
  if (!channel.Listen()) return outcome;
  const RunningBlock running(session, of_driver);
  const Bell over;
  std::jthread run([&] {
    outcome.code = driver.invokeX();
    over.Ring();
  });
  outcome.said_done = Serve(session, channel, over.Descriptor());
  run.join();
  return outcome;
}

// A process for this block alone. How it ended does not come back from it; that it was done does.
int RunJava(Session& session, XConfigOptions* options, std::vector<std::string>& lines) {
  JavaBlock block(options);
  if (!block.Fill(lines)) return engine_code::kBadCommand;
  DriveX* const driver = OpenLevel(kJavaExtension, &block.Runtime(), options, lines);
  block.TellLevel(driver->getIndex());
  const Outcome outcome = Drive(session, *driver, false);
  GetXManager()->destoryVexaDX(driver);
  if (GetXPipeManager()->getPipeSuit(kJavaExtension)->getIndex() < 0)
    GetXPipeManager()->removePipeSuit(kJavaExtension);  // its pipes lead to nobody
  if (outcome.code == 0 && !outcome.said_done) return engine_code::kNotDone;
  return outcome.code;
}

// Of a process that ends its pipes go first. The next block is not for one that is about to be gone.
void AwaitEnd(OutpStatisticsX& runtime, int code) {
  const bool pipes_gone = code == CleXDErrorCode::kPeerClosed || code == CleXDErrorCode::kPipeFailed ||
                          code == CleXDErrorCode::kProcessNotAlive;
  for (int look = 0; pipes_gone && look < kEndLooks && runtime.isXProcessActive(); ++look) msleep(kEndPause);
}

// R reads lines where it prompts for them, and so none while it runs one: it would wait for the end of the
// block that waits for it.
bool CannotNest(const std::string& language) {
  return language == kR && GetXPipeManager()->getPipeSuit(language)->getIndex() >= 0;
}

}  // namespace

int RunBlock(Session& session, const std::string& language, std::vector<std::string> lines) {
  VexaDXConfigReader* const configuration = VexaDXConfigReader::GetInstance();
  if (!configuration->IsSupportLanguage(language)) return engine_code::kNoLanguage;
  session.languages.insert(language);
  XConfigOptions* const options = configuration->GetOptions(language);
  if (language == kJavaExtension) return RunJava(session, options, lines);
  if (CannotNest(language)) return engine_code::kLanguageBusy;
  OutpStatisticsX* const runtime = RuntimeOf(session, language, options);
  DriveX* const driver = OpenLevel(language, runtime, options, lines);
  const bool of_driver = DriverHosts(session, language);
  const int code = Drive(session, *driver, of_driver).code;
  GetXManager()->destoryVexaDX(driver);
  if (!of_driver) AwaitEnd(*runtime, code);
  return code;
}

// The driver may kill this process once it was answered, so the fifos of the languages go here; those of a
// process that has died are nobody else's to remove.
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
