// A command over the command channel against a raw exchange of the same bytes between two processes, all on
// one core, as in call_bench; and the library's lock against the mutex of the system.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <thread>

#include "DXCmdDispatcher.h"
#include "PlugInCriticalSection.h"
#include "ratio_table.h"
#include "raw_fifo.h"

namespace {

constexpr std::size_t kRequest = 56;  // a command without arguments: a block with one integer
constexpr std::size_t kReply = 52;    // its reply: a block without payload

RawPingPong* raw;
DXCmdDispatcher* client;

void RawExchange(benchmark::State& state) {
  const RawSide side;
  for (auto _ : state) {
    if (!raw->Exchange()) state.SkipWithError("the peer is gone");
  }
}
BENCHMARK(RawExchange);

void Command(benchmark::State& state) {
  for (auto _ : state) {
    if (client->sendCmd(DXCmdDispatcher::kTestCmd) != 0) state.SkipWithError("the command failed");
  }
}
BENCHMARK(Command);

void PlainMutex(benchmark::State& state) {
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
  for (auto _ : state) {
    pthread_mutex_lock(&mutex);
    benchmark::ClobberMemory();
    pthread_mutex_unlock(&mutex);
  }
}
BENCHMARK(PlainMutex);

void CriticalSection(benchmark::State& state) {
  PlugInCriticalSection section;
  for (auto _ : state) {
    const PlugInCriticalSection::Lock lock(section);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(CriticalSection);

}  // namespace

int main(int argc, char** argv) {
  const BenchDirectory directory;
  PlaceOnCores();
  RawPingPong ping_pong(directory, kRequest, kReply);
  raw = &ping_pong;

  const std::string name = directory.path() + "channel";
  const pid_t server = fork();
  if (server == 0) {
    DXCmdDispatcher end(name, true);
    DXCmdDispatcherVisitor visitor;
    _exit(end.receiveCmd(&visitor));
  }
  DXCmdDispatcher end(name, false);
  client = &end;
  for (int tries = 100; end.sendCmd(DXCmdDispatcher::kTestCmd) != 0; --tries) {
    if (tries == 0) {
      std::fprintf(stderr, "no server\n");
      return 1;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  const int result =
      RunRatioTable(argc, argv,
                    {{"one command on the channel / raw ping-pong", "Command", "RawExchange", 1.4},
                     {"section acquired and released, uncontended / plain mutex", "CriticalSection",
                      "PlainMutex", 0, 0, false}});
  end.sendCmd(DXCmdDispatcher::kStopDX);
  waitpid(server, nullptr, 0);
  return result;
}
