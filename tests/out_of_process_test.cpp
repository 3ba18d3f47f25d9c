// A language in a process of its own: how each kind starts, runs a block, stops, and dies.
#include "OutpStatisticsX.h"

#include <arpa/inet.h>
#include <sys/socket.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <optional>
#include <sstream>
#include <utility>

#include "DxTracer.h"
#include "JavaExtensionSmb.h"
#include "JavaPlugInSocket.h"
#include "XCmdArgument.h"
#include "XConfigOptions.h"
#include "dxglobals.h"
#include "platform.h"
#include "support/processes.h"
#include "support/wire.h"
#include "text.h"
#include "xpipemanager.h"

namespace {

using Texts = std::vector<std::string>;

// A home in which every program is the played language.
class OutOfProcess : public ProcessTest {
 protected:
  OutOfProcess() {
    for (const char* program : {"bin/startx", "bin/R", "JRE/bin/java"}) {
      const std::filesystem::path path = home.path() + "/" + program;
      std::filesystem::create_directories(path.parent_path());
      std::filesystem::create_symlink(VEXA_PLAYED_LANGUAGE, path);
    }
    SetVEXAHOME(home.path().c_str());
    SetEnvironment("NOTES", notes.path().c_str());
    tracer.open(notes.path() + "/trace"), SetDxTracer(&tracer);
    manager.emplace(sandbox.path() + "/", "04d2"), SetXPipeManager(&*manager);
  }
  ~OutOfProcess() override {
    language.reset();
    SetXPipeManager(nullptr), SetDxTracer(nullptr);
  }
  void Make(const std::string& name, const std::string& script, int mode = 1, bool backend_drives = true) {
    SetEnvironment("PLAYED", name == "R" ? "R" : name == "JAVAEXTENSION" ? "java" : "startx");
    SetEnvironment("SCRIPT", script.c_str());
    options.emplace(name);
    options->PutOption("HOME", home.path() + "/");
    language.emplace(&*options, mode, backend_drives);
    if (manager->getPipeSuit(name)->getIndex() < 0) manager->getPipeSuit(name)->increaseIndex();
  }
  int Start(const Texts& given = {}) {
    XCmdArgument arguments;
    for (const std::string& argument : given) arguments.pushArgument(argument);
    return language->init_embedded_x(static_cast<int>(given.size()), arguments.argv());
  }
  bool Ends() {
    return Await([this] { return !language->isXProcessActive(); });
  }
  int Execute(std::string block) { return language->execute_x(block.data()); }
  Texts Noted(const std::string& file) const {
    std::istringstream stream(ReadFile(notes.path() + "/" + file));
    Texts lines;
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
  }
  bool Traced(const std::string& message) const {
    return ReadFile(notes.path() + "/trace").find(">>" + message + "\n") != std::string::npos;
  }

  Sandbox home;
  DxTracer tracer;
  std::optional<XPipeManager> manager;
  std::optional<XConfigOptions> options;
  std::optional<OutpStatisticsX> language;
};

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
      {"7", 0, 7},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.script);
    Make("PYTHON", c.script);
    EXPECT_EQ(Start(), 0);
    EXPECT_EQ(language->pre_action(), c.pre);
    EXPECT_EQ(Execute("a\n"), c.execute);
    EXPECT_EQ(language->post_action() == 0, c.execute == 7);
    EXPECT_TRUE(c.execute == 7 || Ends());
    EXPECT_EQ(language->stop_embedded_x(), 0);
    EXPECT_TRUE(Traced("stat_stop_x: x process has already exited "));
  }
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

class RProcess : public OutOfProcess {
 protected:
  // A script that begins behind the three prompts of the start.
  int StartR(const std::string& script) {
    Make("R", "Welcome to R> \n|>| ;> ;> ;" + script);
    return Start({"--silent", "--no-save"});
  }
  // The lines that it was given behind those of the start.
  Texts Lines() const {
    Texts lines = Noted("lines");
    lines.erase(lines.begin(), lines.begin() + std::min<std::ptrdiff_t>(2, std::ssize(lines)));
    return lines;
  }
};

