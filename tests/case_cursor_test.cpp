#include <climits>
#include <cmath>
#include <cstring>

#include "cursor_data_smb.h"
#include "session.h"
#include "support/scripted_peer.h"
#include "vexaxd_p.h"

namespace {

// The bytes of cases of numeric variables.
std::string Numbers(std::initializer_list<double> values) {
  return {reinterpret_cast<const char*>(values.begin()), values.size() * sizeof(double)};
}

struct Variable {
  int type = 0;  // or the width of a string
  int format = 0;
  std::vector<double> numbers = {0.0, 0.0, 0.0};
  std::vector<std::string> texts = {"", "", ""};
};

class CursorTest : public ClientTest {
 protected:
  void MakeCursor(const char* access, const std::vector<Variable>& variables) {
    peer.Expects(33, Strings{access}).Answers();
    peer.Expects(104).Answers(Longs{static_cast<int>(variables.size())});
    for (int i = 0; const Variable& variable : variables) {
      peer.Expects(109, Longs{i}).Answers(Longs{variable.type});
      if (variable.type == 0) {
        peer.Expects(32, Longs{i++}).Answers(Longs{variable.format}, Doubles{variable.numbers});
      } else {
        peer.Expects(31, Longs{i++}).Answers(Longs{variable.format}, Strings{variable.texts});
      }
    }
    ASSERT_EQ(MakeCaseCursor(access), 0);
  }
  // A cursor over one numeric variable, and how it asks for a block.
  void MakeNumericCursor() { MakeCursor("r", {Variable()}); }
  ScriptedPeer::Step& ExpectsFetch() { return peer.Expects(227, Longs{2621440, 8}); }
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

