// The console of a language: the program in the window at a terminal that the test holds, then the window
// itself on a display of the test's own.
#include <pty.h>
#include <sys/prctl.h>
#include <termios.h>

#include "CleXDSmb.h"
#include "XConsoleW.h"
#include "call_frame.h"
#include "dxcallback.h"
#include "dxglobals.h"
#include "platform.h"
#include "reasons.h"
#include "sendreceive.h"
#include "support/scripted_peer.h"
#include "support/worker.h"
#include "vexaxd_p.h"
#include "xpipemanager.h"

namespace {

const std::string kHome = VEXA_STAGED_HOME;

// --- The program in the window ---

class ConsoleProgram : public ProcessTest {
 protected:
  static constexpr const char* kId = "0";  // names no process
  void Start() {
    answers = pipes.emplace(sandbox.path() + "/" + kId + "RConsole0").GetSyntaxResultPipe();
    ASSERT_EQ(answers->CreatePipe(), 0);
    const std::string program = kHome + "/bin/RConsole", path = sandbox.path() + "/", home = kHome;
    if ((child = forkpty(&terminal, nullptr, nullptr, nullptr)) == 0) {
      setenv("LANG", "en_US.UTF-8", 1);  // a system may lack it
      execl(program.c_str(), program.c_str(), path.c_str(), kId, "RConsole", home.c_str(), "", nullptr);
      _exit(255);
    }
    EXPECT_EQ(Answer(), "") << "it is ready";
  }
  // A text to be shown, or a number.
  void Ask(int request, const char* text = nullptr) {
    CleXDSmb message;
    if (text == nullptr) message.SetLong(request);
    message.SetString(text);
    ASSERT_EQ(SendData(pipes->GetSyntaxPipe(), message, false), 0);
  }
  std::string Answer() {
    CleXDSmb message;
    EXPECT_EQ(ReceiveData(answers, message, true), 0);
    return message.GetSingleString();
  }
  // Has it wait at the keyboard.
  void AskForLine() {
    termios mode = {};
    Ask(XConsoleW::kReadRequest);
    ASSERT_TRUE(Await([&] { return tcgetattr(terminal, &mode) == 0 && (mode.c_lflag & ICANON) == 0; }));
  }
  void CloseTerminal() {
    if (terminal != -1) close(std::exchange(terminal, -1));
  }
  // Its exit status; its own fifo has gone by then.
  int Ends() {
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_NE(access(pipes->GetSyntaxPipe()->GetPipeName().c_str(), F_OK), 0);
    pipes.reset(), CloseTerminal();
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  std::optional<XPipes> pipes;
  VexaPipe* answers = nullptr;
  int terminal = -1;
  pid_t child = -1;
};

TEST_F(ConsoleProgram, ShowsTextsAndReadsEditedLines) {
  Start();
  Ask(0, "a\n> ");
  EXPECT_EQ(Answer(), "");
  std::string shown;
  for (char piece; shown.size() < 5 && read(terminal, &piece, 1) == 1;) shown += piece;
  EXPECT_EQ(shown, "a\r\n> ");
  const struct {
    const char *keys, *line;
  } cases[] = {
      {"abx\x7f\r", "ab\n"}, {"\r", "\n"}, {"\x1b[A\r", "ab\n"}, {"\t\r", "\t\n"},
      {"x\x03y\r", "y\n"},   {"\x04", ""}, {"z\r", "z\n"},       {"ä\x7föü\x1b[D\x04\r", "ö\n"},
  };
  for (const auto& [keys, line] : cases) {
    AskForLine();
    EXPECT_EQ(write(terminal, keys, std::strlen(keys)), static_cast<ssize_t>(std::strlen(keys)));
    EXPECT_EQ(Answer(), line);
  }
  Ask(XConsoleW::kStopRequest);
  EXPECT_EQ(Answer(), "");
  EXPECT_EQ(Ends(), 0);
}

TEST_F(ConsoleProgram, ShowsItsLineAnewInAWindowOfAnotherSize) {
  Start();
  Ask(0, "> ");
  EXPECT_EQ(Answer(), "");
  AskForLine();
  EXPECT_EQ(write(terminal, "abc", 3), 3);
  std::string shown;
  const auto shows = [&](const std::string& text) {
    for (char piece; shown.find(text) == std::string::npos && read(terminal, &piece, 1) == 1;) shown += piece;
    return shown;
  };
  EXPECT_EQ(shows("abc"), "> abc") << "the text that was shown is not shown again";
  const winsize narrow = {24, 40, 0, 0};
  ASSERT_EQ(ioctl(terminal, TIOCSWINSZ, &narrow), 0);
  EXPECT_EQ(shows("\r\x1b[J> abc"), "> abc\r\x1b[J> abc");
  EXPECT_EQ(write(terminal, "\r", 1), 1);
  EXPECT_EQ(Answer(), "abc\n");
  Ask(XConsoleW::kStopRequest);
  EXPECT_EQ(Answer(), "");
  EXPECT_EQ(Ends(), 0);
}

TEST_F(ConsoleProgram, EndsWithItsWindowAndWithItsPeer) {
  for (const bool reading : {false, true}) {
    Start();
    if (reading) AskForLine();
    CloseTerminal();
    EXPECT_EQ(Ends(), 1);
    Start();
    if (reading) AskForLine();
    pipes->GetSyntaxPipe()->ClosePipe(), answers->ClosePipe();
    EXPECT_EQ(Ends(), 1);
  }
}

// --- The window ---

class Display {
 public:
  Display() {
    int number[2];
    if (pipe(number) != 0) return;
    if ((server = fork()) == 0) {
      prctl(PR_SET_PDEATHSIG, SIGTERM);
      execlp("Xvfb", "Xvfb", "-displayfd", std::to_string(number[1]).c_str(), "-nolisten", "tcp", "-noreset",
             nullptr);
      _exit(255);
    }
    close(number[1]);
    std::string name = ":";
    for (char digit; read(number[0], &digit, 1) == 1 && digit != '\n';) name += digit;
    close(number[0]);
    SetEnvironment("DISPLAY", name.c_str());
  }
  Display(const Display&) = delete;
  Display& operator=(const Display&) = delete;
  ~Display() {
    if (server > 0) kill(server, SIGTERM), waitpid(server, nullptr, 0);
  }

