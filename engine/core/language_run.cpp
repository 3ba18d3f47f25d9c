#include "language_run.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <exception>
#include <span>
#include <system_error>
#include <thread>

#include "CleXDErrorCode.h"
#include "OutpStatisticsX.h"
#include "VexaDXConfigReader.h"
#include "XManager.h"
#include "descriptor.h"
#include "drivex.h"
#include "dxglobals.h"
#include "java_block.h"
#include "reasons.h"
#include "serving.h"
#include "xpipemanager.h"

namespace {

constexpr int kOnThisMachine = 1;
constexpr const char* kR = "R";
constexpr std::chrono::seconds kEndTime{1};
constexpr std::chrono::milliseconds kEndPause(10);
// What a run that nobody waits for any more may take to notice that: three within each other have ended
// within a second.
constexpr std::chrono::milliseconds kAbandonedGrace{400};
// What a run needs at most until its process is there: the bell, the pipes of the level, the command channel,
// a socket or the pipes of R, and both ends of what goes to the process.
constexpr int kDescriptorsOfRun = 16;

// Asked ahead of a run: short of descriptors in the middle of its start, its process could not be told apart
// from one that is there.
bool DescriptorsAreThere() {
  std::vector<Descriptor> taken;
  for (int i = 0; i < kDescriptorsOfRun; ++i) {
    taken.emplace_back(open("/dev/null", O_RDONLY | O_CLOEXEC));
    if (taken.back().Number() == -1) return false;
  }
  return true;
}

bool DriverHosts(const Session& session, const std::string& language) {
  return session.driver_channel && language == session.driver_language;
}

// Kept by the manager for the blocks to come.
OutpStatisticsX* RuntimeOf(Session& session, const std::string& language, XConfigOptions* options) {
  XManager* const manager = GetXManager();
  if (auto* const runtime = dynamic_cast<OutpStatisticsX*>(manager->getStatisticsX(language))) {
    const bool in_use = !session.run_ends.empty();  // maybe by a block around this one
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
  RunningBlock(Session& of_session, bool of_driver, int end)
      : session(of_session), outer_x_drives(of_session.x_drives) {
    session.run_ends.push_back(end);
    session.x_drives = of_driver;
  }
  RunningBlock(const RunningBlock&) = delete;
  RunningBlock& operator=(const RunningBlock&) = delete;
  ~RunningBlock() {
    session.run_ends.pop_back();
    session.x_drives = outer_x_drives;
  }

 private:
  Session& session;
  bool outer_x_drives;
};

// A driver on a nesting level of its own, which goes with it.
class OpenLevel {
 public:
  OpenLevel(const std::string& language, StatisticsX* runtime, XConfigOptions* options,
            std::vector<std::string>& lines)
      : driver(new DriveX(language, runtime, options)) {
    GetXManager()->addVexaDX(driver);  // which opens the level
    driver->setSyntax(lines);
  }
  OpenLevel(const OpenLevel&) = delete;
  OpenLevel& operator=(const OpenLevel&) = delete;
  ~OpenLevel() { GetXManager()->destoryVexaDX(driver); }
  DriveX& Driver() const { return *driver; }

 private:
  DriveX* driver;  // the manager's
};

struct Outcome {
  int code = engine_code::kNoConnection;
  bool said_done = false;  // the process did, over the client interface
};

int Invoke(DriveX& driver) {
  try {
    return driver.invokeX();
  } catch (const std::exception&) {
    return engine_code::kNoRoom;
  }
}

// Whether the innermost run is over, waited for as long as those around it are not.
bool AwaitOver(std::span<const int> run_ends, int milliseconds = -1) {
  pollfd looks[kMostRuns] = {};
  std::transform(run_ends.begin(), run_ends.end(), looks, [](int end) { return pollfd{end, POLLIN, 0}; });
  while (poll(looks, run_ends.size(), milliseconds) == -1 && errno == EINTR) {
  }
  return looks[run_ends.size() - 1].revents != 0;
}

// Nobody waits for the run any more: all that it asks for is refused, and soon its process goes. One that the
// driver hosts is waited for, as the driver is busy with it and on its level until then.
void Abandon(Session& session, ApiChannel& channel, OutpStatisticsX& runtime, bool of_driver) {
  const auto end = std::chrono::steady_clock::now() + kAbandonedGrace;
  const auto left = [end, of_driver] {
    const auto time = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    return of_driver ? -1 : static_cast<int>(std::max<long>(time.count(), 0));
  };
  const auto over = std::span(session.run_ends).last(1);
  try {
    for (CleXDSmb request; channel.NextRequest(request, over, left());) {
      delete[] request.GetBinaryData();  // a block never frees its binary string
      request.CleanUp();
      CleXDSmb refusal;
      refusal.SetCommandAction(request.GetCommandAction());
      refusal.SetErrorCode(engine_code::kAbandoned);
      if (!channel.Reply(refusal)) break;
    }
  } catch (const std::bad_alloc&) {  // the process, which waits for an answer, goes below
  }
  if (AwaitOver(over, left())) return;
  runtime.GiveUp();
}

// Runs the driver's block and serves its level meanwhile.
Outcome Drive(Session& session, DriveX& driver, OutpStatisticsX& runtime, bool of_driver) {
  Outcome outcome;
  ApiChannel channel(*GetXPipeManager()->getPipeSuit(driver.XName())->getXPipes());
  if (!channel.Listen()) return outcome;
  const Descriptor over(eventfd(0, EFD_CLOEXEC));
  const RunningBlock running(session, of_driver, over.Number());
  std::jthread run;
  try {
    run = std::jthread([&] {
      outcome.code = Invoke(driver);
      eventfd_write(over.Number(), 1);
    });
  } catch (const std::system_error&) {
    outcome.code = engine_code::kNoRoom;
    return outcome;
  }
  outcome.said_done = Serve(session, channel);
  if (session.ended || !AwaitOver(session.run_ends)) Abandon(session, channel, runtime, of_driver);
  run.join();
  return outcome;
}

// A process for this block alone. How it ended does not come back from it; that it was done does.
int RunJava(Session& session, XConfigOptions* options, std::vector<std::string>& lines) {
  JavaBlock block(options);
  if (!block.Fill(lines)) return engine_code::kBadCommand;
  Outcome outcome;
  {
    const OpenLevel level(kJavaExtension, &block.Runtime(), options, lines);
    block.TellLevel(level.Driver().getIndex());
    outcome = Drive(session, level.Driver(), block.Runtime(), false);
  }
  if (GetXPipeManager()->getPipeSuit(kJavaExtension)->getIndex() < 0)
    GetXPipeManager()->removePipeSuit(kJavaExtension);  // its pipes lead to nobody
  if (outcome.code == 0 && !outcome.said_done) return engine_code::kNotDone;
  return outcome.code;
}

// Of a process that ends its pipes go first. The next block is not for one that is about to be gone.
void AwaitEnd(OutpStatisticsX& runtime, int code) {
  const bool pipes_gone = code == CleXDErrorCode::kPeerClosed || code == CleXDErrorCode::kPipeFailed ||
                          code == CleXDErrorCode::kProcessNotAlive;
  const auto end = std::chrono::steady_clock::now() + kEndTime;
  while (pipes_gone && std::chrono::steady_clock::now() < end && runtime.isXProcessActive())
    std::this_thread::sleep_for(kEndPause);
}

// R reads lines where it prompts for them, and so none while it runs one: it would wait for the end of the
// block that waits for it.
bool CannotNest(const std::string& language) {
  return language == kR && GetXPipeManager()->getPipeSuit(language)->getIndex() >= 0;
}

}  // namespace

int RunBlock(Session& session, const std::string& language, std::vector<std::string> lines) {
  VexaDXConfigReader* const configuration = VexaDXConfigReader::GetInstance();
  if (!configuration->IsSupportLanguage(language))
    return Because(engine_code::kNoLanguage, "it is not among the languages of ",
                   configuration->ConfigPath());
  session.languages.insert(language);
  XConfigOptions* const options = configuration->GetOptions(language);
  if (session.run_ends.size() == kMostRuns || !DescriptorsAreThere()) return engine_code::kNoRoom;
  if (language == kJavaExtension) return RunJava(session, options, lines);
  if (CannotNest(language)) return engine_code::kLanguageBusy;
  OutpStatisticsX* const runtime = RuntimeOf(session, language, options);
  const bool of_driver = DriverHosts(session, language);
  const OpenLevel level(language, runtime, options, lines);
  const int code = Drive(session, level.Driver(), *runtime, of_driver).code;
  if (!of_driver) AwaitEnd(*runtime, code);
  return code;
}

// The driver may kill this process once it was answered, so the fifos of the languages go here; those of a
// process that has died are nobody else's to remove. Runs that are under way use their languages, and take
// them along when they are abandoned.
void StopLanguages(const Session& session) {
  if (session.run_ends.empty()) {
    GetXManager()->stopX();
    for (const std::string& language : session.languages) {
      if (!DriverHosts(session, language)) GetXPipeManager()->removePipeSuit(language);
    }
  }
  if (!session.driver_channel) return;
  GetXPipeManager()
      ->getPipeSuit(session.driver_language)
      ->getCmdDispatcher(false)
      ->sendCmd(DXCmdDispatcher::kStopDX);
}
