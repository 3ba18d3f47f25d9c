#include <sys/syscall.h>

#include "XCmdArgument.h"
#include "child_process.h"
#include "msleep.h"
#include "starter.h"
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
  arguments.pushArgument("e", true);
  EXPECT_STREQ(arguments.cmdline(), " a c d e");
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

// What a process finds that another one started, and that waits for `ready` before it looks.
char Found(const std::string& id, bool has_descriptor, bool starter_stays) {
  int told[2], alive[2];
  EXPECT_EQ(Failed({pipe(told), pipe(alive)}), "");
  const pid_t starter = Fork([&] {
    const pid_t self = getpid();
    const pid_t started = Fork([&] {
      alarm(10);
      while (!starter_stays && getppid() == self) usleep(1000);
      Starter mine = StarterOf(getpid(), id.empty() ? "7fffffff" : id.c_str());
      if (!has_descriptor && mine.end != -1) close(std::exchange(mine.end, -1));
      const bool gone = StarterGone(&mine);
      close(alive[1]);  // may go now
      AwaitStarterEnd(&mine);
      const char found = gone ? 'g' : 'e';
      return write(told[1], &found, 1);
    });
    close(alive[1]);
    char byte;
    if (starter_stays && started > 0 && read(alive[0], &byte, 1) == 0) return;
  });
  for (const int end : {told[1], alive[0], alive[1]}) close(end);
  char found = '-';
  EXPECT_EQ(read(told[0], &found, 1), 1);
  close(told[0]);
  int status = 0;
  waitpid(starter, &status, 0);
  return found;
}

TEST(ItsStarter, IsSeenToEndAndIsNotTakenForWhoTakesItsPlace) {
  const std::string driver = IdOf(getpid());
  for (const bool has_descriptor : {true, false}) {
    for (const std::string& id : {driver, std::string(), std::string("0")})
      EXPECT_EQ(Found(id, has_descriptor, true), 'e') << id;
    EXPECT_EQ(Found(driver, has_descriptor, false), 'g');
  }
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
