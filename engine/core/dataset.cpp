#include "dataset.h"

#include <algorithm>

#include "engine_code.h"
#include "words.h"

namespace {

[[noreturn]] void RefuseChange(const std::string& name) {
  throw Refusal(engine_code::kNotDone,
                (name.empty() ? "the dataset" : name) + " cannot be changed in this way");
}

}  // namespace

Unit* Dataset::Change(std::size_t) { RefuseChange(name); }

void Dataset::Append(const Columns&, const void*, std::size_t) { RefuseChange(name); }

void Dataset::InsertCase(std::size_t) { RefuseChange(name); }

void Dataset::DeleteCase(std::size_t) { RefuseChange(name); }

bool Dataset::Arrange(std::vector<Variable>, std::span<const std::size_t>) { RefuseChange(name); }

void Dataset::CopyFrom(Dataset&) { RefuseChange(name); }

Variable* Dataset::Find(std::string_view variable_name) {
  const auto found = std::find_if(variables.begin(), variables.end(), [&](const Variable& variable) {
    return SameName(variable.name, variable_name);
  });
  return found != variables.end() ? &*found : nullptr;
}

std::vector<Unit> Dataset::MissingCase() const {
  std::vector<Unit> units(case_units);
  for (const Variable& variable : variables) StoreMissing(variable, units.data() + variable.first_unit);
  return units;
}

void Dataset::RenameVariable(Variable& variable, const std::string& new_name) {
  std::string kept = new_name;
  NameChanged(variable.name, new_name);
  variable.name = std::move(kept);
}

void Dataset::NameChanged(const std::string& old_name, const std::string& new_name) {
  const auto change = [&](std::vector<std::string>& names) {
    for (std::string& entry : names) {
      if (SameName(entry, old_name)) entry = new_name;
    }
    std::erase(names, "");
  };
  std::vector<std::string> new_splits = splits;
  change(new_splits);
  std::vector<ResponseSet> new_sets = response_sets;
  for (ResponseSet& set : new_sets) change(set.members);
  std::erase_if(new_sets, [](const ResponseSet& set) { return set.members.empty(); });
  if (SameName(weight, old_name)) weight = new_name;
  splits = std::move(new_splits);
  response_sets = std::move(new_sets);
}

std::size_t Dataset::Place(std::vector<Variable>& of) {
  std::size_t units = 0;
  for (Variable& variable : of) {
    variable.first_unit = units;
    units += variable.Units();
  }
  return units;
}