  int missing = -1;
};

// --- The build ---

TEST_F(CursorTest, ACaseIsARunOfUnitsInDictionaryOrder) {
  MakeCursor("r", {{.type = 7}, {.type = 8}, {.type = 9}, {.type = 16}, {.type = 17}, {}});
  std::string block = "sevenaa eight888nine99999       sixteen6666666--seventeen77777777       ";
  ASSERT_EQ(block.size(), 72u);
  peer.Expects(227, Longs{262144, 80}).Answers(Longs{1}, Void{block + Numbers({-0.5})});
  ASSERT_EQ(NextCase(), 0);
  const char* const texts[] = {"sevenaa", "eight888", "nine99999", "sixteen6666666--", "seventeen77777777"};
  for (unsigned i = 0; i < 5; ++i) {
    char buffer[20], *value = buffer;
    std::memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(GetStringValue(i, &value, 1, &missing), 0);
    EXPECT_EQ(std::string(buffer, std::strlen(texts[i]) + 1), texts[i] + std::string("#"))
        << "the full width, no more";
  }
  EXPECT_EQ(Number(5), -0.5);
}

TEST_F(CursorTest, AsksForAsManyCasesAsABlockHolds) {
  const struct {
    const char* access;
    std::vector<Variable> variables;
    Longs wanted;
  } rows[] = {
      {"r", {{}, {}, {}}, {873813, 24}},
      {"R", {{}, {.type = 8}}, {1310720, 16}},
      {"w", {{}, {}, {}}, {1, 24}},
      {"rw", {{}}, {1, 8}},
      {"", {{}}, {1, 8}},
      {"r", {{.type = 20971513}}, {1, 20971520}},
      {"r", {{.type = 20971520}, {}}, {1, 20971528}},
  };
  for (const auto& row : rows) {
    MakeCursor(row.access, row.variables);
    peer.Expects(227, row.wanted).Answers(Error{23});
    EXPECT_EQ(NextCase(), 23);
    peer.Expects(28).Answers();
    EXPECT_EQ(RemoveCaseCursor(), 0);
  }
}

TEST_F(CursorTest, ARefusedCursorIsNotBuilt) {
  peer.Expects(33, Strings{"r"}).Answers(Error{5});
  EXPECT_EQ(MakeCaseCursor("r"), 5);
  EXPECT_EQ(curCaseData, nullptr);
}

// --- The walk ---

TEST_F(CursorTest, StepsInsideABlockAndThenAsksAgain) {
  MakeNumericCursor();
  for (const double first : {1.0, 11.0}) {
    EXPECT_EQ(Fetch(0, {first, first + 1}), 0);
    EXPECT_EQ(Number(), first);
    EXPECT_EQ(NextCase(), 0);
    EXPECT_EQ(Number(), first + 1);
  }
}

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

TEST_F(CursorTest, ABlockOfNoCasesIsNoError) {
  MakeNumericCursor();
  EXPECT_EQ(Fetch(0, {}), 0);
  EXPECT_EQ(NumberCode(), 10);
  EXPECT_EQ(Fetch(23, {}), 23);
}

TEST_F(CursorTest, ABlockShorterThanItsCountHasNoCasesBehindItsEnd) {
  MakeCursor("r", {{}, {}});
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
  MakeCursor("r", {{}, {.type = 8}});
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

TEST_F(CursorTest, MissingValuesComeFromTheDictionary) {
  MakeCursor("r",
             {{.format = -3, .numbers = {1, 2, 9}}, {.type = 8, .format = 2, .texts = {"a       ", "b"}}});
  peer.Expects(227, Longs{1310720, 16})
      .Answers(Longs{3},
               Void{Numbers({1.5}) + "a       " + Numbers({9}) + "b       " + Numbers({3}) + "c       "});
  for (const auto& [number_missing, text_missing] : {std::pair{1, 1}, {1, 0}, {0, 0}}) {
    char buffer[8], *text = buffer;
    EXPECT_EQ(NextCase(), 0);
    Number();
    EXPECT_EQ(missing, number_missing);
    EXPECT_EQ(GetStringValue(1, &text, 8, &missing), 0);
    EXPECT_EQ(missing, text_missing) << "a value that came unpadded matches nothing";
  }
}

TEST_F(CursorTest, SystemMissingNeedsNoDictionary) {
  MakeNumericCursor();
  EXPECT_EQ(Fetch(0, {VEXA_SystemMissing(), 1.5}), 0);
  EXPECT_EQ(Number(), VEXA_SystemMissing());
  EXPECT_EQ(missing, 2);
  EXPECT_EQ(NextCase(), 0);
  EXPECT_EQ(Number(), 1.5);
  EXPECT_EQ(missing, 0);
}

TEST(MissingValues, OfNumbersAreComparedByTheirBitsAndRangesByTheirValues) {
  const double nan = std::nan(""), sysmis = VEXA_SystemMissing(), max = -sysmis;
  const struct {
    int format;
    double first, second, third;
    std::vector<double> missing, valid;
  } rows[] = {
      {0, 1, 2, 3, {}, {1, 2, 3}},        {1, 1, 2, 3, {1}, {2, 3}},
      {2, 1, 2, 3, {1, 2}, {3}},          {3, 1, 2, 3, {1, 2, 3}, {4}},
      {-1, 1, 2, 3, {}, {1, 2, 3}},       {4, 1, 2, 3, {}, {1, 2, 3}},
      {1, 0.0, 1, 1, {0.0}, {-0.0}},      {-2, -1, 1, 5, {-1, -0.0, 1}, {1.5, 5, nan}},
      {-3, -1, 1, 5, {-1, 1, 5}, {4}},    {-3, 0, 1, nan, {nan, 0.5}, {2}},
      {-2, sysmis, max, 0, {max}, {nan}}, {1, sysmis, 0, 0, {}, {0}},
  };
  for (const auto& row : rows) {
    const VarInfo info = {0, ObsOf(row.first), ObsOf(row.second), ObsOf(row.third), row.format};
    const auto kind = [&](double value) { return CursorDataSmb::IsMissing(&info, &AsOBS(value)); };
    for (const double value : row.missing) EXPECT_EQ(kind(value), 1) << row.format << ": " << value;
    for (const double value : row.valid) EXPECT_EQ(kind(value), 0) << row.format << ": " << value;
    EXPECT_EQ(kind(sysmis), 2) << row.format;
  }
}

TEST(MissingValues, OfTextsHaveEightBytesAndBlanksBehind) {
  const OBS first = {{'f', 'i', 'r', 's', 't', ' ', ' ', ' '}},
            second = {{'s', 'e', 'c', 'o', 'n', 'd', ' ', ' '}},
            third = {{'t', 'h', 'i', 'r', 'd', ' ', ' ', ' '}};
  const struct {
    int width, format;
    std::vector<std::string> missing, valid;
  } rows[] = {
      {8, 0, {}, {"first   "}},
      {8, 1, {"first   "}, {"second  ", "\xff\xff\xff\xff\xff\xff\xef\xff"}},
      {8, 2, {"first   ", "second  "}, {"third   "}},
      {8, 3, {"first   ", "second  ", "third   "}, {"fourth  "}},
      {8, -2, {}, {"first   "}},
      {8, -3, {}, {"third   "}},
      {9, 1, {"first           "}, {"first   9       "}},
      {16, 1, {"first           "}, {"first          6"}},
      {17, 1, {"first                   "}, {"first           7       "}},
  };
  for (const auto& row : rows) {
    const VarInfo info = {row.width, first, second, third, row.format};
    const auto kind = [&](const std::string& text) {
      const std::vector<char> exact(text.begin(), text.end());
      return CursorDataSmb::IsMissing(&info, reinterpret_cast<const OBS*>(exact.data()));
    };
    for (const std::string& text : row.missing) EXPECT_EQ(kind(text), 1) << row.format << ": " << text;
    for (const std::string& text : row.valid) EXPECT_EQ(kind(text), 0) << row.format << ": " << text;
  }
}

// --- Without a cursor of the client's ---

TEST_F(CursorTest, WithoutACursorTheBackendIsAskedForEachValue) {
  double number = 7.0;
  char buffer[] = "#########", *text = buffer;
  peer.Expects(27).Answers(Error{67});
  EXPECT_EQ(NextCase(), 67);
  peer.Expects(25, Longs{3}).Answers(Longs{1}, Doubles{1.5});
  EXPECT_EQ(GetNumericValue(3, &number, &missing), 0);
  EXPECT_EQ(number, 1.5);
  EXPECT_EQ(missing, 1);
  for (const auto& [length, written] :
       {std::pair{3, std::string("abc######")}, {8, std::string("abcde\0\0\0#", 9)}}) {
    peer.Expects(26, Longs{4, length}).Answers(Longs{0}, Strings{"abcde"});
    EXPECT_EQ(GetStringValue(4, &text, length, &missing), 0);
    EXPECT_EQ(std::string(buffer, 9), written);
    EXPECT_EQ(missing, 0);
  }
  peer.Expects(25, Longs{3}).Answers(Error{24}, Longs{2}, Doubles{2.5});
  EXPECT_EQ(GetNumericValue(3, &number, &missing), 24);
  EXPECT_EQ(number, 1.5);
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

TEST_F(CursorTest, TheBackendsOwnCursorIsAskedFor) {
  MakeNumericCursor();
  for (const auto& [ask, action] : {std::pair{&GetCursorPosition, 30}, {&HasCursor, 34}}) {
    int value = -1;
    peer.Expects(action).Answers(Error{5}, Longs{6});
    EXPECT_EQ(ask(&value), 5);
    EXPECT_EQ(value, -1);
    peer.Expects(action).Answers(Longs{6});
    EXPECT_EQ(ask(&value), 0);
    EXPECT_EQ(value, 6);
  }
}

TEST_F(CursorTest, ACursorOverAnotherStartsAnew) {
  MakeNumericCursor();
  EXPECT_EQ(Fetch(0, {1, 2}), 0);
  peer.Expects(104).Answers(Longs{1});
  peer.Expects(109, Longs{0}).Answers(Longs{8});
  peer.Expects(31, Longs{0}).Answers(Longs{0}, Strings{"", "", ""});
  IntializeCursorData("r");  // without asking the backend for a cursor
  EXPECT_EQ(NumberCode(), 10) << "the block went with the cursor before";
  ExpectsFetch().Answers(Longs{1}, Void{std::string("eight by")});
  EXPECT_EQ(NextCase(), 0);
  EXPECT_EQ(NumberCode(), 24);
}

TEST_F(CursorTest, EveryCallIsGuarded) {
  MakeNumericCursor();
  EXPECT_EQ(Fetch(0, {1, 2}), 0);
  SetVexaRunning(false);
  int out = -1;
  double value = 0.0;
  char* text = nullptr;
  for (const int code :
       {MakeCaseCursor("r"), NextCase(), GetNumericValue(0, &value, &out), GetStringValue(0, &text, 0, &out),
        GetCursorPosition(&out), HasCursor(&out), IsEndSplit(&out), RemoveCaseCursor(), ResetDataPass()}) {
    EXPECT_EQ(code, 17);
  }
  EXPECT_NE(curCaseData, nullptr);
  EXPECT_EQ(out, -1);
}

}  // namespace
