#include <cstdlib>
#include <cstring>

#include "CleXDErrorCode.h"
#include "support/data_step.h"

namespace {

class CaseCommit : public ClientTest {
 protected:
  // Over one numeric variable.
  void MakeCursor() {
    peer.Expects(33, Strings{"w"}).Answers();
    peer.Expects(104).Answers(Longs{1});
    peer.Expects(109, Longs{0}).Answers(Longs{0});
    peer.Expects(32, Longs{0}).Answers(Longs{0}, Doubles{0, 0, 0});
    ASSERT_EQ(MakeCaseCursor("w"), 0);
  }
  int Fetch(int code, std::initializer_list<double> cases) {
    peer.Expects(227, Longs{1, 8})
        .Answers(Error{code}, Longs{static_cast<int>(cases.size())}, Void{Numbers(cases)});
    return NextCase();
  }
  static double Number() {
    double value = 0.0;
    int missing = 0;
    return GetNumericValue(0, &value, &missing) == 0 ? value : -1.0;
  }
};

TEST_F(CaseCommit, SendsTheValuesInCallOrderAndDropsThemWhateverTheCode) {
  for (const auto& [commit, action] : {std::pair{&CommitCaseRecord, 92}, {&CommitNewCase, 93}}) {
    for (const int code : {0, kRefused}) {
      EXPECT_EQ(SetValueNumeric("n", 1.5) + SetValueChar("s", "a\0b", 3), 0);
      EXPECT_EQ(SetValueNumeric("n", 2.5) + SetValueChar("t", "text", 0), 0);
      peer.Expects(action, Doubles{1.5, 2.5}, Strings{std::string("a\0b", 3), ""},
                   StringLists{{"n", "n"}, {"s", "t"}})
          .Answers(Error{code});
      EXPECT_EQ(commit(), code);
      peer.Expects(action).Answers();
      EXPECT_EQ(commit(), 0) << "nothing is left of the case";
    }
  }
}

TEST_F(CaseCommit, SendsBothListsOfNamesForOneKindOfValues) {
  SetValueNumeric("n", 1.5);
  peer.Expects(93, Doubles{1.5}, StringLists{{"n"}, {}}).Answers();
  EXPECT_EQ(CommitNewCase(), 0);
  SetValueChar("s", "x", 1);
  peer.Expects(92, Strings{"x"}, StringLists{{}, {"s"}}).Answers();
  EXPECT_EQ(CommitCaseRecord(), 0);
}

TEST_F(CaseCommit, BringsTheNextCaseWhichAStepReachesWithoutARequest) {
  MakeCursor();
  EXPECT_EQ(Fetch(23, {1.5}), 0);
  peer.Expects(92, Longs{1, 8}).Answers(Longs{1}, Void{Numbers({2.5})});
  EXPECT_EQ(CommitCaseRecord(), 0);
  EXPECT_EQ(NextCase(), 0);
  EXPECT_EQ(Number(), 2.5);
  EXPECT_EQ(Fetch(0, {3.5}), 0) << "the end that came with the block before is not told any more";
}

TEST_F(CaseCommit, WithoutABlockLeavesTheCursorWhereItIs) {
  MakeCursor();
  EXPECT_EQ(Fetch(0, {1.5, 2.5}), 0);
  peer.Expects(92, Longs{1, 8}).Answers(Longs{1});
  EXPECT_EQ(CommitCaseRecord(), 0);
  peer.Expects(92, Longs{1, 8}).Answers(Error{23}, Longs{1}, Void{Numbers({9.5})});
  EXPECT_EQ(CommitCaseRecord(), 23);
  peer.Expects(93).Answers(Longs{1}, Void{Numbers({9.5})});
  EXPECT_EQ(CommitNewCase(), 0);
  EXPECT_EQ(Number(), 1.5);
  EXPECT_EQ(NextCase(), 0);
  EXPECT_EQ(Number(), 2.5);
}

TEST_F(CaseCommit, OfManyCasesTakesTheBlockAndDropsTheGatheredValues) {
  const char* names[] = {"a", "b"};
  int types[] = {0, 8};
  SetValueNumeric("n", 1.5);
  for (const int code : {0, kRefused, kDown}) {  // a block that is not released shows as a leak
    SetVexaRunning(code != kDown);
    if (code != kDown)
      peer.Expects(220, Strings{"a", "b"}, Longs{2, 70000}, LongLists{{0, 8}}, Void{"the block"})
          .Answers(Error{code});
    EXPECT_EQ(CommitManyCases(const_cast<char**>(names), types, strdup("the block"), 2, 9, 70000), code);
  }
  SetVexaRunning(true);
  peer.Expects(93).Answers();
  EXPECT_EQ(CommitNewCase(), 0);
}

TEST_F(CaseCommit, OfPendingCellsDropsThemWhateverTheCode) {
  dataVec = {{"d", 1, 2, 0, 1.5, ""}, {"e", 3, 4, 1, 0.0, "x"}};
  SetVexaRunning(false);
  EXPECT_EQ(CommitDataSet(), kDown);
  SetVexaRunning(true);
  peer.Expects(228, Records{{"d", 1, 2, 0, 1.5, ""}, {"e", 3, 4, 1, 0.0, "x"}}).Answers(Error{kRefused});
  EXPECT_EQ(CommitDataSet(), kRefused);
  EXPECT_TRUE(dataVec.empty());
  peer.Finish();
  dataVec = {{"d", 1, 2, 0, 1.5, ""}};
  EXPECT_EQ(CommitDataSet(), CleXDErrorCode::kPeerClosed) << "it did not go out";
  EXPECT_TRUE(dataVec.empty());
}

TEST_F(CaseCommit, GathersNothingWithoutABackendOrPastTheCursorsEnd) {
  SetVexaRunning(false);
  EXPECT_EQ(SetValueNumeric("n", 1.5), kDown);
  EXPECT_EQ(SetValueChar("s", "x", 1), kDown);
  SetVexaRunning(true);
  for (const auto& [end, action] : {std::pair{&RemoveCaseCursor, 28}, {&ResetDataPass, 120}}) {
    peer.Expects(93).Answers();
    EXPECT_EQ(CommitNewCase(), 0);
    SetValueNumeric("n", 1.5);
    peer.Expects(action).Answers();
    EXPECT_EQ(end(), 0);
  }
  peer.Expects(93).Answers();
  EXPECT_EQ(CommitNewCase(), 0);
}

}  // namespace
