// Sessions with the staged engine, from start to end in a test's own process, and blocks of other languages
// that it runs there: at the end of a test no fifo is left and no child.
#ifndef SUPPORT_BLOCK_RUN_H
#define SUPPORT_BLOCK_RUN_H

#include "support/processes.h"
#include "vexaxd_p.h"

constexpr const char* kAirQuality = VEXA_SOURCE_DIR "/examples/data/airquality.csv";

// The wait of this file's tests by its other name.
inline bool Comes(const std::function<bool()>& what) { return Await(what); }

// Dead with all its threads, reaped or not.
inline bool HasEnded(pid_t process) {
  const std::string directory = "/proc/" + std::to_string(process);
  const std::string stat = ReadFile(directory + "/stat");
  std::error_code gone;
  const auto threads = std::distance(std::filesystem::directory_iterator(directory + "/task", gone), {});
  return stat.empty() || (stat.find(") Z") != std::string::npos && threads <= 1);
}

class SessionTest : public testing::Test {
 protected:
  Sandbox fifos, files;
  std::size_t own_fifos = 0;  // that stay until this process goes

  SessionTest() {
    signal(SIGPIPE, SIG_IGN);
    SetEnvironment("VEXA_HOME", VEXA_STAGED_HOME);
    SetEnvironment("VEXADXTEMP", fifos.path().c_str());
  }
  void TearDown() override {
    StopVexa();
    EXPECT_TRUE(Comes([&] { return fifos.Entries().size() <= own_fifos; })) << fifos.Entries().front();
    // A killed engine need not be there to be waited for yet, which asking does.
    EXPECT_TRUE(Comes([] { return !IsBackendReady() && !HasChildren(); }));
  }
  // What a program prints, and its status behind that.
  static std::string Output(const std::string& command) {
    FILE* const pipe = popen(command.c_str(), "r");
    std::string output;
    for (int c; (c = std::fgetc(pipe)) != EOF;) output += static_cast<char>(c);
    return output + "status " + std::to_string(pclose(pipe));
  }
};

class BlockRunTest : public SessionTest {
 protected:
  explicit BlockRunTest(std::string of_language) : block_language(std::move(of_language)) {}
  static void Start() { ASSERT_EQ(StartVexa((std::string("-data ") + kAirQuality).c_str()), 0); }
  int Run(const std::string& lines) const {
    const std::string text = "LANGUAGE " + block_language + ".\n" + lines + "\nEND LANGUAGE.\n";
    return Submit(text.c_str(), static_cast<int>(text.size()));
  }
  // All that blocks have printed.
  static std::string Printed() {
    int error = 0;
    EXPECT_EQ(CreateXPathDictionary("output"), 0);
    void* const texts = EvaluateXPath("output", "", "//text/text()", &error);
    std::string printed;
    for (int i = 0; i < GetStringListLength(texts); ++i) printed += GetStringFromList(texts, i);
    RemoveStringList(texts);
    EXPECT_EQ(RemoveXPathHandle("output"), 0);
    return printed;
  }

 private:
  const std::string block_language;
};

#endif
