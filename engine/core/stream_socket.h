// One stream of cases between the engine and a program on this machine: a TCP port on the loopback address,
// where the program connects. A wait for it ends after half a minute in which nothing happened.
#ifndef STREAM_SOCKET_H
#define STREAM_SOCKET_H

#include <cstddef>
#include <optional>
#include <string>

class StreamSocket {
 public:
  StreamSocket() = default;
  StreamSocket(const StreamSocket&) = delete;
  StreamSocket& operator=(const StreamSocket&) = delete;
  ~StreamSocket() { Close(); }

  // Opens a port that is free, in place of one that was open, and returns its number.
  std::optional<int> Listen();
  int Port() const { return port; }
  // Waits for the program.
  bool Accept();
  bool Connected() const { return connection != -1; }
  // All that the program sends until it closes its end; nothing on failure.
  std::optional<std::string> Receive() const;
  bool Send(const std::string& bytes) const;
  void Close();

 private:
  int listener = -1;
  int connection = -1;
  int port = 0;
};

#endif
