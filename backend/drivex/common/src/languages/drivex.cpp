#include "drivex.h"

#include <fcntl.h>

#include <chrono>

#include "CleXDErrorCode.h"
#include "DxTracer.h"
#include "StatisticsX.h"
#include "SyncSyntaxBuffer.h"
#include "XCmdArgument.h"
#include "XConfigOptions.h"
#include "child_process.h"
#include "dxcallback.h"
#include "dxglobals.h"
#include "guarded.h"
#include "patience.h"
#include "reasons.h"
#include "sendreceive.h"
#include "sigpipe.h"
#include "vexa_assert.h"
#include "vexaxd_p.h"
#include "xpipemanager.h"

namespace {

const char* const kR = "R";
constexpr int kLookMilliseconds = 10;  // between two looks at a run that is to end

// The backend waits for an answer. A run that ends without one closes its end of the fifo, and so ends that
// wait too.
class Answering {
 public:
  explicit Answering(VexaPipe* end) : pipe(end) {}
  Answering(const Answering&) = delete;
  Answering& operator=(const Answering&) = delete;
  ~Answering() {
    if (!done) pipe->ClosePipe();
  }
  int Send(CleXDSmb& answer, int code, const std::string& words = {}) {
    const SigpipeBlocked backend_may_be_gone;
    answer.SetErrorCode(code);
    if (!words.empty()) answer.SetString(words.c_str());
    return SendData(pipe, answer, false);
  }
  void Done() { done = true; }

 private:
  VexaPipe* pipe;
  bool done = false;
};

// Sets a flag for as long as it lives.
class Flagged {
 public:
  explicit Flagged(std::atomic<bool>& shared_flag) : flag(shared_flag) { flag = true; }
  Flagged(const Flagged&) = delete;
  Flagged& operator=(const Flagged&) = delete;
  ~Flagged() { flag = false; }

 private:
  std::atomic<bool>& flag;
};

}  // namespace

DriveX::DriveXThread::~DriveXThread() { WaitForStop(); }

std::int32_t DriveX::DriveXThread::Run() {
  const struct Ending {
    DriveX* driver;
    ~Ending() { driver->EndRun(); }
  } of_what_startX_began{driver};
  return CodeOf([this] { return driver->runX(); });
}

DriveX::DriveX(const std::string& xname, StatisticsX* ximpl, XConfigOptions* option)
    : m_ximpl(ximpl), m_option(option), name(xname) {
  VEXA_ASSERT(m_ximpl);
  VEXA_ASSERT(m_option);
}

DriveX::~DriveX() { EndRuns(); }

void DriveX::EndRuns() {
  leaving.Signal();
  for (const auto& thread : threads) {
    // A host's thread that never came for its block is not waited for; one that runs it is.
    for (; thread->HasThread(); Pause(kLookMilliseconds)) {
      if (in_mailbox) mySyntaxData.AbandonCommand();
    }
    thread->WaitForStop();
  }
}

void DriveX::EndRun() {
  const std::lock_guard lock(stop_mutex);
  --runs;
  stopped.notify_all();
}

bool DriveX::AwaitStopped(int milliseconds) {
  std::unique_lock lock(stop_mutex);
  return stopped.wait_for(lock, std::chrono::milliseconds(milliseconds), [this] { return isStopped(); });
}

int DriveX::startX() {
  std::erase_if(threads, [](const auto& thread) { return !thread->HasThread(); });
  DriveXThread& thread = *threads.emplace_back(std::make_unique<DriveXThread>(this));
  ++runs;
  if (thread.Start(0)) return CleXDErrorCode::kSuccess;
  EndRun();
  return CleXDErrorCode::kThreadNotStarted;
}

int DriveX::getReturnValue() const { return threads.empty() ? 0 : threads.back()->GetReturnValue(); }

int DriveX::initializeX() {
  if (m_ximpl->isIntialized()) return 0;
  std::string text;
  if (m_option->XName() == kR) text = "--silent --no-save";
  if (m_option->XName() == "JAVAEXTENSION") text = "JavaExtension";
  if (!m_option->GetXArgs().empty()) text = m_option->GetXArgs();
  XCmdArgument arguments(text);
  const int argc = arguments.argc();
  return m_ximpl->init_embedded_x(argc, arguments.argv());
}

int DriveX::invokeX() {
  if (!m_ximpl->isIntialized()) {
    const int code = initializeX();
    if (code != 0) return code;
  }
  return runX();
}

int DriveX::runX() {
  int code = m_ximpl->pre_action();
  DxTrace("DriveX PRE ACTION ");
  if (name == "PYTHON" && code == 1) code = CleXDErrorCode::kPythonRefuses;
  if (code != 0) return code;
  std::vector<std::string>* const block = syntax;
  VEXA_ASSERT_AS(block != nullptr, "syntax");
  code = ExecuteXLines(*block);
  DxTraceError("DriveX ExecuteXLines ", code);
  m_ximpl->post_action();  // a failure of it does not turn a good run into a bad one
  DxTrace("DriveX POST ACTION ");
  return code;
}

