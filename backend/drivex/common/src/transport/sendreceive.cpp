#include "sendreceive.h"

#include <algorithm>
#include <cstring>

#include "CleXDErrorCode.h"
#include "frame_record.h"

using Code = CleXDErrorCode;

namespace {

template <class Read>
int ReceiveRecorded(const VexaPipe& pipe, CleXDSmb& block, FrameProgress& progress, Read read) {
  ReceivedFrame frame;
  const int code = ReceiveFrame(block, Code::kPeerClosed, progress,
                                [&](char* to, int room, unsigned long& got, bool within_frame) {
                                  const int failed = read(to, room, got, within_frame);
                                  if (failed == 0) frame.Take(to, got);
                                  return failed;
                                });
  frame.Record(pipe, progress);
  return code;
}

template <class Read>
int ReceiveBlock(const VexaPipe& pipe, CleXDSmb& block, FrameProgress& progress, Read read) {
  if (FrameRecord::On()) [[unlikely]]
    return ReceiveRecorded(pipe, block, progress, read);
  return ReceiveFrame(block, Code::kPeerClosed, progress, read);
}

}  // namespace

int SendData(VexaPipe* pipe, CleXDSmb& block, std::size_t& sent, const Patience& patience) {
  sent = 0;
  const auto runs = block.BuildRuns();
  if (runs.empty()) return Code::kTooLarge;
  const bool recorded = FrameRecord::On();
  const std::int64_t time = recorded ? FrameRecord::Now() : 0;
  const int code = pipe->Send(runs, sent, patience);
  if (recorded) [[unlikely]]
    FrameRecord::Sent(*pipe, runs, sent, code, time);
  if (code == 0) block.CleanUp();
  return code;
}

int ReceiveData(VexaPipe* pipe, CleXDSmb& block, FrameProgress& progress, const Patience& patience) {
  return ReceiveBlock(*pipe, block, progress, [&](char* to, int room, unsigned long& got, bool within_frame) {
    return pipe->Receive(to, static_cast<std::size_t>(room), got, within_frame, patience);
  });
}

int SendData(VexaPipe* pipe, CleXDSmb& block) {
  std::size_t sent = 0;
  return SendData(pipe, block, sent, {});
}

int ReceiveData(VexaPipe* pipe, CleXDSmb& block) {
  FrameProgress progress;
  return ReceiveData(pipe, block, progress, {});
}

int SendData(VexaPipe* pipe, CleXDSmb& block, bool) {
  const int code = pipe->OpenToWrite({});
  return code != 0 ? code : SendData(pipe, block);
}

int ReceiveData(VexaPipe* pipe, CleXDSmb& block, bool) {
  const int code = pipe->OpenToRead({});
  return code != 0 ? code : ReceiveData(pipe, block);
}

int SendDataWhile(VexaPipe* pipe, CleXDSmb& block, const std::function<bool()>& peer_alive) {
  const int code = pipe->OpenPipeToWriteWhile(peer_alive);
  std::size_t sent = 0;
  return code != 0 ? code : SendData(pipe, block, sent, WhileAlive(peer_alive, Code::kPeerClosed));
}

int ReceiveDataWhile(VexaPipe* pipe, CleXDSmb& block, const std::function<bool()>& peer_alive) {
  const int opened = pipe->OpenPipeToReadWhile(peer_alive);
  if (opened != 0) return opened;
  FrameProgress progress;
  const int code = ReceiveData(pipe, block, progress, WhileAlive(peer_alive, Code::kPeerClosed));
  if (progress.broken == 0) return code;
  block.CleanUpAllData();
  return progress.broken;
}

int FrameReader::Fill(VexaPipe* pipe, bool within_frame, const Patience& patience) {
  filled = used = 0;
  unsigned long got = 0;
  const int code = pipe->Receive(ahead, sizeof ahead, got, within_frame, patience);
  filled = got;
  return code;
}

// Once the length is known, no read asks for more than the rest of the frame.
int FrameReader::Receive(VexaPipe* pipe, CleXDSmb& block, const Patience& patience) {
  FrameProgress progress;
  std::size_t given = 0;
  const int code =
      ReceiveBlock(*pipe, block, progress, [&](char* to, int wanted, unsigned long& got, bool within_frame) {
        std::size_t room = static_cast<std::size_t>(wanted);
        if (given < sizeof progress.head) {
          room = sizeof progress.head - given;
          const int failed = Pending() ? 0 : Fill(pipe, within_frame, patience);
          if (failed != 0) return failed;
        } else if (!Pending()) {
          return pipe->Receive(to, room, got, within_frame, patience);
        }
        got = std::min(room, filled - used);
        std::memcpy(to, ahead + used, got);
        used += got;
        given += got;
        return 0;
      });
  return progress.broken != 0 ? progress.broken : code;
}
