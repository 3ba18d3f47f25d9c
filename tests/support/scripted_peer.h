// A backend that plays a script over real fifos, on a thread of its own:
//
//   peer.Expects(9, Longs{3}).Answers(Strings{"age"});
//   EXPECT_STREQ(GetVariableName(3, &error), "age");
//
// A request has to come in its turn and to be equal in every slot; slots that are not named have to be empty.
// No wait is without a deadline: at a fault the peer hangs up for good, which ends the client's wait, and the
// test fails.
#ifndef SUPPORT_SCRIPTED_PEER_H
#define SUPPORT_SCRIPTED_PEER_H

#include "CleXDErrorCode.h"
#include "support/sandbox.h"
#include "support/wire.h"

class ScriptedPeer {
 public:
  // What is said to one request, before the call that sends it. With nothing said, the request goes one way.
  struct Step {
    template <class... Slots>
    Step& Answers(const Slots&... slots) {
      const std::lock_guard lock(mutex);
      answer = Encode(MakeImage(request.action, slots...));
      return *this;
    }
    // Closes both fifos behind what is sent.
    void HangsUp() {
      const std::lock_guard lock(mutex);
      hangs_up = true;
    }

    Image request;
    std::string answer;
    bool hangs_up = false;
    static inline std::mutex mutex;  // of all steps and their queues
  };

  // Makes `prefix`xdapi and answers on `prefix`xdapiresult, which the client makes.
  explicit ScriptedPeer(const std::string& prefix);
  ~ScriptedPeer() { Finish(); }
  Step& Expects(Image request);
  template <class... Slots>
  Step& Expects(std::int32_t action, const Slots&... slots) {
    return Expects(MakeImage(action, slots...));
  }
  // The end of the script: nothing may be left to expect or to read.
  void Finish();

 private:
  void Run();
  void Serve();
  bool OpenReplies(int tries);
  void HangUp(const std::string& fault = "");

  const std::string requests_name_, replies_name_;
  int requests_ = -1, replies_ = -1;
  std::deque<Step> steps_;
  std::atomic<bool> finishing_ = false;
  std::thread thread_;
};

// Where the client of this process, in the language of that name, looks for its backend.
std::string PeerPrefix(const Sandbox& sandbox, const std::string& x_name = "UNNAMEDX");
// Resets all session state and the process-wide objects.
void EndSession();

constexpr int kDown = CleXDErrorCode::kBackendNotRunning;
constexpr int kRefused = 77;  // a code of the peer's own

// A session with a scripted backend that is taken to run. Afterwards no descriptor, file or child is left.
class ClientTest : public testing::Test {
 protected:
  ClientTest();
  ~ClientTest() override;

  const int descriptors_before_ = OpenDescriptors();
  Sandbox sandbox;
  ScriptedPeer peer;
  int error = -1;
};

#endif
