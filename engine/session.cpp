#include "session.h"

#include <unordered_map>

namespace {

constexpr int kGoodbye = 998800;  // the integer of a driver's last message, which has no action of its own

int Accept(Session&, CleXDSmb&, CleXDSmb&) { return 0; }

// The driver kills the engine soon after the reply: the output is written before that.
int End(Session& session, CleXDSmb&, CleXDSmb&) {
  session.ended = true;
  return session.output.Write() ? 0 : engine_code::kUnreadable;
}

constexpr ActionEntry kLifeActions[] = {
    {Action::IsBackendReady, Answer<1>},
    {Action::IsXDriven, Answer<1>},
    {Action::StopVexa, End},
    {Action::StopReceiveXdApiThread, Accept},
};

using ActionTable = std::unordered_map<Action, Handler>;

ActionTable MakeTable() {
  ActionTable table;
  for (const auto family :
       {std::span<const ActionEntry>(kLifeActions), DictionaryActions(), CaseActions(), AttributeActions(),
        OutputActions(), PivotTableActions(), SettingActions(), XPathActions()}) {
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

const std::string* TextArgument(CleXDSmb& request, std::size_t index) {
  const auto& values = request.GetStringDataRef().Values();
  return index < values.size() ? &values[index] : nullptr;
}

Variable* VariableAt(Session& session, std::optional<int> index) {
  auto& variables = session.dataset.variables;
  const auto at = static_cast<std::size_t>(index.value_or(-1));  // a negative one is past the end
  return at < variables.size() ? &variables[at] : nullptr;
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
