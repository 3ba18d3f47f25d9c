// The road of a call: how long it waits for its backend, and what a call that did not come to its end leaves
// on the pipes for the next one. A request is on its way once its first byte was written. From then on a
// reply is due, and nobody but its own call may take it:
//
//   the wait was given up     what is left of the request is sent, and the reply read and dropped, ahead of
//   the next
//                             exchange on these pipes
//   a frame was cut           no byte behind it can be told apart: 99103 until the end is closed
#ifndef CALL_ROAD_H
#define CALL_ROAD_H

#include "CleXDErrorCode.h"
#include "CleXDSmb.h"
#include "VexaPipe.h"
#include "patience.h"

class XPipes;
class XPipeSuit;

// Of a call: until the backend that this process started has ended, which gives `gone`, or the interrupt
// check says so, which gives 99124.
Patience CallPatience(int gone);

// Whether the host wants the wait that is under way to end.
bool InterruptAsked();
// Whether the pause came to its end.
bool PauseUnlessInterrupted(int milliseconds);

// Whether an exchange may begin on these pipes, once what the last one left is done with. 0, 99103 or 99124.
int SettleDebts(VexaPipe& requests, VexaPipe& replies, const Patience& patience);
inline int SettleDebts(VexaPipe& requests, VexaPipe& replies) {
  if (!requests.Debt().Any() && !replies.Debt().Any()) [[likely]]
    return 0;
  return SettleDebts(requests, replies, CallPatience(CleXDErrorCode::kPeerClosed));
}

// Notes down that the reply has come that far, and that nobody waits for it.
void OweReply(VexaPipe& replies, const FrameProgress& progress);
// The level on which the calling thread gave up a call, null for none. It may lie below the current one,
// which then belongs to the block that the call led to, and to the thread that runs it.
XPipes* LevelOwed(XPipeSuit& suit);

// Send the request and receive the reply on ends that are open, and note down what is left over.
int SendOnRoad(VexaPipe& requests, CleXDSmb& request, const Patience& patience);
int ReceiveOnRoad(VexaPipe& replies, CleXDSmb& reply, const Patience& patience);

// While it lives, a function that the host set runs on this thread, in the midst of a call.
class HostFunction {
 public:
  HostFunction() { ++depth; }
  HostFunction(const HostFunction&) = delete;
  HostFunction& operator=(const HostFunction&) = delete;
  ~HostFunction() { --depth; }
  static bool Runs() { return depth != 0; }

 private:
  static thread_local int depth;
};

// While it lives, calls of this thread do not ask the interrupt check: their callers cannot be told.
class NotInterrupted {
 public:
  NotInterrupted();
  NotInterrupted(const NotInterrupted&) = delete;
  NotInterrupted& operator=(const NotInterrupted&) = delete;
  ~NotInterrupted();

 private:
  const bool outer;
};

#endif
