// Which process is at the other end of a TCP connection within this machine, as the system's tables tell.
#ifndef PEER_PROCESS_H
#define PEER_PROCESS_H

#include <sys/types.h>

// Whether the peer of the connection is that process, or one that it started. Where the system has no such
// tables, or does not show who holds the peer's end, the user who owns that end has to do.
bool ConnectedFrom(pid_t process, int connection);

#endif
