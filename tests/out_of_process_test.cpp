// A language in a process of its own, served by startx: how it starts, runs a block, stops, and dies. And
// what every kind of language gets for its environment.

#include "support/out_of_process.h"
#include "JavaExtensionSmb.h"
#include "JavaPlugInSocket.h"
#include "platform.h"
#include "text.h"

namespace {

TEST_F(OutOfProcess, RunsABlockBetweenTwoCommands) {
  Make("PYTHON", "7", 0);
  ASSERT_EQ(Start(), 0);
  EXPECT_EQ(Noted("arguments"),
            (Texts{home.path() + "/bin/startx", "REMOTE", sandbox.path() + "/", "04d2", "PYTHON"}));
  for (int run = 0; run < 2; ++run) {
    EXPECT_EQ(language->pre_action(), 0);
    EXPECT_EQ(Execute("a\nb\n"), 7);
    EXPECT_EQ(language->post_action(), 0);
  }
  EXPECT_EQ(language->stop_embedded_x(), 0);
  EXPECT_EQ(Noted("block"), (Texts{"a", "b", "", "a", "b", ""}));
  EXPECT_EQ(Noted("commands"), (Texts{"255", "3", "4", "3", "4", "2"}));
  EXPECT_TRUE(Traced("x_execute_x ReceiveData syntaxResultPipe error code : 7."));
}

TEST_F(OutOfProcess, FailsToStartAsSoonAsItsProgramHasEnded) {
  for (const char* script : {"fails", "dies late", "never serves"}) {
    Make("PYTHON", script);
    EXPECT_EQ(Start(), 99107) << script;
    EXPECT_FALSE(language->isXProcessActive());
  }
  std::filesystem::remove(home.path() + "/bin/startx");
  EXPECT_EQ(Start(), 99107) << "no program";
}

TEST_F(OutOfProcess, EndsEachWaitWhenItDiesAndCanBeStartedAgain) {
  const struct {
    const char* script;
    int pre, execute;
  } cases[] = {
      {"dies at 3", 99103, 99104},
      {"dies ahead of its answer", 99107, 99107},
      {"dies ahead of the block", 0, 99107},
      {"dies in the block", 0, 99103},
      {"leaves its ends to another", 0, 99103},
      {"leaves the block to another", 0, 99103},
      {"leaves half an answer", 0, 99103},
      {"7", 0, 7},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.script);
    Make("PYTHON", c.script);
    EXPECT_EQ(Start(), 0);
    EXPECT_EQ(language->pre_action(), c.pre);
    EXPECT_EQ(Execute(std::string(300000, 'a') + "\n"), c.execute);
    EXPECT_EQ(language->post_action() == 0, c.execute == 7);
    EXPECT_TRUE(c.execute == 7 || Ends());
    EXPECT_EQ(language->stop_embedded_x(), 0);
    EXPECT_TRUE(Traced("stat_stop_x: x process has already exited "));
  }
}

TEST_F(OutOfProcess, IsToldOfARunThatFailsInALanguageThatLives) {
  for (const auto& [script, pre] : {std::pair("fails its run at once", 99103), {"fails its run", 0}}) {
    std::filesystem::remove(notes.path() + "/commands");
    Make("PYTHON", script);
    ASSERT_EQ(Start(), 0);
    for (int run = 0; run < 2; ++run) {
      EXPECT_EQ(language->pre_action(), pre) << script;
      EXPECT_EQ(pre != 0 ? "1: 99103 " : Failed({Execute("a\n"), language->post_action()}), "1: 99103 ")
          << script;
    }
    EXPECT_EQ(Noted("commands"), (Texts{"255", "3", "4", "3", "4"})) << "each run is ended";
    EXPECT_EQ(language->stop_embedded_x(), 0);
  }
}

TEST_F(OutOfProcess, MayTakeSecondsToComeUpWhateverSignalsComeMeanwhile) {
  Make("PYTHON", "serves late");
  const Ticking every_five_milliseconds(5000);
  EXPECT_EQ(Start(), 0);
}

TEST_F(OutOfProcess, IsKilledWhenItDoesNotAnswerItsStop) {
  const auto start = Clock::now();
  Make("PYTHON", "stops at 2");
  EXPECT_EQ(Start(), 0);
  EXPECT_EQ(language->stop_embedded_x(), 99103);
  EXPECT_FALSE(HasChildren() || language->isXProcessActive());
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(9));
}

TEST_F(OutOfProcess, IsKilledWhenItOutlivesItsStop) {
  Make("PYTHON", "never ends");
  EXPECT_EQ(Start(), 0);
  EXPECT_EQ(language->stop_embedded_x(), 0);
  EXPECT_TRUE(language->isXProcessActive()) << "the stop itself waits for nobody";
}

TEST_F(OutOfProcess, CountsAsThereWhereTheBackendDoesNotDrive) {
  Make("PYTHON", "", 7, false);
  EXPECT_TRUE(language->isXProcessActive());
  EXPECT_EQ(language->stat_stop_x(), 99104) << "told to stop, on a channel that is not there";
  EXPECT_EQ(language->getBackendProcessName() + language->getMajorVersion(), "LOCAL31");
}

