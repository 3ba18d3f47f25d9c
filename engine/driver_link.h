// The line to the driver: the fifo of its requests, which the engine makes and reads, and the fifo of the
// replies, which the driver makes and reads. One request and one reply at a time, in strict alternation. When
// the link goes, the fifos go.
//
// The engine must not outlive its driver, and a blocked read or write can: a fork of a driver that died holds
// the fifos open. So a thread looks from time to time whether the driver is still the parent of this process.
// When it is not, the thread removes the fifos and ends the process, whatever that was waiting for.
#ifndef DRIVER_LINK_H
#define DRIVER_LINK_H

#include <string>
#include <thread>

#include "CleXDSmb.h"
#include "xpipemanager.h"

class DriverLink {
 public:
  // Directory of the fifos with its final "/", the driver's process id in hexadecimal, the language's name.
  DriverLink(const std::string& directory, const std::string& id, const std::string& xname);

  // Makes the fifo of the requests and opens it for reading. False when that cannot be.
  bool Listen();
  // Waits until the driver reads its replies, and sends the first message. False when there is no way to send
  // it.
  bool Report(int code);
  // Waits for a request. False when the driver hung up.
  bool NextRequest(CleXDSmb& request);
  bool Reply(CleXDSmb& reply);

 private:
  XPipes& Pipes() { return *suit->getXPipes(); }

  XPipeManager manager;
  XPipeSuit* suit;
  bool driver_came = false;  // it has opened the fifo of the requests
  std::jthread watch;
};

#endif