TEST_F(RProcess, RunsLineByLine) {
  ASSERT_EQ(StartR(""), 0);
  EXPECT_EQ(Noted("arguments"), (Texts{"--silent", "--no-save"}));
  EXPECT_EQ(Noted("lines"), (Texts{"library(vexastatistics)",
                                   "initRProcess('LOCAL', '" + sandbox.path() + "/', '04d2', 'R')"}));
  EXPECT_EQ(language->pre_action(), 0);
  EXPECT_EQ(Execute("a\nb\n\nlost"), 0);
  EXPECT_EQ(language->post_action(), 0);
  EXPECT_EQ(language->stop_embedded_x(), 0);
  EXPECT_TRUE(Ends());
  EXPECT_EQ(Lines(), (Texts{"prevexa()", "a", "b", "", "postvexa()", "q()"}));
}

TEST_F(RProcess, StartsAlikeInAHostWithoutInputThatIgnoresItsChildren) {
  signal(SIGCHLD, SIG_IGN);
  const Descriptor input(dup(STDIN_FILENO));
  close(STDIN_FILENO);
  EXPECT_EQ(StartR(""), 0);
  dup2(input.Number(), STDIN_FILENO);
  language.reset();
  signal(SIGCHLD, SIG_DFL);
  EXPECT_EQ(Lines(), Texts{"q()"});
}

TEST_F(RProcess, ShowsItsStateByItsPrompt) {
  const struct {
    const char* script;
    Texts lines;
  } cases[] = {
      {"> out\n|out>|\n|>| ", {"a", "b", "postvexa()", "q()"}},  // only at the end of what has come
      {"+ ;> ", {"a", "b", "postvexa()", "q()"}},
      {"> ;+| ", {"a", "b", "END", "postvexa()", "q()"}},
      {"> ;> ;Browse[1]> ", {"a", "b", "postvexa()", "Q", "q()"}},
      {"Browse[1]> ;> ", {"a", "b", "postvexa()", "q()"}},
      {"> ;> ;out\nBro|wse[1]>| ;Browse[2]> ", {"a", "b", "postvexa()", "Q", "Q", "q()"}},
      {"> ;> ;Browse[10]> ", {"a", "b", "postvexa()", "q()"}},  // the number has one digit
  };
  for (const auto& c : cases) {
    std::filesystem::remove(notes.path() + "/lines");
    ASSERT_EQ(StartR(c.script), 0);
    EXPECT_EQ(Execute("a\nb\n"), 0);
    language->post_action();
    EXPECT_EQ(language->stop_embedded_x(), 0);
    EXPECT_TRUE(Ends());
    EXPECT_EQ(Lines(), c.lines) << c.script;
  }
}

TEST_F(RProcess, IsSeenToDie) {
  for (const auto& [script, block] : {std::pair("no prompt!", "a\n"), {"!", "a\n"}, {"> ; !", "a\nb\n"}}) {
    ASSERT_EQ(StartR(script), 0);
    EXPECT_EQ(Execute(block), 99107) << script;
    EXPECT_TRUE(Ends());
    testing::internal::CaptureStdout();
    EXPECT_EQ(Execute("a\nb\n"), 99104);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Broken pipe\nBroken pipe\n") << "each line is tried";
    EXPECT_EQ(language->pre_action(), 99104);
  }
  Make("R", "hello!");
  EXPECT_EQ(Start(), 99107);
  std::filesystem::remove(home.path() + "/bin/R");
  EXPECT_EQ(Start(), 99107);
}

TEST_F(RProcess, TakesALineLongerThanItsPipesAndEndsWithItsInput) {
  Make("R", "echoes");
  ASSERT_EQ(Start(), 0);
  EXPECT_EQ(Execute(std::string(1 << 20, 'x') + "\n"), 0);
  language->setIntialized(false);  // its input ends without a farewell
  const auto start = Clock::now();
  language.reset();
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(4)) << "not killed";
}

