// XManager owns the language runtimes of the process and the drivers of their runs. There are none of either
// yet.
#ifndef XMANAGER_H
#define XMANAGER_H

#include "vexa_api.h"

class VEXA_API XManager {
 public:
  XManager() = default;
  XManager(const XManager&) = delete;
  XManager& operator=(const XManager&) = delete;
  ~XManager();

  // Stops every language and removes every driver.
  void cleanup();
};

#endif
