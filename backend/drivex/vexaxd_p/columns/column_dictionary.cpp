#include "column_dictionary.h"

#include <strings.h>

#include <algorithm>
#include <charconv>
#include <cmath>

#include "call_frame.h"
#include "counted_arrays.h"
#include "utf8_texts.h"

namespace {

constexpr const char* kReader = "VexaReadColumns";

// The same questions under two sets of numbers. Where the procedure's dataset has none of its own, those of
// the active one.
struct Numbers {
  Action variables, cases, name, label, format, level, role, type;
  Action n_missing, c_missing, n_labels, c_labels;
};
constexpr Numbers kOfProcedure = {Action::GetVariableCountInProcDS,
                                  Action::GetRowCountInProcDS,
                                  Action::GetVariableNameInProcDS,
                                  Action::GetVariableLabelInProcDS,
                                  Action::GetVariableFormatInProcDS,
                                  Action::GetVariableMeasurementLevelInProcDS,
                                  Action::GetVariableRoleInProcDS,
                                  Action::GetVariableTypeInProcDS,
                                  Action::GetVarNMissingValuesInProcDS,
                                  Action::GetVarCMissingValuesInProcDS,
                                  Action::GetNValueLabels,
                                  Action::GetCValueLabels};
constexpr Numbers kOfStep = {
    Action::GetVarCountInDS,          Action::GetCaseCountInDS,      Action::GetVarNameInDS,
    Action::GetVarLabelInDS,          Action::GetVarFormatInDS,      Action::GetVarMeasurementLevelInDS,
    Action::GetVarRoleInDS,           Action::GetVarTypeInDS,        Action::GetVarNMissingValuesInDS,
    Action::GetVarCMissingValuesInDS, Action::GetVarNValueLabelInDS, Action::GetVarCValueLabelInDS};

const Numbers& NumbersFor(const char* dataset) { return dataset != nullptr ? kOfStep : kOfProcedure; }

// A null dataset adds nothing to the request.
template <class... Own>
class Question : public ApiCall {
 public:
  Question(Action action, const char* dataset, Own... own)
      : ApiCall(Asked(action, kReader), dataset, own...) {}
};

int AskText(Action action, const char* dataset, int index, std::string& text) {
  Question question(action, dataset, index);
  if (question.code() == 0) text = question.Text(0);
  return question.code();
}

// Levels of a step are words. They are numbered as the practice engine does; another word says nothing.
int LevelOf(std::string_view word) {
  constexpr std::string_view kWords[] = {"nominal", "ordinal", "scale"};
  for (std::size_t i = 0; i < std::size(kWords); ++i) {
    if (word.size() == kWords[i].size() && strncasecmp(word.data(), kWords[i].data(), word.size()) == 0)
      return static_cast<int>(i) + 1;
  }
  return ColumnDescription::kNotSaid;
}

ColumnValue ValueOf(bool is_text, const OBS& unit) {
  if (!is_text) return ObsNumber(unit);
  const std::size_t end = std::find(unit.bytes, unit.bytes + sizeof unit.bytes, '\0') - unit.bytes;
  return AsUtf8({unit.bytes, WithoutBlanks(unit.bytes, end)});
}

void AddMissing(const VarInfo& info, ColumnDescription& description) {
  const int format = info.missingFormat;
  const bool known = format >= (info.varType == 0 ? -3 : 1) && format <= 3 && format != -1 && format != 0;
  if (!known) return;
  description.missing_format = format;
  const OBS* const values[] = {&info.missing1, &info.missing2, &info.missing3};
  for (const OBS* const value : std::span(values).first(static_cast<std::size_t>(std::abs(format))))
    description.missing.push_back(ValueOf(info.varType != 0, *value));
}

// As many labels as came, whatever their sender counted.
int AskLabels(const Numbers& numbers, const char* dataset, int index, bool is_text,
              ColumnDescription& description) {
  Question question(is_text ? numbers.c_labels : numbers.n_labels, dataset, index);
  if (question.code() != 0) return question.code();
  CleXDSmb& reply = question.reply();
  const int came = is_text ? std::min(question.ListSize(0), question.ListSize(1))
                           : std::min(reply.GetDoubleDataRef().Size(), reply.GetStringDataRef().Size());
  const int count = std::min(question.Long(0), came);
  for (int i = 0; i < count; ++i) {
    const std::string& label = is_text ? question.ListText(1, i) : question.Text(i);
    if (is_text) {
      const std::string& value = question.ListText(0, i);
      description.labels.emplace_back(AsUtf8({value.data(), WithoutBlanks(value.data(), value.size())}),
                                      AsUtf8(label));
    } else {
      description.labels.emplace_back(question.Double(i), AsUtf8(label));
    }
  }
  return 0;
}

}  // namespace

