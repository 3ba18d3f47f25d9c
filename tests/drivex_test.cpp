// Runs of language code: the mailboxes between threads, one run with its runtime and with its backend, and
// the command service of a session.
#include "drivex.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <mutex>

#include "CleXDErrorCode.h"
#include "CmdReceiveThread.h"
#include "StartXDispatcherVisitor.h"
#include "StatisticsX.h"
#include "SyncSyntaxBuffer.h"
#include "XConfigOptions.h"
#include "XManager.h"
#include "call_frame.h"
#include "child_process.h"
#include "dxcallback.h"
#include "dxglobals.h"
#include "support/processes.h"
#include "support/scripted_peer.h"
#include "support/worker.h"
#include "vexaxd_p.h"
#include "xpipemanager.h"

namespace {

using Code = CleXDErrorCode;
using Key = DXCmdDispatcher::CmdKey;
using Texts = std::vector<std::string>;

// A runtime that notes what it is asked, and answers as it is told.
struct FakeRuntime : StatisticsX {
  FakeRuntime() : StatisticsX(true) {}
  int x_init_embedded_x(int argc, char** argv) override {
    std::string text = "init";
    for (int i = 0; i < argc; ++i) text += std::string("|") + argv[i];
    return log.push_back(text), init;
  }
  int x_execute_x(char* lines) override {
    thread = gettid();
    return log.push_back(lines), execute;
  }
  int x_stop_embedded_x() override { return 0; }
  int x_pre_action() override { return log.push_back("pre"), pre; }
  int x_post_action() override { return log.push_back("post"), 9; }
  Texts log;
  int init = 0, pre = 0, execute = 0;
  std::atomic<pid_t> thread = 0;
};

// A process that takes runs of the language T.
class RunTest : public Deadline {
 protected:
  RunTest() {
    home.Write("bin/vexadxcfg.ini", "[SUPPORTED_LANG]\nX=T\nTRACE=" + notes.path() + "\n");
    for (const char* name : {"VEXA_HOME", "VEXA_RUNNING"}) SetEnvironment(name, nullptr);
    SetEnvironment("VEXADXTEMP", temp.path().c_str());
    mySyntaxData.SetStop(false);
    GSetUseSyncDx(false);
  }
  ~RunTest() override {
    EndSession();
    EXPECT_EQ(temp.Entries(), Texts());
    EXPECT_FALSE(HasChildren());
  }
  // The objects of the process, and a runtime for T.
  FakeRuntime& Host() {
    InitDxGlobal(temp.path() + "/", ProcessIdText(), "T", home.path());
    auto* runtime = new FakeRuntime;
    GetXManager()->addStatisticsX("T", runtime);
    return *runtime;
  }
  VexaDX_P& OpenLevel(FakeRuntime& runtime) {
    GetXManager()->addVexaDX(new VexaDX_P("T", &runtime, &options));
    return dynamic_cast<VexaDX_P&>(*GetXManager()->getBackVexaDX());
  }
  bool Traced(const std::string& text) const {
    return ReadFile(notes.path() + "/T_trace.log").find(text) != std::string::npos;
  }
  std::string Channel() const { return temp.path() + "/" + ProcessIdText() + "T"; }

  Sandbox home, temp, notes;
  XConfigOptions options{"T"};
};

// --- The mailbox of the synchronous mode ---

TEST_F(RunTest, HostRunsBlocksUntilItIsStopped) {
  FakeRuntime runtime;
  runtime.setIntialized(true);
  CmdVexaDX driver("T", &runtime, &options);
  Worker host([&] { return driver.invokeX(); });
  host.Start();
  runtime.execute = 5;
  Texts block = {"a", "b"};
  EXPECT_EQ(GRunSyncSyntax(block), 5);
  EXPECT_EQ(GStopSyncSyntax(), 0);
  EXPECT_EQ(host.Result(), 5) << "the last block's";
  EXPECT_EQ(runtime.log, (Texts{"pre", "a\nb\n", "post"}));
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
    EXPECT_EQ(driver.initializeX() + driver.initializeX(), 0);
    EXPECT_EQ(runtime.log, Texts{expected}) << "once";
  }
}

