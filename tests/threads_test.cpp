// Locks, events and threads: what callers rely on, quirks included, also while many threads do it at once.

#include <semaphore>

#include "PlugInCriticalSection.h"
#include "PlugInSynchEvent.h"
#include "support/worker.h"
#include "wake_up.h"

namespace {
std::atomic<bool> fails = false;
std::atomic<int> destroyed = 0;
}  // namespace

// In place of the system's: the one that is to fail, and its counterpart.
extern "C" int pthread_condattr_init(pthread_condattr_t* attributes) noexcept {
  return *attributes = {}, fails ? ENOMEM : 0;
}
extern "C" int pthread_condattr_destroy(pthread_condattr_t*) noexcept { return ++destroyed, 0; }

namespace {

using Flag = std::binary_semaphore;
using Section = PlugInCriticalSection;
using Ext = PlugInCriticalSectionExt;

int OnAnotherThread(std::function<int()> work) {
  Worker worker(std::move(work));
  return worker.Start() ? worker.Result() : -1;
}

void Together(const std::function<void()>& work) {
  std::thread threads[4];
  for (std::thread& each : threads) each = std::thread(work);
  for (std::thread& each : threads) each.join();
}

struct Locks : Deadline {
  Section section;
  Ext ext;
  Section* const both[2] = {&section, &ext};
};
using Events = Deadline;
using Threads = Deadline;

TEST_F(Locks, LetOthersInAfterTheThirdRelease) {
  for (Section* const each : both) {
    int entered = 0;
    Worker other([&] { return Section::Lock(*each), ++entered; });
    for (int i = 0; i < 3; ++i) each->Acquire();
    other.Start();
    for (int i = 0; i < 3; ++i) {
      EXPECT_TRUE(other.Sleeps() && entered == 0) << i;
      each->Release();
    }
    EXPECT_EQ(other.Result(), 1);
  }
}

TEST_F(Locks, LetOneThreadInAtATimeAndAllInTheEnd) {
  for (Section* const each : both) {
    int count = 0;
    Together([&] {
      for (int i = 0; i < 2000; ++i) {
        if (each == &ext) Ext::TryLock{ext};
        const Section::Lock outer(*each), inner(*each);
        if (++count % 8 == 0) std::this_thread::yield();
      }
    });
    EXPECT_EQ(count, 8000);
  }
}

TEST_F(Locks, KeepTheCountOfAThreadThatHasReleased) {
  section.Acquire(), section.Release(), section.Release();
  EXPECT_EQ(section.get_ThreadCount(pthread_self()), -1) << "its entry stayed: this was no stray release";
  section.Acquire();  // kept: back at 0 it is not locked
  EXPECT_EQ(OnAnotherThread([&] { return Section::Lock(section), 1; }), 1);
}

TEST_F(Locks, AreDestroyedInWhateverState) {
  Section twice, stray, others;
  twice.Acquire(), twice.Acquire(), stray.Release();
  OnAnotherThread([&] { return others.Acquire(), 0; });
}

TEST_F(Locks, StayBlockedAfterAStrayRelease) {
  Process stuck([this] {
    Worker& late = *new Worker([this] { return section.Acquire(), 0; });
    section.Release();
    EXPECT_TRUE(late.Start() && late.Sleeps());
    EXPECT_EQ(section.get_ThreadCount(pthread_self()), 0) << "readers get in";
    return late.Sleeps() ? 0 : 1;
  });
  EXPECT_EQ(stuck.Result(), 0);
}

TEST_F(Locks, AreTriedWithoutAWait) {
  {
    const Ext::TryLock lock(ext);
    EXPECT_TRUE(lock.IsAcquired());
    EXPECT_EQ(OnAnotherThread([&] { return Ext::TryLock(ext).IsAcquired(); }), 0);
    EXPECT_TRUE(ext.IsAcquired()) << "an attempt that failed releases nothing";
    EXPECT_TRUE(ext.Try());
    ext.Release();  // kept: the owner's attempt counts on the outside only, so this frees the lock proper
    EXPECT_EQ(OnAnotherThread([&] { return ext.Try() ? 0 : (ext.Acquire(), ext.Release(), 1); }), 1);
  }
  EXPECT_FALSE(ext.IsAcquired());
  EXPECT_DEATH(ext.Release(), "assertion failed: m_NumAcquisitions>=0");
}

// Whether the wait took that long, as it does on an event that is not signalled, and slept.
bool TimesOut(PlugInSynchEvent& event, unsigned int timeout = 60) {
  const auto start = std::chrono::system_clock::now();
  const std::clock_t busy = std::clock();
  EXPECT_EQ(event.WaitForSignal(timeout), 0) << "kept: it looks like a signal";
  EXPECT_LT(std::clock() - busy, CLOCKS_PER_SEC / 20);
  return std::chrono::system_clock::now() - start >= std::chrono::milliseconds(timeout);
}

TEST_F(Events, AreResetByTheWaiterOrByHand) {
  PlugInSynchEvent automatic(false, true, "a"), manual(true, true, nullptr);
  automatic.WaitForSignal();
  EXPECT_TRUE(TimesOut(automatic, 999)) << "over the end of a second";
  for (int i = 0; i < 2; ++i) automatic.Signal();
  automatic.WaitForSignal();
  EXPECT_TRUE(TimesOut(automatic)) << "one signal is remembered";
  manual.WaitForSignal(), manual.WaitForSignal(), manual.Unsignal();
  EXPECT_TRUE(TimesOut(manual));
  manual.WaitForSignal();  // kept: the time-out has left it signalled
}

TEST_F(Events, MeetOneOfTwoCallersAtATime) {
  PlugInSynchEvent event(false, false, nullptr);
  event.Reply(), event.SignalAndWaitForReply();  // the early reply was remembered
  EXPECT_TRUE(TimesOut(*event.ReplyEvent())) << "and forgotten after use";
  event.WaitForSignal();
  std::atomic<int> served = 0, called = 0, early = 0;
  std::thread peer([&] {
    for (int i = 0; i < 800; ++i) event.WaitForSignal(), ++served, event.Reply();
  });
  Together([&] {
    for (int i = 0; i < 200; ++i) event.SignalAndWaitForReply(), early += served < ++called;
  });
  peer.join();
  EXPECT_EQ(early, 0);
}

TEST_F(Threads, RunOnceAtATimeAndAreWaitedForAsLongAsTheyRun) {
  Flag go(0);
  std::atomic<int> runs = 0;
  Worker worker([&] { return go.acquire(), ++runs; });
  Worker one([&] { return worker.WaitForStop(1) ? runs.load() : -1; }), two(one.work);
  PlugInThreadHot *all[] = {&worker, &worker, &worker}, base;
  EXPECT_TRUE(worker.WaitForStop());
  for (int run = 1; run < 3; ++run) {
    EXPECT_TRUE(worker.Start() && one.Start() && two.Start());
    EXPECT_FALSE(worker.Start() || PlugInThreadHot::WaitForMultipleThreads(all, 0));
    EXPECT_TRUE(PlugInThreadHot::WaitForMultipleThreads(all, 3)) << "kept: it does not wait";
    for (const auto end = Clock::now() + std::chrono::milliseconds(10); Clock::now() < end;) {
      EXPECT_TRUE(one.Sleeps() && two.Sleeps()) << "kept: the limit is ignored";
    }
    go.release();
    worker.WaitforSignal();
    EXPECT_TRUE(one.Result() == run && two.Result() == run && worker.Result() == run) << run;
  }
  EXPECT_TRUE(base.Start() && base.WaitForStop() && base.GetReturnValue() == 0);
}

TEST_F(Threads, HaveTheStackThatIsAskedFor) {
  pthread_attr_t mine;
  std::size_t standard = 0, size = 0;
  pthread_getattr_default_np(&mine);
  pthread_attr_getstacksize(&mine, &standard);
  Worker worker([&] { return pthread_getattr_np(pthread_self(), &mine); });
  for (const auto& [asked, got] : {std::pair{0ul, standard}, {1ul, standard}, {1ul << 20, 1ul << 20}}) {
    EXPECT_TRUE(worker.Start(asked) && worker.WaitForStop());
    pthread_attr_getstacksize(&mine, &size), pthread_attr_destroy(&mine);
    EXPECT_EQ(size, got);
  }
}

TEST_F(Threads, EndBeforeOrWhileSomebodyWaitsOrWithNobody) {
  Together([] {
    for (int i = 0; i < 120; ++i) {
      Worker worker([] { return 7; });
      bool stopped = worker.Start();
      while (i % 3 == 0 && worker.HasThread()) std::this_thread::yield();
      std::thread second([&] { stopped = stopped && (i % 3 == 2 || worker.WaitForStop()); });
      EXPECT_TRUE(i % 2 == 0 || worker.WaitForStop());
      second.join();
      EXPECT_TRUE(stopped && (i % 3 != 0 || worker.Start()));
    }
  });
}

TEST_F(Threads, SleepUntilTheyAreResumedAndNoMoreAfterAnEarlyResume) {
  std::atomic<bool> woken = false;
  Worker worker([&] { return worker.Suspend(), woken = true, worker.Suspend(), 0; });
  EXPECT_TRUE(worker.Start() && worker.Sleeps() && worker.Resume());
  EXPECT_TRUE(Await([&] { return woken.load(); }) && worker.Sleeps() && worker.Resume() &&
              worker.WaitForStop());
  worker.Resume();
  for (int i = 0; i < 2; ++i) EXPECT_TRUE(worker.Suspend()) << "kept: the early one latches";
}

TEST_F(Threads, AreSignalledAsLongAsTheyLive) {
  sigset_t signals = {};
  int number = sigaddset(&signals, SIGUSR1) || pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  Worker worker([&] { return sigwait(&signals, &number), number; });
  EXPECT_FALSE(worker.Signal(SIGUSR1) || worker.Terminate());
  EXPECT_EQ(Process([&] { return worker.Start() && worker.Terminate(); }).Result(), -SIGKILL);
  EXPECT_TRUE(worker.Start() && !worker.Signal(-1) && worker.Signal(SIGUSR1));
  EXPECT_EQ(worker.Result(), SIGUSR1);
  EXPECT_TRUE(Await([&] { return !worker.Signal(0); })) << "it may still be on its way out";
  EXPECT_FALSE(worker.Signal(SIGUSR1) || worker.Terminate());
}

TEST_F(Threads, AdoptAThreadOnce) {
  Worker started([&] { return started.Attach() || started.WaitForStop(); });
  PlugInThreadHot adopted;
  EXPECT_TRUE(started.Start() && started.Result() == 0) << "has a thread, which cannot wait for itself";
  EXPECT_TRUE(adopted.Attach() && adopted.HasThread() && adopted.Signal(0));
  EXPECT_FALSE(adopted.Attach() || adopted.Start() || adopted.WaitForStop());
}

TEST_F(Threads, MayEndThemselves) {
  for (const bool waited : {true, false}) {
    Flag go(0);
    Worker worker([&] { return go.acquire(), pthread_exit(nullptr), 7; });
    for (int i = 0; i < 2; ++i) {
      EXPECT_TRUE(worker.Start());
      go.release();
      EXPECT_TRUE(waited ? worker.WaitForStop() : Await([&] { return !worker.HasThread(); })) << i;
      worker.WaitforSignal();
    }
  }
}

TEST_F(Threads, StayWithTheProcessThatStartedThem) {
  Flag go(0);
  Worker* const waits = new Worker([&] { return go.acquire(), 0; });
  Worker* const suspended = new Worker([&] { return suspended->Suspend(), 0; });
  Worker waits_for_the_other([&] { return waits->WaitforSignal(); });
  for (Worker* const each : {waits, suspended, &waits_for_the_other})
    EXPECT_TRUE(each->Start() && each->Sleeps());
  Worker again([] { return 5; });
  EXPECT_TRUE(again.Start() && again.Result() == 5);
  for (int i = 0; i < 20; ++i) {
    Process fork([&] {
      EXPECT_FALSE(waits->HasThread() || suspended->Signal(0));
#ifndef __SANITIZE_THREAD__  // which knows no threads of a fork
      EXPECT_TRUE(again.Start() && again.Result() == 5);
#endif
      delete waits;
      return delete suspended, 0;
    });
    EXPECT_EQ(fork.Result(), 0);
  }
  go.release(), suspended->Resume();
  EXPECT_TRUE(waits->WaitForStop() && suspended->WaitForStop() && waits_for_the_other.WaitForStop());
  delete waits, delete suspended;
}

TEST_F(Threads, DestroyOnlyWhatTheyMade) {
  const PlugInThreadHot whole;
  fails = true;
  testing::internal::CaptureStdout();
  auto half = std::make_unique<PlugInThreadHot>();
  EXPECT_NE(testing::internal::GetCapturedStdout().find("pthread_condattr_init returned 12"),
            std::string::npos);
  fails = false, destroyed = 0;
  half.reset();
  EXPECT_EQ(destroyed, 0);
}

// A wake-up is signalled once, however often, and by its own process alone.
TEST_F(Threads, WakeUpIsOfOneProcess) {
  WakeUp wake;
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  Worker waits([&] { return wake.AwaitReadable(ends[0]) ? 1 : 2; });
  const auto fork = [&] { return Process([&] { return wake.Reset(), wake.Signal(), 0; }).Result(); };
  for (const bool twice : {false, true}) {
    EXPECT_TRUE(waits.Start() && waits.Sleeps() && fork() == 0 && waits.Sleeps());
    wake.Signal();
    if (twice) wake.Signal();
    EXPECT_EQ(waits.Result(), 2);
    EXPECT_EQ(fork(), 0);
    wake.Reset();
  }
  pollfd looks[] = {{ends[0], POLLIN, 0}};
  EXPECT_TRUE(waits.Start() && waits.Sleeps() && poll(looks, 1, 0) == 0);
  EXPECT_EQ(write(ends[1], "", 1), 1);
  EXPECT_EQ(waits.Result(), 1);
  for (const int end : ends) close(end);
}

TEST_F(Threads, DeleteTheirObjectWhenItAsksForThat) {
  struct SelfDeleting : PlugInThreadHot {
    explicit SelfDeleting(Flag& flag) : deleted(flag) { auto_delete = true; }
    ~SelfDeleting() override { deleted.release(); }
    Flag& deleted;
  };
  Flag deleted(0);
  for (int i = 0; i < 1000; ++i, deleted.acquire()) EXPECT_TRUE((new SelfDeleting(deleted))->Start());
}

}  // namespace
