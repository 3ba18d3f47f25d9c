// Requests that no driver of ours sends, and drivers that die.
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "prove.h"

namespace {

struct Malformed {
  const char* what;
  std::string bytes;
  // What a driver hears of it: an answer; an answer or an end of the session, as nobody can tell where the
  // next message begins; or nothing yet, as the rest may still come.
  enum class Heard { Answer, AnswerOrEnd, Anything } wanted = Heard::Answer;
};

std::string Words(std::initializer_list<std::int32_t> words) {
  std::string bytes;
  for (const std::int32_t word : words) bytes.append(reinterpret_cast<const char*>(&word), sizeof word);
  return bytes;
}
// A length in front that is that of the whole.
std::string Framed(std::initializer_list<std::int32_t> words, const std::string& behind = "") {
  const std::string body = Words(words) + behind;
  return Words({static_cast<std::int32_t>(body.size() + sizeof(std::int32_t))}) + body;
}

std::vector<Malformed> MalformedRequests() {
  constexpr auto kName = static_cast<std::int32_t>(Action::GetVariableName),
                 kCursor = static_cast<std::int32_t>(Action::MakeCaseCursor),
                 kBlock = static_cast<std::int32_t>(Action::NextCaseBlock);
  constexpr std::int32_t kMost = 0x7fffffff;
  Frame bare, text, numbers;
  bare.action = text.action = kName;
  text.strings = {"0"};
  numbers.action = kCursor;
  numbers.longs = {1, 2, 3};
  numbers.doubles = {0.5};
  const std::string whole = ImageOf(text);
  using Heard = Malformed::Heard;
  return {
      {"a request without its arguments", ImageOf(bare)},
      {"arguments of another type", ImageOf(text)},
      {"numbers in the place of a text", ImageOf(numbers)},
      {"a head without slots", Framed({kName, 0})},
      {"a head with one slot", Framed({kName, 0, 1, 0})},
      {"a block without its sizes", Framed({kBlock, 0})},
      {"a count of 2,147,483,647", Framed({kName, 0, kMost, 0})},
      {"a count below 0", Framed({kName, 0, -1, 0})},
      {"a text longer than its frame", Framed({kCursor, 0, 0, 0, 1, kMost}, "r")},
      {"a text of a length below 0", Framed({kCursor, 0, 0, 0, 1, -5}, "r")},
      {"a frame that ends within a number", Framed({kName, 0, 1}, "\1")},
      {"lists of lists without end", Framed({kName, 0, 0, 0, 0, 0, kMost, kMost, kMost})},
      {"a length of 0", Words({0}), Heard::AnswerOrEnd},
      {"a length below 0", Words({-4}), Heard::AnswerOrEnd},
      {"a frame of its length alone", Words({4}), Heard::AnswerOrEnd},
      {"a frame cut off", whole.substr(0, whole.size() / 2), Heard::Anything},
      {"a frame of 2 GiB cut off", Words({kMost, kName, 0, 1}), Heard::Anything},
  };
}

std::string InHex(const std::string& bytes) {
  constexpr std::size_t kMost = 40;
  std::string text = "sent:";
  for (const char byte : bytes.substr(0, kMost)) {
    char pair[8];
    std::snprintf(pair, sizeof pair, " %02x", static_cast<unsigned char>(byte));
    text += pair;
  }
  return text + (bytes.size() > kMost ? " ...\n" : "\n");
}

// The next request is answered as if there had been nothing.
std::string WhyNoNext(DrivenBackend& backend) {
  Frame ready;
  ready.action = static_cast<std::int32_t>(Action::IsBackendReady);
  const Heard heard = backend.Ask(ready);
  if (!heard.why.empty()) return "the next request is not answered: " + heard.why;
  return heard.frame.code == 0 ? "" : "the next request is refused with " + CodeOf(heard.frame);
}

void Try(Trial& trial, const Malformed& request) {
  constexpr double kRest = 0.3;  // for which the rest of a message is waited for
  TriedSession session(trial);
  if (!session.Goes()) return;
  DrivenBackend& backend = session.Backend();
  const bool complete = request.wanted != Malformed::Heard::Anything;
  std::string why = backend.Send(request.bytes);
  const Heard heard = why.empty() ? backend.Await(complete ? trial.launch.within : kRest) : Heard{{}, why};
  std::string how = "answered with " + CodeOf(heard.frame);
  const std::string end = backend.Ended();
  if (heard.why.empty()) {
    if (request.wanted == Malformed::Heard::Answer) why = WhyNoNext(backend);
  } else if (end.empty() ? complete
                         : backend.WasKilled() && request.wanted != Malformed::Heard::AnswerOrEnd) {
    why = heard.why;
  } else if (!end.empty()) {
    how = end;
    why = request.wanted == Malformed::Heard::Answer ? end : "";
  } else {
    how = "its rest is waited for";
    why = "";
  }
  if (why.empty()) return trial.report.Good(request.what, how);
  trial.report.Fault(request.what, why, InHex(request.bytes) + session.Shown());
}

// --- The driver's death ---

struct Death {
  const char* when;
  bool asks;  // and dies ahead of the answer
  bool held;  // another process holds the ends of the fifos, as a fork of the driver would
};
constexpr Death kDeaths[] = {
    {"between two requests", false, false},
    {"between two requests, and a fork of it holds its fifos", false, true},
    {"ahead of the answer", true, false},
};

// In a process of its own, which is killed: starts a backend, and says which.
[[noreturn]] void Drive(const Launch& launch, const std::string& directory, bool asks, int told) {
  DrivenBackend& backend = *new DrivenBackend(launch, directory);  // nothing of it is cleared up
  std::string why = backend.Start();
  Frame request;
  request.action = static_cast<std::int32_t>(Action::IsBackendReady);
  if (why.empty()) why = backend.Ask(request).why;
  if (why.empty() && asks) {
    kill(backend.Process(), SIGSTOP);  // it hears of the request when there is nobody any more
    why = backend.Send(ImageOf(request));
  }
  const std::string line = why.empty() ? std::to_string(backend.Process()) + "\n" : "0 " + why + "\n";
  if (write(told, line.data(), line.size()) == -1) _exit(1);
  while (true) pause();
}

std::string LineFrom(int descriptor, double seconds) {
  std::string line;
  const double end = Seconds() + seconds;
  while (!line.ends_with('\n') && Seconds() < end) {
    pollfd look = {descriptor, POLLIN, 0};
    char byte = 0;
    if (poll(&look, 1, 20) == 1 && read(descriptor, &byte, 1) != 1) break;
    if (byte != 0) line += byte;
  }
  return line.substr(0, line.find('\n'));
}

// Of a process that was given to us, as we take in orphans.
std::string WhyNoEnd(pid_t process, double seconds) {
  const double end = Seconds() + seconds;
  int status = 0;
  while (Seconds() < end) {
    if (waitpid(process, &status, WNOHANG) == process) return "";
    poll(nullptr, 0, 20);
  }
  kill(process, SIGKILL);
  waitpid(process, &status, 0);
  return "it lives on";
}

std::string FifosOf(const std::string& directory, const std::string& but) {
  std::string names;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    if (entry.is_fifo() && entry.path() != but) names += " " + entry.path().filename().string();
  }
  return names;
}

