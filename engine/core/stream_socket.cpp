#include "stream_socket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kPatience{30};
constexpr std::size_t kPiece = std::size_t{1} << 20;

bool Await(int descriptor, short what) {
  pollfd look = {descriptor, what, 0};
  const Clock::time_point end = Clock::now() + kPatience;
  int ready = -1;
  do {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    ready = poll(&look, 1, static_cast<int>(std::max<long>(left, 0)));
  } while (ready == -1 && errno == EINTR);
  return ready == 1;
}

void CloseOne(int& descriptor) {
  if (descriptor != -1) close(descriptor);
  descriptor = -1;
}

}  // namespace

std::optional<int> StreamSocket::Listen() {
  Close();
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof(address);
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (listener == -1 || bind(listener, generic, length) == -1 || listen(listener, 1) == -1 ||
      getsockname(listener, generic, &length) == -1) {
    Close();
    return std::nullopt;
  }
  port = ntohs(address.sin_port);
  return port;
}

bool StreamSocket::Accept() {
  CloseOne(connection);
  if (listener == -1 || !Await(listener, POLLIN)) return false;
  connection = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
  CloseOne(listener);
  return connection != -1;
}

std::optional<std::string> StreamSocket::Receive() const {
  std::string bytes;
  for (;;) {
    if (!Await(connection, POLLIN)) return std::nullopt;
    const std::size_t had = bytes.size();
    bytes.resize(had + kPiece);
    const ssize_t count = recv(connection, bytes.data() + had, kPiece, 0);
    bytes.resize(had + static_cast<std::size_t>(count > 0 ? count : 0));
    if (count == 0) return bytes;
    if (count == -1 && errno != EAGAIN && errno != EINTR) return std::nullopt;
  }
}

bool StreamSocket::Send(const std::string& bytes) const {
  for (std::size_t sent = 0; sent < bytes.size();) {
    if (!Await(connection, POLLOUT)) return false;
    const ssize_t count = send(connection, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (count == -1 && errno != EAGAIN && errno != EINTR) return false;
    if (count > 0) sent += static_cast<std::size_t>(count);
  }
  return true;
}

void StreamSocket::Close() {
  CloseOne(connection);
  CloseOne(listener);
  port = 0;
}
