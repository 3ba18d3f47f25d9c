#include "CleXDErrorCode.h"
#include "VexaPipe.h"
#include "XPipes.h"
#include "sendreceive.h"
#include "support/sandbox.h"
#include "support/wire.h"
#include "xpipemanager.h"

namespace {

using Code = CleXDErrorCode;

// A fifo with the library at one end and the test at the other, which does not block.
class TransportTest : public testing::Test {
 protected:
  TransportTest() {
    signal(SIGPIPE, SIG_IGN);
    alarm(30);  // a wait that nothing ends is a failure
    EXPECT_EQ(mkfifo(name.c_str(), 0700), 0);
  }
  ~TransportTest() override {
    HangUp();
    alarm(0);
  }

  int Open(int flags) const { return open(name.c_str(), flags | O_NONBLOCK | O_CLOEXEC); }
  void LetPipeRead() {
    ASSERT_EQ(pipe.OpenPipeToUnBlockRead(), 0);
    fd = Open(O_WRONLY);
    ASSERT_EQ(pipe.MakeBlocking(), 0);
  }
  void Put(const std::string& bytes) const {
    EXPECT_EQ(write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }
  void HangUp() {
    if (fd != -1) close(std::exchange(fd, -1));
  }

  Sandbox sandbox;
  const std::string name = sandbox.path() + "/fifo";
  VexaPipe pipe{name};
  CleXDSmb block;
  int fd = -1;
};

TEST_F(TransportTest, TakesAnExistingFileOfAnyKind) {
  for (const std::string& existing : {name, sandbox.Write("plain", ""), sandbox.path()}) {
    pipe.SetPipeName(existing);
    EXPECT_EQ(pipe.CreatePipe(), 0) << existing;
    EXPECT_FALSE(pipe.IsPipeCreated());
  }
  pipe.SetPipeName(sandbox.path() + "/new");
  EXPECT_EQ(pipe.CreatePipe(), 0);
  EXPECT_TRUE(pipe.IsPipeCreated());
}

TEST_F(TransportTest, NamesWhyAPipeFails) {
  VexaPipe nameless, lost(sandbox.path() + "/missing/fifo");
  EXPECT_EQ(nameless.CreatePipe(), Code::kPipeNameMissing);
  EXPECT_EQ(lost.CreatePipe(), Code::kPipeFailed);
  for (const auto operation :
       {&VexaPipe::OpenPipeToRead, &VexaPipe::OpenPipeToWrite, &VexaPipe::VEXACreateFile}) {
    EXPECT_EQ((lost.*operation)(), Code::kPipeFailed);
  }
  EXPECT_EQ(pipe.OpenPipeToUnBlockWrite(), Code::kPipeFailed) << "nobody reads";
  unsigned long got = 7;
  EXPECT_EQ(lost.ReadData(1, &got, got), Code::kPipeFailed);
  EXPECT_EQ(got, 7u);
}

TEST_F(TransportTest, KeepsAnOpenEndUntilItIsClosed) {
  LetPipeRead();
  const int before = pipe.Descriptor();
  EXPECT_EQ(pipe.OpenPipeToRead(), 0);
  EXPECT_EQ(pipe.Descriptor(), before);
  EXPECT_EQ(fcntl(before, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
  EXPECT_EQ(pipe.ClosePipe(), 0);
  EXPECT_EQ(fcntl(before, F_GETFD), -1);
  EXPECT_EQ(pipe.ClosePipe(), 0);
  EXPECT_EQ(access(name.c_str(), F_OK), 0);
}

TEST_F(TransportTest, OpeningToWriteAgainLeavesOneDescriptor) {
  fd = Open(O_RDONLY);
  const int before = OpenDescriptors();
  for (int again = 0; again < 2; ++again) EXPECT_EQ(pipe.OpenPipeToWrite(), 0);
  EXPECT_EQ(OpenDescriptors(), before + 1);
}

TEST_F(TransportTest, TakesTheFifoAlongWhoeverMadeItButNotInAFork) {
  {
    VexaPipe end(name);
    const pid_t child = fork();
    if (child == 0) end.~VexaPipe(), _exit(0);
    waitpid(child, nullptr, 0);
    EXPECT_EQ(access(name.c_str(), F_OK), 0);
  }
  EXPECT_EQ(access(name.c_str(), F_OK), -1);
}

TEST_F(TransportTest, WaitsForAPeerAsLongAsItLives) {
  static int looks;
  const auto alive = [] { return --looks > 0; };
  looks = 3;
  EXPECT_EQ(pipe.OpenPipeToReadWhile(alive), Code::kProcessNotAlive);
  looks = 3;
  EXPECT_EQ(pipe.OpenPipeToWriteWhile(alive), Code::kProcessNotAlive);
  EXPECT_FALSE(pipe.HasPipe());
  looks = 500;
  std::thread writer([&] { fd = open(name.c_str(), O_WRONLY | O_CLOEXEC), Put("x"); });
  EXPECT_EQ(pipe.OpenPipeToReadWhile(alive), 0);
  writer.join();
}

// The sizes of the pieces that the library writes, seen through a datagram socket, which keeps writes apart.
TEST_F(TransportTest, WritesInPiecesOf8192) {
  using Sizes = std::vector<ssize_t>;
  for (const auto& [length, sizes] :
       {std::pair{0, Sizes{0}}, {8192, Sizes{8192}}, {8193, Sizes{8192, 1}}, {16384, Sizes{8192, 8192}}}) {
    int packets[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0, packets), 0);
    fd = Open(O_RDONLY);
    ASSERT_EQ(pipe.OpenPipeToWrite(), 0);
    dup2(packets[1], pipe.Descriptor());
    std::vector<char> data(16384);
    EXPECT_EQ(pipe.WriteData(data.data(), length, nullptr), 0);
    Sizes seen;
    for (ssize_t got; (got = read(packets[0], data.data(), data.size())) >= 0;) seen.push_back(got);
    EXPECT_EQ(seen, sizes);
    for (const int end : packets) close(end);
    pipe.ClosePipe();
    HangUp();
  }
}

TEST_F(TransportTest, ReceivesAFrameInWhateverPieces) {
  const Image image = MakeImage(227, Error{23}, Void{std::string(40000, 'v')});
  const std::string bytes = Encode(image);
  for (const std::size_t piece : {1, 2, 8191, 8192, 8193, 40000}) {
    CleXDSmb reply;
    LetPipeRead();
    std::thread writer([&] {
      for (std::size_t at = 0; at < bytes.size(); at += piece) Put(bytes.substr(at, piece));
    });
    EXPECT_EQ(ReceiveData(&pipe, reply), 23);
    writer.join();
    int length = 0;
    const char* data = static_cast<char*>(reply.GetVoidData(length));
    EXPECT_EQ(std::string(data, static_cast<std::size_t>(length)), image.void_block) << piece;
    pipe.ClosePipe();
    HangUp();
  }
}

TEST_F(TransportTest, TellsADeathBetweenMessagesFromOneWithin) {
  const std::string frame = Encode(
      MakeImage(9, Error{5}, Longs{3}, Strings{std::string(9000, 's')}, Binary{"bytes"}, Void{"void"}));
  for (const auto& [received, code] :
       {std::pair{0u, Code::kPeerClosed}, {3u, Code::kPeerClosed}, {8192u, 5}}) {
    CleXDSmb reply;
    int length = -1;
    LetPipeRead();
    Put(frame.substr(0, received));
    HangUp();
    EXPECT_EQ(ReceiveData(&pipe, reply), code) << received;
    EXPECT_EQ(reply.GetLongDataRef().Values(), std::vector<std::int32_t>(code == 5 ? 1 : 0, 3));
    EXPECT_EQ(reply.GetBinaryData(), nullptr);
    EXPECT_EQ(reply.GetVoidData(length), nullptr) << "what did not come is empty";
    pipe.ClosePipe();
  }
}

TEST_F(TransportTest, LeavesTheNextFrameInThePipe) {
  LetPipeRead();
  Put(Encode(MakeImage(1, Void{std::string(8192, 'v')})) + Encode(MakeImage(2, Error{6})));
  EXPECT_EQ(ReceiveData(&pipe, block), 0);
  EXPECT_EQ(ReceiveData(&pipe, block), 6);
}

TEST_F(TransportTest, RefusesAFirstPieceOverItsFrame) {
  LetPipeRead();
  Put(std::string("\x08\0\0\0", 4) + std::string(8, 'x'));
  EXPECT_DEATH(ReceiveData(&pipe, block), "assertion failed: dataLen>=realDataLen");
}

TEST_F(TransportTest, KeepsABlockThatCouldNotBeSent) {
  fd = Open(O_RDONLY);
  block.SetLong(3);
  ASSERT_EQ(pipe.OpenPipeToWrite(), 0);
  HangUp();
  EXPECT_EQ(SendData(&pipe, block, false), Code::kPipeFailed);
  EXPECT_EQ(block.GetLongDataRef().Size(), 1);
  fd = Open(O_RDONLY);
  EXPECT_EQ(SendData(&pipe, block, false), 0);
  EXPECT_EQ(block.GetLongDataRef().Size(), 0);
}

// --- Suits ---

class SuitTest : public testing::Test {
 protected:
  Sandbox sandbox;
  XPipeManager manager{sandbox.path() + "/", "04d2"};
  XPipeSuit& suit = *manager.getPipeSuit("R");
};

std::vector<std::string> NamesOf(const std::string& level) {
  return {level + "syntax", level + "syntaxresult", level + "xdapi", level + "xdapiresult"};
}

TEST_F(SuitTest, Level0StaysAndLevel1GoesWithItsFiles) {
  for (int level = 0; level < 2; ++level) {
    suit.increaseIndex();
    for (const auto end : {&XPipes::GetSyntaxPipe, &XPipes::GetSyntaxResultPipe, &XPipes::GetXDAPIPipe,
                           &XPipes::GetXDAPIResultPipe}) {
      ASSERT_EQ((suit.getXPipes()->*end)()->CreatePipe(), 0);
    }
  }
  EXPECT_EQ(sandbox.Entries().size(), 8u);
  EXPECT_EQ(suit.getXPipes(1), suit.getXPipes());
  suit.decreaseIndex();
  EXPECT_EQ(sandbox.Entries(), NamesOf("04d2R0"));
  XPipes* const level0 = suit.getXPipes(0);
  EXPECT_TRUE(suit.getXPipes(1) == nullptr && suit.getXPipes(-1) == nullptr);
  suit.decreaseIndex();
  suit.increaseIndex();
  EXPECT_EQ(suit.getXPipes(), level0);
  EXPECT_NE(manager.getPipeSuit("r"), &suit);
  manager.removePipeSuit("r");
  EXPECT_EQ(sandbox.Entries(), NamesOf("04d2R0"));
  manager.removePipeSuit("R");
  EXPECT_TRUE(sandbox.Entries().empty());
}

TEST_F(SuitTest, DiesWithoutALevelOrAManager) {
  EXPECT_DEATH(suit.getXPipes(), "assertion failed: m_pipe_index >= 0");
  EXPECT_DEATH(suit.decreaseIndex(), "assertion failed: m_pipe_index >= 0");
  EXPECT_DEATH(XPipeSuit("R", nullptr), "assertion failed: m_manager");
}

}  // namespace
