#include "JavaPlugInSocket.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

#include "CleXDErrorCode.h"
#include "DxTracer.h"
#include "XPipes.h"
#include "patience.h"
#include "peer_process.h"
#include "platform.h"
#include "receive_frame.h"
#include "sigpipe.h"

namespace {

using Code = CleXDErrorCode;

constexpr int kBacklog = 5;

// Repeats a system call that a signal cut short before it had done anything.
template <class SystemCall>
auto Restarted(SystemCall call) {
  auto result = call();
  while (result == -1 && errno == EINTR) result = call();
  return result;
}

}  // namespace

JavaPlugInSocket::JavaPlugInSocket() = default;
JavaPlugInSocket::~JavaPlugInSocket() = default;

int JavaPlugInSocket::Listen(int port_number) {
  server = Descriptor(platform::SocketOfOurs(AF_INET, SOCK_STREAM));
  if (server.Number() == -1) return Code::kSocketNotOpened;
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(port_number));
  if (bind(server.Number(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      listen(server.Number(), kBacklog) != 0) {
    return Code::kSocketFailed;
  }
  return 0;
}

int JavaPlugInSocket::CreateSocket() {
  const int code = Listen(0);
  if (code != 0) return code;
  sockaddr_in address = {};
  socklen_t length = sizeof address;
  if (getsockname(server.Number(), reinterpret_cast<sockaddr*>(&address), &length) != 0)
    return Code::kSocketFailed;
  port = ntohs(address.sin_port);
  return 0;
}

int JavaPlugInSocket::CreateSocket(int port_number) { return Listen(port_number); }

int JavaPlugInSocket::AcceptSocket() {
  client =
      Descriptor(Restarted([this] { return platform::AcceptOfOurs(server.Number(), nullptr, nullptr); }));
  return client.Number() == -1 ? Code::kSocketNotOpened : 0;
}

int JavaPlugInSocket::AcceptSocketOf(pid_t process, const std::function<bool()>& peer_alive) {
  const Patience patience = WhileAlive(peer_alive, Code::kSocketNotOpened);
  for (;;) {
    int code = AwaitEvents(server.Number(), POLLIN, patience);
    if (code == 0) code = AcceptSocket();
    if (code != 0 || ConnectedFrom(process, client.Number())) return code;
    client.Close();
  }
}

int JavaPlugInSocket::WriteData(void* data, int length, unsigned long&) {
  return WriteDataWhile(data, length, [] { return true; });
}

int JavaPlugInSocket::WriteDataWhile(const void* data, int length, const std::function<bool()>& peer_alive) {
  const char* position = static_cast<const char*>(data);
  const Patience patience = WhileAlive(peer_alive, Code::kSocketFailed);
  const SigpipeBlocked peer_may_be_gone;
  for (int remaining = length;;) {
    const int chunk = std::min(remaining, XPipes::PIPE_BUF_SIZE);
    const bool room = chunk >= 0 && AwaitEvents(client.Number(), POLLOUT, patience) == 0;
    const ssize_t sent = !room ? -1 : Restarted([&] {
      return send(client.Number(), position, static_cast<std::size_t>(chunk), MSG_DONTWAIT);
    });
    if (sent == -1 && room && errno == EAGAIN) continue;
    if (sent == -1) {
      DxTraceError("WriteData", -1);
      shutdown(client.Number(), SHUT_RDWR);
      return Code::kSocketFailed;
    }
    if (sent == remaining) return 0;
    position += sent;
    remaining -= static_cast<int>(sent);
  }
}

int JavaPlugInSocket::ReadData(char* buffer, int length, unsigned long& got) {
  const ssize_t count = length < 0 ? -1 : Restarted([&] {
    return recv(client.Number(), buffer, static_cast<std::size_t>(length), 0);
  });
  if (count == -1) {
    shutdown(client.Number(), SHUT_RDWR);
    DxTraceError("ReadData", -1);
    return Code::kSocketFailed;
  }
  got = static_cast<unsigned long>(count);
  return 0;
}

// The labels stand crosswise. Kept: readers of the trace know them so.
int JavaPlugInSocket::CloseSocket() {
  int code = shutdown(client.Number(), SHUT_RDWR);
  if (code != 0) DxTraceError("CloseServerSocket", code);
  code = shutdown(server.Number(), SHUT_RDWR);
  if (code != 0) DxTraceError("CloseClientSocket", code);
  return code;
}

int SendData(JavaPlugInSocket* socket, CleXDSmb& block) {
  block.ContructSendData();
  int length = 0;
  char* const image = block.GetSendBuf(length);
  if (image == nullptr) return Code::kSocketFailed;
  unsigned long written = 0;
  const int code = socket->WriteData(image, length, written);
  if (code == 0) block.CleanUp();
  return code;
}

int ReceiveData(JavaPlugInSocket* socket, CleXDSmb& block) {
  FrameProgress progress;
  return ReceiveFrame(
      block, Code::kSocketFailed, progress,
      [socket](char* to, int room, unsigned long& got, bool) { return socket->ReadData(to, room, got); });
}

int SendData(JavaPlugInSocket* socket, JavaExtensionSmb& message) {
  int length = 0;
  void* const bytes = message.GetSendBuf(length);
  unsigned long written = 0;
  const int code = socket->WriteData(bytes, length, written);
  if (code == 0) message.CleanUp();
  return code;
}

int SendDataWhile(JavaPlugInSocket* socket, JavaExtensionSmb& message,
                  const std::function<bool()>& peer_alive) {
  int length = 0;
  const void* const bytes = message.GetSendBuf(length);
  const int code = socket->WriteDataWhile(bytes, length, peer_alive);
  if (code == 0) message.CleanUp();
  return code;
}

int ReceiveData(JavaPlugInSocket*, JavaExtensionSmb&) { return 0; }
