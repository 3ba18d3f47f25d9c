#include "vexaxd_p.h"

const char* VexaVersion() { return VEXA_VERSION_TEXT; }