void Die(Trial& trial, const Death& death) {
  const PrivateDirectory place;
  const std::string directory = place.File("");
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error(std::strerror(errno));
  const Descriptor hears(ends[0]);
  Descriptor tells(ends[1]);
  const pid_t driver = fork();
  if (driver == -1) throw std::runtime_error(std::strerror(errno));
  if (driver == 0) Drive(trial.launch, directory, death.asks, tells.Number());
  tells.Close();
  const std::string line = LineFrom(hears.Number(), 3 * trial.launch.within);
  std::vector<Descriptor> held;
  std::string replies;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    if (entry.path().string().ends_with("xdapiresult")) replies = entry.path();
    if (death.held && entry.is_fifo()) held.emplace_back(open(entry.path().c_str(), O_RDWR | O_CLOEXEC));
  }
  const auto backend = static_cast<pid_t>(std::atoi(line.c_str()));
  kill(driver, SIGKILL);
  waitpid(driver, nullptr, 0);
  if (backend > 0) kill(backend, SIGCONT);
  const std::string check = std::string("ends when its driver dies ") + death.when;
  if (backend <= 0) return trial.report.Fault(check, "the session did not come that far: " + line);
  const std::string why = WhyNoEnd(backend, trial.launch.within);
  if (!trial.report.Check(why.empty(), check, why)) return;
  const std::string left = FifosOf(directory, replies);
  trial.report.Check(left.empty(),
                     std::string("leaves no fifo of its own when its driver dies ") + death.when,
                     "there are still" + left);
}

}  // namespace

void ProveMalformed(Trial& trial) {
  trial.report.Begin("broken requests");
  for (const Malformed& request : MalformedRequests()) {
    if (!trial.GivenUp()) Try(trial, request);
  }
}

void ProveDeath(Trial& trial) {
  trial.report.Begin("death of the driver");
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  for (const Death& death : kDeaths) Die(trial, death);
  prctl(PR_SET_CHILD_SUBREAPER, 0);
}
