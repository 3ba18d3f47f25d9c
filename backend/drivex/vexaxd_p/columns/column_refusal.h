// Why columns are not taken, or what failed while they were written: thrown within the library only, and
// turned into a code and its reason where a function of the interface ends.
#ifndef COLUMN_REFUSAL_H
#define COLUMN_REFUSAL_H

#include <exception>
#include <string>
#include <string_view>

struct ColumnRefusal : std::exception {
  ColumnRefusal(int code_, std::string reason_) : code(code_), reason(std::move(reason_)) {}
  const char* what() const noexcept override { return reason.c_str(); }
  int code;
  std::string reason;
};

// 99127: "column 'age': ..." and "column 'age', row 12: ...".
[[noreturn]] void RefuseColumn(std::string_view name, std::string_view reason);
[[noreturn]] void RefuseRow(std::string_view name, std::size_t row, std::string_view reason);

// A value that cannot be stored, at a row of the range that was asked for.
struct ValueRefusal : std::exception {
  ValueRefusal(std::size_t row_, std::string reason_) : row(row_), reason(std::move(reason_)) {}
  std::size_t row;
  std::string reason;
};

#endif
