// End to end: what is written in any of the ways is what each way of reading gives, bit for bit; new
// variables, data steps, and the commands that move cases.
#include <arpa/inet.h>
#include <sys/socket.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <sstream>

#include "support/processes.h"
#include "vexaxd_p.h"

namespace {

// The cases that are written: a number and five texts each.
constexpr int kVariables = 6, kCases = 6;
const char* name_list[] = {"n", "a", "b", "c", "d", "e"};
char** const names = const_cast<char**>(name_list);
int widths[] = {0, 1, 8, 9, 17, 32767};
const double kMissing = -1.7976931348623157e+308, kNaN = std::bit_cast<double>(0x7FF8000000000123);
const double kNumbers[] = {kMissing, -0.0, kNaN, HUGE_VAL, -HUGE_VAL, 5e-324};
const std::string kTexts[] = {"", "x", " in  side ", "\xC3\xA4 \xE2\x82\xAC,\"\n", "filled", "behind   "};

std::string TextOf(int row, int variable) {
  std::string text = kTexts[row];
  const auto width = static_cast<std::size_t>(widths[variable]);
  while (row >= 4 && text.size() < width) text += kTexts[row];
  return text.substr(0, width);
}
std::string InUnits(std::string text, int variable) {
  text.resize(static_cast<std::size_t>((widths[variable] + 7) / 8 * 8), ' ');
  return text;
}
std::string InUnits(double number) { return {reinterpret_cast<const char*>(&number), sizeof number}; }
std::string CaseInUnits(int row) {
  std::string units = InUnits(kNumbers[row]);
  for (int i = 1; i < kVariables; ++i) units += InUnits(TextOf(row, i), i);
  return units;
}
std::string Taken(char* text) {
  const std::string copy = text != nullptr ? text : "null";
  FreeString(text);
  return copy;
}
// The texts that a question gave, which `ask` puts into its arguments.
template <class Ask, class... Own>
std::string Texts(Ask ask, Own... own) {
  char** texts = nullptr;
  int count = 0;
  std::string joined = ask(own..., &texts, &count) == 0 ? "" : "refused";
  for (int i = 0; i < count; ++i) joined += texts[i] + std::string("|");
  FreeStringArray(reinterpret_cast<void**>(texts), count);
  return joined;
}
int RunCommand(const std::string& command) {
  return Submit(command.c_str(), static_cast<int>(command.size()));
}
int SetText(const char* name, const std::string& text) {
  return SetValueChar(name, text.data(), static_cast<int>(text.size()));
}
int SetValues(int row) {
  int code = SetValueNumeric("n", kNumbers[row]);
  for (int i = 1; i < kVariables; ++i) code += SetText(names[i], TextOf(row, i));
  return code;
}
int OpenStep() { return StartDataStep() + CreateDataset("*", false, false); }

class WritingTest : public Deadline {
 protected:
  Sandbox fifos, files;
  int code = 0, missing = 0, count = 0;

