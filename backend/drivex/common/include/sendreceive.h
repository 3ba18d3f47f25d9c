// Moving one block over one endpoint. The first word of a block's image is its length, and that is the only
// framing: messages follow each other directly, with at most one in flight on a fifo.
#ifndef SENDRECEIVE_H
#define SENDRECEIVE_H

#include "CleXDSmb.h"
#include "VexaPipe.h"
#include "vexa_api.h"

// Sends the block's image. On success the block is cleaned up; on failure it stays as it is and the code is
// returned.
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

#endif
