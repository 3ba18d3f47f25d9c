#include <cstdlib>
#include <string>

#include "dxglobals.h"
#include "installed_home.h"
#include "text.h"

namespace {

// Never destroyed: the exit hook of the library still reads it.
struct ProcessObjects {
  bool initialised = false;
  bool in_stat = false;
  std::string xname;
  int app_mode = -1;
  std::string home;
  XManager* xmanager = nullptr;
  XPipeManager* pipe_manager = nullptr;
  JavaPlugInSocket* java_socket = nullptr;
};

ProcessObjects& Objects() {
  static ProcessObjects* const objects = new ProcessObjects;
  return *objects;
}

}  // namespace

bool IsDXGlobalInit() { return Objects().initialised; }
void SetDXGlobalInitFin(bool initialised) { Objects().initialised = initialised; }

bool IsInStat() { return Objects().in_stat; }
void SetInStat(bool in_stat) { Objects().in_stat = in_stat; }

std::string GetXName() { return Objects().xname; }
void SetXName(const std::string& name) { Objects().xname = name.empty() ? "UNNAMEDX" : UpperString(name); }
void ClearXName() { Objects().xname.clear(); }

int GetAppMode() { return Objects().app_mode; }
void SetAppMode(int mode) { Objects().app_mode = mode; }

void SetVEXAHOME(const char* home) {
  if (home == nullptr || *home == '\0') return;
  std::string& stored = Objects().home;
  stored = home;
  if (stored.back() == '/')
    stored.back() = '\0';  // kept: a home of "/" reads as empty, and still counts as set
}

const char* GetVEXAHOME() {
  if (Objects().home.empty()) SetVEXAHOME(std::getenv("VEXA_HOME"));
  return Objects().home.empty() ? InstalledHome().c_str() : Objects().home.c_str();
}

XManager* GetXManager() { return Objects().xmanager; }
void SetXManager(XManager* manager) { Objects().xmanager = manager; }

XPipeManager* GetXPipeManager() { return Objects().pipe_manager; }
void SetXPipeManager(XPipeManager* manager) { Objects().pipe_manager = manager; }

JavaPlugInSocket* GetJavaExtSocket() { return Objects().java_socket; }
void SetavaExtSocket(JavaPlugInSocket* socket) { Objects().java_socket = socket; }
