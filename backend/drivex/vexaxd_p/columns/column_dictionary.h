// What is asked of the backend about the variables of a dataset for their columns: of the running procedure's
// dataset, over which the cursor walks, or of one of the data step.
#ifndef COLUMN_DICTIONARY_H
#define COLUMN_DICTIONARY_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "column_description.h"
#include "cursor_data_smb.h"

class Dictionary {
 public:
  // Of the procedure's dataset.
  Dictionary() = default;
  explicit Dictionary(std::string dataset_) : dataset(std::move(dataset_)), in_step(true) {}

  // Each gives the code of the first question that was refused.
  int CountVariables(int& count) const;
  int CountCases(long& count) const;
  int NameOf(int index, std::string& name) const;
  // The type and the missing values.
  int TypeOf(int index, VarInfo& info) const;
  // Everything else, and those in the form of the metadata.
  int Describe(int index, const VarInfo& info, ColumnDescription& description) const;

 private:
  const char* Dataset() const { return in_step ? dataset.c_str() : nullptr; }

  std::string dataset;
  bool in_step = false;
};

// The place of a name among others: the same, or else the only one that differs in the case of ASCII letters
// alone. The size of the list for none.
std::size_t FindName(const std::vector<std::string>& names, std::string_view name);

#endif
