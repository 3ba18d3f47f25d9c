#include <poll.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <system_error>
#include <utility>

#include "CleXDErrorCode.h"
#include "CleXDSmb.h"
#include "DxTracer.h"
#include "JavaExtensionSmb.h"
#include "JavaPlugInSocket.h"
#include "OutpStatisticsX.h"
#include "XConfigOptions.h"
#include "XPipes.h"
#include "child_process.h"
#include "dxglobals.h"
#include "error_relay.h"
#include "patience.h"
#include "reasons.h"
#include "sendreceive.h"
#include "sigpipe.h"
#include "xpipemanager.h"

namespace {

constexpr int kLookMilliseconds = 20;  // between two looks at a process that is to end
// What a language that was told to end may still need.
constexpr std::chrono::seconds kGrace{5};

}  // namespace

OutpStatisticsX::OutpStatisticsX(XConfigOptions* language_options, int backend_mode, bool backendDrives)
    : StatisticsX(backendDrives), options(language_options), owner(getpid()), mode(backend_mode) {}

OutpStatisticsX::~OutpStatisticsX() {
  if (Forked()) return;
  try {
    stop_embedded_x();
    EndProcess();
  } catch (...) {  // nobody is left to be told
  }
}

bool OutpStatisticsX::IsR() const { return options->XName() == "R"; }

XPipeSuit* OutpStatisticsX::Suit() const {
  XPipeManager* const manager = GetXPipeManager();
  return manager != nullptr ? manager->getPipeSuit(options->XName()) : nullptr;
}

XPipes* OutpStatisticsX::CurrentPipes() const {
  XPipeSuit* const suit = Suit();
  return suit != nullptr ? suit->getXPipes() : nullptr;
}

std::string OutpStatisticsX::getBackendProcessName() const { return mode == 0 ? "REMOTE" : "LOCAL"; }

std::string OutpStatisticsX::getMajorVersion() const {
  const std::string version = "31.0.0.0";
  return version.substr(0, version.find('.'));
}

void OutpStatisticsX::x_set_post_vexa_output(PostOutputFunction) {}

// Once it has ended its number may be anybody's.
bool OutpStatisticsX::ProcessAlive() {
  if (given_up) KillChild(process);
  if (process > 0 && !ChildAlive(process)) process = -1;
  return process > 0;
}

bool OutpStatisticsX::Forked() const { return owner != getpid(); }

// Its ends are the fork's own copies; a word on them would reach the parent's language.
void OutpStatisticsX::ForgetProcessOfParent() {
  process = -1;
  to_language.Close();
  from_language.Close();
}

bool OutpStatisticsX::MayAnswer() {
  return isXProcessActive() && (!patience_ends || std::chrono::steady_clock::now() < *patience_ends);
}

bool OutpStatisticsX::isXProcessActive() { return !isVexaDrive() || ProcessAlive(); }

// Ahead of a new start too: two processes would share the fifos. R sees the end of its input, and is heard
// out meanwhile: a full pipe would keep it from ending.
void OutpStatisticsX::EndProcess() {
  if (Forked()) return ForgetProcessOfParent();
  to_language.Close();
  const auto end = std::chrono::steady_clock::now() + kGrace;
  while (ProcessAlive() && std::chrono::steady_clock::now() < end) {
    pollfd look = {from_language.Number(), POLLIN, 0};
    char dropped[4096];
    if (poll(&look, 1, kLookMilliseconds) > 0 && read(look.fd, dropped, sizeof dropped) <= 0)
      from_language.Close();
  }
  KillProcess();
  from_language.Close();
  errors.reset();
  RemoveSessionDirectory();
}

// Nothing but a directory of this user's own, as R names its own.
void OutpStatisticsX::RemoveSessionDirectory() {
  const std::filesystem::path place = std::exchange(session_directory, {});
  struct stat about = {};
  if (!place.is_absolute() || !place.filename().string().starts_with("Rtmp")) return;
  if (lstat(place.c_str(), &about) != 0 || !S_ISDIR(about.st_mode) || about.st_uid != geteuid()) return;
  std::error_code gone;
  std::filesystem::remove_all(place, gone);
}

void OutpStatisticsX::KillProcess() {
  KillChild(process);
  process = -1;
}

int OutpStatisticsX::x_pre_action() { return java ? setup_java_run() : setup_x_run(); }
int OutpStatisticsX::x_post_action() { return java ? exit_java_run() : exit_x_run(); }
int OutpStatisticsX::x_stop_embedded_x() { return stat_stop_x(); }

// Java serves no commands.
int OutpStatisticsX::SendCommand(DXCmdDispatcher::CmdKey key) {
  XPipeSuit* const suit = Suit();
  if (suit == nullptr) return CleXDErrorCode::kPipeFailed;
  const SigpipeBlocked language_may_be_gone;
  return suit->getCmdDispatcher(false)->sendCmd(key, {}, [this] { return !java && MayAnswer(); });
}