 private:
  pid_t server = -1;
};

class Console : public ClientTest {
 protected:
  void SetUp() override {
    if (access(platform::kTerminal, X_OK) != 0 || std::system("command -v Xvfb xdotool > /dev/null") != 0)
      GTEST_SKIP() << "This test needs a display: the packages xterm, xvfb and xdotool";
    signal(SIGPIPE, SIG_DFL);
    SetVEXAHOME(kHome.c_str());
    SetEnvironment("DISPLAY", nullptr);
    IntializePipeInfo();
    console.emplace(false);
  }
  int Start() {
    peer.Expects(203).Answers(Strings{"Esperanto"});
    peer.Expects(185).Answers(Longs{1});
    return console->StartConsole();
  }
  // What a user does in the window.
  static void Act(const std::string& what) {
    EXPECT_EQ(
        std::system(("xdotool search --sync --onlyvisible --name '^R$' " + what + " > /dev/null").c_str()),
        0);
  }

  std::optional<Display> display;
  std::optional<XConsoleW> console;
};

template <class Function>
Function* Entry(int position) {
  return reinterpret_cast<Function*>(static_cast<void**>(CreateDXCallBackHandle())[position]);
}

TEST_F(Console, OfALanguageIsOpenedTypedInAndClosedThroughItsTable) {
  display.emplace();
  const auto write_text = Entry<int(const char*, int)>(10);
  peer.Expects(203).Answers(Error{5});
  peer.Expects(185).Answers(Longs{0});
  EXPECT_EQ(write_text("> ", 2), 0);
  EXPECT_EQ(Entry<int()>(8)(), 0) << "open already: the backend is not asked again";
  char buffer[] = "........";
  Worker reader([&] { return Entry<int(char*, int)>(11)(buffer, 3); });
  reader.Start();
  Act("mousemove --window %1 20 20 type 'abcde\n'");
  EXPECT_EQ(reader.Result(), 0);
  EXPECT_STREQ(buffer, "abc.....");
  EXPECT_EQ(Entry<int()>(9)(), 0);
  EXPECT_EQ(gConsole, nullptr);
}

TEST_F(Console, FailsToOpenWithoutADisplayOrAProgramAndOpensWithBoth) {
  peer.Expects(203).Answers(Strings{"Esperanto"});
  peer.Expects(185).Answers(Longs{1});
  EXPECT_EQ(Entry<int()>(8)(), XConsoleW::kEndedAtStart);
  EXPECT_STREQ(VexaLastError(), "StartConsole: the console did not open (2): DISPLAY is not set");
  EXPECT_EQ(Entry<int(const char*, int)>(10)("a", 1), XConsoleW::kNotStarted);
  EXPECT_EQ(Entry<int()>(9)(), 0);
  SetEnvironment("DISPLAY", ":none");
  EXPECT_EQ(Start(), XConsoleW::kEndedAtStart);
  EXPECT_NE(TakeReason(XConsoleW::kEndedAtStart).find("on the display :none; it wrote: "), std::string::npos);
  display.emplace();
  const Sandbox incomplete;
  incomplete.Write("bin/RConsole", "no program");
  SetVEXAHOME(incomplete.path().c_str());
  EXPECT_EQ(Start(), XConsoleW::kEndedAtStart) << "in a home without the program";
  EXPECT_NE(TakeReason(XConsoleW::kEndedAtStart).find("bin/RConsole is not there"), std::string::npos);
  SetVEXAHOME(kHome.c_str());
  EXPECT_EQ(Start(), 0) << "at the third level";
  EXPECT_EQ(console->WriteToConsole("a", 1), 0);
  EXPECT_EQ(console->StopConsole(), 0);
  EXPECT_EQ(console->StopConsole(), 0);
}

TEST_F(Console, IsGoneWithItsWindowAndOpensAgain) {
  display.emplace();
  ASSERT_EQ(Start(), 0);
  char buffer[] = "....";
  Worker reader([&] { return console->ReadFromConsole(buffer, 4); });
  reader.Start();
  EXPECT_TRUE(reader.Sleeps());
  Act("windowkill");
  EXPECT_EQ(reader.Result(), XConsoleW::kGone);
  EXPECT_EQ(buffer[0], '\0');
  EXPECT_EQ(console->WriteToConsole("a", 1), XConsoleW::kNotStarted);
  EXPECT_EQ(Start(), 0);
  EXPECT_EQ(console->WriteToConsole("a", 1), 0);
}

// In the window a program that notes what it is started with; a thread of the test speaks for it.
TEST_F(Console, IsStartedAndAskedAsAgreedAndNotWaitedForWhenItIsGone) {
  const Sandbox notes;
  const auto noted = [&](const char* file) { return ReadFile(notes.path() + "/" + file); };
  const std::string program =
      notes.Write("bin/RConsole", "#!/bin/sh\ncd " + notes.path() +
                                      "\nprintf '%s\\n' \"$@\" > arguments; env > environment\n"
                                      "echo $PPID > terminal; exec sleep 60\n");
  ASSERT_EQ(chmod(program.c_str(), 0700), 0);
  SetVEXAHOME(notes.path().c_str());
  SetEnvironment("MARKED", "yes");
  display.emplace();
  std::optional<XPipes> far(PeerPrefix(sandbox, "UNNAMEDXConsole"));
  std::string asked;
  Worker played([&] {
    CleXDSmb ready;
    far->GetSyntaxPipe()->CreatePipe();
    Appears(far->GetSyntaxResultPipe()->GetPipeName());
    SendData(far->GetSyntaxResultPipe(), ready, false);
    for (const int code : {5, 0, 0}) {
      CleXDSmb message;
      ReceiveData(far->GetSyntaxPipe(), message, true);
      asked += message.GetSingleString();
      message.CleanUpAllData(), message.SetErrorCode(code), message.SetString("a line\n");
      SendData(far->GetSyntaxResultPipe(), message, false);
    }
    return 0;
  });
  played.Start();
  ASSERT_EQ(Start(), 0);
  Process fork([&] { return console->StopConsole() != 0 ? -1 : console->WriteToConsole("a", 1); });
  EXPECT_EQ(fork.Result(), XConsoleW::kNotStarted) << "the console is its parent's";
  EXPECT_EQ(console->WriteToConsole("abcd", 2), 5);
  char buffer[] = "..........";
  EXPECT_EQ(console->ReadFromConsole(buffer, 9), 0);
  EXPECT_STREQ(buffer, "a line\n...") << "the text's own length";
  EXPECT_EQ(console->ReadFromConsole(nullptr, 9), 0) << "nowhere to copy it to";
  EXPECT_EQ(asked, "ab");

  ASSERT_TRUE(played.WaitForStop() && Await([&] { return !noted("terminal").empty(); }));
  const std::string home = notes.path() + "\n";
  EXPECT_EQ(noted("arguments"),
            sandbox.path() + "/\n" + ProcessIdText() + "\nUNNAMEDXConsole\n" + home + "Esperanto\n" + home);
  EXPECT_NE(noted("environment").find("LANG=en_US.UTF-8\n"), std::string::npos);
  EXPECT_EQ(noted("environment").find("MARKED"), std::string::npos) << "nothing is inherited";

  kill(std::stoi(noted("terminal")), SIGKILL);
  EXPECT_EQ(console->WriteToConsole("a", 1), 99103) << "others may hold its ends";
  far.reset();
  EXPECT_EQ(console->StopConsole(), 99103);
}

}  // namespace