// --- One run with its backend ---

// The backend's ends of a level.
class Backend {
 public:
  explicit Backend(std::string level) : name(std::move(level)), xdapi(name) {
    for (const char* fifo : {"syntax", "syntaxresult"}) mkfifo((name + fifo).c_str(), 0600);
    results = open((name + "syntaxresult").c_str(), O_RDONLY | O_NONBLOCK);
  }
  Backend(const Backend&) = delete;
  Backend& operator=(const Backend&) = delete;
  ~Backend() {
    for (const int fd : {results, syntax}) close(fd);
  }
  // The code of the next answer; -1 when there is none.
  int Answer() {
    std::string image = Encode(MakeImage(-1));
    pollfd look = {results, POLLIN, 0};
    if (poll(&look, 1, 5000) <= 0 || read(results, image.data(), image.size()) <= 0) return -1;
    return Decode(image)->error;
  }
  void Sends(const Strings& lines) {
    if (syntax == -1) syntax = open((name + "syntax").c_str(), O_WRONLY);
    const std::string image = Encode(MakeImage(-1, lines));
    EXPECT_EQ(write(syntax, image.data(), image.size()), static_cast<ssize_t>(image.size()));
  }
  void Runs(const Strings& lines, int code) {
    EXPECT_EQ(Answer(), 0) << "the language listens";
    xdapi.Expects(200).Answers();
    Sends(lines);
    EXPECT_EQ(Answer(), code);
  }

 private:
  const std::string name;
  ScriptedPeer xdapi;
  int results = -1, syntax = -1;
};

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
  EXPECT_EQ(driver.startX() + backend.Answer(), 0);
  backend.Sends(Strings{});
  EXPECT_TRUE(Await([&] { return driver.isStopped(); }));
  EXPECT_EQ(runtime.log, Texts());
  EndSession();
  EXPECT_EQ(backend.Answer(), -1);
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
  EXPECT_EQ(GStopSyncSyntax() + host.Result(), 0);
}

TEST_F(RunTest, BackendThatNeverComesIsNotWaitedForAtTheEnd) {
  FakeRuntime& runtime = Host();
  mkfifo((Channel() + "0syntaxresult").c_str(), 0600);
  EXPECT_EQ(OpenLevel(runtime).startX(), 0);
  Backend first(Channel() + "1"), second(Channel() + "2");
  EXPECT_EQ(OpenLevel(runtime).startX() + first.Answer(), 0) << "listens, and gets no block";
  VexaDX_P& driver = OpenLevel(runtime);
  EXPECT_EQ(driver.startX(), 0);
  second.Runs(Strings{"a"}, 0);
  EXPECT_EQ(driver.startX() + second.Answer(), 0) << "listens once more";
  GetXManager()->cleanup();
  EXPECT_EQ(GetXManager()->getBackVexaDX(), nullptr);
}

// --- The command service ---

TEST_F(RunTest, CommandsBringADriverUpAndDown) {
  FakeRuntime& runtime = Host();
  XPipeSuit& suit = *GetXPipeManager()->getPipeSuit("T");
  CmdReceiveThread service(suit.getCmdDispatcher(true));
  service.Start();
  DXCmdDispatcher client(Channel(), false);
  for (const Key key : {Key::kTestCmd, Key{0}, Key::kExitDxRun}) EXPECT_EQ(client.sendCmd(key), 0);
  EXPECT_EQ(client.sendCmd(Key{5}), Code::kUnknownCommand);
  EXPECT_EQ(client.sendCmd(Key::kRunDX), Code::kThreadNotStarted) << "no driver";
  Backend backend(Channel() + "0");
  for (const Key key : {Key::kSetupDXRun, Key::kRunDX}) {
    EXPECT_EQ(client.sendCmd(key), 0);
    backend.Runs(Strings{"a"}, 0);
  }
  EXPECT_EQ(client.sendCmd(Key::kExitDxRun), 0);
  EXPECT_TRUE(GetXManager()->getBackVexaDX() == nullptr && suit.getIndex() == -1);
  EXPECT_EQ(client.sendCmd(Key::kStopDX), 0);
  EXPECT_TRUE(service.WaitForStop() && service.GetReturnValue() == 0);
  EXPECT_EQ(runtime.log.size(), 7U);
}

