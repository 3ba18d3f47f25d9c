// Where the rows of columns come from: runs of rows side by side, each the variables in units of 8 bytes as
// obs.h has them. One is open at a time as a rule: the cursor over the active dataset, or a dataset of the
// step. It belongs to the session and the thread that calls; the destructor calls nobody, so that any thread
// may run it at any time.
#ifndef ROW_SOURCE_H
#define ROW_SOURCE_H

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "column_dictionary.h"
#include "cursor_data_smb.h"

struct RowVariable {
  std::string name;      // as the backend has it
  int index = 0;         // the backend's
  VarInfo info = {};     // its type, and what is missing
  std::size_t unit = 0;  // its first in a row
};

struct RowBlock {
  const char* rows = nullptr;
  std::size_t count = 0;
};

class RowSource {
 public:
  RowSource() = default;
  RowSource(const RowSource&) = delete;
  RowSource& operator=(const RowSource&) = delete;
  virtual ~RowSource() = default;

  const std::vector<RowVariable>& Variables() const { return variables; }
  std::size_t RowSize() const { return row_size; }
  // The number of rows, -1 where it is not known. The backend's word.
  long Total() const { return total; }

  // The questions about its variables.
  virtual Dictionary Questions() const = 0;
  // Keeps of the variables those at these places, in this order.
  virtual void Choose(const std::vector<std::size_t>& places) = 0;
  // In words, why it is there no more; null while it is.
  virtual const char* WhyGone() const = 0;
  // Around the reading of a batch, whose first row is `first`. What was not read of the last block is left
  // for the next batch, or, where it might be old by then, nothing is. End also behind a Begin that failed.
  virtual int Begin(std::size_t first) = 0;
  virtual void End(RowBlock& unread) = 0;
  // The next rows; none at the end. What it gave before is gone.
  virtual int Next(RowBlock& block) = 0;
  // Gives back in the backend what was opened for it, if it is its own still.
  virtual void Close() = 0;

 protected:
  std::vector<RowVariable> variables;
  std::size_t row_size = 0;  // bytes
  long total = -1;
};

// Open the source. Their code, noted as the failure; what was opened is closed again by Close.
int OpenCursorRows(std::unique_ptr<RowSource>& source);
int OpenStepRows(const std::string& dataset, std::unique_ptr<RowSource>& source);
// Whether the dataset of that name is read through the cursor; else it has its name in the step.
int FindDataset(const char* name, bool& by_cursor, std::string& found);

#endif
