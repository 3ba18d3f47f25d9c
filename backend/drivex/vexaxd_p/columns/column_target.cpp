#include "column_target.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "call_frame.h"
#include "column_input.h"
#include "column_refusal.h"
#include "dataset_catalogue.h"
#include "vexaxd_p.h"

namespace {

constexpr std::string_view kActiveDataset = "*";

template <class Number>
bool ReadDigits(std::string_view text, Number& number) {
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && stop == text.data() + text.size();
}

}  // namespace

void Require(int code) {
  if (code != 0) throw ColumnRefusal(code, ReasonOf(code));
}

std::string ActiveName() {
  int code = 0;
  std::string name = GetActive(&code);
  if (code != CleXDErrorCode::kNoActiveName) Require(code);
  return name;
}

DatasetName::DatasetName(const char* given) : name(OrEmpty(given)) {
  const std::string active = ActiveName();
  is_active = name.empty() || name == kActiveDataset || Folded(name) == Folded(active);
  if (is_active) name = active;
  if (!isDataStep) return;
  const auto known = std::find_if(dsNameVec.begin(), dsNameVec.end(),
                                  [&](const std::string& each) { return Folded(each) == Folded(name); });
  if (known != dsNameVec.end()) name = *known;
}

// --- The step ---

void ColumnStep::OwnStep::Begin() {
  // No step is open: these are of one that its session has not outlived.
  dsNameVec.clear();
  casecountVec.clear();
  varcountVec.clear();
  Require(StartDataStep());
  open = true;
}

void ColumnStep::OwnStep::End() {
  if (!open) return;
  open = false;
  Require(EndDataStep());
}

ColumnStep::OwnStep::~OwnStep() {
  if (open) EndDataStep();
}

ColumnStep::ColumnStep(const std::string& dataset, Dataset state) : name(dataset) {
  const bool is_new = state == Dataset::kNew;
  if (!is_new && isDataStep && FindInCatalogue(name.c_str()) >= 0) return;
  const auto enter = [&] {
    if (!own.open && !is_new) return CreateDataset(name.c_str(), false, false);
    return Call(Action::CreateDataset, name.c_str(), Flag(false), Flag(is_new));
  };
  if (!isProcedure) own.Begin();
  int code = enter();
  if (code == CleXDErrorCode::kNoStepOpen && !own.open) {  // what is open is a procedure
    own.Begin();
    code = enter();
  }
  Require(code);
}

ColumnStep::~ColumnStep() { dataVec.Clear(); }

long ColumnStep::Cases() const {
  int code = 0;
  const long cases = GetCaseCountInDS(name.c_str(), &code);
  Require(code);
  return cases;
}

int ColumnStep::VariableCount() const {
  int code = 0;
  const int count = GetVarCountInDS(name.c_str(), &code);
  Require(code);
  return count;
}

// In a step of the caller's, what is known of the dataset on this side has to follow.
void ColumnStep::Insert(int place, const std::string& variable, int width) {
  Require(IsOwn() ? Call(Action::InsertVariable, name.c_str(), place, variable.c_str(), width)
                  : InsertVariable(name.c_str(), place, variable.c_str(), width));
}

void ColumnStep::Delete(int variable) {
  if (IsOwn()) {
    Call(Action::DeleteVariable, name.c_str(), variable);
  } else {
    DeleteVariable(name.c_str(), variable);
  }
}

// --- Descriptions ---

bool FormatText::Read(std::string_view text, FormatText& format) {
  const auto is_letter = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); };
  const auto digits = std::find_if_not(text.begin(), text.end(), is_letter);
  format.letters = Folded({text.begin(), digits});
  const std::string_view numbers(digits, text.end());
  const std::size_t point = numbers.find('.');
  format.decimals = 0;
  return !format.letters.empty() && ReadDigits(numbers.substr(0, point), format.width) &&
         (point == std::string_view::npos || ReadDigits(numbers.substr(point + 1), format.decimals));
}

const char* LevelName(int level) {
  static constexpr std::array kNames = {"nominal", "ordinal", "scale"};
  return level >= 1 && level <= static_cast<int>(kNames.size()) ? kNames[static_cast<std::size_t>(level) - 1]
                                                                : nullptr;
}

