// R at its prompts and the Java extension at its socket: how each starts, runs a block, stops, and dies.
#include <arpa/inet.h>

#include "JavaExtensionSmb.h"
#include "JavaPlugInSocket.h"
#include "support/out_of_process.h"
#include "support/wire.h"

namespace {

class RProcess : public OutOfProcess {
 protected:
  RProcess() { SetEnvironment("VEXA_QUICK", nullptr); }  // the script's first prompts come in one piece

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
  const Ticking every_millisecond(1000);
  ASSERT_EQ(Start(), 0);
  EXPECT_EQ(Execute(std::string(1 << 20, 'x') + "\n"), 0);
  language->setIntialized(false);  // its input ends without a farewell
  const auto start = Clock::now();
  language.reset();
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(4)) << "not killed";
}

TEST_F(RProcess, StaysWithTheProcessThatStartedIt) {
  ASSERT_EQ(StartR(""), 0);
  for (const bool told : {true, false}) {
    Process fork([&] {
      EXPECT_TRUE(!told || language->stop_embedded_x() == 0);
      return language.reset(), 0;
    });
    EXPECT_EQ(fork.Result(), 0);
  }
  EXPECT_EQ(Execute("a\n"), 0);
  EXPECT_EQ(Lines(), Texts{"a"});
}

TEST_F(RProcess, ThatDoesNotLeaveItsBrowserIsKilled) {
  ASSERT_EQ(StartR("Browse[1]> ;^"), 0);
  EXPECT_EQ(Execute("a\n"), 0);
  language->stop_embedded_x();
  EXPECT_FALSE(HasChildren() || language->isXProcessActive());
}

// A socket of the extension, with the peer's end in the test's own hands.
class JavaSocket : public OutOfProcess {
 protected:
  JavaSocket() { SetavaExtSocket(&socket); }
  ~JavaSocket() override { SetavaExtSocket(nullptr); }
  // A connection to the port at that address of this machine.
  static Descriptor ConnectedTo(int port, const char* address_text = "127.0.0.1") {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    inet_pton(AF_INET, address_text, &address.sin_addr);
    Descriptor end(::socket(AF_INET, SOCK_STREAM, 0));
    if (connect(end.Number(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) end.Close();
    return end;
  }
  void Connect() {
    ASSERT_EQ(socket.CreateSocket(), 0);
    peer = ConnectedTo(socket.GetSocketPort());
    ASSERT_EQ(socket.AcceptSocket(), 0);
  }
  JavaPlugInSocket socket;
  Descriptor peer;
  unsigned long count = 99;
};

TEST_F(JavaSocket, EndsWithAPeerThatClosesEarly) {
  const std::string image = Encode(MakeImage(9, Error{5}, Strings{"text"}));
  for (const auto& [length, code] :
       {std::pair<std::size_t, int>{0, 99122}, {3, 99122}, {12, 5}, {image.size(), 5}}) {
    Connect();
    EXPECT_EQ(send(peer.Number(), image.data(), length, 0), static_cast<ssize_t>(length));
    peer.Close();
    CleXDSmb block;
    EXPECT_EQ(ReceiveData(&socket, block), code) << length;
    EXPECT_EQ(block.GetSingleString(), length == image.size() ? "text" : std::string());
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
  EXPECT_EQ(Failed({language->pre_action(), Execute(""), language->post_action()}), "");
  EXPECT_FALSE(language->isXProcessActive());
  EXPECT_EQ(Noted("bytes"), Texts{bytes});
  int length = 0;
  EXPECT_EQ(message.GetSendBuf(length), nullptr);
  EXPECT_TRUE(JavaExtensionSmb().IsPackageMode() && message.GetCommandName().empty() && length == 8193);
}

TEST_F(JavaSocket, TakesTheProcessThatWasStartedAlone) {
  std::string bytes = "secret";
  JavaExtensionSmb message;
  message.SetDataLen(6), message.SetSendBuf(bytes.data());
  Make("JAVAEXTENSION", "6 waits");
  std::string got(9, ' ');
  std::thread strangers([&] {
    EXPECT_TRUE(Await([&] { return Noted("environment").size() > 4; }));
    const int port = std::stoi(Noted("arguments")[3]);
    EXPECT_EQ(ConnectedTo(port, "127.0.0.2").Number(), -1) << "listens on one address";
    const Descriptor first = ConnectedTo(port), second = ConnectedTo(port);
    notes.Write("go", "");
    for (const Descriptor* each : {&first, &second})
      EXPECT_LE(recv(each->Number(), got.data(), got.size(), 0), 0) << got;
  });
  EXPECT_EQ(Start({"JavaExtension"}), 0);
  strangers.join();
  EXPECT_EQ(Execute(""), 0);
  EXPECT_EQ(Noted("bytes"), Texts{bytes});
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
