// A dataset: the dictionary, and the way to the cases, wherever these are. What a backend holds its data in
// derives from it. Cases have the unit form of variable.h.
//
// Only what reads has to be there: what a dataset does not say how to change is refused.
//
// Cases are looked at in two ways. A pass walks them forward once, in blocks, and never turns back: what
// holds more cases than memory does streams them. Everything else asks for cases by their index, in any
// order.
#ifndef DATASET_H
#define DATASET_H

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "loan.h"
#include "variable.h"

// Rows one behind the other.
struct RowWindow {
  std::size_t first = 0, end = 0;
};

// Places of variables in their dataset.
using Columns = std::vector<std::size_t>;

// Whatever is refused throws Refusal, and has changed nothing.
class Dataset {
 public:
  Dataset() = default;
  Dataset(const Dataset&) = default;
  Dataset& operator=(const Dataset&) = default;
  virtual ~Dataset() = default;

  std::string name;  // empty for one that has none
  std::vector<Variable> variables;
  std::string weight;               // a variable's name, or empty
  std::vector<std::string> splits;  // names of variables
  Attributes attributes;
  std::vector<ResponseSet> response_sets;
  RowWindow batch;  // that the driver got last

  std::size_t CaseUnits() const { return case_units; }
  std::size_t CaseBytes() const { return case_units * kUnitBytes; }
  // Null when there is none of the name; case does not count.
  Variable* Find(std::string_view variable_name);
  // A case with missing values everywhere.
  std::vector<Unit> MissingCase() const;

  // --- The forward walk ---

  static constexpr std::size_t kUnknown = SIZE_MAX;
  // Begins at the first case, also in place of a pass that is open. How many cases it will find; kUnknown
  // where that shows at the end alone. A pass that writes may change the case that it came to last.
  virtual std::size_t StartPass(bool writes) = 0;
  // How many cases of the pass there are from that one on, at most `wanted`. They and the one in front of
  // them can then be had by Case, Change and Lend until the next call of this; the walk does not go back
  // behind them.
  virtual std::size_t Ahead(std::size_t first, std::size_t wanted) = 0;
  // What it changed is kept by now.
  virtual void EndPass() {}

  // --- Cases by their index ---

  virtual std::size_t CaseCount() = 0;
  // Where a case is: valid until the next call of any of these.
  virtual const Unit* Case(std::size_t index) = 0;
  // To be written to. It counts once Keep has returned; a pass may keep it later, at its end at the latest.
  virtual Unit* Change(std::size_t index);
  // All that was changed since the last Keep, or nothing of it.
  virtual void Keep() {}
  // So many bytes from the front of a case on, to be sent from here. Cases that follow each other in a pass
  // lie behind each other; elsewhere it is one case.
  virtual Loan Lend(std::size_t first_case, std::size_t bytes) = 0;
  // New cases behind the last. The rows hold the values of the columns, one behind the other; other variables
  // are missing.
  virtual void Append(const Columns& columns, const void* rows, std::size_t count);
  // One new case, with missing values everywhere.
  virtual void InsertCase(std::size_t at);
  virtual void DeleteCase(std::size_t at);

  // Nobody asks for cases by their index in a while: what helped to find them may go.
  virtual void Release() {}

  // --- The variables ---

  // Where the values of a variable come from, when the variables change.
  static constexpr std::size_t kNowhere = SIZE_MAX;
  // Makes `wanted` the variables; sources[i] is the place that variable i has now, kNowhere for a new one.
  // Values of new variables are missing; of those with another type they are converted. False when a case
  // would be too long.
  virtual bool Arrange(std::vector<Variable> wanted, std::span<const std::size_t> sources);
  virtual void RenameVariable(Variable& variable, const std::string& new_name);
  // When a variable's name has changed, or the variable is gone: an empty new name. An exception changes
  // nothing.
  void NameChanged(const std::string& old_name, const std::string& new_name);

  // --- The whole ---

  // A name that is free. Nothing more than the member where the name has no meaning outside the session.
  virtual void Rename(const std::string& new_name) { name = new_name; }
  // False for one that can be opened again by its name: it is closed once nothing uses it.
  virtual bool StaysOpen() const { return true; }
  // Everything but the name is the other's from here on.
  virtual void CopyFrom(Dataset& source);

 protected:
  // Gives each variable its place in a case, and returns the units of a case.
  static std::size_t Place(std::vector<Variable>& of);

  std::size_t case_units = 0;
};

#endif
