// A dataset in memory. All cases lie one behind the other, so that any run of cases is one run of bytes.
#ifndef MEMORY_DATASET_H
#define MEMORY_DATASET_H

#include <optional>

#include "cases.h"
#include "dataset.h"

class MemoryDataset final : public Dataset {
 public:
  // Appends a variable behind those that are there. While there are no cases yet.
  void AddVariable(Variable variable);
  // That many cases in place of those that are there; Change() then gives the place of each. They are not
  // set.
  void ResizeCases(std::size_t count);
  // These in place of those that are there.
  void SetCases(Units units);

  std::size_t StartPass(bool writes) override;
  std::size_t Ahead(std::size_t first, std::size_t wanted) override;
  std::size_t CaseCount() override { return cases.Count(); }
  const Unit* Case(std::size_t index) override { return Change(index); }
  Unit* Change(std::size_t index) override {
    if (pending) MoveValues();
    return cases.At(index);
  }
  Loan Lend(std::size_t first_case, std::size_t bytes) override {
    if (pending) MoveValues();
    return cases.Lend(first_case, bytes);
  }
  void Append(const Columns& columns, const void* rows, std::size_t count) override;
  void InsertCase(std::size_t at) override;
  void DeleteCase(std::size_t at) override;
  // The cases are moved when one of them is looked at: many changes together are one pass over them.
  bool Arrange(std::vector<Variable> wanted, std::span<const std::size_t> sources) override;
  void CopyFrom(Dataset& source) override;

 private:
  // An arrangement that the cases do not have yet: the variables as they lie, and the source of each wanted
  // one. The room for the cases is taken already: what does not fit into memory is refused when it is asked
  // for.
  struct Pending {
    std::vector<Variable> variables;
    std::vector<std::size_t> sources;
    Units room;
  };
  void MoveValues();
  // All cases in one piece of memory from Case(0) on, until the next change.
  void Settle();

  Cases cases;
  std::optional<Pending> pending;
};

#endif
