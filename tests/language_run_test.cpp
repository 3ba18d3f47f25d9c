// End to end: blocks of real Python that the staged engine runs, in processes of its own and back in the
// process that drives it. What is left when one of the processes dies the matrix of deaths tells.

#include "support/block_run.h"

namespace {

constexpr int kException = 3001, kNoPython = 3002;

// A plain interpreter cannot load a library with sanitizers, and one in a program that has them leaks by
// design.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define NEEDS_PLAIN_PYTHON() GTEST_SKIP() << "Python is left out under sanitizers."
#else
#define NEEDS_PLAIN_PYTHON() static_cast<void>(0)
#endif

class LanguageRunTest : public BlockRunTest {
 protected:
  LanguageRunTest() : BlockRunTest("PYTHON") {}
};

TEST_F(LanguageRunTest, BlocksKeepTheirStateAndEndWithTheirCodes) {
  NEEDS_PLAIN_PYTHON();
  Start();
  EXPECT_EQ(Run("import sys\nx = 20\nprint('one', end='')"), 0);
  EXPECT_EQ(Run("raise ValueError(x)"), kException);
  EXPECT_EQ(Run("print(1"), kNoPython);
  EXPECT_EQ(Run("print('err', file=sys.stderr); sys.exit(x + 2)"), 22);
  EXPECT_EQ(Run("sys.exit()"), 0);
  EXPECT_EQ(Run("import os, threading\nsys.exit(threading.get_native_id() == os.getpid())"), 0);
  EXPECT_EQ(Run(""), 0);
  const std::string printed = Printed();
  EXPECT_TRUE(printed.starts_with("oneTraceback (most recent call last):\n  File \"<block 2>\", line 1, in "))
      << printed;
  EXPECT_NE(printed.find("    raise ValueError(x)\nValueError: 20\n"), std::string::npos) << printed;
  EXPECT_TRUE(printed.ends_with("SyntaxError: '(' was never closed\nerr\n")) << printed;
}

TEST_F(LanguageRunTest, BlocksUseTheClientInterfaceEachOnALevelOfItsOwn) {
  NEEDS_PLAIN_PYTHON();
  Start();
  EXPECT_EQ(Run("import vexaxd, sys\n"
                "hot = [case['Day'] for case in vexaxd.cases('Temp', 'Day') if case['Temp'] > 96]\n"
                "print(vexaxd.GetVariableName(3), vexaxd.GetNestDepth(), vexaxd.IsXDriven(), hot)\n"
                "def block(lines): return 'LANGUAGE PYTHON.\\n' + lines + '\\nEND LANGUAGE.'\n"
                "try: vexaxd.Submit(block('print(vexaxd.GetNestDepth()); sys.exit(5)'))\n"
                "except vexaxd.Error as error: print('code', error.code)\n"
                "print(vexaxd.GetNestDepth())"),
            0);
  EXPECT_EQ(Printed(), "Temp 1 False [28.0]\n2\ncode 5\n1\n");
  int depth = -1;
  EXPECT_EQ(Failed({GetNestDepth(&depth), depth}), "");
}

// Where a process dies in a block that it runs itself, and where it is killed between two.
TEST_F(LanguageRunTest, LanguageThatDiedIsStartedAnew) {
  NEEDS_PLAIN_PYTHON();
  Start();
  EXPECT_NE(Run("import os\nx = 1\nos.kill(os.getpid(), 9)"), 0);
  EXPECT_EQ(Run("import os, sys\ntry: x\nexcept NameError: print(os.getpid(), end='')"), 0);
  const std::string note = "PYTHON has ended, and what its blocks left there is gone.\n";
  const std::string printed = Printed();
  ASSERT_TRUE(printed.starts_with(note)) << printed;
  const pid_t language = std::stoi(printed.substr(note.size()));
  ASSERT_EQ(kill(language, SIGKILL), 0);
  ASSERT_TRUE(Comes([&] { return HasEnded(language); }));
  EXPECT_EQ(Run("print('anew')"), 0);
  EXPECT_TRUE(Printed().ends_with(note + "anew\n"));
}

TEST_F(LanguageRunTest, ExamplesShowBothWays) {
  NEEDS_PLAIN_PYTHON();
  const std::string data = std::string(" ") + kAirQuality;
  EXPECT_EQ(Output("python3 " VEXA_SOURCE_DIR "/examples/nesting.py" + data),
            "Ozone: mean 39.4867\nSolar_R: mean 187.392\nWind: mean 10.0118\nTemp: mean 77.8824\n"
            "Month: mean 6.99346\nDay: mean 15.8039\ndeepest level 3\ncodes 10 20 30\nstatus 0");
  const std::string printed = Output(VEXA_STAGED_HOME "/../examples/blocks" + data);
  EXPECT_NE(printed.find("fault: code 3001\nafter: code 0\noutput:\n  153 cases, 14 of them hot\n"),
            std::string::npos)
      << printed;
  EXPECT_TRUE(printed.ends_with("ZeroDivisionError: division by zero\n  not harmed: 14\nstatus 0"))
      << printed;
}

}  // namespace
