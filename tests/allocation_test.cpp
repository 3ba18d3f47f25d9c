// Each function of the interface runs with its first allocation failing, with its second, and so on, until it
// goes through. Nothing may leave it but a code, nothing may be lost, and the next call has to get its own
// reply.

#include "session.h"
#include "support/answering_peer.h"
#include "support/every_function.h"
#include "support/failing_allocations.h"
#include "support/scripted_peer.h"

namespace {

using Code = CleXDErrorCode;

constexpr int kTagged = 11;  // GetVariableType, which is answered with its own argument
constexpr int kCopyright = 213;

// Every slot filled, for whatever is asked. A frame of the larger kind goes its own way.
std::string AnswerTo(const std::string& request, std::size_t filling) {
  const Image asked = Decode(request).value_or(Image());
  if (asked.action == kTagged && !asked.longs.empty())
    return Encode(MakeImage(kTagged, Longs{asked.longs[0]}));
  Image reply = MakeImage(asked.action, Longs{2, 1, 2, 3}, Doubles{1, 2, 3}, Strings{kLongText, kLongText},
                          LongLists{{0, 0}}, DoubleLists{{1, 2}},
                          StringLists{{kLongText, kLongText}, {kLongText, kLongText}}, Binary{"image"},
                          Wide{U"a wide text"}, Void{std::string(64 + filling, 'v')});
  if (asked.action == kCopyright) reply.strings.pop_back();
  return Encode(reply);
}

class AllocationTest : public testing::TestWithParam<std::size_t> {
 protected:
  AllocationTest() {
    alarm(40);
    SetEnvironment("VEXADXTEMP", sandbox.path().c_str());
    SetVexaRunning(true);
  }
  ~AllocationTest() override {
    peer.reset();
    EndSession();
    EXPECT_EQ(sandbox.Entries(), std::vector<std::string>());
    EXPECT_EQ(OpenDescriptors(), descriptors_before);
  }
  std::unique_ptr<AnsweringPeer> NewPeer() const {
    return std::make_unique<AnsweringPeer>(
        PeerPrefix(sandbox), [](const std::string& request) { return AnswerTo(request, GetParam()); });
  }
  // Whether the n-th allocation was asked for, which then failed.
  static bool Fail(long n, const std::function<void()>& work) {
    FailAllocation(n);
    try {
      work();
    } catch (...) {
      FailAllocation(0);
      ADD_FAILURE() << "an exception leaves the call";
    }
    return FailAllocation(0);
  }
  // The session is in step: a call gets its own reply.
  void ExpectInStep() {
    int code = -1;
    ++tag;
    EXPECT_EQ(GetVariableType(tag, &code), tag);
    EXPECT_EQ(code, 0);
  }
  void Walk(const EveryCall& call) {
    SCOPED_TRACE(call.name);
    bool failed = true;
    for (long n = 1; failed && n < 1000; ++n) {
      SCOPED_TRACE(n);
      Prepare(call.name);
      {
        CallRoom room;
        failed = Fail(n, [&] { call.make(room); });
        const bool told = room.Told(Code::kTooLarge);
        EXPECT_TRUE(failed || !told);
        EXPECT_FALSE(room.Told(Code::kPeerClosed) || room.Told(Code::kPipeFailed));
        EXPECT_TRUE(!told || room.HoldsNothingBut(Code::kTooLarge));
      }
      ExpectInStep();
    }
  }
  // What the call works on, where earlier ones have left none.
  static void Prepare(std::string_view name) {
    std::string().swap(activeDatasetName);
    if (name == "CommitCaseRecord" || name == "CommitNewCase") {
      SetValueNumeric(kLongText, 1.0);
      SetValueChar(kLongText, kLongText, 40);
    } else if (name == "CommitDataSet" || name == "FetchDatastep" || name == "EndDataStep") {
      SetCCellValue(kLongText, 0, 0, kLongText);
    } else if (name.ends_with("Optimize") || name == "GetRowList") {
      ClearDatastepBatch();
    } else if (name == "NextCase") {
      RemoveCaseCursor();
      MakeCaseCursor("r");
    }
  }

  const int descriptors_before = OpenDescriptors();
  const Sandbox sandbox;
  std::unique_ptr<AnsweringPeer> peer = NewPeer();
  int tag = 1000;
};

TEST_P(AllocationTest, EveryCallGivesACodeAndStaysInStep) {
  ExpectInStep();
  for (const EveryCall& call : EveryFunction()) {
    if (call.name != "HasProcedure") Walk(call);  // which aborts on any failure
  }
}

TEST_P(AllocationTest, ASessionThatCouldNotBeginBeginsWithTheNextCall) {
  bool failed = true;
  for (long n = 1; failed && n < 1000; ++n) {
    SCOPED_TRACE(n);
    int code = 0;
    failed = Fail(n, [&] { GetVariableType(tag, &code); });
    EXPECT_TRUE(code == 0 || (failed && code == Code::kTooLarge)) << code;
    ExpectInStep();
    peer.reset();
    EndSession();
    peer = NewPeer();
  }
}

INSTANTIATE_TEST_SUITE_P(Frames, AllocationTest, testing::Values(0, 20000),
                         [](const auto& filling) { return filling.param == 0 ? "Small" : "Large"; });

}  // namespace
