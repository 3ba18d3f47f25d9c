#include "StartXDispatcherVisitor.h"

#include <exception>

#include "CleXDErrorCode.h"
#include "DxTracer.h"
#include "SyncSyntaxBuffer.h"
#include "XManager.h"
#include "drivex.h"
#include "dxglobals.h"
#include "language_creation.h"
#include "wake_up.h"
#include "xpipemanager.h"

namespace {

constexpr int kLookMilliseconds = 50;  // between two looks at whether to go on waiting for a driver

VexaDX_P* BackDriver() {
  XManager* const manager = GetXManager();
  return manager != nullptr ? dynamic_cast<VexaDX_P*>(manager->getBackVexaDX()) : nullptr;
}

int MakeSyntaxFifo(VexaPipe* pipe) {
  if (pipe->IsPipeCreated()) {
    DxTrace("kSetupDXRun syntaxPipe has Create");
    return 0;
  }
  int code = pipe->CreatePipe();
  if (code == 0) {
    code = pipe->DisconnectPipe();
    DxTrace("kSetupDXRun syntaxPipe Create");
  }
  return code;
}

}  // namespace

StartXDispatcherVisitor::StartXDispatcherVisitor(const std::string& language, bool flag)
    : xname(language), backend_drives(flag) {}

int StartXDispatcherVisitor::cmdDispatcher(DXCmdDispatcher::CmdKey key, const std::vector<std::string>&) {
  int code = 0;
  try {
    switch (static_cast<std::int32_t>(key)) {
      case DXCmdDispatcher::kStopDX:
        DxTrace("StartXDispatcherVisitor kStopDX");
        if (GGetUseSyncDx()) code = GStopSyncSyntax();
        break;
      case DXCmdDispatcher::kSetupDXRun:
        DxTrace("StartXDispatcherVisitor kSetupDXRun");
        code = SetupRun();
        break;
      case DXCmdDispatcher::kExitDxRun:
        DxTrace("StartXDispatcherVisitor kExitDxRun");
        ExitRun();
        break;
      case DXCmdDispatcher::kRunDX:
        DxTrace("StartXDispatcherVisitor kRunDX");
        code = StartDriver();
        break;
      case DXCmdDispatcher::kTestCmd:
      case 0:
        DxTrace("StartXDispatcherVisitor kTestCmdst");
        break;
      default:
        code = CleXDErrorCode::kUnknownCommand;
    }
  } catch (const std::exception& error) {
    DxTrace(error.what());
    code = CleXDErrorCode::kThreadNotStarted;
  }
  DxTraceError("StartXDispatcherVisitor result ", code);
  return code;
}

int StartXDispatcherVisitor::SetupRun() {
  const int created = CreateLanguageX(xname, backend_drives);
  XPipeManager* const manager = GetXPipeManager();
  XPipeSuit* const suit = manager != nullptr ? manager->getPipeSuit(xname) : nullptr;
  if (suit == nullptr || suit->getIndex() < 0) return created;
  int code = MakeSyntaxFifo(suit->getXPipes()->GetSyntaxPipe());
  const int started = StartDriver();
  if (code == 0) code = started;
  // The backend that is told so ends no run: none has begun.
  if (created == 0 && started != 0) GetXManager()->destoryVexaDX(BackDriver());
  return code;
}

int StartXDispatcherVisitor::StartDriver() {
  VexaDX_P* const driver = BackDriver();
  if (driver == nullptr) return CleXDErrorCode::kThreadNotStarted;
  return driver->StartRun();
}

void StartXDispatcherVisitor::ExitRun() {
  VexaDX_P* const driver = BackDriver();
  if (driver == nullptr) return;
  while (!driver->AwaitStopped(kLookMilliseconds)) {
    if (waits_end != nullptr && waits_end->Signalled()) return;
  }
  GetXManager()->destoryVexaDX(driver);
}
