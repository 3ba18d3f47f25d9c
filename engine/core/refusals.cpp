#include "refusals.h"

#include "CleXDErrorCode.h"
#include "engine_code.h"

Variable& VariableAt(Dataset& dataset, std::optional<int> index) {
  const auto at = static_cast<std::size_t>(index.value_or(-1));  // a negative one is past the end
  if (at < dataset.variables.size()) return dataset.variables[at];
  throw Refusal(CleXDErrorCode::kIndexOutOfRange, "variable " + std::to_string(index.value_or(-1)) +
                                                      ": the dataset has " +
                                                      std::to_string(dataset.variables.size()) + ", from 0");
}

Variable& VariableNamed(Dataset& dataset, const std::string& name) {
  if (Variable* const variable = dataset.Find(name)) return *variable;
  RefuseName("variable", name);
}

void RefuseName(const char* kind, const std::string& name) {
  throw Refusal(engine_code::kUnknownName, std::string("there is no ") + kind + " " + name);
}

void RequireName(const std::string& name) {
  constexpr const char* kFaults[] = {"", "is empty or longer than 64 bytes",
                                     "begins with a character that no name begins with",
                                     "has a character that no name has"};
  const auto verdict = static_cast<std::size_t>(JudgeName(name));
  if (verdict != 0) throw Refusal(engine_code::kBadName, "the name \"" + name + "\" " + kFaults[verdict]);
}

void RefuseTaken(const std::string& name) {
  throw Refusal(engine_code::kBadName, "the name " + name + " is taken");
}

void RefuseRow(Dataset& dataset, long row) {
  throw Refusal(CleXDErrorCode::kRowOutOfRange, "row " + std::to_string(row) + ": the dataset has " +
                                                    std::to_string(dataset.CaseCount()) + ", from 0");
}

void RefuseType(const Variable& variable) {
  throw Refusal(CleXDErrorCode::kWrongType, variable.IsText() ? "a number for the text " + variable.name
                                                              : "a text for the number " + variable.name);
}

void RefuseWidth(const Variable& variable, std::size_t bytes) {
  throw Refusal(engine_code::kTooWide, "a text of " + std::to_string(bytes) + " bytes for " + variable.name +
                                           ", which has " + std::to_string(variable.width));
}
