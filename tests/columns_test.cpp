// Cases as columns, from blocks that a scripted backend sends and from the practice engine.
#include "support/columns.h"

#include "session.h"
#include "support/data_step.h"
#include "support/session_test.h"

namespace {

constexpr double kNone = -1.7976931348623157e+308;

struct Told {
  std::string name;
  int type = 0;
  int missing_format = 0;
  std::vector<double> missing = {0, 0, 0};
  std::vector<std::string> text_missing = {"", "", ""};
  std::vector<std::pair<double, std::string>> labels = {};
  std::vector<std::pair<std::string, std::string>> text_labels = {};
};

class ColumnsTest : public ClientTest {
 protected:
  // The questions ahead of the first block.
  void ExpectsOpening(const std::vector<Told>& told, int total) {
    peer.Expects(33, Strings{"r"}).Answers();
    peer.Expects(104).Answers(Longs{static_cast<int>(told.size())});
    for (int i = 0; const Told& one : told) {
      peer.Expects(109, Longs{i}).Answers(Longs{one.type});
      if (one.type == 0) {
        peer.Expects(32, Longs{i++}).Answers(Longs{one.missing_format}, Doubles(one.missing));
      } else {
        peer.Expects(31, Longs{i++}).Answers(Longs{one.missing_format}, Strings(one.text_missing));
      }
    }
    for (int i = 0; const Told& one : told) peer.Expects(108, Longs{i++}).Answers(Strings{one.name});
    peer.Expects(103).Answers(Longs{total});
  }
  void ExpectsDescription(int index, const Told& one) {
    peer.Expects(106, Longs{index}).Answers(Strings{"label of " + one.name});
    peer.Expects(105, Longs{index}).Answers(Strings{"F8.2"});
    peer.Expects(107, Longs{index}).Answers(Longs{3});
    peer.Expects(223, Longs{index}).Answers(Longs{0});
    std::vector<double> values;
    std::vector<std::string> texts, labels;
    for (const auto& [value, label] : one.labels) values.push_back(value), labels.push_back(label);
    for (const auto& [value, label] : one.text_labels) texts.push_back(value), labels.push_back(label);
    const int count = static_cast<int>(labels.size());
    if (one.type == 0)
      peer.Expects(123, Longs{index}).Answers(Longs{count}, Doubles(values), Strings(labels));
    if (one.type != 0) peer.Expects(125, Longs{index}).Answers(Longs{count}, StringLists{texts, labels});
  }
  void Open(const std::vector<Told>& told, int total, long batch_rows = 0, int options = 0) {
    case_size = 0;
    for (const Told& one : told) case_size += one.type == 0 ? 8 : (one.type + 7) / 8 * 8;
    ExpectsOpening(told, total);
    for (int i = 0; const Told& one : told) ExpectsDescription(i++, one);
    ASSERT_EQ(VexaReadColumns(nullptr, nullptr, 0, batch_rows, options, &stream), 0) << VexaLastError();
  }
  ScriptedPeer::Step& ExpectsFetch() { return peer.Expects(227, Longs{20971520 / case_size, case_size}); }
  void Sends(int code, int cases, const std::string& block) {
    ExpectsFetch().Answers(Error{code}, Longs{cases}, Void{block});
  }
  void ExpectsRemoval() { peer.Expects(28).Answers(); }
  int Next() {
    ArrowArray batch = {};
    const int error_number = stream.get_next(&stream, &batch);
    if (batch.release != nullptr) batch.release(&batch);
    return error_number;
  }
  bool Says(const char* words) {
    const char* const said = stream.get_last_error(&stream);
    return said != nullptr && std::string(said).find(words) != std::string::npos;
  }

