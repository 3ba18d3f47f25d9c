// The data step: several datasets at once, by name. Here the datasets themselves, their variables and their
// cases; what is said of a variable is in definition_actions.cpp, the cells are in cell_actions.cpp.
#include <algorithm>
#include <numeric>

#include "arguments.h"
#include "bulk_rows.h"
#include "words.h"

namespace {

using Texts = std::span<const std::string>;

[[noreturn]] void RefuseDataset(const std::string& name) {
  throw Refusal(CleXDErrorCode::kUnknownDataset, "there is no dataset " + name);
}

int StartStep(Session& session, CleXDSmb&, CleXDSmb&) {
  if (session.datasets.StepOpen()) return engine_code::kStepOpen;
  if (session.output.InProcedure()) return engine_code::kProcedureOpen;
  if (session.cursor) return engine_code::kCursorExists;
  session.datasets.OpenStep();
  return 0;
}

int EndStep(Session& session, CleXDSmb&, CleXDSmb&) {
  if (!session.datasets.StepOpen()) return CleXDErrorCode::kNoStepOpen;
  session.datasets.CloseStep();
  return 0;
}

// A name that is not there yet makes an empty dataset. The first flag: it goes with the end of the step. The
// second: it becomes the active one.
int EnterDataset(Session& session, CleXDSmb& request, CleXDSmb&) {
  Datasets& datasets = session.datasets;
  const std::string* name = TextArgument(request, 0);
  if (name == nullptr) return engine_code::kBadRequest;
  if (!datasets.StepOpen()) return CleXDErrorCode::kNoStepOpen;
  Dataset* dataset = datasets.Find(*name);
  const bool is_new = dataset == nullptr, for_step = LongArgument(request, 0).value_or(0) != 0;
  if (is_new) {
    RequireName(*name);
    datasets.ReserveStep();
    dataset = &datasets.Add(*name, for_step);
  }
  datasets.EnterStep(*dataset, is_new && for_step);
  if (LongArgument(request, 1).value_or(0) != 0) datasets.Activate(*dataset);
  return 0;
}

int Rename(Session& session, Texts names, CleXDSmb&) {
  Dataset* const dataset = session.datasets.Find(names[0]);
  if (dataset == nullptr) RefuseDataset(names[0]);
  RequireName(names[1]);
  Dataset* const other = session.datasets.Find(names[1]);
  if (other != nullptr && other != dataset) RefuseTaken(names[1]);
  dataset->Rename(names[1]);
  return 0;
}

int NewName(Session& session, CleXDSmb&, CleXDSmb& reply) {
  reply.SetString(session.datasets.NewName());
  return 0;
}

int ActiveName(Session& session, CleXDSmb&, CleXDSmb& reply) {
  if (session.Data().name.empty()) return CleXDErrorCode::kNoActiveName;
  reply.SetString(session.Data().name);
  return 0;
}

int Activate(Session& session, Texts names, CleXDSmb&) {
  Dataset* const dataset = session.datasets.Find(names[0]);
  if (dataset == nullptr) RefuseDataset(names[0]);
  if (session.cursor) return engine_code::kCursorExists;
  if (!session.declared.variables.empty()) return engine_code::kHeaderOpen;
  session.datasets.Activate(*dataset);
  return 0;
}

// Into a new dataset, or in place of what is in one. Those of the step are not replaced under the driver.
int Copy(Session& session, Texts names, CleXDSmb&) {
  Datasets& datasets = session.datasets;
  Dataset* const source = datasets.Find(names[0]);
  Dataset* target = datasets.Find(names[1]);
  if (source == nullptr) RefuseDataset(names[0]);
  if (target == source || (target == &session.Data() && session.cursor)) return engine_code::kBadName;
  if (datasets.FindInStep(names[1]) != nullptr) return engine_code::kStepOpen;
  if (target == nullptr) RequireName(names[1]);
  const bool is_new = target == nullptr;
  if (is_new) target = &datasets.Add(names[1]);
  try {
    target->CopyFrom(*source);
  } catch (...) {
    if (is_new) datasets.Remove(*target);
    throw;
  }
  return 0;
}

// The active dataset only leaves the step.
int CloseOne(Session& session, Texts names, CleXDSmb&) {
  Dataset* const dataset = session.datasets.Find(names[0]);
  if (dataset == nullptr) RefuseDataset(names[0]);
  session.datasets.LeaveStep(*dataset);
  if (dataset != &session.Data()) session.datasets.Remove(*dataset);
  return 0;
}

int AllNames(Session& session, CleXDSmb&, CleXDSmb& reply) {
  for (const std::string& name : session.datasets.Names()) reply.SetString(name);
  return 0;
}

template <std::vector<Dataset*> (Datasets::*list)() const>
int Names(Session& session, CleXDSmb&, CleXDSmb& reply) {
  for (const Dataset* dataset : (session.datasets.*list)()) {
    reply.SetString(dataset->name.empty() ? "*" : dataset->name);
  }
  return 0;
}

// --- Variables: each change is an arrangement of those that were there ---

Columns AsTheyAre(const Dataset& dataset) {
  Columns sources(dataset.variables.size());
  std::iota(sources.begin(), sources.end(), std::size_t{0});
  return sources;
}

int Arrange(Dataset& dataset, std::vector<Variable> variables, const Columns& sources) {
  return dataset.Arrange(std::move(variables), sources) ? 0 : engine_code::kCaseTooLong;
}

bool IsWidth(int width) { return width >= 0 && static_cast<std::size_t>(width) <= kMaxTextWidth; }

std::ptrdiff_t Offset(int index) { return static_cast<std::ptrdiff_t>(index); }

int InsertVariable(Dataset& dataset, Arguments& arguments) {
  const std::optional<int> position = arguments.TakeLong();
  const std::optional<int> width = arguments.TakeLong();
  const std::string* name = arguments.TakeText();
  if (!position || !width || name == nullptr || !IsWidth(*width)) return engine_code::kBadRequest;
  if (static_cast<std::size_t>(*position) != dataset.variables.size()) VariableAt(dataset, *position);
  RequireName(*name);
  if (dataset.Find(*name) != nullptr) RefuseTaken(*name);
  std::vector<Variable> variables = dataset.variables;
  Columns sources = AsTheyAre(dataset);
  variables.insert(variables.begin() + Offset(*position), Variable(*name, *width));
  sources.insert(sources.begin() + Offset(*position), Dataset::kNowhere);
  return Arrange(dataset, std::move(variables), sources);
}

int DeleteVariable(Dataset& dataset, Arguments& arguments) {
  const int index = arguments.TakeLong().value_or(-1);
  VariableAt(dataset, index);
  std::vector<Variable> variables = dataset.variables;
  Columns sources = AsTheyAre(dataset);
  const std::string name = variables[static_cast<std::size_t>(index)].name;
  variables.erase(variables.begin() + Offset(index));
  sources.erase(sources.begin() + Offset(index));
  const int code = Arrange(dataset, std::move(variables), sources);
  if (code == 0) dataset.NameChanged(name, "");
  return code;
}

// Its values are converted. What was said of a number makes no sense of a text, and the other way round.
int SetType(Dataset& dataset, Arguments& arguments) {
  const int index = arguments.TakeLong().value_or(-1);
  const std::optional<int> width = arguments.TakeLong();
  if (!width || !IsWidth(*width)) return engine_code::kBadRequest;
  VariableAt(dataset, index);
  std::vector<Variable> variables = dataset.variables;
  Variable& variable = variables[static_cast<std::size_t>(index)];
  Variable changed(variable.name, *width);
  if (changed.IsText() && variable.IsText()) {
    changed = variable;
    changed.width = changed.format.width = *width;
    std::erase_if(changed.value_labels, [&](const ValueLabel& label) {
      return label.text.size() > static_cast<std::size_t>(*width);
    });
  } else if (changed.IsText() == variable.IsText()) {
    return 0;
  } else {
    changed.label = variable.label;
    changed.role = variable.role;
    changed.attributes = variable.attributes;
  }
  variable = std::move(changed);
  return Arrange(dataset, std::move(variables), AsTheyAre(dataset));
}

// The variables of the list, in its order, to the front of the one at the last integer; at the count, to the
// end.
int MoveVariables(Dataset& dataset, Arguments& arguments) {
  const auto longs = arguments.Longs();
  const std::size_t count = dataset.variables.size();
  if (longs.empty()) return engine_code::kBadRequest;
  const auto moved = longs.first(longs.size() - 1);
  const auto target = static_cast<std::size_t>(longs.back());
  std::vector<bool> leaves(count, false);
  for (const int index : moved) {
    VariableAt(dataset, index);
    if (leaves[static_cast<std::size_t>(index)]) return engine_code::kBadRequest;
    leaves[static_cast<std::size_t>(index)] = true;
  }
  if (target != count) VariableAt(dataset, longs.back());
  Columns sources;
  for (std::size_t i = 0; i <= count; ++i) {
    if (i == target) {
      for (const int index : moved) sources.push_back(static_cast<std::size_t>(index));
    }
    if (i < count && !leaves[i]) sources.push_back(i);
  }
  std::vector<Variable> variables;
  variables.reserve(count);
  for (const std::size_t source : sources) variables.push_back(dataset.variables[source]);
  return Arrange(dataset, std::move(variables), sources);
}

int SetName(Dataset& dataset, Arguments& arguments) {
  const int index = arguments.TakeLong().value_or(-1);
  const std::string* name = arguments.TakeText();
  if (name == nullptr) return engine_code::kBadRequest;
  Variable& variable = VariableAt(dataset, index);
  const Variable* const other = dataset.Find(*name);
  RequireName(*name);
  if (other != nullptr && other != &variable) RefuseTaken(*name);
  dataset.RenameVariable(variable, *name);
  return 0;
}

// --- Cases ---

int InsertCase(Dataset& dataset, Arguments& arguments) {
  const int row = arguments.TakeLong().value_or(-1);
  if (row < 0 || static_cast<std::size_t>(row) > dataset.CaseCount()) RefuseRow(dataset, row);
  dataset.InsertCase(static_cast<std::size_t>(row));
  return 0;
}

int DeleteCase(Dataset& dataset, Arguments& arguments) {
  const int row = arguments.TakeLong().value_or(-1);
  if (row < 0 || static_cast<std::size_t>(row) >= dataset.CaseCount()) RefuseRow(dataset, row);
  dataset.DeleteCase(static_cast<std::size_t>(row));
  return 0;
}

constexpr ActionEntry kActions[] = {
    {Action::StartDataStep, StartStep},
    {Action::EndDataStep, EndStep},
    {Action::CreateDataset, EnterDataset},
    {Action::SetDatasetName, WithTexts<Rename, 2>},
    {Action::GetNewDatasetName, NewName},
    {Action::GetActive, ActiveName},
    {Action::SetActive, WithTexts<Activate, 1>},
    {Action::CopyDataset, WithTexts<Copy, 2>},
    {Action::GetVexaDatasets, AllNames},
    {Action::GetOpenedVexaDatasets, Names<&Datasets::BeforeStep>},
    {Action::GetDatastepDatasets, Names<&Datasets::Step>},
    {Action::CloseDataset, WithTexts<CloseOne, 1>},
    {Action::InsertVariable, About<StepDataset, InsertVariable>},
    {Action::DeleteVariable, About<StepDataset, DeleteVariable>},
    {Action::SetVarTypeInDS, About<StepDataset, SetType>},
    {Action::MoveVariables, About<StepDataset, MoveVariables>},
    {Action::SetVarNameInDS, About<StepDataset, SetName>},
    {Action::InsertCase, About<StepDataset, InsertCase>},
    {Action::DeleteCase, About<StepDataset, DeleteCase>},
};

}  // namespace

std::span<const ActionEntry> DataStepActions() { return kActions; }
