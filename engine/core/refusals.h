// What is asked of a dataset and is not there, or does not fit: found, or refused with a reason that names
// it.
#ifndef REFUSALS_H
#define REFUSALS_H

#include <optional>
#include <string>

#include "dataset.h"

Variable& VariableAt(Dataset& dataset, std::optional<int> index);
Variable& VariableNamed(Dataset& dataset, const std::string& name);
[[noreturn]] void RefuseName(const char* kind, const std::string& name);  // there is none
// A name that is allowed, for what is new.
void RequireName(const std::string& name);
[[noreturn]] void RefuseTaken(const std::string& name);
[[noreturn]] void RefuseRow(Dataset& dataset, long row);
// For a value of the other type, and for a text that is wider than the variable.
[[noreturn]] void RefuseType(const Variable& variable);
[[noreturn]] void RefuseWidth(const Variable& variable, std::size_t bytes);

#endif
