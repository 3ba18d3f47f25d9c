#include "call_road.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>

#include "CleXDErrorCode.h"
#include "child_process.h"
#include "sendreceive.h"
#include "session.h"
#include "vexaxd_p.h"
#include "xpipemanager.h"

namespace {

using Code = CleXDErrorCode;

constexpr int kAskMilliseconds = 100;

using InterruptCheck = int (*)(void*);
std::atomic<InterruptCheck> interrupt_check = nullptr;
std::atomic<void*> interrupt_context = nullptr;
std::atomic<pthread_t> interrupt_thread = {};
thread_local bool not_interrupted = false;
std::atomic<bool> ever_owed = false;  // by any call of this process: spares the look otherwise

bool HasCheck() {
  return interrupt_check.load(std::memory_order_relaxed) != nullptr &&
         pthread_equal(interrupt_thread, pthread_self()) != 0;
}

template <int gone>
int Ask() {
  if (InterruptAsked()) return Code::kInterrupted;
  return BackendHasEnded() ? gone : 0;
}

std::string BehindFirst(std::size_t sent, std::span<const std::string_view> runs) {
  std::string rest;
  for (const std::string_view run : runs) {
    const std::size_t passed = std::min(sent, run.size());
    sent -= passed;
    rest.append(run.substr(passed));
  }
  return rest;
}

// What is left of a request that was given up goes first: the backend is in the middle of reading it.
int SendRest(VexaPipe& requests, const Patience& patience) {
  std::string& rest = requests.Debt().unsent;
  std::size_t sent = 0;
  const std::string_view run = rest;
  const int code = requests.Send({&run, 1}, sent, patience);
  rest.erase(0, sent);
  return code;
}

// Reads on in the frame, and keeps none of it.
int DropFrame(VexaPipe& replies, FrameProgress& progress, const Patience& patience) {
  char dropped[XPipes::PIPE_BUF_SIZE];
  while (progress.length == 0 || progress.received < progress.length) {
    const bool in_head = progress.received < sizeof progress.head;
    char* const to = in_head ? progress.head + progress.received : dropped;
    const std::size_t room = in_head ? sizeof progress.head - progress.received
                                     : std::min(progress.length - progress.received, sizeof dropped);
    unsigned long got = 0;
    const int code = replies.Receive(to, room, got, progress.received != 0, patience);
    if (code != 0) return code;
    if (got == 0) return Code::kPeerClosed;
    progress.received += got;
    if (in_head && progress.received == sizeof progress.head) {
      std::int32_t length = 0;
      std::memcpy(&length, progress.head, sizeof length);
      progress.length = static_cast<std::size_t>(std::max<std::int32_t>(length, sizeof length));
    }
  }
  return 0;
}

}  // namespace

void VexaSetInterruptCheck(int (*check)(void*), void* context) {
  interrupt_check = nullptr;
  interrupt_context = context;
  interrupt_thread = pthread_self();
  interrupt_check = check;
}

// Where a timer fires all the time, not after each of its signals.
bool InterruptAsked() {
  constexpr std::chrono::milliseconds kAtMostEach(20);
  static thread_local std::chrono::steady_clock::time_point asked;
  const InterruptCheck check = not_interrupted || !HasCheck() ? nullptr : interrupt_check.load();
  if (check == nullptr) return false;
  const auto now = std::chrono::steady_clock::now();
  if (now - asked < kAtMostEach) return false;
  asked = now;
  const HostFunction runs;
  return check(interrupt_context) != 0;
}

thread_local int HostFunction::depth = 0;

bool PauseUnlessInterrupted(int milliseconds) {
  for (int left = milliseconds; left > 0; left -= kAskMilliseconds) {
    Pause(std::min(left, kAskMilliseconds));
    if (InterruptAsked()) return false;
  }
  return true;
}

// Where there is no descriptor for the backend's end, since it has been spent or was never to be had, a look
// by the clock takes its place; a slow one goes beside it.
Patience CallPatience(int gone) {
  constexpr int kSlowLook = 1000;
  const int exit = BackendExit();
  const int look = HasCheck()        ? kAskMilliseconds
                   : exit != -1      ? kSlowLook
                   : processId != -1 ? kAskMilliseconds
                                     : -1;
  return {gone == Code::kPeerClosed ? Ask<Code::kPeerClosed> : Ask<Code::kProcessNotAlive>, look, exit};
}

void OweReply(VexaPipe& replies, const FrameProgress& progress) {
  FrameDebt& debt = replies.Debt();
  debt.progress = progress;
  debt.owner = pthread_self();
  debt.owed = true;
  ever_owed = true;
}

int SettleDebts(VexaPipe& requests, VexaPipe& replies, const Patience& patience) {
  FrameDebt& sending = requests.Debt();
  FrameDebt& receiving = replies.Debt();
  if (sending.broken || receiving.broken) return Code::kPeerClosed;
  int code = 0;
  if (!sending.unsent.empty()) {
    OweReply(replies, receiving.progress);
    code = SendRest(requests, patience);
  }
  if (code == 0 && receiving.owed) {
    code = replies.OpenToRead(patience);
    if (code == 0) code = DropFrame(replies, receiving.progress, patience);
    if (code == 0) receiving = {};
  }
  if (code == 0 || code == Code::kInterrupted) return code;
  receiving.broken = true;
  return Code::kPeerClosed;
}

int SendOnRoad(VexaPipe& requests, CleXDSmb& request, const Patience& patience) {
  std::size_t sent = 0;
  const int code = SendData(&requests, request, sent, patience);
  if (code == 0 || sent == 0) return code;
  requests.Debt().broken = true;  // as it is where there is no memory for the rest
  if (code != Code::kInterrupted) return Code::kPeerClosed;
  requests.Debt().unsent = BehindFirst(sent, request.Runs());
  requests.Debt().owner = pthread_self();
  requests.Debt().broken = false;
  ever_owed = true;
  return code;
}

XPipes* LevelOwed(XPipeSuit& suit) {
  if (!ever_owed.load(std::memory_order_relaxed)) [[likely]]
    return nullptr;
  for (int level = 0; XPipes* const pipes = suit.getXPipes(level); ++level) {
    if (pipes->GetXDAPIPipe()->Debt().IsMine() || pipes->GetXDAPIResultPipe()->Debt().IsMine()) return pipes;
  }
  return nullptr;
}

// A success in a reply that broke off is none.
int ReceiveOnRoad(VexaPipe& replies, CleXDSmb& reply, const Patience& patience) {
  FrameProgress progress;
  const int code = ReceiveData(&replies, reply, progress, patience);
  if (progress.broken == 0) return code;
  if (progress.broken == Code::kInterrupted) {
    reply.CleanUpAllData();
    reply.SetErrorCode(Code::kInterrupted);
    OweReply(replies, progress);
    return Code::kInterrupted;
  }
  replies.Debt().broken = progress.received != 0;
  const int told = progress.length != 0 ? reply.GetErrorCode() : progress.broken;
  return told != 0 ? told : Code::kPeerClosed;
}

NotInterrupted::NotInterrupted() : outer(not_interrupted) { not_interrupted = true; }
NotInterrupted::~NotInterrupted() { not_interrupted = outer; }
