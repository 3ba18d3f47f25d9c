// A backend on a thread of its own that answers each request with what a function makes of it, in no order
// known ahead. An answer that is shorter than its first word says, or empty, ends with a hang-up, which lasts
// until the next call.
#ifndef SUPPORT_ANSWERING_PEER_H
#define SUPPORT_ANSWERING_PEER_H

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "support/wire.h"

class AnsweringPeer {
 public:
  using Answer = std::function<std::string(const std::string& request)>;

  // Makes `prefix`xdapi and answers on `prefix`xdapiresult, which the client makes.
  AnsweringPeer(const std::string& prefix, Answer answer)
      : requests_name_(prefix + "xdapi"), replies_name_(prefix + "xdapiresult"), answer_(std::move(answer)) {
    mkfifo(requests_name_.c_str(), 0600);
    signal(SIGPIPE, SIG_IGN);
    // Both ends: the client comes and goes.
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
    Open(1);
    gone_ = false;
  }
  // Behind the last call of a session.
  void End() {
    const std::lock_guard lock(mutex_);
    HangUp();
  }

 private:
  static constexpr int kPatience = 1000;  // milliseconds, for a client that is in the middle of a frame

  void Run() {
    pollfd looks[] = {{requests_, POLLIN, 0}, {wake_, POLLIN, 0}};
    while (poll(looks, 2, -1) > 0 && looks[1].revents == 0) {
      const std::lock_guard lock(mutex_);
      if (poll(looks, 1, 0) == 0) continue;  // it was dropped meanwhile
      const std::string request = ReadFrame(requests_, kPatience);
      if (IsWhole(request) && !gone_) Reply(answer_(request));
    }
  }
  void Reply(const std::string& reply) {
    Open(kPatience);
    const bool sent = replies_ == -1 || WriteAll(replies_, reply, kPatience);
    if (!sent || !IsWhole(reply)) HangUp();
  }
  // A client comes to its end behind its request. One that came later than a hang-up would wait for the next
  // writer.
  void Open(int tries) {
    for (; replies_ == -1 && tries > 0; --tries) {
      replies_ = open(replies_name_.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
      if (replies_ == -1 && tries > 1) poll(nullptr, 0, 1);
    }
  }
  void HangUp() {
    if (replies_ != -1) close(std::exchange(replies_, -1));
    gone_ = true;
  }

  const std::string requests_name_, replies_name_;
  const Answer answer_;
  const int wake_ = eventfd(0, EFD_CLOEXEC);
  int requests_ = -1, replies_ = -1;
  bool gone_ = false;
  std::mutex mutex_;
  std::thread thread_;
};

#endif
