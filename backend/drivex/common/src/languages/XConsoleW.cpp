#include "XConsoleW.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <clocale>
#include <cstdlib>
#include <cstring>

#include "CleXDErrorCode.h"
#include "CleXDSmb.h"
#include "VexaPipe.h"
#include "XCmdArgument.h"
#include "child_process.h"
#include "dxglobals.h"
#include "error_relay.h"
#include "patience.h"
#include "platform.h"
#include "reasons.h"
#include "sendreceive.h"
#include "sigpipe.h"
#include "text.h"
#include "vexaxd_p.h"
#include "xpipemanager.h"

XConsoleW* gConsole = nullptr;

namespace {

constexpr int kStartMilliseconds = 1000;  // a terminal without a display has ended by then
constexpr int kLookMilliseconds = 20;
constexpr std::chrono::seconds kGrace{5};  // for a terminal whose console has been told to end

std::string Variable(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : "";
}

std::string HelperPath() {
  std::string path = GetVEXAHOME();
  DecoratePathEnd(path);
  return path + "bin/RConsole";
}

// The pipes of the level that is open; null when none is, or when the objects of the process are gone.
XPipes* CurrentPipes(const std::string& console_name) {
  XPipeManager* const manager = GetXPipeManager();
  if (manager == nullptr) return nullptr;
  XPipeSuit* const suit = manager->getPipeSuit(console_name);
  return suit->getXPipes(suit->getIndex());
}

}  // namespace

XConsoleW::XConsoleW(bool startNow) : console_name(GetXName() + "Console"), owner(getpid()) {
  if (startNow) StartConsole();
}

XConsoleW::~XConsoleW() {
  if (owner != getpid()) return;
  try {
    StopConsole();
    EndTerminal();  // after a failed start or read
  } catch (...) {   // nobody is left to be told
  }
}

// A word on the ends that a fork has copies of would reach its parent's console.
void XConsoleW::ForgetConsoleOfParent() {
  if (owner == getpid()) return;
  owner = getpid();
  process_id = -1;
  syntax_pipe = result_pipe = nullptr;
  started = false;
}

int XConsoleW::StartConsole() {
  ForgetConsoleOfParent();
  if (started) return kGood;
  XPipeManager* const manager = GetXPipeManager();
  if (manager == nullptr) return kNoResultPipe;
  EndTerminal();  // of an earlier start
  XPipeSuit* const suit = manager->getPipeSuit(console_name);
  suit->increaseIndex();
  result_pipe = suit->getXPipes()->GetSyntaxResultPipe();
  syntax_pipe = suit->getXPipes()->GetSyntaxPipe();
  if (result_pipe->CreatePipe() != 0) return kNoResultPipe;
  result_pipe->DisconnectPipe();
  XCmdArgument arguments, environment;
  PushCommand(arguments);
  PushEnvironment(environment);
  errors = std::make_unique<ErrorRelay>();
  process_id =
      StartChild(platform::kTerminal, arguments.argv(), environment.argv(), {.errors = errors->ChildsEnd()});
  errors->LetGo();
  const pid_t terminal = process_id;
  Pause(kStartMilliseconds);
  if (!TerminalAlive()) return WhyItEnded(terminal);
  // Without the helper the terminal shows a shell, which is never ready.
  const bool helped = access(HelperPath().c_str(), X_OK) == 0;
  const auto end = std::chrono::steady_clock::now() + kGrace;
  CleXDSmb ready;
  const int code =
      Receive(ready, [&] { return TerminalAlive() && (helped || std::chrono::steady_clock::now() < end); });
  started = code == 0;
  if (!started) {
    result_pipe->ClosePipe();
    KillChild(process_id);
    process_id = -1;
  }
  return code == CleXDErrorCode::kProcessNotAlive ? WhyItEnded(terminal) : code;
}

const char* XConsoleW::MeaningOf(int code) {
  switch (code) {
    case kNotStarted:
      return "the console is not open";
    case kEndedAtStart:
      return "the console did not open";
    case kNoResultPipe:
      return "the console has no fifo";
    case kGone:
      return "the console is gone";
    default:
      return nullptr;
  }
}

int XConsoleW::WhyItEnded(pid_t terminal) {
  const std::string display = Variable("DISPLAY");
  if (display.empty()) return Because(kEndedAtStart, "DISPLAY is not set");
  if (access(HelperPath().c_str(), X_OK) != 0)
    return Because(kEndedAtStart, HelperPath(), " is not there, or may not be executed");
  const std::string words = errors->LastWords();
  return Because(kEndedAtStart, HowChildEnded(platform::kTerminal, terminal), " on the display ", display,
                 words.empty() ? "" : "; it wrote: ", words);
}

