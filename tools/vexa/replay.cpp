#include "replay.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace {

using Json = nlohmann::ordered_json;

std::string Dumped(const Json& value) { return value.dump(-1, ' ', false, Json::error_handler_t::replace); }

// A value beside another one: a long text from a little ahead of the place where they part.
std::string Beside(const Json& value, const Json& other) {
  constexpr std::size_t kAhead = 20, kMost = 60;
  if (!value.is_string() || !other.is_string()) return Written(Json::array({value}));
  const std::string text = value, with = other;
  const std::size_t parted = static_cast<std::size_t>(
      std::mismatch(text.begin(), text.end(), with.begin(), with.end()).first - text.begin());
  if (parted < kMost - kAhead) return Written(Json::array({value}));
  return "(from byte " + std::to_string(parted - kAhead) + ") " +
         Written(Json::array({text.substr(parted - kAhead)}));
}

// The first slot in which they differ.
std::string DifferingSlot(const Slots& recorded, const Slots& asked) {
  const Json none = Json::array();
  for (const char* const slot : kSlotNames) {
    const auto of = [&](const Slots& slots) -> const Json& {
      const auto found = slots.find(slot);
      return found != slots.end() ? found->second : none;
    };
    const Json &a = of(recorded), &b = of(asked);
    for (std::size_t i = 0; i < std::max(a.size(), b.size()); ++i) {
      const std::string place = std::string(slot) + "[" + std::to_string(i) + "]";
      if (i >= a.size()) return place + " is not in the record, and " + Beside(b[i], none) + " here";
      if (i >= b.size()) return place + " is " + Beside(a[i], none) + " in the record, and not here";
      if (Dumped(a[i]) != Dumped(b[i]))
        return place + " is " + Beside(a[i], b[i]) + " in the record, and " + Beside(b[i], a[i]) + " here";
    }
  }
  return "";
}

std::string_view Image(CleXDSmb& block) {
  int length = 0;
  block.ContructSendData();
  const char* const image = block.GetSendBuf(length);
  return {image, image != nullptr ? static_cast<std::size_t>(length) : 0};
}

}  // namespace

std::vector<RecordedSession> SessionsOf(const std::vector<Exchange>& exchanges) {
  std::vector<RecordedSession> sessions;
  std::size_t group = 0;
  for (const Exchange& each : exchanges) {
    const bool starts = each.kind == Exchange::Kind::Call && each.request == nullptr;
    if (starts) sessions.push_back({each, {}});
    if (starts) group = each.session;
    const bool asked = each.request != nullptr && each.kind != Exchange::Kind::Command;
    if (asked && !sessions.empty() && each.session == group) sessions.back().steps.push_back(each);
  }
  std::stable_sort(sessions.begin(), sessions.end(), [](const RecordedSession& a, const RecordedSession& b) {
    return a.start.start < b.start.start;
  });
  return sessions;
}

std::size_t Replay::End(std::size_t step) const {
  std::size_t end = step + 1;
  while (end < session.steps.size() && At(end).depth > At(step).depth) ++end;
  return end;
}

// This one or the first behind it that is a call of the scope itself: the end of the scope where there is
// none.
std::size_t Replay::NextCall(std::size_t step, const Scope& scope) const {
  while (step < scope.end && !IsCall(step)) step = End(step);
  return std::min(step, scope.end);
}

bool Replay::Same(std::size_t step, CleXDSmb& request) const {
  const RecordedFrame& recorded = *At(step).request;
  const std::string_view image = Image(request).substr(0, recorded.bytes.size());
  if (image == recorded.bytes) return true;
  // Of a frame whose front alone was kept, the front is compared.
  CleXDSmb front;
  front.ParseFrame(image.data(), image.size());
  const Told ours = described.Tell(Exchange::Kind::Call, front);
  const Told theirs = described.Tell(At(step));
  return ours.name == theirs.name && DifferingSlot(theirs.asked, ours.asked).empty();
}

std::optional<std::size_t> Replay::Find(std::size_t from, const Scope& scope, CleXDSmb& request,
                                        bool again) const {
  for (std::size_t at = NextCall(from, scope); at < scope.end; at = NextCall(End(at), scope)) {
    if (played[at] == again && Same(at, request)) return at;
  }
  return std::nullopt;
}

std::optional<std::size_t> Replay::Take(Scope& scope, CleXDSmb& request) {
  scope.next = NextCall(scope.next, scope);
  std::optional<std::size_t> step;
  if (any_order) {
    step = Find(scope.begin, scope, request, false);
    if (!step) step = Find(scope.begin, scope, request, true);
  } else if (scope.lost) {
    step = Find(scope.next, scope, request, false);
  } else if (scope.next < scope.end && Same(scope.next, request)) {
    step = scope.next;
  }
  scope.lost = !step;
  if (!step) return step;
  played[*step] = true;
  scope.next = End(*step);
  return step;
}

std::string Replay::Difference(const Scope& scope, CleXDSmb& request) const {
  const Told ours = described.Tell(Exchange::Kind::Call, request);
  const std::string asked = "\n  program: " + RequestLine(ours);
  if (any_order) return "is not in the record:" + asked;
  const std::size_t next = NextCall(scope.next, scope);
  if (next == scope.end) return "is not in the record, which ends here:" + asked;
  const Told theirs = described.Tell(At(next));
  const std::string slot =
      ours.name == theirs.name ? DifferingSlot(theirs.asked, ours.asked) : "another function";
  return "differs from the record:\n  record:  " + RequestLine(theirs) + asked + "\n  " + slot;
}

// A backend that died may have been asked more, or not, before that was noticed.
std::string Replay::Left(const Scope& scope) const {
  const auto answered = [](const Exchange& call) { return call.reply != nullptr && call.reply->code == 0; };
  std::size_t left = 0, first = 0;
  for (std::size_t at = NextCall(any_order ? scope.begin : scope.next, scope); at < scope.end;
       at = NextCall(End(at), scope)) {
    if (!played[at] && answered(At(at)) && left++ == 0) first = at;
  }
  if (left == 0) return "";
  return "did not come to the last " + std::to_string(left) +
         " of the record:\n  record:  " + RequestLine(described.Tell(At(first)));
}

std::vector<std::size_t> Replay::BlocksIn(const Scope& scope) const {
  std::vector<std::size_t> blocks;
  for (std::size_t at = scope.begin; at < scope.end; at = End(at)) {
    if (!IsCall(at)) blocks.push_back(at);
  }
  return blocks;
}
