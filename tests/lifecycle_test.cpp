// Start and stop against backends that are small scripts: what goes wrong with a real process, and what it is
// given.

#include "dxglobals.h"
#include "session.h"
#include "support/processes.h"
#include "support/scripted_peer.h"
#include "vexaxd_p.h"
#include "xpipemanager.h"

namespace {

// The bytes of a string as printf of a shell writes them.
std::string Octal(const std::string& bytes) {
  std::string text = "printf '";
  for (const unsigned char byte : bytes) {
    text += {'\\', static_cast<char>('0' + (byte >> 6)), static_cast<char>('0' + (byte >> 3 & 7)),
             static_cast<char>('0' + (byte & 7))};
  }
  return text + "'";
}

// The beginning of a backend: both fifos in the order that a starting client needs.
const std::string kOpens =
    "#!/bin/sh\nfifo=\"$1$2$3\"0\nmkfifo \"${fifo}xdapi\"\nexec 3> \"${fifo}xdapiresult\"\n";
const std::string kGoodReport = Octal(Encode(MakeImage(-1))) + " >&3\n";
std::string Report(int code) { return Octal(Encode(MakeImage(-1, Error{code}))) + " >&3\n"; }

class Lifecycle : public testing::Test {
 protected:
  Lifecycle() {
    for (const char* name : {"VEXA_HOME", "VEXA_RUNNING", "VEXATMPDIR"}) SetEnvironment(name, nullptr);
    SetEnvironment("VEXADXTEMP", temp.path().c_str());
    signal(SIGPIPE, SIG_IGN);
  }
  ~Lifecycle() override { EndSession(); }

  // Installs the script as the backend of the home.
  void Install(const std::string& script, mode_t mode = 0755) {
    chmod(home.Write("bin/StartXD", script).c_str(), mode);
    SetXNameAndSHome("r", home.path().c_str());
  }
  std::string Dump() const { return ReadFile(home.path() + "/dump"); }

