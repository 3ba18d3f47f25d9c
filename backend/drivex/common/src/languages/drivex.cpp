#include "drivex.h"

#include <cxxabi.h>

#include <chrono>
#include <exception>

#include "CleXDErrorCode.h"
#include "DxTracer.h"
#include "StatisticsX.h"
#include "SyncSyntaxBuffer.h"
#include "XCmdArgument.h"
#include "XConfigOptions.h"
#include "child_process.h"
#include "dxcallback.h"
#include "dxglobals.h"
#include "msleep.h"
#include "sendreceive.h"
#include "sigpipe.h"
#include "vexa_assert.h"
#include "vexaxd_p.h"
#include "xpipemanager.h"

namespace {

const char* const kR = "R";
constexpr unsigned int kLookMilliseconds = 10;  // between two looks at a run that is to end

// A language may be anybody's code: what it throws is a failure of the run, and the run's partner is told.
template <class Work>
int CodeOf(Work work) {
  try {
    return work();
  } catch (const std::exception& error) {
    DxTrace(error.what());
  } catch (const abi::__forced_unwind&) {
    throw;  // an interpreter that ends takes its threads along
  } catch (...) {
    DxTrace("DriveX unknown exception");
  }
  return CleXDErrorCode::kLibraryUnusable;
}

// An endpoint whose reads end with the driver.
class ReadsEndBy {
 public:
  ReadsEndBy(VexaPipe* end, const WakeUp& wake) : pipe(end) { pipe->EndReadsBy(&wake); }
  ReadsEndBy(const ReadsEndBy&) = delete;
  ReadsEndBy& operator=(const ReadsEndBy&) = delete;
  ~ReadsEndBy() { pipe->EndReadsBy(nullptr); }

 private:
  VexaPipe* pipe;
};

int SendAnswer(VexaPipe* pipe, CleXDSmb& answer, int code) {
  const SigpipeBlocked backend_may_be_gone;
  answer.SetErrorCode(code);
  return SendData(pipe, answer, false);
}

}  // namespace

DriveX::DriveXThread::~DriveXThread() { WaitForStop(); }

std::int32_t DriveX::DriveXThread::Run() {
  const std::int32_t code = CodeOf([this] { return driver->runX(); });
  driver->EndRun();  // begun by startX
  return code;
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
    for (; thread->HasThread(); msleep(kLookMilliseconds)) {
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
  const int code = CodeOf([this] { return DriveX::runX(); });
  // The lines go with the caller. A run inside this one may have left its own already.
  std::vector<std::string>* ours = &lines;
  syntax.compare_exchange_strong(ours, nullptr);
  return code;
}

VexaDX_P::~VexaDX_P() { EndRuns(); }

int VexaDX_P::runX() {
  const Running run(*this);
  XPipeManager* const manager = GetXPipeManager();
  XPipes* const pipes = manager != nullptr ? manager->getPipeSuit(XName())->getXPipes(getIndex()) : nullptr;
  if (pipes == nullptr) return CleXDErrorCode::kPipeFailed;  // the level is gone
  const auto backend_may_come = [this] { return !leaving.Signalled() && !BackendHasEnded(); };

  VexaPipe* const result_pipe = pipes->GetSyntaxResultPipe();
  CleXDSmb request;
  CleXDSmb answer;
  int code = 0;
  if (!result_pipe->IsWritePipeConnected()) code = result_pipe->OpenPipeToWriteWhile(backend_may_come);
  if (code == 0) code = SendAnswer(result_pipe, answer, 0);  // this side listens

  VexaPipe* const syntax_pipe = pipes->GetSyntaxPipe();
  syntax_pipe->ConnectPipe();
  if (code == 0) code = syntax_pipe->OpenPipeToReadWhile(backend_may_come);
  if (code == 0) {
    const ReadsEndBy ends_with_driver(syntax_pipe, leaving);
    code = ReceiveData(syntax_pipe, request, true);
  }
  if (code != 0 || request.GetStringDataRef().Size() == 0) return code;

  std::vector<std::string> lines = request.GetStringDataRef().Values();
  code = CodeOf([&] { return Execute(lines); });
  DxTraceError("StopReceiveXdApiThread", StopReceiveXdApiThread());
  return SendAnswer(result_pipe, answer, code);
}

int VexaDX_P::Execute(std::vector<std::string>& lines) {
  if (XName() != kR && !m_ximpl->isIntialized()) {
    m_ximpl->setup_dxcallback(CreateDXCallBackHandle());
    const int code = initializeX();
    if (code != 0) return code;
    m_ximpl->set_post_vexa_output(PostVexaOutput);
  }
  if (!GGetUseSyncDx() || getIndex() != 0) return RunBlock(lines);
  in_mailbox = true;
  const int code = GRunSyncSyntax(lines);
  in_mailbox = false;
  return code;
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
  int result = 0;
  for (;;) {
    mySyntaxData.WaitCommand();
    if (mySyntaxData.GetStop()) {
      mySyntaxData.SetResult(0);
      mySyntaxData.SignalResponse();
      return result;
    }
    std::vector<std::string> lines = mySyntaxData.GetSyntaxs();
    result = RunBlock(lines);
    mySyntaxData.SetResult(result);
    mySyntaxData.SignalResponse();
  }
}
