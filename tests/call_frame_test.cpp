#include "call_frame.h"

#include <unistd.h>

#include <cstring>

#include "child_process.h"
#include "dxglobals.h"
#include "support/scripted_peer.h"
#include "vexaxd_p.h"
#include "xpipemanager.h"

namespace {

using Code = CleXDErrorCode;

class CallFrameTest : public ClientTest {};

TEST(CallFrame, AGuardedCallBeforeAStartTouchesNothing) {
  Sandbox sandbox;
  SetEnvironment("VEXADXTEMP", sandbox.path().c_str());
  int need = 5;
  EXPECT_EQ(NextCase(), Code::kBackendNotRunning);
  EXPECT_EQ(IsNeedCache(&need), Code::kBackendNotRunning);
  EXPECT_EQ(need, 5);
  EXPECT_FALSE(IsDXGlobalInit());
  EXPECT_TRUE(sandbox.Entries().empty());
}

TEST(CallFrame, TheFifosDirectoryIsTheFirstThatIsSet) {
  constexpr const char* kNames[] = {"VEXADXTEMP", "TEMP", "TMP", "tmp"};
  const struct {
    const char* values[4];
    const char* path;
  } rows[] = {
      {{"/a", "/b", "/c", "/d"}, "/a/"},        {{"", "/b", "/c", "/d"}, ""},
      {{nullptr, "/b/", "/c", "/d"}, "/b/"},    {{nullptr, nullptr, "/c", "/d"}, "/c/"},
      {{nullptr, nullptr, nullptr, "d"}, "d/"}, {{nullptr, nullptr, nullptr, nullptr}, "/tmp/"},
  };
  for (const auto& row : rows) {
    for (int i = 0; i < 4; ++i) SetEnvironment(kNames[i], row.values[i]);
    IntializeVexaDxTemp();
    EXPECT_EQ(vexa_pipe_path, row.path);
  }
  ResetStaticVars();
}

TEST_F(CallFrameTest, TheLanguagesNameIsInTheFifosNames) {
  ScriptedPeer python(PeerPrefix(sandbox, "PYTHON"));
  SetXNameAndSHome("Python", nullptr);
  python.Expects(7).Answers(Longs{4});
  EXPECT_EQ(GetVariableCount(&error), 4);
}

TEST_F(CallFrameTest, AProcessThatHasItsPipesGoesOnAtItsLevel) {
  ScriptedPeer nested(sandbox.path() + "/04d2R1");
  InitDxGlobal(sandbox.path() + "/", "04d2", "r", "");
  for (int level = 0; level < 2; ++level) GetXPipeManager()->getPipeSuit("R")->increaseIndex();
  nested.Expects(7).Answers(Longs{4});
  EXPECT_EQ(GetVariableCount(&error), 4);
}

TEST_F(CallFrameTest, APeerThatHangsUpIsTold) {
  const std::string reply = Encode(MakeImage(9, Error{5}, Longs{}, Strings{"age"}));
  for (const auto& [sent, code] : {std::pair{0u, Code::kPeerClosed}, {3u, Code::kPeerClosed}, {30u, 5}}) {
    const Sandbox place;
    SetEnvironment("VEXADXTEMP", place.path().c_str());
    ScriptedPeer dying(PeerPrefix(place));
    dying.Expects(9, Longs{0}).Sends({reply.substr(0, sent)}).HangsUp();
    EXPECT_EQ(GetVariableName(0, &error), nullptr);
    EXPECT_EQ(error, code) << sent;
    EndSession();
  }
}

TEST_F(CallFrameTest, APeerThatIsGoneIsToldByTheRead) {
  peer.Expects(7).Answers(Longs{4});
  EXPECT_EQ(GetVariableCount(&error), 4);
  peer.Finish();
  EXPECT_EQ(GetVariableName(0, &error), nullptr);
  EXPECT_EQ(error, Code::kPeerClosed);
}

TEST(CallFrame, ASessionThatWasResetHasNoBackend) {
  SetBackend(getppid());
  ResetStaticVars();
  EXPECT_EQ(processId, -1);
  EXPECT_EQ(BackendExit(), -1);
}

TEST(CallFrame, AFlagGoesOutAsOneBit) {
  for (const unsigned byte : {0u, 1u, 2u, 255u}) {
    bool flag;
    std::memset(&flag, static_cast<int>(byte), 1);
    EXPECT_EQ(static_cast<int>(OneBit(flag)), static_cast<int>(byte & 1)) << "the lowest bit counts";
  }
}

}  // namespace
