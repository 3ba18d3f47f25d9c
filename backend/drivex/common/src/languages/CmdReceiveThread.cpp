#include "CmdReceiveThread.h"

#include "DXCmdDispatcher.h"
#include "StartXDispatcherVisitor.h"
#include "SyncSyntaxBuffer.h"
#include "dxglobals.h"
#include "msleep.h"
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
  isRunningFlag = true;
  StartXDispatcherVisitor visitor(xname, false);
  visitor.EndWaitsBy(m_dispatcher->Ending());
  const int code = m_dispatcher->receiveCmd(&visitor);
  isRunningFlag = false;
  return code;
}

void CmdReceiveThread::EndServing() {
  if (HasThread()) m_dispatcher->EndServing();
}

bool CmdReceiveThread::EndWithin(int milliseconds) {
  EndServing();
  for (int waited = 0; HasThread() && waited < milliseconds; waited += kLookMilliseconds) {
    // It may be about to stop a host's thread that never came for its blocks.
    mySyntaxData.AbandonCommand();
    msleep(kLookMilliseconds);
  }
  return !HasThread();
}
