// The command channel between real processes: both orders of coming up, what is carried, and who dies when.

#include "CleXDErrorCode.h"
#include "dxglobals.h"
#include "support/processes.h"
#include "support/wire.h"
#include "xpipemanager.h"

namespace {

using Code = CleXDErrorCode;
using Key = DXCmdDispatcher::CmdKey;
using Texts = std::vector<std::string>;

constexpr int kFailed = Code::kPipeFailed % 100;  // what a server's loop ended with, as an exit status
const std::string kRequest = Encode(MakeImage(-1, Longs{Key::kTestCmd}));
const long kReply = static_cast<long>(Encode(MakeImage(-1)).size());

// Notes down what it is asked. The first argument is what it answers, or "kill" and the process to end.
struct Notes : DXCmdDispatcherVisitor {
  explicit Notes(const std::string& path) : file(path, std::ios::app) {}
  int cmdDispatcher(Key key, const Texts& arguments) override {
    file << "\n" << key;
    for (const std::string& argument : arguments) file << "|" << argument;
    if (arguments.empty()) return key == Key::kStopDX ? 7 : 0;
    if (arguments[0] != "kill") return std::stoi(arguments[0]);
    const pid_t victim = arguments.size() > 1 ? std::stoi(arguments[1]) : getpid();
    return Await([=] { return kill(victim, SIGKILL) == -1; }) ? 0 : 1;
  }
  std::ofstream file;
};

class CommandChannel : public ProcessTest {
 protected:
  int Serve(const std::string& at) const {
    Notes visitor(notes.path() + "/notes");
    return DXCmdDispatcher(at, true).receiveCmd(&visitor) % 100;
  }
  // Once there is a server.
  int Send(DXCmdDispatcher& client, Key key, const Texts& arguments = {}) const {
    return Appears(name + "_s") ? client.sendCmd(key, arguments) : -1;
  }
  // The messages of the trace, from that one on.
  std::string TraceFrom(const std::string& first) const {
    std::ifstream stream(notes.path() + "/t_trace.log");
    std::string all, line;
    while (std::getline(stream, line)) all += "\n" + line.substr(line.find(">>") + 2);
    return all.substr(std::min(all.find(first), all.size()));
  }
  const std::string name = sandbox.path() + "/channel";
};

TEST_F(CommandChannel, ComesUpInEitherOrderAndStops) {
  for (const bool client_first : {true, false}) {
    std::optional<DXCmdDispatcher> client;
    if (client_first) client.emplace(name, false);
    EXPECT_EQ(client_first ? client->sendCmd(Key::kTestCmd) : Code::kPipeFailed, Code::kPipeFailed);
    Process server([&] { return Serve(name); });
    if (!client_first && Appears(name + "_s")) client.emplace(name, false);
    EXPECT_FALSE(client->connectPeer() || Send(*client, Key::kTestCmd));
    EXPECT_FALSE(client->sendCmd(Key::kStopDX) || server.Result()) << "whatever the visitor gives";
  }
}

TEST_F(CommandChannel, CarriesKeyArgumentsAndResult) {
  const std::string text(20000, 'x');
  Process server([this] { return Serve(name); });
  DXCmdDispatcher client(name, false);
  EXPECT_EQ(Send(client, Key{0}), 0);
  const int descriptors = OpenDescriptors();
  EXPECT_EQ(client.sendCmd(Key{5}, {"99119"}), 99119);
  EXPECT_EQ(client.sendCmd(Key::kSetupDXRun, {"3", "", "b c", text}), 3);
  EXPECT_EQ(OpenDescriptors(), descriptors);
  EXPECT_EQ(client.sendCmd(Key::kExitDxRun, {"-1"}), -1) << "kept: the result that ends the loop";
  EXPECT_EQ(server.Result(), 0);
  EXPECT_EQ(ReadFile(notes.path() + "/notes"), "\n0\n5|99119\n1146667011|3||b c|" + text + "\n1146667012|-1");
}

TEST_F(CommandChannel, AnswersWhatIsNoCommandEmpty) {
  Process server([this] { return Serve(name); });
  AsyCsPipe1 client(name, false);
  EXPECT_TRUE(Appears(name + "_s"));
  for (const int integers : {0, 2, 1}) {
    CleXDSmb request, reply;
    for (int i = 0; i < integers; ++i) request.SetLong(Key::kStopDX);
    EXPECT_EQ(client.send(request, reply), 0) << integers;
  }
  EXPECT_EQ(server.Result(), 0);
}

TEST_F(CommandChannel, SurvivesAClientThatDiesBeforeItListens) {
  std::list<Process> servers;
  for (const std::size_t sent : {std::size_t{3}, std::size_t{20}, kRequest.size()}) {
    const std::string at = name + std::to_string(sent);
    servers.emplace_back([=, this] { return Serve(at); });
    Process client([=] {
      DXCmdDispatcher end(at, false);
      EXPECT_TRUE(Appears(at + "_s"));
      const int fd = open((at + "_s").c_str(), O_WRONLY);
      return write(fd, kRequest.data(), sent) > 0 ? raise(SIGKILL) : 1;
    });
    EXPECT_EQ(client.Result(), -SIGKILL);
  }
  for (Process& server : servers) EXPECT_EQ(server.Result(), kFailed);
}

TEST_F(CommandChannel, SurvivesAClientThatDiesWaiting) {
  Process server([this] { return Serve(name); });
  Process client([this] {
    DXCmdDispatcher end(name, false);
    return Send(end, Key::kTestCmd) || end.sendCmd(Key::kRunDX, {"kill", std::to_string(getpid())});
  });
  EXPECT_TRUE(client.Result() == -SIGKILL && server.Result() == kFailed);
}

TEST_F(CommandChannel, TellsWhenTheServerDied) {
  signal(SIGPIPE, SIG_IGN);
  Process([this] { return DXCmdDispatcher(name, true), raise(SIGKILL); }).Result();
  for (const bool connected : {false, true}) {
    Process server([this] { return Serve(name); });
    DXCmdDispatcher client(name, false);
    EXPECT_EQ(connected ? Send(client, Key::kTestCmd) : 0, 0);
    EXPECT_EQ(Send(client, Key::kRunDX, {"kill"}), Code::kPeerClosed);
    EXPECT_EQ(server.Result(), -SIGKILL);
    EXPECT_EQ(client.sendCmd(Key::kTestCmd), Code::kPipeFailed) << "nobody reads any more";
  }
}

TEST_F(CommandChannel, TellsWhenAFifoIsMissing) {
  Process server([this] { return Serve(name); });
  DXCmdDispatcher client(name, false);
  unlink((name + "_c").c_str());
  EXPECT_TRUE(Send(client, Key::kTestCmd) == Code::kPipeFailed && server.Result() == kFailed);
}

TEST_F(CommandChannel, DoesNotFloodAClientThatOnlyListens) {
  Process server([this] { return Serve(name); });
  EXPECT_TRUE(Appears(name + "_s") && mkfifo((name + "_c").c_str(), 0600) == 0);
  const int replies = open((name + "_c").c_str(), O_RDONLY | O_NONBLOCK),
            requests = open((name + "_s").c_str(), O_WRONLY);
  EXPECT_GT(write(requests, kRequest.data(), kRequest.size()), 0);
  close(requests);
  long bytes = 0;
  pollfd look = {replies, POLLIN, 0};
  for (const auto end = Clock::now() + std::chrono::milliseconds(500); Clock::now() < end;) {
    char piece[4096];
    if (poll(&look, 1, 10) > 0) bytes += read(replies, piece, sizeof piece);
  }
  EXPECT_TRUE(bytes >= 2 * kReply && bytes <= 12 * kReply) << bytes;
  close(replies);
  EXPECT_EQ(server.Result(), kFailed);
}

TEST_F(CommandChannel, HasOneRoleAndOutlivesAClose) {
  XPipeManager manager(sandbox.path() + "/", "04d2");
  XPipeSuit& suit = *manager.getPipeSuit("R");
  DXCmdDispatcher* const server = suit.getCmdDispatcher(true);
  EXPECT_EQ(suit.getCmdDispatcher(false), server);
  EXPECT_EQ(sandbox.Entries(), Texts{"04d2R_s"});
  AsyCsPipe1 client(sandbox.path() + "/04d2R", false);
  EXPECT_FALSE(client.closePipe() || client.openPipe());
  EXPECT_EQ(sandbox.Entries(), (Texts{"04d2R_c", "04d2R_s"}));
}

TEST_F(CommandChannel, TracesEachSide) {
  notes.Write("bin/vexadxcfg.ini", "[SUPPORTED_LANG]\nTRACE=" + notes.path() + "\n");
  for (const bool traced_client : {true, false}) {
    Process server([&] {
      if (traced_client) return Serve(name);
      InitDxGlobal("/", "04d2", "t", notes.path());
      AsyCsPipe1 end(name, true);
      return end.receive([](CleXDSmb&, CleXDSmb& reply) { return reply.SetErrorCode(6), -1; });
    });
    Process client([&] {
      if (traced_client) InitDxGlobal("/", "04d2", "t", notes.path());
      DXCmdDispatcher end(name, false);
      return Send(end, traced_client ? Key::kStopDX : Key::kTestCmd);
    });
    EXPECT_TRUE(client.Result() == (traced_client ? 0 : 6) && server.Result() == 0);
    const std::string ok = " error code : 0.", pipe = "\nAsyCsPipe1:",
                      closed = "\n" + name + "_s ClosePipe" + ok + "\n" + name + "_c ClosePipe" + ok;
    EXPECT_EQ(TraceFrom(traced_client ? "\ncmd" : pipe),
              (traced_client ? "\ncmd NO: 1146667010" + pipe + "send: SendData" + ok + pipe +
                                   "send: ReceiveData" + ok + "\ncmd return: 0"
                             : pipe + " ReceiveData" + ok + pipe + " SendData" + ok) +
                  closed);
  }
}

}  // namespace
