// Columns written to the staged engine and asked back cell by cell.

#include <bit>
#include <functional>

#include "column_description.h"
#include "session.h"
#include "support/arrow_builder.h"
#include "support/session_test.h"

namespace {

using namespace arrow;
using Values = std::vector<std::string>;

constexpr int kSlots = 40;
constexpr int kRefused = 99127;

std::string Text(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.15g", value);
  return text;
}

// A value for each slot.
template <class Value, class Make>
Column Each(const std::string& format, Make make) {
  std::vector<Value> values;
  for (int slot = 0; slot < kSlots; ++slot) values.push_back(static_cast<Value>(make(slot)));
  return Numbers(format, values);
}

class ColumnWritingTest : public SessionTest {
 protected:
  void SetUp() override {
    const std::string data = files.Write("data.csv", "x,t\n1,ab\n2,c\n3,\n");
    ASSERT_EQ(StartVexa(("-data " + data).c_str()), 0);
  }
  void TearDown() override {
    SessionTest::TearDown();
    EXPECT_EQ(Left(), 0) << "everything that was handed over is released";
  }
  // The values of a variable, "." for system-missing, texts without the blanks at their end.
  static Values Cells(const char* dataset, const std::string& variable) {
    int code = 0, missing = 0, place = 0;
    const bool own = StartDataStep() == 0;
    EXPECT_EQ(CreateDataset(dataset, false, false), 0);
    const int variables = GetVarCountInDS(dataset, &code);
    while (place < variables && variable != GetVarNameInDS(dataset, place, &code)) ++place;
    EXPECT_LT(place, variables) << variable;
    const bool is_text = GetVarTypeInDS(dataset, place, &code) > 0;
    Values cells;
    for (long row = 0; row < GetCaseCountInDS(dataset, &code); ++row) {
      std::string cell;
      if (is_text) {
        cell = GetCCellValue(dataset, row, place, &missing, &code);
        cell.erase(cell.find_last_not_of(' ') + 1);
      } else {
        const double value = GetNCellValue(dataset, row, place, &missing, &code);
        cell = missing == 2 ? "." : Text(value);
      }
      cells.push_back(code == 0 ? cell : "code " + std::to_string(code));
    }
    EXPECT_EQ(own ? EndDataStep() : 0, 0);
    return cells;
  }
  // What can be seen of the session's data without a look at the cells.
  static std::string Shape() {
    int code = 0, count = 0;
    char** names = nullptr;
    std::string shape = std::to_string(GetVariableCount(&code)) + " x " + std::to_string(GetRowCount(&code));
    EXPECT_EQ(GetVexaDatasets(&names, &count), 0);
    for (int i = 0; i < count; ++i) shape += std::string(" ") + names[i];
    FreeStringArray(reinterpret_cast<void**>(names), count);
    return shape;
  }
};

struct Form {
  Column column;
  std::function<std::string(int slot)> value;
  std::string null = ".";
};

std::uint16_t Half(int value) {
  if (value == 0) return 0;
  const int exponent = std::bit_width(static_cast<unsigned>(value)) - 1;
  return static_cast<std::uint16_t>((exponent + 15) << 10 | (value << (10 - exponent) & 0x3ff));
}

std::vector<Form> EveryForm() {
  const auto same = [](int slot) { return Text(slot); };
  const auto less = [](int slot) { return slot - 20; };
  const auto signs = [=](int slot) { return Text(less(slot)); };
  const auto times = [=](double seconds) { return [=](int slot) { return Text(less(slot) * seconds); }; };
  Values words, three;
  for (int slot = 0; slot < kSlots; ++slot) {
    words.push_back(std::string(static_cast<std::size_t>(slot % 30), static_cast<char>('a' + slot % 26)));
    three.push_back("w" + std::to_string(slot + 10));
  }
  const auto word = [=](int slot) { return words[static_cast<std::size_t>(slot)]; };
  std::vector<bool> odd;
  std::string fixed, decimals;
  for (int slot = 0; slot < kSlots; ++slot) {
    odd.push_back(slot % 2 != 0);
    fixed += three[static_cast<std::size_t>(slot)];
    const std::int64_t number[] = {less(slot) * 25, less(slot) < 0 ? -1 : 0};
    decimals.append(reinterpret_cast<const char*>(number), sizeof number);
  }
  const auto raw = [](const std::string& format, std::string bytes) {
    return Column{"c", format, {std::move(bytes)}, {}, kSlots, 0, "", nullptr};
  };
  const Column levels = Texts({"rubbish", "low", "mid", "high"}).From(1);
  const auto third = [](int slot) { return slot % 3; };
  const auto level = [](int slot) { return Text(slot % 3 + 1); };
  return {
      {Each<std::int8_t>("c", less), signs},
      {Each<std::uint8_t>("C", std::identity()), same},
      {Each<std::int16_t>("s", less), signs},
      {Each<std::uint16_t>("S", std::identity()), same},
      {Each<std::int32_t>("i", less), signs},
      {Each<std::uint32_t>("I", std::identity()), same},
      {Each<std::int64_t>("l", less), signs},
      {Each<std::uint64_t>("L", std::identity()), same},
      {Each<std::uint16_t>("e", Half), same},
      {Each<float>("f", less), signs},
      {Each<double>("g", less), signs},
      {raw("b", Column::Bits(odd)), [](int slot) { return Text(slot % 2); }},
      {raw("d:9,2", decimals), times(0.25)},
      {raw("d:9,-3,128", decimals), times(25000)},
      {Each<std::int32_t>("tdD", less), times(86400)},
      {Each<std::int64_t>("tdm", less), times(0.001)},
      {Each<std::int64_t>("tss:", less), signs},
      {Each<std::int64_t>("tsm:Europe/Berlin", less), times(1e-3)},
      {Each<std::int64_t>("tsu:", less), times(1e-6)},
      {Each<std::int64_t>("tsn:UTC", less), times(1e-9)},
      {Each<std::int32_t>("tts", less), signs},
      {Each<std::int32_t>("ttm", less), times(1e-3)},
      {Each<std::int64_t>("ttu", less), times(1e-6)},
      {Each<std::int64_t>("ttn", less), times(1e-9)},
      {Each<std::int64_t>("tDs", less), signs},
      {Each<std::int64_t>("tDn", less), times(1e-9)},
      {raw("n", ""), [](int) { return "."; }},
      {Texts(words), word, ""},
      {Texts(words, "z"), word, ""},
      {Texts<std::int64_t>(words, "U"), word, ""},
      {Texts<std::int64_t>(words, "Z"), word, ""},
      {Views(words), word, ""},
      {Views(words).As("vz"), word, ""},
      {raw("w:3", fixed), [=](int slot) { return three[static_cast<std::size_t>(slot)]; }, ""},
      {Each<std::int8_t>("c", third).Of(levels), level},
      {Each<std::uint64_t>("L", third).Of(levels.As("z")), level},
  };
}

// Nulls at every place around the borders of bytes, in slices of columns and of structs, in several batches.
TEST_F(ColumnWritingTest, EveryFormArrivesFromAnyPlaceWithItsNulls) {
  const std::vector<Form> forms = EveryForm();
  const std::vector<std::size_t> nulls = {0, 3, 7, 8, 9, 15, 16, 17, 23, 24, 31, 32, 39};
  const auto is_in = [](const std::vector<std::size_t>& slots, int slot) {
    return std::count(slots.begin(), slots.end(), static_cast<std::size_t>(slot)) != 0;
  };
  constexpr int kFirst = 3, kStructFirst = 5;
  std::vector<bool> structs(kSlots, true);
  structs[kStructFirst + 1] = structs[20] = false;  // by the struct's own count
  std::vector<Batch> batches(4);
  for (std::size_t i = 0; i < forms.size(); ++i) {
    const Column column = forms[i].column.Named("v" + std::to_string(i));
    batches[0].columns.push_back(column);
    batches[1].columns.push_back(column.From(kSlots));  // of no rows
    batches[2].columns.push_back(column.Nulls(nulls).From(kFirst));
    batches[3].columns.push_back(column.Nulls(nulls).From(kFirst));
  }
  batches[3].offset = kStructFirst;
  batches[3].valid = structs;
  ASSERT_EQ(VexaCreateColumns("forms", Stream(batches)), 0) << VexaLastError();
  for (std::size_t i = 0; i < forms.size(); ++i) {
    SCOPED_TRACE(forms[i].column.format);
    Values expected;
    for (int slot = 0; slot < kSlots; ++slot) expected.push_back(forms[i].value(slot));
    for (int slot = kFirst; slot < kSlots; ++slot)
      expected.push_back(is_in(nulls, slot) ? forms[i].null : forms[i].value(slot));
    for (int slot = kFirst + kStructFirst; slot < kSlots; ++slot) {
      const bool there = structs[static_cast<std::size_t>(slot - kFirst)] && !is_in(nulls, slot);
      expected.push_back(there ? forms[i].value(slot) : forms[i].null);
    }
    EXPECT_EQ(Cells("forms", "v" + std::to_string(i)), expected);
  }
}

// The code and the words with which a column added, or the existing variable "x" or "t" replaced by it, is
// refused; empty words: it is taken.
TEST_F(ColumnWritingTest, WhatCannotBeStoredIsRefusedBeforeAnythingIsWritten) {
  const auto decimal = [](std::int64_t low, const char* format) {
    return Column{"c", format, {Bytes<std::int64_t>({0, 0, low, 0, 0, 0})}, {}, 3, 0, "", nullptr};
  };
  const std::int64_t exact = std::int64_t{1} << 53;
  const double missing = -std::numeric_limits<double>::max();
  const auto dictionary = [](const Values& texts, const std::vector<std::int8_t>& indices) {
    return Numbers<std::int8_t>("c", indices).Of(Texts(texts));
  };
  const auto said = [](auto set) {
    ColumnDescription description;
    set(description);
    return description.Encode();
  };
  const Column some = Doubles({1, 2, 3});
  const struct {
    int (*function)(const char*, ArrowArrayStream*);
    std::vector<Column> columns;
    int code;
    std::string words;
  } rows[] = {
      {VexaAddColumns, {Numbers<std::int64_t>("l", {exact, -exact, exact + 2}).Named("h")}, 0, ""},
      {VexaAddColumns,
       {Numbers<std::int64_t>("l", {0, exact + 1, 0})},
       kRefused,
       "column 'c', row 1: 900719"},
      {VexaAddColumns, {Numbers<std::int64_t>("l", {0, exact + 1, 0}).Nulls({1}).Named("d")}, 0, ""},
      {VexaAddColumns, {Numbers<std::uint64_t>("L", {0, 0, ~std::uint64_t{0}})}, kRefused, "row 2: 1844674"},
      {VexaAddColumns, {decimal(exact - 1, "d:38,0").Named("e")}, 0, ""},
      {VexaAddColumns, {decimal(exact + 1, "d:38,0")}, kRefused, "row 1: 9.007199254740993"},
      {VexaAddColumns, {decimal(123456789012345678, "d:38,9")}, kRefused, "row 1: "},
      {VexaAddColumns, {decimal(1, "d:76,0,256")}, kRefused, "column 'c': the form \"d:76,0,256\""},
      {VexaAddColumns, {Doubles({0, NAN, HUGE_VAL}).Named("f")}, 0, ""},
      {VexaAddColumns, {Doubles({0, 1, missing})}, kRefused, "row 2: the value stands for system-missing"},
      {VexaAddColumns, {Texts({"", std::string(32767, 'a'), ""}).Named("g")}, 0, ""},
      {VexaAddColumns, {Texts({"", std::string(32768, 'a'), ""})}, kRefused, "row 1: a text of 32768 bytes"},
      {VexaAddColumns,
       {Texts({"", std::string("a\0b", 3), ""})},
       kRefused,
       "row 1: the text holds a zero byte"},
      {VexaAddColumns, {some.As("+l")}, kRefused, "column 'c': the form \"+l\" is not taken"},
      {VexaAddColumns, {some.As("tsx:")}, kRefused, "the form"},
      {VexaAddColumns, {some.Of(some)}, kRefused, "column 'c': a dictionary"},
      {VexaAddColumns, {dictionary({"a"}, {0, 0, 1})}, kRefused, "row 2: its dictionary has no entry 1"},
      {VexaAddColumns, {some.Named("a b")}, kRefused, "column 'a b': the backend does not allow the name"},
      {VexaAddColumns, {some.Named("a"), some.Named("A")}, kRefused, "column 'A': the name stands twice"},
      {VexaAddColumns, {some.Named("X")}, kRefused, "column 'X': there is such a variable already"},
      {VexaAddColumns, {Doubles({1, 2})}, 97, "have 2 rows, and the dataset 3 cases"},
      {VexaAddColumns, {some.Says(said([](auto& d) { d.level = 7; }))}, kRefused, "there is no level 7"},
      {VexaAddColumns, {some.Says(said([](auto& d) { d.format = "8"; }))}, kRefused, "have no format in 8"},
      {VexaAddColumns,
       {some.Says(said([](auto& d) { d.format = "ODD8"; }))},
       kRefused,
       "refused the format ODD8"},
      {VexaAddColumns,
       {some.Says(said([](auto& d) {
         d.labels = {{"a", "b"}};
       }))},
       kRefused,
       "vexa.labels"},
      {VexaAddColumns, {some, some.Named("e2").Says(said([](auto& d) { d.role = 9; }))}, 2011, ""},
      {VexaReplaceColumns, {some.Named("none")}, 10, "column 'none': there is no such variable"},
      {VexaReplaceColumns, {Texts({"", "", ""}).Named("x")}, kRefused, "column 'x': it is of texts"},
      {VexaReplaceColumns, {some.Named("T")}, kRefused, "column 'T': it is of numbers"},
      {VexaReplaceColumns,
       {some.Named("x"), Texts({"", "abc", ""}).Named("t")},
       kRefused,
       "row 1: a text of 3"},
      {VexaReplaceColumns,
       {dictionary({"7", "u"}, {0, 0, 1}).Named("x")},
       kRefused,
       "row 2: 'u' is no value"},
      {VexaAppendColumns, {some.Named("none")}, 10, "column 'none'"},
      {VexaAppendColumns, {Texts({"", "abc", ""}).Named("t")}, kRefused, "row 1: a text of 3 bytes, where 2"},
      {VexaCreateColumns, {some, some.Named("a").Says(said([](auto& d) { d.role = 9; }))}, 2011, ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.words);
    const std::string before = Shape();
    EXPECT_EQ(row.function(row.function == VexaCreateColumns ? "made" : "", Stream(row.columns)), row.code)
        << VexaLastError();
    if (row.code == 0) continue;
    EXPECT_NE(std::string(VexaLastError()).find(row.words), std::string::npos) << VexaLastError();
    EXPECT_TRUE(row.function == VexaCreateColumns || Shape() == before) << Shape();
    EXPECT_EQ(Shape().find("made"), std::string::npos) << Shape();
    EXPECT_EQ(Cells("*", "x"), (Values{"1", "2", "3"}));
    EXPECT_EQ(Cells("*", "t"), (Values{"ab", "c", ""}));
  }
}

// Said of a new variable, and of one that is there.
TEST_F(ColumnWritingTest, WhatIsSaidOfAVariableIsAppliedAndAskedBack) {
  ColumnDescription number, text;
  number.label = "a\tlabel \\ of\ntwo lines";
  number.format = "COMMA9.3", number.level = 2, number.role = 4;
  number.missing_format = -3, number.missing = {-1e300, -0.5, 99.0};
  number.labels = {{1.0, "one\ttab"}, {0.1, "a\\n\nb"}, {-2e-7, ""}};
  text.width = 12, text.missing_format = 2, text.missing = {"no", ""};
  text.labels = {{"a\tb", "tab"}, {"", "nothing"}};
  const auto check = [](const char* dataset, int place, bool is_text) {
    int code = 0, format = 0, count = 0;
    ASSERT_EQ(StartDataStep() + CreateDataset(dataset, false, false), 0);
    if (is_text) {
      char units[24];
      char **values = nullptr, **labels = nullptr;
      EXPECT_EQ(GetVarTypeInDS(dataset, place, &code), 12);
      EXPECT_EQ(GetVarCMissingValuesInDS(dataset, place, &format, units, units + 8, units + 16), 0);
      EXPECT_TRUE(format == 2 && std::string(units, 16) == "no              ");
      EXPECT_EQ(GetVarCValueLabelInDS(dataset, place, &values, &labels, &count), 0);
      EXPECT_TRUE(count == 2 && std::string(values[0]).starts_with("a\tb") &&
                  labels[1] == std::string("nothing"));
      FreeStringArray(reinterpret_cast<void**>(values), count);
      FreeStringArray(reinterpret_cast<void**>(labels), count);
    } else {
      double low = 0, high = 0, one = 0, *values = nullptr;
      char** labels = nullptr;
      EXPECT_STREQ(GetVarLabelInDS(dataset, place, &code), "a\tlabel \\ of\ntwo lines");
      EXPECT_STREQ(GetVarFormatInDS(dataset, place, &code), "COMMA9.3");
      EXPECT_STREQ(GetVarMeasurementLevelInDS(dataset, place, &code), "ordinal");
      EXPECT_EQ(GetVarRoleInDS(dataset, place, &code), 4);
      EXPECT_EQ(GetVarNMissingValuesInDS(dataset, place, &format, &low, &high, &one), 0);
      EXPECT_TRUE(format == -3 && low == -1e300 && high == -0.5 && one == 99);
      EXPECT_EQ(GetVarNValueLabelInDS(dataset, place, &values, &labels, &count), 0);
      EXPECT_TRUE(count == 3 && values[2] == -2e-7 && labels[1] == std::string("a\\n\nb"));
      FreeDoubleArray(values, count);
      FreeStringArray(reinterpret_cast<void**>(labels), count);
    }
    EXPECT_EQ(EndDataStep(), 0);
  };
  const Column a = Doubles({1, 2, 3}).Named("a").Says(number.Encode());
  const Column b = Texts({"x", "", "yy"}).Named("b").Says(text.Encode());
  ASSERT_EQ(VexaAddColumns(nullptr, Stream({a, b})), 0) << VexaLastError();
  check("*", 2, false), check("*", 3, true);
  ASSERT_EQ(VexaReplaceColumns(nullptr, Stream({a.Named("X")})), 0) << VexaLastError();
  check("*", 0, false);
  ASSERT_EQ(VexaCreateColumns("made", Stream({b, a})), 0) << VexaLastError();
  check("made", 1, false), check("made", 0, true);
  // A dictionary of a text variable's labels, and of a number's, with what has no label.
  const Column words = Numbers<std::int8_t>("c", {1, 0, 2});
  const Column d = words.Of(Texts({"nothing", "tab", "else"})).Named("d").Says(text.Encode());
  const Column e = words.Of(Texts({"", "one\ttab", "8.5"})).Named("a");
  ASSERT_EQ(VexaAddColumns(nullptr, Stream({d})), 0) << VexaLastError();
  ASSERT_EQ(VexaReplaceColumns(nullptr, Stream({e})), 0) << VexaLastError();
  EXPECT_EQ(Cells("made", "d"), (Values{"a\tb", "", "else"}));
  EXPECT_EQ(Cells("made", "a"), (Values{"1", "-2e-07", "8.5"}));
}

// Other metadata than ours are passed over; ours that are not in the form are refused.
TEST_F(ColumnWritingTest, MetadataThatAreNotInTheFormAreRefused) {
  const auto pair = [](const std::string& key, const std::string& value) {
    const auto count = [](std::size_t size) {
      return Bytes<std::int32_t>({static_cast<std::int32_t>(size)});
    };
    return count(1) + count(key.size()) + key + count(value.size()) + value;
  };
  const std::pair<const char*, const char*> rows[] = {
      {"vexa.missing", "value"},
      {"vexa.missing", "value\t1\nvalue\t2\nvalue\t3\nvalue\t4"},
      {"vexa.missing", "range\t2\t1"},
      {"vexa.missing", "range\t1\t2\nrange\t1\t2"},
      {"vexa.missing", "value\tnan"},
      {"vexa.missing", "value\t1 "},
      {"vexa.labels", "1"},
      {"vexa.labels", "1\ta\\"},
      {"vexa.labels", "1\ta\\x"},
      {"vexa.labels", "1\ta\n"},
      {"vexa.level", "-1"},
      {"vexa.role", "one"}};
  for (const auto& [key, value] : rows) {
    const Column wrong = Doubles({1, 2, 3}).Says(pair(key, value));
    EXPECT_EQ(VexaAddColumns("", Stream({wrong})), kRefused) << key << " " << value;
    EXPECT_NE(std::string(VexaLastError()).find(key), std::string::npos) << VexaLastError();
  }
  const std::string negative = Bytes<std::int32_t>({1, -4});
  EXPECT_EQ(VexaAddColumns("", Stream({Doubles({1, 2, 3}).Says(negative)})), kRefused);
  EXPECT_EQ(VexaAddColumns("", Stream({Doubles({1, 2, 3}).Says(pair("vexa.levels", "x"))})), 0);
}

TEST_F(ColumnWritingTest, DatasetsAreWrittenByNameWithinAStepAndOutside) {
  std::vector<long> told;
  VexaSetProgress(
      [](void* list, long done, long total) {
        static_cast<std::vector<long>*>(list)->insert(static_cast<std::vector<long>*>(list)->end(),
                                                      {done, total});
      },
      &told);
  const Column n = Doubles({1, NAN}).Named("n"), s = Texts({"one", ""}).Named("s");
  const Column f = Numbers<std::int8_t>("c", {0, 1}).Named("f");
  const auto factor = [&](const Values& texts) { return Batch{{n, s, f.Of(Texts(texts))}}; };
  // The dictionaries of later batches go on where the first ended.
  ASSERT_EQ(VexaCreateColumns("made", Stream({factor({"u", "v"}), factor({"v", "w"})})), 0)
      << VexaLastError();
  EXPECT_EQ(Cells("made", "f"), (Values{"1", "2", "2", "3"}));
  EXPECT_EQ(told, (std::vector<long>{4, 4}));
  EXPECT_TRUE(Shape().starts_with("3 x 4")) << "it is the active one: " << Shape();
  EXPECT_EQ(VexaCreateColumns("MADE", Stream({n})), kRefused);
  EXPECT_EQ(VexaCreateColumns("", Stream({n})), kRefused);
  int code = 0;
  const std::string former = [&] {
    char** names = nullptr;
    int count = 0;
    EXPECT_EQ(GetVexaDatasets(&names, &count), 0);
    const std::string first = names[0];
    return FreeStringArray(reinterpret_cast<void**>(names), count), first;
  }();
  ASSERT_NE(former, "*") << "so that SetActive finds it again";
  ASSERT_EQ(VexaAppendColumns(former.c_str(), Stream({Doubles({4, 5}).Named("X")})), 0) << VexaLastError();
  EXPECT_STREQ(GetActive(&code), "made");
  EXPECT_EQ(Cells(former.c_str(), "x"), (Values{"1", "2", "3", "4", "5"}));
  EXPECT_EQ(Cells(former.c_str(), "t"), (Values{"ab", "c", "", "", ""}));
  ASSERT_EQ(VexaAppendColumns("made", Stream({factor({"w", "u"})})), 0) << VexaLastError();
  EXPECT_EQ(Cells("made", "f"), (Values{"1", "2", "2", "3", "3", "1"}));
  // In a step of the caller's, what it knows of the dataset follows, and what it has written comes first.
  const Column five = Doubles({1, 2, 3, 4, 5});
  ASSERT_EQ(StartDataStep() + CreateDataset(former.c_str(), false, false), 0);
  EXPECT_EQ(SetNCellValue(former.c_str(), 0, 0, 7) + SetNCellValue(former.c_str(), 1, 0, 8), 0);
  EXPECT_EQ(VexaAddColumns(former.c_str(), Stream({five.Named("new"), five.Named("two")})), 0)
      << VexaLastError();
  EXPECT_EQ(VexaAddColumns(former.c_str(), Stream({five.Named("Two")})), kRefused);
  EXPECT_EQ(VexaReplaceColumns(former.c_str(), Stream({five.Nulls({0}).Named("x")})), 0) << VexaLastError();
  EXPECT_EQ(VexaAppendColumns(former.c_str(), Stream({n.Named("two")})), 0) << VexaLastError();
  EXPECT_EQ(SetNCellValue(former.c_str(), 6, 3, 70), 0) << "a cell of a new case and a new variable";
  EXPECT_EQ(VexaCreateColumns("other", Stream({n})), 0) << VexaLastError();
  EXPECT_EQ(SetNCellValue("other", 1, 0, 9), 0);
  EXPECT_EQ(EndDataStep(), 0);
  EXPECT_EQ(Cells(former.c_str(), "x"), (Values{".", "2", "3", "4", "5", ".", "."}));
  EXPECT_EQ(Cells(former.c_str(), "two"), (Values{"1", "2", "3", "4", "5", "1", "70"}));
  EXPECT_EQ(Cells("other", "n"), (Values{"1", "9"}));
  VexaSetProgress(nullptr, nullptr);
}

// Blocks that end in the middle of a batch, and variables by the hundred.
TEST_F(ColumnWritingTest, ManyRowsAndManyColumnsArriveInTheirPlaces) {
  constexpr int kRows = 1000, kColumns = 1000;
  std::vector<Column> columns, more;
  std::vector<double> values(kRows);
  const Column wide = Texts(Values(kRows, std::string(32767, 'w'))).Named("wide");
  for (int i = 0; i < kColumns; ++i) {
    for (int row = 0; row < kRows; ++row) values[static_cast<std::size_t>(row)] = i * 10000 + row;
    columns.push_back(Doubles(values).Named("v" + std::to_string(i)));
  }
  more = {columns[7].Named("w7"), wide.Named("text")};
  columns.push_back(wide);
  ASSERT_EQ(VexaCreateColumns("wide", Stream(columns)), 0) << VexaLastError();
  ASSERT_EQ(VexaAddColumns("wide", Stream(more)), 0) << VexaLastError();
  for (const char* name : {"v7", "w7"}) {
    const Values cells = Cells("wide", name);
    for (int row = 0; row < kRows; ++row) ASSERT_EQ(cells[static_cast<std::size_t>(row)], Text(70000 + row));
  }
  EXPECT_EQ(Cells("wide", "text"), Values(kRows, std::string(32767, 'w')));
  EXPECT_EQ(Cells("wide", "wide"), Values(kRows, std::string(32767, 'w')));
}

TEST_F(ColumnWritingTest, AStreamThatFailsOrAnEngineThatDiesGivesACodeAndReleasesAll) {
  const Column some = Doubles({1, 2, 3});
  EXPECT_EQ(VexaAddColumns("", nullptr), kRefused);
  ArrowArrayStream released = {};
  EXPECT_EQ(VexaAddColumns("", &released), kRefused);
  for (const auto& [error, code] : {std::pair{EIO, kRefused}, {ENOMEM, 99126}, {ECANCELED, 99124}}) {
    EXPECT_EQ(VexaAddColumns("", Stream({some}).FailingWith(error)), code);
    EXPECT_NE(std::string(VexaLastError()).find("the disk is gone"), std::string::npos);
  }
  EXPECT_EQ(MakeCaseCursor("r"), 0);
  EXPECT_EQ(VexaAddColumns("", Stream({some})), 2013) << "no step while there is a cursor";
  EXPECT_EQ(RemoveCaseCursor(), 0);
  static pid_t engine = -1;
  engine = processId;
  ASSERT_GT(engine, 1);
  VexaSetProgress([](void*, long, long) { kill(engine, SIGKILL); }, nullptr);
  const Column long_one = Doubles(std::vector<double>(3000000, 1.0)).Named("x");
  EXPECT_EQ(VexaAppendColumns("", Stream({long_one})), 99103) << VexaLastError();
  VexaSetProgress(nullptr, nullptr);
  EXPECT_NE(VexaAppendColumns("", Stream({some})), 0);
  EXPECT_TRUE(Await([] { return !IsBackendReady(); }));
}

}  // namespace