int DriveX::ExecuteXLines(std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text.append(line).append("\n");
  DxTrace(text);
  return m_ximpl->execute_x(text.data());
}

int DriveX::RunBlock(std::vector<std::string>& lines) {
  setSyntax(lines);
  // The lines go with the caller. A run inside this one may have left its own already.
  const struct Forgetting {
    std::atomic<std::vector<std::string>*>& syntax;
    std::vector<std::string>* ours;
    ~Forgetting() {
      std::vector<std::string>* expected = ours;
      syntax.compare_exchange_strong(expected, nullptr);
    }
  } forgets_them{syntax, &lines};
  return CodeOf([this] { return DriveX::runX(); });
}

VexaDX_P::~VexaDX_P() { EndRuns(); }

int VexaDX_P::runX() {
  const Running run(*this);
  XPipeManager* const manager = GetXPipeManager();
  XPipes* const pipes = manager != nullptr ? manager->getPipeSuit(XName())->getXPipes(getIndex()) : nullptr;
  if (pipes == nullptr) return CleXDErrorCode::kPipeFailed;  // the level is gone
  const auto backend_may_come = [this] { return !leaving.Signalled() && !BackendHasEnded(); };

  VexaPipe* const result_pipe = pipes->GetSyntaxResultPipe();
  Answering backend(result_pipe);
  CleXDSmb request;
  CleXDSmb answer;
  int code = 0;
  KeepRoom(false);
  if (!result_pipe->IsWritePipeConnected()) code = result_pipe->OpenPipeToWriteWhile(backend_may_come);
  if (code == 0) code = backend.Send(answer, 0);  // this side listens

  VexaPipe* const syntax_pipe = pipes->GetSyntaxPipe();
  syntax_pipe->ConnectPipe();
  if (code == 0) code = ReceiveDataWhile(syntax_pipe, request, backend_may_come);
  if (code != 0) return code;
  if (request.GetStringDataRef().Size() == 0) return backend.Done(), code;  // kept: it is not answered

  std::vector<std::string> lines = request.GetStringDataRef().Values();
  code = CodeOf([&] { return Execute(lines); });
  const std::string words = code != 0 ? TakeReason(code) : std::string();
  DxTraceError("StopReceiveXdApiThread", StopReceiveXdApiThread());
  code = backend.Send(answer, code, words);
  if (code == 0) backend.Done();
  return code;
}

// A run that finds no room for its two ends could not even say so.
bool VexaDX_P::KeepRoom(bool keep) {
  const std::lock_guard lock(room_mutex);
  for (Descriptor& room : room_for_ends)
    room = Descriptor(keep ? open("/dev/null", O_RDONLY | O_CLOEXEC) : -1);
  return room_for_ends[1].Number() != -1;
}

int VexaDX_P::StartRun() {
  const int code = KeepRoom(true) ? startX() : CleXDErrorCode::kThreadNotStarted;
  if (code != 0) KeepRoom(false);
  return code;
}

int VexaDX_P::Execute(std::vector<std::string>& lines) {
  if (XName() != kR && !m_ximpl->isIntialized()) {
    m_ximpl->setup_dxcallback(CreateDXCallBackHandle());
    const int code = initializeX();
    if (code != 0) return code;
    m_ximpl->set_post_vexa_output(PostVexaOutput);
  }
  if (!GGetUseSyncDx() || getIndex() != 0) return RunBlock(lines);
  const Flagged waits(in_mailbox);
  return GRunSyncSyntax(lines);
}

int VexaDX_P::initR() {
  if (XName() != kR) return 0;
  m_ximpl->setR(true);
  m_ximpl->setIntialized(true);
  m_ximpl->setup_dxcallback(CreateDXCallBackHandle());
  m_ximpl->set_post_vexa_output(PostVexaOutput);
  return 0;
}

CmdVexaDX::~CmdVexaDX() { EndRuns(); }

int CmdVexaDX::initializeX() {
  if (m_ximpl->isIntialized()) return 0;
  if (XName() == kR) {
    m_ximpl->setR(true);
    m_ximpl->setIntialized(true);
  }
  m_ximpl->setup_dxcallback(CreateDXCallBackHandle());
  const int code = DriveX::initializeX();
  if (code != 0) return code;
  m_ximpl->set_post_vexa_output(PostVexaOutput);
  return code;
}

int CmdVexaDX::invokeX() {
  // However the run ends: its writer waits for the response.
  struct Response {
    int result = CleXDErrorCode::kLibraryUnusable;
    ~Response() {
      mySyntaxData.SetResult(result);
      mySyntaxData.SignalResponse();
    }
  };
  int result = 0;
  for (;;) {
    mySyntaxData.WaitCommand();
    Response response;
    if (mySyntaxData.GetStop()) {
      response.result = 0;
      return result;
    }
    std::vector<std::string> lines = mySyntaxData.GetSyntaxs();
    response.result = result = RunBlock(lines);
  }
}