// The calls want the number of the letters, which is the backend's own: it is found by trying, once for each
// letters.
bool ColumnStep::TryFormat(int variable, std::string_view text) {
  constexpr int kMostCodes = 64;
  FormatText wanted, got;
  if (!FormatText::Read(text, wanted)) return false;
  const auto is_set = [&] {
    int code = 0;
    const char* const now = GetVarFormatInDS(name.c_str(), variable, &code);
    Require(code);
    return FormatText::Read(OrEmpty(now), got) && got == wanted;
  };
  if (is_set()) return true;
  const auto known = format_codes.find(wanted.letters);
  int number = known != format_codes.end() ? known->second : 1;
  const int last = known != format_codes.end() ? number : kMostCodes;
  for (; number <= last; ++number) {
    const int code = SetVarFormatInDS(name.c_str(), variable, number, wanted.width, wanted.decimals);
    if (NotReached(code)) Require(code);
    if (code != 0 || !is_set()) continue;
    format_codes[wanted.letters] = number;
    return true;
  }
  return false;
}

void ColumnStep::SetFormat(int variable, const std::string& column, const std::string& format) {
  int code = 0;
  const std::string before(OrEmpty(GetVarFormatInDS(name.c_str(), variable, &code)));
  Require(code);
  if (TryFormat(variable, format)) return;
  TryFormat(variable, before);
  RefuseColumn(column, "the backend refused the format " + format);
}

void ColumnStep::Describe(int variable, bool is_text, const std::string& column,
                          const ColumnDescription& description) {
  const char* const dataset = name.c_str();
  if (!description.label.empty()) Require(SetVarLabelInDS(dataset, variable, description.label.c_str()));
  if (!description.format.empty()) SetFormat(variable, column, description.format);
  if (const char* const level = LevelName(description.level))
    Require(SetVarMeasurementLevelInDS(dataset, variable, level));
  if (description.role != ColumnDescription::kNotSaid)
    Require(SetVarRoleInDS(dataset, variable, description.role));
  for (const auto& [value, label] : description.labels) {
    Require(is_text ? SetVarCValueLabelInDS(dataset, variable, std::get<std::string>(value).c_str(),
                                            label.c_str())
                    : SetVarNValueLabelInDS(dataset, variable, label.c_str(), std::get<double>(value)));
  }
  std::vector<ColumnValue> missing = description.missing;
  if (missing.empty()) return;
  missing.resize(3, is_text ? ColumnValue(std::string()) : ColumnValue(0.0));
  const auto text = [&](std::size_t i) { return std::get<std::string>(missing[i]).c_str(); };
  const auto number = [&](std::size_t i) { return std::get<double>(missing[i]); };
  const int format = description.missing_format;
  Require(is_text ? SetVarCMissingValuesInDS(dataset, variable, format, text(0), text(1), text(2))
                  : SetVarNMissingValuesInDS(dataset, variable, format, number(0), number(1), number(2)));
}

std::vector<std::pair<std::string, ColumnValue>> ColumnStep::Labels(int variable, bool is_text) const {
  ApiCall call(is_text ? Action::GetVarCValueLabelInDS : Action::GetVarNValueLabelInDS, name.c_str(),
               variable);
  Require(call.code());
  std::vector<std::pair<std::string, ColumnValue>> labels;
  for (int i = 0; i < call.Long(0); ++i) {
    if (is_text) {
      std::string value = call.ListText(0, i);
      value.erase(value.find_last_not_of(' ') + 1);
      labels.emplace_back(call.ListText(1, i), std::move(value));
    } else {
      labels.emplace_back(call.Text(i), call.Double(i));
    }
  }
  return labels;
}

// --- The variables ---

TargetVariables TargetVariables::OfActive() {
  TargetVariables all;
  int code = 0;
  const int count = GetVariableCount(&code);
  Require(code);
  for (int i = 0; i < count; ++i) {
    const int width = GetVariableType(i, &code);
    Require(code);
    all.Add(GetVariableName(i, &code), width);
    Require(code);
  }
  return all;
}

TargetVariables TargetVariables::InStep(const std::string& dataset) {
  TargetVariables all;
  int code = 0;
  const int count = GetVarCountInDS(dataset.c_str(), &code);
  Require(code);
  for (int i = 0; i < count; ++i) {
    const int width = GetVarTypeInDS(dataset.c_str(), i, &code);
    Require(code);
    all.Add(GetVarNameInDS(dataset.c_str(), i, &code), width);
    Require(code);
  }
  return all;
}

void TargetVariables::Add(const char* name, int width) {
  const std::string text(OrEmpty(name));
  places.emplace(Folded(text), static_cast<int>(variables.size()));
  variables.push_back({text, width});
}

int TargetVariables::Find(std::string_view name) const {
  const auto found = places.find(Folded(name));
  return found != places.end() ? found->second : -1;
}
