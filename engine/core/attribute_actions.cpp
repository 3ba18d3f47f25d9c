// Attributes of variables and of datasets, and multiple response sets.
#include <algorithm>

#include "arguments.h"
#include "words.h"

namespace {

template <class Owner>
int Names(Owner& owner, CleXDSmb& reply) {
  reply.SetLong(static_cast<long>(owner.attributes.size()));
  for (const Attribute& attribute : owner.attributes) reply.SetString(attribute.name);
  return 0;
}

template <class Owner>
int Values(Owner& owner, Arguments& arguments, CleXDSmb& reply) {
  const std::string* name = arguments.TakeText();
  if (name == nullptr) return engine_code::kBadRequest;
  const Attribute* attribute = FindAttribute(owner.attributes, *name);
  if (attribute == nullptr) RefuseName("attribute", *name);
  reply.SetLong(static_cast<long>(attribute->values.size()));
  for (const std::string& value : attribute->values) reply.SetString(value);
  return 0;
}

// All values of an attribute, in place of those that it had.
template <class Owner>
int Set(Owner& owner, Arguments& arguments) {
  const std::string* name = arguments.TakeText();
  if (name == nullptr || name->empty()) return engine_code::kBadRequest;
  const auto texts = arguments.List(0);
  std::vector<std::string> values(texts.begin(), texts.end());
  if (Attribute* const attribute = FindAttribute(owner.attributes, *name)) {
    attribute->values = std::move(values);
  } else {
    owner.attributes.push_back({*name, std::move(values)});
  }
  return 0;
}

template <class Owner>
int Delete(Owner& owner, Arguments& arguments) {
  const std::string* name = arguments.TakeText();
  if (name == nullptr) return engine_code::kBadRequest;
  const auto same = [&](const Attribute& attribute) { return SameName(attribute.name, *name); };
  if (std::erase_if(owner.attributes, same) == 0) RefuseName("attribute", *name);
  return 0;
}

// Attribute, value; the integer is the value's place, where the one behind the last adds a value.
int SetValue(Variable& variable, Arguments& arguments) {
  const std::optional<int> place = arguments.TakeLong();
  const auto texts = arguments.Texts();
  if (texts.size() != 2 || texts[0].empty() || !place) return engine_code::kBadRequest;
  Attribute* attribute = FindAttribute(variable.attributes, texts[0]);
  const std::size_t count = attribute != nullptr ? attribute->values.size() : 0;
  const auto at = static_cast<std::size_t>(*place);
  if (*place < 0 || at > count) return CleXDErrorCode::kIndexOutOfRange;
  if (attribute == nullptr) {
    variable.attributes.push_back({texts[0], {texts[1]}});
  } else if (at == count) {
    attribute->values.push_back(texts[1]);
  } else {
    attribute->values[at] = texts[1];
  }
  return 0;
}

int SetNames(Dataset& dataset, CleXDSmb& reply) {
  for (const ResponseSet& set : dataset.response_sets) reply.SetString(set.name);
  return 0;
}

auto IsNamed(const std::string& name) {
  return [&name](const ResponseSet& set) { return SameName(set.name, name); };
}

int FindSet(Dataset& dataset, Arguments& arguments, CleXDSmb& reply) {
  const std::string* name = arguments.TakeText();
  if (name == nullptr) return engine_code::kBadRequest;
  const auto& sets = dataset.response_sets;
  const auto set = std::find_if(sets.begin(), sets.end(), IsNamed(*name));
  if (set == sets.end()) RefuseName("set", *name);
  reply.SetString(set->label);
  reply.SetString(set->counted);
  reply.SetLong(set->dichotomies ? 1 : 2);
  reply.SetLong(set->is_text ? 1 : 0);
  for (const std::string& member : set->members) reply.SetString(member);
  return 0;
}

// Name, label, counted value; the coding; the members. In place of a set of that name.
int SetSet(Dataset& dataset, Arguments& arguments) {
  const int coding = arguments.TakeLong().value_or(0);
  const auto texts = arguments.Texts();
  const auto members = arguments.List(0);
  if (texts.size() != 3 || texts[0].empty() || members.empty() || coding < 1 || coding > 2) {
    return engine_code::kBadRequest;
  }
  ResponseSet set = {texts[0], texts[1], coding == 1, coding == 1 ? texts[2] : "", false, {}};
  for (const std::string& member : members) {
    const Variable& variable = VariableNamed(dataset, member);
    if (set.members.empty()) set.is_text = variable.IsText();
    if (set.is_text != variable.IsText())
      throw Refusal(CleXDErrorCode::kWrongType, "the variables of a set must be of one type");
    set.members.push_back(variable.name);
  }
  auto& sets = dataset.response_sets;
  const auto old = std::find_if(sets.begin(), sets.end(), IsNamed(set.name));
  if (old != sets.end()) {
    *old = std::move(set);
  } else {
    sets.push_back(std::move(set));
  }
  return 0;
}

int DeleteSet(Dataset& dataset, Arguments& arguments) {
  const std::string* name = arguments.TakeText();
  if (name == nullptr) return engine_code::kBadRequest;
  if (std::erase_if(dataset.response_sets, IsNamed(*name)) == 0) RefuseName("set", *name);
  return 0;
}

constexpr ActionEntry kActions[] = {
    {Action::GetVarAttributeNames, About<ActiveVariable, Names<Variable>>},
    {Action::GetDataFileAttributeNames, About<ActiveDataset, Names<Dataset>>},
    {Action::GetVarAttributes, About<ActiveVariable, Values<Variable>>},
    {Action::GetDataFileAttributes, About<ActiveDataset, Values<Dataset>>},
    {Action::SetVarAttributes, About<NamedVariable, SetValue>},
    {Action::GetMultiResponseSetNames, About<ActiveDataset, SetNames>},
    {Action::GetMultiResponseSet, About<ActiveDataset, FindSet>},

    {Action::GetVarAttributeNamesInProcDS, About<ActiveVariable, Names<Variable>>},
    {Action::GetDataFileAttributeNamesInProcDS, About<ActiveDataset, Names<Dataset>>},
    {Action::GetVarAttributesInProcDS, About<ActiveVariable, Values<Variable>>},
    {Action::GetDataFileAttributesInProcDS, About<ActiveDataset, Values<Dataset>>},
    {Action::GetMultiResponseSetNamesInProcDS, About<ActiveDataset, SetNames>},
    {Action::GetMultiResponseSetInProcDS, About<ActiveDataset, FindSet>},

    {Action::GetVarAttributesNameInDS, About<StepVariable, Names<Variable>>},
    {Action::GetVarAttributesInDS, About<StepVariable, Values<Variable>>},
    {Action::SetVarAttributesInDS, About<StepVariable, Set<Variable>>},
    {Action::DelVarAttributesInDS, About<StepVariable, Delete<Variable>>},
    {Action::GetDataFileAttributeNamesInDS, About<StepDataset, Names<Dataset>>},
    {Action::GetDataFileAttributesInDS, About<StepDataset, Values<Dataset>>},
    {Action::SetDataFileAttributesInDS, About<StepDataset, Set<Dataset>>},
    {Action::DelDataFileAttributesInDS, About<StepDataset, Delete<Dataset>>},
    {Action::GetMultiResponseSetNamesInDS, About<StepDataset, SetNames>},
    {Action::GetMultiResponseSetInDS, About<StepDataset, FindSet>},
    {Action::SetMultiResponseSetInDS, About<StepDataset, SetSet>},
    {Action::DelMultiResponseSetInDS, About<StepDataset, DeleteSet>},
};

}  // namespace

std::span<const ActionEntry> AttributeActions() { return kActions; }
