#include "relation.h"

#include <algorithm>
#include <map>

#include "words.h"

namespace {

std::string Value(const Result& result, int row, int column) { return PQgetvalue(result.get(), row, column); }

std::vector<std::string> FirstColumn(const Result& result) {
  std::vector<std::string> texts(static_cast<std::size_t>(PQntuples(result.get())));
  for (std::size_t row = 0; row < texts.size(); ++row) texts[row] = Value(result, static_cast<int>(row), 0);
  return texts;
}

std::string Joined(const std::vector<std::string>& parts) {
  std::string text;
  for (const std::string& part : parts) text += (text.empty() ? "" : ", ") + part;
  return text;
}

// A name for the interface from one of the server: each byte that no name has becomes "_"; it is unlike all
// before it.
std::string NameFor(const std::string& server_name, FoldedNames& taken) {
  std::string name = server_name.substr(0, kMaxNameBytes);
  while (!name.empty() && (static_cast<unsigned char>(name.back()) & 0xC0) == 0x80 &&
         name.size() == kMaxNameBytes)
    name.pop_back();
  for (char& byte : name) {
    if (JudgeName(std::string("a") + byte + "a") != NameVerdict::Good) byte = '_';
  }
  if (name.ends_with('.')) name.back() = '_';
  if (JudgeName(name) != NameVerdict::Good)
    name = (name.empty() ? "V" : "_") + name.substr(0, kMaxNameBytes - 1);
  const std::string stem = name.substr(0, kMaxNameBytes - 4);
  for (int number = 2; !taken.insert(Folded(name)).second; ++number)
    name = stem + "_" + std::to_string(number);
  return name;
}

// The labels of an enumeration, in their order; none for another type.
std::vector<std::string> EnumLabels(Connection& server, Oid type) {
  const std::string number = std::to_string(type);
  const char* const values[] = {number.c_str()};
  const Result labels = server.Run(
      "SELECT enumlabel FROM pg_catalog.pg_enum WHERE enumtypid = $1::oid ORDER BY enumsortorder", values);
  return FirstColumn(labels);
}

constexpr Oid kFirstOfUsers = 16384;  // types below are the server's own

void DescribeType(Connection& server, ColumnType& type, Variable& variable) {
  if (type.oid >= kFirstOfUsers) {
    for (const std::string& label : EnumLabels(server, type.oid)) {
      type.kind = ColumnType::Kind::Enum;
      const int place = static_cast<int>(type.places.size()) + 1;
      type.places.emplace(label, place);
      variable.value_labels.push_back({static_cast<double>(place), {}, label});
    }
  }
  if (type.kind == ColumnType::Kind::Bool) variable.value_labels = {{0, {}, "false"}, {1, {}, "true"}};
  const std::string oid = std::to_string(type.oid), modifier = std::to_string(type.modifier);
  const char* const values[] = {oid.c_str(), modifier.c_str()};
  const Result names = server.Run(
      "SELECT pg_catalog.format_type($1::oid, $2::int4), pg_catalog.format_type($1::oid, -1)", values);
  type.name = Value(names, 0, 0);
  type.cast = Value(names, 0, 1);
}

// The comments of columns of tables, of all that a result has.
std::string Comment(Connection& server, Oid table, int number) {
  if (table == 0 || number <= 0) return {};
  const std::string oid = std::to_string(table), column = std::to_string(number);
  const char* const values[] = {oid.c_str(), column.c_str()};
  return Value(server.Run("SELECT pg_catalog.col_description($1::oid, $2::int4)", values), 0, 0);
}

// Columns and variables of what a description tells. The names are those in the result.
void TakeColumns(Connection& server, const Result& description, Relation& relation,
                 std::vector<Variable>& variables) {
  FoldedNames taken;
  for (int i = 0; i < PQnfields(description.get()); ++i) {
    const std::string server_name = PQfname(description.get(), i);
    Column column;
    column.server_name = server.Quoted(server_name);
    column.type = TypeOf(PQftype(description.get(), i), PQfmod(description.get(), i));
    Variable variable(NameFor(server_name, taken), 0);
    DescribeType(server, column.type, variable);
    variable.label = Comment(server, PQftable(description.get(), i), PQftablecol(description.get(), i));
    if (variable.label.empty() && variable.name != server_name) variable.label = server_name;
    if (!column.type.IsText()) variable.format = column.type.NumberFormat();
    variable.level = column.type.MeasurementLevel();
    relation.columns.push_back(std::move(column));
    variables.push_back(std::move(variable));
  }
}

// Widths of texts come from the data: there is no other bound. Where there are none yet, some shall have
// room.
constexpr long kFirstWidth = 255;

void MeasureTexts(Connection& server, const Relation& relation, std::vector<Variable>& variables,
                  std::vector<std::string>& warnings) {
  std::vector<std::string> looks;
  for (const Column& column : relation.columns) {
    if (column.type.IsText())
      looks.push_back("pg_catalog.max(pg_catalog.octet_length(" + column.type.Expression(column.server_name) +
                      "))");
  }
  if (looks.empty()) return;
  const Result widths = server.Run("SELECT " + Joined(looks) + " FROM " + relation.source);
  int look = 0;
  for (std::size_t i = 0; i < variables.size(); ++i) {
    const ColumnType& type = relation.columns[i].type;
    if (!type.IsText()) continue;
    const bool none = PQgetisnull(widths.get(), 0, look) != 0;
    const long longest = none && relation.is_table && type.DeclaredWidth() == 0
                             ? kFirstWidth
                             : std::atol(PQgetvalue(widths.get(), 0, look));
    ++look;
    const long width = std::clamp<long>(std::max<long>(longest, type.DeclaredWidth()), 1, kMaxTextWidth);
    if (longest > width)
      warnings.push_back(variables[i].name + ": texts of up to " + std::to_string(longest) +
                         " bytes are cut to " + std::to_string(width));
    const Level level = variables[i].level;
    Variable text(variables[i].name, static_cast<int>(width));
    text.label = variables[i].label;
    text.level = level;
    variables[i] = std::move(text);
  }
}

std::string WithoutEnd(std::string query) {
  query.erase(query.find_last_not_of("; \t\r\n") + 1);
  return query;
}

}  // namespace

