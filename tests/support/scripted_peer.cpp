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
  return steps_.emplace_back(Step{std::move(request), "", false});
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
  const std::string frame = ReadFrame(requests_, kDeadline);
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
  if ((!step.answer.empty() || step.hangs_up) && !OpenReplies(kDeadline)) return HangUp("No reader");
  if (!WriteAll(replies_, step.answer, kDeadline)) return HangUp("The client does not read on");
  if (step.hangs_up) HangUp();
}

bool ScriptedPeer::OpenReplies(int tries) {
  for (; replies_ == -1 && tries > 0; --tries) {
    replies_ = open(replies_name_.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (replies_ == -1) poll(nullptr, 0, 1);
  }
  return replies_ != -1;
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
