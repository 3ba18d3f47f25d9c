// The walk over the cases, block by block, and what is committed on the way.
#include "support/data_step.h"

namespace {

class CursorTest : public ClientTest {
 protected:
  // Over variables of those types.
  void MakeCursor(const char* access, const std::vector<int>& types) {
    peer.Expects(33, Strings{access}).Answers();
    ExpectsVariables(types);
    ASSERT_EQ(MakeCaseCursor(access), 0);
  }
  void ExpectsVariables(const std::vector<int>& types) {
    peer.Expects(104).Answers(Longs{static_cast<int>(types.size())});
    for (int i = 0; const int type : types) {
      peer.Expects(109, Longs{i}).Answers(Longs{type});
      if (type == 0) {
        peer.Expects(32, Longs{i++}).Answers(Longs{0}, Doubles{0, 0, 0});
      } else {
        peer.Expects(31, Longs{i++}).Answers(Longs{0}, Strings{"", "", ""});
      }
    }
  }
  // A cursor over one number, and how it asks for a block.
  void MakeNumericCursor(const char* access = "r") {
    MakeCursor(access, {0});
    most = access[0] == 'r' ? 2621440 : 1;
  }
  ScriptedPeer::Step& ExpectsFetch() { return peer.Expects(227, Longs{most, 8}); }
  int Fetch(int code, std::initializer_list<double> cases) {
    ExpectsFetch().Answers(Error{code}, Longs{static_cast<int>(cases.size())}, Void{Numbers(cases)});
    return NextCase();
  }
  double Number(unsigned index = 0) {
    double value = std::nan("");
    EXPECT_EQ(GetNumericValue(index, &value, &missing), 0);
    return value;
  }
  int NumberCode() {
    double value = 0.0;
    return GetNumericValue(0, &value, &missing);
  }

