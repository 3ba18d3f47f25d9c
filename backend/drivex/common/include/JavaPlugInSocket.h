// JavaPlugInSocket: the library's end of the one TCP connection with the Java extension. It listens on a port
// that the system picks, of which the Java process is told, and takes the connection that comes. The object
// owns its two descriptors, which are close-on-exec and stay open, even shut down, until it goes or makes new
// ones. One thread uses it.
//
// Codes: 0; 99121, no socket or no connection; 99122, any other failure. After one of the connection it is of
// no more use.
#ifndef JAVAPLUGINSOCKET_H
#define JAVAPLUGINSOCKET_H

#include <sys/types.h>

#include <cstdint>
#include <functional>

#include "CleXDSmb.h"
#include "JavaExtensionSmb.h"
#include "descriptor.h"
#include "vexa_api.h"

class VEXA_API JavaPlugInSocket {
 public:
  JavaPlugInSocket();
  JavaPlugInSocket(const JavaPlugInSocket&) = delete;
  JavaPlugInSocket& operator=(const JavaPlugInSocket&) = delete;
  ~JavaPlugInSocket();

  // Listens on this machine's own address alone, on a port of the system's, which is noted down, or on the
  // given one, which is not.
  int CreateSocket();
  int CreateSocket(int port);
  // Blocks until the peer connects.
  int AcceptSocket();
  // The same for that process, or one that it started, alone: anybody else's connection is closed. Given up
  // with 99121 as soon as `peer_alive` says that nobody will come.
  int AcceptSocketOf(pid_t process, const std::function<bool()>& peer_alive);
  void SetSocketPort(int number) { port = number; }
  int GetSocketPort() const { return port; }

  // Sends `length` bytes in pieces of at most 8192. `written` is never stored to.
  int WriteData(void* data, int length, unsigned long& written);
  // The same, given up with 99122 as soon as `peer_alive` says that nobody reads any more.
  int WriteDataWhile(const void* data, int length, const std::function<bool()>& peer_alive);
  // Takes what has come, up to `length` bytes; `got` takes their number. 0 bytes mean that the peer has
  // closed: no error here.
  int ReadData(char* buffer, int length, unsigned long& got);
  // Shuts both ends down, the connection first; the code is the result for the listening one.
  int CloseSocket();

 private:
  int Listen(int port_number);

  Descriptor server;
  Descriptor client;
  std::int32_t port = 0;
};

// As on a fifo, see sendreceive.h, but a peer that closes ahead of its frame gives 99122.
VEXA_API int SendData(JavaPlugInSocket* socket, CleXDSmb& block);
VEXA_API int ReceiveData(JavaPlugInSocket* socket, CleXDSmb& block);

// Sends the bytes alone: the peer knows their number from elsewhere. On success the message is cleaned up.
VEXA_API int SendData(JavaPlugInSocket* socket, JavaExtensionSmb& message);
int SendDataWhile(JavaPlugInSocket* socket, JavaExtensionSmb& message,
                  const std::function<bool()>& peer_alive);
// Does nothing.
VEXA_API int ReceiveData(JavaPlugInSocket* socket, JavaExtensionSmb& message);

#endif
