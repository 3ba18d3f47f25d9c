// A data step: the active dataset by its name, its dictionary and cells, changed and read back.
#include <algorithm>
#include <cstring>

#include "prove_cases.h"

namespace {

constexpr const char* kName = "ProveStep";

class Step {
 public:
  explicit Step(TriedSession& in_session) : session(in_session) {}

  void Prove() {
    Name();
    const Frame entered = session.Ask(Action::CreateDataset, {.longs = {0, 0}, .strings = {name}});
    if (entered.code != 0) return session.Left("the active dataset, \"" + name + "\"", entered);
    const int variables = Number(Action::GetVarCountInDS), cases = Number(Action::GetCaseCountInDS);
    Compare(variables, Action::GetVariableCount, "variables");
    Compare(cases, Action::GetRowCount, "cases");
    if (variables > 0) ChangeLabel();
    if (variables > 0 && cases > 0) ChangeCell();
    if (variables >= 0) ChangeVariables(variables);
    if (cases >= 0 && variables > 0) ChangeCases(cases);
  }

 private:
  Frame Of(Action action, Frame arguments = {}) {
    arguments.strings.insert(arguments.strings.begin(), name);
    return session.Serves(action) ? session.Ask(action, std::move(arguments)) : Frame{};
  }
  int Number(Action action) {
    const Frame reply = Of(action);
    return reply.code == 0 && !reply.longs.empty() ? reply.longs[0] : -1;
  }

  // One without a name of its own goes by a star.
  void Name() {
    const Frame active = session.Serves(Action::GetActive) ? session.Ask(Action::GetActive) : Frame{};
    name = active.code == 0 && !active.strings.empty() ? active.strings[0] : "*";
    if (!session.Serves(Action::GetVexaDatasets)) return;
    const std::vector<std::string> there = session.Ask(Action::GetVexaDatasets).strings;
    session.Check(std::find(there.begin(), there.end(), name) != there.end(),
                  "the active dataset is among the datasets", "\"" + name + "\" is none of them");
  }

  void Compare(int in_step, Action action, const std::string& what) {
    if (in_step < 0 || !session.Serves(action)) return;
    const Frame reply = session.Ask(action);
    const int outside = reply.longs.empty() ? -1 : reply.longs[0];
    session.Check(in_step == outside, "the step sees the active dataset's " + what,
                  std::to_string(in_step) + " instead of " + std::to_string(outside));
  }

  void ChangeLabel() {
    const Frame before = Of(Action::GetVarLabelInDS, {.longs = {0}});
    if (before.code != 0 || before.strings.empty()) return;
    const auto set = [&](const std::string& label) {
      return Of(Action::SetVarLabelInDS, {.longs = {0}, .strings = {label}});
    };
    if (!session.Serves(Action::SetVarLabelInDS)) return;
    const Frame changed = set(kName);
    if (changed.code != 0) return session.Left("a label", changed);
    const Frame after = Of(Action::GetVarLabelInDS, {.longs = {0}});
    session.Check(!after.strings.empty() && after.strings[0] == kName, "a label reads back",
                  after.strings.empty() ? CodeOf(after) : "it is \"" + after.strings[0] + "\"");
    set(before.strings[0]);
  }

  // The first cell of the first number; the change is taken back.
  void ChangeCell() {
    int column = 0;
    for (const int variables = Number(Action::GetVarCountInDS); column < variables; ++column) {
      const Frame type = Of(Action::GetVarTypeInDS, {.longs = {column}});
      if (type.longs.empty() || type.longs[0] == 0) break;
    }
    const auto get = [&] { return Of(Action::GetNCellValue, {.longs = {0, column}}); };
    const Frame before = get();
    if (!session.Serves(Action::GetNCellValue) || before.code != 0 || before.doubles.empty()) return;
    if (!session.Serves(Action::CommitDataSet)) return;
    const auto set = [&](double value) {
      return session.Ask(Action::CommitDataSet, {.cells = {{name, 0, column, value}}});
    };
    const double wanted = before.doubles[0] == 4711 ? 4712 : 4711;
    const Frame changed = set(wanted);
    if (changed.code != 0) return session.Left("a cell", changed);
    const Frame after = get();
    session.Check(!after.doubles.empty() && after.doubles[0] == wanted, "a cell reads back",
                  after.doubles.empty() ? CodeOf(after) : "it is " + std::to_string(after.doubles[0]));
    set(before.doubles[0]);
  }

  void ChangeVariables(int count) {
    if (!session.Serves(Action::InsertVariable) || !session.Serves(Action::DeleteVariable)) return;
    const Frame inserted = Of(Action::InsertVariable, {.longs = {count, 0}, .strings = {kName}});
    if (inserted.code != 0) return session.Left("another variable", inserted);
    const Frame there = Of(Action::GetVarNameInDS, {.longs = {count}});
    session.Check(
        Number(Action::GetVarCountInDS) == count + 1 && !there.strings.empty() && there.strings[0] == kName,
        "another variable is there", "the number of variables, or its name, is another");
    const Frame deleted = Of(Action::DeleteVariable, {.longs = {count}});
    session.Check(deleted.code == 0 && Number(Action::GetVarCountInDS) == count, "and goes again",
                  deleted.code != 0 ? CodeOf(deleted) : "the number of variables is another");
  }

  void ChangeCases(int count) {
    if (!session.Serves(Action::InsertCase) || !session.Serves(Action::DeleteCase)) return;
    const Frame inserted = Of(Action::InsertCase, {.longs = {count}});
    if (inserted.code != 0) return session.Left("another case", inserted);
    session.Check(Number(Action::GetCaseCountInDS) == count + 1, "another case is there",
                  "the number of cases is another");
    const Frame deleted = Of(Action::DeleteCase, {.longs = {count}});
    session.Check(deleted.code == 0 && Number(Action::GetCaseCountInDS) == count, "and goes again, too",
                  deleted.code != 0 ? CodeOf(deleted) : "the number of cases is another");
  }

  TriedSession& session;
  std::string name;
};

}  // namespace

void ProveDataStep(Trial& trial) {
  trial.report.Begin("data step");
  for (const Action action : {Action::StartDataStep, Action::CreateDataset, Action::EndDataStep}) {
    if (!trial.Serves(action)) return trial.report.Left("a step", "not served");
  }
  TriedSession session(trial);
  const Frame start = session.Ask(Action::StartDataStep);
  if (start.code != 0) return session.Left("a step", start);
  Step(session).Prove();
  const Frame end = session.Ask(Action::EndDataStep);
  session.Check(end.code == 0, "it ends", "refused with " + CodeOf(end));
}
