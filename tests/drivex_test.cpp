// Runs of language code: the mailboxes between threads, and one run with its runtime and with its backend.

#include "dxcallback.h"
#include "support/run_test.h"
#include "support/worker.h"

namespace {

// --- The mailbox of the synchronous mode ---

TEST_F(RunTest, HostRunsBlocksUntilItIsStopped) {
  FakeRuntime runtime;
  CmdVexaDX driver("T", &runtime, &options);
  EXPECT_TRUE(driver.initializeX() == 0 && runtime.table == CreateDXCallBackHandle());
  runtime.log.clear();
  Worker host([&] { return driver.invokeX(); });
  host.Start();
  runtime.execute = 5;
  Texts block = {"a", "b"};
  EXPECT_EQ(GRunSyncSyntax(block), 5);
  EXPECT_EQ(GStopSyncSyntax(), 0);
  EXPECT_EQ(host.Result(), 5) << "the last block's";
  EXPECT_EQ(runtime.log, (Texts{"pre", "a\nb\n", "post"}));
}

TEST_F(RunTest, HostThatLeavesWithinABlockIsNotWaitedFor) {
  FakeRuntime runtime;
  runtime.setIntialized(true);
  runtime.within = [] { pthread_exit(nullptr); };
  CmdVexaDX driver("T", &runtime, &options);
  Worker host([&] { return driver.invokeX(); });
  host.Start();
  Texts block = {"a"};
  EXPECT_EQ(GRunSyncSyntax(block), Code::kLibraryUnusable);
  EXPECT_TRUE(host.WaitForStop() && !runtime.isRunning());
}

// --- Lines, through the callback table ---

template <class Function>
Function* Entry(int position) {
  return reinterpret_cast<Function*>(static_cast<void**>(CreateDXCallBackHandle())[position]);
}
int SetSyntax(const char* lines) { return Entry<int(const char*)>(7)(lines); }

class LineTest : public RunTest {
 protected:
  ~LineTest() override {
    SyncSyntaxWriter writer(gSyntaxBuffer);
    gSyntaxBuffer.SetSyntax("quit");
    writer.Exchange();
  }
  // What the language's read loop gets: each line, or its result, with whatever stands behind its room.
  int ReadLoop() {
    for (;;) {
      std::string buffer(static_cast<std::size_t>(room) + 3, 'x');
      const int result = Entry<int(char*, int)>(6)(buffer.data(), room);
      if (buffer.starts_with("quit")) return 0;
      lines.push_back(result != 0 ? "too long" : buffer.c_str());
      EXPECT_TRUE(buffer.ends_with("xx")) << "written behind the one byte";
      if (buffer.find("Submit") != std::string::npos) {
        Entry<int()>(14)();
        EXPECT_EQ(SetSyntax("n1\nn2"), 0);
        EXPECT_TRUE(buffer.find("twice") == std::string::npos || SetSyntax("lost") == 0);
        Entry<void()>(15)();
      }
    }
  }
  void Read(int bytes) {
    room = bytes;
    loop.Start();
  }
  int room = 0;
  Texts lines;
  Worker loop{[this] { return ReadLoop(); }};
};

TEST_F(LineTest, ComeOneByOneAndTheWriterWaitsForTheLast) {
  Read(4);
  for (int round = 0; round < 200; ++round) {
    EXPECT_EQ(SetSyntax("a\nb"), 0);
    EXPECT_EQ(std::exchange(lines, {}), (Texts{"a\n", "b\n"}));
  }
  EXPECT_EQ(SetSyntax("abc\nabcd\n\n"), 0);
  EXPECT_EQ(lines, (Texts{"abc\n", "too long", "\n"}))
      << "one that is too long is lost, and the next follows";
}

TEST_F(LineTest, OfANestedBlockComeBehindTheLineThatSubmits) {
  Read(80);
  for (int round = 0; round < 200; ++round) {
    EXPECT_EQ(SetSyntax("a\nvexapkg.Submit\nz"), 0);
    EXPECT_EQ(std::exchange(lines, {}),
              (Texts{"a\n", "vexapkg.Submit\n", "\n", "n1\n", "n2\n", "\n", "z\n"}));
  }
}

// Kept: one text is taken for each fall of the layer, and it is not the one that goes.
TEST_F(LineTest, OfANestedBlockAreTakenOnce) {
  Read(80);
  EXPECT_EQ(SetSyntax("vexapkg.Submit twice\ny\nz"), 0);
  EXPECT_EQ(lines, (Texts{"vexapkg.Submit twice\n", "\n", "n1\n", "n2\n", "\n", "y\n", "z\n"}));
  EXPECT_EQ(std::exchange(gSyntaxList, {}), Texts{"n1\nn2\n"});
}

TEST_F(LineTest, OfANestLayerWait) {
  EXPECT_EQ(Entry<int()>(14)(), 1);
  EXPECT_EQ(SetSyntax("later"), 0) << "with nobody reading";
  for (int i = 0; i < 2; ++i) Entry<void()>(15)();
  EXPECT_EQ(Entry<int()>(14)(), 1);
  Entry<void()>(15)();
  EXPECT_EQ(std::exchange(gSyntaxList, {}), Texts{"later\n"});
  Read(80);
}

TEST_F(RunTest, TableAnswersForTheProcessAndForAMissingConsole) {
  Host();
  SetAppMode(1);
  EXPECT_EQ(CreateDXCallBackHandle(), CreateDXCallBackHandle());
  EXPECT_EQ(Entry<int()>(0)(), 1);
  EXPECT_EQ(Entry<const char*()>(3)(), temp.path() + "/");
  EXPECT_EQ(Entry<int()>(4)(), -1);
  EXPECT_TRUE(Entry<int()>(9)() == 0 && Entry<int(char*, int)>(11)(nullptr, 0) == 1);
}

// --- One run ---

TEST_F(RunTest, RefusedByPreActionExecutesNothing) {
  const struct {
    const char* language;
    int pre, code;
  } cases[] = {{"PYTHON", 1, 999988}, {"PYTHON", 2, 2}, {"R", 1, 1}, {"python", 1, 1}};
  for (const auto& [language, pre, code] : cases) {
    FakeRuntime runtime;
    runtime.setIntialized(true);
    runtime.pre = pre;
    DriveX driver(language, &runtime, &options);
    EXPECT_EQ(driver.runX(), code);
    EXPECT_EQ(runtime.log, Texts{"pre"});
  }
}

TEST_F(RunTest, InitialisesWithTheArgumentsOfTheSection) {
  const struct {
    const char *section, *arguments, *expected;
  } cases[] = {{"T", "", "init"},
               {"R", "", "init|--silent|--no-save"},
               {"JAVAEXTENSION", "", "init|JavaExtension"},
               {"R", "a  b", "init|a||b"}};
  for (const auto& [section, arguments, expected] : cases) {
    FakeRuntime runtime;
    XConfigOptions own(section);
    own.PutOption("ARGS", arguments);
    DriveX driver("T", &runtime, &own);
    EXPECT_EQ(Failed({driver.initializeX(), driver.initializeX()}), "");
    EXPECT_EQ(runtime.log, Texts{expected}) << "once";
  }
}

// --- One run with its backend ---

TEST_F(RunTest, BlockOfTheBackendIsRunAndAnswered) {
  const struct {
    int init, code;
    Texts log;
  } cases[] = {{33, 33, {"init", "init"}},
               {0, 6, {"init", "pre", "a\nb\n", "post", "pre", "a\nb\n", "post"}}};
  for (const auto& [init, code, log] : cases) {
    FakeRuntime& runtime = Host();
    runtime.init = init;
    runtime.execute = 6;
    VexaDX_P& driver = OpenLevel(runtime);
    Backend backend(Channel() + "0");
    for (int i = 0; i < 2; ++i) {
      EXPECT_EQ(driver.startX(), 0);
      EXPECT_FALSE(driver.isStopped());
      backend.Runs(Strings{"a", "b"}, code);
      EXPECT_TRUE(Await([&] { return driver.isStopped(); }) && driver.getReturnValue() == 0);
    }
    EXPECT_EQ(runtime.log, log);
    EndSession();
  }
}

TEST_F(RunTest, EmptyBlockIsNotAnswered) {
  FakeRuntime& runtime = Host();
  VexaDX_P& driver = OpenLevel(runtime);
  Backend backend(Channel() + "0");
  EXPECT_EQ(Failed({driver.startX(), backend.Answer()}), "");
  backend.Sends(Strings{});
  EXPECT_TRUE(Await([&] { return driver.isStopped(); }));
  EXPECT_EQ(runtime.log, Texts());
  EndSession();
  EXPECT_EQ(backend.Answer(), -1);
}

TEST_F(RunTest, BlockThatThrowsOrLeavesItsThreadEndsTheRun) {
  FakeRuntime& runtime = Host();
  VexaDX_P& driver = OpenLevel(runtime);
  Backend backend(Channel() + "0");
  runtime.within = [] { throw 42; };
  EXPECT_EQ(driver.startX(), 0);
  backend.Runs(Strings{"a"}, Code::kLibraryUnusable);
  EXPECT_TRUE(!runtime.isRunning() && Await([&] { return driver.isStopped(); }));
  runtime.within = [] { pthread_exit(nullptr); };
  EXPECT_EQ(Failed({driver.startX(), backend.Answer()}), "");
  backend.Sends(Strings{"a"});
  EXPECT_TRUE(backend.HungUp() && Await([&] { return driver.isStopped(); }) && !runtime.isRunning());
}

TEST_F(RunTest, ThatGetsNoBlockClosesItsEnd) {
  FakeRuntime& runtime = Host();
  VexaDX_P& driver = OpenLevel(runtime);
  Backend backend(Channel() + "0");
  EXPECT_EQ(unlink((Channel() + "0syntax").c_str()), 0);
  EXPECT_EQ(Failed({driver.startX(), backend.Answer()}), "");
  EXPECT_TRUE(backend.HungUp() && driver.AwaitStopped(5000));
}

TEST_F(RunTest, FirstLevelAloneRunsOnTheHostsThread) {
  FakeRuntime& runtime = Host();
  GSetUseSyncDx(true);
  CmdVexaDX hosted("T", &runtime, &options);
  Worker host([&] { return hosted.invokeX(); });
  host.Start();
  for (int level = 0; level < 2; ++level) {
    Backend backend(Channel() + std::to_string(level));
    EXPECT_EQ(OpenLevel(runtime).startX(), 0);
    backend.Runs(Strings{"a"}, 0);
    EXPECT_EQ(runtime.thread == host.id, level == 0);
  }
  EXPECT_EQ(Failed({GStopSyncSyntax(), host.Result()}), "");
}

TEST_F(RunTest, BackendThatNeverComesIsNotWaitedForAtTheEnd) {
  FakeRuntime& runtime = Host();
  mkfifo((Channel() + "0syntaxresult").c_str(), 0600);
  EXPECT_EQ(OpenLevel(runtime).startX(), 0);
  Backend first(Channel() + "1"), second(Channel() + "2");
  EXPECT_EQ(Failed({OpenLevel(runtime).startX(), first.Answer()}), "") << "listens, and gets no block";
  VexaDX_P& driver = OpenLevel(runtime);
  EXPECT_EQ(driver.startX(), 0);
  second.Runs(Strings{"a"}, 0);
  EXPECT_EQ(Failed({driver.startX(), second.Answer()}), "") << "listens once more";
  GetXManager()->cleanup();
  EXPECT_EQ(GetXManager()->getBackVexaDX(), nullptr);
}

}  // namespace
