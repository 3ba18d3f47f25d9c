// The calls of the interface that are one exchange: each of them in a table, with what goes out and what
// comes back; then what a table does not show.

#include <clocale>

#include "call_frame.h"
#include "child_process.h"
#include "dxglobals.h"
#include "session.h"
#include "support/answering_peer.h"
#include "support/every_function.h"
#include "support/scripted_peer.h"
#include "xpipemanager.h"

namespace {

using Code = CleXDErrorCode;

// What the backend answers with: all slots full, the same with a code, nothing, or no backend at all.
enum State { kFull, kRefusing, kEmpty, kNone, kStates };

class EveryCallTest : public testing::TestWithParam<std::size_t> {
 protected:
  EveryCallTest() {
    alarm(100);
    SetEnvironment("VEXADXTEMP", sandbox.path().c_str());
    SetVexaRunning(true);
  }
  ~EveryCallTest() override { EndSession(); }
  std::string AnswerTo(const std::string& bytes) {
    const Image asked = Decode(bytes).value_or(Image());
    std::ostringstream told;
    told << asked.action;
    const auto tell = [&](const char* slot, const auto& values) {
      for (const auto& value : values) told << slot << value, slot = ",";
    };
    tell(" i ", asked.longs), tell(" d ", asked.doubles), tell(" s ", asked.strings);
    for (const auto& list : asked.long_lists) tell(" ii ", list);
    for (const auto& list : asked.string_lists) tell(" ss ", list);
    requests.push_back(told.str());
    if (state == kEmpty) return Encode(MakeImage(asked.action));
    Image reply =
        MakeImage(asked.action, Error{state == kRefusing ? kRefused : 0}, Longs{2, 1, 5, 3},
                  Doubles{0.25, 1.25, 2.25}, Strings{"one", "two and more", "three"}, LongLists{{0, 0, 0, 9}},
                  DoubleLists{{1, 2, 6, 7.5}}, StringLists{{"x", "y", "p", "q"}, {"z", "w"}},
                  Binary{std::string("im\0", 3)}, Wide{U"wide"}, Void{std::string(64, 'v')});
    const int kHost = 210, kCopyright = 213;  // which insist on their number of texts
    if (asked.action == kHost || asked.action == kCopyright)
      reply.strings.resize(asked.action == kHost ? 2 : 1);
    return Encode(reply);
  }
  // In a fork, so that it may end the process, and leaves nothing to the next.
  std::string OutcomeOf(const EveryCall& call) {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    requests.clear();
    const pid_t child = fork();
    if (child == 0) {
      dup2(ends[1], STDERR_FILENO);
      SetVexaRunning(state != kNone);
      CallRoom& room = *new CallRoom(true);
      call.make(room);
      const std::string told = room.Told();
      _exit(write(ends[1], told.data(), told.size()) == -1);
    }
    close(ends[1]);
    std::string outcome;
    char piece[1024];
    for (ssize_t got; (got = read(ends[0], piece, sizeof piece)) > 0;)
      outcome.append(piece, static_cast<std::size_t>(got));
    close(ends[0]);
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
    if (const std::size_t died = outcome.find(" assertion"); died != std::string::npos)
      outcome.erase(0, died);
    return outcome.substr(0, outcome.find('\n'));
  }

