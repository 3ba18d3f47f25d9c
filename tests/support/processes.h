// Other processes in a test. Everything has a deadline, so that a wait that nothing ends is a failed test and
// never a hung one.
#ifndef SUPPORT_PROCESSES_H
#define SUPPORT_PROCESSES_H

#include "support/sandbox.h"

using Clock = std::chrono::steady_clock;

// A test of this kind ends in time.
struct Deadline : testing::Test {
  static constexpr unsigned int kSeconds = 40;
  Deadline() { alarm(kSeconds); }
  ~Deadline() override { alarm(0); }
};

// One about processes, each with the default handling of SIGPIPE. Afterwards nothing is left over.
class ProcessTest : public Deadline {
 protected:
  ProcessTest() { signal(SIGPIPE, SIG_DFL); }
  ~ProcessTest() override {
    EXPECT_EQ(sandbox.Entries(), std::vector<std::string>());
    EXPECT_EQ(OpenDescriptors(), descriptors_before);
    EXPECT_FALSE(HasChildren());
  }

  const int descriptors_before = OpenDescriptors();
  Sandbox sandbox;  // for the fifos
  Sandbox notes;    // for all else
};

// Whether that came true, looked at again and again, within half of a test's time.
template <class Condition>
bool Await(Condition condition) {
  const auto end = Clock::now() + std::chrono::seconds(Deadline::kSeconds / 2);
  while (!condition() && Clock::now() < end) poll(nullptr, 0, 1);
  return condition();
}
inline bool Appears(const std::string& file) {
  return Await([&] { return access(file.c_str(), F_OK) == 0; });
}

// A child whose exit status is what `body` returns. Killed when its owner goes.
class Process {
 public:
  explicit Process(const std::function<int()>& body) : id_(fork()) {
    if (id_ != 0) return;
    alarm(Deadline::kSeconds / 2);
    const int status = body();
    std::fflush(nullptr);
    _exit(testing::Test::HasFailure() ? 1 : status);
  }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  ~Process() { Kill(); }

  // Waits for its end: the exit status, or the signal that ended it, negative.
  int Result() {
    int status = 0;
    EXPECT_EQ(waitpid(id_, &status, 0), id_);
    id_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }
  void Kill() {
    if (id_ > 0) kill(id_, SIGKILL), Result();
  }

 private:
  pid_t id_;
};

#endif
