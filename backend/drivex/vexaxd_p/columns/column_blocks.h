// Columns on their way to the backend, in blocks of about 4 MiB, after each of which progress is told. A
// block that fails throws ColumnRefusal.
#ifndef COLUMN_BLOCKS_H
#define COLUMN_BLOCKS_H

#include <span>
#include <string>

#include "column_plan.h"

// As new cases of the active dataset, which has that name in the catalogue.
void CommitCases(const ColumnInput& input, std::span<ColumnPlan> plans, const std::string& dataset);

// As cells of all cases of a dataset of the step. What is missing is left out where it is missing already.
enum class Missing { kLeaveOut, kWrite };
void CommitCells(const ColumnInput& input, std::span<ColumnPlan> plans, const std::string& dataset,
                 Missing missing);

#endif
