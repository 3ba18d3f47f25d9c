// Attributes of variables and of the data file, and multiple response sets.
#include <algorithm>

#include "session.h"
#include "words.h"

namespace {

using Texts = std::span<const std::string>;

// Whose attributes a request is about; the code for a request that names nobody.
using Owner = int (*)(Session&, CleXDSmb& request, Attributes*&);

int OfVariable(Session& session, CleXDSmb& request, Attributes*& attributes) {
  const std::optional<int> index = LongArgument(request, 0);
  if (!index) return engine_code::kBadRequest;
  Variable* variable = VariableAt(session, index);
  if (variable == nullptr) return CleXDErrorCode::kIndexOutOfRange;
  attributes = &variable->attributes;
  return 0;
}

int OfDataFile(Session& session, CleXDSmb&, Attributes*& attributes) {
  attributes = &session.dataset.attributes;
  return 0;
}

template <Owner owner>
int Names(Session& session, CleXDSmb& request, CleXDSmb& reply) {
  Attributes* attributes = nullptr;
  if (const int code = owner(session, request, attributes)) return code;
  reply.SetLong(static_cast<long>(attributes->size()));
  for (const Attribute& attribute : *attributes) reply.SetString(attribute.name);
  return 0;
}

template <Owner owner>
int Values(Session& session, CleXDSmb& request, CleXDSmb& reply) {
  Attributes* attributes = nullptr;
  if (const int code = owner(session, request, attributes)) return code;
  const std::string* name = TextArgument(request, 0);
  if (name == nullptr) return engine_code::kBadRequest;
  const Attribute* attribute = FindAttribute(*attributes, *name);
  if (attribute == nullptr) return engine_code::kUnknownName;
  reply.SetLong(static_cast<long>(attribute->values.size()));
  for (const std::string& value : attribute->values) reply.SetString(value);
  return 0;
}

// Variable, attribute, value; the integer is the value's place, where the one behind the last adds a value.
int SetValue(Session& session, CleXDSmb& request, CleXDSmb&) {
  const auto& texts = request.GetStringDataRef().Values();
  const std::optional<int> place = LongArgument(request, 0);
  if (texts.size() != 3 || texts[1].empty() || !place) return engine_code::kBadRequest;
  Variable* variable = session.dataset.Find(texts[0]);
  if (variable == nullptr) return engine_code::kUnknownName;
  Attribute* attribute = FindAttribute(variable->attributes, texts[1]);
  const std::size_t count = attribute != nullptr ? attribute->values.size() : 0;
  const auto at = static_cast<std::size_t>(*place);
  if (*place < 0 || at > count) return CleXDErrorCode::kIndexOutOfRange;
  if (attribute == nullptr) attribute = &variable->attributes.emplace_back(Attribute{texts[1], {}});
  if (at == count) attribute->values.emplace_back();
  attribute->values[at] = texts[2];
  return 0;
}

int SetNames(Session& session, CleXDSmb&, CleXDSmb& reply) {
  for (const ResponseSet& set : session.dataset.response_sets) reply.SetString(set.name);
  return 0;
}

int FindSet(Session& session, Texts texts, CleXDSmb& reply) {
  const auto& sets = session.dataset.response_sets;
  const auto set = std::find_if(sets.begin(), sets.end(), [&](const ResponseSet& candidate) {
    return SameName(candidate.name, texts[0]);
  });
  if (set == sets.end()) return engine_code::kUnknownName;
  reply.SetString(set->label);
  reply.SetString(set->counted);
  reply.SetLong(set->dichotomies ? 1 : 2);
  reply.SetLong(set->is_text ? 1 : 0);
  for (const std::string& member : set->members) reply.SetString(member);
  return 0;
}

constexpr ActionEntry kActions[] = {
    {Action::GetVarAttributeNames, Names<OfVariable>},
    {Action::GetDataFileAttributeNames, Names<OfDataFile>},
    {Action::GetVarAttributes, Values<OfVariable>},
    {Action::GetDataFileAttributes, Values<OfDataFile>},
    {Action::SetVarAttributes, SetValue},
    {Action::GetMultiResponseSetNames, SetNames},
    {Action::GetMultiResponseSet, WithTexts<FindSet, 1>},

    {Action::GetVarAttributeNamesInProcDS, Names<OfVariable>},
    {Action::GetDataFileAttributeNamesInProcDS, Names<OfDataFile>},
    {Action::GetVarAttributesInProcDS, Values<OfVariable>},
    {Action::GetDataFileAttributesInProcDS, Values<OfDataFile>},
    {Action::GetMultiResponseSetNamesInProcDS, SetNames},
    {Action::GetMultiResponseSetInProcDS, WithTexts<FindSet, 1>},
};

}  // namespace

std::span<const ActionEntry> AttributeActions() { return kActions; }
