// Commands as a person writes them, line by line: a command ends with a period at the end of a line, one of
// SQL with a semicolon there, a block of a language with the line that says so.
//
//   SAVE /TYPE=CSV
//     /FILE="result.csv".
//   LANGUAGE PYTHON.
//   print("so")
//   END LANGUAGE.
#ifndef STATEMENTS_H
#define STATEMENTS_H

#include <optional>
#include <string>
#include <string_view>

struct Statement {
  std::string text;  // with the end of its last line
  int line = 0;      // where it begins, from 1
};

class StatementReader {
 public:
  explicit StatementReader(bool reads_sql) : sql(reads_sql) {}
  // The statement that this line ends, if it does.
  std::optional<Statement> Take(std::string_view line);
  // What has begun and has not ended.
  std::optional<Statement> Rest();
  bool Open() const { return !begun.text.empty(); }
  bool InBlock() const { return in_block; }
  void Drop();

 private:
  bool Ends() const;

  bool sql;
  Statement begun;
  bool in_block = false;
  int lines = 0;
};

#endif
