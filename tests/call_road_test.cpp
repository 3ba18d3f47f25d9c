// What a call leaves on its pipes when a signal, a host or the peer's death comes between, and who may be at
// the other end of a fifo at all.
#include "call_road.h"

#include "session.h"
#include "support/processes.h"
#include "support/scripted_peer.h"
#include "vexaxd_p.h"

namespace {

using Code = CleXDErrorCode;

const Patience kNone = {[] { return Code::kInterrupted; }, 0, -1};

// Two fifos with the library at one end of each and the test, which does not block, at the other.
class CallRoad : public ProcessTest {
 protected:
  CallRoad() {
    signal(SIGPIPE, SIG_IGN);
    for (VexaPipe* pipe : {&requests, &replies}) EXPECT_EQ(pipe->CreatePipe(), 0);
    reader = open(requests.GetPipeName().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    EXPECT_EQ(requests.OpenToWrite({}), 0);
    EXPECT_EQ(replies.OpenPipeToUnBlockRead(), 0);
    writer = open(replies.GetPipeName().c_str(), O_WRONLY | O_CLOEXEC);
  }
  ~CallRoad() override {
    if (reader != -1) close(reader);
    HangUp();
  }
  void Put(const std::string& bytes) const {
    EXPECT_EQ(write(writer, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }
  void HangUp() {
    if (writer != -1) close(std::exchange(writer, -1));
  }
  std::string Taken() const {
    std::string all(1 << 20, '\0');
    const ssize_t got = read(reader, all.data(), all.size());
    all.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return all;
  }

  Sandbox place;
  VexaPipe requests{place.path() + "/requests"}, replies{place.path() + "/replies"};
  int reader = -1, writer = -1;
};

TEST_F(CallRoad, AReplyThatNobodyWaitedForIsNobodyElses) {
  const std::string owed = Encode(MakeImage(9, Strings{std::string(20000, 'o')}));
  const std::string own = Encode(MakeImage(8, Error{5}, Longs{7}));
  for (const std::size_t came : {0u, 2u, 4u, 100u, 9000u}) {
    SCOPED_TRACE(came);
    CleXDSmb first, second;
    Put(owed.substr(0, came));
    EXPECT_EQ(ReceiveOnRoad(replies, first, kNone), Code::kInterrupted);
    EXPECT_EQ(SettleDebts(requests, replies, kNone), Code::kInterrupted) << "it is owed still";
    std::thread backend([&] { Put(owed.substr(came)); });
    EXPECT_EQ(SettleDebts(requests, replies, {}), 0);
    backend.join();
    Put(own);
    EXPECT_EQ(ReceiveOnRoad(replies, second, {}), 5);
    EXPECT_EQ(second.GetLongDataRef().Values(), std::vector<std::int32_t>{7});
  }
}

TEST_F(CallRoad, TheRestOfARequestGoesAheadOfTheNext) {
  const std::string text(3 << 18, 't');
  const std::string image = Encode(MakeImage(0, Strings{"t"}, Void{text}));
  CleXDSmb request, reply;
  request.SetCommandAction(CleXDSmb::CommandAction::Submit);
  request.SetString("t");
  {
    const std::string bytes = text;  // which the rest does not need any more
    const Lender lender;
    request.LendVoidData(lender.Lend(bytes.data(), bytes.size()));
    EXPECT_EQ(SendOnRoad(requests, request, kNone), Code::kInterrupted);
    request.CleanUp();
  }
  std::string seen = Taken();
  EXPECT_LT(seen.size(), image.size());
  std::thread backend([&] {
    while (seen.size() < image.size()) seen += Taken();
    Put(Encode(MakeImage(0, Error{6})));
  });
  EXPECT_EQ(SettleDebts(requests, replies, {}), 0);
  backend.join();
  EXPECT_EQ(seen, image);
  EXPECT_FALSE(requests.Debt().Any() || replies.Debt().Any());
}

TEST_F(CallRoad, APeerThatGoesInTheMiddleOfABlockEndsTheSession) {
  const std::string bytes(1 << 20, 'v');
  const Lender lender;
  CleXDSmb request;
  request.LendVoidData(lender.Lend(bytes.data(), bytes.size()));
  std::thread backend([&] {
    while (Taken().empty()) poll(nullptr, 0, 1);
    close(std::exchange(reader, -1));
  });
  EXPECT_EQ(SendOnRoad(requests, request, {}), Code::kPeerClosed);
  backend.join();
  EXPECT_EQ(SettleDebts(requests, replies, {}), Code::kPeerClosed);
}

// --- Looks ahead of a wait ---

double ProcessorSeconds() {
  timespec used = {};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
  return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e9;
}

TEST_F(CallRoad, ALookFindsWhatIsThereAndADeathAndCostsLittle) {
  setenv("VEXA_SPIN", "1", 1);
  cpu_set_t cores;
  ASSERT_EQ(sched_getaffinity(0, sizeof cores, &cores), 0);
  if (CPU_COUNT(&cores) == 1) GTEST_SKIP() << "one core: nobody looks";
  constexpr int kWaits = 1000;
  ShortLook silent;
  const double before = ProcessorSeconds();
  for (int wait = 0; wait < kWaits; ++wait) EXPECT_FALSE(silent.Finds(replies.Descriptor()));
  EXPECT_LT(ProcessorSeconds() - before, 50e-6 * 30) << "where nothing came it looks again ever later";

  ShortLook look;
  Put("x");
  EXPECT_TRUE(look.Finds(replies.Descriptor()));
  std::thread backend([&] { HangUp(); });
  CleXDSmb reply;
  EXPECT_EQ(ReceiveOnRoad(replies, reply, {}), Code::kPeerClosed) << "a frame of one byte";
  backend.join();
  EXPECT_FALSE(ShortLook().Finds(replies.Descriptor()))
      << "that the writer has gone the wait behind it finds";
  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(sched_getcpu(), &one);
  ASSERT_EQ(sched_setaffinity(0, sizeof one, &one), 0);
  EXPECT_FALSE(ShortLook().Finds(replies.Descriptor())) << "where only one core is allowed";
}

TEST_F(CallRoad, ACutFrameEndsTheSessionAndIsNoSuccess) {
  const std::string good = Encode(MakeImage(9, Strings{"age"}));
  CleXDSmb reply;
  Put(good.substr(0, 30));
  HangUp();
  EXPECT_EQ(ReceiveOnRoad(replies, reply, {}), Code::kPeerClosed);
  writer = open(replies.GetPipeName().c_str(), O_WRONLY | O_CLOEXEC);
  Put(good);
  EXPECT_EQ(SettleDebts(requests, replies, {}), Code::kPeerClosed) << "whose bytes these are cannot be told";
  replies.ClosePipe();
  EXPECT_EQ(SettleDebts(requests, replies, {}), 0);
}

TEST_F(CallRoad, NobodyLooksWhereThatIsSwitchedOff) {
  setenv("VEXA_SPIN", "0", 1);
  Put("x");
  EXPECT_FALSE(ShortLook().Finds(replies.Descriptor()));
}

// --- Whole calls ---

using GivenUp = ClientTest;

TEST_F(GivenUp, TheCheckIsAskedAndItsWordEndsTheWait) {
  static std::atomic<int> asked;
  asked = 0;
  VexaSetInterruptCheck([](void* limit) { return ++asked >= *static_cast<int*>(limit) ? 1 : 0; },
                        &(error = 3));
  peer.Expects(8);  // and no answer
  const auto start = Clock::now();
  int code = 0;
  EXPECT_EQ(GetRowCount(&code), -1);
  EXPECT_EQ(code, Code::kInterrupted);
  EXPECT_EQ(asked, 3);
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(40)) << "and not after each signal of a timer";
  VexaSetInterruptCheck(nullptr, nullptr);
}

TEST_F(GivenUp, AWalkWhoseFetchWasGivenUpDoesNotGoOn) {
  peer.Expects(33, Strings{"r"}).Answers();
  peer.Expects(104).Answers(Longs{1});
  peer.Expects(109, Longs{0}).Answers(Longs{0});
  peer.Expects(32, Longs{0}).Answers(Longs{0}, Doubles{0, 0, 0});
  ASSERT_EQ(MakeCaseCursor("r"), 0);
  VexaSetInterruptCheck([](void*) { return 1; }, nullptr);
  peer.Expects(227, Longs{2621440, 8});
  for (int again = 0; again < 2; ++again) EXPECT_EQ(NextCase(), Code::kInterrupted);
  VexaSetInterruptCheck(nullptr, nullptr);
}

TEST_F(GivenUp, AMessageThatCannotBeBuiltIsRefusedAtOnce) {
  char name[] = "v";
  char* names[] = {name};
  int types[] = {0};
  void* const data = std::malloc(8);
  EXPECT_EQ(CommitManyCases(names, types, data, 1, INT_MAX, 1), Code::kTooLarge);
  peer.Expects(8).Answers(Longs{4});
  EXPECT_EQ(GetRowCount(&error), 4) << "nothing was sent";
}

// --- Strangers ---

TEST(Strangers, NothingButAFifoOfOnesOwnIsOpened) {
  const Sandbox place, elsewhere;
  const std::string name = place.path() + "/fifo", target = elsewhere.Write("target", "kept");
  const auto opens = [&] {
    VexaPipe reads(name), writes(name), creates(name);
    const bool read = reads.OpenPipeToUnBlockRead() == 0, written = writes.OpenPipeToUnBlockWrite() == 0;
    return std::vector<bool>{read, written, creates.VEXACreateFile() == 0};
  };
  const std::vector<bool> none(3, false);
  EXPECT_EQ(symlink(target.c_str(), name.c_str()), 0);
  EXPECT_EQ(opens(), none) << "a link";
  place.Write("fifo", "plain");
  EXPECT_EQ(opens(), none) << "a file";
  EXPECT_EQ(ReadFile(target), "kept");

  if (geteuid() != 0) return;
  constexpr uid_t kSomebodyElse = 65534;
  EXPECT_EQ(mkfifo(name.c_str(), 0666), 0);
  EXPECT_EQ(chown(name.c_str(), kSomebodyElse, kSomebodyElse), 0);
  EXPECT_EQ(opens(), none) << "somebody else's fifo";
  EXPECT_EQ(mkfifo(name.c_str(), 0666), 0);
  EXPECT_EQ(chown(name.c_str(), kSomebodyElse, kSomebodyElse), 0);
  SetEnvironment(VexaPipe::kOtherUsers, "1");
  EXPECT_EQ(opens(), std::vector<bool>(3, true)) << "as the user allowed";
  SetEnvironment(VexaPipe::kOtherUsers, nullptr);
}

TEST(Strangers, FifosAreClosedToOthers) {
  const Sandbox place;
  const std::string made = place.path() + "/made", found = place.path() + "/found";
  const auto mode = [](const std::string& name) {
    struct stat file = {};
    EXPECT_EQ(stat(name.c_str(), &file), 0);
    return file.st_mode & 0777;
  };
  umask(0);
  VexaPipe maker(made), finder(found);
  EXPECT_EQ(maker.CreatePipe(), 0);
  EXPECT_EQ(umask(022), 0u) << "the host's mask is its own";
  EXPECT_EQ(mode(made), 0600u);
  EXPECT_EQ(mkfifo(found.c_str(), 0644), 0);
  EXPECT_EQ(finder.OpenPipeToUnBlockRead(), 0);
  EXPECT_EQ(mode(found), 0600u) << "one that the peer left open";
}

}  // namespace
