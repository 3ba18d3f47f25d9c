// End to end: the staged home's practice engine, started by StartVexa in the real way.

#include "session.h"
#include "support/session_test.h"

namespace {

int StartWith(const std::string& path) { return StartVexa(("-data \"" + path + "\"").c_str()); }

class EngineTest : public SessionTest {
 protected:
  int code = 0, count = 0;

  // What a program prints on the air quality data. It leaves nothing behind.
  std::string PrintedBy(const std::string& program) {
    const std::string output = Output("TMPDIR=" + files.path() + " " + program + " " + kAirQuality);
    EXPECT_TRUE(files.Entries().empty() && output.ends_with("status 0")) << output;
    return output.substr(0, output.rfind("status"));
  }
};

TEST_F(EngineTest, DictionaryIsWhatTheSideFileSays) {
  EXPECT_EQ(StartVexa("-dat x"), 2001) << "and it can be tried again";
  ASSERT_EQ(StartWith(kAirQuality), 0);
  EXPECT_STREQ(GetVariableName(1, &code), "Solar_R");
  EXPECT_STREQ(GetVariableLabel(5, &code), "Day of the month");
  EXPECT_STREQ(GetVariableFormat(2, &code), "F5.1");
  EXPECT_EQ(GetVariableMeasurementLevel(4, &code), 2);
  double low = 0, high = 0, one = 0, least = 0, most = 0;
  EXPECT_EQ(GetVEXALowHigh(&least, &most), 0);
  int format = 0;
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

TEST_F(EngineTest, StopsInTheMiddleOfABlockOnlyDelayIt) {
  constexpr int kRows = 100000;
  std::string rows = "v\n";
  for (int row = 0; row < kRows; ++row) rows += std::to_string(row) + "\n";
  ASSERT_EQ(StartWith(files.Write("rows.csv", rows)), 0);
  const pid_t engine = processId;
  ASSERT_GT(engine, 1);
  std::atomic<bool> over = false;
  std::thread stops([&] {
    while (!over) kill(engine, SIGSTOP), poll(nullptr, 0, 1), kill(engine, SIGCONT), poll(nullptr, 0, 1);
  });
  for (int pass = 0; pass < 5; ++pass) {
    double value = 0, sum = 0;
    EXPECT_EQ(MakeCaseCursor("r"), 0);
    while ((code = NextCase()) == 0 && GetNumericValue(0, &value, &count) == 0) sum += value;
    EXPECT_EQ(std::make_pair(code, sum), std::make_pair(23, kRows * (kRows - 1.0) / 2));
    EXPECT_EQ(RemoveCaseCursor(), 0);
  }
  over = true;
  stops.join();
}

// R's: v <- airquality$Ozone; v <- v[!is.na(v) & v < 120]; length(v); mean(v); sd(v); range(v), and so on.
constexpr const char* kFigures = R"(
Ozone: 113 valid, 3 user-missing, 37 system-missing
  mean 39.48672566, standard deviation 28.89423912, min 1, max 118
)";

TEST_F(EngineTest, SummariesAgreeAndAreRight) {
  const std::string printed = PrintedBy(VEXA_STAGED_HOME "/../examples/summary");
  EXPECT_NE(printed.find(kFigures), std::string::npos) << printed;
  EXPECT_TRUE(printed.ends_with("MonthName: 153 valid, 0 user-missing, 5 distinct\n")) << printed;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "Python is left out: a plain interpreter cannot load a library with sanitizers.";
#endif
  EXPECT_EQ(PrintedBy("python3 " VEXA_SOURCE_DIR "/examples/summary.py"), printed);
}

TEST_F(EngineTest, ExamplesWriteTheSameInBothLanguagesAndMergeRestoresWhatWasCutOff) {
  Sandbox made;
  const auto run = [&](const std::string& program) {
    const std::string printed = PrintedBy("sh -c 'cd " + made.path() + "; rm -f out.csv; " + program + "'");
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

}  // namespace
