// Syntax, attributes, response sets, pivot tables, XPath and settings: what goes out, what comes back, what
// stays unwritten.
#include <cctype>
#include <clocale>
#include <cstdio>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "session.h"
#include "support/calls.h"
#include "vexaxd_p.h"

namespace {

using OutputCalls = CallsTest;

// A call for the table "a", "b", "c" and, with InDimension, its dimension "d".
template <class Function, class... Own>
std::function<int()> OfTable(Function function, Own... own) {
  return [=] { return function("a", "b", "c", true, own...); };
}
template <class Function, class... Own>
std::function<int()> InDimension(Function function, Own... own) {
  return OfTable(function, "d", 2, -3, false, true, own...);
}

TEST_F(OutputCalls, TablesAreNamedInEveryCall) {
  const Strings abc{"a", "b", "c"};
  const Strings abc_note{"a", "b", "c", "note"};
  CheckGuarded(
      {{MakeImage(35, abc, Longs{1}), OfTable(StartPivotTable)},
       {MakeImage(39, abc, Longs{1}), OfTable(HidePivotTableTitle)},
       {MakeImage(40, abc_note, Longs{1}), OfTable(PivotTableCaption, "note")},
       {MakeImage(41, Strings{"a", "b", "c", "x", "note"}, Longs{1}),
        OfTable(AddCaptionFootnotes, "x", "note")},
       {MakeImage(42, abc, Longs{1, 72}), OfTable(MinDataColumnWidth, 72)},
       {MakeImage(43, abc, Longs{1, -72}), OfTable(MaxDataColumnWidth, -72)},
       {MakeImage(36, abc_note, Longs{1}), [] { return AddOutlineFootnotes("a", "b", "c", "note", true); }},
       {MakeImage(38, abc_note, Longs{0}), [] { return AddTitleFootnotes("a", "b", "c", "note", false); }},
       {MakeImage(74, abc, Longs{70000}), [] { return AddTextBlock("a", "b", "c", 70000); }},
       {MakeImage(37, Strings{"note"}), [] { return AddProcFootnotes("note"); }},
       {MakeImage(75, Strings{"split"}), [] { return SplitChange("split"); }},
       {MakeImage(231, Strings{"x", "y"}), [] { return SetGraphicsLabel("x", "y"); }}});
}

TEST_F(OutputCalls, DimensionsCategoriesAndCellsCarryTheirDimension) {
  const Strings abcd{"a", "b", "c", "d"};
  const Strings abcd_text{"a", "b", "c", "d", "text"};
  const Longs where{1, 2, -3, 0, 1};
  const Longs where_variable{1, 2, -3, 0, 1, 4};
  const Doubles number{2.5};
  CheckGuarded({{MakeImage(44, abcd, where), InDimension(AddDimension)},
                {MakeImage(45, abcd_text, where), InDimension(AddDimFootnotes, "text")},
                {MakeImage(62, abcd, where, number), InDimension(AddNumberCategory, 2.5)},
                {MakeImage(63, abcd_text, where), InDimension(AddStringCategory, "text")},
                {MakeImage(64, abcd, where_variable), InDimension(AddVarNameCategory, 4)},
                {MakeImage(65, abcd, where_variable, number), InDimension(AddVarValueDoubleCategory, 4, 2.5)},
                {MakeImage(66, abcd_text, where_variable), InDimension(AddVarValueStringCategory, 4, "text")},
                {MakeImage(67, abcd_text, where), InDimension(AddCategoryFootnotes, "text")},
                {MakeImage(68, abcd, where, number), InDimension(SetNumberCell, 2.5)},
                {MakeImage(69, abcd_text, where), InDimension(SetStringCell, "text")},
                {MakeImage(70, abcd, where_variable), InDimension(SetVarNameCell, 4)},
                {MakeImage(71, abcd, where_variable, number), InDimension(SetVarValueDoubleCell, 4, 2.5)},
                {MakeImage(72, abcd_text, where_variable), InDimension(SetVarValueStringCell, 4, "text")},
                {MakeImage(73, abcd_text, where), InDimension(AddCellFootnotes, "text")},
                {MakeImage(217, abcd_text, where), InDimension(SetDateCell, "text")}});
}

TEST_F(OutputCalls, FormatsAreAnActionWithAtMostOneNumber) {
  int (*const plain[])() = {SetFormatSpecCoefficient, SetFormatSpecCoefficientSE, SetFormatSpecCoefficientVar,
                            SetFormatSpecCorrelation, SetFormatSpecGeneralStat,   nullptr,
                            SetFormatSpecCount,       SetFormatSpecPercent,       SetFormatSpecPercentNoSign,
                            SetFormatSpecProportion,  SetFormatSpecSignificance,  SetFormatSpecResidual};
  std::vector<StatusCall> rows;
  for (int i = 0; i < 12; ++i) {
    if (plain[i] != nullptr) rows.push_back({MakeImage(46 + i), plain[i]});
  }
  for (const auto& [action, call] : {std::pair{51, &SetFormatSpecMean},
                                     {58, &SetFormatSpecVariable},
                                     {59, &SetFormatSpecStdDev},
                                     {60, &SetFormatSpecDifference},
                                     {61, &SetFormatSpecSum}}) {
    rows.push_back({MakeImage(action, Longs{-5}), [call = call] { return call(-5); }});
  }
  CheckGuarded(rows);
}

TEST_F(OutputCalls, NullTextsMoveLaterOnesForwardAndFlagsAreOneBit) {
  peer.Expects(40, Strings{"b", "note"}, Longs{1}).Answers();
  EXPECT_EQ(PivotTableCaption(nullptr, "b", nullptr, true, "note"), 0);
  // As a caller whose language has wider truth values.
  const auto start = reinterpret_cast<int (*)(const char*, const char*, const char*, int)>(
      reinterpret_cast<void*>(&StartPivotTable));
  for (const int flag : {0xFF, 0x03}) {
    peer.Expects(35, Strings{"a", "b", "c"}, Longs{1}).Answers();
    EXPECT_EQ(start("a", "b", "c", flag), 0);
  }
}

TEST_F(OutputCalls, SettersReturnTheirStatus) {
  CheckGuarded(
      {{MakeImage(130, Longs{3}), [] { return SetXDriveMode(3); }},
       {MakeImage(102, Strings{"v", "n", "x"}, Longs{2}), [] { return SetVarAttributes("v", "n", "x", 2); }},
       {MakeImage(14, Strings{"h"}), [] { return CreateXPathDictionary("h"); }},
       {MakeImage(15, Strings{"h"}), [] { return RemoveXPathHandle("h"); }},
       {MakeImage(214, Strings{"app", "1"}), [] { return SetHostAppNameAndVersion("app", "1"); }},
       {MakeImage(215, Strings{"(c)"}), [] { return SetHostAppCopyright("(c)"); }}});
  SetVexaRunning(false);  // which these do not ask
  peer.Expects(235, Longs{2}).Answers(Error{kRefused});
  EXPECT_EQ(SetMode(2), kRefused);
  peer.Expects(204, Strings{"French"}).Answers(Error{kRefused});
  SetOutputLanguage("French", &error);
  EXPECT_EQ(error, kRefused);
  SetQuillonServerMode(1);  // which does, and tells nobody
  SetVexaRunning(true);
  peer.Expects(230, Longs{1}).Answers();
  SetQuillonServerMode(1);
}

TEST_F(OutputCalls, SyntaxTravelsByItsLength) {
  const std::string text("A\0B.", 4);
  for (const auto& [action, send] : {std::pair{0, &Submit}, {5, &QueueCommandPart}, {6, &PostVexaOutput}}) {
    CheckGuarded({{MakeImage(action, Strings{text}), [&, send = send] { return send(text.data(), 4); }},
                  {MakeImage(action, Strings{""}), [&, send = send] { return send(text.data(), 0); }},
                  {MakeImage(action), [send = send] { return send(nullptr, 3); }}});
  }
}

TEST_F(OutputCalls, ProcedureIsOpenBetweenTwoSuccesses) {
  peer.Expects(78, Strings{"DESCR", "DESCR"}).Answers(Error{kRefused});
  EXPECT_EQ(StartProcedure("DESCR", nullptr), kRefused);
  EXPECT_FALSE(isProcedure);
  peer.Expects(78, Strings{"DESCR", "Summary"}).Answers();
  EXPECT_EQ(StartProcedure("DESCR", "Summary"), 0);
  EXPECT_TRUE(isProcedure);
  peer.Expects(117).Answers(Longs{1});
  EXPECT_EQ(HasProcedure(), 1);
  peer.Expects(79).Answers(Error{kRefused});
  EXPECT_EQ(EndProcedure(), kRefused);
  EXPECT_TRUE(isProcedure);
  peer.Expects(79).Answers();
  EXPECT_EQ(EndProcedure(), 0);
  EXPECT_FALSE(isProcedure);
}

TEST_F(OutputCalls, NumbersAreReadFromTheReply) {
  int first = -1, second = -1;
  CheckGuarded({{MakeImage(209), [&] { return GetNestDepth(&first); }},
                {MakeImage(244), [&] { return IsUseOrFilter(&first); }}});
  peer.Expects(131).Answers(Longs{4, 5});
  EXPECT_EQ(GetXDriveMode(&first, &second), 0);
  EXPECT_EQ(first * 10 + second, 45);
  const struct {
    int action;
    std::function<int()> ask;
    int failure;
  } rows[] = {{185, IsUTF8mode, 0},
              {243, GetXmlUtf16Length, 0},
              {229, GetQuillonServerMode, -1},
              {242, IsDistributedMode, 0}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.action);
    peer.Expects(MakeImage(row.action)).Answers(Longs{1});
    EXPECT_EQ(row.ask(), 1);
    peer.Expects(MakeImage(row.action)).Answers(Error{kRefused}, Longs{1});
    EXPECT_EQ(row.ask(), row.failure);
  }
  SetVexaRunning(false);
  EXPECT_EQ(GetQuillonServerMode(), -1);
  EXPECT_FALSE(IsDistributedMode());
}

