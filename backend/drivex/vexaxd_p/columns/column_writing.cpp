// Columns written: cases appended, variables added, values replaced, a dataset made. All that can be found
// wrong is found before anything is written.
#include <algorithm>

#include "call_frame.h"
#include "column_blocks.h"
#include "column_input.h"
#include "column_plan.h"
#include "column_refusal.h"
#include "column_target.h"
#include "dataset_catalogue.h"
#include "reasons.h"
#include "vexaxd_columns.h"
#include "vexaxd_p.h"

namespace {

using Plans = std::vector<ColumnPlan>;

[[noreturn]] void Refuse(const std::string& reason) {
  throw ColumnRefusal(CleXDErrorCode::kColumnRefused, reason);
}

// Reads the stream and does the work with what it held. The failure's words outlive whatever had to be taken
// back behind it.
template <class Work>
int Write(ArrowArrayStream* given, Work work, const char* function = __builtin_FUNCTION()) noexcept {
  BeginCall();
  TakenStream stream(given);
  int code = 0;
  try {
    if (!isVexaRunning) return Failed(CleXDErrorCode::kBackendNotRunning, function);
    if (stream.get() == nullptr) Refuse("there is no stream, or it is released");
    const ColumnInput input(*stream.get());
    stream.Release();
    if (dataVec.Count() != 0) Require(CommitDataSet());  // the cells that a program wrote before come first
    work(input);
  } catch (const ColumnRefusal& refusal) {
    code = refusal.code;
    NoteReason(code, refusal.reason);
  } catch (...) {
    code = CodeOfException();
  }
  return Failed(code, function);
}

Plans PlanNew(const ColumnInput& input) {
  Plans plans;
  plans.reserve(input.Columns().size());
  for (std::size_t i = 0; i < input.Columns().size(); ++i) {
    plans.push_back(ColumnPlan::OfNew(input, i));
    if (ValidateVarName(plans.back().Name().c_str()) != 0)
      RefuseColumn(plans.back().Name(), "the backend does not allow the name");
  }
  return plans;
}

// The step is there where value labels may be asked for.
Plans PlanExisting(const ColumnInput& input, const TargetVariables& variables, const ColumnStep* step) {
  Plans plans;
  plans.reserve(input.Columns().size());
  for (std::size_t i = 0; i < input.Columns().size(); ++i) {
    const ColumnInput::Column& column = input.Columns()[i];
    const int place = variables.Find(column.name);
    if (place < 0)
      throw ColumnRefusal(CleXDErrorCode::kIndexOutOfRange,
                          "column '" + column.name + "': there is no such variable");
    const int width = variables[place].width;
    ColumnPlan::Labels labels;
    if (step != nullptr && column.form.has_dictionary) labels = step->Labels(place, width > 0);
    plans.push_back(ColumnPlan::OfExisting(input, i, width, labels));
    plans.back().variable = place;
  }
  return plans;
}

void Check(Plans& plans) {
  for (ColumnPlan& plan : plans) plan.Check();
}

void CheckCases(const ColumnInput& input, const ColumnStep& step) {
  const long cases = step.Cases();
  if (static_cast<long>(input.Rows()) != cases)
    throw ColumnRefusal(CleXDErrorCode::kRowOutOfRange, "the columns have " + std::to_string(input.Rows()) +
                                                            " rows, and the dataset " +
                                                            std::to_string(cases) + " cases");
}

void Describe(ColumnStep& step, const Plans& plans) {
  for (const ColumnPlan& plan : plans)
    step.Describe(plan.variable, plan.IsText(), plan.Name(), plan.Description());
}

// --- Variables ---

// Behind those that are there; they go again unless they are kept.
class AddedVariables {
 public:
  AddedVariables(ColumnStep& step_, Plans& plans) : step(step_), first(step.VariableCount()), end(first) {
    try {
      for (ColumnPlan& plan : plans) {
        plan.variable = end;
        step.Insert(end, plan.Name(), plan.Width());
        ++end;
      }
    } catch (...) {
      Take();
      throw;
    }
  }
  AddedVariables(const AddedVariables&) = delete;
  AddedVariables& operator=(const AddedVariables&) = delete;
  ~AddedVariables() { Take(); }
  void Keep() { first = end; }

