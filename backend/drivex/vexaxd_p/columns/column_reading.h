// What a stream of columns reads: the batches of a source of rows, with the columns that were asked for. For
// the thread that calls the client API.
#ifndef COLUMN_READING_H
#define COLUMN_READING_H

#include <pthread.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "column_arrays.h"
#include "column_layout.h"
#include "row_source.h"

// What was asked for.
struct ColumnsWanted {
  const char* const* names;  // null: all
  int count;
  long batch_rows;
  int options;
};

class ColumnReading {
 public:
  // The code, noted as the failure; then nothing is left open.
  int Open(const char* dataset, const ColumnsWanted& wanted);

  const Field& Schema() const { return schema; }
  // 0 with a batch, or with one that is released already at the end; else an errno, and Words tells why. The
  // first that is not 0 is that of all further calls.
  int Next(ArrowArray& batch) noexcept;
  const char* Words() const { return words.empty() ? nullptr : words.c_str(); }

  // The stream goes: removes the cursor, where that is nobody else's affair by now.
  void LetGo() noexcept;

 private:
  int Prepare(const ColumnsWanted& wanted);
  int Choose(const ColumnsWanted& wanted);
  int AddColumns(const RowVariable& variable, int options);
  void AddColumn(std::unique_ptr<Column> column, const RowVariable& variable, Field field);
  int ReadBatch(ArrowArray& batch);
  int GatherAndEnd(std::size_t& rows);
  int Gather(std::size_t& rows);
  void LayOut(std::size_t count);
  void Finish(std::size_t rows, ArrowArray& batch);
  int Fail(int error, std::string reason);
  int FailWith(int code);

  struct Place {
    std::unique_ptr<Column> column;
    std::size_t offset;  // of the variable in a row
  };

  std::unique_ptr<RowSource> source;
  std::vector<Place> columns;
  Field schema;
  std::string words;
  long batch_rows = 0;
  bool by_block = false;  // a batch ends where a block does
  RowBlock unread;
  std::size_t done = 0;  // rows
  bool at_end = false;   // of the rows
  bool ended = false;    // of the batches
  int failed = 0;        // an errno
  pthread_t thread = pthread_self();
};

#endif
