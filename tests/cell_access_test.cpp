#include "dataset_catalogue.h"
#include "datastep_data_smb.h"
#include "support/data_step.h"
#include "support/processes.h"

namespace {

const Strings d{"d"};
constexpr int kRowTooLarge = CleXDErrorCode::kRowOutOfRange;

class CellAccess : public DataStepTest {
 protected:
  // Three rows of a number and a text.
  void OpenThreeRows() {
    Start();
    Open("d", 3, {0, 9});
  }
  // Rows 4 to 6 of two variables.
  ScriptedPeer::Step& ExpectsFetch(const char* name, int again, int row) {
    auto& step = peer.Expects(221, Strings{name}, Longs{again, row});
    step.Answers(Longs{4, 2, 0, 9, 6, 99}, LongLists{{0, 1, 2, 3, 4, 5}},
                 DoubleLists{{0.5, 1.5, 2.5, 3.5, 4.5, 5.5}}, StringLists{{"a", "b", "c", "d", "e", "f"}});
    return step;
  }
  double Number(long row, int column) { return GetNCellValueOptimize("d", row, column, &missing, &error); }
  // Loads a case of a number and of strings of 3, 8 and 9 bytes.
  void LoadCase() {
    Open("d", 1, {0, 3, 8, 9});
    peer.Expects(237, d, Longs{2, 1}).Answers(Void{block});
    GetCaseValue("d", 2, true, &size, &error);
    ASSERT_TRUE(size == 40 && error == 0);
  }
  std::string Text(int variable) {
    char* const text = GetCCellValueFromCache("d", variable, &error);
    const std::string copy = text != nullptr ? text : "null";
    FreeString(text);
    return copy;
  }

