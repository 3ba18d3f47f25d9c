// How a column of the server stands in a dataset: what type it has there, how its binary values are read, how
// values are written as the server's texts.
//
//   boolean                        a number, 0 "false" and 1 "true"
//   smallint, integer, bigint,
//   real, double precision,
//   numeric, money, oid            a number
//   date, timestamp, timestamptz   a number: seconds since 1970-01-01 00:00 (UTC)
//   time, interval                 a number: seconds
//   an enumeration                 a number from 1 on, with the enumeration's labels
//   everything else                a text
//
// NULL is the system-missing value, of a text blanks.
#ifndef COLUMN_TYPE_H
#define COLUMN_TYPE_H

#include <map>
#include <string>
#include <string_view>

#include "connection.h"
#include "variable.h"

struct ColumnType {
  enum class Kind {
    Bool,
    Int2,
    Int4,
    Int8,
    Float4,
    Float8,
    Numeric,
    Date,
    Timestamp,
    Time,
    Interval,
    Enum,
    Text
  };

  Kind kind = Kind::Text;
  Oid oid = 0;
  int modifier = -1;
  std::string name;  // as SQL has it: "numeric(10,2)"
  std::string cast;  // the same without what is in parentheses: what is too long is refused then, not cut
  std::map<std::string, int, std::less<>> places;  // of an enumeration: from its labels

  bool IsText() const { return kind == Kind::Text; }
  // The widest a text can be in characters; 0 where nothing is said.
  int DeclaredWidth() const;
  // The column in a form that Read understands.
  std::string Expression(const std::string& column) const;
  // How a number of it is shown.
  Format NumberFormat() const;
  Level MeasurementLevel() const;
  // The unit of a number, from a value in binary form that is not NULL.
  Unit Read(std::string_view value) const;
  // A number for a column of whole ones, within the bounds of its type; 0 and 1 for a boolean. Throws Refusal
  // for another.
  std::int64_t WholeNumber(Unit value, const std::string& column) const;
  // What the server takes for a number that is not missing. Throws Refusal for one that the type has no room
  // for.
  std::string Written(Unit value, const std::string& column) const;

 private:
  [[noreturn]] void Refuse(Unit value, const std::string& column) const;
};

// The type of these numbers, as libpq tells them of a result.
ColumnType TypeOf(Oid oid, int modifier);
// The shortest decimal text of a double that is read back as the same.
std::string ShortestText(double value);

#endif
