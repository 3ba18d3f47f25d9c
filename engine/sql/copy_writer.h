// Cases in the unit form on their way into a table, by COPY: in the server's binary form where each column
// has one that is known here, else as text.
#ifndef COPY_WRITER_H
#define COPY_WRITER_H

#include "dataset.h"
#include "relation.h"

// Nothing is there: the system-missing value, or a text of blanks.
bool IsNull(const Variable& variable, const Unit* value);
// A value that is there, as a text that the server reads. Throws Refusal for one that the column has no room
// for.
std::string ServerText(const Column& column, const Variable& variable, const Unit* value);

class CopyWriter {
 public:
  CopyWriter(Connection& connection, const Relation& into, const std::vector<Variable>& described,
             const Columns& chosen);
  // Rows of the values of the columns, one behind the other: all of them or, when something is refused, none.
  void Write(const void* rows, std::size_t count);

 private:
  void AppendText(std::size_t column, const Unit* value);
  void AppendBinary(std::size_t column, const Unit* value);
  void AppendRows(const char* rows, std::size_t count);

  Connection& server;
  const Relation& relation;
  const std::vector<Variable>& variables;
  const Columns& columns;
  bool binary = true;
  std::string piece;
};

#endif