TEST_F(OutputCalls, TextsAndLists) {
  CheckTexts(
      MakeImage(219, Strings{"s"}), [](int* code) { return TransCode("s", code); }, "");
  CheckTexts(MakeImage(203), GetOutputLanguage, nullptr);
  CheckTexts(MakeImage(202), GetVEXALocale, nullptr);
  CheckTexts(
      MakeImage(22, Strings{"a", "b"}), [](int* code) { return GetSetting("a", code, "b"); }, nullptr);
  CheckTexts(
      MakeImage(22, Strings{"a"}), [](int* code) { return GetSetting("a", code, nullptr); }, nullptr);
  CheckList(MakeImage(23), GetOMSTagList);
  CheckList(MakeImage(24), GetHandleList);
  CheckList(MakeImage(216), GetFileHandles);
  CheckList(MakeImage(186), GetMultiResponseSetNames);
  CheckList(MakeImage(189), GetMultiResponseSetNamesInProcDS);
  CheckList(MakeImage(16, Strings{"h", "/", "//x"}),
            [](int* code) { return EvaluateXPath("h", "/", "//x", code); });
  SetVexaRunning(false);
  EXPECT_EQ(GetFileHandles(&error), nullptr);
  EXPECT_EQ(error, kDown);
}

TEST_F(OutputCalls, CountedTextsAreTheCallers) {
  using Ask = std::function<int(char***, int*)>;
  const std::pair<Image, Ask> rows[] = {
      {MakeImage(96, Longs{3}), [](char*** t, int* n) { return GetVarAttributeNames(3, t, n); }},
      {MakeImage(97), GetDataFileAttributeNames},
      {MakeImage(99, Longs{3}, Strings{"x"}),
       [](char*** t, int* n) { return GetVarAttributes(3, "x", t, n); }},
      {MakeImage(99, Longs{3}), [](char*** t, int* n) { return GetVarAttributes(3, nullptr, t, n); }},
      {MakeImage(100, Strings{"x"}), [](char*** t, int* n) { return GetDataFileAttributes("x", t, n); }},
      {MakeImage(110, Longs{3}), [](char*** t, int* n) { return GetVarAttributeNamesInProcDS(3, t, n); }},
      {MakeImage(111), GetDataFileAttributeNamesInProcDS},
      {MakeImage(112, Longs{3}, Strings{"x"}),
       [](char*** t, int* n) { return GetVarAttributesInProcDS(3, "x", t, n); }},
      {MakeImage(113, Strings{"x"}),
       [](char*** t, int* n) { return GetDataFileAttributesInProcDS("x", t, n); }}};
  for (const auto& [request, ask] : rows) {
    SCOPED_TRACE(request.action);
    char** texts = nullptr;
    int count = -1;
    peer.Expects(request).Answers(Longs{2}, Strings{"one", std::string("t\0o", 3)});
    ASSERT_EQ(ask(&texts, &count), 0);
    ASSERT_EQ(count, 2);
    EXPECT_STREQ(texts[1], "t");
    EXPECT_EQ(FreeAttributes(texts, count), 0);
    texts = nullptr;
    CheckGuarded({{request, [&] { return ask(&texts, &count); }}});  // a reply without a count
    EXPECT_EQ(count, 0);
    EXPECT_EQ(texts, nullptr);
    peer.Expects(request).Answers(Longs{1 << 30}, Strings{"one"});  // a count that nobody could mean
    ASSERT_EQ(ask(&texts, &count), 0);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(FreeAttributeNames(texts, count), 0);
  }
  EXPECT_EQ(FreeAttributes(nullptr, 0), 0);
  SetVexaRunning(false);
  EXPECT_EQ(FreeAttributes(nullptr, 0), kDown);
}

