// The command service of a session: drivers brought up and down by command, and the end of the service.

#include "CmdReceiveThread.h"
#include "StartXDispatcherVisitor.h"
#include "child_process.h"
#include "support/run_test.h"

namespace {

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

TEST_F(RunTest, CommandsSayThatThereIsNoThreadOrNoDescriptorForARun) {
  Host();
  CmdReceiveThread service(GetXPipeManager()->getPipeSuit("T")->getCmdDispatcher(true));
  service.Start();
  DXCmdDispatcher client(Channel(), false);
  Backend backend(Channel() + "0");
  EXPECT_EQ(client.sendCmd(Key::kTestCmd), 0);
  pthread_attr_t usual, endless;
  pthread_getattr_default_np(&usual);
  pthread_attr_init(&endless), pthread_attr_setstacksize(&endless, 1UL << 46);
  pthread_setattr_default_np(&endless);
  EXPECT_EQ(client.sendCmd(Key::kSetupDXRun), Code::kThreadNotStarted);
  FakeRuntime other;
  DriveX idle("T", &other, &options);
  EXPECT_TRUE(idle.startX() == Code::kThreadNotStarted && idle.isStopped());
  pthread_setattr_default_np(&usual);
  pthread_attr_destroy(&usual), pthread_attr_destroy(&endless);
  rlimit many = {};
  getrlimit(RLIMIT_NOFILE, &many);
  const rlimit few = {static_cast<rlim_t>(OpenDescriptors()), many.rlim_max};
  setrlimit(RLIMIT_NOFILE, &few);
  EXPECT_EQ(client.sendCmd(Key::kSetupDXRun), Code::kThreadNotStarted);
  setrlimit(RLIMIT_NOFILE, &many);
  EXPECT_EQ(GetXManager()->getBackVexaDX(), nullptr) << "the level is closed again";
  EXPECT_EQ(client.sendCmd(Key::kSetupDXRun), 0);
  backend.Runs(Strings{"a"}, 0);
  EXPECT_EQ(Failed({client.sendCmd(Key::kExitDxRun), client.sendCmd(Key::kStopDX)}), "");
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
  // Opens the channel once it is there: a shell would make a file of that name.
  static constexpr const char* kOpenChannel =
      "until [ -p \"$1$2${3}_s\" ]; do sleep 0.01; done\nexec 4<> \"$1$2${3}_s\"\n";
  // A backend that reports well, does that with the channel, and ends by itself some time.
  void Start(const std::string& channel) {
    const std::string done = home.path() + "/done";
    unlink(done.c_str());
    const std::string script =
        home.Write("bin/StartXD",
                   "#!/bin/sh\necho $$ > \"$VEXA_HOME/id\"\nexec 3> \"$1$2${3}0xdapiresult\"\n"
                   "printf '\\064\\0\\0\\0\\377\\377\\377\\377' >&3\nhead -c 44 /dev/zero >&3\n" +
                       channel + "\n: > \"$VEXA_HOME/done\"\nexec sleep 30\n");
    chmod(script.c_str(), 0755);
    SetXNameAndSHome("T", home.path().c_str());
    EXPECT_EQ(StartVexa(nullptr), 0);
    EXPECT_TRUE(Await([&] { return access(done.c_str(), F_OK) == 0; }));
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
    EXPECT_EQ(Failed({client.sendCmd(Key::kTestCmd), client.sendCmd(Key::kStopDX)}), "");
  }
  EXPECT_LT(Stop(peer), 3000);
  EXPECT_FALSE(Traced("timely") || cmdThread != nullptr);
}

TEST_F(RunSession, EndsACommandThreadThatNobodyStops) {
  ScriptedPeer peer(Channel() + "0");
  Start(kOpenChannel);
  EXPECT_GE(Stop(peer), 5000);
  EXPECT_TRUE(Traced("Cmd Dispatcher thread can't exit timely.") && cmdThread == nullptr);
}

TEST_F(RunSession, ThatIsLeftWithoutAStopDoesNotHoldTheProcess) {
  for (const char* sent : {"", "printf a >&4"}) {
    const auto start = Clock::now();
    Process session([&] {
      Start(kOpenChannel + std::string(sent));
      std::exit(HasFailure() ? 1 : 0);
      return 1;
    });
    EXPECT_EQ(session.Result(), 0);
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(4)) << "the channel is open still";
    kill(std::stoi(ReadFile(home.path() + "/id")), SIGKILL);
  }
}

}  // namespace
