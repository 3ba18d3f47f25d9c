#include "replay_server.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <utility>

#include "api_channel.h"
#include "command.h"
#include "descriptor.h"
#include "driver_link.h"
#include "replay.h"
#include "replay_blocks.h"
#include "words.h"

namespace {

using Action = CleXDSmb::CommandAction;

constexpr int kNotInRecord = 2060, kNotKept = 2061;

bool IsGoodbye(CleXDSmb& request) {
  return request.GetCommandAction() == Action::None && !request.GetLongDataRef().Empty();
}

// Of the practice engine's options the two that concern what blocks see and write.
struct StartWords {
  bool echo = false;
  explicit StartWords(const std::string& text) {
    const auto words = SplitWords(text);
    for (std::size_t i = 0; words && i < words->size(); ++i) {
      const std::string& word = (*words)[i].text;
      if (word == "-echo") echo = true;
      if (word != "-env" || i + 1 == words->size()) continue;
      const std::string& setting = (*words)[++i].text;
      const std::size_t sign = setting.find('=');
      if (sign != std::string::npos) setenv(setting.substr(0, sign).c_str(), setting.c_str() + sign + 1, 1);
    }
  }
};

// The language of a block, from the name of its fifos: <id><language><level>.
std::string LanguageOf(const std::string& channel) {
  const std::size_t start = channel.find_first_not_of("0123456789abcdef");
  if (start == std::string::npos) return "";
  return channel.substr(start, channel.find_last_not_of("0123456789") + 1 - start);
}

// A program that dies is noticed by another thread, which ends this process: not before what was left is
// told.
class ProgramWatch {
 public:
  explicit ProgramWatch(const ReplayNotes& notes_of_run) : notes(notes_of_run) {}
  int Gone() const { return gone.Number(); }
  void Told() const { eventfd_write(told.Number(), 1); }
  // Called by that thread.
  void AwaitTold() const {
    constexpr int kMilliseconds = 2000;
    eventfd_write(gone.Number(), 1);
    pollfd look = {told.Number(), POLLIN, 0};
    if (poll(&look, 1, kMilliseconds) == 0) notes.Differs("the program went away while a block of it ran");
  }

 private:
  const ReplayNotes& notes;
  const Descriptor gone{eventfd(0, EFD_CLOEXEC)}, told{eventfd(0, EFD_CLOEXEC)};
};

class Server {
 public:
  Server(const RecordedSession& of, const Description& description, const ServeOptions& options,
         const ReplayNotes& notes_of_run, int program_gone)
      : replay(of, description, options.any_order),
        notes(notes_of_run),
        number(options.session),
        start(options.words[3]),
        blocks(options.words[2], options.languages, program_gone) {}

  // The whole session.
  void Serve(ApiChannel& channel) {
    Scope whole = replay.Whole();
    Serve(channel, whole, true);
    if (!told_left) TellLeft(whole);
  }

 private:
  void Serve(ApiChannel& channel, Scope& scope, bool first_level);
  void Stop(const Scope& scope);
  void TellLeft(const Scope& scope) const;
  bool Answer(ApiChannel& channel, Scope& scope, CleXDSmb& request);
  bool AnswerDifference(ApiChannel& channel, const Scope& scope, CleXDSmb& request);
  bool SendRecorded(ApiChannel& channel, const RecordedFrame& reply);
  void RunBlocks(std::size_t step, CleXDSmb& request);
  void Say(const std::string& text) const {
    notes.Differs("session " + std::to_string(number) + ": " + text);
  }

