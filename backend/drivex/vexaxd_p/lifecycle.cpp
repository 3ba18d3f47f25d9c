// The beginning and the end of a session with the backend.
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "CmdReceiveThread.h"
#include "DxTracer.h"
#include "XCmdArgument.h"
#include "XManager.h"
#include "call_frame.h"
#include "call_road.h"
#include "child_process.h"
#include "drivex.h"
#include "dxglobals.h"
#include "fifo_files.h"
#include "frame_record.h"
#include "language_creation.h"
#include "patience.h"
#include "platform.h"
#include "reasons.h"
#include "text.h"
#include "vexaxd_p.h"
#include "xpipemanager.h"

namespace {

constexpr int kStartMilliseconds = 1000;  // a program that fails at once has failed by then
constexpr int kStopMilliseconds = 1000;
constexpr int kCommandThreadMilliseconds = 2000;

struct StartOptions {
  std::string home;
  std::string arguments;  // what remains for the backend, behind a blank
};

constexpr std::size_t kOptionEnd =
    10;  // where the value of an option stands, counted from the option's start

// Takes "-vexahome=" or "-language=" out of the text and returns its value, which a comma ends. Kept: the
// value is cut out at a fixed place, so the option must stand at the very beginning, however it was found.
std::string TakeLeadingOption(std::string& text) {
  const std::size_t comma = text.find(',');
  if (comma == std::string::npos) {
    std::string value = text.substr(kOptionEnd);
    text.clear();
    return value;
  }
  std::string value = text.substr(kOptionEnd, comma - kOptionEnd);
  text.erase(0, comma + 1);
  return value;
}

// Takes "-temppath", its value up to the next blank and one character more out of the text. The value goes no
// further.
void DropTempPath(std::string& text) {
  const std::size_t start = text.find("-temppath");
  if (start == std::string::npos) return;
  const std::size_t value = start + kOptionEnd;
  const std::size_t end = std::min(text.find(' ', value), text.size());
  const std::size_t length = end > value ? end - value : 0;
  text.erase(start, length + kOptionEnd + 1);
}

StartOptions ReadOptions(const char* commandLine) {
  StartOptions options;
  std::string& text = options.arguments;
  if (commandLine != nullptr) text = commandLine;
  if (text.find("-vexahome=") != std::string::npos) {
    options.home = TakeLeadingOption(text);
    vexa_home = options.home;
  }
  if (text.find("-language=") != std::string::npos)
    TakeLeadingOption(text);  // kept: taken out and nothing more
  DropTempPath(text);
  if (text.find(' ') != 0) text.insert(0, " ");
  return options;
}

std::string EnvironmentValue(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

// `name`'s own value in front of the one that this process has.
std::string PrependedVariable(const std::string& name, const std::string& value) {
  const char* old = std::getenv(name.c_str());
  return name + "=" + value + (old != nullptr ? ":" + std::string(old) : "");
}

// The backend's whole environment: nothing else is inherited.
XCmdArgument& FillEnvironment(XCmdArgument& environment, const std::string& home) {
  const char* shell = std::getenv("SHELL");
  environment.pushArgument(std::string("SHELL=") + (shell != nullptr ? shell : "/bin/bash"));
  environment.pushArgument("VEXA_HOME=" + home);
  environment.pushArgument(PrependedVariable(platform::kLibrarySearchVariable,
                                             home + "/lib:" + home + "/common/ext/bin/vexa.common:" + home +
                                                 "/ext/bin/vexa.common:" + home + "/JRE/lib"));
  environment.pushArgument(PrependedVariable("PATH", home + "/bin"));
  environment.pushArgument("TERM=");
  for (const char* name : {"VEXA_QUICK", "VEXA_SPIN"}) {
    if (const char* value = std::getenv(name)) environment.pushArgument(std::string(name) + "=" + value);
  }
  const std::string record = FrameRecord::Directory();
  if (!record.empty()) environment.pushArgument("VEXA_RECORD=" + record);
  if (const char* temp = std::getenv("VEXATMPDIR")) environment.pushArgument(std::string("TMPDIR=") + temp);
  environment.pushArgument("HOME=" + EnvironmentValue("HOME"));
  return environment;
}

// Blocks that an earlier backend handed over, and that its end has not ended. Each call of theirs fails by
// now. They use the pipes, so no session begins before they are over: 99125 where they are not in time.
int AwaitRunsOfDeadSession() {
  constexpr int kMilliseconds = 2000;
  while (myPipeSuit->getIndex() > 0) {
    DriveX* const driver = GetXManager()->getBackVexaDX();
    if (driver == nullptr) break;
    if (!driver->AwaitStopped(kMilliseconds)) return CleXDErrorCode::kRunUnderWay;
    GetXManager()->destoryVexaDX(driver);
  }
  return 0;
}

// Ends of an earlier backend that died lead to nobody. Closed, they are found again by name, and a fifo that
// went with that backend is made anew. Its nested runs are over; a session begins at the first level.
int DropStaleEnds() {
  if (cmdThread != nullptr && !cmdThread->EndWithin(kCommandThreadMilliseconds))
    return CleXDErrorCode::kRunUnderWay;
  EndCommandThread();
  if (myPipeSuit == nullptr || myPipeSuit->getIndex() < 0) return 0;
  const int code = AwaitRunsOfDeadSession();
  if (code != 0) return code;
  XPipes* pipes = myPipeSuit->getXPipes();
  pipes->GetXDAPIPipe()->ClosePipe();
  pipes->GetXDAPIResultPipe()->ClosePipe();
  return 0;
}

// It is known until no run of its session waits for it any more: to them it is dead, and not unknown.
void KillBackend() { KillChild(processId); }
void ForgetBackend() {
  KillBackend();
  SetBackend(-1);
}

// The channel on which the backend asks for runs; null for a language that takes none.
DXCmdDispatcher* OpenCommandChannel() {
  if (!nestability) return nullptr;
  DXCmdDispatcher* const dispatcher = myPipeSuit->getCmdDispatcher(true);
  dispatcher->Reopen();  // an earlier backend may have left its ends, and taken the file along
  return dispatcher;
}

// A backend need not come to the channel, now or ever: the thread waits for it, and nobody else does.
void ServeCommands(DXCmdDispatcher* dispatcher) {
  dispatcher->connectPeer();
  cmdThread = new CmdReceiveThread(dispatcher, vexa_pipe_lang);
  cmdThread->Start();
}

// The backend, told to stop, tells the command thread. One that has ended tells nobody any more.
void AwaitCommandThread() {
  constexpr int kLooks = 1000;
  constexpr int kPauseMilliseconds = 5;
  if (cmdThread == nullptr) return;
  // A thread that has not come to its loop yet counts as well.
  for (int look = 0; look < kLooks && cmdThread->HasThread(); ++look) {
    if (processId == -1 || BackendHasEnded()) cmdThread->EndServing();
    Pause(kPauseMilliseconds);
  }
  if (cmdThread->HasThread()) DxTrace("Cmd Dispatcher thread can't exit timely.");
}

}  // namespace

void SetXNameAndSHome(const char* xname, const char* home) {
  CodeOf([=] {
    std::string language = xname != nullptr ? xname : "";
    vexa_home = home != nullptr ? home : "";
    vexa_pipe_lang = std::move(language);
    return 0;
  });
}

int SetVexaRunning(bool running) {
  SetRunning(OneBit(running));
  return 0;
}

namespace {

// The backend's own word; false with a code where it cannot be had.
struct Answer {
  int code = 0;
  bool yes = false;
};

Answer Ask(Action question) {
  ApiCall call(question);
  return {call.code(), call.code() == 0 && call.Long(0) != 0};
}

Answer AskWhetherReady() {
  if (processId != -1) SetRunning(BackendAlive());
  if (std::getenv("VEXA_RUNNING") != nullptr) SetRunning(true);
  return isVexaRunning ? Ask(Action::IsBackendReady) : Answer{};
}

}  // namespace

bool IsBackendReady() { return AskWhetherReady().yes; }

bool IsXDriven() {
  isxdriven = false;
  if (!IsBackendReady()) {
    isxdriven = true;  // a backend that is not there counts as X driving
    return true;
  }
  isxdriven = Ask(Action::IsXDriven).yes;
  return isxdriven;
}

namespace {

// Makes the fifos, starts the program and hears its report. Whatever fails, what was begun is there still.
int BringUp(const StartOptions& options) {
  ++sessionNumber;
  isDataStep = false;
  const int stale = DropStaleEnds();
  if (stale != 0) return stale;
  ForgetBackend();
  IntializePipeInfo();
  RemoveStaleFifos(vexa_pipe_path);
  DxTrace("call StartVEXA");
  const std::string home = options.home.empty() ? GetVEXAHOME() : options.home;
  DXCmdDispatcher* const dispatcher = OpenCommandChannel();

  VexaPipe* apiPipe = nullptr;
  VexaPipe* resultPipe = nullptr;
  GetXDApiPipes(&apiPipe, &resultPipe);
  // Gone if an earlier backend took the file with it. A start that fails tells why it could not be made.
  const std::string not_made = TakeReason(resultPipe->CreatePipe());

  std::string script = home;
  DecoratePathEnd(script);
  script += "bin/StartXD";
  if (access(script.c_str(), F_OK) != 0) {
    std::printf("No %s file exists\n", script.c_str());
    std::fflush(stdout);
    return Because(CleXDErrorCode::kBackendNotRunning, script, " is not there",
                   home.empty() ? "; no home is given, and VEXA_HOME is not set" : "");
  }
  XCmdArgument arguments;
  arguments.pushArgument(script);
  arguments.pushArgument(vexa_pipe_path);
  arguments.pushArgument(vexa_pipe_index);
  arguments.pushArgument(vexa_pipe_lang);
  arguments.pushArgument(options.arguments);
  XCmdArgument environment;
  FillEnvironment(environment, home);
  SetBackend(StartChild(script.c_str(), arguments.argv(), environment.argv()));

  const bool interrupted = !Quick() && !PauseUnlessInterrupted(kStartMilliseconds);
  const auto died = [&] {
    return Because(CleXDErrorCode::kProcessNotAlive, not_made, not_made.empty() ? "" : "; ",
                   HowChildEnded(script, processId));
  };
  if (!BackendAlive()) return died();
  SetRunning(true);

  // The first message is the backend's report on its own start; no request goes before it.
  CleXDSmb report;
  int code = interrupted ? CleXDErrorCode::kInterrupted : ReceiveXDApiResult(report, resultPipe);
  if (code == 0) code = report.GetErrorCode();
  if (NotReached(code) && !interrupted && !BackendAlive()) died();
  if (code != 0 && !not_made.empty()) NoteReason(code, not_made);
  if (code != 0) NoteWordsOf(report, code);
  if (code == 0 && dispatcher != nullptr) ServeCommands(dispatcher);
  if (code != 0) {
    resultPipe->DisconnectPipe();
    resultPipe->ClosePipe();
    ForgetBackend();
    SetRunning(false);
  }
  return code;
}

}  // namespace

const char* VexaLastError() { return LastFailure(); }

int StartVexa(const char* commandLine) {
  const Answer ready = AskWhetherReady();
  if (ready.yes) return 0;
  if (ready.code == CleXDErrorCode::kInterrupted) return ready.code;  // there is one, and it is busy
  KillBackend();  // one that lives and is not ready any more would share the fifos
  const int code = CodeOf([=] { return BringUp(ReadOptions(commandLine)); });
  if (code == CleXDErrorCode::kTooLarge) {  // wherever it was
    ForgetBackend();
    SetRunning(false);
  }
  if (code != 0 && code != CleXDErrorCode::kRunUnderWay) RemoveFifos();
  return code;
}

namespace {

// Between two calls the fifo of the requests is empty: one that is full and stays so is read by nobody.
bool TakesRequests(const VexaPipe& requests) {
  constexpr int kMilliseconds = 1000;
  pollfd room = {requests.Descriptor(), POLLOUT, 0};
  return room.fd == -1 || poll(&room, 1, kMilliseconds) != 0;
}

// A call that was given up must not keep a session from its end: neither by a reply that is still owed, nor
// by a request that did not go out.
bool BackendCanBeAsked() {
  constexpr std::chrono::seconds kPatience(1);
  if (myPipeSuit == nullptr || processId == -1) return true;
  XPipes* const owed = LevelOwed(*myPipeSuit);
  if (owed == nullptr) return TakesRequests(*myPipeSuit->getXPipes()->GetXDAPIPipe());
  const auto end = std::chrono::steady_clock::now() + kPatience;
  const Patience bounded = {
      [end] { return std::chrono::steady_clock::now() < end ? 0 : CleXDErrorCode::kInterrupted; }, 100,
      BackendExit()};
  return SettleDebts(*owed->GetXDAPIPipe(), *owed->GetXDAPIResultPipe(), bounded) == 0;
}

enum class Driven { kNot, kAsked, kSilent };

// Whether this process drives a backend that is to be stopped. One that was started here and does not answer
// any more, or not in time, is ended without a word.
Driven DrivesBackend() {
  if (!BackendCanBeAsked()) return Driven::kSilent;
  const Answer ready = AskWhetherReady();
  if (ready.yes && IsXDriven()) return Driven::kAsked;
  return NotReached(ready.code) && processId != -1 ? Driven::kSilent : Driven::kNot;
}

// Whether the backend that this process started has died. One that no longer answers may be about to.
bool BackendHasDied(Driven driven) {
  constexpr int kMilliseconds = 200;
  pollfd exit = {BackendExit(), POLLIN, 0};
  if (driven == Driven::kSilent && exit.fd != -1) poll(&exit, 1, kMilliseconds);
  return processId != -1 && !BackendAlive();
}

void EndSession(bool asked) {
  if (asked) asked = !NotReached(Call(Action::StopVexa));
  // Of a backend that does not answer the first level: a deeper one is still a block's.
  if (XPipes* const pipes = asked ? myPipeSuit->getXPipes() : myPipeSuit->getXPipes(0)) {
    pipes->GetXDAPIResultPipe()->DisconnectPipe();
    pipes->GetXDAPIResultPipe()->ClosePipe();
  }
  if (!asked) KillBackend();  // nothing else tells its languages, and the blocks that it runs here
  myPipeSuit->stopMonitor(false);
  myPipeSuit->stopMonitor(true);
  if (nestability) {
    AwaitCommandThread();
    EndCommandThread();
    GetXManager()->cleanup();
  } else {
    myPipeSuit = GetXPipeManager()->getPipeSuit(vexa_pipe_lang);
    myPipeSuit->decreaseIndex();
  }
  RemoveFifos();
  myPipeSuit = nullptr;
  GetXPipeManager()->cleanup();
  FinalizeDXGlobal();
  ForgetBackend();
  DxTrace("stopvexa");
  ResetStaticVars();
  if (!Quick()) Pause(kStopMilliseconds);
  SetRunning(false);
}

}  // namespace

void StopVexa() {
  const Driven driven = DrivesBackend();
  const bool died = driven != Driven::kAsked && BackendHasDied(driven);
  if (driven != Driven::kNot && !died) return EndSession(driven == Driven::kAsked);
  if (!died) return;
  // There is nobody to stop. What it left goes all the same.
  SetRunning(false);
  if (DropStaleEnds() == 0) ForgetBackend();
  RemoveFifos();
}

int StopReceiveXdApiThread() { return Call(Action::StopReceiveXdApiThread); }

namespace {

// The drivers of hosted languages. They stay for the life of the process, and are found here by no one: a
// host that wants one of its own makes it.
std::vector<DriveX*>& HostedDrivers() {
  static auto& drivers = *new std::vector<DriveX*>;
  return drivers;
}

}  // namespace

void InitXProcess(const char* appName, const char* tempPath, const char* pid, const char* xname,
                  const char*) {
  CodeOf([=] {
    const std::string application = appName != nullptr ? appName : "";
    const std::string language = xname != nullptr ? xname : "";
    InitDxGlobal(tempPath != nullptr ? tempPath : "", pid != nullptr ? pid : "", language,
                 EnvironmentValue("VEXA_HOME"));
    const bool local = application.find("vexaengine") != std::string::npos || application == "LOCAL";
    SetAppMode(local ? 1 : 0);
    SetVexaRunning(true);
    GetXPipeManager()->getPipeSuit(language);
    if (DriveX* const driver = CreateCmdVexaDX(language, true)) {
      HostedDrivers().push_back(driver);
      try {
        driver->initializeX();
      } catch (const std::exception& error) {
        DxTrace(error.what());
      }
    }
    return 0;
  });
}