  WritingTest() {
    signal(SIGPIPE, SIG_IGN);
    SetEnvironment("VEXA_HOME", VEXA_STAGED_HOME);
    SetEnvironment("VEXADXTEMP", fifos.path().c_str());
  }
  void Start(const std::string& csv) {
    const std::string data = files.Write("data.csv", csv);
    ASSERT_EQ(StartVexa(csv.empty() ? "" : ("-data " + data).c_str()), 0);
  }
  void TearDown() override {
    StopVexa();
    EXPECT_TRUE(fifos.Entries().empty());
    EXPECT_FALSE(HasChildren());
  }
  template <class ReadNumber, class ReadText>
  void ExpectCases(const char* way, ReadNumber number, ReadText text) {
    for (int row = 0; row < kCases; ++row) {
      EXPECT_EQ(InUnits(number(row)), InUnits(kNumbers[row])) << way << ", row " << row;
      EXPECT_EQ(missing != 0, row == 0) << way << ": only the first is missing";
      for (int i = 1; i < kVariables; ++i) {
        const auto width = static_cast<std::size_t>(widths[i]);
        EXPECT_TRUE(text(row, i) == InUnits(TextOf(row, i), i).substr(0, width)) << way << ", row " << row;
      }
    }
  }
  // Sends the bytes and gives back what comes, each up to its end. The transport's own reply comes behind the
  // end of the stream: nothing else may be asked before its thread is gone.
  std::string Transport(bool get_data, const std::string& bytes) {
    using Threads = std::filesystem::directory_iterator;
    const auto threads = [] { return std::distance(Threads("/proc/self/task"), {}); };
    const auto before = threads();
    int port = 0;
    EXPECT_EQ(CreateSocket(&port), 0);
    sockaddr_in address = {AF_INET, htons(static_cast<std::uint16_t>(port)), {htonl(INADDR_LOOPBACK)}, {}};
    const int end = socket(AF_INET, SOCK_STREAM, 0);
    EXPECT_EQ(connect(end, reinterpret_cast<sockaddr*>(&address), sizeof address) + AcceptSocket(), 0);
    EXPECT_EQ(TransportData(std::to_string(port).c_str(), "n a b c d e", get_data), 0);
    EXPECT_EQ(send(end, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
    shutdown(end, SHUT_WR);
    std::string received(1 << 20, '\0');
    received.resize(static_cast<std::size_t>(recv(end, received.data(), received.size(), MSG_WAITALL)));
    close(end);
    EXPECT_TRUE(Await([&] { return threads() == before; }));
    return received;
  }
  // Names, widths and cells of a dataset of the step.
  std::string Dump(const char* name) {
    std::ostringstream all;
    all.precision(17);
    const int variables = GetVarCountInDS(name, &code);
    for (int i = 0; i < variables; ++i) {
      all << GetVarNameInDS(name, i, &code) << ':' << GetVarTypeInDS(name, i, &code) << ' ';
    }
    for (long cell = 0; cell < GetCaseCountInDS(name, &code) * variables; ++cell) {
      const long row = cell / variables;
      const int i = static_cast<int>(cell % variables);
      const double number = GetNCellValue(name, row, i, &missing, &code);
      all << (i == 0 ? "/ " : "");
      if (code == 56) {
        all << '\'' << GetCCellValue(name, row, i, &missing, &code) << '\'';
      } else {
        missing == 2 ? all << '.' : all << number;
      }
      all << (missing == 1 ? "(missing) " : " ");
    }
    return all.str();
  }
  // What is said of two variables of the active dataset, a number and a text.
  std::string Said(int n, int t) {
    std::ostringstream all;
    double low = 0, high = 0, one = 0, *numbers = nullptr;
    char first[9] = "", second[9] = "", third[9] = "", **labels = nullptr, **coded = nullptr;
    for (const auto ask : {GetVarNameInDS, GetVarLabelInDS, GetVarFormatInDS, GetVarMeasurementLevelInDS}) {
      all << ask("*", n, &code) << ' ';
    }
    for (const auto ask : {GetVarAlignmentInDS, GetVarColumnWidthInDS, GetVarRoleInDS}) {
      all << ask("*", n, &code) << ' ';
    }
    EXPECT_EQ(GetVarNMissingValuesInDS("*", n, &count, &low, &high, &one), 0);
    all << "; " << count << ": " << low << ' ' << high << ' ' << one;
    EXPECT_EQ(GetVarCMissingValuesInDS("*", t, &count, first, second, third), 0);
    all << "; " << count << ": " << first << second << ';';
    EXPECT_EQ(GetVarNValueLabelInDS("*", n, &numbers, &labels, &count), 0);
    for (int i = 0; i < count; ++i) all << ' ' << numbers[i] << ' ' << labels[i];
    FreeDoubleArray(numbers, count);
    FreeStringArray(reinterpret_cast<void**>(labels), count);
    all << ' ' << Texts(GetVarCValueLabelInDS, "*", t, &coded);
    if (coded != nullptr) all << coded[0], FreeStringArray(reinterpret_cast<void**>(coded), 1);
    return all.str();
  }
};

TEST_F(WritingTest, WhatIsWrittenInAnyWayIsReadInEveryWay) {
  Start("");
  ASSERT_EQ(SetVarNameAndType(names, widths, kVariables) + CommitHeader(), 0);
  std::string units;
  for (int row = 0; row < kCases; ++row) units += CaseInUnits(row);
  const auto commit_many = [&] {
    void* const block = std::memcpy(std::malloc(units.size()), units.data(), units.size());
    return CommitManyCases(names, widths, block, kVariables, static_cast<int>(units.size()), kCases);
  };
  const auto nothing = [] { return 0; };
  const auto no_row = [](int) { return 0; };
  const struct {
    const char* name;
    int blank;  // cases that are there before
    std::function<int()> begin;
    std::function<int(int row)> write;
    std::function<int()> end;
  } ways[] = {
      {"CommitCaseRecord", kCases, [] { return MakeCaseCursor("w"); },
       [](int row) { return NextCase() + SetValues(row) + CommitCaseRecord(); },
       [] { return NextCase() - 23 + RemoveCaseCursor(); }},
      {"CommitNewCase", 0, nothing, [](int row) { return SetValues(row) + CommitNewCase(); }, nothing},
      {"CommitManyCases", 0, commit_many, no_row, nothing},
      {"CommitDataSet", kCases, OpenStep,
       [](int row) {
         int codes = SetNCellValue("*", row, 0, kNumbers[row]);
         for (int i = 1; i < kVariables; ++i) codes += SetCCellValue("*", row, i, TextOf(row, i).c_str());
         return codes + CommitDataSet();
       },
       EndDataStep},
      {"SetCaseValue", kCases, OpenStep,
       [](int row) {
         std::string bytes = CaseInUnits(row);
         return SetCaseValue("*", row, false, bytes.data(), static_cast<int>(bytes.size()));
       },
       EndDataStep},
      {"SetCasePartValue", kCases, OpenStep,
       [&](int row) {
         int even[] = {4, 0, 2}, odd[] = {1, 3, 5};
         GetCaseValue("*", row, false, &count, &code);
         int codes = code + SetNCellValueFromCache("*", 0, kNumbers[row]);
         for (int i = 1; i < kVariables; ++i) codes += SetCCellValueFromCache("*", i, TextOf(row, i).c_str());
         codes += SetCasePartValue("*", row, even, true, 3) + SetCCellValueFromCache("*", 4, "not this");
         return codes + SetCasePartValue("*", row, odd, true, 3);
       },
       EndDataStep},
      {"GetDataFromTempFile", 0,
       [&] { return commit_many() + OpenStep() + SaveDataToTempFile("*", nullptr, 0); },
       [](int row) { return DeleteCase("*", 0) + GetDataFromTempFile("*", row, row); }, EndDataStep},
      {"GET DATA", 0, [&] { return static_cast<int>(Transport(true, units).size()); }, no_row, nothing}};
  for (const auto& way : ways) {
    SCOPED_TRACE(way.name);
    ASSERT_EQ(OpenStep(), 0);
    while (GetCaseCountInDS("*", &code) > 0) ASSERT_EQ(DeleteCase("*", 0), 0);
    for (int i = 0; i < way.blank; ++i) EXPECT_EQ(InsertCase("*", 0), 0);
    EXPECT_EQ(EndDataStep() + way.begin(), 0);
    for (int row = 0; row < kCases; ++row) EXPECT_EQ(way.write(row), 0) << row;
    EXPECT_EQ(way.end(), 0);

    EXPECT_TRUE(Transport(false, "") == units) << "by socket";
    ASSERT_EQ(MakeCaseCursor("r"), 0);
    ExpectCases(
        "by cursor",
        [&](int) {
          double value = 0;
          EXPECT_EQ(NextCase() + GetNumericValue(0, &value, &missing), 0);
          return value;
        },
        [&](int, int i) {
          std::string text(static_cast<std::size_t>(widths[i]), '\0');
          char* place = text.data();
          EXPECT_EQ(GetStringValue(static_cast<unsigned>(i), &place, widths[i], &count), 0);
          return text;
        });
    ASSERT_EQ(RemoveCaseCursor() + OpenStep(), 0);
    ExpectCases(
        "by cell", [&](int row) { return GetNCellValue("*", row, 0, &missing, &code); },
        [&](int row, int i) { return std::string(GetCCellValue("*", row, i, &missing, &code)); });
    ClearDatastepBatch();
    ExpectCases(
        "by batch", [&](int row) { return GetNCellValueOptimize("*", row, 0, &missing, &code); },
        [&](int row, int i) { return Taken(GetCCellValueOptimize("*", row, i, &missing, &code)); });
    const auto load = [&](int row) {
      GetCaseValue("*", row, false, &count, &code);
      return GetNCellValueFromCache("*", 0, &missing, &code);
    };
    ExpectCases("by case", load, [&](int, int i) { return Taken(GetCCellValueFromCache("*", i, &code)); });
    EXPECT_EQ(EndDataStep(), 0);
  }
}

TEST_F(WritingTest, NewVariablesJoinTheDictionaryAndTheWalkGoesOn) {
  Start("id,t\n1,a\n2,b\n");
  ASSERT_EQ(MakeCaseCursor("w") + NextCase(), 0);
  EXPECT_EQ(AllocNewVarsBuffer(2) + SetOneVarNameAndType("n", 0) + SetOneVarNameAndType("s", 9), 0);
  EXPECT_EQ(SetVarLabel("n", "Label") + SetVarFormat("n", 5, 10, 2) + SetVarMeasureLevel("n", 2), 0);
  EXPECT_EQ(SetVarNMissingValues("n", -3, 1, 2, 9) + SetVarNValueLabel("n", 9, "refused"), 0);
  EXPECT_EQ(SetVarCMissingValues("s", 1, "none", nullptr, nullptr) + SetVarRole("n", 3), 0);
  EXPECT_EQ(SetVarCValueLabel("s", "none", "nothing") + SetVarAlignment("n", 2), 0);
  EXPECT_EQ(EndChanges(), 2042);
  EXPECT_EQ(CommitHeader() + EndChanges(), 0);
  const struct {
    int code;
    std::function<int()> set_wrong;
  } refusals[] = {{2033, [] { return SetValueNumeric("none", 1); }},
                  {24, [] { return SetValueNumeric("t", 1); }},
                  {24, [] { return SetText("id", "1"); }},
                  {2040, [] { return SetText("t", "ab"); }}};
  for (const auto& refusal : refusals) {
    for (const auto commit : {CommitCaseRecord, CommitNewCase}) {
      EXPECT_EQ(SetValueNumeric("id", 99) + refusal.set_wrong(), 0);
      EXPECT_EQ(commit(), refusal.code);
    }
  }
  EXPECT_EQ(SetText("s", "none") + SetValueNumeric("n", 1.5) + CommitCaseRecord() + NextCase(), 0);
  EXPECT_EQ(SetText("t", "c") + CommitCaseRecord(), 0);
  EXPECT_EQ(NextCase(), 23);
  EXPECT_EQ(RemoveCaseCursor() + MakeCaseCursor("r") + NextCase(), 0);
  EXPECT_EQ(CommitCaseRecord(), 2043);
  ASSERT_EQ(RemoveCaseCursor() + OpenStep(), 0);
  EXPECT_EQ(Said(2, 3),
            "n Label DOLLAR10.2 ordinal 2 8 3 ; -3: 1 2 9; 1: none            ; 9 refused nothing|none");
  EXPECT_EQ(Dump("*"), "id:0 t:1 n:0 s:9 / 1 'a' 1.5(missing) 'none     '(missing) / 2 'c' . '         ' ");
}

TEST_F(WritingTest, AStepChangesVariablesAndCases) {
  Start("n,t\n1.5,abc\n12345,2.5\n");
  EXPECT_EQ(DeleteCase("*", 0), 89);
  ASSERT_EQ(OpenStep(), 0);
  EXPECT_EQ(std::make_pair(StartDataStep(), MakeCaseCursor("r")), std::pair(2044, 2044));
  EXPECT_EQ(InsertVariable("*", 1, "new", 3) + InsertCase("*", 1), 0);
  EXPECT_EQ(SetVarTypeInDS("*", 2, 0) + SetVarTypeInDS("*", 0, 4), 0);
  EXPECT_EQ(Dump("*"), "n:4 new:3 t:0 / '1.5 ' '   ' . / '    ' '   ' . / '    ' '   ' 2.5 ");
  int both[] = {2, 0};
  EXPECT_EQ(MoveVariables("*", both, 2, 1) + SetNCellValue("*", 0, 0, 7) + DeleteCase("*", 1), 0);
  const std::string before = Dump("*");
  EXPECT_EQ(before, "t:0 n:4 new:3 / 7 '1.5 ' '   ' / 2.5 '    ' '   ' ");
  const auto set_first = [] { return SetNCellValue("*", 0, 0, 9); };
  const struct {
    int code;
    std::function<int()> call;
  } refusals[] = {{87, [] { return InsertCase("none", 0); }},
                  {97, [] { return InsertCase("*", 3); }},
                  {97, [] { return DeleteCase("*", 2); }},
                  {10, [] { return InsertVariable("*", 4, "x", 0); }},
                  {10, [] { return DeleteVariable("*", 3); }},
                  {10, [&] { return MoveVariables("*", both, 2, 4); }},
                  {2041, [] { return InsertVariable("*", 0, "T", 0); }},
                  {2040, [&] { return set_first() + SetCCellValue("*", 0, 1, "wider") + CommitDataSet(); }},
                  {24, [&] { return set_first() + SetNCellValue("*", 0, 1, 1) + CommitDataSet(); }}};
  for (const auto& refusal : refusals) {
    EXPECT_EQ(refusal.call(), refusal.code);
    EXPECT_EQ(Dump("*"), before);
  }
  EXPECT_EQ(DeleteVariable("*", 1) + EndDataStep(), 0);
  EXPECT_EQ(GetVariableCount(&code), 2);
}

TEST_F(WritingTest, AStepHoldsDatasetsByName) {
  Start("n,t\n1.5,abc\n");
  ASSERT_EQ(OpenStep() + CreateDataset("Temporary", true, false) + InsertVariable("Temporary", 0, "x", 0), 0);
  EXPECT_STREQ(GetActive(&code), "*");
  EXPECT_EQ(SetDatasetName("*", "first") + CopyDataset("FIRST", "copy"), 0);
  char fresh[65];
  EXPECT_EQ(GetNewDatasetName(fresh) + CreateDataset(fresh, true, false), 0);
  EXPECT_EQ(SetNCellValue("copy", 0, 0, 1), 87);
  EXPECT_EQ(SetDatasetName("copy", "temporary"), 2041);
  EXPECT_EQ(CreateDataset("copy", false, true), 0);
  EXPECT_EQ(CopyDataset("first", "copy"), 2044);
  EXPECT_EQ(SetNCellValue("copy", 0, 0, 2) + DeleteVariable("first", 1), 0);
  EXPECT_EQ(Dump("copy") + Dump("first") + Dump("Temporary"), "n:0 t:3 / 2 'abc' n:0 / 1.5 x:0 ");
  EXPECT_EQ(Texts(GetVexaDatasets) + Texts(GetOpenedVexaDatasets), "first|Temporary|copy|DataSet1|first|");
  EXPECT_EQ(CloseDataset("first") + SetActive("Temporary") + EndDataStep(), 0);
  EXPECT_EQ(GetVariableName(0, &code) + (" " + Texts(GetVexaDatasets)), "x Temporary|copy|");
  EXPECT_EQ(SetActive("copy") + OpenStep(), 0);
  EXPECT_EQ(Texts(GetDatastepDatasets), "copy|");
}

TEST_F(WritingTest, AStepEditsTheDictionary) {
  Start("n,t,u\n1.5,abc,d\n");
  const char *list[] = {"kg", "lb"}, *of[] = {"t", "u"};
  char **const values = const_cast<char**>(list), **const members = const_cast<char**>(of);
  ASSERT_EQ(OpenStep(), 0);
  EXPECT_EQ(SetVarNameInDS("*", 0, "N2") + SetVarLabelInDS("*", 0, "Label"), 0);
  EXPECT_EQ(SetVarMeasurementLevelInDS("*", 0, "Ordinal") + SetVarAlignmentInDS("*", 0, 2), 0);
  EXPECT_EQ(SetVarColumnWidthInDS("*", 0, 17) + SetVarRoleInDS("*", 0, 4), 0);
  EXPECT_EQ(SetVarFormatInDS("*", 0, 6, 7, 1) + SetVarNMissingValuesInDS("*", 0, -2, 1, 2, 0), 0);
  EXPECT_EQ(SetVarCMissingValuesInDS("*", 1, 2, "x", "y", nullptr), 0);
  EXPECT_EQ(SetVarNValueLabelInDS("*", 0, "one", 1) + SetVarNValueLabelInDS("*", 0, "two", 2), 0);
  EXPECT_EQ(DelVarNValueLabelInDS("*", 0, 1) + SetVarCValueLabelInDS("*", 1, "x", "an x"), 0);
  EXPECT_EQ(SetVarAttributesInDS("*", 0, "Unit", values, 2), 0);
  EXPECT_EQ(SetDataFileAttributesInDS("*", "Source", values, 1), 0);
  SetMultiResponseSetInDS("*", "$s", "Set", 1, "abc", members, 2, &code);
  EXPECT_EQ(code, 0);
  EXPECT_EQ(Said(0, 1), "N2 Label PCT7.1 ordinal 2 17 4 ; -2: 1 2 0; 2: x       y       ; 2 two an x|x");
  EXPECT_EQ(Texts(GetVarAttributesNameInDS, "*", 0) + Texts(GetVarAttributesInDS, "*", 0, "unit"),
            "Unit|kg|lb|");
  EXPECT_EQ(Texts(GetDataFileAttributeNamesInDS, "*") + Texts(GetDataFileAttributesInDS, "*", "Source"),
            "Source|kg|");
  char *label = nullptr, *counted = nullptr;
  void* found = nullptr;
  GetMultiResponseSetInDS("*", "$S", &label, &count, &counted, &missing, &found, &code);
  EXPECT_EQ(Taken(label) + Taken(counted) + GetStringFromList(found, 1), "Setabcu");
  EXPECT_EQ(std::make_pair(count, missing), std::pair(1, 1)) << "dichotomies of texts";
  RemoveStringList(found);
  EXPECT_EQ(DelVarAttributesInDS("*", 0, "Unit") + DelDataFileAttributesInDS("*", "Source"), 0);
  EXPECT_EQ(DelMultiResponseSetInDS("*", "$s") + DelVarCValueLabelInDS("*", 1, "x"), 0);
  EXPECT_EQ(DelVarValueLabelInDS("*", 0), 0);
  EXPECT_EQ(Texts(GetVarAttributesNameInDS, "*", 0) + Said(0, 1),
            "N2 Label PCT7.1 ordinal 2 17 4 ; -2: 1 2 0; 2: x       y       ; ");
}

TEST_F(WritingTest, CsvIsReadAsItWasSaved) {
  Start("n,t,w\n1.5,\"a,\"\"b\"\"\r\nc\",\n,\"  lead\",1e-310\n-0,,-1e300\n");
  const std::string path = files.path() + "/a b.csv", file = " /FILE=\"" + path + "\"";
  EXPECT_EQ(RunCommand("SAVE /TYPE=CSV" + file + "."), 0);
  EXPECT_EQ(RunCommand("GET DATA /TYPE=CSV" + file + "\n /DATASET=again."), 0);
  EXPECT_EQ(OpenStep() + CreateDataset("again", false, false), 0);
  EXPECT_EQ(Dump("again"), Dump("*"));
  EXPECT_EQ(Dump("again"),
            "n:0 t:8 w:0 / 1.5 'a,\"b\"\r\nc' . / . '  lead  ' 9.9999999999999694e-311 "
            "/ -0 '        ' -1.0000000000000001e+300 ");
  EXPECT_EQ(RunCommand("SAVE /TYPE=CSV /DATASET=again /KEEP=w" + file + "."), 0);
  EXPECT_EQ(ReadFile(path), "w\n\n1e-310\n-1e+300\n");
  EXPECT_EQ(RunCommand("GET DATA /TYPE=CSV /DATASET=again" + file + "."), 2041);
  EXPECT_EQ(RunCommand("SAVE /TYPE=CSV /DATASET=none" + file + "."), 87);
}

}  // namespace
