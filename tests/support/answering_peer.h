// A backend on a thread of its own that answers each request with what a function makes of it, in no order
// known ahead. An answer that is shorter than its first word says, or empty, ends with a hang-up.
#ifndef SUPPORT_ANSWERING_PEER_H
#define SUPPORT_ANSWERING_PEER_H

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

class AnsweringPeer {
 public:
  using Answer = std::function<std::string(const std::string& request)>;

  // Makes `prefix`xdapi and answers on `prefix`xdapiresult, which the client makes.
  AnsweringPeer(const std::string& prefix, Answer answer)
      : requests_name_(prefix + "xdapi"), replies_name_(prefix + "xdapiresult"), answer_(std::move(answer)) {
    mkfifo(requests_name_.c_str(), 0600);
    // Both ends, here and below: the client comes and goes, and neither wait is for it.
    requests_ = open(requests_name_.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    thread_ = std::thread(&AnsweringPeer::Run, this);
  }
  AnsweringPeer(const AnsweringPeer&) = delete;
  AnsweringPeer& operator=(const AnsweringPeer&) = delete;
  ~AnsweringPeer() {
    eventfd_write(wake_, 1);
    thread_.join();
    HangUp();
    for (const int fd : {requests_, wake_}) close(fd);
    unlink(requests_name_.c_str());
  }

  // Ahead of a call: nothing of an earlier one is here any more, and one that hung up is back.
  void Begin() {
    const std::lock_guard lock(mutex_);
    char dropped[4096];
    while (read(requests_, dropped, sizeof dropped) > 0) {
    }
    Open();
  }
  // Behind the last call of a session.
  void End() {
    const std::lock_guard lock(mutex_);
    HangUp();
  }

 private:
  void Run() {
    pollfd looks[] = {{requests_, POLLIN, 0}, {wake_, POLLIN, 0}};
    while (poll(looks, 2, -1) > 0 && looks[1].revents == 0) {
      const std::lock_guard lock(mutex_);
      const std::string request = ReadFrame();
      if (!request.empty()) Reply(answer_(request));
    }
  }
  // Up to the end of the frame; empty when somebody else took it.
  std::string ReadFrame() {
    std::string frame(sizeof(std::int32_t), '\0');
    for (std::size_t got = 0; got < frame.size();) {
      const ssize_t count = read(requests_, frame.data() + got, frame.size() - got);
      if (count <= 0 && got == 0) return "";
      pollfd look = {requests_, POLLIN, 0};
      if (count <= 0 && poll(&look, 1, 1000) > 0) continue;
      if (count <= 0) return "";
      got += static_cast<std::size_t>(count);
      if (got == sizeof(std::int32_t)) frame.resize(static_cast<std::size_t>(FirstWord(frame)));
    }
    return frame;
  }
  void Reply(const std::string& reply) {
    Open();
    for (std::size_t sent = 0; sent < reply.size() && replies_ != -1;) {
      const ssize_t count = write(replies_, reply.data() + sent, reply.size() - sent);
      if (count <= 0) return;
      sent += static_cast<std::size_t>(count);
    }
    if (reply.size() < sizeof(std::int32_t) || FirstWord(reply) > static_cast<std::int32_t>(reply.size()))
      HangUp();
  }
  static std::int32_t FirstWord(const std::string& bytes) {
    std::int32_t word = 0;
    std::memcpy(&word, bytes.data(), sizeof word);
    return word;
  }
  void Open() {
    if (replies_ == -1) replies_ = open(replies_name_.c_str(), O_RDWR | O_CLOEXEC);
  }
  void HangUp() {
    if (replies_ != -1) close(std::exchange(replies_, -1));
  }

  const std::string requests_name_, replies_name_;
  const Answer answer_;
  const int wake_ = eventfd(0, EFD_CLOEXEC);
  int requests_ = -1, replies_ = -1;
  std::mutex mutex_;
  std::thread thread_;
};

#endif
