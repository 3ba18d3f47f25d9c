#include "driver_link.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <stop_token>
#include <system_error>

#include "DxTracer.h"
#include "VexaDXConfigReader.h"
#include "dxglobals.h"
#include "fifo_files.h"
#include "xpipemanager.h"

namespace {

constexpr std::chrono::milliseconds kLookPause(250);
constexpr unsigned kLastSeconds = 2;
constexpr pid_t kNobody = -1;

// The parent, as a rule the process that the id text names. It may also be a fork of that process, but not
// whoever adopts orphans: then the driver died before this look.
pid_t FindDriver(const std::string& id) {
  const pid_t parent = getppid();
  pid_t named = 0;
  std::from_chars(id.data(), id.data() + id.size(), named, 16);
  if (parent == named) return parent;
  const bool orphaned = parent == 1 || named <= 0 || (kill(named, 0) == -1 && errno == ESRCH);
  return orphaned ? kNobody : parent;
}

// By the parent and not by a signal: an ended process that nobody has waited for can still be signalled.
void WatchDriver(const std::stop_token& link_ends, pid_t driver, const std::string& directory,
                 const std::string& id, const std::function<void()>& driver_gone) {
  std::mutex mutex;
  std::condition_variable_any pause;
  std::unique_lock lock(mutex);
  while (!link_ends.stop_requested()) {
    if (getppid() != driver) {
      RemoveFifosOf(directory, id);
      alarm(kLastSeconds);  // ends the process whatever hangs
      driver_gone();
      _exit(EXIT_FAILURE);
    }
    pause.wait_for(lock, link_ends, kLookPause, [] { return false; });
  }
}

// The pipes of the process, with a trace of its own: the driver writes one under the language's name.
XPipes& OpenSession(const std::string& directory, const std::string& id, const std::string& xname) {
  const char* const home = std::getenv("VEXA_HOME");
  SetVEXAHOME(home);
  auto* const tracer = new DxTracer;  // the process's from here on, to its end
  const std::filesystem::path traces = VexaDXConfigReader::GetInstance()->GetTracePath();
  if (!traces.empty()) tracer->open(traces / "BACKEND_trace.log");
  SetDxTracer(tracer);
  InitDxGlobal(directory, id, xname, home != nullptr ? home : "");
  XPipeSuit* const suit = GetXPipeManager()->getPipeSuit(xname);
  suit->increaseIndex();
  return *suit->getXPipes();
}

}  // namespace

DriverLink::DriverLink(const std::string& directory, const std::string& driver, const std::string& xname,
                       std::function<void()> driver_gone)
    : fifos(directory), id(driver), channel(OpenSession(directory, driver, xname)) {
  try {
    watch = std::jthread(WatchDriver, FindDriver(id), fifos, id, std::move(driver_gone));
  } catch (const std::system_error&) {  // told in the first message
  }
}

// By their names: also those that a language left here when it died, or never came to open.
DriverLink::~DriverLink() {
  if (watch.joinable()) watch = {};
  FinalizeDXGlobal();
  RemoveFifosOf(fifos, id);
}

bool DriverLink::Report(int code, const std::string& reason) {
  CleXDSmb first;
  first.SetErrorCode(code);
  if (code != 0) first.SetString(reason);
  return channel.Reply(first);
}
