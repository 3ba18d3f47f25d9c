// The beginning and the end of a session with the backend.
#include <unistd.h>

#include <algorithm>
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
#include "child_process.h"
#include "drivex.h"
#include "dxglobals.h"
#include "language_creation.h"
#include "msleep.h"
#include "platform.h"
#include "text.h"
#include "vexaxd_p.h"
#include "xpipemanager.h"

namespace {

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
  if (const char* temp = std::getenv("VEXATMPDIR")) environment.pushArgument(std::string("TMPDIR=") + temp);
  environment.pushArgument("HOME=" + EnvironmentValue("HOME"));
  return environment;
}

// Ends of an earlier backend that died lead to nobody. Closed, they are found again by name, and a fifo that
// went with that backend is made anew. Its nested runs are over; a session begins at the first level.
void DropStaleEnds() {
  EndCommandThread();
  if (myPipeSuit == nullptr || myPipeSuit->getIndex() < 0) return;
  while (myPipeSuit->getIndex() > 0) {
    DriveX* const driver = GetXManager()->getBackVexaDX();
    if (driver == nullptr || !driver->isStopped()) break;
    GetXManager()->destoryVexaDX(driver);
  }
  XPipes* pipes = myPipeSuit->getXPipes();
  pipes->GetXDAPIPipe()->ClosePipe();
  pipes->GetXDAPIResultPipe()->ClosePipe();
}

// The child's id is forgotten before the wait for it.
void EndBackend() {
  const pid_t child = processId;
  SetBackend(-1);
  EndChild(child);
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
  constexpr int kLooks = 50;
  constexpr unsigned int kPauseMilliseconds = 100;
  if (cmdThread == nullptr) return;
  // A thread that has not come to its loop yet counts as well.
  for (int look = 0; look < kLooks && cmdThread->HasThread(); ++look) {
    if (BackendHasEnded()) cmdThread->EndServing();
    msleep(kPauseMilliseconds);
  }
  if (cmdThread->HasThread()) DxTrace("Cmd Dispatcher thread can't exit timely.");
}

}  // namespace

void SetXNameAndSHome(const char* xname, const char* home) {
  vexa_pipe_lang = xname != nullptr ? xname : "";
  vexa_home = home != nullptr ? home : "";
}

int SetVexaRunning(bool running) {
  SetRunning(OneBit(running));
  return 0;
}

bool IsBackendReady() {
  AcquireBuffer();
  if (processId != -1) SetRunning(ChildAlive(processId));
  if (std::getenv("VEXA_RUNNING") != nullptr) SetRunning(true);
  bool ready = false;
  if (isVexaRunning) ready = ApiCall(Action::IsBackendReady).Long(0) != 0;
  ReleaseBuffer();
  return ready;
}

bool IsXDriven() {
  isxdriven = false;
  if (!IsBackendReady()) {
    isxdriven = true;  // a backend that is not there counts as X driving
    return true;
  }
  AcquireBuffer();
  isxdriven = ApiCall(Action::IsXDriven).Long(0) != 0;
  ReleaseBuffer();
  return isxdriven;
}

int StartVexa(const char* commandLine) {
  if (IsBackendReady()) return 0;
  AcquireBuffer();
  const StartOptions options = ReadOptions(commandLine);
  DropStaleEnds();
  IntializePipeInfo();
  DxTrace("call StartVEXA");
  const std::string home = options.home.empty() ? GetVEXAHOME() : options.home;
  DXCmdDispatcher* const dispatcher = OpenCommandChannel();

  VexaPipe* apiPipe = nullptr;
  VexaPipe* resultPipe = nullptr;
  GetXDApiPipes(&apiPipe, &resultPipe);
  resultPipe->CreatePipe();  // gone if an earlier backend took the file with it

  std::string script = home;
  DecoratePathEnd(script);
  script += "bin/StartXD";
  if (access(script.c_str(), F_OK) != 0) {
    std::printf("No %s file exists\n", script.c_str());
    std::fflush(stdout);
    ReleaseBuffer();
    return CleXDErrorCode::kBackendNotRunning;
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

  sleep(1);
  if (!ChildAlive(processId)) {
    ReleaseBuffer();
    return CleXDErrorCode::kProcessNotAlive;
  }
  SetRunning(true);

  // The first message is the backend's report on its own start; no request goes before it.
  CleXDSmb report;
  int code = ReceiveXDApiResult(report, resultPipe);
  if (code == 0) code = report.GetErrorCode();
  if (code == 0 && dispatcher != nullptr) ServeCommands(dispatcher);
  if (code != 0) {
    resultPipe->DisconnectPipe();
    resultPipe->ClosePipe();
    EndBackend();
    SetRunning(false);
  }
  ReleaseBuffer();
  return code;
}

void StopVexa() {
  if (!IsBackendReady() || !IsXDriven()) return;
  AcquireBuffer();
  Call(Action::StopVexa);
  ReleaseBuffer();
  VexaPipe* apiPipe = nullptr;
  VexaPipe* resultPipe = nullptr;
  GetXDApiPipes(&apiPipe, &resultPipe);
  resultPipe->DisconnectPipe();
  resultPipe->ClosePipe();
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
  myPipeSuit = nullptr;
  GetXPipeManager()->cleanup();
  FinalizeDXGlobal();
  EndBackend();
  DxTrace("stopvexa");
  ResetStaticVars();
  msleep(1000);
  SetRunning(false);
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
}
