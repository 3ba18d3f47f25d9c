// The datasets that are open. One is active: the one that all calls without a dataset's name are about. It
// may be without a name; "*" and the empty name then mean it. The datasets of the data step are those that a
// driver has brought into it: calls by name are served for them alone.
#ifndef DATASETS_H
#define DATASETS_H

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "backend.h"

class Datasets {
 public:
  // The first one has no name, and is the active one.
  explicit Datasets(Backend& of_backend) : backend(of_backend) { active = &Add({}); }

  Dataset& Active() { return *active; }
  void Activate(Dataset& dataset);
  // In place of the one of the same name, or of none. While no data step is open.
  void Activate(std::unique_ptr<Dataset> dataset);
  // Null when there is none of the name; case does not count. One that the backend has is opened.
  Dataset* Find(std::string_view name);
  // An empty dataset of that name.
  Dataset& Add(const std::string& name, bool temporary = false);
  // Any but the active one.
  void Remove(const Dataset& dataset);
  std::vector<Dataset*> Open() const;
  // Of those that are open, and those that the backend could open; "*" for the one without.
  std::vector<std::string> Names() const;
  // A name that no dataset has.
  std::string NewName() const;

  bool StepOpen() const { return step_open; }
  void OpenStep();
  // Datasets that were only for the step go, unless one of them is active.
  void CloseStep();
  // After ReserveStep the next EnterStep needs no memory.
  void ReserveStep();
  void EnterStep(Dataset& dataset, bool temporary);
  void LeaveStep(const Dataset& dataset);
  Dataset* FindInStep(std::string_view name);
  std::vector<Dataset*> Step() const { return step; }
  // Those that were open before the step.
  std::vector<Dataset*> BeforeStep() const { return before; }

 private:
  void CloseUnused();

  Backend& backend;
  std::vector<std::unique_ptr<Dataset>> open;
  Dataset* active = nullptr;
  bool step_open = false;
  std::vector<Dataset*> step, before, only_for_step;
};

#endif
