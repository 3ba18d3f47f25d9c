#include "faults.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "engine_code.h"
#include "request_log.h"
#include "words.h"

namespace {

constexpr const char* kOrdered = "ordered by -fault";

[[noreturn]] void RefuseText(const std::string& text) {
  throw Refusal(engine_code::kBadOption, "options: -fault \"" + text + "\" is not understood");
}

int NumberIn(const std::string& word, const std::string& text) {
  const auto number = ParseNumber(word);
  if (!number || *number < 0 || *number > 1e9) RefuseText(text);
  return static_cast<int>(*number);
}

struct KindWords {
  const char* word;
  const char* detail;  // a second word; null: a number follows; empty: nothing does
  Fault::Kind kind;
};
constexpr KindWords kKinds[] = {
    {"code", nullptr, Fault::Kind::Code},      {"delay", nullptr, Fault::Kind::Delay},
    {"cut", nullptr, Fault::Kind::Cut},        {"shape", "empty", Fault::Kind::Empty},
    {"shape", "other", Fault::Kind::Other},    {"shape", "more", Fault::Kind::More},
    {"die", "before", Fault::Kind::DieBefore}, {"die", "within", Fault::Kind::DieWithin},
    {"die", "after", Fault::Kind::DieAfter},   {"deaf", "", Fault::Kind::Deaf},
    {"fill", "", Fault::Kind::Fill},
};

// As if someone had killed it: nothing is cleared up.
[[noreturn]] void Die() {
  std::raise(SIGKILL);
  std::abort();
}

// Until the driver ends this process, or goes itself: the link looks for that.
[[noreturn]] void DoNothing() {
  while (true) pause();
}

std::string ImageOf(CleXDSmb& block) {
  block.ContructSendData();
  int length = 0;
  const char* const image = block.GetSendBuf(length);
  return image != nullptr ? std::string(image, static_cast<std::size_t>(length)) : std::string();
}

// Its elements in slots of another type.
void Exchange(CleXDSmb& reply) {
  CleXDSmb other;
  for (const int number : reply.GetLongDataRef().Values()) other.SetString(std::to_string(number));
  for (const double number : reply.GetDoubleDataRef().Values()) other.SetString(std::to_string(number));
  for (const std::string& text : reply.GetStringDataRef().Values())
    other.SetLong(static_cast<int>(text.size()));
  reply.CleanUp();
  for (const std::string& text : other.GetStringDataRef().Values()) reply.SetString(text);
  for (const int number : other.GetLongDataRef().Values()) reply.SetLong(number);
}

void AddMore(CleXDSmb& reply) {
  constexpr int kMore = 1000;
  for (int i = 0; i < kMore; ++i) {
    reply.SetLong(i);
    reply.SetDouble(i);
    reply.SetString("more");
  }
}

}  // namespace

Faults::Faults(const std::vector<std::string>& texts) {
  for (const std::string& text : texts) {
    std::vector<std::string> words;
    for (const Word& word : SplitWords(text).value_or(std::vector<Word>())) words.push_back(word.text);
    if (words.size() < 2) RefuseText(text);
    words.front() == "start" ? AddStart(words, text) : AddRequest(words, text);
  }
}

void Faults::AddStart(const std::vector<std::string>& words, const std::string& text) {
  const std::string& kind = words[1];
  const bool numbered = kind == "code" || kind == "cut" || kind == "late";
  const bool known = numbered || kind == "exit" || kind == "die" || kind == "hangup" || kind == "silent";
  if (!known || words.size() != (numbered ? 3U : 2U)) RefuseText(text);
  starts.push_back({kind, numbered ? NumberIn(words[2], text) : 0});
}

void Faults::AddRequest(const std::vector<std::string>& words, const std::string& text) {
  Fault fault;
  if (words[0] != "any") {
    const bool number = words[0].find_first_not_of("0123456789") == std::string::npos;
    fault.action = number ? NumberIn(words[0], text) : ActionNamed(words[0]);
    if (!fault.action) RefuseText(text);
  }
  std::size_t at = 1;
  if (words[at] == "every") {
    fault.nth = 0;
    ++at;
  } else if (ParseNumber(words[at])) {
    fault.nth = std::max(NumberIn(words[at++], text), 1);
  }
  const std::string kind = at < words.size() ? words[at] : "",
                    detail = at + 1 < words.size() ? words[at + 1] : "";
  const auto* const found = std::find_if(std::begin(kKinds), std::end(kKinds), [&](const KindWords& known) {
    return kind == known.word && (known.detail == nullptr || detail == known.detail);
  });
  if (found == std::end(kKinds) || words.size() > at + 2) RefuseText(text);
  fault.kind = found->kind;
  if (found->detail == nullptr) fault.value = NumberIn(detail, text);
  requests.push_back(fault);
}

void Faults::AtStart(ApiChannel& channel) const {
  CleXDSmb first;
  for (const auto& [kind, value] : starts) {
    if (kind == "late") std::this_thread::sleep_for(std::chrono::milliseconds(value));
    if (kind == "silent") DoNothing();
    if (kind == "code") first.SetErrorCode(value);
    if (kind == "exit") {
      std::fprintf(stderr, "%s: %s\n", program_invocation_short_name, kOrdered);
      std::exit(EXIT_FAILURE);
    }
    if (kind != "die" && kind != "hangup" && kind != "cut") continue;
    channel.Listen();
    channel.SendBytes(kind == "cut" ? ImageOf(first).substr(0, static_cast<std::size_t>(value)) : "");
    if (kind == "die") Die();
    channel.HangUp();
    DoNothing();
  }
  if (first.GetErrorCode() != 0) throw Refusal(first.GetErrorCode(), kOrdered);
}

const Fault* Faults::Next(CleXDSmb::CommandAction action) {
  const Fault* ordered = nullptr;
  for (Fault& fault : requests) {
    if (fault.action && *fault.action != static_cast<int>(action)) continue;
    ++fault.seen;
    if (ordered == nullptr && (fault.nth == 0 || fault.nth == fault.seen)) ordered = &fault;
  }
  return ordered;
}

void Suffer(const Fault& fault) {
  if (fault.kind == Fault::Kind::DieBefore) Die();
  if (fault.kind == Fault::Kind::Deaf) DoNothing();
  if (fault.kind == Fault::Kind::Delay) std::this_thread::sleep_for(std::chrono::milliseconds(fault.value));
  if (fault.kind == Fault::Kind::Code) throw Refusal(fault.value, kOrdered);
}

bool ReplyWith(const Fault& fault, CleXDSmb& reply, ApiChannel& channel) {
  if (fault.kind == Fault::Kind::Empty) reply.CleanUp();
  if (fault.kind == Fault::Kind::Other) Exchange(reply);
  if (fault.kind == Fault::Kind::More) AddMore(reply);
  if (fault.kind == Fault::Kind::Cut) {
    channel.SendBytes(ImageOf(reply).substr(0, static_cast<std::size_t>(fault.value)));
    channel.HangUp();
    DoNothing();  // a reply that came later would be taken for that of the next request
  }
  if (fault.kind == Fault::Kind::DieWithin) {
    const std::string image = ImageOf(reply);
    channel.SendBytes(image.substr(0, image.size() / 2));
    Die();
  }
  const bool sent = channel.Reply(reply);
  if (fault.kind == Fault::Kind::DieAfter) Die();
  if (fault.kind == Fault::Kind::Fill) {
    channel.FillRequests();
    DoNothing();
  }
  return sent;
}
