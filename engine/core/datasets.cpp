#include "datasets.h"

#include <algorithm>

#include "words.h"

namespace {

bool IsActiveName(std::string_view name) { return name.empty() || name == "*"; }

}  // namespace

Dataset* Datasets::Find(std::string_view name) {
  if (IsActiveName(name)) return active;
  const auto found = std::find_if(open.begin(), open.end(),
                                  [&](const auto& dataset) { return SameName(dataset->name, name); });
  if (found != open.end()) return found->get();
  std::unique_ptr<Dataset> there = backend.Find(std::string(name));
  return there ? open.emplace_back(std::move(there)).get() : nullptr;
}

Dataset& Datasets::Add(const std::string& name, bool temporary) {
  open.reserve(open.size() + 1);
  return *open.emplace_back(backend.Make(name, temporary));
}

void Datasets::Activate(Dataset& dataset) {
  active = &dataset;
  CloseUnused();
}

void Datasets::Activate(std::unique_ptr<Dataset> dataset) {
  const auto place = std::find_if(open.begin(), open.end(),
                                  [&](const auto& one) { return SameName(one->name, dataset->name); });
  Dataset& chosen = *dataset;
  if (place == open.end()) {
    open.push_back(std::move(dataset));
  } else {
    backend.Closed(**place);
    *place = std::move(dataset);
  }
  Activate(chosen);
}

void Datasets::CloseUnused() {
  if (step_open) return;
  std::erase_if(open, [&](const auto& one) {
    if (one.get() == active || one->StaysOpen()) return false;
    backend.Closed(*one);
    return true;
  });
}

void Datasets::Remove(const Dataset& dataset) {
  LeaveStep(dataset);
  std::erase(before, &dataset);
  std::erase(only_for_step, &dataset);
  const auto place =
      std::find_if(open.begin(), open.end(), [&](const auto& one) { return one.get() == &dataset; });
  if (place == open.end()) return;
  backend.Closed(**place);
  open.erase(place);
}

std::vector<std::string> Datasets::Names() const {
  std::vector<std::string> names;
  FoldedNames seen;
  for (const auto& dataset : open) {
    names.push_back(dataset->name.empty() ? "*" : dataset->name);
    seen.insert(Folded(names.back()));
  }
  for (std::string& name : backend.Names()) {
    if (seen.insert(Folded(name)).second) names.push_back(std::move(name));
  }
  return names;
}

std::vector<Dataset*> Datasets::Open() const {
  std::vector<Dataset*> all;
  all.reserve(open.size());
  for (const auto& dataset : open) all.push_back(dataset.get());
  return all;
}

std::string Datasets::NewName() const {
  const std::vector<std::string> names = Names();
  for (int number = 1;; ++number) {
    std::string name = "DataSet" + std::to_string(number);
    if (std::none_of(names.begin(), names.end(), [&](const auto& each) { return SameName(each, name); }))
      return name;
  }
}

void Datasets::OpenStep() {
  before = Open();
  step_open = true;
}

void Datasets::CloseStep() {
  for (Dataset* const dataset : step) dataset->Release();
  const std::vector<Dataset*> ending = std::move(only_for_step);
  for (const Dataset* dataset : ending) {
    if (dataset != active) Remove(*dataset);
  }
  step_open = false;
  step.clear();
  before.clear();
  only_for_step.clear();
  CloseUnused();
}

void Datasets::ReserveStep() {
  step.reserve(step.size() + 1);
  only_for_step.reserve(only_for_step.size() + 1);
}

void Datasets::EnterStep(Dataset& dataset, bool temporary) {
  ReserveStep();
  if (std::find(step.begin(), step.end(), &dataset) == step.end()) step.push_back(&dataset);
  if (temporary) only_for_step.push_back(&dataset);
}

void Datasets::LeaveStep(const Dataset& dataset) { std::erase(step, &dataset); }

Dataset* Datasets::FindInStep(std::string_view name) {
  Dataset* const dataset = Find(name);
  return std::find(step.begin(), step.end(), dataset) != step.end() ? dataset : nullptr;
}
