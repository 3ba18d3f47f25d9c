// Reply: a block whose binary string goes with it. Any reply may bring one, and the block alone lets it go
// without freeing it.
#ifndef REPLY_H
#define REPLY_H

#include "CleXDSmb.h"

class Reply : public CleXDSmb {
 public:
  ~Reply() {
    if (!taken) delete[] GetBinaryData();
  }
  // The caller's from here on, with delete[].
  char* TakeBinaryData() {
    taken = true;
    return GetBinaryData();
  }

 private:
  bool taken = false;
};

#endif