TEST_F(OutputCalls, ResponseSetHasTextsNumbersAndMembers) {
  for (const auto& [action, ask] :
       {std::pair{187, &GetMultiResponseSet}, {190, &GetMultiResponseSetInProcDS}}) {
    char* text1 = nullptr;
    char* text2 = nullptr;
    void* members = nullptr;
    int value1 = -1, value2 = -1;
    peer.Expects(action, Strings{"$s"}).Answers(Error{kRefused}, Longs{1, 2}, Strings{"a", "b"});
    ask("$s", &text1, &value1, &text2, &value2, &members, &error);
    EXPECT_EQ(error, kRefused);
    EXPECT_TRUE(text1 == nullptr && text2 == nullptr && members == nullptr && value1 == -1);
    peer.Expects(action, Strings{"$s"}).Answers(Longs{1, 2}, Strings{"a", "b", "m"});
    ask("$s", &text1, &value1, &text2, &value2, &members, &error);
    EXPECT_STREQ(text2, "b");
    EXPECT_EQ(value2, 2);
    EXPECT_STREQ(GetStringFromList(members, 0), "m");
    FreeString(text1);
    FreeString(text2);
    RemoveStringList(members);
  }
}

TEST_F(OutputCalls, ImageIsHandedOver) {
  const Image request = MakeImage(21, Strings{"h", "i"});
  char* text = nullptr;
  int length = -1;
  peer.Expects(request).Answers(Error{kRefused}, Strings{"png"}, Binary{std::string("data")}, Longs{4});
  EXPECT_EQ(GetImage("h", "i", &length, &text, &error), nullptr);
  EXPECT_EQ(length, -1);
  peer.Expects(request).Answers(Strings{""}, Binary{std::string("d\0ta", 4)}, Longs{4});
  char* image = GetImage("h", "i", &length, &text, &error);
  ASSERT_EQ(length, 4);
  EXPECT_EQ(std::string(image, 4), std::string("d\0ta", 4));
  EXPECT_EQ(text, nullptr) << "an empty text is not handed out";
  FreeString(image);
}