  Replay replay;
  const ReplayNotes& notes;
  const std::size_t number;
  const StartWords start;
  BlockRuns blocks;
  std::size_t asked = 0;
  bool ended = false, known_end = false, told_left = false;
};

void Server::Serve(ApiChannel& channel, Scope& scope, bool first_level) {
  CleXDSmb request;
  while (!ended) {
    request.CleanUp();
    request.SetCommandAction(Action::None);
    if (!channel.NextRequest(request, blocks.Ends())) break;
    ++asked;
    const Action action = request.GetCommandAction();
    const std::unique_ptr<char[]> image(request.GetBinaryData());  // a block never frees its binary string
    if (!Answer(channel, scope, request)) ended = true;
    if (action == Action::StopReceiveXdApiThread && !first_level) break;
  }
}

// All that is to be said is said before the answer: the program may kill this process behind it.
void Server::Stop(const Scope& scope) {
  blocks.Stop();
  TellLeft(scope);
  told_left = true;
}

void Server::TellLeft(const Scope& scope) const {
  const std::string left = replay.Left(scope);
  if (!left.empty()) Say("the program " + left);
}

// False when there is nothing more to say to it.
bool Server::Answer(ApiChannel& channel, Scope& scope, CleXDSmb& request) {
  const auto step = replay.Take(scope, request);
  if (!step) return AnswerDifference(channel, scope, request);
  const Action action = request.GetCommandAction();
  if (action == Action::Submit) RunBlocks(*step, request);
  if (action == Action::StopVexa) Stop(scope);
  if (start.echo && action == Action::PostVexaOutput) {
    for (const std::string& text : request.GetStringDataRef().Values())
      std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
  }
  // What the backend did not answer: it was told goodbye, or died.
  const RecordedFrame* const reply = replay.At(*step).reply;
  if (reply == nullptr) return false;
  return SendRecorded(channel, *reply) && action != Action::StopVexa;
}

// A reply that broke off is sent as far as it came, and was the last one.
bool Server::SendRecorded(ApiChannel& channel, const RecordedFrame& reply) {
  if (reply.bytes.size() == reply.moved)
    return (reply.moved == 0 || channel.SendBytes(reply.bytes)) && reply.code == 0;
  const std::string reason = "the record keeps " + std::to_string(reply.bytes.size()) + " of the " +
                             std::to_string(reply.length) + " bytes of this reply";
  Say("call " + std::to_string(asked) + " cannot be answered: " + reason);
  CleXDSmb refusal;
  refusal.SetErrorCode(kNotKept);
  refusal.SetString(reason);
  return channel.Reply(refusal);
}

// A session can be ended whatever it was.
bool Server::AnswerDifference(ApiChannel& channel, const Scope& scope, CleXDSmb& request) {
  const Action action = request.GetCommandAction();
  const std::string difference = replay.Difference(scope, request);
  const bool life = action == Action::IsBackendReady || action == Action::IsXDriven ||
                    action == Action::StopVexa || action == Action::StopReceiveXdApiThread;
  if (!known_end || !life) Say("call " + std::to_string(asked) + " of the program " + difference);
  if (IsGoodbye(request)) return false;
  CleXDSmb reply;
  reply.SetCommandAction(action);
  if (life) {
    known_end = true;  // what belongs to the end is told once
    reply.SetLong(1);
  } else {
    reply.SetErrorCode(kNotInRecord);
    reply.SetString("vexa trace serve: this call " + difference);
  }
  if (action == Action::StopVexa) Stop(scope);
  return channel.Reply(reply) && action != Action::StopVexa;
}

// Of a call within which something was asked: it ran blocks, which are those of its text, or what the record
// has of them. The reply is the record's, whatever came of them.
void Server::RunBlocks(std::size_t step, CleXDSmb& request) {
  const Scope within = replay.Within(step);
  if (within.begin == within.end) return;
  const auto& texts = request.GetStringDataRef().Values();
  std::vector<LanguageBlock> wanted = BlocksOf(texts.empty() ? "" : texts[0]);
  const std::vector<std::size_t> recorded = replay.BlocksIn(within);
  if (wanted.empty()) {
    for (const std::size_t block : recorded) {
      CleXDSmb lines;
      const std::string& frame = replay.At(block).request->bytes;
      lines.ParseFrame(frame.data(), frame.size());
      wanted.push_back({LanguageOf(replay.At(block).channel), lines.GetStringDataRef().Values()});
    }
  }
  std::size_t next = 0;
  Scope others = within;  // of languages whose blocks do not travel on a fifo
  bool others_ran = false;
  for (const LanguageBlock& block : wanted) {
    const bool travels =
        next < recorded.size() && LanguageOf(replay.At(recorded[next]).channel) == block.language;
    Scope own = travels ? replay.Within(recorded[next++]) : others;
    if (!blocks.Takes(block.language)) continue;
    Scope& scope = travels ? own : others;
    const int code = blocks.Run(block, [&](ApiChannel& level) { Serve(level, scope, false); });
    if (travels) TellLeft(own);
    others_ran |= !travels;
    if (code != 0 || ended) break;
  }
  if (others_ran) TellLeft(others);
}

}  // namespace

// Held by a lock until the process ends, for whoever awaits that.
std::size_t ReplayNotes::TakeTurn() const {
  for (std::size_t turn = 1;; ++turn) {
    const std::string file = File("session-" + std::to_string(turn));
    Descriptor mine(open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (mine.Number() != -1) {
      flock(mine.Number(), LOCK_EX);
      mine.Release();
      return turn;
    }
    if (errno != EEXIST) return 0;
  }
}

void ReplayNotes::Differs(const std::string& text) const {
  std::cerr << "vexa: " + text + '\n' << std::flush;
  if (directory.empty()) return;
  const Descriptor note(open(File("differences").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
}

bool ReplayNotes::Any() const { return access(File("differences").c_str(), F_OK) == 0; }

std::size_t ReplayNotes::AwaitTurns() const {
  for (std::size_t turns = 0;; ++turns) {
    const std::string file = File("session-" + std::to_string(turns + 1));
    const Descriptor turn(open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (turn.Number() == -1) return turns;
    while (flock(turn.Number(), LOCK_SH) == -1 && errno == EINTR) {
    }
  }
}

int ServeRecord(const Record& record, const Description& description, const ServeOptions& options,
                const ReplayNotes& notes) {
  std::signal(SIGPIPE, SIG_IGN);  // a program that is gone shows as a failed write
  std::signal(SIGINT, SIG_IGN);   // meant for the program, which may go on
  const std::vector<RecordedSession> sessions = SessionsOf(ExchangesOf(record.frames));
  const ProgramWatch watch(notes);
  DriverLink link(options.words[0], options.words[1], options.words[2], [&watch] { watch.AwaitTold(); });
  if (options.session == 0 || options.session > sessions.size()) {
    const std::string reason =
        "the record has " + std::to_string(sessions.size()) + " sessions, and the program starts one more";
    notes.Differs(reason);
    watch.Told();
    link.Report(kNotInRecord, "vexa trace serve: " + reason);
    return exit_codes::kFailed;
  }
  const RecordedSession& session = sessions[options.session - 1];
  const RecordedFrame& first = *session.start.reply;
  Server server(session, description, options, notes, watch.Gone());
  CleXDSmb report;
  report.ParseFrame(first.bytes.data(), first.bytes.size());
  const bool starts = report.GetErrorCode() == 0 && first.moved == first.length;
  const bool reached = link.Channel().Listen() && link.Channel().SendBytes(first.bytes);
  if (starts && reached) server.Serve(link.Channel());
  watch.Told();
  return starts && reached ? exit_codes::kGood : exit_codes::kFailed;
}
