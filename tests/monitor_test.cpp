// The heartbeat between two processes: who is told of whose end, and that Stop always ends it.

#include "DxTracer.h"
#include "MonitorThread.h"
#include "support/processes.h"
#include "xpipemanager.h"

namespace {

std::atomic<int> alarms;
std::atomic<bool> stopped;

struct Monitor : ProcessTest {
  Monitor() { alarms = 0, stopped = false; }
  std::unique_ptr<MonitorThread> Start(int type) const {
    auto monitor = std::make_unique<MonitorThread>(name.c_str(), type);
    monitor->SetExceptionHandle([] { return ++alarms; });
    EXPECT_TRUE(monitor->Start());
    return monitor;
  }
  static bool Ends(const MonitorThread& it) {
    return Await([&] { return !it.HasThread(); });
  }

  const std::string name = sandbox.path() + "/fifo";
};

TEST_F(Monitor, TellsAFarewellFromADeath) {
  for (const bool killed : {false, true}) {
    const Sandbox mark;
    const std::string go = mark.path() + "/go";
    Process writer([&] {
      const auto monitor = Start(MonitorThread::kWriter);
      EXPECT_TRUE(Appears(go));
      if (killed) raise(SIGKILL);
      return monitor->Stop(), 0;
    });
    const auto reader = Start(MonitorThread::kReader);
    EXPECT_TRUE(Await([&] { return reader->PeerAlive(); }));
    mark.Write("go", "");
    EXPECT_TRUE(Ends(*reader));
    EXPECT_TRUE(alarms == (killed ? 1 : 0) && !reader->PeerAlive());
    reader->Stop();
    EXPECT_EQ(writer.Result(), killed ? -SIGKILL : 0);
  }
}

TEST_F(Monitor, EndsInTimeWhereNobodyComes) {
  for (const int type : {MonitorThread::kWriter, MonitorThread::kReader}) {
    MonitorThread(name.c_str(), type).Stop();
    EXPECT_EQ(mkfifo(name.c_str(), 0600), 0);
    const auto monitor = Start(type);
    const auto start = Clock::now();
    monitor->Stop();
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(1500));
    monitor->Stop();
    EXPECT_FALSE(monitor->HasThread() || alarms != 0);
  }
}

TEST_F(Monitor, WriterWithoutAReaderTracesEachChangeOnce) {
  DxTracer tracer;
  tracer.open(notes.path() + "/trace"), SetDxTracer(&tracer);
  const auto traced = [this] {
    const std::string all = ReadFile(notes.path() + "/trace"), text = "OpenPipeToUnBlockWrite";
    int count = 0;
    for (std::size_t at = 0; (at = all.find(text, at)) != std::string::npos; ++at) ++count;
    return count;
  };
  {
    const auto monitor = Start(MonitorThread::kWriter);
    const auto start = Clock::now();
    EXPECT_TRUE(
        Await([&] { return traced() > 0 && Clock::now() - start > std::chrono::milliseconds(2300); }));
    EXPECT_EQ(traced(), 1) << "no fifo";
    EXPECT_EQ(mkfifo(name.c_str(), 0600), 0);
    EXPECT_TRUE(Await([&] { return traced() == 2; })) << "no reader";
    const int fd = open(name.c_str(), O_RDONLY);
    int word = 0;
    EXPECT_TRUE(read(fd, &word, sizeof word) == 4 && word == 1 && traced() == 2);
    monitor->Stop();
    EXPECT_TRUE(read(fd, &word, sizeof word) == 4 && word == 3);
    close(fd);
  }
  SetDxTracer(nullptr);
}

TEST_F(Monitor, WriterEndsSilentlyWhenItsReaderHasGone) {
  EXPECT_EQ(mkfifo(name.c_str(), 0600), 0);
  Process writer([this] {
    const auto monitor = Start(MonitorThread::kWriter);
    return Ends(*monitor) ? alarms.load() : 1;
  });
  int word = 0;
  const int fd = open(name.c_str(), O_RDONLY);
  EXPECT_TRUE(read(fd, &word, sizeof word) == 4 && word == 1);
  close(fd);
  EXPECT_EQ(writer.Result(), 0);
}

TEST_F(Monitor, LooksAtTheFirstWordOfAChunk) {
  const auto reader = Start(MonitorThread::kReader);
  const int fd = open(name.c_str(), O_WRONLY);
  const auto put = [fd](const std::vector<int>& words) {
    EXPECT_GT(write(fd, words.data(), words.size() * sizeof words[0]), 0);
    int unread = 1;
    return Await([&] { return ioctl(fd, FIONREAD, &unread) == 0 && unread == 0; });
  };
  EXPECT_TRUE(put({7, 1}) && put({2, 3}) && put({0, 3}) && !reader->PeerAlive());
  EXPECT_TRUE(put({1, 3}) && Await([&] { return reader->PeerAlive(); }));
  EXPECT_TRUE(put({3, 1}) && Ends(*reader));
  EXPECT_FALSE(reader->PeerAlive() || alarms != 0);
  close(fd);
}

TEST_F(Monitor, HandlerMayWaitForWhoStopsIt) {
  const auto reader = Start(MonitorThread::kReader);
  reader->SetExceptionHandle([] { return ++alarms, alarms += Await([] { return stopped.load(); }); });
  close(open(name.c_str(), O_WRONLY));
  EXPECT_TRUE(Await([] { return alarms == 1; }));
  reader->Stop();
  stopped = true;
  EXPECT_TRUE(Ends(*reader));
  EXPECT_EQ(alarms, 2);
}

TEST_F(Monitor, IsMadeOncePerSideOfASuit) {
  XPipeManager manager(sandbox.path() + "/", "04d2");
  XPipeSuit& suit = *manager.getPipeSuit("R");
  for (const bool reader : {true, false}) {
    EXPECT_TRUE(suit.getMonitor(reader) == nullptr && suit.stopMonitor(reader) == 0);
    MonitorThread* const monitor = suit.startMonitor(reader, nullptr);
    EXPECT_TRUE(monitor->HasThread() && suit.startMonitor(reader, nullptr) == monitor);
    EXPECT_TRUE(suit.stopMonitor(reader) == 0 && !suit.getMonitor(reader)->HasThread());
  }
  EXPECT_EQ(sandbox.Entries(), std::vector<std::string>{"04d2RP2C"});
  EXPECT_DEATH(MonitorThread(name.c_str(), 2), "assertion failed: Un_supported_monitorType");
}

}  // namespace
