// End to end: the staged home's practice engine, started by StartVexa in the real way.
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <sstream>

#include "support/sandbox.h"
#include "vexaxd_p.h"

namespace {

const std::string kAirQuality = VEXA_SOURCE_DIR "/examples/data/airquality.csv";

int StartWith(const std::string& path) { return StartVexa(("-data \"" + path + "\"").c_str()); }

class EngineTest : public testing::Test {
 protected:
  Sandbox fifos, files;
  int code = 0, format = 0, missing = 0, count = 0;

  EngineTest() {
    signal(SIGPIPE, SIG_IGN);
    SetEnvironment("VEXA_HOME", VEXA_STAGED_HOME);
    SetEnvironment("VEXADXTEMP", fifos.path().c_str());
  }
  void TearDown() override {
    StopVexa();
    EXPECT_TRUE(fifos.Entries().empty());
    EXPECT_FALSE(HasChildren());
  }
  double Number(unsigned index) {
    double value = 0;
    EXPECT_EQ(GetNumericValue(index, &value, &missing), 0);
    return value;
  }
  std::string Text(unsigned index, int width) {
    std::string text(static_cast<std::size_t>(width), '\0');
    char* place = text.data();
    EXPECT_EQ(GetStringValue(index, &place, width, &missing), 0);
    return text;
  }
  // What a program prints on the air quality data. It leaves nothing behind.
  std::string Output(const std::string& program) {
    const std::string command = "TMPDIR=" + files.path() + " " + program + " " + kAirQuality;
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    std::string output;
    for (int c; (c = std::fgetc(pipe.get())) != EOF;) output += static_cast<char>(c);
    EXPECT_TRUE(files.Entries().empty());
    return output;
  }
};

TEST_F(EngineTest, DictionaryIsWhatTheSideFileSays) {
  ASSERT_EQ(StartWith(kAirQuality), 0);
  EXPECT_STREQ(GetVariableName(1, &code), "Solar_R");
  EXPECT_STREQ(GetVariableLabel(5, &code), "Day of the month");
  EXPECT_STREQ(GetVariableFormat(2, &code), "F5.1");
  EXPECT_EQ(GetVariableMeasurementLevel(4, &code), 2);
  double low = 0, high = 0, one = 0, least = 0, most = 0;
  EXPECT_EQ(GetVEXALowHigh(&least, &most), 0);
  EXPECT_EQ(GetVarNMissingValues(1, &format, &low, &high, &one), 0);
  EXPECT_EQ(std::make_tuple(format, low, high, one), std::make_tuple(-3, least, 8.0, 334.0));
  double* values = nullptr;
  char** labels = nullptr;
  ASSERT_EQ(GetNValueLabels(4, &values, &labels, &count), 0);
  EXPECT_EQ(std::make_pair(count, values[4]), std::make_pair(5, 9.0));
  EXPECT_STREQ(labels[4], "September");
  FreeNValueLabels(values, labels, count);
  EXPECT_TRUE(GetVariableName(7, &code) == nullptr && code == 10);
}

TEST_F(EngineTest, AwkwardCsvAndDatasetFactsArriveWhole) {
  files.Write("a b.csv.vars", "weight x\nvariable NAME\n missing \"a \"\"b\" c\n");
  const char* csv = "\xEF\xBB\xBFname,x,\"y, z\"\r\n\"say \"\"hi\"\"\nall\",+1e3,\r\nplain,-2.5,nan\r\n";
  ASSERT_EQ(StartWith(files.Write("a b.csv", csv)), 0);
  EXPECT_STREQ(GetVariableName(2, &code), "y__z");
  EXPECT_STREQ(GetVariableLabel(2, &code), "y, z");
  EXPECT_STREQ(GetWeightVar(&code), "x");
  char first[9] = "", second[9] = "", third[9] = "";
  EXPECT_EQ(GetVarCMissingValues(0, &format, first, second, third), 0);
  EXPECT_EQ(std::to_string(format) + first + second, "2a \"b    c       ");
  ASSERT_EQ(MakeCaseCursor("r") + NextCase(), 0);
  EXPECT_EQ(Text(0, 12), "say \"hi\"\nall");
  EXPECT_EQ(Number(1), 1000.0);
}

TEST_F(EngineTest, WalkAgreesWithTheFile) {
  ASSERT_EQ(StartWith(kAirQuality) + MakeCaseCursor("r"), 0);
  std::istringstream lines(ReadFile(kAirQuality));
  std::string line, field;
  int cases = 0, user_missing = 0;
  for (std::getline(lines, line); std::getline(lines, line); ++cases) {
    std::istringstream fields(line);
    ASSERT_EQ(NextCase(), 0) << line;
    for (unsigned column = 0; column < 6; ++column) {
      std::getline(fields, field, ',');
      const double value = Number(column);
      user_missing += missing == 1;
      ASSERT_TRUE(field.empty() ? missing == 2 : value == std::stod(field)) << line;
    }
    std::getline(fields, field);
    ASSERT_EQ(Text(6, 9), (field + "         ").substr(0, 9));
  }
  EXPECT_EQ(std::make_pair(cases, user_missing), std::make_pair(153, 7));
  EXPECT_EQ(NextCase(), 23);
}

TEST_F(EngineTest, RefusesWhatItCannotReadWithItsOwnCodeAndCanBeTriedAgain) {
  files.Write("side.csv.vars", "variable c\n");
  EXPECT_EQ(StartWith(files.Write("ragged.csv", "a,b\n1,2\n3\n")), 2003);
  EXPECT_EQ(StartWith(files.Write("open.csv", "a,b\n1,\"2\n")), 2003);
  EXPECT_EQ(StartWith(files.path() + "/none.csv"), 2002);
  EXPECT_EQ(StartWith(files.Write("side.csv", "a,b\n1,2\n")), 2004);
  EXPECT_EQ(StartVexa("-dat x"), 2001);
  EXPECT_EQ(StartWith(kAirQuality), 0);
}

// R's: v <- airquality$Ozone; v <- v[!is.na(v) & v < 120]; length(v); mean(v); sd(v); range(v), and so on.
constexpr const char* kFigures = R"(
Ozone: 113 valid, 3 user-missing, 37 system-missing
  mean 39.48672566, standard deviation 28.89423912, min 1, max 118
)";

