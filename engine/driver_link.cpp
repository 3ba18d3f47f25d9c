#include "driver_link.h"

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <stop_token>

#include "CleXDErrorCode.h"
#include "msleep.h"
#include "sendreceive.h"

namespace {

constexpr unsigned kOpenPause = 5;  // milliseconds between two tries to open the replies
constexpr std::chrono::milliseconds kLookPause(250);
constexpr pid_t kNobody = -1;

// The parent, as a rule the process that the id text names. It may also be a fork of that process, but not
// whoever adopts orphans: then the driver died before this look.
pid_t FindDriver(const std::string& id) {
  const pid_t parent = getppid();
  pid_t named = 0;
  std::from_chars(id.data(), id.data() + id.size(), named, 16);
  if (parent == named) return parent;
  const bool orphaned = parent == 1 || named <= 0 || (kill(named, 0) == -1 && errno == ESRCH);
  return orphaned ? kNobody : parent;
}

// By the parent and not by a signal: an ended process that nobody has waited for can still be signalled.
void WatchDriver(const std::stop_token& link_ends, pid_t driver, const std::string& requests,
                 const std::string& replies) {
  std::mutex mutex;
  std::condition_variable_any pause;
  std::unique_lock lock(mutex);
  while (!link_ends.stop_requested()) {
    if (getppid() != driver) {
      unlink(requests.c_str());
      unlink(replies.c_str());
      _exit(EXIT_FAILURE);
    }
    pause.wait_for(lock, link_ends, kLookPause, [] { return false; });
  }
}

}  // namespace

DriverLink::DriverLink(const std::string& directory, const std::string& id, const std::string& xname)
    : manager(directory, id), suit(manager.getPipeSuit(xname)) {
  suit->increaseIndex();
  watch = std::jthread(WatchDriver, FindDriver(id), Pipes().GetXDAPIPipe()->GetPipeName(),
                       Pipes().GetXDAPIResultPipe()->GetPipeName());
}

// Without blocking: a driver opens this fifo with its first request, and may never come to one.
bool DriverLink::Listen() {
  VexaPipe* requests = Pipes().GetXDAPIPipe();
  return requests->CreatePipe() == 0 && requests->OpenPipeToUnBlockRead() == 0 &&
         requests->MakeBlocking() == 0;
}

bool DriverLink::Report(int code) {
  VexaPipe* replies = Pipes().GetXDAPIResultPipe();
  while (replies->OpenPipeToUnBlockWrite() != 0) {
    if (access(replies->GetPipeName().c_str(), F_OK) != 0) return false;
    msleep(kOpenPause);
  }
  CleXDSmb first;
  first.SetErrorCode(code);
  return replies->MakeBlocking() == 0 && Reply(first);
}

bool DriverLink::NextRequest(CleXDSmb& request) {
  VexaPipe* requests = Pipes().GetXDAPIPipe();
  // A fifo that no writer has opened yet would read as ended, while poll stays silent.
  pollfd look = {requests->Descriptor(), POLLIN, 0};
  while (!driver_came) driver_came = poll(&look, 1, -1) > 0;
  const int code = ReceiveData(requests, request);
  return code != CleXDErrorCode::kPeerClosed && code != CleXDErrorCode::kPipeFailed;
}

bool DriverLink::Reply(CleXDSmb& reply) { return SendData(Pipes().GetXDAPIResultPipe(), reply) == 0; }
