// End to end: blocks within blocks of other languages, and one of the processes around the innermost dies.
// Whoever waits is answered, and whoever nobody waits for any more ends. Deeper ones, and Java, are in the
// matrix of deaths.

#include "support/block_run.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || !defined(VEXA_WITH_R)
#define NEEDS_LANGUAGES() GTEST_SKIP() << "No languages: there are sanitizers, or there was no R."
#else
#define NEEDS_LANGUAGES() static_cast<void>(0)
#endif

struct Cell {
  std::vector<std::string> languages;  // the outermost first
  std::size_t dies;                    // the process of which of them
  bool shared = false;                 // the innermost block is in the process of an outer one
};

std::ostream& operator<<(std::ostream& stream, const Cell& cell) {
  for (const std::string& language : cell.languages) stream << language << ' ';
  return stream << "dies " << cell.dies;
}

class EngineDeathsTest : public BlockRunTest {
 protected:
  EngineDeathsTest() : BlockRunTest("PYTHON") { SetEnvironment("VEXATMPDIR", files.path().c_str()); }

  std::string File(const char* what, std::size_t level) const {
    return files.path() + "/" + what + std::to_string(level);
  }
  static std::string Block(const std::string& language, const std::string& lines) {
    return "LANGUAGE " + language + ".\n" + lines + "\nEND LANGUAGE.\n";
  }
  // Notes its process; then runs the block of the next level and notes the code, or waits for its end.
  std::string Lines(const std::string& language, std::size_t level, bool innermost) const {
    const std::string note = File("process", level), inner = File("block", level + 1),
                      code = File("code", level);
    if (language == "PYTHON") {
      const std::string does = innermost ? "time.sleep(600)" : "vexaxd.Submit(open('" + inner + "').read())";
      return "import os, time, vexaxd\nopen('" + note + "', 'w').write('%d\\n' % os.getpid())\ntry: " + does +
             "\nexcept vexaxd.Error as e: open('" + code + "', 'w').write(str(e.code))";
    }
    const std::string does = innermost ? "Sys.sleep(600)" : "Submit(readLines('" + inner + "'))";
    return "cat(Sys.getpid(), fill = TRUE, file = '" + note + "')\ntryCatch(" + does +
           ", vexaError = function(e) cat(e$code, file = '" + code + "'))";
  }
  static int Submitted(const std::string& text) {
    return Submit(text.c_str(), static_cast<int>(text.size()));
  }
  // The process that noted itself; waits for that.
  pid_t ProcessOf(std::size_t level) const {
    EXPECT_TRUE(Comes([&] { return ReadFile(File("process", level)).ends_with("\n"); })) << level;
    const pid_t process = std::atoi(ReadFile(File("process", level)).c_str());
    EXPECT_GT(process, 1);
    return process;
  }
};

class OuterDeathTest : public EngineDeathsTest, public testing::WithParamInterface<Cell> {};

TEST_P(OuterDeathTest, AnswersAllThatWait) {
  NEEDS_LANGUAGES();
  const auto& [languages, dies, shared] = GetParam();
  const std::size_t innermost = languages.size() - 1;
  for (std::size_t i = 1; i <= innermost; ++i) {
    files.Write("block" + std::to_string(i), Block(languages[i], Lines(languages[i], i, i == innermost)));
  }
  Start();
  Clock::time_point death;
  std::jthread killer([&, victim = dies] {
    if (ProcessOf(innermost) <= 1) return;
    const pid_t process = ProcessOf(victim);
    death = Clock::now();
    if (process > 1) kill(process, SIGKILL);
  });
  const int code = Submitted(Block(languages[0], Lines(languages[0], 0, false)));
  EXPECT_LT(Clock::now() - death, 1500ms);
  killer.join();
  EXPECT_EQ(code == 0, dies > 0 && !shared) << code;
  for (std::size_t i = 0; i <= innermost; ++i) {
    const bool waits = i != dies && i != innermost;
    EXPECT_EQ(waits && !shared, !ReadFile(File("code", i)).empty()) << i;
    EXPECT_TRUE(waits || Comes([&] { return HasEnded(ProcessOf(i)); })) << i;
  }
  EXPECT_EQ(Submitted(Block("PYTHON", "print('on')")), 0);
  EXPECT_EQ(Submitted(Block("R", "cat('on\n')")), 0);
}

INSTANTIATE_TEST_SUITE_P(Languages, OuterDeathTest,
                         testing::Values(Cell{{"PYTHON", "R"}, 0}, Cell{{"R", "PYTHON"}, 0},
                                         Cell{{"PYTHON", "R", "PYTHON"}, 1, true}));

// It is not in the way of anybody, and keeps what its blocks left there.
TEST_F(EngineDeathsTest, InnerRunThatCallsHearsOfItAndLives) {
  NEEDS_LANGUAGES();
  files.Write("block1", Block("R", "x <- 5\ncat(Sys.getpid(), fill = TRUE, file = '" + File("process", 1) +
                                       "')\nrepeat GetVariableCount()"));
  Start();
  std::jthread killer([&] {
    if (ProcessOf(1) > 1 && ProcessOf(0) > 1) kill(ProcessOf(0), SIGKILL);
  });
  EXPECT_NE(Submitted(Block("PYTHON", Lines("PYTHON", 0, false))), 0);
  EXPECT_EQ(Submitted(Block("R", "cat(x, Sys.getpid(), '')")), 0);
  EXPECT_TRUE(Printed().ends_with("5 " + std::to_string(ProcessOf(1)) + " ")) << Printed();
}

// The innermost block is back in the driver, which cannot be ended: what it asks for is refused.
TEST_F(EngineDeathsTest, DriverThatHostsTheInnermostBlockGoesOn) {
  NEEDS_LANGUAGES();
  files.Write("block1", Block("PYTHON", "open('" + File("process", 1) + "', 'w').write('in')\ncalls()"));
  files.Write("block0", Block("R", Lines("R", 0, false)));
  const std::string script = R"(import os, signal, sys, threading, time
sys.path.insert(0, os.environ["VEXA_HOME"] + "/lib/python")
import vexaxd
vexaxd.SetXNameAndSHome("PYTHON", os.environ["VEXA_HOME"])
vexaxd.StartVexa()
def calls():
    while True: vexaxd.GetVariableCount()
def kill():
    while not os.path.exists(sys.argv[1] + "/process1"): time.sleep(0.01)
    os.kill(int(open(sys.argv[1] + "/process0").read()), signal.SIGKILL)
def run(block):
    try: vexaxd.Submit(block)
    except vexaxd.Error as error: return error.code
    return 0
threading.Thread(target=kill).start()
print(run(open(sys.argv[1] + "/block0").read()))
print(run("LANGUAGE PYTHON.\nprint('on')\nEND LANGUAGE.\n"), vexaxd.GetNestDepth())
)";
  const std::string output =
      Output("exec python3 " + files.Write("script.py", script) + " " + files.path() + " 2>/dev/null");
  EXPECT_TRUE(output.starts_with("99107\n0 0\n") && output.ends_with("status 0")) << output;
}

}  // namespace