  int missing = -1, most = 0;
};

// --- The build ---

TEST_F(CursorTest, AsksForAsManyCasesAsABlockHolds) {
  const struct {
    const char* access;
    std::vector<int> types;
    Longs wanted;
  } rows[] = {{"r", {0, 0, 0}, {873813, 24}},
              {"R", {0, 8}, {1310720, 16}},
              {"w", {0, 0, 0}, {1, 24}},
              {"rw", {0}, {1, 8}},
              {"", {0}, {1, 8}},
              {"r", {20971513}, {1, 20971520}},
              {"r", {20971520, 0}, {1, 20971528}}};
  for (const auto& row : rows) {
    MakeCursor(row.access, row.types);
    peer.Expects(227, row.wanted).Answers(Error{23});
    EXPECT_EQ(NextCase(), 23);
    peer.Expects(28).Answers();
    EXPECT_EQ(RemoveCaseCursor(), 0);
  }
}

// --- The walk ---

TEST_F(CursorTest, TheEndIsToldOnceBehindTheLastCase) {
  MakeNumericCursor();
  for (const int end : {67, 23}) {
    EXPECT_EQ(Fetch(end, {1, 2, 3, 4, 5}), 0);
    for (int i = 2; i <= 5; ++i) {
      EXPECT_EQ(NextCase(), 0);
      EXPECT_EQ(Number(), i);
    }
    EXPECT_EQ(NextCase(), end);
  }
}

TEST_F(CursorTest, ACodeWithoutCasesComesAtOnceAndDropsTheBlock) {
  MakeNumericCursor();
  for (const int code : {23, 67}) {
    EXPECT_EQ(Fetch(0, {1}), 0);
    EXPECT_EQ(Fetch(code, {}), code);
    EXPECT_EQ(NumberCode(), 10);
  }
  EXPECT_EQ(Fetch(5, {1}), 5) << "any other code comes without cases";
  EXPECT_EQ(NumberCode(), 10);
}

TEST_F(CursorTest, ABlockShorterThanItsCountHasNoCasesBehindItsEnd) {
  MakeCursor("r", {0, 0});
  peer.Expects(227, Longs{1310720, 16}).Answers(Longs{3}, Void{Numbers({1, 2, 3})});
  EXPECT_EQ(NextCase(), 0);
  EXPECT_EQ(Number(1), 2.0);
  peer.Expects(227, Longs{1310720, 16}).Answers(Longs{INT_MIN}, Void{Numbers({1, 2})});
  EXPECT_EQ(NextCase(), 0) << "half a case is none: the next block is asked for";
  for (const int told : {1, INT_MAX}) {
    peer.Expects(227, Longs{1310720, 16}).Answers(Longs{told}, Void{Numbers({1})});
    EXPECT_EQ(NextCase(), 99104);
    EXPECT_EQ(NumberCode(), 10);
  }
}

TEST_F(CursorTest, AFetchThatCannotBeSentWaitsForNoReply) {
  MakeNumericCursor();
  EXPECT_EQ(Fetch(0, {1.5}), 0);
  peer.Finish();
  EXPECT_EQ(NextCase(), 99104);
  EXPECT_EQ(Number(), 1.5) << "the cursor keeps its block";
}

TEST_F(CursorTest, APeerThatDiesInAFetchIsToldAndTheBlockIsGone) {
  MakeNumericCursor();
  ExpectsFetch().HangsUp();
  EXPECT_EQ(NextCase(), CleXDErrorCode::kPeerClosed);
  EXPECT_EQ(NumberCode(), 10);
}

TEST_F(CursorTest, EndSplitIsAskedOnlyWithoutCasesInHand) {
  int end = -1;
  for (const auto& [code, written] : {std::pair{0, 4}, {67, 4}, {23, -1}, {5, -1}}) {
    peer.Expects(95).Answers(Error{code}, Longs{4});
    EXPECT_EQ(IsEndSplit(&(end = -1)), code);
    EXPECT_EQ(end, written);
  }
  MakeNumericCursor();
  EXPECT_EQ(Fetch(67, {1}), 0);
  EXPECT_EQ(IsEndSplit(&end), 0);
  EXPECT_EQ(end, 0);
  EXPECT_EQ(NextCase(), 67);
  peer.Expects(95).Answers(Longs{1});
  EXPECT_EQ(IsEndSplit(&end), 0);
  EXPECT_EQ(end, 1);
}

// --- Values ---

TEST_F(CursorTest, AValueIsRefusedByItsIndexAndItsType) {
  MakeCursor("r", {0, 8});
  peer.Expects(227, Longs{1310720, 16}).Answers(Longs{1}, Void{Numbers({1}) + "textbyte"});
  EXPECT_EQ(NextCase(), 0);
  double number = 7.0;
  char buffer[] = "untouched", *text = buffer;
  for (const auto& [index, code] : {std::pair{1u, 24}, {2u, 10}, {3u, 10}, {UINT32_MAX, 10}}) {
    EXPECT_EQ(GetNumericValue(index, &number, &missing), code);
    EXPECT_EQ(GetStringValue(index == 1 ? 0 : index, &text, 8, &missing), code);
  }
  EXPECT_EQ(number, 7.0);
  EXPECT_STREQ(buffer, "untouched");
  EXPECT_EQ(missing, -1);
}

// --- Without a cursor of the client's ---

TEST_F(CursorTest, WithoutACursorATextIsCutToItsRoomOrFilledUp) {
  char buffer[] = "#########", *text = buffer;
  for (const auto& [length, written] :
       {std::pair{3, std::string("abc######")}, {8, std::string("abcde\0\0\0#", 9)}}) {
    peer.Expects(26, Longs{4, length}).Answers(Longs{0}, Strings{"abcde"});
    EXPECT_EQ(GetStringValue(4, &text, length, &missing), 0);
    EXPECT_EQ(std::string(buffer, 9), written);
  }
}

TEST_F(CursorTest, TheCursorGoesWhateverTheBackendSays) {
  for (const auto& [end, action] : {std::pair{&RemoveCaseCursor, 28}, {&ResetDataPass, 120}}) {
    MakeNumericCursor();
    peer.Expects(action).Answers(Error{5});
    EXPECT_EQ(end(), 5);
    peer.Expects(27).Answers();
    EXPECT_EQ(NextCase(), 0);
  }
}

TEST_F(CursorTest, ACursorOverAnotherStartsAnew) {
  MakeNumericCursor();
  EXPECT_EQ(Fetch(0, {1, 2}), 0);
  ExpectsVariables({8});
  IntializeCursorData("r");  // without asking the backend for a cursor
  EXPECT_EQ(NumberCode(), 10) << "the block went with the cursor before";
  ExpectsFetch().Answers(Longs{1}, Void{std::string("eight by")});
  EXPECT_EQ(NextCase(), 0);
  EXPECT_EQ(NumberCode(), 24);
}

// --- Commits ---

using CaseCommit = CursorTest;

TEST_F(CaseCommit, SendsTheValuesInCallOrderAndDropsThemWhateverTheCode) {
  for (const auto& [commit, action] : {std::pair{&CommitCaseRecord, 92}, {&CommitNewCase, 93}}) {
    for (const int code : {0, kRefused}) {
      EXPECT_EQ(Failed({SetValueNumeric("n", 1.5), SetValueChar("s", "a\0b", 3)}), "");
      EXPECT_EQ(Failed({SetValueNumeric("n", 2.5), SetValueChar("t", "text", 0)}), "");
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
  MakeNumericCursor("w");
  EXPECT_EQ(Fetch(23, {1.5}), 0);
  peer.Expects(92, Longs{1, 8}).Answers(Longs{1}, Void{Numbers({2.5})});
  EXPECT_EQ(CommitCaseRecord(), 0);
  EXPECT_EQ(NextCase(), 0);
  EXPECT_EQ(Number(), 2.5);
  EXPECT_EQ(Fetch(0, {3.5}), 0) << "the end that came with the block before is not told any more";
}

TEST_F(CaseCommit, WithoutABlockLeavesTheCursorWhereItIs) {
  MakeNumericCursor("w");
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
  dataVec.Append({"d", 1, 2, 0, 1.5, ""});
  dataVec.Append({"e", 3, 4, 1, 0.0, "x"});
  peer.Expects(228, Records{{"d", 1, 2, 0, 1.5, ""}, {"e", 3, 4, 1, 0.0, "x"}}).Answers(Error{kRefused});
  EXPECT_EQ(CommitDataSet(), kRefused);
  EXPECT_EQ(dataVec.Count(), 0u);
  peer.Finish();
  dataVec.Append({"d", 1, 2, 0, 1.5, ""});
  EXPECT_EQ(CommitDataSet(), CleXDErrorCode::kPeerClosed) << "it did not go out";
  EXPECT_EQ(dataVec.Count(), 0u);
}

TEST_F(CaseCommit, KeepsNothingPastTheCursorsEnd) {
  for (const auto& [end, action] : {std::pair{&RemoveCaseCursor, 28}, {&ResetDataPass, 120}}) {
    SetValueNumeric("n", 1.5);
    peer.Expects(action).Answers();
    EXPECT_EQ(end(), 0);
    peer.Expects(93).Answers();
    EXPECT_EQ(CommitNewCase(), 0);
  }
}

}  // namespace