int OutpStatisticsX::setup_x_run() {
  if (IsR()) return Tell("prevexa()\n");
  XPipes* const pipes = CurrentPipes();
  if (pipes == nullptr) return CleXDErrorCode::kPipeFailed;
  VexaPipe* const result_pipe = pipes->GetSyntaxResultPipe();
  if (result_pipe->IsPipeCreated()) {
    DxTrace("setup_x_run syntaxResultPipe has CreatePipe");
  } else {
    const int code = result_pipe->CreatePipe();
    if (code != 0) {
      DxTraceError("setup_x_run syntaxResultPipe CreatePipe", code);
      return code;
    }
    result_pipe->DisconnectPipe();
  }
  // Opened ahead of the command: without room for the end nobody has to be told.
  const bool first = !result_pipe->HasPipe();
  if (result_pipe->OpenPipeToUnBlockRead() != 0) return CleXDErrorCode::kPipeFailed;
  int code = SendCommand(DXCmdDispatcher::kSetupDXRun);
  DxTraceError("setup_x_run cmdDispatcher sendCmd", code);
  if (code != 0) return code;
  if (!result_pipe->IsWritePipeConnected()) result_pipe->ConnectPipe();
  CleXDSmb listens;
  code = ReceiveAnswer(*pipes, listens);
  if (code != CleXDErrorCode::kPeerClosed) return code;
  if (!StaysActive()) return first ? CleXDErrorCode::kProcessNotAlive : code;
  SendCommand(DXCmdDispatcher::kExitDxRun);  // the run has failed, and left its level open
  return code;
}

int OutpStatisticsX::exit_x_run() {
  int code = 0;
  if (IsR()) {
    if (at_continuation_prompt) code = Tell("END\n");
    return code != 0 ? code : Tell("postvexa()\n");
  }
  code = SendCommand(DXCmdDispatcher::kExitDxRun);
  DxTraceError("exit_x_run cmdDispatcher sendCmd", code);
  return code;
}

int OutpStatisticsX::x_execute_x(char* lines) {
  const char* const text = lines != nullptr ? lines : "";
  if (java) return ExecuteJava();
  return IsR() ? ExecuteLines(text) : ExecuteBlock(text);
}

// The process ends when its work is done.
int OutpStatisticsX::ExecuteJava() {
  JavaPlugInSocket* const socket = GetJavaExtSocket();
  JavaExtensionSmb message;
  const auto active = [this] { return isXProcessActive(); };
  const int code = socket != nullptr ? SendDataWhile(socket, message, active) : CleXDErrorCode::kSocketFailed;
  DxTraceError("x_execute_x SendData syntaxSocket", code);
  while (code == 0 && isXProcessActive()) Pause(kLookMilliseconds);
  return code;
}

int OutpStatisticsX::ExecuteBlock(const char* lines) {
  XPipes* const pipes = CurrentPipes();
  if (pipes == nullptr) return CleXDErrorCode::kPipeFailed;
  CleXDSmb message;
  message.SetString(lines);
  int code = 0;
  {
    VexaPipe* const results = pipes->GetSyntaxResultPipe();
    const SigpipeBlocked language_may_be_gone;
    code = SendDataWhile(pipes->GetSyntaxPipe(), message,
                         [&] { return isXProcessActive() && !results->PeerHungUp(); });
  }
  DxTraceError("x_execute_x SendData syntaxPipe", code);
  if (code != 0) {
    CloseRun(*pipes);
    const bool run_failed = code == CleXDErrorCode::kProcessNotAlive && StaysActive();
    return run_failed ? CleXDErrorCode::kPeerClosed : code;
  }
  CleXDSmb answer;
  code = ReceiveAnswer(*pipes, answer);
  DxTraceError("x_execute_x ReceiveData syntaxResultPipe", code);
  return code;
}

// A process that dies closes its ends a moment before it can be seen to have died.
bool OutpStatisticsX::StaysActive() {
  constexpr int kMomentMilliseconds = 200;
  constexpr int kBetweenLooks = 5;
  for (int waited = 0; waited < kMomentMilliseconds && isXProcessActive(); waited += kBetweenLooks)
    Pause(kBetweenLooks);
  return isXProcessActive();
}

// The code is the one that the answer carries. A language that goes ahead of its first answer gives 99107,
// and later 99103, whoever else may hold its end of the fifo; 99103 also stands for a run that has closed it.
int OutpStatisticsX::ReceiveAnswer(XPipes& pipes, CleXDSmb& answer) {
  const int code =
      ReceiveDataWhile(pipes.GetSyntaxResultPipe(), answer, [this] { return isXProcessActive(); });
  if (CleXDErrorCode::IsPipeError(code)) CloseRun(pipes);
  const int told = code != 0 ? code : answer.GetErrorCode();
  StringData& words = answer.GetStringDataRef();
  if (told != 0 && words.Size() > 0) NoteReason(told, words[0]);
  return told;
}

// The ends at a run that has failed are of no use to the next one, which opens its own.
void OutpStatisticsX::CloseRun(XPipes& pipes) {
  pipes.GetSyntaxPipe()->ClosePipe();
  pipes.GetSyntaxResultPipe()->ClosePipe();
}

int OutpStatisticsX::stat_stop_x() {
  if (Forked()) {
    ForgetProcessOfParent();
    return 0;
  }
  patience_ends = std::chrono::steady_clock::now() + kGrace;
  int code = 0;
  if (IsR()) {
    while (code == 0 && at_browser_prompt) code = Tell("Q\n");
    code = execute_x_syntax("q()\n");
  } else if (isXProcessActive()) {
    code = SendCommand(DXCmdDispatcher::kStopDX);
    DxTraceError("stat_stop_x cmdDispatcher sendCmd", code);
  } else {
    DxTrace("stat_stop_x: x process has already exited ");
  }
  if (XPipeSuit* const suit = Suit()) {
    suit->stopMonitor(false);
    suit->stopMonitor(true);
  }
  if (ProcessAlive() && !MayAnswer()) KillProcess();  // reaps one that is that quick, and waits for none
  patience_ends.reset();
  return code;
}
