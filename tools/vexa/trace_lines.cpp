#include "trace_lines.h"

#include <utility>

using Json = nlohmann::ordered_json;

std::vector<Shown> ShownOf(const std::vector<RecordedFrame>& frames, const Description& description) {
  std::vector<Shown> all;
  for (Exchange& exchange : ExchangesOf(frames)) {
    Told told = description.Tell(exchange);
    all.push_back({std::move(exchange), std::move(told)});
  }
  return all;
}

Json ObjectOf(const Shown& each) {
  const Exchange& exchange = each.exchange;
  const RecordedFrame& frame = exchange.First();
  constexpr const char* kKinds[] = {"call", "block", "command"};
  return {{"kind", kKinds[static_cast<int>(exchange.kind)]},
          {"name", each.told.name},
          {"arguments", each.told.arguments},
          {"results", each.told.results},
          {"code", each.told.code},
          {"state", each.told.state},
          {"depth", exchange.depth},
          {"session", exchange.session},
          {"fifo", frame.fifo},
          {"process", frame.process},
          {"program", frame.program},
          {"thread", frame.thread},
          {"start", exchange.start},
          {"nanoseconds", exchange.end - exchange.start}};
}

std::string Dumped(const Json& value) { return value.dump(-1, ' ', false, Json::error_handler_t::replace); }

std::vector<StableLine> StableLines(const std::vector<Shown>& all, Form form) {
  std::vector<StableLine> lines;
  std::size_t session = 0;
  for (const Shown& each : all) {
    if (each.exchange.session != session) lines.push_back({"", nullptr});
    session = each.exchange.session;
    lines.push_back({std::string(2 * each.exchange.depth, ' ') + Line(each.told, form), &each});
  }
  return lines;
}
