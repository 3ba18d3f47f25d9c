#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "CleXDErrorCode.h"
#include "DxTracer.h"
#include "JavaExtensionSmb.h"
#include "JavaPlugInSocket.h"
#include "OutpStatisticsX.h"
#include "XCmdArgument.h"
#include "XConfigOptions.h"
#include "child_process.h"
#include "dxglobals.h"
#include "error_relay.h"
#include "patience.h"
#include "platform.h"
#include "reasons.h"
#include "text.h"
#include "xpipemanager.h"

namespace {

constexpr int kStartMilliseconds = 500;  // a program that fails at once has failed by then
constexpr int kServerMilliseconds = 10000;
constexpr int kServerPause = 100;
constexpr int kQuickServerPause = 5;
constexpr std::chrono::seconds kJavaPatience{30};  // for a Java that lives and does not connect

std::string Under(std::string home, const std::string& relative) {
  DecoratePathEnd(home);
  return home + relative;
}

// What follows the label on its line.
std::string Behind(const std::string& label, const std::string& text) {
  const std::size_t at = text.find(label);
  if (at == std::string::npos) return {};
  const std::size_t start = at + label.size();
  return text.substr(start, text.find('\n', start) - start);
}

struct Ends {
  Descriptor reading, writing;
};

// Both ends go when another program is executed. Without a pipe there is no language, and no way to tell why:
// callers expect the process to end.
Ends MakePipe() {
  int ends[2];
  if (platform::PipeOfOurs(ends) != 0) {
    std::puts(std::strerror(errno));
    std::exit(-1);
  }
  return {Descriptor(ends[0]), Descriptor(ends[1])};
}

// What the process says goes into the text, too, for as long as this lives.
class Hearing {
 public:
  Hearing(std::string*& heard_, std::string& text) : heard(heard_) { heard = &text; }
  Hearing(const Hearing&) = delete;
  Hearing& operator=(const Hearing&) = delete;
  ~Hearing() { heard = nullptr; }

 private:
  std::string*& heard;
};

// Ends at an earlier process lead nowhere, and what its fifos still hold is not for a new one: an orphan of
// it may keep them alive. Ahead of the start, as the new process would take an end that goes later for its
// own client's.
void ForgetEarlierProcess(XPipeSuit& suit) {
  XPipes* const pipes = suit.getXPipes();
  for (VexaPipe* const pipe : {pipes->GetSyntaxPipe(), pipes->GetSyntaxResultPipe()}) {
    pipe->RemoveFile(false);
    pipe->ClosePipe();
  }
  if (!suit.HasCmdDispatcher()) return;
  DXCmdDispatcher* const dispatcher = suit.getCmdDispatcher(false);
  dispatcher->RemoveFiles(false);
  dispatcher->Reopen();
}

}  // namespace

int OutpStatisticsX::x_init_embedded_x(int argc, char** argv) {
  const std::string first = argc > 0 ? argv[0] : "";
  if (first == "JavaExtension") {
    java = true;
    return stat_start_java();
  }
  return IsR() ? start_x_process(argc, argv) : stat_start_x();
}

void OutpStatisticsX::StartProcess(const std::string& program, XCmdArgument& arguments,
                                   const ChildStreams& streams) {
  XCmdArgument environment;
  pushEnv(environment);
  char* no_arguments[] = {nullptr};
  char** const argv = arguments.argv();
  owner = getpid();
  process = StartChild(program.c_str(), argv != nullptr ? argv : no_arguments, environment.argv(), streams);
}

void OutpStatisticsX::StartHeard(const std::string& program, XCmdArgument& arguments, ChildStreams streams) {
  errors = std::make_unique<ErrorRelay>();
  streams.errors = errors->ChildsEnd();
  StartProcess(program, arguments, streams);
  errors->LetGo();
}

// With what it wrote: `said` to its standard output, the rest to its standard error.
std::string OutpStatisticsX::HowItEnded(const std::string& program, pid_t started, const std::string& said) {
  std::string words = said;
  if (errors != nullptr) words += errors->LastWords();
  return HowChildEnded(program, started) + (words.empty() ? "" : "; it wrote: " + words);
}

