// The line of requests and replies on one nesting level: the fifo of the requests, which the engine makes and
// reads, and the fifo of the replies, which the other side makes and reads. One request and one reply at a
// time, in strict alternation. The ends belong to the pipes of the level and stay open between two uses.
#ifndef API_CHANNEL_H
#define API_CHANNEL_H

#include "CleXDSmb.h"
#include "XPipes.h"

class ApiChannel {
 public:
  explicit ApiChannel(XPipes& level) : pipes(level) {}

  // Makes the fifo of the requests and opens it for reading. False when that cannot be.
  bool Listen();
  // Opens the replies, where they are not open: as soon as the other side reads them. False when it never
  // will: the fifo or the other side is gone.
  bool OpenReplies();
  // Waits for a request. False when the other side hung up, or when `wake`, a descriptor, can be read; -1 for
  // none.
  bool NextRequest(CleXDSmb& request, int wake = -1);
  bool Reply(CleXDSmb& reply);

 private:
  XPipes& pipes;
  bool peer_came = false;  // it has opened the fifo of the requests
};

#endif
