#include "support/data_step.h"
#include "dataset_catalogue.h"

namespace {

const Strings d{"d"}, dx{"d", "x"}, dxy{"d", "x", "y"};

class DataStep : public DataStepTest {
 protected:
  static int CaseSize() {
    int size = -1;
    FindRecord("d")->GetCaseValue(size);
    return size;
  }
  static std::vector<int> Types(const char* name) {
    int *types = nullptr, count = 0;
    GetVarInfo(name, &types, &count);
    const std::vector<int> copy(types, types + count);
    FreeString(types);
    return copy;
  }
  void ExpectsPlaces(int count, int last_code) {
    peer.Expects(148, d).Answers(Longs{count});
    for (int i = 0; i < count; ++i) peer.Expects(240, d, Longs{i}).Answers(Error{last_code}, Longs{i});
  }
};

TEST_F(DataStep, TextsThatAreMissingHaveEightBytesAndNullOnesAreLeftOut) {
  char units[] = "untouched, both.";
  int format = 5;
  peer.Expects(162, d, Longs{3}).Answers(Longs{3}, Strings{"ab", "1234567890"});
  EXPECT_EQ(GetVarCMissingValuesInDS("d", 3, &format, units, units + 8, nullptr), 0);
  EXPECT_EQ(std::string(units, 16), std::string("ab\0\0\0\0\0\00012345678", 16));
  peer.Expects(164, dxy, Longs{3, 7}).Answers();
  EXPECT_EQ(SetVarCMissingValuesInDS("d", 3, 7, "x", nullptr, "y"), 0);
  const char* list[] = {"x", nullptr, "y"};
  peer.Expects(167, dx, Longs{3}, StringLists{{"x", "y"}}).Answers();
  EXPECT_EQ(SetVarAttributesInDS("d", 3, "x", const_cast<char**>(list), 3), 0);
}

TEST_F(DataStep, ResponseSetsThatComeInPartStayUnwritten) {
  char *x = nullptr, *y = nullptr;
  int n = 5, m = 5;
  void* list = nullptr;
  peer.Expects(194, Strings{"d", "s"}).Answers(Longs{1}, Strings{"x"});
  GetMultiResponseSetInDS("d", "s", &x, &n, &y, &m, &list, &error);
  EXPECT_TRUE(n == 5 && m == 5 && x == nullptr && y == nullptr && list != nullptr);
  RemoveStringList(list);
}

// --- The catalogue and the records ---

TEST_F(DataStep, AChangeOfTheListOfVariablesKeepsThisSideInStep) {
  int moved[] = {1, 0};
  const struct {
    Image request;
    std::function<int()> change;
    int counted, there;  // variables in the catalogue, and in the dataset
    std::vector<int> types;
    int size;
  } rows[] = {{MakeImage(146, dx, Longs{1, 9}), OfD(InsertVariable, 1, "x", 9), 3, 3, {0, 9, 9}, 40},
              {MakeImage(154, d, Longs{1, 0}), OfD(SetVarTypeInDS, 1, 0), 2, 2, {0, 0}, 16},
              {MakeImage(147, d, Longs{1}), OfD(DeleteVariable, 1), 1, 1, {0}, 8},
              {MakeImage(245, d, Longs{1, 0, 7}), OfD(MoveVariables, moved, 2, 7), 3, 2, {0, 9}, 24}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.request.action);
    Open("other", 1, {0});
    Open("d", 1, {0, 9});
    peer.Expects(row.request).Answers(Error{kRefused});
    EXPECT_EQ(row.change(), kRefused);
    EXPECT_TRUE(varcountVec[1] == 2 && CaseSize() == 24) << "nothing is asked anew";
    peer.Expects(145, Strings{"other"}).Answers();
    EXPECT_EQ(CloseDataset("other"), 0);
    peer.Expects(row.request).Answers();
    ExpectsPlaces(row.there, 78);
    EXPECT_EQ(row.change(), 78) << "the code of the last question";
    EXPECT_EQ(varcountVec, std::vector{row.counted});
    EXPECT_EQ(Types("d"), row.types);
    EXPECT_EQ(CaseSize(), row.size);
    Close();
  }
}