  const std::string block = Numbers({2.5}) + "ab .....eight888nine            ";
  int missing = -1, size = -1;
};

// --- One cell at a time ---

TEST_F(CellAccess, AWriteIsRefusedByTheFirstThatIsWrong) {
  const auto both = [](const char* name, long row, int column) {
    const int code = SetNCellValue(name, row, column, 1.5);
    EXPECT_EQ(SetCCellValue(name, row, column, "text"), code);
    return code;
  };
  SetVexaRunning(false);
  EXPECT_EQ(both("none", -1, -1), kDown);
  SetVexaRunning(true);
  EXPECT_EQ(both("none", -1, -1), 89);
  OpenThreeRows();
  EXPECT_EQ(both("none", -1, -1), 87);
  for (const long row : {-1L, 3L, 1L << 32}) EXPECT_EQ(both("d", row, -1), 97);
  for (const int column : {-1, 2}) EXPECT_EQ(both("d", 2, column), 10);
  EXPECT_EQ(dataVec.Count(), 0u);
  EXPECT_EQ(both("d", 2, 1), 0);
  EXPECT_EQ(dataVec.Count(), 2u);
}

TEST_F(CellAccess, PendingWritesGoOutAheadOfReadsAndEnds) {
  const struct {
    Image request;
    std::function<void()> call;
  } rows[] = {
      {MakeImage(181, d, Longs{1, 0}), [&] { GetNCellValue("d", 1, 0, &missing, &error); }},
      {MakeImage(182, d, Longs{1, 0}), [&] { GetCCellValue("d", 1, 0, &missing, &error); }},
      {MakeImage(221, d, Longs{0, 1}), [&] { FetchDatastep("d", 1, 0, &error), ClearDatastepBatch(); }},
      {MakeImage(145, d), [] { CloseDataset("d"); }},
      {MakeImage(133), [] { EndDataStep(); }}};
  OpenThreeRows();
  for (const auto& row : rows) {
    SCOPED_TRACE(row.request.action);
    EXPECT_EQ(Failed({SetCCellValue("d", 2, 1, "text"), SetNCellValue("d", 1, 0, 1.5)}), "");
    peer.Expects(228, Records{{"d", 2, 1, 1, 0.0, "text"}, {"d", 1, 0, 0, 1.5, ""}}).Answers(Error{kRefused});
    peer.Expects(row.request).Answers(Error{kRefused});
    row.call();
    peer.Expects(row.request).Answers(Error{kRefused});
    row.call();
  }
}

TEST_F(CellAccess, AFullQueueIsCommittedAheadOfTheNextCell) {
  constexpr std::size_t kMost = 1048576;
  OpenThreeRows();
  for (std::size_t i = 1; i < kMost; ++i) dataVec.Append({});
  EXPECT_EQ(SetNCellValue("d", 1, 0, 1.5), 0);
  std::vector<Record> all(kMost);
  all.back() = {"d", 1, 0, 0, 1.5, ""};
  peer.Expects(228, Records(std::move(all))).Answers(Error{kRefused});
  EXPECT_EQ(SetCCellValue("d", 2, 1, "text"), kRefused);
  peer.Expects(228, Records{{"d", 2, 1, 1, 0.0, "text"}}).Answers();
  EXPECT_EQ(CommitDataSet(), 0) << "queued all the same";
}

// --- The batch ---

TEST_F(CellAccess, CellsOfABatchAreReadWithoutARequestAndOthersAsNothing) {
  ExpectsFetch("d", 0, 5);
  EXPECT_EQ(Number(5, 1), 3.5);
  EXPECT_EQ(missing, 3);
  char* const texts[] = {GetCCellValueOptimize("d", 6, 0, &missing, &error),
                         GetCCellValueCache("any", 6, 0, &missing, &error)};
  for (char* const text : texts) {
    EXPECT_STREQ(text, "e");
    FreeString(text);
  }
  EXPECT_EQ(missing, 4);
  EXPECT_EQ(GetNCellValueBatch("any", 4, 0, &missing, &error, DatastepBatch), 0.5);
  long rows[3] = {};
  GetRowList("d", 4, 0, &rows[0], &rows[1], &rows[2], &(error = 5));
  EXPECT_TRUE(rows[0] == 4 && rows[1] == 6 && rows[2] == 99 && error == 0);
  int types[] = {5, 5};
  GetVarTypeInDSCache(types, 2, &(error = 5));
  EXPECT_TRUE(types[0] == 0 && types[1] == 9 && error == 0);
  for (const long row : {3L, 7L, 1L << 31, LONG_MIN, LONG_MAX}) {
    EXPECT_EQ(GetNCellValueCache("d", row, 0, &(missing = 5), &error), 0.0);
    EXPECT_EQ(GetCCellValueCache("d", row, 0, &missing, &error), nullptr);
    const bool asked = row == 3 || row == 7;
    EXPECT_EQ(missing, asked ? 0 : 5);
    EXPECT_EQ(error, asked ? 0 : kRowTooLarge);
  }
}

TEST_F(CellAccess, ARowThatTheWireDoesNotHoldIsNoOtherRow) {
  OpenThreeRows();
  casecountVec[0] = 1L << 33;
  const long row = (1L << 32) + 1;
  GetNCellValue("d", row, 0, &missing, &(error = 0));
  EXPECT_EQ(error, kRowTooLarge);
  GetCCellValue("d", row, 0, &missing, &(error = 0));
  EXPECT_EQ(error, kRowTooLarge);
  FetchDatastep("d", row, 0, &(error = 0));
  EXPECT_EQ(error, kRowTooLarge);
  int variable = 0;
  for (const int code :
       {SetNCellValue("d", row, 0, 1.5), SetCCellValue("d", row, 1, "text"), InsertCase("d", row),
        DeleteCase("d", row), SetCaseValue("d", row, false, nullptr, 0),
        SetCasePartValue("d", row, &variable, false, 1)}) {
    EXPECT_EQ(code, kRowTooLarge);
  }
}

TEST_F(CellAccess, ARowOutsideTheBatchOrAnotherDatasetIsFetched) {
  ExpectsFetch("d", 0, 4);
  Number(4, 0), Number(6, 0);
  for (const int row : {3, 7}) {
    ExpectsFetch("d", 1, row);
    Number(row, 0);
  }
  ExpectsFetch("e", 0, 5);
  long rows[3] = {};
  GetRowList("e", 5, 0, &rows[0], &rows[1], &rows[2], &error);
  ClearDatastepBatch();
  ExpectsFetch("e", 0, 5);
  FetchDatastep("e", 5, 0, &error);
}

TEST_F(CellAccess, AFetchWithoutABackendIsRefusedAndKeepsTheBatch) {
  ExpectsFetch("d", 0, 4);
  Number(4, 0);
  SetVexaRunning(false);
  FetchDatastep("d", 9, 0, &error);
  EXPECT_EQ(error, kDown);
  EXPECT_EQ(Number(5, 0), 2.5);
}

// --- The case that is kept here ---

TEST_F(CellAccess, ALoadedCaseStaysUntilTheNextAndTellsByIndexAndType) {
  LoadCase();
  EXPECT_EQ(Text(1) + Text(2), "ab eight888");
  EXPECT_EQ(SetNCellValueFromCache("d", 0, VEXA_SystemMissing()), 0);
  EXPECT_EQ(GetNCellValueFromCache("d", 0, &missing, &error), VEXA_SystemMissing());
  EXPECT_EQ(missing, 1);
  peer.Expects(237, d, Longs{0, 0}).Answers(Error{kRefused}, Void{"12345678"});
  GetCaseValue("d", 0, false, &size, &error);
  EXPECT_TRUE(error == kRefused && size == 40 && Text(3) == "nine     ");
  for (const auto& [variable, of_number, of_text] :
       {std::tuple{0, 0, 57}, {1, 56, 0}, {4, 10, 10}, {-1, 10, 10}}) {
    GetNCellValueFromCache("d", variable, &missing, &error);
    EXPECT_EQ(error, of_number) << variable;
    Text(variable);
    EXPECT_EQ(error, of_text) << variable;
  }
  EXPECT_EQ(SetNCellValueFromCache("d", 1, 1.5), 57);
  EXPECT_EQ(SetNCellValueFromCache("d", 4, 1.5), 10);
  EXPECT_EQ(SetCCellValueFromCache("d", 4, "x"), 10);
}

TEST_F(CellAccess, ATextFillsWholeUnitsOfAnyVariableAndThePartsAreNamed) {
  LoadCase();
  EXPECT_EQ(SetCCellValueFromCache("d", 0, "123456789"), 0) << "of a number too";
  EXPECT_EQ(SetCCellValueFromCache("d", 1, "abcdef"), 0);
  EXPECT_EQ(SetCCellValueFromCache("d", 3, "nine and sixteen and more"), 0);
  int parts[] = {3, 0, 4};
  for (const int code : {0, kRefused}) {
    peer.Expects(238, d, Longs{7, 3, 3, 2, 0, 1, 0, 0, 1}, Void{"12345678abcdef  eight888nine and sixteen"})
        .Answers(Error{code});
    EXPECT_EQ(SetCasePartValue("d", 7, parts, true, 3), code);
  }
  peer.Expects(238, d, Longs{7, 0}, Void{"abc"}).Answers(Error{kRefused});
  EXPECT_EQ(SetCaseValue("d", 7, false, const_cast<char*>("abcd"), 3), kRefused);
}

TEST_F(CellAccess, WhatLiesOutsideTheCaseIsOutOfRange) {
  LoadCase();
  peer.Expects(237, d, Longs{0, 0}).Answers(Void{"12345678abcd"});
  GetCaseValue("d", 0, false, &size, &error);
  EXPECT_EQ(Text(1), "abc");
  EXPECT_EQ(Text(2), "null");
  EXPECT_EQ(error, 10);
  EXPECT_EQ(SetCCellValueFromCache("d", 3, "x"), 10);
  EXPECT_EQ(SetNCellValueFromCache("d", 3, 1.5), 57) << "its type is asked first";
  peer.Expects(238, d, Longs{7, 0, 0}, Void{"12345678abcd"}).Answers();
  EXPECT_EQ(SetCasePartValue("d", 7, nullptr, false, 0), 0);
}

TEST(CaseRecord, NeverShrinksBelowNothingAndBearsAnySize) {
  DatastepDataSmb record;
  int bytes = -1, code = 0;
  record.SetOneCaseSize(12);
  const OBS* const units = record.GetCaseValue(bytes);
  EXPECT_EQ(std::string(units->bytes, static_cast<std::size_t>(bytes)), std::string(12, '\0'));
  record.AddVarType(9);
  record.AddVarType(INT_MAX);
  record.AddVarObsIndex(-1);
  EXPECT_EQ(record.GetCCellValue(0, code), nullptr);
  EXPECT_EQ(record.SetCCellValue(0, "x"), 10);
  record.EraseVarType(1);
  record.EraseVarType(0);
  EXPECT_EQ(record.GetCaseValue(bytes), units) << "the case stays where it is";
  EXPECT_EQ(bytes, 12);
  EXPECT_EQ(record.GetVarObsLength(0), 0);
}

// --- Bulk transport ---

TEST_F(CellAccess, TransportSubmitsItsSyntaxInTheBackground) {
  using Tasks = std::filesystem::directory_iterator;
  const auto threads = [] { return std::distance(Tasks("/proc/self/task"), {}); };
  const auto before = threads();
  const std::string save = "SAVE /TYPE=BINARYSTREAM /SOCKET=s", get = "GET DATA /TYPE=BINARYSTREAM /SOCKET=s";
  const auto transports = [&](const char* variables, bool get_data) {
    EXPECT_EQ(TransportData("s", variables, get_data), 0);
    EXPECT_TRUE(Await([&] { return threads() == before; }));
  };
  for (const auto& [variables, keep] : {std::pair{"", "."}, {"a b", " /KEEP=a b."}}) {
    peer.Expects(0, Strings{save + keep}).Answers(Error{kRefused});
    transports(variables, false);
  }
  peer.Expects(5, Strings{get + " /VARIABLES=a b."}).Answers(Error{kRefused});
  peer.Expects(5, Strings{"CACHE."}).Answers(Error{kRefused});
  peer.Expects(0, Strings{"EXECUTE."}).Answers();
  transports("a b", true);
}

}  // namespace