TEST_F(OutputCalls, WideTextIsKept) {
  peer.Expects(20, Strings{"h"}).Answers(Wide{std::u32string(U"\u00fc\U0001F600")});
  const wchar_t* const text = GetXmlUtf16("h", &error);
  EXPECT_EQ(std::wstring(text), std::wstring(L"\u00fc\U0001F600"));
  peer.Expects(20, Strings{"h"}).Answers(Error{kRefused});
  EXPECT_EQ(GetXmlUtf16("h", &error), nullptr);
  EXPECT_EQ(wstringResult, text) << "the text before stays valid";
}

TEST_F(OutputCalls, HostAndLocaleTextsAreTheCallers) {
  char* one = nullptr;
  char* two = nullptr;
  CheckGuarded({{MakeImage(208), [&] { return GetCLocale(&one); }}});
  EXPECT_EQ(one, nullptr);
  peer.Expects(208).Answers(Strings{"C.UTF-8"});
  EXPECT_EQ(GetCLocale(&one), 0);
  EXPECT_STREQ(one, "C.UTF-8");
  EXPECT_STREQ(setlocale(LC_ALL, nullptr), "C.UTF-8");
  FreeString(one);
  peer.Expects(210).Answers(Strings{"app", "1.2"});
  EXPECT_EQ(GetHostAppNameAndVersion(&one, &two), 0);
  EXPECT_STREQ(one, "app");
  EXPECT_STREQ(two, "1.2");
  FreeString(one);
  FreeString(two);
  peer.Expects(213).Answers(Error{kRefused});
  EXPECT_EQ(GetHostAppCopyright(&one), kRefused);
  peer.Expects(213).Answers(Strings{"(c)"});
  EXPECT_EQ(GetHostAppCopyright(&one), 0);
  EXPECT_STREQ(one, "(c)");
  FreeString(one);
}