// What the process of a language sees, in its order: first what is set for it, then what it inherits, then
// what is behind that. "~" stands for the home, "^" for the directory of the fifos, "@" for the search
// variable.
TEST_F(OutOfProcess, HasItsOwnEnvironmentAheadOfTheInheritedOne) {
  const struct {
    std::string name, configured, inherited, first, last;
  } cases[] = {
      {"R", "A=1|R_HOME=/c", "Z=|@=/i|R_LIBS_USER=/u",
       "A=1|R_HOME=/c|VEXA_HOME=~|VEXADXTEMP=^/|R_HOME=~|R_BASE_PATH=~/../../Resources/R|"
       "VEXA_R_LIBS=~/../../Resources/R/rpackage|R_LIBS_USER=~/../../Resources/R/rpackage:/u",
       "@=~/lib:/i"},
      {"PYTHON", "", "TSOH=h|VEXA_HOME=/stale",
       "VEXA_HOME=~|VEXADXTEMP=^/"
       "|PYTHONHOME=~|BACKEND_PYTHON_SCRIPT=True|CPRLMX_HOST=127.0.0.1|CPRLMX_PORT=0|"
       "JAVA_CLIENT_PORT=0",
       "@=~/lib:"},
      {"PYTHON3", "CPRLMX_HOST=c|VEXADXTEMP=/t", "TSOH=h|TROP=9|JAVA_CLIENT_PORT=8",
       "CPRLMX_HOST=c|VEXADXTEMP=/t|VEXA_HOME=~|PYTHONHOME=~|BACKEND_PYTHON_SCRIPT=True|CPRLMX_HOST=h|"
       "CPRLMX_PORT=9|JAVA_CLIENT_PORT=8",
       "@=~/lib:"},
      {"PYTHON", "BACKEND_PYTHON_SCRIPT=|CPRLMX_HOST=c|CPRLMX_PORT=1|JAVA_CLIENT_PORT=2|@=/c", "@=/i",
       "BACKEND_PYTHON_SCRIPT=|CPRLMX_HOST=c|CPRLMX_PORT=1|JAVA_CLIENT_PORT=2|@=/c|VEXA_HOME=~|VEXADXTEMP=^/|"
       "PYTHONHOME=~",
       ""},
      {"JAVAEXTENSION", "", "CLASSPATH=/u|@=/i",
       "VEXA_HOME=~|VEXADXTEMP=^/|CLASSPATH=~/bin/vexajavaplugin.jar::/u", ""},
  };
  const auto entries = [this](std::string text) {
    for (const auto& [mark, meaning] : {std::pair<char, std::string>{'~', home.path()},
                                        {'^', sandbox.path()},
                                        {'@', platform::kLibrarySearchVariable}}) {
      for (std::size_t at; (at = text.find(mark)) != std::string::npos;) text.replace(at, 1, meaning);
    }
    return GetListFromDelims(text, "|");
  };
  JavaPlugInSocket socket;
  SetavaExtSocket(&socket);
  for (const auto& c : cases) {
    const bool java = c.name == "JAVAEXTENSION";
    std::filesystem::remove(notes.path() + "/environment");
    Make(c.name, c.name == "R" ? "!" : java ? "" : "fails");
    for (const std::string& entry : entries(c.configured))
      options->PutOption(entry.substr(0, entry.find('=')), entry.substr(entry.find('=') + 1));
    Texts inherited = entries(c.inherited);
    for (const char* name : {"NOTES", "PLAYED", "SCRIPT"})
      inherited.push_back(name + ("=" + std::string(std::getenv(name))));
    std::vector<char*> mine;
    for (std::string& entry : inherited) mine.push_back(entry.data());
    mine.push_back(nullptr);
    char** const before = std::exchange(environ, mine.data());
    EXPECT_NE(Start(java ? Texts{"JavaExtension"} : Texts{}), 0);
    environ = before;

    Texts expected = entries(c.first);
    std::copy_if(
        inherited.begin(), inherited.end(), std::back_inserter(expected),
        [&](const std::string& entry) { return !entry.starts_with(platform::kLibrarySearchVariable); });
    for (const std::string& entry : entries(c.last)) expected.push_back(entry);
    EXPECT_EQ(Noted("environment"), expected);
  }
  SetavaExtSocket(nullptr);
}

TEST_F(OutOfProcess, FindsTheJarsOfTheExtension) {
  SetEnvironment("CLASSPATH", nullptr);
  for (const auto& [path, jars] : {std::pair<const char*, const char*>{"", ""},
                                   {"/a", "/a/C.jar"},
                                   {"/a:/b", "/a/C.jar:/b/C.jar"},
                                   {"/a::/b:", "/a/C.jar:/C.jar:/b/C.jar:"},
                                   {":/a", "/C.jar:/a/C.jar"},
                                   {"classes", "classes"}}) {
    JavaExtensionSmb().SetPackageMode(path[0] != 'c'), JavaExtensionSmb().SetExtensionPath(path);
    JavaExtensionSmb().SetCommandName("C");
    Make("JAVAEXTENSION", "");
    XCmdArgument environment;
    language->pushEnv(environment);
    EXPECT_EQ(environment.argumentAt(2), "CLASSPATH=" + home.path() + "/bin/vexajavaplugin.jar:" + jars)
        << path;
  }
  JavaExtensionSmb().CleanUp();
}

}  // namespace