TEST_F(DataStep, AClosedDatasetIsRefusedAndItsRecordStays) {
  Start();
  Open("d", 3, {0});
  Open("d", 5, {9, 0});
  const struct {
    int code;
    std::vector<long> cases;
    std::vector<int> variables;
  } closings[] = {{kRefused, {3, 5}, {1, 2}}, {0, {5}, {2}}, {0, {}, {}}, {0, {}, {}}};
  for (const auto& closing : closings) {
    peer.Expects(145, d).Answers(Error{closing.code});
    EXPECT_EQ(CloseDataset("d"), closing.code);
    EXPECT_EQ(casecountVec, closing.cases) << "the first that matches goes";
    EXPECT_EQ(varcountVec, closing.variables);
  }
  EXPECT_EQ(SetNCellValue("d", 0, 0, 1), 87);
  peer.Expects(146, dx, Longs{0, 8}).Answers();
  ExpectsPlaces(3, 0);
  EXPECT_EQ(InsertVariable("d", 0, "x", 8), 0);
  EXPECT_EQ(Types("d"), (std::vector{8, 9, 0})) << "of the name looked up last, remembered from its opening";
  EXPECT_TRUE(Types("unknown").empty());
  EXPECT_EQ(Types("d"), std::vector{0}) << "of the first that matches";
}

TEST_F(DataStep, TheActiveDatasetMayHaveNoName) {
  for (const auto& [code, name] : {std::pair{0, "active"}, {93, "active"}, {kRefused, "*"}}) {
    peer.Expects(137).Answers(Error{code}, Strings{"active"});
    EXPECT_STREQ(GetActive(&error), name);
    EXPECT_EQ(error, code);
  }
  for (const auto& [given, name] : {std::pair{"*", "active"}, {"", "*"}}) {
    peer.Expects(134, Strings{given}, Longs{1, 0}).Answers();
    peer.Expects(137).Answers(Error{93}, Strings{name});
    peer.Expects(180, Strings{name}).Answers(Error{kRefused});
    peer.Expects(148, Strings{name}).Answers(Longs{1});
    ExpectsLayout(name, {9});
    EXPECT_EQ(CreateDataset(given, true, false), 0);
    EXPECT_EQ(dsNameVec.back(), name);
    EXPECT_EQ(casecountVec.back(), -1);
  }
}

TEST_F(DataStep, ADatasetWhoseVariablesAreNotToldHasNoRecord) {
  peer.Expects(134, d, Longs{0, 0}).Answers(Error{kRefused});
  EXPECT_EQ(CreateDataset("d", false, false), kRefused);
  EXPECT_TRUE(dsNameVec.empty());
  peer.Expects(134, d, Longs{0, 0}).Answers();
  peer.Expects(180, d).Answers(Longs{4});
  peer.Expects(148, d).Answers(Error{kRefused});
  EXPECT_EQ(CreateDataset("d", false, false), kRefused);
  EXPECT_EQ(varcountVec, std::vector{0});
  EXPECT_EQ(FindRecord("d"), nullptr);
  SetVexaRunning(false);
  EXPECT_EQ(CreateDataset("d", false, false), kDown);
  ExpectsLayout("d", {0, 9});
  IntiDataStepData("d");
  EXPECT_EQ(Types("d"), (std::vector{0, 9})) << "asked for by itself, with no guard";
}

TEST_F(DataStep, TheEndForgetsTheDatasetsIfTheBackendAgrees) {
  peer.Expects(132).Answers(Error{kRefused});
  EXPECT_EQ(StartDataStep(), kRefused);
  EXPECT_EQ(SetNCellValue("d", 0, 0, 1), 89);
  Start();
  Open("d", 1, {0});
  peer.Expects(133).Answers(Error{kRefused});
  EXPECT_EQ(EndDataStep(), kRefused);
  EXPECT_EQ(SetNCellValue("d", 0, 0, 1), 0) << "the step is open with its catalogue";
  peer.Expects(228, Records{{"d", 0, 0, 0, 1.0, ""}}).Answers(Error{kRefused});
  Close();
  EXPECT_EQ(SetNCellValue("d", 0, 0, 1), 89);
  EXPECT_TRUE(dsNameVec.empty() && casecountVec.empty() && varcountVec.empty() && datasetCount == 0);
  EXPECT_EQ(FindRecord("d"), nullptr) << "its name is remembered still";
  EXPECT_EQ(SetNCellValueFromCache("d", 0, 1.0), 0);
  peer.Expects(146, dx, Longs{0, 0}).Answers();
  EXPECT_EQ(InsertVariable("d", 0, "x", 0), 0);
}

}  // namespace
