// The loop that answers the requests of one nesting level.
#ifndef SERVING_H
#define SERVING_H

#include "api_channel.h"
#include "session.h"

// Until the session ends, the other side says that it is done with this level or hangs up, or `wake`, a
// descriptor, can be read; -1 for none. Whether it said so.
bool Serve(Session& session, ApiChannel& channel, int wake = -1);

#endif
