// The beginning and the end of a session.
#include <cstdio>

#include "prove.h"

namespace {

std::string InMilliseconds(double seconds) {
  char text[40];
  std::snprintf(text, sizeof text, "%.0f ms", 1000 * seconds);
  return text;
}

// A session's two questions, which a start ends with and a stop begins with.
void AskWhether(TriedSession& session, Action action, const char* check) {
  const Frame reply = session.Ask(action);
  session.Check(reply.code == 0 && !reply.longs.empty() && reply.longs[0] != 0, check,
                "it says " + (reply.code != 0 ? CodeOf(reply) : SlotsOf(reply) + ", the first of them 0"));
}

}  // namespace

void ProveStart(Trial& trial) {
  Report& report = trial.report;
  report.Begin("start");
  const PrivateDirectory directory;
  DrivenBackend backend(trial.launch, directory.File(""));
  const double since = Seconds();
  if (const std::string why = backend.Run(); !report.Check(why.empty(), "runs", why)) return;
  const Heard first = backend.AwaitFirst();
  if (!report.Check(first.why.empty(), "sends its first message", first.why,
                    ShownExchanges(backend, trial.described, 1)))
    return;
  const char* const kStarted = "the first message says that it started";
  if (first.frame.code != 0) return report.Fault(kStarted, CodeOf(first.frame));
  report.Good(kStarted, "after " + InMilliseconds(Seconds() - since));
  const std::string why = backend.OpenRequests();
  if (!report.Check(why.empty(), "has made its fifo of requests, and reads it", why)) return;
  const Heard again = backend.Await(0);
  report.Check(!again.why.empty() && again.frame.action == -1 && backend.Ended().empty(),
               "waits for requests", "more came behind the first message",
               ShownExchanges(backend, trial.described, 1));
}

// Some hundred milliseconds later a driver kills what is left: how it ends is the backend's affair.
void ProveStop(Trial& trial) {
  trial.report.Begin("stop");
  TriedSession session(trial);
  AskWhether(session, Action::IsBackendReady, "IsBackendReady says yes");
  AskWhether(session, Action::IsXDriven, "IsXDriven says yes");
  const Frame reply = session.Ask(Action::StopVexa);
  session.Check(reply.code == 0, "StopVexa is answered", "with " + CodeOf(reply));
  if (!session.Goes()) return;
  const std::string end = session.Backend().AwaitEnd(1);
  session.Check(!session.Backend().WasKilled(), end.empty() ? "stays, and may be killed" : "ends by itself",
                end);
}