void XConsoleW::PushCommand(XCmdArgument& arguments) const {
  const XPipeManager* const manager = GetXPipeManager();
  const std::string home = GetVEXAHOME();
  int error = 0;
  const char* const language = GetOutputLanguage(&error);
  for (const std::string& argument :
       {std::string(platform::kTerminal), std::string("-T"), std::string("R"), std::string("-e"),
        HelperPath(), manager->getPipePath(), manager->getPipePid(), console_name, home,
        std::string(language != nullptr ? language : ""), home})
    arguments.pushArgument(argument);
}

// The whole of it: nothing is inherited.
void XConsoleW::PushEnvironment(XCmdArgument& environment) const {
  const std::string search = platform::kLibrarySearchVariable;
  environment.pushArgument(search + "=" + Variable(search.c_str()));
  environment.pushArgument("DISPLAY=" + Variable("DISPLAY"));
  environment.pushArgument(std::string("LANG=") +
                           (IsUTF8mode() != 0 ? "en_US.UTF-8" : std::setlocale(LC_CTYPE, nullptr)));
}

int XConsoleW::WriteToConsole(const char* text, int length) {
  ForgetConsoleOfParent();
  if (!started) return kNotStarted;
  CleXDSmb message;
  message.SetString(text, length);
  return Exchange(message);
}

int XConsoleW::ReadFromConsole(char* buffer, int size) {
  ForgetConsoleOfParent();
  if (!started) return kNotStarted;
  const std::size_t room = buffer != nullptr ? static_cast<std::size_t>(std::max(size, 0)) : 0;
  CleXDSmb message;
  message.SetLong(kReadRequest);
  if (Exchange(message) != 0) {
    if (room > 0) *buffer = '\0';
    Close();
    return kGone;
  }
  const std::string text = message.GetSingleString();
  if (room > 0) std::strncpy(buffer, text.c_str(), std::min(room, text.size()));
  return kGood;
}

int XConsoleW::StopConsole() {
  ForgetConsoleOfParent();
  if (!started) return kGood;
  CleXDSmb message;
  message.SetLong(kStopRequest);
  const int code = Exchange(message);
  Close();
  if (XPipeManager* const manager = GetXPipeManager()) manager->removePipeSuit(console_name);
  EndTerminal();
  return code;
}

// Whether the pipes are still those of the start: they go with the objects of the process.
bool XConsoleW::HasPipes() const {
  XPipes* const pipes = CurrentPipes(console_name);
  return pipes != nullptr && pipes->GetSyntaxPipe() == syntax_pipe;
}

// Once it has ended its number may be anybody's.
bool XConsoleW::TerminalAlive() {
  if (process_id > 0 && !ChildAlive(process_id)) process_id = -1;
  return process_id > 0;
}

// A terminal that keeps its window when the program in it has ended would be waited for without end.
void XConsoleW::EndTerminal() {
  const auto end = std::chrono::steady_clock::now() + kGrace;
  while (TerminalAlive() && std::chrono::steady_clock::now() < end) Pause(kLookMilliseconds);
  KillChild(process_id);
  process_id = -1;
}

// The console may be gone before its terminal, which holds no end of the fifos.
int XConsoleW::Exchange(CleXDSmb& message) {
  if (!HasPipes()) return CleXDErrorCode::kPeerClosed;
  int sent = 0;
  {
    const SigpipeBlocked console_may_be_gone;
    sent =
        SendDataWhile(syntax_pipe, message, [this] { return TerminalAlive() && !result_pipe->PeerHungUp(); });
  }
  message.CleanUpAllData();
  // What was not sent has no answer to wait for.
  return Receive(message, [&] { return sent == 0 && TerminalAlive(); });
}

int XConsoleW::Receive(CleXDSmb& answer, const std::function<bool()>& peer_alive) {
  return ReceiveDataWhile(result_pipe, answer, peer_alive);
}

// The ends of the first level would stay open: a later console has fifos of its own under the same names.
void XConsoleW::Close() {
  if (HasPipes()) {
    syntax_pipe->ClosePipe();
    result_pipe->ClosePipe();
    XPipeSuit* const suit = GetXPipeManager()->getPipeSuit(console_name);
    suit->stopMonitor(false);
    suit->decreaseIndex();
  }
  syntax_pipe = result_pipe = nullptr;
  started = false;
}
