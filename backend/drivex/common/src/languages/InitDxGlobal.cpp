#include <memory>

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
  auto tracer = std::make_unique<DxTracer>();
  std::string path = VexaDXConfigReader::GetInstance()->GetTracePath();
  if (!path.empty()) {
    DecoratePathEnd(path);
    tracer->open(path + xname + "_trace.log");
  }
  SetDxTracer(tracer.release());
}

}  // namespace

int InitDxGlobal(const std::string& tempPath, const std::string& pid, const std::string& xName,
                 const std::string& vexaHome) {
  if (IsDXGlobalInit()) return 0;
  SetInStat(false);
  SetXName(xName);
  SetVEXAHOME(vexaHome.c_str());  // ahead of the configuration, which lies under it
  // All are there, or none is.
  auto manager = std::make_unique<XManager>();
  auto pipes = std::make_unique<XPipeManager>(tempPath, pid);
  MakeTracer(xName);
  SetXManager(manager.release());
  SetXPipeManager(pipes.release());
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
