// One frame from a stream, whatever the stream is: what ReceiveData does on a fifo and on a socket.
#ifndef RECEIVE_FRAME_H
#define RECEIVE_FRAME_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "CleXDErrorCode.h"
#include "CleXDSmb.h"
#include "XPipes.h"
#include "frame_progress.h"
#include "vexa_assert.h"

// `read(to, room, got, within_frame)` reads up to `room` bytes and gives a code; 0 bytes are the end of the
// stream, for which `closed` stands. The result is the error code of the frame's header as soon as that has
// come, whatever becomes of the rest of it, which `progress` tells: the slots that did not come whole are
// empty then.
template <class Read>
int ReceiveFrame(CleXDSmb& block, int closed, FrameProgress& progress, Read read) {
  // Reads on until `buffer` holds `wanted` bytes or the writer goes. Never asks for more than `limit` leaves.
  std::size_t& received = progress.received;
  const auto read_until = [&](char* buffer, std::size_t wanted, std::size_t limit) {
    while (received < wanted) {
      unsigned long got = 0;
      int code = read(buffer + received, static_cast<int>(limit - received), got, received != 0);
      if (code == 0 && got == 0) code = closed;
      if (code != 0) return progress.broken = code;
      received += got;
    }
    return 0;
  };
  char chunk[XPipes::PIPE_BUF_SIZE];
  std::memset(chunk, 0, sizeof progress.head);
  const int code = read_until(chunk, sizeof progress.head, sizeof chunk);
  std::memcpy(progress.head, chunk, sizeof progress.head);
  if (code != 0) return code;

  std::int32_t dataLen = 0;
  std::memcpy(&dataLen, chunk, sizeof dataLen);
  const auto realDataLen = static_cast<std::int32_t>(received);
  VEXA_ASSERT_AS(dataLen >= realDataLen, "dataLen>=realDataLen");
  progress.length = static_cast<std::size_t>(dataLen);

  if (progress.length <= sizeof chunk) {
    read_until(chunk, progress.length, progress.length);
    return block.ParseFrame(chunk, received) ? block.GetErrorCode() : CleXDErrorCode::kTooLarge;
  }
  // Lies in its buffer so that its void block is aligned.
  const std::size_t shift = CleXDSmb::FrameShift(chunk, received);
  FrameBuffer buffer = block.ReserveFrame(progress.length + shift);
  if (buffer.data() == nullptr) {  // nothing of it may be taken for the next frame
    while (received < progress.length && progress.broken == 0) {
      const std::size_t before = std::exchange(received, 0);
      const std::size_t piece = std::min(progress.length - before, sizeof chunk);
      read_until(chunk, piece, piece);
      received += before;
    }
    return CleXDErrorCode::kTooLarge;
  }
  char* const frame = buffer.data() + shift;
  std::memcpy(frame, chunk, received);
  read_until(frame, progress.length, progress.length);
  return block.ParseFrame(std::move(buffer), frame, received) ? block.GetErrorCode()
                                                              : CleXDErrorCode::kTooLarge;
}

#endif
