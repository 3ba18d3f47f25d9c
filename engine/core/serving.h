// The loop that answers the requests of one nesting level.
#ifndef SERVING_H
#define SERVING_H

#include "api_channel.h"
#include "session.h"

// Until the session ends, the other side says that it is done with this level or hangs up, or a block that is
// running is over: this level's own or one around it. Whether the other side said so.
bool Serve(Session& session, ApiChannel& channel);

#endif
