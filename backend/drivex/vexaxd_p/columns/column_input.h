// The columns of a stream that a producer hands over: read to its end, kept as it gave them, and asked for
// values by ranges of rows. Everything that was handed over is released with this.
#ifndef COLUMN_INPUT_H
#define COLUMN_INPUT_H

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "column_form.h"
#include "vexaxd_columns.h"

// One of Arrow's structs, which tells by its `release` whether somebody owns it.
template <class Struct>
struct Released {
  Released() = default;
  Released(const Released&) = delete;
  Released& operator=(const Released&) = delete;
  ~Released() { Release(); }
  void Release() {
    if (value.release != nullptr) value.release(&value);
    value.release = nullptr;
  }
  Struct value = {};
};

// The caller's stream, which is released with this.
class TakenStream {
 public:
  explicit TakenStream(ArrowArrayStream* stream_) : stream(stream_) {}
  TakenStream(const TakenStream&) = delete;
  TakenStream& operator=(const TakenStream&) = delete;
  ~TakenStream() { Release(); }
  void Release();
  // Null when there was nothing to take.
  ArrowArrayStream* get() const { return stream != nullptr && stream->release != nullptr ? stream : nullptr; }

 private:
  ArrowArrayStream* stream;
};

class ColumnInput {
 public:
  struct Column {
    std::string name;
    const char* metadata;
    ColumnForm form;
  };
  // A column of one batch. Rows count from 0, wherever the arrays begin.
  class Piece {
   public:
    Piece(const ArrowArray& batch, std::size_t column, const ColumnForm& form);
    // The values of numbers; null and NaN are system-missing. Throws ValueRefusal for what a number of the
    // backend cannot be.
    void Numbers(std::size_t first, std::size_t count, double* values) const;
    // The texts; null is one without data.
    void Texts(std::size_t first, std::size_t count, std::string_view* values) const;
    // The places in the dictionary; -1 for null.
    void Places(std::size_t first, std::size_t count, std::int64_t* values) const;
    std::vector<std::string_view> Dictionary() const;
    // Whether the texts of the dictionary are the very same memory.
    bool SharesDictionary(const Piece& other) const;

   private:
    const ArrowArray& array;
    const ColumnForm& form;
    // The row 0 in the column's buffers; the validity of the struct is another one's, with its own row 0.
    std::size_t start;
    const std::uint8_t* bits;
    const std::uint8_t* parent_bits;
    std::size_t parent_start;

    template <class Read>
    void Each(std::size_t first, std::size_t count, Read read) const;
    template <class Value, class Function>
    void Convert(std::size_t first, std::size_t count, double* values, Function convert) const;
  };

  // Throws ColumnRefusal.
  explicit ColumnInput(ArrowArrayStream& stream);

  const std::vector<Column>& Columns() const { return columns; }
  std::size_t Rows() const { return rows; }
  std::size_t Batches() const { return batches.size(); }
  std::size_t RowsOf(std::size_t batch) const {
    return static_cast<std::size_t>(batches[batch].value.length);
  }
  Piece PieceOf(std::size_t batch, std::size_t column) const {
    return {batches[batch].value, column, columns[column].form};
  }

 private:
  void ReadSchema(ArrowArrayStream& stream);
  void ReadBatches(ArrowArrayStream& stream);

  Released<ArrowSchema> schema;
  std::deque<Released<ArrowArray>> batches;
  std::vector<Column> columns;
  std::size_t rows = 0;
};

// Names as the backend compares them: case does not count.
std::string Folded(std::string_view name);

#endif