TEST_F(OutputCalls, RecordIsAppendedToTheFirstPath) {
  const std::string path = sandbox.Write("record", "old ");
  EXPECT_EQ(SetRecordBrowserOutput((sandbox.path() + "/none/record").c_str(), true), 0);
  RecordBrowserOutput("lost", 4, nullptr);
  SetRecordBrowserOutput(path.c_str(), true);
  SetRecordBrowserOutput((sandbox.path() + "/other").c_str(), true);
  RecordBrowserOutput("nothing", 0, nullptr);
  RecordBrowserOutput("100% ", 1, nullptr);
  const auto upper = [](const char* source, unsigned long size, char* destination, unsigned long room) {
    for (unsigned long i = 0; i < size && size * 4 == room; ++i)
      destination[i] = static_cast<char>(std::toupper(source[i]));
    return 0;
  };
  peer.Expects(185).Answers(Longs{1});
  RecordBrowserOutput("wide ", 5, upper);
  peer.Expects(185).Answers(Longs{0});
  RecordBrowserOutput("narrow", 6, upper);
  SetRecordBrowserOutput(nullptr, false);
  EXPECT_EQ(ReadFile(path), "old 100% WIDE narrow");
  EXPECT_EQ(sandbox.Entries().size(), 3u) << "the two fifos and the first path";
  std::remove(path.c_str());
}

TEST_F(OutputCalls, TempFolderLastsAsLongAsTheSession) {
  EXPECT_STREQ(GetRTempFolderToVEXA(), "");
  SetRTempFolderToVEXA("/tmp/r");
  EXPECT_STREQ(GetRTempFolderToVEXA(), "/tmp/r");
  ResetStaticVars();
  EXPECT_STREQ(GetRTempFolderToVEXA(), "");
}

// What a client demands of a reply ends the process when it is not there.
TEST_F(OutputCalls, DieOfRepliesWithoutWhatTheyDemand) {
  const struct {
    Image reply;
    std::function<void()> ask;
    const char* text;
  } rows[] = {
      {MakeImage(117, Error{kRefused}), HasProcedure, "assertion failed: 0 == errCode"},
      {MakeImage(117), HasProcedure, "assertion failed: size > 0"},
      {MakeImage(131, Longs{1}), [] { GetXDriveMode(nullptr, nullptr); }, "assertion failed: size > 1"},
      {MakeImage(185), IsUTF8mode, "assertion failed: size > 0"},
      {MakeImage(210, Strings{"a"}), [] { GetHostAppNameAndVersion(nullptr, nullptr); },
       "assertion failed: sData.Size\\(\\) == 2"},
      {MakeImage(213), [] { GetHostAppCopyright(nullptr); }, "assertion failed: sData.Size\\(\\) == 1"}};
  peer.Expects(117).Answers(Longs{0});
  HasProcedure();  // the forks below use the ends that this opens
  for (const auto& row : rows) {
    peer.Expects(row.reply.action).Sends({Encode(row.reply)});
    EXPECT_DEATH(row.ask(), row.text) << row.reply.action;
  }
  EXPECT_DEATH(GetGraphic(nullptr), "assertion failed: filePath");
  peer.Expects(201, Strings{"/tmp/x.png"}).Answers(Error{kRefused});
  GetGraphic("/tmp/x.png");
}

}  // namespace
