#ifndef MSLEEP_H
#define MSLEEP_H

#include "vexa_api.h"

// Pauses for that many milliseconds; a signal ends the pause early. 0 only yields; 4294967295 never ends by
// itself.
VEXA_API void msleep(unsigned int milliseconds);

#endif
