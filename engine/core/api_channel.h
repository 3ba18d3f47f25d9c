// The line of requests and replies on one nesting level: the fifo of the requests, which the engine makes and
// reads, and the fifo of the replies, which the other side makes and reads. One request and one reply at a
// time; a request that is ahead of its turn waits. The ends belong to the pipes of the level and stay open
// between two uses.
#ifndef API_CHANNEL_H
#define API_CHANNEL_H

#include <span>
#include <string>

#include "CleXDSmb.h"
#include "XPipes.h"
#include "sendreceive.h"

// So many blocks may run within each other.
inline constexpr std::size_t kMostRuns = 64;

class ApiChannel {
 public:
  explicit ApiChannel(XPipes& level) : pipes(level) {}

  // Makes the fifo of the requests and opens it for reading. False when that cannot be.
  bool Listen();
  // Opens the replies, where they are not open: as soon as the other side reads them. False when it never
  // will: the fifo or the other side is gone.
  bool OpenReplies();
  // Waits for a request. False when the other side hung up, or when one of the runs that `ends` are of is
  // over; the last one is this level's own, and what it still asked for is served. Throws std::bad_alloc for
  // a request that has come and does not fit into memory.
  bool NextRequest(CleXDSmb& request, std::span<const int> ends = {}, int milliseconds = -1);
  // A reply that is too large to be built becomes one that says so.
  bool Reply(CleXDSmb& reply);

  // For faults to order: bytes as they are, an end that goes, and a fifo of the requests that takes no more.
  bool SendBytes(const std::string& bytes);
  void HangUp() { pipes.GetXDAPIResultPipe()->ClosePipe(); }
  void FillRequests();

 private:
  bool AwaitRequest(std::span<const int> ends, int milliseconds);

  XPipes& pipes;
  FrameReader reader;
  bool peer_came = false;  // it has opened the fifo of the requests
};

#endif
