// startx APPLICATION DIRECTORY ID XNAME: a language process, started by the backend's side of the bridge. It
// brings the language up, serves the command channel, and ends when it is told to or when the process that
// started it is gone; in either case none of its fifos stays.
//
// A block runs on a thread of its own, as a rule. A runtime that wants the main thread gets it when the
// language's section of the configuration says STARTX_MAIN_THREAD=true: blocks of the first level then run
// there, and the channel is served by another thread.
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "DxTracer.h"
#include "StartXDispatcherVisitor.h"
#include "SyncSyntaxBuffer.h"
#include "XManager.h"
#include "drivex.h"
#include "dxglobals.h"
#include "language_creation.h"
#include "starter.h"
#include "vexaxd_p.h"
#include "xpipemanager.h"

namespace {

constexpr std::chrono::milliseconds kPatience{500};  // with an end that is under way

std::timed_mutex manager_in_use;  // held while the pipes come and go

// Whatever this process is busy with when its starter goes, nobody waits for it any more: a block that
// computes for hours, one that waits for an answer, a language that does not end.
void EndWithStarter(Starter starter) {
  AwaitStarterEnd(&starter);
  const std::unique_lock lock(manager_in_use, kPatience);
  XPipeManager* const manager = lock ? GetXPipeManager() : nullptr;
  if (manager != nullptr) manager->RemoveFiles(false);
  _exit(EXIT_FAILURE);
}

// False without a thread to be had: then nothing would end this process.
bool Watch(const Starter& starter) {
  try {
    std::thread(EndWithStarter, starter).detach();
  } catch (const std::system_error&) {
    return false;
  }
  return true;
}

class Commands : public StartXDispatcherVisitor {
 public:
  explicit Commands(const std::string& language) : StartXDispatcherVisitor(language, true) {}
  int cmdDispatcher(DXCmdDispatcher::CmdKey key, const std::vector<std::string>& arguments) override {
    if (key == DXCmdDispatcher::kStopDX) told_to_stop = true;
    return StartXDispatcherVisitor::cmdDispatcher(key, arguments);
  }
  bool told_to_stop = false;
};

// The main thread runs the blocks. Its loop ends with kStopDX, or when the channel has ended without it.
int ServeBlocksOnThisThread(DXCmdDispatcher* channel, const std::string& xname) try {
  const std::unique_ptr<DriveX> runner(CreateCmdVexaDX(xname, true));
  if (!runner) return EXIT_FAILURE;
  GSetUseSyncDx(true);
  int code = 0;
  std::jthread server([&] {
    Commands commands(xname);
    code = channel->receiveCmd(&commands);
    if (!commands.told_to_stop) GStopSyncSyntax();
  });
  runner->invokeX();
  server.join();
  return code;
} catch (const std::system_error& no_thread) {
  DxTrace(no_thread.what());
  return EXIT_FAILURE;
}

bool WantsMainThread() {
  const char* const value = std::getenv("STARTX_MAIN_THREAD");
  return value != nullptr && std::strcmp(value, "true") == 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) {
    std::fprintf(stderr, "usage: startx APPLICATION DIRECTORY ID XNAME\n");
    return EXIT_FAILURE;
  }
  std::signal(SIGPIPE, SIG_IGN);  // a backend that is gone shows as a failed write
  std::signal(SIGINT, SIG_IGN);   // meant for the program that drives the backend
  if (!Watch(StarterOf(getpid(), argv[3]))) return EXIT_FAILURE;
  const std::string xname = argv[4];
  DXCmdDispatcher* channel = nullptr;
  {
    const std::lock_guard lock(manager_in_use);
    InitXProcess(argv[1], argv[2], argv[3], argv[4], "");
    channel = GetXPipeManager()->getPipeSuit(xname)->getCmdDispatcher(true);
  }
  channel->connectPeer();
  Commands commands(xname);
  const int code =
      WantsMainThread() ? ServeBlocksOnThisThread(channel, xname) : channel->receiveCmd(&commands);
  GetXManager()->cleanup();  // the language is stopped on the thread that started it
  const std::lock_guard lock(manager_in_use);
  FinalizeDXGlobal();
  return code == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