std::string Relation::Select(bool marks) const {
  std::vector<std::string> parts;
  if (marks) parts = {"tableoid", "ctid", "xmin"};
  for (const Column& column : columns) parts.push_back(column.type.Expression(column.server_name));
  return "SELECT " + Joined(parts) + " FROM " + source + (order.empty() ? "" : " ORDER BY " + order);
}

std::string Relation::ColumnList() const {
  std::vector<std::string> names;
  for (const Column& column : columns) names.push_back(column.server_name);
  return Joined(names);
}

Relation RelationOfQuery(Connection& server, const std::string& query, std::vector<Variable>& variables,
                         std::vector<std::string>& warnings) {
  Relation relation;
  TakeColumns(server, server.Describe(query), relation, variables);
  // Columns of a result may have one name, or none that is allowed: they get their own here.
  std::vector<std::string> names;
  for (std::size_t i = 0; i < relation.columns.size(); ++i)
    names.push_back(relation.columns[i].server_name = server.Quoted(variables[i].name));
  relation.source = "(" + WithoutEnd(query) + "\n) AS vexa_query(" + Joined(names) + ")";
  relation.connection = server.Number();
  if (relation.columns.empty()) return relation;
  server.Describe("SELECT " + Joined(names) + " FROM " + relation.source);
  MeasureTexts(server, relation, variables, warnings);
  return relation;
}

Relation RelationOfTable(Connection& server, const std::string& quoted_name, std::vector<Variable>& variables,
                         std::vector<std::string>& warnings) {
  Relation relation;
  relation.source = quoted_name;
  relation.connection = server.Number();
  const char* const values[] = {quoted_name.c_str()};
  // Foreign tables and views have rows, too, but none that can be found again.
  const Result kind = server.Run(
      "SELECT c.relkind, c.relpersistence = 't', c.relkind IN ('r', 'p') AND NOT EXISTS (SELECT FROM "
      "pg_catalog.pg_partition_tree(c.oid) t JOIN pg_catalog.pg_class p ON p.oid = t.relid WHERE p.relkind = "
      "'f'), "
      "(SELECT pg_catalog.string_agg(pg_catalog.quote_ident(a.attname), ', ' ORDER BY k.place) FROM "
      "pg_catalog.pg_index i, pg_catalog.unnest(i.indkey) WITH ORDINALITY AS k(number, place), "
      "pg_catalog.pg_attribute a WHERE i.indrelid = c.oid AND i.indisprimary AND a.attrelid = c.oid AND "
      "a.attnum = k.number) FROM pg_catalog.pg_class c WHERE c.oid = $1::regclass",
      values);
  relation.is_table = Value(kind, 0, 0) != "v" && Value(kind, 0, 0) != "m";
  relation.temporary = Value(kind, 0, 1) == "t";
  relation.rows_have_marks = Value(kind, 0, 2) == "t";
  relation.order = Value(kind, 0, 3);
  TakeColumns(server, server.Describe("SELECT * FROM " + quoted_name), relation, variables);
  if (!relation.columns.empty()) MeasureTexts(server, relation, variables, warnings);
  return relation;
}

void TakeTypes(Connection& server, Relation& relation) {
  const Result description = server.Describe("SELECT " + relation.ColumnList() + " FROM " + relation.source);
  for (std::size_t i = 0; i < relation.columns.size(); ++i) {
    Variable unused;
    const int column = static_cast<int>(i);
    relation.columns[i].type = TypeOf(PQftype(description.get(), column), PQfmod(description.get(), column));
    DescribeType(server, relation.columns[i].type, unused);
  }
}

std::string FindTable(Connection& server, const std::string& name) {
  const char* const values[] = {name.c_str()};
  const Result found = server.Run(
      "SELECT relname FROM pg_catalog.pg_class WHERE relkind IN ('r', 'p', 'v', 'm', 'f') AND "
      "pg_catalog.pg_table_is_visible(oid) AND pg_catalog.lower(relname) = pg_catalog.lower($1) "
      "ORDER BY relname = $1 DESC LIMIT 1",
      values);
  return PQntuples(found.get()) != 0 ? Value(found, 0, 0) : std::string();
}

std::vector<std::string> TableNames(Connection& server) {
  const Result found = server.Run(
      "SELECT c.relname FROM pg_catalog.pg_class c JOIN pg_catalog.pg_namespace n ON n.oid = c.relnamespace "
      "WHERE "
      "c.relkind IN ('r', 'p', 'v', 'm', 'f') AND NOT c.relispartition AND "
      "pg_catalog.pg_table_is_visible(c.oid) AND "
      "n.nspname NOT IN ('pg_catalog', 'information_schema') AND c.relname NOT LIKE 'vexa\\_%' ORDER BY 1");
  return FirstColumn(found);
}