TEST_F(EngineTest, SummariesAgreeAndAreRight) {
  const std::string printed = Output(VEXA_STAGED_HOME "/../examples/summary");
  EXPECT_NE(printed.find(kFigures), std::string::npos) << printed;
  EXPECT_TRUE(printed.ends_with("MonthName: 153 valid, 0 user-missing, 5 distinct\n")) << printed;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "Python is left out: a plain interpreter cannot load a library with sanitizers.";
#endif
  EXPECT_EQ(Output("python3 " VEXA_SOURCE_DIR "/examples/summary.py"), printed);
}

TEST_F(EngineTest, ExamplesWriteTheSameInBothLanguagesAndMergeRestoresWhatWasCutOff) {
  Sandbox made;
  const auto run = [&](const std::string& program) {
    const std::string printed = Output("sh -c 'cd " + made.path() + "; rm -f out.csv; " + program + "'");
    return printed + ReadFile(made.path() + "/out.csv");
  };
  const std::string c = VEXA_STAGED_HOME "/../examples/", python = "python3 " VEXA_SOURCE_DIR "/examples/";
  const std::string scores = run(c + "standardise \"$0\" Temp out.csv");
  EXPECT_NE(scores.find("\nTempGroup: 29 low, 102 middle, 22 high\nOzone,"), std::string::npos) << scores;
  const std::string whole = ReadFile(made.path() + "/out.csv");
  const std::string merged = "2 columns and 53 cases added: 9 variables, 153 cases\n" + whole;
  made.Write("scores.csv", whole);
  EXPECT_EQ(run("head -n 101 \"$0\" > first.csv; " + c + "merge first.csv scores.csv out.csv"), merged);
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "Python is left out: a plain interpreter cannot load a library with sanitizers.";
#endif
  EXPECT_EQ(run(python + "standardise.py \"$0\" Temp out.csv"), scores);
  EXPECT_EQ(run(python + "merge.py first.csv scores.csv out.csv"), merged);
}

class KilledDriverTest : public EngineTest, public testing::WithParamInterface<bool> {};

// The driver, and through it the engine, hold the writing end of a pipe: it closes with the last of them.
TEST_P(KilledDriverTest, TakesTheEngineAndItsFifosAlong) {
  int alive[2] = {};
  ASSERT_EQ(pipe(alive), 0);
  const pid_t driver = fork();
  if (driver == 0) {
    const bool started = StartWith(kAirQuality) == 0 && (!GetParam() || GetVariableCount(&code) == 7);
    if (started && fifos.Entries().size() == 2 && write(alive[1], "+", 1) == 1) raise(SIGKILL);
    _exit(1);
  }
  close(alive[1]);
  pollfd end = {alive[0], 0, 0};
  EXPECT_EQ(poll(&end, 1, 10000), 1) << "the engine outlives its driver";
  EXPECT_EQ(read(alive[0], &code, 1), 1) << "the driver never came up";
  close(alive[0]);
  EXPECT_EQ(waitpid(driver, nullptr, 0), driver);
}

INSTANTIATE_TEST_SUITE_P(BeforeAndAfterItsFirstRequest, KilledDriverTest, testing::Bool());

}  // namespace
