// The process-wide objects, used by the client and by the language side alike: either absent or present, as
// IsDXGlobalInit() says. InitDxGlobal makes them and FinalizeDXGlobal removes them, while no language thread
// runs.
#ifndef DXGLOBALS_H
#define DXGLOBALS_H

#include <string>

#include "vexa_api.h"

class JavaPlugInSocket;
class XManager;
class XPipeManager;

VEXA_API bool IsDXGlobalInit();
VEXA_API void SetDXGlobalInitFin(bool initialised);

VEXA_API bool IsInStat();
VEXA_API void SetInStat(bool in_stat);

// The language's name. SetXName stores it in upper case; an empty name becomes "UNNAMEDX".
VEXA_API std::string GetXName();
VEXA_API void SetXName(const std::string& name);
void ClearXName();

// 1 when the library works on the backend's own machine, 0 when the backend is remote, -1 when nobody said.
VEXA_API int GetAppMode();
VEXA_API void SetAppMode(int mode);

// The home directory of the backend's installation, without a final "/". The first question falls back on the
// environment's VEXA_HOME; without that the answer is the home that was installed with the library. Never
// null; empty when nothing is known; valid until the home is set anew. A null or empty home is ignored by the
// setter.
VEXA_API const char* GetVEXAHOME();
VEXA_API void SetVEXAHOME(const char* home);

// Null while absent. The setters do not delete what was there.
VEXA_API XManager* GetXManager();
VEXA_API void SetXManager(XManager* manager);
VEXA_API XPipeManager* GetXPipeManager();
VEXA_API void SetXPipeManager(XPipeManager* manager);
// The endpoint of the Java extension. Made, stored and deleted by the host that uses the extension.
VEXA_API JavaPlugInSocket* GetJavaExtSocket();
VEXA_API void SetavaExtSocket(JavaPlugInSocket* socket);

// Makes the objects: the fifos' directory (ending in "/") and id text, the language's name, and the home,
// which may be empty. Opens the trace where the configuration names a directory. Does nothing when they are
// there already. Always 0.
VEXA_API int InitDxGlobal(const std::string& tempPath, const std::string& pid, const std::string& xName,
                          const std::string& vexaHome);
// Stops every language and closes every pipe. The home, the tracer and the configuration stay.
VEXA_API void FinalizeDXGlobal();

#endif
