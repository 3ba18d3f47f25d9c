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

// --- One request and one reply ---

TEST_F(DataStep, CallsThatChangeAreGuarded) {
  const char* list[] = {"x", nullptr, "y"};
  char** const xy = const_cast<char**>(list);
  const Longs three{3}, three_seven{3, 7};
  CheckGuarded(
      {{MakeImage(135, dx), OfD(SetDatasetName, "x")},
       {MakeImage(138, d), OfD(SetActive)},
       {MakeImage(139, dx), OfD(CopyDataset, "x")},
       {MakeImage(150, dx, three), OfD(SetVarNameInDS, 3, "x")},
       {MakeImage(152, dx, three), OfD(SetVarLabelInDS, 3, "x")},
       {MakeImage(160, dx, three), OfD(SetVarMeasurementLevelInDS, 3, "x")},
       {MakeImage(158, d, three_seven), OfD(SetVarAlignmentInDS, 3, 7)},
       {MakeImage(196, d, three_seven), OfD(SetVarColumnWidthInDS, 3, 7)},
       {MakeImage(226, d, three_seven), OfD(SetVarRoleInDS, 3, 7)},
       {MakeImage(156, d, Longs{3, 5, 8, 2}), OfD(SetVarFormatInDS, 3, 5, 8, 2)},
       {MakeImage(163, d, Longs{3, -3}, Doubles{1, 2, 9}), OfD(SetVarNMissingValuesInDS, 3, -3, 1, 2, 9)},
       {MakeImage(164, dxy, three_seven), OfD(SetVarCMissingValuesInDS, 3, 7, "x", nullptr, "y")},
       {MakeImage(173, dx, three, Doubles{2.5}), OfD(SetVarNValueLabelInDS, 3, "x", 2.5)},
       {MakeImage(174, dxy, three), OfD(SetVarCValueLabelInDS, 3, "x", "y")},
       {MakeImage(175, d, three), OfD(DelVarValueLabelInDS, 3)},
       {MakeImage(176, d, three, Doubles{2.5}), OfD(DelVarNValueLabelInDS, 3, 2.5)},
       {MakeImage(177, dx, three), OfD(DelVarCValueLabelInDS, 3, "x")},
       {MakeImage(167, dx, three, StringLists{{"x", "y"}}), OfD(SetVarAttributesInDS, 3, "x", xy, 3)},
       {MakeImage(168, dx, three), OfD(DelVarAttributesInDS, 3, "x")},
       {MakeImage(169, dx, StringLists{{"x", "y"}}), OfD(SetDataFileAttributesInDS, "x", xy, 3)},
       {MakeImage(198, dx), OfD(DelDataFileAttributesInDS, "x")},
       {MakeImage(199, dx), OfD(DelMultiResponseSetInDS, "x")}});
}

TEST_F(DataStep, TextsAndNumbersAreAskedForWithoutAGuard) {
  SetVexaRunning(false);
  for (const auto& [action, ask, failure] : {std::tuple{149, &GetVarNameInDS, ""},
                                             {151, &GetVarLabelInDS, nullptr},
                                             {155, &GetVarFormatInDS, nullptr},
                                             {159, &GetVarMeasurementLevelInDS, nullptr}}) {
    SCOPED_TRACE(action);
    for (const int code : {0, kRefused}) {
      peer.Expects(action, d, Longs{3}).Answers(Error{code}, Strings{"text"});
      EXPECT_STREQ(ask("d", 3, &error), code == 0 ? "text" : failure);
      EXPECT_EQ(error, code);
    }
  }
  for (const auto& [action, ask] : {std::pair{153, &GetVarTypeInDS},
                                    {157, &GetVarAlignmentInDS},
                                    {225, &GetVarRoleInDS},
                                    {195, &GetVarColumnWidthInDS},
                                    {240, &GetVarObsIndex}}) {
    CheckNumber(MakeImage(action, d, Longs{3}), OfD(ask, 3), 0);
  }
  CheckNumber(MakeImage(148, d), OfD(GetVarCountInDS), 0);
  CheckNumber(MakeImage(180, d), OfD(GetCaseCountInDS), -1);
  CheckNumber(MakeImage(239, d), OfD(GetCaseLength), 0);
}

TEST_F(DataStep, DiesOfWhatItMustNotGet) {
  char name[8];
  Start();  // opens the session, which the dying processes then share
  peer.Expects(180, d).Answers(Doubles{1});
  EXPECT_DEATH(GetCaseCountInDS("d", &error), "assertion failed: size > 0");
  peer.Expects(195, d, Longs{3}).Answers(Doubles{1});
  EXPECT_DEATH(GetVarColumnWidthInDS("d", 3, &error), "assertion failed: size > 0");
  peer.Expects(136).Answers(Longs{1});
  EXPECT_DEATH(GetNewDatasetName(name), "assertion failed: size > 0");
  EXPECT_DEATH(SaveFileInDS(nullptr, nullptr, 0), "assertion failed: No_longer_support_SaveFileInDS");
}

