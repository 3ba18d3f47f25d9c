// Moving one block over one endpoint. The first word of a block's image is its length, and that is the only
// framing: messages follow each other directly, with at most one in flight on a fifo. A signal ends no wait
// here, and never leaves a frame half moved.
#ifndef SENDRECEIVE_H
#define SENDRECEIVE_H

#include <functional>

#include "CleXDSmb.h"
#include "VexaPipe.h"
#include "patience.h"
#include "receive_frame.h"
#include "vexa_api.h"

// Sends the block's image. On success the block is cleaned up; on failure it stays as it is and the code is
// returned: 99104, or 99126 where there is no image, as it would be over 2 GiB or there is no memory for it.
// Then nothing was sent.
VEXA_API int SendData(VexaPipe* pipe, CleXDSmb& block);

// Receives one frame into the block. The result is the error code that the frame's header carries, as soon as
// its first piece has come: a peer that dies in the middle leaves empty slots, and its own code. A failure
// before that gives 99103 (all writers gone) or 99104. A first piece larger than its frame fails the
// assertion "dataLen>=realDataLen".
VEXA_API int ReceiveData(VexaPipe* pipe, CleXDSmb& block);

// The same, opening the end first where it is not open yet. The flag marks the direction and changes nothing:
// false when sending, true when receiving.
VEXA_API int SendData(VexaPipe* pipe, CleXDSmb& block, bool receiving);
VEXA_API int ReceiveData(VexaPipe* pipe, CleXDSmb& block, bool receiving);

// --- For waits that end ---

// Both open the end where it is not open. A peer that goes before that gives 99107, and 99103 later: with it
// nothing of a frame counts that did not come whole.
int SendDataWhile(VexaPipe* pipe, CleXDSmb& block, const std::function<bool()>& peer_alive);
int ReceiveDataWhile(VexaPipe* pipe, CleXDSmb& block, const std::function<bool()>& peer_alive);

// The same with any patience, on an end that is open. What is left of the frame when it runs out is told: by
// `sent` of the image, which stays the block's, and by `progress`.
int SendData(VexaPipe* pipe, CleXDSmb& block, std::size_t& sent, const Patience& patience);
int ReceiveData(VexaPipe* pipe, CleXDSmb& block, FrameProgress& progress, const Patience& patience);

// Frames of a peer that may be ahead with the next one, read exactly: what came of the next stays here. For
// the side that serves.
class VEXA_API FrameReader {
 public:
  // As ReceiveData; a frame that did not come whole gives the code of the transport.
  int Receive(VexaPipe* pipe, CleXDSmb& block, const Patience& patience = {});
  // Whether there are bytes here, ahead of those that poll knows of.
  bool Pending() const { return used < filled; }

 private:
  int Fill(VexaPipe* pipe, bool within_frame, const Patience& patience);

  char ahead[XPipes::PIPE_BUF_SIZE];
  std::size_t filled = 0;
  std::size_t used = 0;
};

#endif
