#include "language_creation.h"

#include <exception>
#include <memory>

#include "CleXDErrorCode.h"
#include "DxTracer.h"
#include "InpStatisticsX.h"
#include "VexaDXConfigReader.h"
#include "XManager.h"
#include "drivex.h"
#include "dxglobals.h"
#include "reasons.h"

namespace {

// Makes a driver over the language's runtime; `code` says why there is none.
template <class Driver>
std::unique_ptr<Driver> MakeDriver(const std::string& name, bool backend_drives, int& code) {
  code = CleXDErrorCode::kNoProcessObjects;
  if (!IsDXGlobalInit()) return nullptr;
  VexaDXConfigReader* const reader = VexaDXConfigReader::GetInstance();
  if (!reader->IsSupportLanguage(name)) {
    DxTrace("Unsupported external language:" + name);
    code = Because(CleXDErrorCode::kUnsupportedLanguage, name, " is not among the languages of ",
                   reader->ConfigPath());
    return nullptr;
  }
  XConfigOptions* const options = reader->GetOptions(name);
  XManager* const manager = GetXManager();
  if (manager->getStatisticsX(name) == nullptr) {
    manager->addStatisticsX(name, std::make_unique<InpStatisticsX>(options, backend_drives).release());
  }
  code = CleXDErrorCode::kSuccess;
  return std::make_unique<Driver>(name, manager->getStatisticsX(name), options);
}

// Without memory, or when a host's expansion of variables throws, there is no driver either.
int CodeOfFailure(const std::exception& error) {
  DxTrace(error.what());
  return CleXDErrorCode::kNoProcessObjects;
}

}  // namespace

int CreateLanguageX(const std::string& name, bool backendDrives) try {
  int code;
  if (auto driver = MakeDriver<VexaDX_P>(name, backendDrives, code))
    GetXManager()->addVexaDX(driver.release());
  return code;
} catch (const std::exception& error) {
  return CodeOfFailure(error);
}

DriveX* CreateCmdVexaDX(const std::string& name, bool backendDrives) try {
  int code;
  return MakeDriver<CmdVexaDX>(name, backendDrives, code).release();
} catch (const std::exception& error) {
  CodeOfFailure(error);
  return nullptr;
}
