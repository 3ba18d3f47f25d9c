#include <gtest/gtest.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>

#include "XCmdArgument.h"
#include "child_process.h"
#include "msleep.h"
#include "support/sandbox.h"

namespace {
int group_signals = 0;
pid_t bystander = -1;  // a child of ours that a signal to a group would end
}  // namespace

// In place of the system's: to -1 a signal would end every process of the user, and a test of the guard
// against that must not do so when the guard is broken. Such a signal is counted and reaches the bystander
// alone.
extern "C" int kill(pid_t target, int signal) noexcept {
  if (target <= 0) ++group_signals, target = bystander;
  return target > 0 ? static_cast<int>(syscall(SYS_kill, target, signal)) : 0;
}

namespace {

using Texts = std::vector<std::string>;

Texts VectorOf(XCmdArgument& arguments) {
  Texts texts;
  for (char** each = arguments.argv(); each != nullptr && *each != nullptr; ++each) texts.push_back(*each);
  EXPECT_EQ(arguments.argc(), static_cast<int>(texts.size()));
  return texts;
}

TEST(Arguments, AreCutAtEachBlank) {
  for (const auto& [text, pieces] : {std::pair<const char*, Texts>{"", {}},
                                     {"run", {"run"}},
                                     {"a  b", {"a", "", "b"}},
                                     {" a ", {"", "a"}}}) {
    XCmdArgument arguments{std::string(text)};
    EXPECT_EQ(VectorOf(arguments), pieces) << text;
  }
}

TEST(Arguments, AreRebuiltOnlyAfterAChange) {
  char first[] = "a", second[] = "b";
  char* given[] = {first, second};
  XCmdArgument arguments(2, given);
  EXPECT_EQ(VectorOf(arguments), Texts()) << "copied arguments are no change";
  arguments.modifyArgument(2, "nowhere");
  EXPECT_EQ(arguments.cmdline(), nullptr);
  arguments.modifyArgument(1, "c");
  EXPECT_STREQ(arguments.cmdline(), " a c");
  EXPECT_EQ(VectorOf(arguments), Texts()) << "the text form has taken the flag";
  arguments.pushArgument("d", true);
  EXPECT_EQ(VectorOf(arguments), (Texts{"a", "c", "d"}));
  EXPECT_STREQ(arguments.cmdline(), " a c") << "and now the vector has";
  EXPECT_STREQ(arguments.argumentAt(2), "d");
  EXPECT_EQ(arguments.argumentAt(-1), nullptr);
  EXPECT_EQ(arguments.argumentAt(3), nullptr);
}

template <class Body>
pid_t Fork(Body body) {
  const pid_t child = fork();
  if (child == 0) body(), _exit(0);
  return child;
}

// Waits for the end of a child that is still to be reaped.
void AwaitEnd(pid_t child) {
  siginfo_t ended;
  ASSERT_EQ(waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT), 0);
}

TEST(Child, SaysWhyItsProgramDidNotStart) {
  char* const nothing[] = {nullptr};
  int status = 0;
  testing::internal::CaptureStdout();
  EXPECT_GT(waitpid(StartChild("/missing/program", nothing, nothing), &status, 0), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "No such file or directory\n");
  EXPECT_EQ(WEXITSTATUS(status), 255);
}

TEST(Child, IsDeadOnceItHasEnded) {
  const pid_t child = Fork([] {});
  AwaitEnd(child);
  EXPECT_EQ(kill(child, 0), 0) << "nobody has waited for it";
  EXPECT_FALSE(ChildAlive(child));
  EXPECT_FALSE(HasChildren());
}

TEST(Child, IsEndedAndLeavesTheStatusOfAnother) {
  const pid_t other = Fork([] { _exit(5); }), child = Fork(pause);
  EXPECT_TRUE(ChildAlive(child));
  AwaitEnd(other);
  KillChild(child);
  EXPECT_FALSE(ChildAlive(child));
  int status = 0;
  EXPECT_EQ(waitpid(other, &status, 0), other);
  EXPECT_EQ(WEXITSTATUS(status), 5);
  EXPECT_FALSE(HasChildren());
}

TEST(Child, OfTheParentLivesInAForkAndIsNotItsToKill) {
  const pid_t child = Fork(pause);
  int status = 0;
  SetBackendProcess(child);
  const pid_t fork_of_us = Fork([&] {
    const bool lived = ChildAlive(child) && !BackendHasEnded();
    KillChild(child);
    _exit(lived && ChildAlive(child) ? 7 : 1);
  });
  EXPECT_EQ(waitpid(fork_of_us, &status, 0), fork_of_us);
  EXPECT_EQ(WEXITSTATUS(status), 7);
  KillChild(child);
  EXPECT_TRUE(BackendHasEnded());
  SetBackendProcess(-1);
}

TEST(Child, NobodyIsSignalledWhereThereIsNone) {
  bystander = Fork(pause);
  for (const pid_t none : {-1, 0}) KillChild(none);
  EXPECT_EQ(group_signals, 0);
  EXPECT_TRUE(ChildAlive(bystander));
  KillChild(bystander);
}

TEST(Pause, LastsAndEndsAtASignal) {
  const auto start = std::chrono::steady_clock::now();
  msleep(1020);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1020));
  signal(SIGALRM, [](int) {});
  ualarm(10000, 10000);
  msleep(4294967295u);
  ualarm(0, 0);
}

}  // namespace
