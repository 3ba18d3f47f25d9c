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
  return found != open.end() ? found->get() : nullptr;
}

Dataset& Datasets::Add(std::string name) {
  Dataset& dataset = *open.emplace_back(std::make_unique<Dataset>());
  dataset.name = std::move(name);
  return dataset;
}

void Datasets::Remove(const Dataset& dataset) {
  LeaveStep(dataset);
  std::erase(before, &dataset);
  std::erase(only_for_step, &dataset);
  std::erase_if(open, [&](const auto& candidate) { return candidate.get() == &dataset; });
}

std::vector<Dataset*> Datasets::All() const {
  std::vector<Dataset*> all;
  all.reserve(open.size());
  for (const auto& dataset : open) all.push_back(dataset.get());
  return all;
}

std::string Datasets::NewName() const {
  for (int number = 1;; ++number) {
    std::string name = "DataSet" + std::to_string(number);
    const bool taken = std::any_of(open.begin(), open.end(),
                                   [&](const auto& dataset) { return SameName(dataset->name, name); });
    if (!taken) return name;
  }
}

void Datasets::OpenStep() {
  before = All();
  step_open = true;
}

void Datasets::CloseStep() {
  const std::vector<Dataset*> ending = std::move(only_for_step);
  for (const Dataset* dataset : ending) {
    if (dataset != active) Remove(*dataset);
  }
  step_open = false;
  step.clear();
  before.clear();
  only_for_step.clear();
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