  ArrowArrayStream stream = {};
  int case_size = 0;
};

// --- Values ---

TEST_F(ColumnsTest, NullsAreWhereTheyWereWhateverTheBlocksAndTheBatches) {
  unsigned seed = 1;
  for (const long batch_rows : {0L, 1L, 7L, 8L, 9L, 1000L, VEXA_ALL_ROWS}) {
    for (const int first : {1, 3, 8, 21}) {
      std::vector<double> values;
      for (int i = 0; i < 33; ++i) values.push_back((seed = seed * 1103515245 + 12345) >> 16 & 1 ? i : kNone);
      const auto block = [&](int begin, int end) {
        return std::string(reinterpret_cast<const char*>(&values[static_cast<std::size_t>(begin)]),
                           static_cast<std::size_t>(end - begin) * 8);
      };
      Open({{"v"}}, batch_rows == 7 ? -1 : 33, batch_rows);
      Sends(0, first, block(0, first));
      Sends(23, 33 - first, block(first, 33));
      ExpectsRemoval();
      std::ostringstream expected;
      for (int i = 0, in_batch = 0; i < 33; ++i) {
        values[static_cast<std::size_t>(i)] == kNone ? expected << "-" : expected << i;
        ++in_batch;
        const bool ends = batch_rows == 0 ? i + 1 == first : in_batch == batch_rows;
        expected << (ends || i == 32 ? "\n" : " ");
        if (ends) in_batch = 0;
      }
      EXPECT_EQ(Drain(stream), expected.str()) << batch_rows << " behind " << first;
    }
  }
}

TEST_F(ColumnsTest, TextsLoseTheirBlanksAndBecomeUtf8) {
  constexpr const char* kBad = "\xEF\xBF\xBD";
  const struct {
    std::string bytes, text;
  } rows[] = {{"", ""},
              {"a b ", "a b"},
              {" x", " x"},
              {"sixteen letters!", "sixteen letters!"},
              {"gr\xC3\xBC\xC3\x9F", "gr\xC3\xBC\xC3\x9F"},
              {"\xF0\x9F\x98\x80 \xE2\x82\xAC", "\xF0\x9F\x98\x80 \xE2\x82\xAC"},
              {"fifteen letters\xC3", std::string("fifteen letters") + kBad},
              {"\xF0\x9F\x98", kBad},
              {"\xF0\x9F\x98g", std::string(kBad) + "g"},
              {"\xC0\xAF", std::string(kBad) + kBad},
              {"\xE0\x80\x80", std::string(kBad) + kBad + kBad},
              {"\xED\xA0\x80", std::string(kBad) + kBad + kBad},
              {"\xF4\x90\x80\x80", std::string(kBad) + kBad + kBad + kBad},
              {std::string(16, '\xFF'), [&] {
                 std::string all;
                 for (int i = 0; i < 16; ++i) all += kBad;
                 return all;
               }()}};
  for (const std::size_t width : {3, 7, 8, 16}) {
    std::string block, texts, bytes;
    int cases = 0;
    for (const auto& row : rows) {
      if (row.bytes.size() > width) continue;
      std::string padded = row.bytes;
      padded.resize((width + 7) / 8 * 8, ' ');
      block += padded;
      texts += (cases != 0 ? " '" : "'") + row.text + "'";
      bytes += (cases++ != 0 ? " '" : "'") + padded.substr(0, width) + "'";
    }
    for (const int options : {0, 2, 8, 10}) {
      Open({{"t", static_cast<int>(width)}}, cases, 0, options);
      Sends(23, cases, block);
      ExpectsRemoval();
      EXPECT_EQ(Drain(stream), ((options & VEXA_BINARY_TEXTS) != 0 ? bytes : texts) + "\n");
    }
  }
}

TEST_F(ColumnsTest, OptionsSayWhatMissingAndLabelledValuesAre) {
  const std::vector<Told> told = {
      {"n", 0, -3, {7, 8, -1}, {}, {{1, "one"}, {2, "two"}, {3, "one"}}, {}},
      {"t", 3, 2, {}, {"x       ", "y       ", ""}, {}, {{"a", "alpha"}, {"x", "unknown"}}},
      {"p", 0, 0, {0, 0, 0}, {}, {}, {}},
      {"d", 0, 2, {-0.0, 5, 9}, {}, {}, {}}};
  const struct {
    int options;
    const char *formats, *first, *second;
  } rows[] = {{0, "n:g? t:u? p:g? d:g?", "1 - - 0 | 'a' - '' 'b' | -1 2 - 9 | 0 - - 9",
               "2 - 3 | - 'a' 'b' | 1 1 1 | 1 1 1"},
              {VEXA_USER_MISSING, "n:g? n.missing:b t:u? t.missing:b p:g? d:g? d.missing:b",
               "1 7.5 - 0 | F T F F | 'a' 'x' '' 'b' | F T F F | -1 2 - 9 | 0 -0 - 9 | F T F F",
               "2 -1 3 | F T F | 'y' 'a' 'b' | T F F | 1 1 1 | 1 1 1 | F F F"},
              {VEXA_LABELS, "n:i<u? t:i<u? p:g? d:g?",
               "0='one' - - 2='0' | 0='alpha' - 2='' 3='b' | -1 2 - 9 | 0 - - 9",
               "1='two' - 0='one' | - 0='alpha' 3='b' | 1 1 1 | 1 1 1"},
              {VEXA_LABELS | VEXA_USER_MISSING | VEXA_LARGE_TEXTS | VEXA_BINARY_TEXTS,
               "n:i<U? n.missing:b t:i<U? t.missing:b p:g? d:g? d.missing:b",
               "0='one' 2='7.5' - 3='0' | F T F F | 0='alpha' 1='unknown' 2='' 3='b' | F T F F | -1 2 - 9 | "
               "0 -0 - 9 | F T F F",
               "1='two' 4='-1' 0='one' | F T F | 4='y' 0='alpha' 3='b' | T F F | 1 1 1 | 1 1 1 | F F F"}};
  const auto row = [](double n, const char* t, double p, double d) {
    return Numbers({n}) + t + "       " + Numbers({p, d});
  };
  for (const auto& each : rows) {
    Open(told, -1, 0, each.options);
    EXPECT_EQ(FormatsOf(stream), each.formats);
    Sends(0, 4,
          row(1, "a", -1, 0) + row(7.5, "x", 2, -0.0) + row(kNone, " ", kNone, kNone) + row(0, "b", 9, 9));
    Sends(67, 3, row(2, "y", 1, 1) + row(-1, "a", 1, 1) + row(3, "b", 1, 1));
    ExpectsRemoval();
    EXPECT_EQ(Drain(stream), std::string(each.first) + "\n" + each.second + "\n") << each.options;
  }
}

TEST_F(ColumnsTest, ChosenVariablesComeInTheirOrderAndOthersAreNotAskedAbout) {
  const std::vector<Told> told = {{"a"}, {"B", 9}, {"c"}, {"C"}};
  const char* names[] = {"c", "b"};
  ExpectsOpening(told, 1);
  ExpectsDescription(2, told[2]);
  ExpectsDescription(1, told[1]);
  ASSERT_EQ(VexaReadColumns("*", names, 2, 5, 0, &stream), 0);
  case_size = 40;
  Sends(23, 1, Numbers({1}) + "nine let.       " + Numbers({3, 4}));
  ExpectsRemoval();
  EXPECT_EQ(Drain(stream), "3 | 'nine let.'\n");
  names[1] = "Cc";
  ExpectsOpening(told, 1);
  ExpectsRemoval();
  EXPECT_EQ(VexaReadColumns("", names, 2, 5, 0, &stream), 10);
  EXPECT_TRUE(std::string(VexaLastError()).ends_with("there is no variable Cc")) << VexaLastError();
}

// --- Ends and failures ---

TEST_F(ColumnsTest, NoCasesGiveNoBatchOrOneOfNoRows) {
  for (const long batch_rows : {0L, 3L, VEXA_ALL_ROWS}) {
    Open({{"v"}, {"t", 4}}, 0, batch_rows, VEXA_USER_MISSING);
    ExpectsFetch().Answers(Error{23}, Longs{0});
    ExpectsRemoval();
    EXPECT_EQ(Drain(stream), batch_rows == VEXA_ALL_ROWS ? " | \n" : "");
  }
}

TEST_F(ColumnsTest, ABlockThatIsNotWhatItTellsIsNeverReadPastItsEnd) {
  const struct {
    int code, cases;
    std::size_t bytes;
    const char* words;
  } rows[] = {{0, 3, 47, "(99104): a block of 3 cases of 16 bytes came with 47"},
              {23, INT_MAX, 16, "a block of 2147483647 cases"},
              {0, 0, 16, "a block of 0 cases"},
              {0, -1, 16, "a block of 0 cases"},
              {0, 1, 0, "99104"},
              {kRefused, 1, 16, "the backend refused (77)"}};
  for (const auto& row : rows) {
    Open({{"v"}, {"t", 8}}, 1000000000, VEXA_ALL_ROWS);
    Sends(0, 1, std::string(16, 'a'));
    Sends(row.code, row.cases, std::string(row.bytes, 'b'));
    for (int again = 0; again < 2; ++again) EXPECT_TRUE(Next() == EIO && Says(row.words)) << row.words;
    ExpectsRemoval();
    stream.release(&stream);
  }
}

TEST_F(ColumnsTest, WhatCannotBeAColumnIsRefusedAndNoCursorStays) {
  for (const int type : {-1, INT_MIN, INT_MAX}) {
    ExpectsOpening({{"v"}, {"t", type}}, 1);
    ExpectsRemoval();
    EXPECT_EQ(VexaReadColumns(nullptr, nullptr, 0, 0, 0, &stream), 99127);
    EXPECT_TRUE(std::string(VexaLastError()).ends_with("the type of t")) << VexaLastError();
  }
  ExpectsOpening({}, 1);
  ExpectsRemoval();
  EXPECT_EQ(VexaReadColumns(nullptr, nullptr, 0, 0, 0, &stream), 99127);
  EXPECT_EQ(VexaReadColumns(nullptr, nullptr, 0, -2, 0, &stream), 99127);
  EXPECT_EQ(VexaReadColumns(nullptr, nullptr, 0, 0, 16, &stream), 99127);
  EXPECT_EQ(VexaReadColumns(nullptr, nullptr, 0, 0, 0, nullptr), 99127);
  peer.Expects(33, Strings{"r"}).Answers(Error{kRefused});
  EXPECT_EQ(VexaReadColumns(nullptr, nullptr, 0, 0, 0, &stream), kRefused);
  SetVexaRunning(false);
  EXPECT_EQ(VexaReadColumns(nullptr, nullptr, 0, 0, 0, &stream), kDown);
  EXPECT_EQ(stream.release, nullptr);
}

TEST_F(ColumnsTest, ABackendThatDiesIsToldAndReleasingCallsNobody) {
  Open({{"v"}}, 5);
  ExpectsFetch().HangsUp();
  EXPECT_TRUE(Next() == EIO && Says("the backend is gone")) << stream.get_last_error(&stream);
  SetVexaRunning(false);
  stream.release(&stream);
}

TEST_F(ColumnsTest, AStreamWhoseCursorIsGoneGivesAnErrorAndReleasesNoOther) {
  const struct {
    const char* words;
    std::function<void()> what;
    bool removes;  // the cursor is still its own
  } rows[] = {{"session", [] { ResetStaticVars(), SetVexaRunning(true); }, false},
              {"removed", [&] { ExpectsRemoval(), RemoveCaseCursor(); }, false},
              {"another", [&] { peer.Expects(120).Answers(), ResetDataPass(); }, false},
              {"another",
               [&] {
                 peer.Expects(33, Strings{"r"}).Answers();
                 peer.Expects(104).Answers(Longs{0});
                 MakeCaseCursor("r");
               },
               false},
              {"by others", [&] { Sends(0, 1, Numbers({9})), NextCase(); }, true}};
  for (const auto& row : rows) {
    Open({{"v"}}, 4, 1);
    Sends(0, 1, Numbers({1}));
    EXPECT_EQ(Next(), 0);
    row.what();
    for (int again = 0; again < 2; ++again)
      EXPECT_TRUE(Next() == ESTALE && Says(row.words)) << row.words << stream.get_last_error(&stream);
    if (row.removes) ExpectsRemoval();
    stream.release(&stream);
  }
}

TEST_F(ColumnsTest, AReleaseWithinACallOrOnAnotherThreadOnlyFrees) {
  Open({{"v"}}, 4, 1);
  std::thread([&] { stream.release(&stream); }).join();
  EXPECT_EQ(stream.release, nullptr);
  ExpectsRemoval();
  RemoveCaseCursor();

  static ArrowArrayStream* released;
  static long done, total;
  released = &stream;
  Open({{"v"}}, 4, 3);
  VexaSetProgress([](void*, long rows, long all) { released->release(released), done = rows, total = all; },
                  nullptr);
  Sends(0, 3, Numbers({1, 2, 3}));
  EXPECT_EQ(Next(), 0);
  VexaSetProgress(nullptr, nullptr);
  EXPECT_EQ(std::make_pair(done, total), std::make_pair(3L, 4L));
  ExpectsRemoval();
  RemoveCaseCursor();

  Open({{"v"}}, 4, 3);
  VexaSetInterruptCheck([](void*) { return released->release(released), 1; }, nullptr);
  ExpectsFetch();
  EXPECT_EQ(Next(), ECANCELED);
  VexaSetInterruptCheck(nullptr, nullptr);
}

TEST_F(ColumnsTest, EverythingIsReleasedInAnyOrder) {
  std::vector<int> order = {0, 1, 2, 3, 4};
  do {
    Open({{"n", 0, 0, {0, 0, 0}, {}, {{1, "one"}}, {}}, {"t", 8}}, 2, 1, VEXA_LABELS | VEXA_USER_MISSING);
    Sends(23, 2, Numbers({1}) + "a       " + Numbers({5}) + "b       ");
    ArrowSchema schema;
    ArrowArray first, second, moved;
    ASSERT_EQ(stream.get_schema(&stream, &schema), 0);
    ASSERT_EQ(stream.get_next(&stream, &first), 0);
    ASSERT_EQ(stream.get_next(&stream, &second), 0);
    moved = *second.children[0];
    second.children[0]->release = nullptr;
    ExpectsRemoval();
    for (const int one : order) {
      if (one == 0) stream.release(&stream);
      if (one == 1) schema.release(&schema);
      if (one == 2) first.release(&first);
      if (one == 3) second.release(&second);
      if (one == 4) {
        EXPECT_EQ(static_cast<const std::int32_t*>(moved.buffers[1])[0], 1);
        EXPECT_EQ(TextOf<std::int32_t>(*moved.dictionary, 1), "5");
        moved.release(&moved);
      }
    }
  } while (std::next_permutation(order.begin(), order.end()));
}

// --- The engine ---

class EngineColumnsTest : public SessionTest {
 protected:
  static std::string Read(const char* dataset, long batch_rows, int options) {
    ArrowArrayStream stream;
    const int code = VexaReadColumns(dataset, nullptr, 0, batch_rows, options, &stream);
    EXPECT_EQ(code, 0) << VexaLastError();
    if (code != 0) return VexaLastError();
    const std::string formats = FormatsOf(stream);
    return formats + "\n" + Drain(stream);
  }
};

TEST_F(EngineColumnsTest, ADatasetOfTheStepReadsAsTheCursorReadsIt) {
  ASSERT_EQ(StartVexa((std::string("-data ") + kAirQuality).c_str()), 0);
  ASSERT_EQ(CopyDataset("*", "copy"), 0);
  for (const long batch_rows : {0L, 1L, 7L, 100L, 1000L, VEXA_ALL_ROWS}) {
    for (int options = 0; options < 16; ++options) {
      const std::string read = Read(nullptr, batch_rows, options);
      EXPECT_EQ(Read("COPY", batch_rows, options), read) << batch_rows << " " << options;
      if (batch_rows != 100) continue;
      ASSERT_EQ(StartDataStep(), 0);
      EXPECT_EQ(Read("*", batch_rows, options), read);
      EXPECT_EQ(Read("copy", batch_rows, options), read);
      ASSERT_EQ(EndDataStep(), 0);
    }
  }
  ArrowArrayStream stream;
  EXPECT_EQ(VexaReadColumns("none", nullptr, 0, 0, 0, &stream), 87);
  EXPECT_EQ(VexaReadColumns("copy", nullptr, 0, 1, 0, &stream), 0);
  ASSERT_EQ(CloseDataset("copy"), 0);
  EXPECT_TRUE(Drain(stream).ends_with("there is no dataset copy"));
  int open = -1;
  EXPECT_TRUE(HasCursor(&open) == 0 && open == 0 && !isDataStep);
}

TEST_F(EngineColumnsTest, WideTextsManyVariablesAndTheMetadataComeThrough) {
  constexpr int kVariables = 1000;
  std::string csv, cells, expected;
  for (int i = 0; i < kVariables; ++i) csv += "v" + std::to_string(i) + ",";
  csv += "t\n";
  for (int row = 0; row < 70; ++row) {
    for (int i = 0; i < kVariables; ++i) csv += (i + row) % 9 == 0 ? "," : std::to_string(i * row) + ",";
    csv += (row == 69 ? std::string(32767, 'x') : "short") + "\n";
  }
  for (int i = 0; i < kVariables; ++i) {
    for (int row = 0; row < 70; ++row)
      expected += (row != 0 ? " " : "") + ((i + row) % 9 == 0 ? "-" : std::to_string(i * row));
    expected += " | ";
  }
  for (int row = 0; row < 69; ++row) expected += "'short' ";
  ASSERT_EQ(StartVexa(("-data " + files.Write("wide.csv", csv)).c_str()), 0);
  ArrowArrayStream stream;
  ASSERT_EQ(VexaReadColumns(nullptr, nullptr, 0, VEXA_ALL_ROWS, 0, &stream), 0) << VexaLastError();
  ArrowSchema schema;
  ASSERT_EQ(stream.get_schema(&stream, &schema), 0);
  EXPECT_NE(std::string(schema.children[kVariables]->metadata, 60).find("32767"), std::string::npos);
  schema.release(&schema);
  EXPECT_TRUE(Drain(stream) == expected + "'" + std::string(32767, 'x') + "'\n");
  ASSERT_EQ(VexaReadColumns(nullptr, nullptr, 0, 0, 0, &stream), 0);
  StopVexa();
  EXPECT_TRUE(Drain(stream).find("session") != std::string::npos);
}

TEST_F(EngineColumnsTest, MeansOfTheExampleAreRight) {
  EXPECT_EQ(Output(VEXA_STAGED_HOME "/../examples/means " + std::string(kAirQuality)),
            "Ozone 39.48672566\nSolar_R 187.3916084\nWind 10.01184211\nTemp 77.88235294\nMonth 6.993464052\n"
            "Day 15.80392157\nstatus 0");
}

}  // namespace
