// One frame from a stream, whatever the stream is: what ReceiveData does on a fifo and on a socket.
#ifndef RECEIVE_FRAME_H
#define RECEIVE_FRAME_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "CleXDErrorCode.h"
#include "CleXDSmb.h"
#include "XPipes.h"
#include "vexa_assert.h"

// `read(to, room, got)` reads up to `room` bytes and gives a code; 0 bytes are the end of the stream, for
// which `closed` stands.
template <class Read>
int ReceiveFrame(CleXDSmb& block, int closed, Read read) {
  // Reads on until `buffer` holds `wanted` bytes or the writer goes. Never asks for more than `limit` leaves.
  std::size_t received = 0;
  const auto read_until = [&](char* buffer, std::size_t wanted, std::size_t limit) {
    while (received < wanted) {
      unsigned long got = 0;
      const int code = read(buffer + received, static_cast<int>(limit - received), got);
      if (code != 0) return code;
      if (got == 0) return closed;
      received += got;
    }
    return 0;
  };
  char chunk[XPipes::PIPE_BUF_SIZE];
  const int code = read_until(chunk, CleXDSmb::LONG_LEN, sizeof chunk);
  if (code != 0) return code;

  std::int32_t dataLen = 0;
  std::memcpy(&dataLen, chunk, sizeof dataLen);
  const auto realDataLen = static_cast<std::int32_t>(received);
  VEXA_ASSERT_AS(dataLen >= realDataLen, "dataLen>=realDataLen");
  const std::size_t length = static_cast<std::size_t>(dataLen);

  // From here on the frame's own header gives the result, whatever becomes of the rest of it: the slots that
  // did not come whole stay empty.
  if (length <= sizeof chunk) {
    read_until(chunk, length, length);
    block.ParseFrame(chunk, received);
  } else {
    FrameBuffer frame = block.ReserveFrame(length);
    if (frame.data() == nullptr) return CleXDErrorCode::kPipeFailed;
    std::memcpy(frame.data(), chunk, received);
    read_until(frame.data(), length, length);
    block.ParseFrame(std::move(frame), received);
  }
  return block.GetErrorCode();
}

#endif
