// The engine's line to the process that drives it: the channel of the first nesting level and the first
// message on it, which tells how the start went. When the link goes, all fifos of the session go.
//
// The engine must not outlive its driver, and a blocked read or write can: a fork of a driver that died holds
// the fifos open. So a thread looks from time to time whether the driver is still the parent of this process.
// When it is not, the thread removes the fifos and ends the process, whatever that was waiting for.
#ifndef DRIVER_LINK_H
#define DRIVER_LINK_H

#include <functional>
#include <string>
#include <thread>

#include "api_channel.h"

class DriverLink {
 public:
  // Directory of the fifos with its final "/", the driver's process id in hexadecimal, the language's name.
  // `driver_gone` is called by another thread, ahead of the end.
  DriverLink(const std::string& directory, const std::string& driver, const std::string& xname,
             std::function<void()> driver_gone);
  DriverLink(const DriverLink&) = delete;
  DriverLink& operator=(const DriverLink&) = delete;
  ~DriverLink();

  // False when nobody can watch the driver: there was no thread for it.
  bool Watches() const { return watch.joinable(); }
  // Waits until the driver reads its replies, and sends the first message. The reason is text that a reply
  // can hold. False when there is no way to send it.
  bool Report(int code, const std::string& reason);
  ApiChannel& Channel() { return channel; }

 private:
  const std::string fifos, id;  // the directory, the driver's process
  ApiChannel channel;
  std::jthread watch;
};

#endif