int OutpStatisticsX::stat_start_x() {
  static constexpr const char* kProgram = "startx";
  XPipeManager* const manager = GetXPipeManager();
  if (manager == nullptr) return CleXDErrorCode::kNoProcessObjects;
  XCmdArgument arguments;
  const std::string program = Under(GetVEXAHOME(), std::string("bin/") + kProgram);
  arguments.pushArgument(program);
  arguments.pushArgument(getBackendProcessName());
  arguments.pushArgument(manager->getPipePath());
  arguments.pushArgument(manager->getPipePid());
  arguments.pushArgument(options->XName());
  EndProcess();
  XPipeSuit* const suit = Suit();
  ForgetEarlierProcess(*suit);
  StartProcess(program, arguments, {});
  const pid_t started = process;
  PauseForStart(kStartMilliseconds);
  int code = isXProcessActive() ? 0 : CleXDErrorCode::kProcessNotAlive;
  if (code == 0) code = AwaitServer(suit->getCmdDispatcher(false));
  if (code == CleXDErrorCode::kProcessNotAlive) NoteReason(code, HowChildEnded(program, started));
  DxTraceError("stat_start_x result", code);
  return code;
}

int OutpStatisticsX::AwaitServer(DXCmdDispatcher* dispatcher) {
  dispatcher->connectPeer();
  int code = SendCommand(DXCmdDispatcher::kTestCmd);
  const int pause = Quick() ? kQuickServerPause : kServerPause;
  for (int left = kServerMilliseconds - pause; code != 0 && left > 0; left -= pause) {
    Pause(pause);
    if (!isXProcessActive()) return CleXDErrorCode::kProcessNotAlive;
    code = SendCommand(DXCmdDispatcher::kTestCmd);
  }
  return code;
}

int OutpStatisticsX::stat_start_java() {
  static constexpr const char* kProgram = "java";
  XCmdArgument arguments;
  const std::string program = Under(GetVEXAHOME(), std::string("JRE/bin/") + kProgram);
  arguments.pushArgument(program);
  arguments.pushArgument("com.kor.statistics.plugin.Extension");
  arguments.pushArgument(getBackendProcessName());
  EndProcess();
  JavaPlugInSocket* const socket = GetJavaExtSocket();
  if (socket == nullptr || socket->CreateSocket() != 0) return CleXDErrorCode::kSocketFailed;
  arguments.pushArgument(std::to_string(socket->GetSocketPort()));
  arguments.pushArgument(JavaExtensionSmb().GetCommandName());
  StartHeard(program, arguments, {});
  const pid_t started = process;
  const auto end = std::chrono::steady_clock::now() + kJavaPatience;
  int code = socket->AcceptSocketOf(process,
                                    [&] { return ProcessAlive() && std::chrono::steady_clock::now() < end; });
  PauseForStart(kStartMilliseconds);
  if (!isXProcessActive()) code = Because(CleXDErrorCode::kJavaNotAlive, HowItEnded(program, started));
  if (code != 0) KillProcess();
  DxTraceError("stat_start_java result", code);
  return code;
}

int OutpStatisticsX::start_x_process(int argc, char** argv) {
  std::string program = Under(options->GetXHome(), "");
  if (IsR()) program += "bin/R";
  XCmdArgument arguments;
  for (int i = 0; i < argc; ++i) arguments.pushArgument(argv[i]);
  EndProcess();
  {
    Ends input = MakePipe();
    Ends output = MakePipe();
    StartHeard(program, arguments, {.input = input.reading.Number(), .output = output.writing.Number()});
    to_language = std::move(input.writing);
    fcntl(to_language.Number(), F_SETFL, O_NONBLOCK);  // writing to R waits in poll
    from_language = std::move(output.reading);
  }
  const pid_t started = process;
  PauseForStart(kStartMilliseconds);
  int code = isXProcessActive() ? 0 : CleXDErrorCode::kProcessNotAlive;
  std::string said;
  if (IsR()) code = InitialiseR(said);
  if (code == CleXDErrorCode::kProcessNotAlive && !StaysActive())
    Because(code, HowItEnded(program, started, said));
  DxTraceError("start_x_process result", code);
  return code;
}

// R is asked for its code even if it cannot load the package: the second call says the more telling thing.
int OutpStatisticsX::InitialiseR(std::string& said) {
  const Hearing everything(heard, said);
  at_browser_prompt = at_continuation_prompt = false;
  const int code = get_x_result();
  if (code != 0) return code;
  Tell("library(vexastatistics)\n");
  const XPipeManager* const manager = GetXPipeManager();
  const std::string path = manager != nullptr ? manager->getPipePath() : "";
  const std::string pid = manager != nullptr ? manager->getPipePid() : "";
  const int code_of_start = Tell("initRProcess('" + getBackendProcessName() + "', '" + path + "', '" + pid +
                                 "', '" + options->XName() + "')\n");
  session_directory = Behind("session directory: ", said);
  return code_of_start;
}
