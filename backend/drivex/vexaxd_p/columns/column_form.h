// The form of a column, as the format text of its field gives it.
#ifndef COLUMN_FORM_H
#define COLUMN_FORM_H

#include <cstddef>
#include <cstdint>
#include <string_view>

struct ArrowSchema;

struct ColumnForm {
  // kTime is an integer that counts a unit of time: dates, timestamps, times, durations.
  enum class Kind { kNull, kBoolean, kInteger, kFloat, kDecimal, kTime, kText };
  // Where the bytes of a text are said to lie.
  enum class Layout { kOffsets32, kOffsets64, kViews, kFixed };

  // Of the texts where there is a dictionary. Throws ColumnRefusal.
  static ColumnForm Of(const ArrowSchema& field);

  bool IsText() const { return kind == Kind::kText; }

  Kind kind = Kind::kNull;
  Layout layout = Layout::kOffsets32;
  std::size_t bytes = 0;  // of a number, or of a text of a fixed width
  bool is_signed = true;
  int scale = 0;                      // of a decimal
  std::int64_t seconds = 1;           // that one unit of a time has,
  std::int64_t units_per_second = 1;  // or the units that a second has
  bool has_dictionary = false;
  std::size_t index_bytes = 0;  // of a dictionary
  bool index_is_signed = true;

 private:
  bool Read(std::string_view format);
  bool ReadDecimal(std::string_view numbers);
  bool ReadTime(std::string_view format);
};

#endif
