#include <dlfcn.h>

#include "DxTracer.h"
#include "InpStatisticsX.h"
#include "PlugInDynamicLoadedLibrary.h"
#include "XConfigOptions.h"
#include "XManager.h"
#include "drivex.h"
#include "dxglobals.h"
#include "language_creation.h"
#include "platform.h"
#include "support/sandbox.h"
#include "xpipemanager.h"

namespace {

using Lines = std::vector<std::string>;
using Codes = std::vector<int>;

const std::string kSuffix = platform::kLibrarySuffix;

Lines LinesOf(const std::string& path) {
  std::istringstream stream(ReadFile(path));
  Lines lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// With a trace of its own in place of the process's.
struct Traced : testing::Test {
  Traced() { tracer.open(notes.path() + "/trace"), SetDxTracer(&tracer); }
  ~Traced() override { SetDxTracer(nullptr); }
  // The messages, without what stands in front of them.
  Lines Trace() const {
    Lines lines = LinesOf(notes.path() + "/trace");
    lines.erase(lines.begin());  // the banner
    for (std::string& line : lines) line.erase(0, line.find(">>") + 2);
    return lines;
  }
  Sandbox notes;
  DxTracer tracer;
};

// A runtime that notes its calls and its end.
struct NotedRuntime : StatisticsX {
  NotedRuntime(bool backend, Lines& lines, const std::string& id = "")
      : StatisticsX(backend), calls(lines), name(id) {}
  ~NotedRuntime() override { Note("end of " + name); }
  int Note(const std::string& call) { return calls.push_back(call), result; }
  int x_init_embedded_x(int, char**) override { return Note("init"); }
  int x_execute_x(char*) override {
    Note("execute");
    if (calls.size() == 1) execute_x(nullptr);  // a nested block
    return isRunning() ? 0 : 1;
  }
  int x_stop_embedded_x() override { return Note("stop"); }
  int x_pre_action() override { return Note("pre"); }
  int x_post_action() override { return Note("post"); }

  Lines& calls;
  std::string name;
  int result = 0;
};

struct Wrappers : Traced {
  Lines calls;
  NotedRuntime runtime{true, calls};
};

TEST_F(Wrappers, GiveNoLinesToALanguageThatIsNotInitialised) {
  const Codes codes = {runtime.execute_x(nullptr), runtime.pre_action(), runtime.post_action()};
  EXPECT_EQ(codes, Codes(3, 99115));
  EXPECT_EQ(runtime.stop_embedded_x(), 0);
  EXPECT_EQ(calls, Lines());
  EXPECT_EQ(Trace(), (Lines{"StatisticsX::execute_x error code : 99115.",
                            "StatisticsX::pre_action error code : 99115.",
                            "StatisticsX::post_action error code : 99115.",
                            "StatisticsX::stop_embedded_x error code : 0."}));
}

TEST_F(Wrappers, InitialiseUntilItSucceedsAndRAlwaysAndNeverWhatDrivesTheBackend) {
  const struct {
    bool backend_drives, is_r;
    Codes codes;
    Lines calls;
  } cases[] = {
      {true, false, {5, 0, 0}, {"init", "init", "stop"}},
      {true, true, {5, 0, 0}, {"init", "init", "init", "stop"}},
      {false, false, {0, 0, 0}, {}},
  };
  for (const auto& c : cases) {
    calls.clear();
    NotedRuntime language(c.backend_drives, calls);
    language.setR(c.is_r);
    Codes codes;
    for (const int code : {5, 0, 0}) {
      language.result = code;
      codes.push_back(language.init_embedded_x(0, nullptr));
      EXPECT_EQ(language.isIntialized(), codes.back() == 0);
    }
    language.stop_embedded_x();
    EXPECT_EQ(codes, c.codes);
    EXPECT_EQ(calls, c.calls);
    EXPECT_FALSE(language.isIntialized());
  }
  EXPECT_EQ(Trace()[0], "StatisticsX::init_embedded_x error code : 5.");
  EXPECT_EQ(Trace()[3], "StatisticsX::init_embedded_R");
}

TEST_F(Wrappers, CountAsRunningUntilTheOuterBlockEnds) {
  runtime.setIntialized(true);
  EXPECT_EQ(runtime.execute_x(nullptr), 0);
  EXPECT_FALSE(runtime.isRunning());
}

// A home whose lib/ holds the recorded languages, none of them loaded before.
struct Languages : Traced {
  Languages() {
    std::filesystem::copy(VEXA_TEST_LANGUAGES, home.path() + "/lib");
    SetVEXAHOME(home.path().c_str());
    SetEnvironment("LANGUAGE_LOG", (notes.path() + "/calls").c_str());
    for (const char* name : {"LANGUAGE_PATH", "setup_dxcallback", "execute_x", "stop_embedded_x"}) {
      SetEnvironment(name, nullptr);
    }
  }
  XConfigOptions* Section(const std::string& library) {
    options.PutOption("LIB_NAME", library);
    return &options;
  }
  std::string Library(const std::string& name) const { return home.path() + "/lib/lib" + name + kSuffix; }
  Lines Calls() const { return LinesOf(notes.path() + "/calls"); }

  Sandbox home;
  XConfigOptions options{"R"};
  char block[2] = "a";
};

TEST_F(Languages, AreCalledStepByStep) {
  options.PutOption("LANGUAGE_PATH", "/r");
  {
    InpStatisticsX runtime(Section("complete"), true);
    char table[] = "table", first[] = "--silent", second[] = "";
    char* arguments[] = {first, second};
    runtime.setup_dxcallback(table);
    runtime.init_embedded_x(2, arguments);
    runtime.set_post_vexa_output([](const char* text, int length) { return text[0] == 't' ? length : 0; });
    EXPECT_EQ(Failed({runtime.pre_action(), runtime.execute_x(block), runtime.post_action()}), "");
  }
  EXPECT_EQ(Calls(),
            (Lines{"loaded with /r", "setup_dxcallback table", "init_embedded_x 2 --silent ",
                   "set_post_vexa_output 4", "pre_action", "execute_x a", "post_action", "stop_embedded_x"}));
  EXPECT_EQ(Trace()[0], "StatisticsX::setup_dxcallback");
  EXPECT_EQ(Trace()[2], "StatisticsX::x_set_post_vexa_output");
}

TEST_F(Languages, TellWhatIsWrongWithTheirLibraryWhenTheyAreInitialised) {
  const struct {
    const char* library;
    int code;
    std::string trace;
  } cases[] = {
      {"", 99118, "Configration file vexadxcfg.ini is invalid because the LIB_NAME is NULL."},
      {"missing", 99114, "Load library from " + Library("missing") + " failed."},
      {"unresolved", 99114, "Load library from " + Library("unresolved") + " failed."},
      {"without_init", 99114, Library("without_init") + ": undefined symbol: init_embedded_x"},
      {"without_optional", 0, "StatisticsX::stop_embedded_x error code : 0."},  // of the one before
  };
  for (const auto& c : cases) {
    InpStatisticsX runtime(Section(c.library), true);
    EXPECT_EQ(Trace().back(), c.trace);
    runtime.x_setup_dxcallback(block);
    EXPECT_EQ(runtime.init_embedded_x(0, nullptr), c.code) << c.library;
    EXPECT_EQ(runtime.x_execute_x(block), c.code) << c.library;
  }
  EXPECT_EQ(Calls(), (Lines{"setup_dxcallback a", "init_embedded_x 0", "execute_x a", "stop_embedded_x"}));
}

TEST_F(Languages, WorkWithTheFunctionsInFrontOfAMissingOne) {
  {
    InpStatisticsX runtime(Section("without_execute"), true);
    EXPECT_EQ(runtime.loadXlib(), 99114);
    const Codes codes = {runtime.init_embedded_x(0, nullptr), runtime.pre_action(), runtime.execute_x(block)};
    EXPECT_EQ(codes, Codes(3, 0));
  }
  EXPECT_EQ(Calls(), Lines{"init_embedded_x 0"});
}

TEST_F(Languages, MayThrowAndKeepTheirOwnCodes) {
  for (const char* function : {"setup_dxcallback", "execute_x", "stop_embedded_x"}) {
    SetEnvironment(function, "throw");
  }
  InpStatisticsX runtime(Section("complete"), true);
  runtime.setup_dxcallback(block);
  runtime.init_embedded_x(0, nullptr);
  for (const char* what : {"throw", "throw 42"}) {
    SetEnvironment("execute_x", what);
    EXPECT_EQ(runtime.execute_x(block), 99114);
    EXPECT_FALSE(runtime.isRunning());
  }
  SetEnvironment("execute_x", "-3");
  const Codes codes = {runtime.execute_x(block), runtime.loadXlib(), runtime.pre_action(),
                       runtime.loadXlib()};
  EXPECT_EQ(codes, (Codes{-3, -3, 0, 0}));
}

TEST_F(Languages, AreBoundAtOnceUnlessTheModeIsOneAndStayLoaded) {
  EXPECT_EQ(PlugInDynamicLoadedLibrary(Library("unresolved"), 0).LoadLibraryNow(), -1);
  {
    PlugInDynamicLoadedLibrary lazy(Library("unresolved"), 1);
    EXPECT_EQ(lazy.GetSymbolAddress("nothing"), nullptr);
    EXPECT_EQ(lazy.GetErrorString(), Library("unresolved") + ": undefined symbol: nothing");
    EXPECT_NE(lazy.GetSymbolAddress("pre_action"), nullptr);
    EXPECT_EQ(lazy.GetErrorString(), "");
  }
  EXPECT_NE(dlsym(RTLD_DEFAULT, "pre_action"), nullptr) << "for libraries that are loaded later";
}

TEST(Loader, SaysWhyThereIsNoLibrary) {
  PlugInDynamicLoadedLibrary missing("/nowhere" + std::string(2000, '/'), 0);
  EXPECT_EQ(missing.GetSymbolAddress("printf"), nullptr) << "and not the process's own";
  EXPECT_NE(missing.GetErrorString().find("/nowhere"), std::string::npos);
  EXPECT_EQ(missing.GetErrorString().size(), 1023u);
}

TEST(Loader, DecoratesTheLastComponentOfAPath) {
  const std::pair<std::string, std::string> cases[] = {
      {"name", "libname" + kSuffix},
      {"/a/libb", "/a/liblibb" + kSuffix},
      {"/a/", "/a/lib" + kSuffix},
      {"a/name" + kSuffix, "a/name" + kSuffix},
      {kSuffix + ".1", "lib" + kSuffix + ".1" + kSuffix},
      {kSuffix, "lib" + kSuffix + kSuffix},
  };
  for (const auto& [path, decorated] : cases) EXPECT_EQ(PlugInDecorateDynamicPathName(path), decorated);
}

// A process with its objects, whose configuration names two languages.
struct Creation : Languages {
  Creation() {
    home.Write("bin/vexadxcfg.ini",
               "[SUPPORTED_LANG]\nX=Perl;AWK\n[Perl]\nLIB_NAME=complete\n[AWK]\nLIB_NAME=sub/none\n");
    InitDxGlobal(notes.path() + "/", "04d2", "perl", home.path());
  }
  ~Creation() override { FinalizeDXGlobal(); }
  static int LevelOf(const char* language) { return GetXPipeManager()->getPipeSuit(language)->getIndex(); }
  // The driver of a run that the backend asks for.
  static DriveX* Create(const char* language) {
    EXPECT_EQ(CreateLanguageX(language, true), 0);
    return GetXManager()->getBackVexaDX();
  }
};

TEST_F(Creation, NeedsTheProcessesObjectsAndASupportedLanguage) {
  EXPECT_EQ(CreateLanguageX("PERL", true), 99120);
  EXPECT_EQ(CreateCmdVexaDX("R", true), nullptr);
  EXPECT_EQ(Trace().back(), "Unsupported external language:R");
  EXPECT_EQ(GetXManager()->getBackVexaDX(), nullptr);
  FinalizeDXGlobal();
  EXPECT_EQ(CreateLanguageX("Perl", true), 1);
  EXPECT_EQ(CreateCmdVexaDX("Perl", true), nullptr);
}

TEST_F(Creation, StacksDriversAndRemovesThemOnlyFromTheTop) {
  DriveX* const outer = Create("Perl");
  Create("AWK");  // whose library does not load: no failure yet
  DxTrace("here");
  EXPECT_NE(ReadFile(notes.path() + "/trace").find(" AWK>>here"), std::string::npos);
  GetXManager()->destoryVexaDX(Create("Perl"));
  GetXManager()->destoryVexaDX(outer);
  const Codes levels = {LevelOf("Perl"), LevelOf("AWK"), Create("AWK")->getIndex()};
  EXPECT_EQ(levels, (Codes{0, 0, 1}));
  EXPECT_NE(dynamic_cast<VexaDX_P*>(GetXManager()->getBackVexaDX()), nullptr);
}

TEST_F(Creation, LeavesAHostsDriverToTheHostAndKeepsTheRuntime) {
  const std::unique_ptr<DriveX> driver(CreateCmdVexaDX("Perl", false));
  EXPECT_NE(dynamic_cast<CmdVexaDX*>(driver.get()), nullptr);
  EXPECT_EQ(GetXManager()->getBackVexaDX(), nullptr);
  EXPECT_EQ(LevelOf("Perl"), -1);
  StatisticsX* const runtime = GetXManager()->getStatisticsX("Perl");
  Create("Perl");
  EXPECT_EQ(GetXManager()->getStatisticsX("Perl"), runtime);
  EXPECT_FALSE(runtime->isVexaDrive());
}

TEST_F(Creation, EndsRuntimesInTheOrderOfTheirNames) {
  Lines calls;
  const auto add = [&](const char* key, const char* name) {
    GetXManager()->addStatisticsX(key, new NotedRuntime(true, calls, name));
  };
  add("b", "old");
  add("b", "new");
  GetXManager()->addStatisticsX("b", GetXManager()->getStatisticsX("b"));  // stays
  EXPECT_EQ(calls, Lines{"end of old"});
  add("c", "c");
  add("a", "a");
  for (const char* name : {"c", "unknown"}) GetXManager()->destoryStatisticsX(name);
  GetXManager()->stopX();
  EXPECT_EQ(calls, (Lines{"end of old", "end of c", "end of a", "end of new"}));
  EXPECT_EQ(GetXManager()->getStatisticsX("b"), nullptr);
}

TEST_F(Creation, IsUndoneAtOnceAndWithTheProcessesObjects) {
  for (const bool at_once : {true, false}) {
    if (!IsDXGlobalInit()) InitDxGlobal(notes.path() + "/", "04d2", "perl", home.path());
    for (int i = 0; i < 2; ++i) Create("Perl");
    GetXManager()->getStatisticsX("Perl")->init_embedded_x(0, nullptr);
    if (at_once) {
      GetXManager()->cleanup();
      EXPECT_EQ(GetXManager()->getBackVexaDX(), nullptr);
      EXPECT_EQ(LevelOf("Perl"), -1);
    } else {
      GetXPipeManager()->cleanup();  // as the end of a session does, ahead of the drivers
    }
    FinalizeDXGlobal();
    EXPECT_EQ(Calls(), (Lines{"init_embedded_x 0", "stop_embedded_x"}));
    std::filesystem::remove(notes.path() + "/calls");
  }
}

}  // namespace
