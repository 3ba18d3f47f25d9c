#include "CmdReceiveThread.h"

#include <chrono>

#include "DXCmdDispatcher.h"
#include "StartXDispatcherVisitor.h"
#include "SyncSyntaxBuffer.h"
#include "dxglobals.h"
#include "patience.h"
#include "vexa_assert.h"

namespace {
constexpr int kLookMilliseconds = 10;  // between two looks at whether the thread has ended
}

CmdReceiveThread::CmdReceiveThread(DXCmdDispatcher* dispatcher) : CmdReceiveThread(dispatcher, GetXName()) {}

CmdReceiveThread::CmdReceiveThread(DXCmdDispatcher* dispatcher, const std::string& language)
    : m_dispatcher(dispatcher), xname(language) {}

CmdReceiveThread::~CmdReceiveThread() {
  while (!EndWithin(kDefaultWait)) continue;
  WaitForStop();
}

std::int32_t CmdReceiveThread::Run() {
  VEXA_ASSERT(m_dispatcher);
  const struct Running {
    std::atomic<bool>& flag;
    ~Running() { flag = false; }
  } until_it_ends{isRunningFlag};
  isRunningFlag = true;
  StartXDispatcherVisitor visitor(xname, false);
  visitor.EndWaitsBy(m_dispatcher->Ending());
  return m_dispatcher->receiveCmd(&visitor);
}

void CmdReceiveThread::EndServing() {
  if (HasThread()) m_dispatcher->EndServing();
}

bool CmdReceiveThread::EndWithin(int milliseconds) {
  EndServing();
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  while (HasThread() && std::chrono::steady_clock::now() < end) {
    // It may be about to stop a host's thread that never came for its blocks.
    mySyntaxData.AbandonCommand();
    Pause(kLookMilliseconds);
  }
  return !HasThread();
}
