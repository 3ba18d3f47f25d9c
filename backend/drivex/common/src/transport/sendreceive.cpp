#include "sendreceive.h"

#include <cstdint>
#include <cstring>

#include "CleXDErrorCode.h"
#include "XPipes.h"
#include "vexa_assert.h"

namespace {

constexpr std::size_t kLengthWord = CleXDSmb::LONG_LEN;

// Reads on until `buffer` holds `wanted` bytes or the writer goes. Never asks for more than `limit` leaves.
int ReadUntil(VexaPipe* pipe, char* buffer, std::size_t wanted, std::size_t limit, std::size_t& received) {
  while (received < wanted) {
    unsigned long got = 0;
    const int code = pipe->ReadData(static_cast<int>(limit - received), buffer + received, got);
    if (code != 0) return code;
    if (got == 0) return CleXDErrorCode::kPeerClosed;
    received += got;
  }
  return 0;
}

}  // namespace

int SendData(VexaPipe* pipe, CleXDSmb& block) {
  block.ContructSendData();
  int length = 0;
  const char* image = block.GetSendBuf(length);
  if (image == nullptr) return CleXDErrorCode::kPipeFailed;
  unsigned long written = 0;
  const int code = pipe->WriteData(image, length, &written);
  if (code == 0) block.CleanUp();
  return code;
}

int ReceiveData(VexaPipe* pipe, CleXDSmb& block) {
  char chunk[XPipes::PIPE_BUF_SIZE];
  std::size_t received = 0;
  const int code = ReadUntil(pipe, chunk, kLengthWord, sizeof chunk, received);
  if (code != 0) return code;

  std::int32_t dataLen = 0;
  std::memcpy(&dataLen, chunk, sizeof dataLen);
  const auto realDataLen = static_cast<std::int32_t>(received);
  VEXA_ASSERT_AS(dataLen >= realDataLen, "dataLen>=realDataLen");
  const std::size_t length = static_cast<std::size_t>(dataLen);

  // From here on the frame's own header gives the result, whatever becomes of the rest of it: the slots that
  // did not come whole stay empty.
  if (length <= sizeof chunk) {
    ReadUntil(pipe, chunk, length, length, received);
    block.ParseFrame(chunk, received);
  } else {
    FrameBuffer frame = block.ReserveFrame(length);
    if (frame.data() == nullptr) return CleXDErrorCode::kPipeFailed;
    std::memcpy(frame.data(), chunk, received);
    ReadUntil(pipe, frame.data(), length, length, received);
    block.ParseFrame(std::move(frame), received);
  }
  return block.GetErrorCode();
}

int SendData(VexaPipe* pipe, CleXDSmb& block, bool) {
  if (!pipe->IsWritePipeConnected()) {
    const int code = pipe->OpenPipeToWrite();
    if (code != 0) return code;
  }
  return SendData(pipe, block);
}

int ReceiveData(VexaPipe* pipe, CleXDSmb& block, bool) {
  const int code = pipe->OpenPipeToRead();
  return code != 0 ? code : ReceiveData(pipe, block);
}