// What good answers give is seen end to end.
TEST_F(DataStep, WhatIsAskedForStaysUnwrittenOnFailure) {
  char fresh[] = "untouched", units[] = "untouched, both.", *none = nullptr, **texts = &none,
       **labels = &none;
  double n[3] = {5, 5, 5}, *numbers = n;
  int format = 5, count = 5;
  const Longs three{3};
  const std::vector<StatusCall> values = {
      {MakeImage(136), [&] { return GetNewDatasetName(fresh); }},
      {MakeImage(161, d, three), OfD(GetVarNMissingValuesInDS, 3, &format, n, n + 1, n + 2)},
      {MakeImage(162, d, three), OfD(GetVarCMissingValuesInDS, 3, &format, units, units + 8, nullptr)}};
  const std::vector<StatusCall> lists = {
      {MakeImage(140), [&] { return GetVexaDatasets(&texts, &count); }},
      {MakeImage(141), [&] { return GetOpenedVexaDatasets(&texts, &count); }},
      {MakeImage(142), [&] { return GetDatastepDatasets(&texts, &count); }},
      {MakeImage(165, d, three), OfD(GetVarAttributesNameInDS, 3, &texts, &count)},
      {MakeImage(166, dx, three), OfD(GetVarAttributesInDS, 3, "x", &texts, &count)},
      {MakeImage(191, d), OfD(GetDataFileAttributeNamesInDS, &texts, &count)},
      {MakeImage(192, dx), OfD(GetDataFileAttributesInDS, "x", &texts, &count)},
      {MakeImage(170, d, three), OfD(GetVarNValueLabelInDS, 3, &numbers, &labels, &count)},
      {MakeImage(172, d, three), OfD(GetVarCValueLabelInDS, 3, &texts, &labels, &count)}};
  for (const auto* rows : {&values, &lists}) {
    for (const auto& [request, call] : *rows) {
      peer.Expects(request).Answers(Error{kRefused}, Longs{1}, Doubles{7}, Strings{"no"},
                                    StringLists{{"no"}});
      EXPECT_EQ(call(), kRefused) << request.action;
      EXPECT_TRUE(format == 5 && n[0] == 5 && count == 5) << request.action;
    }
  }
  CheckGuarded(lists);
  EXPECT_TRUE(count == 0 && texts == &none && labels == &none && numbers == n) << "of an empty list too";
  EXPECT_EQ(fresh + std::string(units), "untoucheduntouched, both.");
  CheckGuarded({values[1], values[2]});
  peer.Expects(values[2].request).Answers(Longs{3}, Strings{"ab", "1234567890"});
  EXPECT_EQ(values[2].call(), 0);
  EXPECT_EQ(std::string(units, 16), std::string("ab\0\0\0\0\0\00012345678", 16));
}

TEST_F(DataStep, ListsAreAsLongAsToldOrAsTheirTextsAndTheCallersToFree) {
  char **texts = nullptr, **told = nullptr;
  int count = 0, told_count = 0;
  for (const auto& request : {MakeImage(140), MakeImage(191, d)}) {
    peer.Expects(request).Answers(Longs{1}, Strings{"one", "two"});
  }
  EXPECT_EQ(GetVexaDatasets(&texts, &count) + GetDataFileAttributeNamesInDS("d", &told, &told_count), 0);
  ASSERT_EQ(std::make_pair(count, told_count), std::make_pair(2, 1));
  EXPECT_EQ(texts[1] + std::string(told[0]), "twoone");
  void **const array = reinterpret_cast<void**>(texts), **const other = reinterpret_cast<void**>(told);
  SetVexaRunning(false);
  EXPECT_EQ(FreeStringArray(array, count), kDown) << "and nothing is freed";
  SetVexaRunning(true);
  EXPECT_EQ(FreeStringArray(array, 0) + FreeStringArray(array, 2) + FreeStringArray(other, 1), 0);
  double* const numbers = new double[2];
  EXPECT_EQ(FreeDoubleArray(nullptr, 1) + FreeDoubleArray(numbers, 0) + FreeDoubleArray(numbers, 2), 0);
}

TEST_F(DataStep, ResponseSetsComeWhole) {
  const char* members[] = {"a", "b"};
  peer.Expects(188, Strings{"d", "s", "x", "y"}, Longs{4}, StringLists{{"a", "b"}}).Answers(Error{kRefused});
  SetMultiResponseSetInDS("d", "s", "x", 4, "y", const_cast<char**>(members), 2, &error);
  EXPECT_EQ(error, kRefused);
  CheckList(MakeImage(193, d), OfD(GetMultiResponseSetNamesInDS));
  char *x = nullptr, *y = nullptr;
  int n = 5, m = 5;
  for (const int code : {kRefused, 0}) {
    void* list = nullptr;
    peer.Expects(194, Strings{"d", "s"}).Answers(Error{code}, Longs{1}, Strings{"x"});
    GetMultiResponseSetInDS("d", "s", &x, &n, &y, &m, &list, &error);
    EXPECT_EQ(error, code);
    EXPECT_TRUE(n == 5 && m == 5 && x == nullptr && y == nullptr) << "numbers or texts that come in part";
    EXPECT_EQ(list != nullptr, code == 0);
    RemoveStringList(list);
  }
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
    SetVexaRunning(false);
    EXPECT_EQ(row.change(), kDown);
    Close();
  }
}

TEST_F(DataStep, AClosedDatasetIsRefusedAndItsRecordStays) {
  Start();
  Open("d", 3, {0});
  Open("d", 5, {9, 0});
  CheckGuarded({{MakeImage(145, Strings{"x"}), [] { return CloseDataset("x"); }}});
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
  CheckGuarded({{MakeImage(132), StartDataStep}, {MakeImage(133), EndDataStep}});
}

}  // namespace
