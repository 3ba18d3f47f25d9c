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
  session.output.Write();
  session.output_written = true;
  return 0;
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

// What travels with an answer has no room for a reason: the driver reads it.
bool ComesWithAnswer(int code) {
  return code == 0 || code == CleXDErrorCode::kEndOfData || code == CleXDErrorCode::kEndOfSplit ||
         code == CleXDErrorCode::kNoActiveName;
}

void Refuse(CleXDSmb& reply, int code, const std::string& reason) {
  reply.SetErrorCode(code);
  if (ComesWithAnswer(code)) return;
  delete[] reply.GetBinaryData();
  reply.CleanUp();
  reply.SetErrorCode(code);
  reply.SetString(ReasonText(reason));
}

const std::string& TakeName(Arguments& arguments) {
  const std::string* const name = arguments.TakeText();
  if (name == nullptr) throw Refusal(engine_code::kBadRequest, "the request lacks a name");
  return *name;
}

Selected VariableOf(Dataset& dataset, Arguments& arguments) {
  const std::optional<int> index = arguments.TakeLong();
  if (!index) throw Refusal(engine_code::kBadRequest, "the request lacks the index of a variable");
  return {&dataset, &VariableAt(dataset, index)};
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

Selected ActiveDataset(Session& session, Arguments&) { return {&session.Data(), nullptr}; }

Selected StepDataset(Session& session, Arguments& arguments) {
  if (!session.datasets.StepOpen()) throw Refusal(CleXDErrorCode::kNoStepOpen, "no data step is open");
  const std::string& name = TakeName(arguments);
  Dataset* const dataset = session.datasets.FindInStep(name);
  if (dataset == nullptr) throw Refusal(CleXDErrorCode::kUnknownDataset, name + " is not in the data step");
  return {dataset, nullptr};
}

Selected ActiveVariable(Session& session, Arguments& arguments) {
  return VariableOf(session.Data(), arguments);
}

Selected StepVariable(Session& session, Arguments& arguments) {
  return VariableOf(*StepDataset(session, arguments).dataset, arguments);
}

Selected NamedVariable(Session& session, Arguments& arguments) {
  const std::string& name = TakeName(arguments);
  for (Variable& variable : session.declared.variables) {
    if (SameName(variable.name, name)) return {&session.Data(), &variable};
  }
  return {&session.Data(), &VariableNamed(session.Data(), name)};
}

Session::Session(Backend& of_backend) : backend(of_backend), datasets(of_backend) {
  settings.host_name = backend.identity.name;
  settings.host_version = backend.identity.version;
  settings.host_copyright = backend.identity.copyright;
}

// What a handler throws says that memory, threads or descriptors have run out; it has changed nothing then.
void Session::Handle(Handler handler, CleXDSmb& request, CleXDSmb& reply) {
  int code = engine_code::kNoRoom;
  std::string reason;
  try {
    const int handled = handler(*this, request, reply);
    if (!XmlRanOut()) code = handled;
  } catch (const Refusal& refusal) {
    code = refusal.code;
    reason = refusal.what();
  } catch (const std::exception&) {
  }
  Refuse(reply, code, reason.empty() ? MeaningOf(code) : reason);
}

bool Session::Serve(CleXDSmb& request, CleXDSmb& reply, const Fault* fault) {
  static const ActionTable table = MakeTable();
  const std::unique_ptr<char[]> unread(request.GetBinaryData());  // a block never frees its binary string
  if (IsGoodbye(request)) {
    ended = true;
    return false;
  }
  const auto found = table.find(request.GetCommandAction());
  reply.SetCommandAction(request.GetCommandAction());
  try {
    if (fault != nullptr) Suffer(*fault);
  } catch (const Refusal& ordered) {
    Refuse(reply, ordered.code, ordered.what());
    return true;
  }
  if (found != table.end()) {
    Handle(found->second, request, reply);
  } else {
    Refuse(reply, engine_code::kUnknownAction, MeaningOf(engine_code::kUnknownAction));
  }
  return true;
}
