// The text of a CSV file, and its rows. Fields are separated by commas, semicolons or tabs, as the first line
// has them; a field in double quotes may hold separators, line ends and "" for a quote. Lines end in LF or CR
// LF. The text is UTF-8; UTF-16 is told by its byte order mark, or by the zeros of its first character.
#ifndef CSV_TEXT_H
#define CSV_TEXT_H

#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "cases.h"

using FileText = std::vector<char, Uninitialised<char>>;

// The whole file, in UTF-8 and without a byte order mark. Throws Refusal.
FileText ReadFile(const std::string& path);

// Walks a text: to a row, to its first field, and behind each field to the next. A field is valid until the
// next row.
//
//   while (rows.StartRow(columns)) {
//     do {
//       const std::string_view field = rows.TakeField();
//     } while (rows.GoesOn());
//   }
class CsvRows {
 public:
  CsvRows(const std::string& file_path, std::string_view csv);
  // Skips the lines without any text, unless a lone empty field is what a row looks like. False behind the
  // last.
  bool StartRow(std::size_t columns);
  std::string_view TakeField();
  // Takes a field that is a plain number, and gives its length; 0 for another one, which is still to be
  // taken.
  std::size_t TakeNumber(double& number);
  // Behind a field: whether the row has another one.
  bool GoesOn();
  // The same behind the field of column `place` of so many; a row that has more or less is refused.
  void Expect(std::size_t place, std::size_t columns) {
    if (GoesOn() != (place + 1 < columns)) FailCount(place, columns);
  }
  char Separator() const { return separator; }
  [[noreturn]] void Fail(const std::string& reason) const;

 private:
  [[noreturn]] void FailCount(std::size_t place, std::size_t columns);
  std::string_view Plain();
  std::string_view Quoted();

  const std::string& path;
  std::string_view text;
  char separator;
  std::size_t position = 0;
  std::size_t line = 1;
  std::size_t row_line = 1;
  std::deque<std::string> unescaped;
};

#endif