TEST_F(RunTest, StopCommandIsAnsweredAlthoughTheHostFails) {
  Host();
  GSetUseSyncDx(true);
  CmdReceiveThread service(GetXPipeManager()->getPipeSuit("T")->getCmdDispatcher(true));
  service.Start();
  Process client([at = Channel()] { return DXCmdDispatcher(at, false).sendCmd(Key::kStopDX); });
  EXPECT_TRUE(Await([this] { return Traced("Visitor kStopDX"); }));
  EXPECT_TRUE(Await([&] { return service.EndWithin(10); })) << "with no host that takes the command";
  EXPECT_EQ(client.Result(), 0);
}

// --- The session ---

class RunSession : public RunTest {
 protected:
  // A backend that reports well, does that with the channel, and ends by itself some time.
  void Start(const std::string& channel) {
    const std::string script =
        home.Write("bin/StartXD",
                   "#!/bin/sh\necho $$ > \"$VEXA_HOME/id\"\nexec 3> \"$1$2${3}0xdapiresult\"\n"
                   "printf '\\064\\0\\0\\0\\377\\377\\377\\377' >&3\nhead -c 44 /dev/zero >&3\n" +
                       channel + "\nexec sleep 30\n");
    chmod(script.c_str(), 0755);
    SetXNameAndSHome("T", home.path().c_str());
    EXPECT_EQ(StartVexa(nullptr), 0);
  }
  // What StopVexa asks, and its time in milliseconds.
  long Stop(ScriptedPeer& peer) {
    for (const int action : {1, 1, 2, 4}) peer.Expects(action).Answers(Longs{1});
    const auto start = Clock::now();
    StopVexa();
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
  }
};

TEST_F(RunSession, IsNestableAsTheLanguageOfEachIs) {
  for (const char* language : {"T", "OTHER", "T"}) {
    SetXNameAndSHome(language, home.path().c_str());
    IntializePipeInfo();
    EXPECT_EQ(nestability, language == std::string("T"));
    EXPECT_EQ(myPipeSuit->getIndex(), 0);
    EXPECT_EQ(GetXManager()->getBackVexaDX()->getIndex(), 0);
  }
}

TEST_F(RunSession, ServesEachBackendUntilItIsTold) {
  ScriptedPeer peer(Channel() + "0");
  Start("");
  kill(processId, SIGKILL);
  EXPECT_TRUE(Await(BackendHasEnded));
  EXPECT_EQ(unlink((Channel() + "_s").c_str()), 0) << "as an end that goes takes it along";
  Start("");
  {
    DXCmdDispatcher client(Channel(), false);
    EXPECT_EQ(client.sendCmd(Key::kTestCmd) + client.sendCmd(Key::kStopDX), 0);
  }
  EXPECT_LT(Stop(peer), 3000);
  EXPECT_FALSE(Traced("timely") || cmdThread != nullptr);
}

TEST_F(RunSession, EndsACommandThreadThatNobodyStops) {
  ScriptedPeer peer(Channel() + "0");
  Start("exec 4<> \"$1$2${3}_s\"");
  EXPECT_GE(Stop(peer), 6000);
  EXPECT_TRUE(Traced("Cmd Dispatcher thread can't exit timely.") && cmdThread == nullptr);
}

TEST_F(RunSession, ThatIsLeftWithoutAStopDoesNotHoldTheProcess) {
  for (const char* sent : {"", "printf a >&4"}) {
    const auto start = Clock::now();
    Process session([&] {
      Start(std::string("exec 4<> \"$1$2${3}_s\"\n") + sent);
      std::exit(HasFailure() ? 1 : 0);
      return 1;
    });
    EXPECT_EQ(session.Result(), 0);
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(4)) << "the channel is open still";
    kill(std::stoi(ReadFile(home.path() + "/id")), SIGKILL);
  }
}

}  // namespace