  Sandbox home;
  Sandbox temp;
};

// Runs in a process of its own that ends by exit.
int InProcess(const std::function<int()>& body) {
  return Process([&]() -> int { std::exit(body()); }).Result();
}

struct FailedStart {
  const char* name;
  std::string script;  // or what is ordered of the practice engine
  mode_t mode;
  int code;
};
constexpr mode_t kOrdered = 01;  // no script

class StartFails : public Lifecycle, public testing::WithParamInterface<FailedStart> {};

TEST_P(StartFails, WithItsCodeAndLeavesNothing) {
  const bool ordered = GetParam().mode == kOrdered;
  if (!ordered && !GetParam().script.empty()) Install(GetParam().script, GetParam().mode);
  // A name that the staged home has no language of: a language stays for the next start.
  SetXNameAndSHome("c", ordered ? VEXA_STAGED_HOME : home.path().c_str());
  // In a process that then ends, as nothing may be left of it either.
  EXPECT_EQ(InProcess([&] {
              const int descriptors = OpenDescriptors();
              EXPECT_EQ(StartVexa(ordered ? GetParam().script.c_str() : nullptr), GetParam().code);
              EXPECT_FALSE(HasChildren());
              EXPECT_EQ(OpenDescriptors(), descriptors);
              EXPECT_FALSE(IsBackendReady());
              return HasFailure() ? 1 : 0;
            }),
            0);
  EXPECT_EQ(temp.Entries(), std::vector<std::string>());
}

INSTANTIATE_TEST_SUITE_P(
    , StartFails,
    testing::Values(FailedStart{"Missing", "", 0, 17},
                    FailedStart{"NotExecutable", "#!/bin/sh\nexit 0\n", 0644, 99107},
                    FailedStart{"ExitsAtOnce", "-fault \"start exit\"", kOrdered, 99107},
                    FailedStart{"DiesAheadOfItsReport", "-fault \"start die\"", kOrdered, 99103},
                    FailedStart{"HangsUp", "-fault \"start hangup\"", kOrdered, 99103},
                    FailedStart{"ExitsAfterTwoSeconds", "#!/bin/sh\nsleep 2\n", 0755, 99107},
                    FailedStart{"ReportsAnError", kOpens + Report(42) + "exec sleep 30\n", 0755, 42},
                    FailedStart{"ReportsAnErrorAndLeaves", "-fault \"start code 43\"", kOrdered, 43},
                    FailedStart{"CutsItsReport", "-fault \"start code 7\" -fault \"start cut 13\"", kOrdered,
                                7}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(Lifecycle, MissingLauncherIsNamedOnStandardOutput) {
  testing::internal::CaptureStdout();
  EXPECT_EQ(StartVexa(("-vexahome=" + home.path()).c_str()), 17);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "No " + home.path() + "/bin/StartXD file exists\n");
}

TEST_F(Lifecycle, BackendGetsArgumentsAndAnEnvironmentOfItsOwn) {
  Install("#!/bin/sh\n{ printf '%s|' \"$@\"; tr '\\0' '\\n' < /proc/$$/environ; } > \"$VEXA_HOME/dump\"\n");
  SetEnvironment("SHELL", nullptr);
  SetEnvironment("HOME", nullptr);
  SetEnvironment("VEXATMPDIR", "/var/tmp");
  SetEnvironment("PATH", "/usr/bin:/bin");
  SetEnvironment("LD_LIBRARY_PATH", nullptr);
  SetEnvironment("LEAKED", "1");
  SetEnvironment("VEXA_QUICK", "yes");
  EXPECT_EQ(StartVexa("x y"), 99107);
  const std::string& at = home.path();
  EXPECT_EQ(Dump(), temp.path() + "/|" + IdOf(getpid()) + "|R| x y|SHELL=/bin/bash\nVEXA_HOME=" + at +
                        "\nLD_LIBRARY_PATH=" + at + "/lib:" + at + "/common/ext/bin/vexa.common:" + at +
                        "/ext/bin/vexa.common:" + at + "/JRE/lib\nPATH=" + at +
                        "/bin:/usr/bin:/bin\nTERM=\nVEXA_QUICK=yes\nTMPDIR=/var/tmp\nHOME=\n");
}

TEST_F(Lifecycle, OptionsAreTakenOutOfTheCommandLine) {
  Install("#!/bin/sh\nprintf '%s|%s' \"$3\" \"$4\" > \"$VEXA_HOME/dump\"\n");
  const std::string here = "-vexahome=" + home.path();
  const struct {
    std::string given, rest;
  } cases[] = {{"", " "},
               {here, " "},
               {here + ",-language=PYTHON,x y", " x y"},
               {"-language=PYTHON", " "},
               {"a -temppath /tmp/x rest", " a rest"},
               {" -temppath", " "}};
  for (const auto& [given, rest] : cases) {
    EXPECT_EQ(StartVexa(given.c_str()), 99107);
    EXPECT_EQ(Dump(), "R|" + rest) << given;
  }
}

TEST_F(Lifecycle, BackendThatDiesBeforeTheFirstRequest) {
  Install(kOpens + kGoodReport + "sleep 2\n");
  int code = -1;
  ASSERT_EQ(StartVexa(nullptr), 0);
  GetVariableCount(&code);  // nobody ever opened the other end of the requests
  EXPECT_EQ(code, 99103);
}

TEST_F(Lifecycle, StopAsksInOrderAndResetsTheSession) {
  ScriptedPeer peer(PeerPrefix(temp));
  SetVexaRunning(true);
  peer.Expects(1).Answers(Longs{1});  // ready?
  peer.Expects(1).Answers(Longs{1});  // driven? asks whether it is ready first
  peer.Expects(2).Answers(Longs{1});
  peer.Expects(4).Answers(Error{5});  // whatever the answer
  StopVexa();
  peer.Finish();
  EXPECT_FALSE(isVexaRunning);
  EXPECT_EQ(myPipeSuit, nullptr);
  EXPECT_FALSE(IsDXGlobalInit());
  EXPECT_EQ(temp.Entries(), std::vector<std::string>());
}

TEST_F(Lifecycle, StopLeavesASessionThatXDoesNotDrive) {
  ScriptedPeer peer(PeerPrefix(temp));
  SetEnvironment("VEXA_RUNNING", "1");
  peer.Expects(1).Answers(Longs{1});
  peer.Expects(1).Answers(Longs{1});
  peer.Expects(2).Answers(Longs{0});
  StopVexa();
  EXPECT_TRUE(isVexaRunning);
  SetEnvironment("VEXA_RUNNING", nullptr);
}

// A process with a session of its own that the test's peer serves; it ends by exit.
int RunWithPeer(const Sandbox& temp, const std::function<void(ScriptedPeer&)>& script,
                const std::function<void()>& session) {
  int ready[2];
  EXPECT_EQ(pipe(ready), 0);
  const pid_t child = fork();
  if (child == 0) {
    char go;
    if (read(ready[0], &go, 1) != 1) _exit(1);
    SetVexaRunning(true);
    session();
    std::exit(0);
  }
  int status = -1;
  {
    ScriptedPeer peer(temp.path() + "/" + IdOf(child) + "UNNAMEDX0");
    script(peer);
    EXPECT_EQ(write(ready[1], "g", 1), 1);
    EXPECT_EQ(waitpid(child, &status, 0), child);
  }
  close(ready[0]);
  close(ready[1]);
  return status;
}

TEST_F(Lifecycle, DriverThatExitsSaysGoodbyeAndTakesItsFifosAlong) {
  const auto script = [](ScriptedPeer& peer) {
    peer.Expects(1).Answers(Longs{1});
    peer.Expects(2).Answers(Longs{1});
    peer.Expects(-1, Longs{998800});
  };
  EXPECT_EQ(RunWithPeer(temp, script, [] { IsXDriven(); }), 0);
  EXPECT_EQ(temp.Entries(), std::vector<std::string>());
}

TEST_F(Lifecycle, ForkOfTheDriverThatExitsLeavesTheSessionAlone) {
  const auto script = [](ScriptedPeer& peer) {
    peer.Expects(1).Answers(Longs{1});
    peer.Expects(2).Answers(Longs{1});
    peer.Expects(8).Answers(Longs{153});
    peer.Expects(-1, Longs{998800});
  };
  const auto session = [&] {
    IsXDriven();
    InProcess([] { return 0; });
    int code = -1;
    if (GetRowCount(&code) != 153 || temp.Entries().empty()) _exit(1);
  };
  EXPECT_EQ(RunWithPeer(temp, script, session), 0);
}

TEST_F(Lifecycle, HostedProcessTakesItsNamesFromTheBackend) {
  SetEnvironment("VEXA_HOME", "/opt/vexa/");
  InitXProcess("/opt/vexa/bin/vexaengine", "/run/x/", "04d2", "R", nullptr);
  EXPECT_EQ(GetAppMode(), 1);
  EXPECT_TRUE(isVexaRunning);
  EXPECT_STREQ(GetVEXAHOME(), "/opt/vexa");
  EXPECT_EQ(GetXPipeManager()->getPipeSuit("R")->getPipeNamePrefix(), "/run/x/04d2R");
}

}  // namespace
