#include "serving.h"

#include <memory>

bool Serve(Session& session, ApiChannel& channel, int wake) {
  CleXDSmb request;
  CleXDSmb reply;
  const bool first_level = wake == -1;
  while (!session.ended) {
    request.CleanUp();
    request.SetCommandAction(Action::None);  // what a broken frame would leave from the last one
    reply.CleanUp();
    if (!channel.NextRequest(request, wake)) return false;
    const Action action = request.GetCommandAction();
    const bool wanted = session.Serve(request, reply);
    const std::unique_ptr<char[]> image(reply.GetBinaryData());  // a block never frees its binary string
    session.log.Note(action, reply.GetErrorCode());
    if (wanted && !channel.Reply(reply)) return false;
    if (action == Action::StopReceiveXdApiThread && !first_level) return true;
  }
  return false;
}
