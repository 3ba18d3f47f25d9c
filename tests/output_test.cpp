// End to end: what a program submits, posts and builds, as the practice engine shows it and answers about it.

#include "support/session_test.h"

namespace {

constexpr char kSide[] =
    "fileattribute Source Census\nset $q \"Asked\" counts 1 C n\nvariable n\n value 1 One\n"
    " attribute Unit kg lb\n attribute Bare\nvariable t\n value a \"Letter a\"\n";

struct Dimension {
  const char* name;
  int place, position;
};
constexpr Dimension kRows = {"Row", 0, 0}, kColumns = {"Column", 1, 0};

template <class Call, class... Own>
int OnTable(Call call, Own... own) {
  return call("Outline", "Type", "Title", false, own...);
}
template <class Call, class... Own>
int On(const Dimension& dimension, Call call, Own... own) {
  return OnTable(call, dimension.name, dimension.place, dimension.position, false, false, own...);
}

class OutputTest : public SessionTest {
 protected:
  const std::string output = files.path() + "/out";
  int code = 0, count = 0;

  OutputTest() {
    files.Write("d.csv.vars", kSide);
    const std::string data = files.Write("d.csv", "C,n,t\n1,1,a\n0,2,b\n");
    EXPECT_EQ(StartVexa(("-data " + data + " -output " + output).c_str()), 0);
  }
  void StartTable() {
    EXPECT_EQ(Failed({StartProcedure("P", "Procedure"), OnTable(StartPivotTable)}), "");
    EXPECT_EQ(Failed({On(kRows, AddDimension), On(kColumns, AddDimension)}), "");
  }
  std::string Joined(void* list) {
    std::string joined;
    for (int i = 0; i < GetStringListLength(list); ++i)
      joined += GetStringFromList(list, i) + std::string("|");
    RemoveStringList(list);
    return joined;
  }
  std::string Find(const char* xpath) {
    EXPECT_EQ(CreateXPathDictionary("now"), 0);
    return Joined(EvaluateXPath("now", "/", xpath, &code));
  }
};

TEST_F(OutputTest, EveryKindOfCategoryCellAndFootnoteIsReadBack) {
  StartTable();
  EXPECT_EQ(Failed({On(kColumns, AddStringCategory, "Value"), SetFormatSpecPercent()}), "");
  EXPECT_EQ(Failed({On(kRows, AddNumberCategory, 0.5), On(kRows, SetNumberCell, 37.25)}), "");
  EXPECT_EQ(Failed({On(kRows, AddStringCategory, "text"), On(kRows, SetVarNameCell, 2)}), "");
  EXPECT_EQ(On(kRows, SetStringCell, "cell"), 0) << "in the place of the name";
  EXPECT_EQ(Failed({On(kRows, AddVarNameCategory, 0), On(kRows, SetVarNameCell, 2)}), "");
  EXPECT_EQ(Failed({On(kRows, AddVarValueDoubleCategory, 1, 1.0), On(kRows, SetVarValueDoubleCell, 1, 2.0)}),
            "");
  EXPECT_EQ(Failed({On(kRows, AddVarValueStringCategory, 2, "a"), On(kRows, SetVarValueStringCell, 2, "b")}),
            "");
  EXPECT_EQ(Failed({On(kRows, AddStringCategory, "date"), On(kRows, SetDateCell, "2026-11-22")}), "");
  EXPECT_EQ(AddOutlineFootnotes("Outline", "Type", "Title", "outline's", false), 0);
  EXPECT_EQ(AddTitleFootnotes("Outline", "Type", "Title", "title's", false), 0);
  EXPECT_EQ(Failed({OnTable(AddCaptionFootnotes, "Caption", "caption's"), AddProcFootnotes("procedure's")}),
            "");
  EXPECT_EQ(
      Failed({On(kRows, AddDimFootnotes, "dimension's"), On(kRows, AddCategoryFootnotes, "category's")}), "");
  EXPECT_EQ(Failed({On(kRows, AddCellFootnotes, "cell's"), OnTable(MinDataColumnWidth, 15), EndProcedure()}),
            "");
  EXPECT_EQ(Find("//category/@kind"),
            "number|string|variableName|variableValue|variableValue|string|string|");
  EXPECT_EQ(Find("//cell/text()") + Find("//footnote/@mark"), "37.2%|cell|t|2.00|b|2026-11-22|a|b|c|d|e|f|");
  EXPECT_EQ(Find("//cell[at/@category='One']/@value") + Find("//procedure/footnote/text()"),
            "2|procedure's|");
  EXPECT_EQ(Find("//cell/@kind"), "number|string|variableName|variableValue|variableValue|date|");
  EXPECT_EQ(Find("//@minWidth") + Find("//@maxWidth"), "15|");
  const std::string text = ReadFile(output + ".txt");
  EXPECT_NE(text.find(R"(
Title [b]
          Column
Row [d]   Value
--------  ---------------
0.5%                37.2%
text      cell
C         t
One                  2.00
Letter a  b
date [e]  2026-11-22 [f]

Caption [c]
a. outline's
)"),
            std::string::npos)
      << text;
}

TEST_F(OutputTest, WhatIsNewGoesBehindAndWhatChangedIsWrittenAnew) {
  const auto expect = [&](const std::string& tables) {
    EXPECT_EQ(ReadFile(output + ".txt"), "Output\n======\n" + tables);
    const std::string html = ReadFile(output + ".html");
    EXPECT_EQ(html.find("</body></html>"), html.size() - 14);
    EXPECT_EQ(html.rfind("<h1>"), html.find("<h1>"));
    EXPECT_EQ(std::count(html.begin(), html.end(), '\n'), 0) << html;
  };
  const auto table = [](const std::string& number, const std::string& cell) {
    return "\nP" + number + "\n--\n\nOutline\n\nTitle\n     Column\nRow       c\n---  ------\nr         " +
           cell + "\n";
  };
  const auto add = [&](const char* name, double cell) {
    EXPECT_EQ(StartProcedure(name, name), 0);
    EXPECT_EQ(OnTable(StartPivotTable) + On(kRows, AddDimension) + On(kColumns, AddDimension), 0);
    EXPECT_EQ(On(kRows, AddStringCategory, "r") + On(kColumns, AddStringCategory, "c"), 0);
    EXPECT_EQ(On(kColumns, SetNumberCell, cell) + EndProcedure(), 0);
  };
  add("P1", 1);
  expect(table("1", "1"));
  add("P2", 2);
  expect(table("1", "1") + table("2", "2"));
  EXPECT_EQ(On(kColumns, SetNumberCell, 7.0), 0);
  add("P3", 3);
  const std::string all = table("1", "1") + table("2", "7") + table("3", "3");
  expect(all);
  files.Write("out.txt", "somebody else's");
  EXPECT_EQ(PostVexaOutput("end", 3) + StartProcedure("P", "P4") + EndProcedure(), 0);
  expect(all + "\nend\n\nP4\n--\n");
}

TEST_F(OutputTest, LayersAndNestedColumnsLieOutAndWhatIsTooWideIsCut) {
  constexpr Dimension kInner = {"Inner", 1, 1}, kLayer = {"Layer", 2, 0};
  StartTable();
  EXPECT_EQ(Failed({On(kInner, AddDimension), On(kLayer, AddDimension), OnTable(MaxDataColumnWidth, 4)}), "");
  for (int cell = 0; cell < 8; ++cell) {
    EXPECT_EQ(Failed({On(kLayer, AddNumberCategory, cell / 4), On(kInner, AddNumberCategory, cell % 2)}), "");
    EXPECT_EQ(
        Failed({On(kColumns, AddStringCategory, &"AB"[cell / 2 % 2]), On(kRows, AddStringCategory, "r")}),
        "");
    EXPECT_EQ(cell == 2 ? On(kRows, SetStringCell, "Grüße") : On(kRows, SetNumberCell, cell * 5001), 0);
  }
  EXPECT_EQ(EndProcedure(), 0);
  EXPECT_NE(ReadFile(output + ".txt").find(R"(
Layer: 0
     Column
     AB       B
     Inner
Row  0     1  0        1
---  -  ----  ----  ----
r    0  5001  Grü…  ****

Layer: 1
)"),
            std::string::npos);
}

TEST_F(OutputTest, HostileTextsSurviveToXmlAndBack) {
  const std::string hostile = "]]><&>\"' é漢😀\x01\xFF", clean = "]]><&>\"' é漢😀\uFFFD\uFFFD|";
  const char* text = hostile.c_str();
  StartTable();
  EXPECT_EQ(Failed({On(kColumns, AddStringCategory, text), On(kRows, AddStringCategory, text)}), "");
  EXPECT_EQ(Failed({On(kRows, SetStringCell, text), Submit(text, static_cast<int>(hostile.size()))}), "");
  EXPECT_EQ(Find("//cell/@value") + Find("//cell/text()") + Find("//command/text()"), clean + clean + clean);
  EXPECT_EQ(EndProcedure(), 0);
  EXPECT_NE(ReadFile(output + ".html").find("]]&gt;&lt;&amp;&gt;\"' é漢😀\uFFFD\uFFFD</td>"),
            std::string::npos);
  char* locale = nullptr;
  EXPECT_EQ(Failed({GetCLocale(&locale), FreeString(locale)}), "");
  const std::string xml = Joined(EvaluateXPath("now", "", "/", &code));
  std::wstring wide(xml.size(), L'\0');
  wide.resize(std::mbstowcs(wide.data(), xml.c_str(), wide.size()) - 1);  // without the final "|"
  EXPECT_TRUE(GetXmlUtf16("now", &code) == wide && GetXmlUtf16Length() == static_cast<int>(wide.size()));
}

TEST_F(OutputTest, CommandsTextsAndSplitsStandInOrder) {
  EXPECT_EQ(Failed({QueueCommandPart("ONE", 3), QueueCommandPart("TWO", 3), Submit("GO.", 3)}), "");
  EXPECT_EQ(Failed({PostVexaOutput("a\xC3", 2), PostVexaOutput("\xA9z", 2), SplitChange("s = 1")}), "");
  EXPECT_EQ(Failed({AddTextBlock("o", "Head", "body", 1), SetGraphicsLabel("G", "L")}), "");
  GetGraphic("/dev/null");
  EXPECT_EQ(Find("/output/*/text()") + Find("//graphic/@*"), "ONE\nTWO\nGO.|aéz|s = 1|body|/dev/null|G|L|");
}

TEST_F(OutputTest, AttributesAndSetsAreThoseOfTheSideFileUntilSet) {
  const auto listed = [&](auto get, auto... arguments) {
    char** texts = nullptr;
    std::string joined;
    EXPECT_EQ(get(arguments..., &texts, &count), 0);
    for (int i = 0; i < count; ++i) joined += texts[i] + std::string("|");
    FreeAttributes(texts, count);
    return joined;
  };
  EXPECT_EQ(listed(GetVarAttributeNames, 1) + listed(GetVarAttributes, 1, "Bare"), "Unit|Bare|");
  EXPECT_EQ(SetVarAttributes("n", "unit", "t", 2), 0);
  EXPECT_EQ(listed(GetVarAttributesInProcDS, 1, "UNIT") + listed(GetDataFileAttributes, "Source"),
            "kg|lb|t|Census|");
  char *label = nullptr, *counted = nullptr;
  int coding = 0, is_text = 1;
  void* members = nullptr;
  GetMultiResponseSet("$Q", &label, &coding, &counted, &is_text, &members, &code);
  ASSERT_EQ(code, 0);
  EXPECT_EQ(label + std::to_string(coding) + counted + std::to_string(is_text), "Asked110");
  EXPECT_EQ(Joined(members) + Joined(GetMultiResponseSetNamesInProcDS(&code)), "C|n|$q|");
  EXPECT_EQ(Failed({FreeString(label), FreeString(counted)}), "");
}

TEST_F(OutputTest, ImageIsAWholePng) {
  char* type = nullptr;
  EXPECT_EQ(CreateXPathDictionary("h"), 0);
  const std::unique_ptr<char[]> image(GetImage("h", "n", &count, &type, &code));
  ASSERT_TRUE(code == 0 && std::memcmp(image.get(), "\x89PNG\r\n\x1A\n", 8) == 0);
  EXPECT_TRUE(std::strcmp(type, "image/png") == 0 && FreeString(type) == 0);
  const std::string png(image.get(), static_cast<std::size_t>(count));
  EXPECT_EQ(png.substr(12, 12), std::string("IHDR\0\0\x01\x40\0\0\0\xC8", 12)) << "320 x 200";
  EXPECT_TRUE(png.ends_with(std::string("\0\0\0\0IEND\xAE\x42\x60\x82", 12)));
}

TEST_F(OutputTest, PlotsAreEntriesOfWhatTheyShow) {
  const auto submit = [](const char* text) { return Submit(text, static_cast<int>(std::strlen(text))); };
  EXPECT_EQ(Failed({submit("PLOT /HISTOGRAM=n."), submit("plot /scatter=C \"n\".")}), "");
  EXPECT_EQ(Find("//bar/@*") + Find("//point/@*"), "0.5|1.5|1|1.5|2.5|1|1|1|1|0|2|1|");
  EXPECT_EQ(Find("//plot/@*"), "histogram|Histogram of n|n|Cases|2|2|scatter|n by C|C|n|2|2|");
  EXPECT_EQ((std::vector{submit("PLOT /HISTOGRAM=t."), submit("PLOT /SCATTER=n none."), submit("PLOT n.")}),
            (std::vector{24, 2033, 2046}));
}

TEST_F(OutputTest, WhatIsNotThereHasACode) {
  EXPECT_EQ(OnTable(HidePivotTableTitle), 2020);
  StartTable();
  EXPECT_EQ((std::vector{On({"Row", 1, 0}, SetNumberCell, 1.0), On(kRows, AddDimension),
                         On(kRows, SetNumberCell, 1.0), On(kRows, AddCellFootnotes, "x"),
                         On(kRows, AddVarNameCategory, -1), On(kRows, AddVarValueDoubleCategory, 2, 1.0)}),
            (std::vector{2021, 2022, 2023, 2024, 10, 24}));
  EXPECT_EQ(
      (std::vector{StartProcedure("P", nullptr), EndProcedure(), EndProcedure(), RemoveXPathHandle("")}),
      (std::vector{2025, 0, 2026, 2030}));
  EXPECT_EQ(CreateXPathDictionary("h"), 0);
  EXPECT_TRUE(EvaluateXPath("h", "/", "//[", &code) == nullptr && code == 2031);
  EXPECT_TRUE(TransCode("\xC0\x80", &code)[0] == '\0' && code == 2032);
  EXPECT_TRUE(GetSetting("none", &code, nullptr) == nullptr && code == 2033);
}

}  // namespace
