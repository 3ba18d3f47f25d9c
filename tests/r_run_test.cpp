// End to end: blocks of real R that the staged engine runs, each ended at a plain prompt whatever it left,
// and what is left over when one of the processes dies.

#include "support/block_run.h"

namespace {

constexpr int kBusy = 2051, kPeerClosed = 99103, kProcessNotAlive = 99107;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define NEEDS_R() GTEST_SKIP() << "R is left out under sanitizers: it cannot load a library with them."
#elif !defined(VEXA_WITH_R)
#define NEEDS_R() GTEST_SKIP() << "There was no R when this was built."
#else
#define NEEDS_R() static_cast<void>(0)
#endif

constexpr const char* kNote = "R has ended, and what its blocks left there is gone.\n";

class RRunTest : public BlockRunTest {
 protected:
  RRunTest() : BlockRunTest("R") {
    SetEnvironment("VEXATMPDIR", files.path().c_str());  // where an R that is killed leaves its folder
  }
  // Runs the block, then one that prints: that one is at a plain prompt, and finds what the block said.
  std::string SaidBy(const std::string& lines) {
    const std::size_t before = Printed().size();
    EXPECT_EQ(Run(lines), 0);
    EXPECT_EQ(Run("cat('next\n')"), 0);
    return Printed().substr(before);
  }
  pid_t ProcessOfR() { return std::stoi(SaidBy("cat(Sys.getpid(), '')")); }
};

TEST_F(RRunTest, BlockReadsTheDictionaryAndTheCases) {
  NEEDS_R();
  Start();
  EXPECT_EQ(SaidBy("with(vexa.dictionary(), cat(name[4], type[7], format[3], ''))\n"
                   "d <- vexa.data()\n"
                   "cat(dim(d), sum(d$Temp), sum(is.na(d$Ozone)), nchar(d$MonthName[1]), '')\n"
                   "cat(sum(is.na(vexa.data('Ozone', user.missing = TRUE)$Ozone)), '')"),
            "Temp 9 F5.1 153 7 11916 40 3 37 next\n");
}

TEST_F(RRunTest, BlocksKeepTheirState) {
  NEEDS_R();
  Start();
  EXPECT_EQ(Run("x <- 20\noptions(prompt = '$ ', continue = '... ')"), 0);
  EXPECT_EQ(SaidBy("cat(x +\n  1, '')"), "21 next\n");
  EXPECT_EQ(SaidBy(""), "next\n");
}

TEST_F(RRunTest, EveryBlockEndsAtAPlainPrompt) {
  NEEDS_R();
  Start();
  const struct {
    const char* name;
    std::string block;
    const char* said;
  } cases[] = {
      {"a failing line", "stop('oops')\ncat('on ')", "Error: oops\non next\n"},
      {"a failing call",
       "r <- tryCatch(GetVariableName(99), vexaError = function(e) cat(e$code, ''))\nGetVariableName(99)",
       "10 Error: GetVariableName: an index is out of range, or there is no case in hand (10): "
       "variable 99: the dataset has 7, from 0\nnext\n"},
      {"an expression that END closes", "y <- 1 +", "Error: object 'END' not found\nnext\n"},
      {"a brace", "f <- function() {", "Error: the block ends within an expression\nnext\n"},
      {"a text", "y <- 'a", "Error: the block ends within an expression\nnext\n"},
      {"a browser", "browser()\ny <- 3", "Called from: top level \nnext\n"},
      {"a browser and a brace", "g <- function() browser()\ng()\ng(\n",
       "Called from: g()\nError: the block ends within an expression\nnext\n"},
      {"texts that look like prompts", "cat('> ')\nwrite('+ ', '')\nmessage('Browse[1]> ')",
       "> + \nBrowse[1]> \nnext\n"},
      {"a program that prints a prompt", "system('printf \"> \"; cat')", "next\n"},
      {"a question", "readline('Why? ')",
       "Error in readline(\"Why? \") : nobody is there to answer \"Why? \"\nnext\n"},
      {"a long line", "cat(nchar('" + std::string(200000, 'x') + "'), '')", "200000 next\n"},
      {"a long line of blanks", std::string(9000, ' '), "next\n"},
      {"output in two bytes", "cat('äöü ')", "äöü next\n"},
  };
  for (const auto& c : cases) EXPECT_EQ(SaidBy(c.block), c.said) << c.name;
}

TEST_F(RRunTest, OutputKeepsItsOrder) {
  NEEDS_R();
  Start();
  EXPECT_EQ(SaidBy("cat('one '); PostVexaOutput('two '); cat('three ')"), "one two three next\n");
}

TEST_F(RRunTest, OtherLanguagesRunWithinABlockAndRDoesNot) {
  NEEDS_R();
  Start();
  EXPECT_EQ(SaidBy("run <- function(l, b) Submit(c(paste0('LANGUAGE ', l, '.'), b, 'END LANGUAGE.'))\n"
                   "run('PYTHON', 'print(2)')\n"
                   "tryCatch(run('R', '1'), vexaError = function(e) cat(e$code, ''))"),
            "2\n" + std::to_string(kBusy) + " next\n");
}

TEST_F(RRunTest, RThatHasEndedIsStartedAnew) {
  NEEDS_R();
  Start();
  EXPECT_EQ(Run("tools::pskill(Sys.getpid(), 9)"), kProcessNotAlive);
  EXPECT_EQ(SaidBy("exists('x')"), std::string(kNote) + "[1] FALSE\nnext\n");
  EXPECT_EQ(Run("q()"), kProcessNotAlive);
  const pid_t process = std::stoi(SaidBy("cat(Sys.getpid(), '')").substr(std::strlen(kNote)));
  ASSERT_EQ(kill(process, SIGKILL), 0);
  ASSERT_TRUE(Comes([&] { return HasEnded(process); }));
  EXPECT_EQ(SaidBy("1"), std::string(kNote) + "[1] 1\nnext\n");
  EXPECT_EQ(Run("tools::pskill(Sys.getpid(), 9)"), kProcessNotAlive);  // and the session ends without it
}

// It is not in the way of anybody, and keeps what its blocks left there.
TEST_F(RRunTest, RThatCallsHearsOfTheEndOfTheBlockAroundItAndLives) {
  NEEDS_R();
  Start();
  const std::string outer =
      "LANGUAGE PYTHON.\nimport os, vexaxd\n"
      "vexaxd.Submit('LANGUAGE R.\\nx <- Sys.getpid(); tools::pskill(%d, 9)\\nrepeat GetVariableCount()\\n"
      "END LANGUAGE.' % os.getpid())\nEND LANGUAGE.\n";
  EXPECT_NE(Submit(outer.c_str(), static_cast<int>(outer.size())), 0);
  EXPECT_EQ(SaidBy("cat(x == Sys.getpid(), '')"), "TRUE next\n");
}

// Whether R waits for a line or runs one that would take for ever, which nothing can interrupt.
TEST_F(RRunTest, EngineThatDiesTakesRAlong) {
  NEEDS_R();
  SetEnvironment("TMPDIR", files.path().c_str());
  for (const char* line : {"tools::pskill(%d, 9)", "suspendInterrupts({tools::pskill(%d, 9); repeat {}})"}) {
    Start();
    const pid_t r = ProcessOfR();
    const std::string engine = ReadFile("/proc/" + std::to_string(r) + "/stat");
    const int parent = std::stoi(engine.substr(engine.rfind(')') + 4));
    char text[100];
    std::snprintf(text, sizeof text, line, parent);
    EXPECT_EQ(Run(text), kPeerClosed);
    EXPECT_TRUE(Comes([&] { return HasEnded(r); })) << line;
    EXPECT_EQ(files.Entries(), std::vector<std::string>()) << "its own directory: " << line;
  }
  own_fifos = 2;  // those of this process go with it
}

TEST_F(RRunTest, ExampleGivesTheCoefficientsThatRGives) {
  NEEDS_R();
  const std::string script =
      files.Write("lm.R",
                  "d <- read.csv(commandArgs(TRUE))\n"
                  "d <- within(d, { Ozone[Ozone >= 120] <- NA; Solar_R[Solar_R <= 8 | Solar_R == 334] <- NA\n"
                  "                 Wind[Wind == 1.7] <- NA })\n"
                  "fit <- coef(lm(Ozone ~ Solar_R + Wind + Temp, d))\n"
                  "cat('105 of 153 days\\n', sprintf('%s: %.10g\\n', names(fit), fit), sep = '')\n");
  const std::string example =
      Output(std::string("python3 " VEXA_SOURCE_DIR "/examples/regression.py ") + kAirQuality);
  EXPECT_EQ(example, Output("Rscript " + script + " " + kAirQuality));
  EXPECT_NE(example.find("\nTemp: 1.745081998\n"), std::string::npos) << example;
}

}  // namespace
