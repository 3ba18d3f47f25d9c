// startx APPLICATION DIRECTORY ID XNAME: a language process, started by the backend's side of the bridge. It
// brings the language up, serves the command channel, and ends when it is told to or when the process that
// started it is gone; in either case none of its fifos stays.
//
// A block runs on a thread of its own, as a rule. A runtime that wants the main thread gets it when the
// language's section of the configuration says STARTX_MAIN_THREAD=true: blocks of the first level then run
// there, and the channel is served by another thread.
#include <poll.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

extern "C" {  // glibc 2.36 does not say so itself
#include <sys/pidfd.h>
}

#include "StartXDispatcherVisitor.h"
#include "SyncSyntaxBuffer.h"
#include "XManager.h"
#include "drivex.h"
#include "dxglobals.h"
#include "language_creation.h"
#include "vexaxd_p.h"
#include "xpipemanager.h"

namespace {

std::mutex manager_in_use;  // held while the pipes go

// Whatever this process is busy with when its driver goes, nobody waits for it any more: a block that
// computes for hours, one that waits for an answer, a language that does not end.
void EndWithDriver(pid_t driver) {
  const int descriptor = pidfd_open(driver, 0);
  if (descriptor != -1 && getppid() == driver) {
    pollfd look = {descriptor, POLLIN, 0};
    while (poll(&look, 1, -1) != 1) {
    }
  }
  const std::lock_guard lock(manager_in_use);
  if (XPipeManager* const manager = GetXPipeManager()) manager->RemoveFiles(false);
  _exit(EXIT_FAILURE);
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
int ServeBlocksOnThisThread(DXCmdDispatcher* channel, const std::string& xname) {
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
  const pid_t driver = getppid();
  std::signal(SIGPIPE, SIG_IGN);  // a backend that is gone shows as a failed write
  std::signal(SIGINT, SIG_IGN);   // meant for the program that drives the backend
  InitXProcess(argv[1], argv[2], argv[3], argv[4], "");
  const std::string xname = argv[4];
  DXCmdDispatcher* const channel = GetXPipeManager()->getPipeSuit(xname)->getCmdDispatcher(true);
  std::thread(EndWithDriver, driver).detach();
  channel->connectPeer();
  Commands commands(xname);
  const int code =
      WantsMainThread() ? ServeBlocksOnThisThread(channel, xname) : channel->receiveCmd(&commands);
  GetXManager()->cleanup();  // the language is stopped on the thread that started it
  const std::lock_guard lock(manager_in_use);
  FinalizeDXGlobal();
  return code == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