// A socket of the extension, with the peer's end in the test's own hands.
class JavaSocket : public OutOfProcess {
 protected:
  JavaSocket() { SetavaExtSocket(&socket); }
  ~JavaSocket() override { SetavaExtSocket(nullptr); }
  void Connect() {
    ASSERT_EQ(socket.CreateSocket(), 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(socket.GetSocketPort()));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    peer = Descriptor(::socket(AF_INET, SOCK_STREAM, 0));
    ASSERT_EQ(connect(peer.Number(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(socket.AcceptSocket(), 0);
  }
  JavaPlugInSocket socket;
  Descriptor peer;
  unsigned long count = 99;
};

TEST_F(JavaSocket, CarriesBytesAndBlocks) {
  Connect();
  for (const int length : {1, 8191, 8192, 8193, 20000}) {
    std::string sent(static_cast<std::size_t>(length), 'x'), got(sent.size(), ' ');
    EXPECT_EQ(socket.WriteData(sent.data(), length, count), 0);
    EXPECT_EQ(recv(peer.Number(), got.data(), got.size(), MSG_WAITALL), length);
    EXPECT_EQ(got, sent);
    const std::string image = Encode(MakeImage(9, Error{5}, Strings{sent}));
    EXPECT_EQ(send(peer.Number(), image.data(), image.size(), 0), std::ssize(image));
    CleXDSmb block;
    EXPECT_EQ(ReceiveData(&socket, block), 5);
    EXPECT_EQ(block.GetSingleString(), sent);
  }
  EXPECT_EQ(count, 99u);
}

TEST_F(JavaSocket, EndsWithAPeerThatClosesEarly) {
  const std::string image = Encode(MakeImage(9, Error{5}, Strings{"text"}));
  for (const auto& [length, code] : {std::pair<std::size_t, int>{0, 99122}, {3, 99122}, {12, 5}}) {
    Connect();
    EXPECT_EQ(send(peer.Number(), image.data(), length, 0), static_cast<ssize_t>(length));
    peer.Close();
    CleXDSmb block;
    EXPECT_EQ(ReceiveData(&socket, block), code) << length;
  }
  char bytes[8193] = {};
  EXPECT_TRUE(Await([&] { return socket.WriteData(bytes, sizeof bytes, count) == 99122; }));
  EXPECT_TRUE(Traced("WriteData error code : -1."));
}

TEST_F(JavaSocket, TracesItsEndsCrosswise) {
  EXPECT_EQ(socket.AcceptSocket(), 99121);
  EXPECT_EQ(socket.CreateSocket(), 0);
  JavaPlugInSocket second;
  EXPECT_EQ(second.CreateSocket(socket.GetSocketPort()), 99122) << "taken";
  EXPECT_EQ(second.GetSocketPort(), 0);
  EXPECT_EQ(socket.CloseSocket(), 0);
  EXPECT_TRUE(Traced("CloseServerSocket error code : -1."));
  EXPECT_FALSE(Traced("CloseClientSocket error code : -1."));
}

TEST_F(JavaSocket, GivesTheExtensionItsBytesAndWaitsForItsEnd) {
  std::string bytes(8193, 'x');
  JavaExtensionSmb message;
  message.SetDataLen(8193), message.SetSendBuf(bytes.data()), message.SetCommandName("C");
  message.SetPackageMode(false);
  Make("JAVAEXTENSION", "8193");
  ASSERT_EQ(Start({"JavaExtension"}), 0);
  EXPECT_EQ(Noted("arguments"), (Texts{home.path() + "/JRE/bin/java", "com.kor.statistics.plugin.Extension",
                                       "LOCAL", std::to_string(socket.GetSocketPort()), "C"}));
  EXPECT_EQ(language->pre_action() + Execute("") + language->post_action(), 0);
  EXPECT_FALSE(language->isXProcessActive());
  EXPECT_EQ(Noted("bytes"), Texts{bytes});
  int length = 0;
  EXPECT_EQ(message.GetSendBuf(length), nullptr);
  EXPECT_TRUE(JavaExtensionSmb().IsPackageMode() && message.GetCommandName().empty() && length == 8193);
}

TEST_F(JavaSocket, IsNotWaitedAtForAnExtensionThatHasEnded) {
  Make("JAVAEXTENSION", "");
  EXPECT_EQ(Start({"JavaExtension"}), 99123);
  std::filesystem::remove(notes.path() + "/arguments");
  SetavaExtSocket(nullptr);
  EXPECT_EQ(Start({"JavaExtension"}), 99122);
  EXPECT_EQ(Noted("arguments"), Texts()) << "nothing was started";
}

}  // namespace
