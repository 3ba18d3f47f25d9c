#include "exchanges.h"

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <tuple>
#include <utility>

namespace {

using Kind = Exchange::Kind;

struct Carried {
  std::string_view ending;
  Kind kind;
  bool reply;
};
// The longer ones first.
constexpr Carried kCarried[] = {{"syntaxresult", Kind::Block, true}, {"xdapiresult", Kind::Call, true},
                                {"syntax", Kind::Block, false},      {"xdapi", Kind::Call, false},
                                {"_s", Kind::Command, false},        {"_c", Kind::Command, true}};

const Carried* CarriedBy(std::string_view fifo) {
  const auto* const found =
      std::find_if(std::begin(kCarried), std::end(kCarried),
                   [&](const Carried& carried) { return fifo.ends_with(carried.ending); });
  return found != std::end(kCarried) ? found : nullptr;
}

using Channel = std::pair<std::string, Kind>;

// The end of a session finds each fifo closed, which nobody asked about.
bool IsOnlyTheEnd(const RecordedFrame& frame) { return !frame.sent && frame.moved == 0; }

std::vector<Exchange> Joined(const std::vector<RecordedFrame>& frames) {
  std::vector<Exchange> exchanges;
  std::map<std::pair<std::int32_t, Channel>, std::optional<std::size_t>> waiting;
  for (const RecordedFrame& frame : frames) {
    const Carried* const carried = CarriedBy(frame.fifo);
    if (carried == nullptr) continue;
    const std::string name = frame.fifo.substr(0, frame.fifo.size() - carried->ending.size());
    std::optional<std::size_t>& open = waiting[{frame.process, {name, carried->kind}}];
    if (carried->reply && open) {
      exchanges[*open].reply = &frame;
      exchanges[*open].end = frame.time;
      open.reset();
    } else if (!IsOnlyTheEnd(frame)) {
      exchanges.push_back({carried->kind, name, carried->reply ? nullptr : &frame,
                           carried->reply ? &frame : nullptr, frame.time,
                           carried->reply || frame.code != 0 ? frame.time : frames.back().time});
      if (!carried->reply) open = exchanges.size() - 1;
    }
  }
  return exchanges;
}

// Of two processes' views of a channel, the one that asks stays.
void DropAnsweringSides(std::vector<Exchange>& exchanges) {
  std::set<Channel> asked;
  for (const Exchange& each : exchanges) {
    if (each.Asked()) asked.emplace(each.channel, each.kind);
  }
  std::erase_if(exchanges, [&](const Exchange& each) {
    return !each.Asked() && asked.count({each.channel, each.kind}) != 0;
  });
}

// Each process as the least one that it can be reached from over fifos.
std::map<std::int32_t, std::int32_t> Reached(const std::vector<RecordedFrame>& frames) {
  std::map<std::string, std::set<std::int32_t>> ends;
  std::map<std::int32_t, std::int32_t> reached;
  for (const RecordedFrame& frame : frames) {
    ends[frame.fifo].insert(frame.process);
    reached[frame.process] = frame.process;
  }
  for (bool changed = true; changed;) {
    changed = false;
    for (const auto& [fifo, processes] : ends) {
      std::int32_t least = reached[*processes.begin()];
      for (const std::int32_t process : processes) least = std::min(least, reached[process]);
      for (const std::int32_t process : processes) changed |= std::exchange(reached[process], least) != least;
    }
  }
  return reached;
}

void Nest(std::vector<Exchange>& exchanges) {
  std::vector<const Exchange*> around;
  for (Exchange& each : exchanges) {
    if (!around.empty() && around.front()->session != each.session) around.clear();
    while (!around.empty() && around.back()->end <= each.start) around.pop_back();
    // What was never answered ends with what it lies in.
    if (each.reply == nullptr && !around.empty()) each.end = std::min(each.end, around.back()->end);
    each.depth = around.size();
    around.push_back(&each);
  }
}

}  // namespace

std::vector<Exchange> ExchangesOf(const std::vector<RecordedFrame>& frames) {
  std::vector<Exchange> exchanges = Joined(frames);
  DropAnsweringSides(exchanges);
  std::map<std::int32_t, std::int32_t> reached = Reached(frames);
  std::map<std::int32_t, std::size_t> sessions;
  for (Exchange& each : exchanges)
    each.session = sessions.emplace(reached[each.First().process], sessions.size()).first->second;
  std::stable_sort(exchanges.begin(), exchanges.end(), [](const Exchange& a, const Exchange& b) {
    return std::tie(a.session, a.start, b.end) < std::tie(b.session, b.start, a.end);
  });
  Nest(exchanges);
  return exchanges;
}
