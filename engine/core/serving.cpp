#include "serving.h"

#include <memory>
#include <new>

bool Serve(Session& session, ApiChannel& channel) {
  CleXDSmb request;
  CleXDSmb reply;
  request.ReadRecordsInPlace();
  const bool first_level = session.run_ends.empty();
  while (!session.ended) {
    request.CleanUp();
    request.SetCommandAction(Action::None);  // what a broken frame would leave from the last one
    reply.CleanUp();
    bool wanted = true;
    const Fault* fault = nullptr;
    try {
      if (!channel.NextRequest(request, session.run_ends)) return false;
      fault = session.faults.Next(request.GetCommandAction());
      wanted = session.Serve(request, reply, fault);
    } catch (const std::bad_alloc&) {
      reply.SetErrorCode(engine_code::kNoRoom);
    }
    const Action action = request.GetCommandAction();
    const std::unique_ptr<char[]> image(reply.GetBinaryData());  // a block never frees its binary string
    session.log.Note(action, reply);
    if (wanted && !(fault != nullptr ? ReplyWith(*fault, reply, channel) : channel.Reply(reply)))
      return false;
    if (action == Action::StopReceiveXdApiThread && !first_level) return true;
  }
  return false;
}
