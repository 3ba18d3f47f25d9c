#include "api_channel.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <new>
#include <thread>

#include "CleXDErrorCode.h"
#include "descriptor.h"
#include "engine_code.h"

namespace {
constexpr std::chrono::milliseconds kOpenPause(5);  // between two tries to open the replies
}

// Without blocking: the other side opens this fifo with its first request, and may never come to one.
bool ApiChannel::Listen() {
  VexaPipe* const requests = pipes.GetXDAPIPipe();
  if (requests->HasPipe()) return true;
  return requests->CreatePipe() == 0 && requests->OpenPipeToUnBlockRead() == 0 &&
         requests->MakeBlocking() == 0;
}

bool ApiChannel::OpenReplies() {
  VexaPipe* const replies = pipes.GetXDAPIResultPipe();
  if (replies->HasPipe()) return true;
  while (replies->OpenPipeToUnBlockWrite() != 0) {
    const bool gone = peer_came && pipes.GetXDAPIPipe()->PeerHungUp();
    if (gone || access(replies->GetPipeName().c_str(), F_OK) != 0) return false;
    std::this_thread::sleep_for(kOpenPause);
  }
  return replies->MakeBlocking() == 0;
}

// A fifo that no writer has opened yet would read as ended, while poll stays silent.
bool ApiChannel::AwaitRequest(std::span<const int> ends, int milliseconds) {
  pollfd looks[1 + kMostRuns] = {{pipes.GetXDAPIPipe()->Descriptor(), POLLIN, 0}};
  pollfd* last = looks;
  for (const int end : ends) *++last = {end, POLLIN, 0};
  if (reader.Pending() || (peer_came && pipes.GetXDAPIPipe()->ReadableSoon())) milliseconds = 0;
  while (poll(looks, ends.size() + 1, milliseconds) == -1) {
    if (errno != EINTR) return false;
  }
  const auto over = [](const pollfd& look) { return look.revents != 0; };
  const bool outer_over = last != looks && std::any_of(looks + 1, last, over);
  return (reader.Pending() || looks[0].revents != 0) && !outer_over;
}

bool ApiChannel::NextRequest(CleXDSmb& request, std::span<const int> ends, int milliseconds) {
  if (!peer_came || !ends.empty()) {
    if (!AwaitRequest(ends, milliseconds)) return false;
    peer_came = true;
  }
  const int code = reader.Receive(pipes.GetXDAPIPipe(), request);
  if (code == CleXDErrorCode::kTooLarge) throw std::bad_alloc();
  return code != CleXDErrorCode::kPeerClosed && code != CleXDErrorCode::kPipeFailed;
}

bool ApiChannel::Reply(CleXDSmb& reply) {
  if (!OpenReplies()) return false;
  VexaPipe* const replies = pipes.GetXDAPIResultPipe();
  const int code = SendData(replies, reply);
  if (code != CleXDErrorCode::kTooLarge) return code == 0;
  CleXDSmb refusal;
  refusal.SetCommandAction(reply.GetCommandAction());
  refusal.SetErrorCode(engine_code::kNoRoom);
  return SendData(replies, refusal) == 0;
}

bool ApiChannel::SendBytes(const std::string& bytes) {
  unsigned long unused = 0;
  return OpenReplies() &&
         pipes.GetXDAPIResultPipe()->WriteData(bytes.data(), static_cast<int>(bytes.size()), &unused) == 0;
}

void ApiChannel::FillRequests() {
  const Descriptor end(open(pipes.GetXDAPIPipe()->GetPipeName().c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
  const char zeros[4096] = {};
  while (write(end.Number(), zeros, sizeof zeros) > 0) {
  }
}