 private:
  void Take() {
    while (end > first) step.Delete(--end);
  }
  ColumnStep& step;
  int first, end;
};

void Add(const char* dataset, const ColumnInput& input) {
  const DatasetName target(dataset);
  ColumnStep step(target.name, ColumnStep::Dataset::kThere);
  CheckCases(input, step);
  const TargetVariables variables = TargetVariables::InStep(target.name);
  Plans plans = PlanNew(input);
  for (const ColumnPlan& plan : plans) {
    if (variables.Find(plan.Name()) >= 0) RefuseColumn(plan.Name(), "there is such a variable already");
  }
  Check(plans);
  AddedVariables added(step, plans);
  Describe(step, plans);
  CommitCells(input, plans, target.name, Missing::kLeaveOut);
  added.Keep();
  step.End();
}

void Replace(const char* dataset, const ColumnInput& input) {
  const DatasetName target(dataset);
  ColumnStep step(target.name, ColumnStep::Dataset::kThere);
  CheckCases(input, step);
  Plans plans = PlanExisting(input, TargetVariables::InStep(target.name), &step);
  Check(plans);
  Describe(step, plans);
  CommitCells(input, plans, target.name, Missing::kWrite);
  step.End();
}

// --- Cases ---

// SetActive finds a dataset by its name only.
std::string NamedActive() {
  std::string name = ActiveName();
  if (name != "*") return name;
  ApiCall call(Action::GetNewDatasetName);
  Require(call.code());
  std::string given = call.Text(0);
  Require(SetDatasetName(name.c_str(), given.c_str()));
  for (std::string& known : dsNameVec) {
    if (known == name) known = given;
  }
  if (dataSteps != nullptr) {
    for (std::string& known : dataSteps->datasetNames) {
      if (known == name) known = given;
    }
  }
  activeDatasetName.clear();
  return given;
}

// Another dataset is the active one while this lives.
class OtherActive {
 public:
  explicit OtherActive(const DatasetName& wanted) {
    if (wanted.is_active) return;
    const std::string name = NamedActive();
    Require(SetActive(wanted.name.c_str()));
    former = name;
  }
  OtherActive(const OtherActive&) = delete;
  OtherActive& operator=(const OtherActive&) = delete;
  ~OtherActive() {
    if (!former.empty()) SetActive(former.c_str());
  }

 private:
  std::string former;
};

// The step is for what only a step tells and takes: value labels and descriptions.
void Append(const char* dataset, const ColumnInput& input) {
  const DatasetName target(dataset);
  if (input.Columns().empty() && input.Rows() != 0) Refuse("the stream has rows and no columns");
  const auto needs_step = [](const ColumnInput::Column& column) {
    return column.metadata != nullptr || column.form.has_dictionary;
  };
  const bool has_step =
      !target.is_active || std::any_of(input.Columns().begin(), input.Columns().end(), needs_step);
  Plans plans;
  if (has_step) {
    ColumnStep step(target.name, ColumnStep::Dataset::kThere);
    plans = PlanExisting(input, TargetVariables::InStep(target.name), &step);
    Check(plans);
    Describe(step, plans);
    step.End();
  } else {
    plans = PlanExisting(input, TargetVariables::OfActive(), nullptr);
    Check(plans);
  }
  const OtherActive active(target);
  CommitCases(input, plans, target.name);
}

void RefuseTaken(const std::string& name) {
  ApiCall call(Action::GetVexaDatasets);
  Require(call.code());
  for (int i = 0; i < call.reply().GetStringDataRef().Size(); ++i) {
    if (Folded(call.Text(i)) == Folded(name)) Refuse("there is a dataset " + name + " already");
  }
}

// A dataset that is half made goes, and the former one is active again.
class HalfMade {
 public:
  HalfMade(const std::string& name_, const std::string& former_) : name(name_), former(former_) {}
  HalfMade(const HalfMade&) = delete;
  HalfMade& operator=(const HalfMade&) = delete;
  ~HalfMade() {
    if (whole || SetActive(former.c_str()) != 0) return;
    CloseDataset(name.c_str());
  }
  void IsWhole() { whole = true; }

 private:
  const std::string& name;
  const std::string former;
  bool whole = false;
};

void Create(const char* dataset, const ColumnInput& input) {
  const std::string name(OrEmpty(dataset));
  if (name.empty() || name == "*") Refuse("a new dataset needs a name");
  RefuseTaken(name);
  Plans plans = PlanNew(input);
  Check(plans);
  HalfMade made(name, NamedActive());
  ColumnStep step(name, ColumnStep::Dataset::kNew);
  for (ColumnPlan& plan : plans) {
    plan.variable = static_cast<int>(&plan - plans.data());
    Require(Call(Action::InsertVariable, name.c_str(), plan.variable, plan.Name().c_str(), plan.Width()));
  }
  Describe(step, plans);
  const bool in_callers_step = !step.IsOwn();
  step.End();
  CommitCases(input, plans, name);
  if (in_callers_step) Require(CreateDataset(name.c_str(), false, true));
  made.IsWhole();
}

}  // namespace

int VexaAppendColumns(const char* dataset, ArrowArrayStream* cases) {
  return Write(cases, [=](const ColumnInput& input) { Append(dataset, input); });
}

int VexaAddColumns(const char* dataset, ArrowArrayStream* variables) {
  return Write(variables, [=](const ColumnInput& input) { Add(dataset, input); });
}

int VexaReplaceColumns(const char* dataset, ArrowArrayStream* values) {
  return Write(values, [=](const ColumnInput& input) { Replace(dataset, input); });
}

int VexaCreateColumns(const char* dataset, ArrowArrayStream* cases) {
  return Write(cases, [=](const ColumnInput& input) { Create(dataset, input); });
}
