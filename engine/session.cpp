#include "session.h"

#include <unordered_map>

namespace {

constexpr int kGoodbye = 998800;  // the integer of a driver's last message, which has no action of its own

// What the driver asks about the engine itself is all answered with "yes".
int Yes(Session&, CleXDSmb&, CleXDSmb& reply) {
  reply.SetLong(1);
  return 0;
}

// Syntax is taken and nothing runs: the engine has no commands.
int Accept(Session&, CleXDSmb&, CleXDSmb&) { return 0; }

int End(Session& session, CleXDSmb&, CleXDSmb&) {
  session.ended = true;
  return 0;
}

constexpr ActionEntry kLifeActions[] = {
    {Action::Submit, Accept},
    {Action::IsBackendReady, Yes},
    {Action::IsXDriven, Yes},
    {Action::StopVexa, End},
    {Action::StopReceiveXdApiThread, Accept},
};

using ActionTable = std::unordered_map<Action, Handler>;

ActionTable MakeTable() {
  ActionTable table;
  for (const auto family : {std::span<const ActionEntry>(kLifeActions), DictionaryActions(), CaseActions()}) {
    for (const ActionEntry& entry : family) table.emplace(entry.action, entry.handler);
  }
  return table;
}

bool IsGoodbye(CleXDSmb& request) {
  return request.GetCommandAction() == Action::None && LongArgument(request, 0) == kGoodbye;
}

}  // namespace

std::optional<int> LongArgument(CleXDSmb& request, std::size_t index) {
  const auto& values = request.GetLongDataRef().Values();
  if (index >= values.size()) return std::nullopt;
  return values[index];
}

bool Session::Serve(CleXDSmb& request, CleXDSmb& reply) {
  static const ActionTable table = MakeTable();
  if (IsGoodbye(request)) {
    ended = true;
    return false;
  }
  const auto found = table.find(request.GetCommandAction());
  reply.SetCommandAction(request.GetCommandAction());
  reply.SetErrorCode(found != table.end() ? found->second(*this, request, reply)
                                          : engine_code::kUnknownAction);
  return true;
}
