#include "api_channel.h"

#include <poll.h>
#include <unistd.h>

#include "CleXDErrorCode.h"
#include "msleep.h"
#include "sendreceive.h"

namespace {
constexpr unsigned kOpenPause = 5;  // milliseconds between two tries to open the replies
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
    msleep(kOpenPause);
  }
  return replies->MakeBlocking() == 0;
}

bool ApiChannel::NextRequest(CleXDSmb& request, int wake) {
  VexaPipe* const requests = pipes.GetXDAPIPipe();
  // A fifo that no writer has opened yet would read as ended, while poll stays silent.
  if (!peer_came || wake != -1) {
    pollfd looks[] = {{requests->Descriptor(), POLLIN, 0}, {wake, POLLIN, 0}};
    while (poll(looks, 2, -1) <= 0) {
    }
    if (looks[0].revents == 0) return false;
    peer_came = true;
  }
  const int code = ReceiveData(requests, request);
  return code != CleXDErrorCode::kPeerClosed && code != CleXDErrorCode::kPipeFailed;
}

bool ApiChannel::Reply(CleXDSmb& reply) {
  return OpenReplies() && SendData(pipes.GetXDAPIResultPipe(), reply) == 0;
}
