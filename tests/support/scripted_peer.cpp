#include "support/scripted_peer.h"

#include "dxglobals.h"
#include "session.h"
#include "vexaxd_p.h"

namespace {

constexpr int kDeadline = 5000;         // milliseconds, for what a working client does at once
constexpr unsigned int kLifetime = 40;  // seconds; for a client that waits where no peer can see it

bool Ready(int fd, short event, int milliseconds) {
  pollfd look = {fd, event, 0};
  return poll(&look, 1, milliseconds) > 0 && (look.revents & event) != 0;
}

// As much as comes in time, up to the end of the frame.
std::string ReadFrame(int fd) {
  std::string frame;
  for (std::size_t wanted = sizeof(std::int32_t); frame.size() < wanted;) {
    char chunk[65536];
    const ssize_t got = Ready(fd, POLLIN, kDeadline) ? read(fd, chunk, sizeof chunk) : 0;
    if (got <= 0) break;
    frame.append(chunk, static_cast<std::size_t>(got));
    std::int32_t length = 0;
    if (frame.size() >= sizeof length) std::memcpy(&length, frame.data(), sizeof length);
    if (length > 0) wanted = static_cast<std::size_t>(length);
  }
  return frame;
}

}  // namespace

ScriptedPeer::ScriptedPeer(const std::string& prefix)
    : requests_name_(prefix + "xdapi"), replies_name_(prefix + "xdapiresult") {
  signal(SIGPIPE, SIG_IGN);  // a write to an end that is gone is a code here, for either side
  EXPECT_EQ(mkfifo(requests_name_.c_str(), 0600), 0);
  requests_ = open(requests_name_.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  thread_ = std::thread(&ScriptedPeer::Run, this);
}

ScriptedPeer::Step& ScriptedPeer::Expects(Image request) {
  const std::lock_guard lock(Step::mutex);
  return steps_.emplace_back(Step{std::move(request), {}, false});
}

void ScriptedPeer::Finish() {
  if (!thread_.joinable()) return;
  finishing_ = true;
  thread_.join();
  for (const Step& step : steps_) ADD_FAILURE() << "The peer never saw " << step.request;
  HangUp();
}

void ScriptedPeer::Run() {
  for (int silence = 0;; ++silence) {
    const bool last_look = finishing_;
    if (requests_ != -1 && Ready(requests_, POLLIN, 1)) {
      Serve();
      silence = 0;
    } else if (last_look) {
      return;
    } else if (requests_ == -1) {
      // A client that comes only now must not wait for a writer.
      if (OpenReplies(1)) close(std::exchange(replies_, -1));
      poll(nullptr, 0, 1);
    } else if (silence > kDeadline) {
      HangUp("The client keeps silent");
    } else {
      poll(nullptr, 0, 1);  // a client that has closed its end makes the look return at once
    }
  }
}

void ScriptedPeer::Serve() {
  const std::string frame = ReadFrame(requests_);
  const auto request = Decode(frame);
  if (!request) return HangUp("The request is no image: " + testing::PrintToString(frame));
  Step step;
  {
    const std::lock_guard lock(Step::mutex);
    if (steps_.empty()) return HangUp("No request was expected: " + testing::PrintToString(*request));
    step = std::move(steps_.front());
    steps_.pop_front();
  }
  EXPECT_EQ(*request, step.request);
  if ((!step.pieces.empty() || step.hangs_up) && !OpenReplies(kDeadline)) return HangUp("No reader");
  for (const std::string& piece : step.pieces) {
    if (!Write(piece)) return HangUp("The client does not read on");
  }
  if (step.hangs_up) HangUp();
}

bool ScriptedPeer::OpenReplies(int tries) {
  for (; replies_ == -1 && tries > 0; --tries) {
    replies_ = open(replies_name_.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (replies_ == -1) poll(nullptr, 0, 1);
  }
  return replies_ != -1;
}

bool ScriptedPeer::Write(const std::string& piece) {
  int unread = 1;
  for (int tries = kDeadline; ioctl(replies_, FIONREAD, &unread) == 0 && unread != 0; --tries) {
    if (tries == 0) return false;
    poll(nullptr, 0, 1);
  }
  for (std::size_t sent = 0; sent < piece.size();) {
    if (!Ready(replies_, POLLOUT, kDeadline)) return false;
    const ssize_t count = write(replies_, piece.data() + sent, piece.size() - sent);
    if (count <= 0) return false;
    sent += static_cast<std::size_t>(count);
  }
  return true;
}

void ScriptedPeer::HangUp(const std::string& fault) {
  if (!fault.empty()) ADD_FAILURE() << fault;
  unlink(requests_name_.c_str());
  for (int* fd : {&requests_, &replies_}) {
    if (*fd != -1) close(std::exchange(*fd, -1));
  }
}

std::string PeerPrefix(const Sandbox& sandbox, const std::string& x_name) {
  return sandbox.path() + "/" + IdOf(getpid()) + x_name + "0";
}

void EndSession() {
  ResetStaticVars();
  FinalizeDXGlobal();
}

ClientTest::ClientTest() : peer(PeerPrefix(sandbox)) {
  for (const char* name : {"VEXA_HOME", "VEXA_RUNNING"}) SetEnvironment(name, nullptr);
  SetEnvironment("VEXADXTEMP", sandbox.path().c_str());
  SetVexaRunning(true);
  alarm(kLifetime);
}

ClientTest::~ClientTest() {
  alarm(0);
  peer.Finish();
  EndSession();
  EXPECT_EQ(sandbox.Entries(), std::vector<std::string>());
  EXPECT_EQ(OpenDescriptors(), descriptors_before_);
  EXPECT_FALSE(HasChildren());
}
