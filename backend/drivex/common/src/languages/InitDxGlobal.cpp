#include "DxTracer.h"
#include "VexaDXConfigReader.h"
#include "XManager.h"
#include "dxglobals.h"
#include "text.h"
#include "xpipemanager.h"

namespace {

// One tracer for the life of the process: a later cycle goes on writing to the first file.
void MakeTracer(const std::string& xname) {
  if (GetDxTracer() != nullptr) return;
  auto* tracer = new DxTracer;
  std::string path = VexaDXConfigReader::GetInstance()->GetTracePath();
  if (!path.empty()) {
    DecoratePathEnd(path);
    tracer->open(path + xname + "_trace.log");
  }
  SetDxTracer(tracer);
}

}  // namespace

int InitDxGlobal(const std::string& tempPath, const std::string& pid, const std::string& xName,
                 const std::string& vexaHome) {
  if (IsDXGlobalInit()) return 0;
  SetInStat(false);
  SetXName(xName);
  SetVEXAHOME(vexaHome.c_str());  // ahead of the configuration, which lies under it
  SetXManager(new XManager);
  SetXPipeManager(new XPipeManager(tempPath, pid));
  MakeTracer(xName);
  SetDXGlobalInitFin(true);
  DxTrace("InitDxGlobal>tempPath:" + tempPath);
  DxTrace("InitDxGlobal>pid:" + pid);
  DxTrace("InitDxGlobal>xname:" + xName);
  DxTrace("InitDxGlobal>vexaHome:" + vexaHome);
  return 0;
}

void FinalizeDXGlobal() {
  ClearXName();
  SetAppMode(-1);
  delete GetXManager();
  SetXManager(nullptr);
  delete GetXPipeManager();
  SetXPipeManager(nullptr);
  SetDXGlobalInitFin(false);
}
