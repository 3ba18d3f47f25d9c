#include "session.h"

#include <exception>
#include <new>
#include <unordered_map>

#include "arguments.h"
#include "language_run.h"
#include "words.h"

namespace {

constexpr int kGoodbye = 998800;  // the integer of a driver's last message, which has no action of its own

int Accept(Session&, CleXDSmb&, CleXDSmb&) { return 0; }

int XDrives(Session& session, CleXDSmb&, CleXDSmb& reply) {
  reply.SetLong(session.x_drives ? 1 : 0);
  return 0;
}

// The driver kills the engine soon after the reply: all that has to end does so before that.
int End(Session& session, CleXDSmb&, CleXDSmb&) {
  session.ended = true;
  StopLanguages(session);
  session.output_written = session.output.Write();
  return session.output_written ? 0 : engine_code::kUnreadable;
}

constexpr ActionEntry kLifeActions[] = {
    {Action::IsBackendReady, Answer<1>},
    {Action::IsXDriven, XDrives},
    {Action::StopVexa, End},
    {Action::StopReceiveXdApiThread, Accept},
};

using ActionTable = std::unordered_map<Action, Handler>;

ActionTable MakeTable() {
  ActionTable table;
  for (const auto family :
       {std::span<const ActionEntry>(kLifeActions), DictionaryActions(), CaseActions(), AttributeActions(),
        OutputActions(), PivotTableActions(), SettingActions(), XPathActions(), DefinitionActions(),
        WritingActions(), DataStepActions(), CellActions(), TransportActions()}) {
    for (const ActionEntry& entry : family) table.emplace(entry.action, entry.handler);
  }
  return table;
}

bool IsGoodbye(CleXDSmb& request) {
  return request.GetCommandAction() == Action::None && LongArgument(request, 0) == kGoodbye;
}

Variable* At(Dataset& dataset, int index) {
  const auto at = static_cast<std::size_t>(index);  // a negative one is past the end
  return at < dataset.variables.size() ? &dataset.variables[at] : nullptr;
}

Selected VariableOf(Dataset& dataset, Arguments& arguments) {
  const std::optional<int> index = arguments.TakeLong();
  if (!index) return {engine_code::kBadRequest};
  Variable* const variable = At(dataset, *index);
  return {variable != nullptr ? 0 : CleXDErrorCode::kIndexOutOfRange, &dataset, variable};
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

void AllocateBlock(CleXDSmb& reply, std::size_t bytes) {
  reply.AllocVoidData(static_cast<int>(bytes));
  int length = 0;
  if (reply.GetVoidData(length) == nullptr) throw std::bad_alloc();
}

Variable* VariableAt(Session& session, std::optional<int> index) {
  return At(session.Data(), index.value_or(-1));
}

Selected ActiveDataset(Session& session, Arguments&) { return {0, &session.Data(), nullptr}; }

Selected StepDataset(Session& session, Arguments& arguments) {
  if (!session.datasets.StepOpen()) return {CleXDErrorCode::kNoStepOpen};
  const std::string* name = arguments.TakeText();
  if (name == nullptr) return {engine_code::kBadRequest};
  Dataset* const dataset = session.datasets.FindInStep(*name);
  return {dataset != nullptr ? 0 : CleXDErrorCode::kUnknownDataset, dataset};
}

Selected ActiveVariable(Session& session, Arguments& arguments) {
  return VariableOf(session.Data(), arguments);
}

Selected StepVariable(Session& session, Arguments& arguments) {
  const Selected step = StepDataset(session, arguments);
  return step.code == 0 ? VariableOf(*step.dataset, arguments) : step;
}

Selected NamedVariable(Session& session, Arguments& arguments) {
  const std::string* name = arguments.TakeText();
  if (name == nullptr) return {engine_code::kBadRequest};
  for (Variable& variable : session.declared.variables) {
    if (SameName(variable.name, *name)) return {0, &session.Data(), &variable};
  }
  Variable* const variable = session.Data().Find(*name);
  return {variable != nullptr ? 0 : engine_code::kUnknownName, &session.Data(), variable};
}

// What a handler throws says that memory, threads or descriptors have run out; it has changed nothing then.
int Session::Handle(Handler handler, CleXDSmb& request, CleXDSmb& reply) {
  try {
    const int code = handler(*this, request, reply);
    if (!XmlRanOut()) return code;
  } catch (const std::exception&) {
  }
  delete[] reply.GetBinaryData();
  reply.CleanUp();
  return engine_code::kNoRoom;
}

bool Session::Serve(CleXDSmb& request, CleXDSmb& reply) {
  static const ActionTable table = MakeTable();
  const std::unique_ptr<char[]> unread(request.GetBinaryData());  // a block never frees its binary string
  if (IsGoodbye(request)) {
    ended = true;
    return false;
  }
  const auto found = table.find(request.GetCommandAction());
  const int code = found != table.end() ? Handle(found->second, request, reply) : engine_code::kUnknownAction;
  reply.SetCommandAction(request.GetCommandAction());
  reply.SetErrorCode(code);
  return true;
}
