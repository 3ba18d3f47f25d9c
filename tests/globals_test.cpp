#include "CleXDErrorCode.h"
#include "DxTracer.h"
#include "XManager.h"
#include "dxglobals.h"
#include "support/worker.h"
#include "vexa_assert.h"
#include "xpipemanager.h"

namespace {

const std::string kBanner = std::string(40, '*') + "TRACE BEGIN" + std::string(40, '*') + "\n";

// The messages of a trace, each behind the language's name; what has no stamp in front of it is no message.
std::vector<std::string> Messages(const std::string& path) {
  std::ifstream stream(path);
  std::vector<std::string> messages;
  std::string line;
  for (std::getline(stream, line); std::getline(stream, line);) {
    std::tm stamp = {};
    const char* const message = strptime(line.c_str(), "%x %X ", &stamp);
    messages.push_back(message != nullptr ? message : "no stamp: " + line);
  }
  return messages;
}

TEST(Trace, IsABannerAndStampedLines) {
  Sandbox sandbox;
  const std::string path = sandbox.Write("trace.log", "what a run before left");
  DxTracer tracer;
  tracer.open(path);
  tracer.write("call StartVEXA");
  EXPECT_EQ(ReadFile(path).back(), '\n') << "each line is flushed";
  tracer.setXName("R");
  tracer.write("");
  EXPECT_EQ(ReadFile(path).substr(0, kBanner.size()), kBanner);
  EXPECT_EQ(Messages(path), (std::vector<std::string>{">>call StartVEXA", "R>>"}));
}

TEST(Trace, OfAForkIsNotHeldUpByAnotherThread) {
  Sandbox sandbox;
  DxTracer tracer;
  tracer.open(sandbox.path() + "/trace.log");
  std::jthread tracing([&](const std::stop_token& end) {
    while (!end.stop_requested()) tracer.write("parent");
  });
  for (int i = 0; i < 100; ++i) {
    Process fork([&] { return tracer.write("fork"), 0; });
    ASSERT_EQ(fork.Result(), 0) << i;
  }
  tracing = {};
  const std::vector<std::string> messages = Messages(sandbox.path() + "/trace.log");
  EXPECT_EQ(std::ranges::count(messages, ">>fork"), 100);
  EXPECT_EQ(std::ranges::count(messages, ">>parent"), std::ssize(messages) - 100) << "no line is torn";
}

TEST(Assertion, EndsTheProcessBesideAThreadThatReads) {
  int ends[2], input[2];
  ASSERT_EQ(Failed({pipe(ends), pipe(input)}), "");
  Process reads([&] {
    dup2(input[0], STDIN_FILENO), dup2(ends[1], STDERR_FILENO), signal(SIGABRT, SIG_DFL);
    Worker* const reader = new Worker([] { return std::getchar(); });
    EXPECT_TRUE(reader->Start() && reader->Sleeps());
    VEXA_ASSERT(reader == nullptr);
    return 0;
  });
  const int status = reads.Result();
  close(ends[1]);
  EXPECT_TRUE(status == -SIGABRT || status == 1) << status << ": a sanitizer may end it";
  char text[200] = "";
  EXPECT_GT(read(ends[0], text, sizeof text - 1), 0);
  EXPECT_NE(std::strstr(text, "globals_test.cpp"), nullptr);
  EXPECT_NE(std::strstr(text, ": assertion failed: reader == nullptr\n"), nullptr) << text;
  for (const int end : {ends[0], input[0], input[1]}) close(end);
}

TEST(Trace, SwallowsWhatItHasNoFileFor) {
  Sandbox sandbox;
  for (const std::string& path : {std::string(), sandbox.path() + "/missing/trace.log"}) {
    DxTracer tracer;
    tracer.open(path);
    tracer.write("lost");
  }
  DxTrace("nobody traces yet");
  DxTraceError("nobody traces yet", 1);
  EXPECT_TRUE(sandbox.Entries().empty());
}

TEST(ErrorCode, TellsAPeerThatIsGone) {
  for (const auto& [code, gone] :
       {std::pair{99103, true}, {109, true}, {99104, false}, {0, false}, {-1, false}}) {
    EXPECT_EQ(CleXDErrorCode::IsPipeError(code), gone) << code;
  }
}

TEST(Globals, TheNameIsInUpperCase) {
  for (const auto& [given, name] :
       {std::pair{"r", "R"}, {"Python3", "PYTHON3"}, {"", "UNNAMEDX"}, {"\xc3\xa4x", "\xc3\xa4X"}}) {
    SetXName(given);
    EXPECT_EQ(GetXName(), name);
  }
  ClearXName();
}

TEST(Globals, TheHomeComesFromTheEnvironmentUntilItIsSet) {
  SetEnvironment("VEXA_HOME", nullptr);
  EXPECT_STREQ(GetVEXAHOME(), "");
  SetEnvironment("VEXA_HOME", "/environment/");
  EXPECT_STREQ(GetVEXAHOME(), "/environment");
  SetEnvironment("VEXA_HOME", "/other");
  for (const auto& [given, home] : {std::pair<const char*, const char*>{nullptr, "/environment"},
                                    {"", "/environment"},
                                    {"/set/", "/set"},
                                    {"/set//", "/set/"},
                                    {"/", ""}}) {
    SetVEXAHOME(given);
    EXPECT_STREQ(GetVEXAHOME(), home);
  }
}

TEST(Globals, AreMadeOnceAndTracedAndMadeAgain) {
  Sandbox sandbox;
  sandbox.Write("bin/vexadxcfg.ini", "[SUPPORTED_LANG]\nTRACE=" + sandbox.path() + "\n");
  SetAppMode(1);
  EXPECT_EQ(InitDxGlobal("/fifos/", "04d2", "r", sandbox.path()), 0);
  XPipeManager* const manager = GetXPipeManager();
  EXPECT_EQ(InitDxGlobal("/other/", "ffff", "other", "/other"), 0);
  EXPECT_TRUE(IsDXGlobalInit());
  EXPECT_EQ(GetXPipeManager(), manager);
  EXPECT_EQ(manager->getPipePath() + manager->getPipePid() + GetXName() + GetVEXAHOME(),
            "/fifos/04d2R" + sandbox.path());
  const std::vector<std::string> lines = {">>InitDxGlobal>tempPath:/fifos/", ">>InitDxGlobal>pid:04d2",
                                          ">>InitDxGlobal>xname:r",
                                          ">>InitDxGlobal>vexaHome:" + sandbox.path()};
  EXPECT_EQ(Messages(sandbox.path() + "/r_trace.log"), lines);

  FinalizeDXGlobal();
  EXPECT_FALSE(IsDXGlobalInit());
  EXPECT_EQ(GetXName(), "");
  EXPECT_EQ(GetAppMode(), -1);
  EXPECT_TRUE(GetXManager() == nullptr && GetXPipeManager() == nullptr);
  EXPECT_EQ(GetVEXAHOME(), sandbox.path());
  InitDxGlobal("/again/", "04d3", "python", "");
  DxTraceError("the first trace goes on", 0);
  ASSERT_EQ(Messages(sandbox.path() + "/r_trace.log").size(), 9u);
  EXPECT_EQ(Messages(sandbox.path() + "/r_trace.log").back(), ">>the first trace goes on error code : 0.");
  FinalizeDXGlobal();
}

}  // namespace
