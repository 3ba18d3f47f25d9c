// Makes the driver of a run, and the runtime of the language when it has none yet, for the languages that the
// configuration names as supported. A runtime stays as it was first made, whatever later calls say about who
// drives. A language whose library does not load is no failure here: it shows when the language is
// initialised.
#ifndef LANGUAGE_CREATION_H
#define LANGUAGE_CREATION_H

#include <string>

#include "vexa_api.h"

class DriveX;

// A run that the backend asks for: a VexaDX_P, owned by XManager. 1 when the process's objects are not there,
// 99120 for a language that is not supported.
VEXA_API int CreateLanguageX(const std::string& name, bool backendDrives);
// A run on the caller's own thread: a CmdVexaDX, owned by the caller and at no nesting level. Null in place
// of either code.
VEXA_API DriveX* CreateCmdVexaDX(const std::string& name, bool backendDrives);

#endif
