#include "msleep.h"

#include <sys/select.h>
#include <unistd.h>

#include <climits>

void msleep(unsigned int milliseconds) {
  if (milliseconds == 0) {
    sleep(0);
    return;
  }
  timeval pause = {static_cast<time_t>(milliseconds / 1000),
                   static_cast<suseconds_t>(milliseconds % 1000 * 1000)};
  select(0, nullptr, nullptr, nullptr, milliseconds == UINT_MAX ? nullptr : &pause);
}
