// The staged engine asked by a driver that is not the library: every action with whatever a request may lack
// or carry too much of, steps that no client takes, faults in the side file, and shortage of all kinds.
#include <sys/resource.h>

#include <chrono>
#include <climits>
#include <filesystem>
#include <sstream>

#include "support/raw_driver.h"

namespace {

using Ints = std::vector<std::int32_t>;
using Texts = std::vector<std::string>;

constexpr int kEndOfData = 23, kWrongType = 24, kIndex = 10, kBadRequest = 2011, kNoRoom = 2052;
constexpr int kSubmit = 0, kReady = 1, kRows = 8, kName = 9, kNumber = 25, kText = 26, kStep = 27,
              kRemoveCursor = 28, kPosition = 30, kMakeCursor = 33, kResetPass = 120, kStartStep = 132,
              kCreate = 134, kInsert = 146;

constexpr const char* kCsv = "a,b,t\n1,2,one\n3,,two\n5,6,three\n";

std::string Data(const Sandbox& files, const std::string& csv = kCsv) {
  return "-data \"" + files.Write("d.csv", csv) + "\"";
}

void Limit(decltype(RLIMIT_AS) what, rlim_t most) {
  const rlimit limit = {most, most};
  setrlimit(what, &limit);
}

// A reply without the reason of its code, which it must have: one text, but beside an answer.
Image Bare(Image reply) {
  if (reply.error == 0 || reply.error == kEndOfData || reply.error == 93) return reply;
  EXPECT_TRUE(reply.strings.size() == 1 && !reply.strings[0].empty() && reply.strings[0].back() != '\n')
      << reply;
  reply.strings.clear();
  return reply;
}

struct EngineRequests : testing::Test {
  Sandbox files;
};

TEST_F(EngineRequests, StepsOfADriverWithoutACursorOfItsOwn) {
  const RawDriver driver(Data(files));
  const struct {
    int action;
    Image request;
    Image reply;
  } steps[] = {
      {kStep, {}, MakeImage(0, Error{2012})},
      {kMakeCursor, MakeImage(0, Strings{"r"}), {}},
      {kNumber, MakeImage(0, Longs{0}), MakeImage(0, Error{kIndex})},
      {kStep, {}, {}},
      {kStep, {}, {}},
      {kNumber, MakeImage(0, Longs{0}), MakeImage(0, Longs{0}, Doubles{3})},
      {kNumber, MakeImage(0, Longs{1}), MakeImage(0, Longs{2}, Doubles{-1.7976931348623157e+308})},
      {kNumber, MakeImage(0, Longs{2}), MakeImage(0, Error{kWrongType})},
      {kNumber, {}, MakeImage(0, Error{kBadRequest})},
      {kText, MakeImage(0, Longs{2, 9}), MakeImage(0, Longs{0}, Strings{"two  "})},
      {kText, MakeImage(0, Longs{2, 2}), MakeImage(0, Longs{0}, Strings{"tw"})},
      {kText, MakeImage(0, Longs{2, -1}), MakeImage(0, Longs{0}, Strings{""})},
      {kText, MakeImage(0, Longs{0, 9}), MakeImage(0, Error{kWrongType})},
      {kText, MakeImage(0, Longs{3, 9}), MakeImage(0, Error{kIndex})},
      {kPosition, {}, MakeImage(0, Longs{2})},
      {kStep, {}, {}},
      {kStep, {}, MakeImage(0, Error{kEndOfData})},
      {kResetPass, {}, {}},
      {kPosition, {}, MakeImage(0, Longs{0})},
      {kRemoveCursor, {}, {}},
      {kRemoveCursor, {}, MakeImage(0, Error{2012})},
  };
  for (auto [action, request, reply] : steps) {
    request.action = action;
    reply.action = action;
    reply.error = reply.error == -1 ? 0 : reply.error;
    driver.Send(Encode(request));
    EXPECT_EQ(Bare(driver.Receive()), reply) << request;
  }
}

// Opens what most requests are about, anew where one before has closed or emptied it.
void Prepare(const RawDriver& driver, int state) {
  if (state == kMakeCursor) {
    driver.Ask(kMakeCursor, Strings{"w"});
    driver.Ask(kStep);
  } else if (state == kStartStep) {
    driver.Ask(kRemoveCursor);
    driver.Ask(kStartStep);
    for (const char* name : {"*", "other"}) {
      driver.Ask(kCreate, Strings{name}, Longs{0, 0});
      driver.Ask(kInsert, Strings{name, "n"}, Longs{0, 0});
      driver.Ask(kInsert, Strings{name, "w"}, Longs{1, 5});
      driver.Ask(178, Strings{name}, Longs{0});
    }
  } else {
    driver.Ask(35, Strings{"o", "t", "title"}, Longs{0});
    driver.Ask(44, Strings{"o", "t", "title", "d"}, Longs{0, 0, 0, 0, 0});
  }
}

// What it lacks, has too much of, or cannot mean.
TEST_F(EngineRequests, EveryOneIsAnswered) {
  const int kAccept = 247, kStop = 4;  // the one waits for a program, the other ends the session
  const Texts texts[] = {{},
                         {""},
                         {"a"},
                         {"w", "x"},
                         {"*"},
                         {"*", "n"},
                         {"*", ""},
                         {"*", "x", ""},
                         {"other", "w", "x", "long text"},
                         {"o", "t", "title"},
                         {"o", "t", "title", "d"},
                         {"o", "t", "title", "d", "x"}};
  const Ints longs[] = {{},
                        {0},
                        {-1},
                        {INT_MIN, INT_MIN},
                        {INT_MAX, INT_MAX},
                        {0, 0},
                        {1, 0},
                        {2, 5},
                        {0, 2, 8},
                        {0, 1, 1, 1, 0},
                        {1, 0, 2, 1},
                        {0, 0, 0, 0, 0},
                        {0, 0, 0, 0, 0, 1}};
  const RawDriver driver(Data(files));
  for (const int state : {0, kMakeCursor, kStartStep}) {
    for (int action = -1; action <= 260; ++action) {
      if (action == kAccept || action == kStop) continue;
      Prepare(driver, state);
      for (const Texts& some_texts : texts) {
        for (const Ints& some_longs : longs) {
          Image request = MakeImage(action, Longs(some_longs), Strings(some_texts));
          driver.Send(Encode(request));
          ASSERT_EQ(Bare(driver.Receive()).action, action);
          request.doubles = {0.5};
          request.records = {{"*", 0, 0, 0, 1, ""}, {"*", 0, INT_MAX, 1, 1, "x"}};
          request.string_lists = {some_texts, {"a"}};
          request.long_lists = {some_longs};
          request.void_block = std::string(16, 'x');
          driver.Send(Encode(request));
          ASSERT_EQ(Bare(driver.Receive()).action, action);
        }
      }
    }
  }
  EXPECT_EQ(driver.Ask(kReady), MakeImage(kReady, Error{0}, Longs{1}));
}

TEST_F(EngineRequests, RefusalsHaveTheirCodes) {
  const int kVarAttribute = 102, kWidth = 42, kStartTable = 35;
  const std::int32_t kGoodbye = 998800;
  const RawDriver driver(Data(files));
  driver.Ask(kStartTable, Strings{"o", "t", "title"}, Longs{0});
  const struct {
    int action;
    Ints longs;
    Texts texts;
    int code;
  } cases[] = {
      {3, {}, {}, 2010},
      {-1, {7}, {}, 2010},
      {kReady, {kGoodbye}, {}, 0},
      {kName, {}, {}, kBadRequest},
      {kName, {-1}, {}, kIndex},
      {kMakeCursor, {}, {"x"}, 2015},
      {kVarAttribute, {0}, {"a", "colour", "red"}, 0},
      {kVarAttribute, {1}, {"a", "colour", "blue"}, 0},
      {kVarAttribute, {3}, {"a", "colour", "green"}, kIndex},
      {kVarAttribute, {-1}, {"a", "colour", "green"}, kIndex},
      {kVarAttribute, {1}, {"a", "size", "green"}, kIndex},
      {kVarAttribute, {0}, {"a", "", "red"}, kBadRequest},
      {kVarAttribute, {0}, {"a", "colour"}, kBadRequest},
      {kVarAttribute, {0}, {"a", "colour", "red", "blue"}, kBadRequest},
      {kVarAttribute, {}, {"a", "colour", "red"}, kBadRequest},
      {kWidth, {0, 0}, {"o", "t", "title"}, kBadRequest},
      {kWidth, {0, INT_MAX}, {"o", "t", "title"}, kBadRequest},
      {kWidth, {0, 7}, {"o", "t", "title"}, 0},
      {kWidth, {1, 7}, {"o", "t", "title"}, 2020},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(driver.Ask(c.action, Longs(c.longs), Strings(c.texts)).error, c.code)
        << c.action << c.texts.size();
  }
  EXPECT_EQ(driver.Ask(99, Longs{0}, Strings{"colour"}).strings, (Texts{"red", "blue"}));
  EXPECT_EQ(driver.Ask(96, Longs{0}).strings, Texts{"colour"});
}

TEST_F(EngineRequests, QueuedOnesAreAnsweredInTurn) {
  RawDriver driver(Data(files));
  const std::string name = Encode(MakeImage(kName, Longs{2}));
  driver.Send(Encode(MakeImage(kRows)) + name + name.substr(0, 5));
  EXPECT_EQ(driver.Receive().longs, Ints{3});
  EXPECT_EQ(driver.Receive().strings, Texts{"t"});
  driver.Send(name.substr(5));
  EXPECT_EQ(driver.Receive().strings, Texts{"t"});
  EXPECT_EQ(driver.End(), 0) << "it ends with its driver";
}

// Also those of languages that died before they were opened, and after a start that is refused.
TEST_F(EngineRequests, SessionThatEndsTakesAllItsFifosAlong) {
  for (const bool refused : {false, true}) {
    RawDriver driver(refused ? "-bad" : Data(files), [](const std::string& prefix) {
      for (const char* name : {"R0xdapi", "PYTHONConsole0syntaxresult"})
        mkfifo((prefix + name).c_str(), 0600);
    });
    EXPECT_EQ(driver.first.error, refused ? 2001 : 0);
    driver.End();
    EXPECT_EQ(driver.fifos.Entries(), Texts()) << refused;
  }
}

TEST_F(EngineRequests, FaultsInTheSideFileAreNamedByTheirLine) {
  // The lines of the side file, with " / " between them, and the reason.
  std::ifstream faults(VEXA_SOURCE_DIR "/tests/side_file_faults.txt");
  int count = 0;
  for (std::string fault; std::getline(faults, fault); ++count) {
    const std::size_t arrow = fault.find(" -> ");
    std::string lines = "# \n\n" + fault.substr(0, arrow);
    int line = 3;
    for (std::size_t slash; (slash = lines.find(" / ")) != std::string::npos; ++line)
      lines.replace(slash, 3, "\n");
    const std::string csv = files.Write("d.csv", kCsv), side = files.Write("d.csv.vars", lines);
    const RawDriver driver("-data " + csv);
    EXPECT_EQ(driver.first.error, 2004) << fault;
    EXPECT_EQ(driver.first.strings,
              Texts{side + ":" + std::to_string(line) + ": " + fault.substr(arrow + 4)});
    EXPECT_EQ(ReadFile(driver.files.path() + "/errors"), "vexaengine: " + driver.first.strings[0] + "\n");
  }
  EXPECT_GT(count, 40);
}

TEST_F(EngineRequests, ReasonsNameWhatIsWrong) {
  const RawDriver driver(Data(files));
  const std::string bad = files.Write("bad.csv", "a,b\n1,2\n3\n"),
                    get = "GET DATA /TYPE=CSV /DATASET=x /FILE=";
  driver.Ask(kStartStep);
  driver.Ask(kCreate, Strings{"*"}, Longs{0, 0});
  const struct {
    int action;
    Ints longs;
    Texts texts;
    std::string reason;
  } cases[] = {
      {kName, {3}, {}, "variable 3: the dataset has 3, from 0"},
      {178, {9}, {"*"}, "row 9: the dataset has 3, from 0"},
      {178, {0}, {"d"}, "d is not in the data step"},
      {kInsert, {0, 0}, {"*", "A"}, "the name A is taken"},
      {kInsert, {0, 0}, {"*", "1"}, "the name \"1\" begins with a character that no name begins with"},
      {kSubmit, {}, {get + "\"" + bad + "\"."}, bad + ":3: 1 fields, where the header has 2"},
      {kSubmit, {}, {get + "none."}, "none: No such file or directory"},
      {kSubmit, {}, {"SAVE /TYPE=CSV /FILE=\"/none/x.csv\"."}, "/none/x.csv: No such file or directory"},
      {kSubmit, {}, {"SAVE /TYPE=CSV /FILE=x /KEEP=c."}, "there is no variable c"},
      {kSubmit,
       {},
       {"LANGUAGE COBOL.\nEND LANGUAGE."},
       "COBOL: it is not among the languages of " VEXA_STAGED_HOME "/bin/vexadxcfg.ini"},
      {kSubmit, {}, {"LANGUAGE PYTHON.\nx = 1"}, "LANGUAGE PYTHON.: there is no line END LANGUAGE."},
  };
  for (const auto& c : cases)
    EXPECT_EQ(driver.Ask(c.action, Longs(c.longs), Strings(c.texts)).strings, Texts{c.reason});
  const Image refused = driver.Ask(228, Records{{{"*", 0, 0, 0, 1, ""}, {"*", 1, 2, 1, 0, "too long"}}});
  EXPECT_EQ(refused.strings, Texts{"a text of 8 bytes for t, which has 5"}) << refused;
}

TEST_F(EngineRequests, OptionsThatCannotBeAreNamed) {
  const struct {
    const char* options;
    const char* reason;
  } cases[] = {{"-data", "options: -data needs a file name"},
               {"-echo -none", "options: unknown option -none"},
               {"\"-echo\"", "options: unknown option \"-echo\""},
               {"-log a -log b", "options: -log is given twice"},
               {"-log /none/x", "/none/x: the log cannot be written: No such file or directory"},
               {"-env 1=2", "options: -env \"1=2\" is not NAME=VALUE, with a name of letters, digits and _"},
               {"-env =", "options: -env \"=\" is not NAME=VALUE, with a name of letters, digits and _"},
               {"-env A", "options: -env \"A\" is not NAME=VALUE, with a name of letters, digits and _"}};
  for (const auto& c : cases) EXPECT_EQ(RawDriver(c.options).first.strings, Texts{c.reason});
}

TEST_F(EngineRequests, ABlockThatFailsTellsWhyAndIsHeardAndLogged) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "A plain interpreter cannot load a library with sanitizers.";
#endif
  const std::string log = files.path() + "/log", heard = files.path() + "/heard";
  const RawDriver driver("-echo -env \"GREETING=good day\" -env EMPTY= -log " + log,
                         [&](auto&) { dup2(open(heard.c_str(), O_WRONLY | O_CREAT, 0600), STDOUT_FILENO); });
  const std::string lines =
      "import os\nprint(os.environ['GREETING'] + os.environ['EMPTY'])\nraise ValueError(20)\n";
  const Image reply = driver.Ask(kSubmit, Strings{"LANGUAGE PYTHON.\n" + lines + "END LANGUAGE."});
  EXPECT_EQ(reply.error, 3001);
  ASSERT_EQ(reply.strings.size(), 1u);
  const std::string reason = "PYTHON: Traceback (most recent call last):\n";
  EXPECT_TRUE(reply.strings[0].starts_with(reason)) << reply.strings[0];
  EXPECT_TRUE(reply.strings[0].ends_with("\nValueError: 20")) << reply.strings[0];
  EXPECT_EQ("PYTHON: " + ReadFile(heard).substr(9), reply.strings[0] + "\n") << "behind the greeting";
  EXPECT_NE(ReadFile(log).find(" Submit (0): 3001 " + reason), std::string::npos) << ReadFile(log);
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define NEEDS_LIMITED_MEMORY() GTEST_SKIP() << "Sanitizers reserve more address space than any limit allows."
#else
#define NEEDS_LIMITED_MEMORY() static_cast<void>(0)
#endif

TEST_F(EngineRequests, MemoryThatRunsOutLeavesTheDataAsTheyWere) {
  NEEDS_LIMITED_MEMORY();
  std::string csv = "a,t\n";
  for (int row = 0; row < 100000; ++row) csv += std::to_string(row) + ",x\n";
  const RawDriver driver(Data(files, csv), [](auto&) { Limit(RLIMIT_AS, rlim_t{200} << 20); });
  ASSERT_EQ(driver.first.error, 0);
  driver.Ask(kStartStep);
  driver.Ask(kCreate, Strings{"*"}, Longs{0, 0});
  EXPECT_EQ(Bare(driver.Ask(kInsert, Longs{0, 32767}, Strings{"*", "wide"})),
            MakeImage(kInsert, Error{kNoRoom}));
  EXPECT_EQ(driver.Ask(154, Longs{1, 32767}, Strings{"*"}).error, kNoRoom) << "another type";
  EXPECT_EQ(driver.Ask(148, Strings{"*"}).longs, Ints{2});
  EXPECT_EQ(driver.Ask(180, Strings{"*"}).longs, Ints{100000});
  EXPECT_EQ(driver.Ask(181, Strings{"*"}, Longs{99999, 0}).doubles, std::vector<double>{99999});
  EXPECT_EQ(driver.Ask(kInsert, Longs{0, 0}, Strings{"*", "narrow"}).error, 0);
}

TEST_F(EngineRequests, DescriptorsThatRunOutKeepABlockFromRunning) {
  const RawDriver driver(Data(files), [](auto&) { Limit(RLIMIT_NOFILE, 16); });
  EXPECT_EQ(driver.Ask(kSubmit, Strings{"LANGUAGE PYTHON.\nx\nEND LANGUAGE.\n"}).error, kNoRoom);
  EXPECT_EQ(driver.Ask(kRows).longs, Ints{3});
}

TEST_F(EngineRequests, RowsPutAsideStayWhereNoMoreCanBe) {
  std::string csv = "a,t\n1," + std::string(4000, 'x') + "\n";
  const RawDriver driver(Data(files, csv + "2,y\n3,z\n"), [](auto&) {
    signal(SIGXFSZ, SIG_IGN);
    Limit(RLIMIT_FSIZE, 8192);
  });
  driver.Ask(kStartStep);
  driver.Ask(kCreate, Strings{"*"}, Longs{0, 0});
  const int kSave = 232, kLoad = 233, kSaved = 236;
  EXPECT_EQ(driver.Ask(kSave, Strings{"*"}, Longs{0}).error, 0);
  EXPECT_EQ(driver.Ask(kSave, Strings{"*"}).error, 2002);
  EXPECT_EQ(driver.Ask(kSaved).longs, Ints{3});
  EXPECT_EQ(driver.Ask(kLoad, Strings{"*"}, Longs{1, 2}).error, 0);
  EXPECT_EQ(driver.Ask(180, Strings{"*"}).longs, Ints{5});
}

// Names, widths and cells of the data.
std::string Dump(const RawDriver& driver) {
  driver.Ask(kStartStep);
  driver.Ask(kCreate, Strings{"*"}, Longs{0, 0});
  const Image batch = driver.Ask(221, Strings{"*"}, Longs{0, 0});
  std::ostringstream dump;
  const auto columns = static_cast<std::size_t>(batch.longs[1]);
  for (std::size_t i = 0; i < columns; ++i)
    dump << driver.Ask(kName, Longs{static_cast<int>(i)}).strings[0] << ':' << batch.longs[2 + i] << ' ';
  for (std::size_t cell = 0; cell < batch.long_lists[0].size(); ++cell) {
    dump << (cell % columns == 0 ? "/ " : "");
    if (batch.longs[2 + cell % columns] > 0) {
      dump << '\'' << batch.string_lists[0][cell] << "' ";
    } else if (batch.long_lists[0][cell] == 2) {
      dump << ". ";
    } else {
      dump << batch.double_lists[0][cell] << ' ';
    }
  }
  return dump.str();
}

TEST_F(EngineRequests, FilesOfAllKindsAreReadOrRefusedAndWarnedOf) {
  const std::string little = std::string("a\0,\0b\0\n\0\x31\0,\0\xE4\0\x3D\xD8\x00\xDE", 18);
  std::string big = little;
  for (std::size_t i = 0; i + 1 < big.size(); i += 2) std::swap(big[i], big[i + 1]);
  const auto instead = [](const char* name, int column, const char* mended) {
    return "the name \"" + std::string(name) + "\" of column " + std::to_string(column) +
           " is no name of a variable: " + mended + " takes its place\n";
  };
  const struct {
    const char* options;
    std::string csv, dump;
    std::vector<std::string> told;
  } cases[] = {
      {"", "a;b\n1,5;x,y\n-2.5;\n", "a:0 b:3 / 1.5 'x,y' / -2.5 '   ' ", {}},
      {"", "a\tb\r\n1\t2;3\r\n\r\n", "a:0 b:3 / 1 '2;3' ", {}},
      {"", "\xFF\xFE" + little, "a:0 b:6 / 1 'ä😀' ", {}},
      {"", little, "a:0 b:6 / 1 'ä😀' ", {}},
      {"", big, "a:0 b:6 / 1 'ä😀' ", {}},
      {"", little.substr(0, 16), "", {"it begins as UTF-16 and is none\n"}},
      {"", "a\n1e-400\n-1e-400\n 007.50 \n+1\n", "a:0 / 0 / -0 / 7.5 / 1 ", {}},
      {"", "a\n1e400\n1\n2\n", "a:5 / '1e400' / '1    ' / '2    ' ", {"beside 2 numbers"}},
      {"-missing NA -missing 999", "a,b\nNA,NA\n999,x\n3,yy\n", "a:0 b:2 / . '  ' / . 'x ' / 3 'yy' ", {}},
      {"",
       "a,b\n1,x\nNA,NA\n2,1\n",
       "a:2 b:2 / '1 ' 'x ' / 'NA' 'NA' / '2 ' '1 ' ",
       {"a is a text, since \"NA\" stands in it (1 times) beside 2 numbers; the option -missing NA makes it "
        "a "
        "number that is missing there\n"}},
      {"",
       "Solar.R.,1st,,a b,A_B\n1,2,3,4,5\n",
       "Solar.R_:0 _1st:0 V3:0 a_b_2:0 A_B:0 / 1 2 3 4 5 ",
       {instead("Solar.R.", 1, "Solar.R_"), instead("1st", 2, "_1st"), instead("", 3, "V3"),
        instead("a b", 4, "a_b_2")}},
      {"", "a,b\x01\n1,2\n", "", {"d.csv:1: the name of column 2 has a control character\n"}},
      {"", "a,b\n1,2,3,4\n", "", {"d.csv:2: 4 fields, where the header has 2\n"}},
      {"", "a,b\n\n1\n", "", {"d.csv:3: 1 fields, where the header has 2\n"}},
  };
  for (const auto& c : cases) {
    const RawDriver driver(Data(files, c.csv) + " " + c.options);
    EXPECT_EQ(driver.first.error, c.dump.empty() ? 2003 : 0) << c.csv;
    EXPECT_EQ(driver.first.error == 0 ? Dump(driver) : "", c.dump) << c.csv;
    const std::string errors = ReadFile(driver.files.path() + "/errors");
    for (const std::string& what : c.told) EXPECT_NE(errors.find(what), std::string::npos) << errors;
    EXPECT_EQ(errors.empty(), c.told.empty()) << errors;
  }
}

TEST_F(EngineRequests, AFileIsReplacedByAWholeOneOrNotAtAll) {
  namespace fs = std::filesystem;
  std::string csv = "n,t\n100000,a\n0.0001,b\n1e30,c\n";
  const std::string path = files.Write("saved/old.csv", "old"), link = files.path() + "/link";
  fs::permissions(path, fs::perms(0640));
  fs::create_symlink(path, link);
  const auto save = [&](const RawDriver& driver) {
    return driver.Ask(kSubmit, Strings{"SAVE /TYPE=CSV /FILE=\"" + link + "\"."});
  };
  const RawDriver limited(Data(files, csv + "1," + std::string(9000, 'x') + "\n"),
                          [](auto&) { Limit(RLIMIT_FSIZE, 8192); });
  EXPECT_EQ(save(limited).strings, Texts{path + ": File too large"});
  EXPECT_EQ(ReadFile(path), "old");
  EXPECT_EQ(save(RawDriver(Data(files, csv))).error, 0);
  EXPECT_EQ(ReadFile(path), "n,t\n100000,a\n0.0001,b\n1e+30,c\n");
  EXPECT_TRUE(fs::is_symlink(link) && fs::status(path).permissions() == fs::perms(0640));
  EXPECT_EQ(std::distance(fs::directory_iterator(files.path() + "/saved"), {}), 1);
  EXPECT_EQ(RawDriver(Data(files, csv)).Ask(kSubmit, Strings{"SAVE /TYPE=CSV /FILE=\"/dev/full\"."}).strings,
            Texts{"/dev/full: No space left on device"});
}

TEST_F(EngineRequests, ABatchGrowsForWhoReadsOnInEitherDirection) {
  const int kLast = 39999;
  std::string csv = "n\n";
  for (int row = 0; row <= kLast; ++row) csv += "1\n";
  const RawDriver driver(Data(files, csv));
  driver.Ask(kStartStep);
  driver.Ask(kCreate, Strings{"*"}, Longs{0, 0});
  for (const bool forward : {true, false}) {
    int fetches = 0;
    for (int row = forward ? 0 : kLast; row >= 0 && row <= kLast; ++fetches) {
      const Ints longs = driver.Ask(221, Strings{"*"}, Longs{0, row}).longs;
      ASSERT_TRUE(longs[0] <= row && row <= *(longs.end() - 2)) << row;
      row = forward ? *(longs.end() - 2) + 1 : longs[0] - 1;
    }
    EXPECT_LT(fetches, 12) << forward;
  }
}

TEST_F(EngineRequests, ManyColumnsAreReadInTime) {
  std::string header, row;
  for (int column = 0; column < 160000; ++column) {
    header += "c" + std::to_string(column) + ",";
    row += "1,";
  }
  const auto begin = std::chrono::steady_clock::now();
  const RawDriver driver(Data(files, header + "last\n" + row + "1\n"));
  EXPECT_EQ(driver.Ask(7).longs, Ints{160001});
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
  EXPECT_EQ(RawDriver(Data(files, header + "C77\n")).first.error, 2003);
}

}  // namespace