  State state = kFull;
  std::vector<std::string> requests;
  const Sandbox sandbox;
  AnsweringPeer peer{PeerPrefix(sandbox), [this](const std::string& request) { return AnswerTo(request); }};
};

// A line of calls.txt: the function; what it asks; then what it gives in each state, behind a "!" where it
// asks something else than before. Each test takes one line in four.
TEST_P(EveryCallTest, AsksAndGivesWhatTheTableSays) {
  int code = -1;
  GetRowCount(&code);   // opens the session, which the forks then share
  const CallRoom room;  // as well as its memory
  std::ifstream table(VEXA_SOURCE_DIR "/tests/calls.txt");
  std::map<std::string, std::string, std::less<>> lines;  // by their functions
  for (std::string line; std::getline(table, line);) lines[line.substr(0, line.find(':'))] = line;
  EXPECT_EQ(lines.size(), EveryFunction().size());
  for (std::size_t i = 0; const EveryCall& call : EveryFunction()) {
    if (i++ % 4 != GetParam()) continue;
    std::string line(call.name), before;
    for (const State each : {kFull, kRefusing, kEmpty, kNone}) {
      state = each;
      const std::string outcome = OutcomeOf(call);
      std::string asked;
      for (const std::string& request : requests) asked += (asked.empty() ? "" : "; ") + request;
      if (state == kFull) line += ": " + asked;
      line += std::string(" |") + (state != kFull && asked != before ? "! " + asked + " |" : "") + outcome;
      before = asked;
    }
    std::replace(line.begin(), line.end(), '\0', '~');
    EXPECT_EQ(line, lines[std::string(call.name)]);
  }
}

INSTANTIATE_TEST_SUITE_P(Of, EveryCallTest, testing::Range<std::size_t>(0, 4));

// --- What a table does not show ---

using CallsTest = ClientTest;

TEST_F(CallsTest, NullTextsMoveLaterOnesForwardAndFlagsAreOneBit) {
  peer.Expects(40, Strings{"b", "note"}, Longs{1}).Answers();
  EXPECT_EQ(PivotTableCaption(nullptr, "b", nullptr, true, "note"), 0);
  peer.Expects(129).Answers(Longs{6});
  EXPECT_EQ(ValidateVarName(nullptr), 6);
  peer.Expects(22, Strings{"a"}).Answers(Strings{"text"});
  EXPECT_STREQ(GetSetting("a", &error, nullptr), "text");
  // As a caller whose language has wider truth values.
  const auto start = reinterpret_cast<int (*)(const char*, const char*, const char*, int)>(
      reinterpret_cast<void*>(&StartPivotTable));
  for (const int flag : {0xFF, 0x03}) {
    peer.Expects(35, Strings{"a", "b", "c"}, Longs{1}).Answers();
    EXPECT_EQ(start("a", "b", "c", flag), 0);
  }
}

TEST_F(CallsTest, SyntaxTravelsByItsLength) {
  const std::string text("A\0B.", 4);
  for (const auto& [action, send] : {std::pair{0, &Submit}, {5, &QueueCommandPart}, {6, &PostVexaOutput}}) {
    for (const auto& [given, length, sent] : {std::tuple{text.data(), 4, Strings{text}},
                                              {text.data(), 0, Strings{""}},
                                              {nullptr, 3, Strings{}}}) {
      peer.Expects(action, sent).Answers(Error{kRefused});
      EXPECT_EQ(send(given, length), kRefused);
    }
  }
}

TEST_F(CallsTest, ProcedureIsOpenBetweenTwoSuccesses) {
  for (const int code : {kRefused, 0}) {
    peer.Expects(78, Strings{"DESCR", "DESCR"}).Answers(Error{code});
    EXPECT_EQ(StartProcedure("DESCR", nullptr), code);
    EXPECT_EQ(isProcedure, code == 0);
  }
  for (const int code : {kRefused, 0}) {
    peer.Expects(79).Answers(Error{code});
    EXPECT_EQ(EndProcedure(), code);
    EXPECT_EQ(isProcedure, code != 0);
  }
}

TEST_F(CallsTest, TextsStayValidWhereNoneComesAndEndAtTheirFirstZero) {
  peer.Expects(9, Longs{0}).Answers(Strings{std::string("age\0x", 5), "not this"});
  EXPECT_STREQ(GetVariableName(0, &error), "age");
  peer.Expects(9, Longs{1}).Answers(Error{kRefused}, Strings{"sex"});
  EXPECT_EQ(GetVariableName(1, &error), nullptr);
  peer.Expects(108, Longs{0}).Answers();
  EXPECT_STREQ(GetVariableNameInProcDS(0, &error), "");
  EXPECT_STREQ(stringResult, "age");
  peer.Expects(20, Strings{"h"}).Answers(Wide{std::u32string(U"\u00fc\U0001F600")});
  const wchar_t* const wide = GetXmlUtf16("h", &error);
  EXPECT_EQ(std::wstring(wide), std::wstring(L"\u00fc\U0001F600"));
  peer.Expects(20, Strings{"h"}).Answers(Error{kRefused});
  EXPECT_EQ(GetXmlUtf16("h", &error), nullptr);
  EXPECT_EQ(wstringResult, wide);
}

TEST_F(CallsTest, ListsEndWhereTheyEnd) {
  peer.Expects(77).Answers(Strings{"sex", "region"});
  void* const names = GetSplitVariableNames(&error);
  for (const auto& [index, name] : {std::pair{1, "region"}, {2, ""}, {-1, ""}})
    EXPECT_STREQ(GetStringFromList(names, index), name);
  RemoveStringList(names);
}

// Counts that nobody could mean, and none: the arrays are as long as what came, or stay unwritten.
TEST_F(CallsTest, CountedArraysAreTheCallers) {
  double number = 0, *values = &number;
  char *none = nullptr, **texts = &none, **labels = &none;
  int count = -1;
  for (const int told : {0, -1}) {
    peer.Expects(123, Longs{0}).Answers(Longs{told}, Doubles{1}, Strings{"one"});
    EXPECT_EQ(GetNValueLabels(0, &values, &labels, &count), 0);
    EXPECT_TRUE(count == told && values == &number && labels == &none);
  }
  peer.Expects(97).Answers(Longs{1 << 30}, Strings{std::string("t\0o", 3)});
  EXPECT_EQ(GetDataFileAttributeNames(&texts, &count), 0);
  ASSERT_EQ(count, 1);
  EXPECT_STREQ(texts[0], "t");
  peer.Expects(123, Longs{2}).Answers(Longs{2}, Doubles{1, 2}, Strings{"one", ""});
  EXPECT_EQ(GetNValueLabels(2, &values, &labels, &count), 0);
  char **coded = nullptr, **told = nullptr, **names = nullptr;
  peer.Expects(125, Longs{2}).Answers(Longs{1}, StringLists{{"f"}, {"female"}});
  EXPECT_EQ(GetCValueLabels(2, &coded, &told, &count), 0);
  peer.Expects(140).Answers(Longs{1}, Strings{"one", "two"});
  EXPECT_EQ(GetVexaDatasets(&names, &count), 0);
  EXPECT_EQ(count, 2) << "kept: all of them, whatever the count says";
  FreeString(std::exchange(labels[0], nullptr));
  void** const array = reinterpret_cast<void**>(names);
  for (const int code : {kDown, 0}) {
    SetVexaRunning(code == 0);  // without a backend nothing is freed
    const int codes[] = {FreeAttributes(nullptr, 0),
                         FreeAttributeNames(texts, 1),
                         FreeNValueLabels(nullptr, nullptr, -1),
                         FreeNValueLabels(values, labels, 2),
                         FreeCValueLabels(nullptr, nullptr, 0),
                         FreeCValueLabels(coded, told, 1),
                         FreeStringArray(array, 0),
                         FreeStringArray(array, 2)};
    for (const int each : codes) EXPECT_EQ(each, code);
  }
  double* const numbers = new double[2];
  for (const int length : {0, 2}) EXPECT_EQ(FreeDoubleArray(numbers, length), 0);
  EXPECT_EQ(FreeDoubleArray(nullptr, 1), 0);
}

TEST_F(CallsTest, DieOfWhatIsNotThere) {
  double value = 0.0;
  char *text = nullptr, **texts = &text;
  EXPECT_DEATH(FreeNValueLabels(nullptr, texts, 1), "assertion failed: values != NULL");
  EXPECT_DEATH(FreeNValueLabels(&value, nullptr, 1), "assertion failed: labels != NULL");
  EXPECT_DEATH(FreeCValueLabels(nullptr, texts, 1), "assertion failed: values != NULL");
  EXPECT_DEATH(FreeCValueLabels(texts, nullptr, 1), "assertion failed: labels != NULL");
  EXPECT_DEATH(GetGraphic(nullptr), "assertion failed: filePath");
  EXPECT_DEATH(SaveFileInDS(nullptr, nullptr, 0), "assertion failed: No_longer_support_SaveFileInDS");
  SetVexaRunning(false);
  EXPECT_DEATH(SetVarNameAndType(nullptr, nullptr, 0), "assertion failed: numOfVar > 0");
}

TEST_F(CallsTest, ImageMayHaveNoText) {
  char* text = nullptr;
  int length = -1;
  peer.Expects(21, Strings{"h", "i"}).Answers(Strings{""}, Binary{std::string("d\0ta", 4)}, Longs{4});
  char* const image = GetImage("h", "i", &length, &text, &error);
  EXPECT_EQ(std::string(image, 4), std::string("d\0ta", 4));
  EXPECT_TRUE(length == 4 && text == nullptr);
  FreeString(image);
}

TEST_F(CallsTest, LocaleOfTheBackendIsSetHere) {
  char* locale = nullptr;
  peer.Expects(208).Answers(Strings{"C.UTF-8"});
  EXPECT_EQ(GetCLocale(&locale), 0);
  EXPECT_STREQ(setlocale(LC_ALL, nullptr), "C.UTF-8");
  FreeString(locale);
}

TEST_F(CallsTest, RecordIsAppendedToTheFirstPath) {
  const std::string path = sandbox.Write("record", "old ");
  EXPECT_EQ(SetRecordBrowserOutput((sandbox.path() + "/none/record").c_str(), true), 0);
  RecordBrowserOutput("lost", 4, nullptr);
  for (const std::string& each : {path, sandbox.path() + "/other"})
    SetRecordBrowserOutput(each.c_str(), true);
  RecordBrowserOutput("nothing", 0, nullptr);
  RecordBrowserOutput("100% ", 1, nullptr);
  const auto upper = [](const char* source, unsigned long size, char* destination, unsigned long room) {
    for (unsigned long i = 0; i < size && size * 4 == room; ++i)
      destination[i] = static_cast<char>(std::toupper(source[i]));
    return 0;
  };
  for (const auto& [utf8, text] : {std::pair{1, "wide "}, {0, "narrow"}}) {
    peer.Expects(185).Answers(Longs{utf8});
    RecordBrowserOutput(text, 5, upper);
  }
  SetRecordBrowserOutput(nullptr, false);
  EXPECT_EQ(ReadFile(path), "old 100% WIDE narrow");
  EXPECT_EQ(sandbox.Entries().size(), 3u) << "the two fifos and the first path";
  std::remove(path.c_str());
}

TEST_F(CallsTest, TempFolderLastsAsLongAsTheSession) {
  SetRTempFolderToVEXA("/tmp/r");
  EXPECT_STREQ(GetRTempFolderToVEXA(), "/tmp/r");
  ResetStaticVars();
  EXPECT_STREQ(GetRTempFolderToVEXA(), "");
}

// --- The session that a call needs ---

TEST(CallFrame, AGuardedCallBeforeAStartTouchesNothing) {
  Sandbox sandbox;
  SetEnvironment("VEXADXTEMP", sandbox.path().c_str());
  int need = 5;
  EXPECT_EQ(NextCase(), Code::kBackendNotRunning);
  EXPECT_EQ(IsNeedCache(&need), Code::kBackendNotRunning);
  EXPECT_EQ(need, 5);
  EXPECT_FALSE(IsDXGlobalInit());
  EXPECT_TRUE(sandbox.Entries().empty());
}

TEST(CallFrame, TheFifosDirectoryIsTheFirstThatIsSet) {
  constexpr const char* kNames[] = {"VEXADXTEMP", "TEMP", "TMP", "tmp"};
  const struct {
    const char* values[4];
    const char* path;
  } rows[] = {
      {{"/a", "/b", "/c", "/d"}, "/a/"},        {{"", "/b", "/c", "/d"}, ""},
      {{nullptr, "/b/", "/c", "/d"}, "/b/"},    {{nullptr, nullptr, "/c", "/d"}, "/c/"},
      {{nullptr, nullptr, nullptr, "d"}, "d/"}, {{nullptr, nullptr, nullptr, nullptr}, "/tmp/"},
  };
  for (const auto& row : rows) {
    for (int i = 0; i < 4; ++i) SetEnvironment(kNames[i], row.values[i]);
    IntializeVexaDxTemp();
    EXPECT_EQ(vexa_pipe_path, row.path);
  }
  ResetStaticVars();
}

TEST_F(CallsTest, TheLanguagesNameIsInTheFifosNames) {
  ScriptedPeer python(PeerPrefix(sandbox, "PYTHON"));
  SetXNameAndSHome("Python", nullptr);
  python.Expects(7).Answers(Longs{4});
  EXPECT_EQ(GetVariableCount(&error), 4);
}

TEST_F(CallsTest, AProcessThatHasItsPipesGoesOnAtItsLevel) {
  ScriptedPeer nested(sandbox.path() + "/04d2R1");
  InitDxGlobal(sandbox.path() + "/", "04d2", "r", "");
  for (int level = 0; level < 2; ++level) GetXPipeManager()->getPipeSuit("R")->increaseIndex();
  nested.Expects(7).Answers(Longs{4});
  EXPECT_EQ(GetVariableCount(&error), 4);
}

TEST(CallFrame, ASessionThatWasResetHasNoBackend) {
  SetBackend(getppid());
  ResetStaticVars();
  EXPECT_EQ(processId, -1);
  EXPECT_EQ(BackendExit(), -1);
}

}  // namespace
