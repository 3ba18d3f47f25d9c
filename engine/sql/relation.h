// What stands behind a dataset on the server: a table, or the rows of a query. Knows its columns, and how
// they are selected in a form that row_reader.h takes.
#ifndef RELATION_H
#define RELATION_H

#include <string>
#include <vector>

#include "column_type.h"
#include "connection.h"

struct Column {
  std::string server_name;  // quoted
  ColumnType type;
};

struct Relation {
  std::string
      source;  // what stands behind FROM: a quoted name, or a query in parentheses with names for its columns
  std::vector<Column> columns;
  std::string order;             // the columns of the key, for ORDER BY; empty for none
  bool is_table = false;         // it can be written to
  bool rows_have_marks = false;  // a row can be found again, see row_reader.h
  bool temporary = false;
  int connection = 0;  // that it was seen by

  // A SELECT of all columns, and of the marks of the rows when asked for; in the order of the key.
  std::string Select(bool marks) const;
  std::string ColumnList() const;
};

// The relation and what is said of its columns, as variables with their labels, formats and widths. What a
// person should know is added to the warnings. Throws Refusal.
Relation RelationOfQuery(Connection& server, const std::string& query, std::vector<Variable>& variables,
                         std::vector<std::string>& warnings);
Relation RelationOfTable(Connection& server, const std::string& quoted_name, std::vector<Variable>& variables,
                         std::vector<std::string>& warnings);

// Learns the types of the columns again.
void TakeTypes(Connection& server, Relation& relation);

// A name of a table, view or the like that can be seen without its schema: the very name, or else one that
// differs in case. Empty when there is none.
std::string FindTable(Connection& server, const std::string& name);
std::vector<std::string> TableNames(Connection& server);

#endif
