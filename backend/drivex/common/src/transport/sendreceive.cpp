#include "sendreceive.h"

#include "CleXDErrorCode.h"
#include "receive_frame.h"

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
  return ReceiveFrame(block, CleXDErrorCode::kPeerClosed, [pipe](char* to, int room, unsigned long& got) {
    return pipe->ReadData(room, to, got);
  });
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
