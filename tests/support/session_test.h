// Sessions with the staged engine, from start to end in a test's own process: at the end of a test no fifo is
// left and no child.
#ifndef SUPPORT_SESSION_TEST_H
#define SUPPORT_SESSION_TEST_H

#include "support/processes.h"
#include "vexaxd_p.h"

constexpr const char* kAirQuality = VEXA_SOURCE_DIR "/examples/data/airquality.csv";

class SessionTest : public testing::Test {
 protected:
  Sandbox fifos, files;

  SessionTest() {
    signal(SIGPIPE, SIG_IGN);
    SetEnvironment("VEXA_HOME", VEXA_STAGED_HOME);
    SetEnvironment("VEXADXTEMP", fifos.path().c_str());
  }
  void TearDown() override {
    StopVexa();
    EXPECT_TRUE(Await([&] { return fifos.Entries().empty(); })) << fifos.Entries().front();
    // A killed engine need not be there to be waited for yet, which asking does.
    EXPECT_TRUE(Await([] { return !IsBackendReady() && !HasChildren(); }));
  }
  // What a program prints, and its status behind that.
  static std::string Output(const std::string& command) {
    FILE* const pipe = popen(command.c_str(), "r");
    std::string output;
    for (int c; (c = std::fgetc(pipe)) != EOF;) output += static_cast<char>(c);
    return output + "status " + std::to_string(pclose(pipe));
  }
};

#endif