int Dictionary::CountVariables(int& count) const {
  Question question(NumbersFor(Dataset()).variables, Dataset());
  count = std::max(question.Long(0), 0);
  return question.code();
}

int Dictionary::CountCases(long& count) const {
  Question question(NumbersFor(Dataset()).cases, Dataset());
  const bool told = question.code() == 0 && question.reply().GetLongDataRef().Size() > 0;
  count = told ? std::max(question.Long(0), -1) : -1;
  return question.code();
}

int Dictionary::NameOf(int index, std::string& name) const {
  return AskText(NumbersFor(Dataset()).name, Dataset(), index, name);
}

int Dictionary::TypeOf(int index, VarInfo& info) const {
  const Numbers& numbers = NumbersFor(Dataset());
  Question type(numbers.type, Dataset(), index);
  if (type.code() != 0) return type.code();
  info.varType = type.Long(0);
  OBS* const values[] = {&info.missing1, &info.missing2, &info.missing3};
  Question missing(info.varType == 0 ? numbers.n_missing : numbers.c_missing, Dataset(), index);
  if (missing.code() != 0) return missing.code();
  info.missingFormat = missing.Long(0);
  for (int i = 0; i < 3; ++i) {
    if (info.varType == 0) {
      *values[i] = ObsOf(missing.Double(i));
    } else {
      const std::string& text = missing.Text(i);
      text.copy(values[i]->bytes, std::min(sizeof(OBS), std::strlen(text.c_str())));
    }
  }
  return 0;
}

int Dictionary::Describe(int index, const VarInfo& info, ColumnDescription& description) const {
  const Numbers& numbers = NumbersFor(Dataset());
  int code = AskText(numbers.label, Dataset(), index, description.label);
  if (code == 0) code = AskText(numbers.format, Dataset(), index, description.format);
  if (code != 0) return code;
  description.label = AsUtf8(description.label);
  description.format = AsUtf8(description.format);
  Question level(numbers.level, Dataset(), index);
  if (level.code() != 0) return level.code();
  description.level = in_step ? LevelOf(level.Text(0)) : level.Long(0);
  Question role(numbers.role, Dataset(), index);
  if (role.code() != 0) return role.code();
  description.role = role.Long(0);
  if (info.varType != 0) description.width = info.varType;
  AddMissing(info, description);
  return AskLabels(numbers, Dataset(), index, info.varType != 0, description);
}

std::size_t FindName(const std::vector<std::string>& names, std::string_view name) {
  const auto exact = std::find(names.begin(), names.end(), name);
  if (exact != names.end()) return static_cast<std::size_t>(exact - names.begin());
  const auto alike = [&](const std::string& other) {
    return other.size() == name.size() && strncasecmp(other.data(), name.data(), name.size()) == 0;
  };
  const auto first = std::find_if(names.begin(), names.end(), alike);
  const bool only = first != names.end() && std::none_of(first + 1, names.end(), alike);
  return static_cast<std::size_t>((only ? first : names.end()) - names.begin());
}
