// End to end: runs of Java extensions that the staged engine starts, in a real Java, and what is left of them
// however they end.

#include "support/block_run.h"

namespace {

namespace fs = std::filesystem;

constexpr int kBadCommand = 2046, kNotDone = 2050, kJavaNotAlive = 99123;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define NEEDS_JAVA() GTEST_SKIP() << "Java is left out under sanitizers: it cannot load a library with them."
#elif !defined(VEXA_WITH_JAVA)
#define NEEDS_JAVA() GTEST_SKIP() << "There was no JDK when this was built."
#else
#define NEEDS_JAVA() static_cast<void>(0)
#endif

class JavaRunTest : public BlockRunTest {
 protected:
  JavaRunTest() : BlockRunTest("JAVAEXTENSION") {}
  int Play(const std::string& lines) const { return Run(kPlayed + lines); }
  static inline const std::string kPlayed =
      "PlayedExtension /JARS=\"" VEXA_STAGED_HOME "/../tests/PlayedExtension.jar\"\n";
};

TEST_F(JavaRunTest, ExampleCountsWords) {
  NEEDS_JAVA();
  EXPECT_EQ(Output("python3 " VEXA_SOURCE_DIR "/examples/wordcount.py " VEXA_SOURCE_DIR
                   "/examples/data/remarks.csv Remark"),
            "   6  wind\n   4  the\n   3  clear\n   3  light\n   3  rain\n"
            "44 words, 23 of them different, in 7 cases\nstatus 0");
}

TEST_F(JavaRunTest, ExtensionGetsItsLinesAndTheClientInterface) {
  NEEDS_JAVA();
  Start();
  EXPECT_EQ(Play("tell\nä" + std::string(100000, ' ')), 0);
  EXPECT_EQ(Play("leave a thread"), 0);
  EXPECT_EQ(Printed(), "PlayedExtension 100008 ä\non Temp of 153");
}

TEST_F(JavaRunTest, JarsAreFoundInDirectories) {
  NEEDS_JAVA();
  Start();
  fs::create_directories(files.path() + "/zwölf Gläser");
  fs::copy(VEXA_STAGED_HOME "/../tests/PlayedExtension.jar", files.path() + "/zwölf Gläser");
  EXPECT_EQ(Run("PlayedExtension /PATH=\"/none:" + files.path() + "/zwölf Gläser\"\ntell\nx"), 0);
}

TEST_F(JavaRunTest, FailuresHaveACodeAndAReasonAndHarmNobody) {
  NEEDS_JAVA();
  Start();
  const struct {
    const char* name;
    std::string block;
    int code;
    const char* reason;
  } cases[] = {
      {"throws", kPlayed + "fail", kNotDone, "IllegalStateException: on purpose\n\tat PlayedExtension."},
      {"gets a code", kPlayed + "ask too much", kNotDone,
       "VexaException: GetVariableName: an index is out of range"},
      {"leaves", kPlayed + "exit", kNotDone, ""},
      {"is killed", kPlayed + "die", kNotDone, ""},
      {"is not there", "Nowhere\nfail", kJavaNotAlive, "ClassNotFoundException: Nowhere"},
      {"is none", "java.lang.String\nfail", kJavaNotAlive, "java.lang.String does not implement"},
      {"has no name", "", kBadCommand, ""},
      {"has two places", "A /PATH=b /JARS=c", kBadCommand, ""},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Run(c.block), c.code) << c.name;
    EXPECT_NE(Printed().find(c.reason), std::string::npos) << c.name << ": " << Printed();
  }
  EXPECT_EQ(Play("tell\nafterwards"), 0);
  EXPECT_EQ(fifos.Entries().size(), 2U) << "the session's own";
}

TEST_F(JavaRunTest, RunsWithinARunHaveALevelOfTheirOwn) {
  NEEDS_JAVA();
  Start();
  EXPECT_EQ(Play("nest\n" + kPlayed + "nest"), 0) << Printed();
  EXPECT_NE(Printed().find("on purpose"), std::string::npos);
  EXPECT_TRUE(Printed().ends_with("inner 2050\nouter goes on with 153\nouter goes on with 153\n"))
      << Printed();
}

}  // namespace
