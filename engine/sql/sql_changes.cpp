// What is changed of a table: cells, cases and variables. Each change is one piece of work on the server.
#include <algorithm>
#include <set>
#include <utility>

#include "copy_writer.h"
#include "sql_dataset.h"
#include "words.h"

namespace {

constexpr std::size_t kMostQueued = 10000;

// A list of texts as the server reads it: {"one",NULL}.
class ArrayText {
 public:
  void Add(const std::string& text) {
    Separate();
    list += '"';
    for (const char byte : text) {
      if (byte == '"' || byte == '\\') list += '\\';
      list += byte;
    }
    list += '"';
  }
  void AddNull() {
    Separate();
    list += "NULL";
  }
  const char* Text() {
    if (list.back() != '}') list += '}';
    return list.c_str();
  }

 private:
  void Separate() {
    if (list.size() > 1) list += ',';
  }
  std::string list = "{";
};

// A type for a column of a new variable.
std::string TypeFor(const Variable& variable) {
  return variable.IsText() ? "varchar(" + std::to_string(variable.width) + ")" : "double precision";
}

[[noreturn]] void Refuse(const std::string& reason) { throw Refusal(sql_code::kCannotChange, reason); }

}  // namespace

// --- What can be changed ---

void SqlDataset::MakeTable() {
  static unsigned long count = 0;
  const std::string table = "vexa_data_" + std::to_string(++count);
  stream.reset();
  Forget();
  Work work(server);
  server.Run("SET LOCAL max_parallel_workers_per_gather = 0");  // which would mix the rows
  server.Run("CREATE TEMPORARY TABLE " + table + " AS SELECT * FROM " + relation.source);
  work.Commit();
  relation.source = table;
  relation.order.clear();
  relation.is_table = relation.rows_have_marks = relation.temporary = true;
  relation.connection = server.Number();
  own = true;
}

void SqlDataset::RequireTable(const char* what) {
  if (relation.is_table) return;
  if (!is_result) Refuse(std::string(what) + ": " + name + " is a view");
  MakeTable();
}

void SqlDataset::RequireMarks() {
  RequireTable("the cases cannot be changed");
  if (!relation.rows_have_marks)
    Refuse("the cases of " + name + " cannot be changed one by one: they lie on another server");
}

// --- Cells ---

Unit* SqlDataset::Change(std::size_t index) {
  const auto known = touched.find(index);
  if (known != touched.end()) return known->second.after.data();
  RequireMarks();
  if (passes && !writes) {  // a pass that has read until now
    writes = true;
    stream.reset();
  }
  const Unit* const units = At(index);
  Edit edit;
  edit.before.assign(units, units + case_units);
  edit.after = edit.before;
  const bool in_pass = passes && stream && stream->Holds(index);
  edit.mark = in_pass ? stream->MarkAt(index) : numbered->marks[index - numbered->first];
  edit.number = in_pass ? 0 : NumberOf(index);
  return touched.emplace(index, std::move(edit)).first->second.after.data();
}

void SqlDataset::Keep() {
  for (auto& [index, edit] : touched) {
    if (edit.before == edit.after) continue;
    if (passes) std::copy(edit.after.begin(), edit.after.end(), At(index));
    queued.push_back(std::move(edit));
  }
  touched.clear();
  if (!passes || queued.size() >= kMostQueued) Flush();
}

void SqlDataset::Flush() {
  if (queued.empty()) return;
  try {
    if (passes) {
      Write();
      wrote = true;
    } else {
      Work work(server);
      Write();
      work.Commit();
    }
  } catch (const Refusal&) {
    queued.clear();
    Forget();
    if (passes) AbandonPass();
    throw;
  }
  queued.clear();
  if (numbered) {
    numbered->units.clear();
    numbered->marks.clear();
  }
}

// The columns in which something has changed, of the rows in which something has.
void SqlDataset::Write() {
  std::vector<std::size_t> changed;
  for (std::size_t i = 0; i < variables.size(); ++i) {
    const std::size_t first = variables[i].first_unit, units = variables[i].Units();
    const auto differs = [&](const Edit& edit) {
      return !std::equal(edit.after.begin() + static_cast<std::ptrdiff_t>(first),
                         edit.after.begin() + static_cast<std::ptrdiff_t>(first + units),
                         edit.before.begin() + static_cast<std::ptrdiff_t>(first));
    };
    if (std::any_of(queued.begin(), queued.end(), differs)) changed.push_back(i);
  }
  std::vector<ArrayText> lists(4 + changed.size());
  for (const Edit& edit : queued) {
    lists[0].Add(std::to_string(edit.mark.table));
    lists[1].Add(edit.mark.PlaceText());
    lists[2].Add(std::to_string(edit.mark.writer));
    lists[3].Add(std::to_string(edit.number));
    for (std::size_t i = 0; i < changed.size(); ++i) {
      const Variable& variable = variables[changed[i]];
      const Unit* const value = edit.after.data() + variable.first_unit;
      if (IsNull(variable, value)) {
        lists[4 + i].AddNull();
      } else {
        lists[4 + i].Add(ServerText(relation.columns[changed[i]], variable, value));
      }
    }
  }
  std::string given, names, set, back, copy;
  for (std::size_t i = 0; i < changed.size(); ++i) {
    const Column& column = relation.columns[changed[i]];
    const std::string value = "v" + std::to_string(i);
    given += ", $" + std::to_string(5 + i) + "::text[]";
    names += ", " + value;
    set += (i != 0 ? ", " : "") + column.server_name + " = vexa_new." + value + "::" + column.type.cast;
    back += ", vexa_of." + column.server_name + " AS " + value;
    copy += ", " + column.server_name + " = vexa_done." + value;
  }
  std::string statement =
      "WITH vexa_new AS (SELECT * FROM unnest($1::oid[], $2::tid[], $3::xid[], $4::int8[]" + given +
      ") AS vexa_list(t, c, x, n" + names + ")), vexa_done AS (UPDATE " + relation.source +
      " AS vexa_of SET " + set +
      " FROM vexa_new WHERE vexa_of.tableoid = vexa_new.t AND vexa_of.ctid = vexa_new.c AND "
      "vexa_of.xmin = vexa_new.x RETURNING vexa_new.n, vexa_of.tableoid AS t, vexa_of.ctid AS c, "
      "vexa_of.xmin AS x" +
      back + ") ";
  if (numbered) {
    statement += "UPDATE " + numbered->table +
                 " SET vexa_t = vexa_done.t, vexa_c = vexa_done.c, vexa_x = vexa_done.x" + copy +
                 " FROM vexa_done WHERE vexa_n = vexa_done.n RETURNING 1";
  } else {
    statement += "SELECT FROM vexa_done";
  }
  std::vector<const char*> values(lists.size());
  std::transform(lists.begin(), lists.end(), values.begin(), [](ArrayText& list) { return list.Text(); });
  const auto written = static_cast<std::size_t>(PQntuples(server.Run(statement, values).get()));
  if (written != queued.size())
    throw Refusal(sql_code::kRowChanged,
                  std::to_string(queued.size() - written) +
                      " of the rows were changed by somebody else since they were read, and "
                      "nothing is written");
}

// --- Cases ---

void SqlDataset::Append(const Columns& columns, const void* rows, std::size_t count) {
  RequireTable("there can be no new cases");
  Work work(server);
  CopyWriter(server, relation, variables, columns).Write(rows, count);
  work.Commit();
  Forget();
}

// Its values are the defaults of the columns.
void SqlDataset::InsertCase(std::size_t at) {
  RequireMarks();
  Numbered& rows = Copied();
  if (at != CaseCount())
    throw Refusal(engine_code::kNotDone, "the rows of a table have no order: a case is new at the end");
  Work work(server);
  const Result made = server.Run("WITH vexa_done AS (INSERT INTO " + relation.source +
                                 " DEFAULT VALUES RETURNING tableoid, ctid, xmin, " + relation.ColumnList() +
                                 ") INSERT INTO " + rows.table + " SELECT " + std::to_string(rows.count) +
                                 ", * FROM vexa_done");
  work.Commit();
  ++rows.count;
}

void SqlDataset::DeleteCase(std::size_t at) {
  RequireMarks();
  Load(at);
  Numbered& rows = *numbered;
  const RowMark mark = rows.marks.at(at - rows.first);
  const std::size_t number = NumberOf(at);
  Work work(server);
  const Result gone =
      server.Run("DELETE FROM " + relation.source + " WHERE tableoid = " + std::to_string(mark.table) +
                 " AND ctid = '" + mark.PlaceText() + "' AND xmin = '" + std::to_string(mark.writer) + "'");
  if (std::string(PQcmdTuples(gone.get())) != "1")
    throw Refusal(sql_code::kRowChanged, "the row was changed by somebody else since it was read");
  server.Run("DELETE FROM " + rows.table + " WHERE vexa_n = " + std::to_string(number));
  work.Commit();
  rows.deleted.insert(std::upper_bound(rows.deleted.begin(), rows.deleted.end(), number), number);
  rows.units.clear();
  rows.marks.clear();
}

// --- Variables ---

// Those that stay keep their order, new ones come behind them: so it is with the columns of a table.
bool SqlDataset::Arrange(std::vector<Variable> wanted, std::span<const std::size_t> sources) {
  std::vector<Variable> placed = wanted;
  if (Place(placed) > kMaxCaseBytes / kUnitBytes) return false;
  std::size_t kept = 0;
  while (kept < sources.size() && sources[kept] != kNowhere) ++kept;
  const bool new_behind = std::all_of(sources.begin() + static_cast<std::ptrdiff_t>(kept), sources.end(),
                                      [](std::size_t source) { return source == kNowhere; });
  if (!new_behind || !std::is_sorted(sources.begin(), sources.begin() + static_cast<std::ptrdiff_t>(kept)))
    throw Refusal(engine_code::kNotDone,
                  "the columns of a table keep their order, and new ones come behind them");
  if (wrote)
    throw Refusal(engine_code::kNotDone, "the variables change ahead of the first case that is committed");
  RequireTable("the variables cannot be changed");
  stream.reset();
  Forget();
  KeepLabels();
  Work work(server);
  const std::string alter = "ALTER TABLE " + relation.source + " ";
  const std::set<std::size_t> staying(sources.begin(), sources.begin() + static_cast<std::ptrdiff_t>(kept));
  std::vector<Column> columns;
  for (std::size_t i = 0; i < variables.size(); ++i) {
    if (!staying.contains(i)) server.Run(alter + "DROP COLUMN " + relation.columns[i].server_name);
  }
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    const Variable& variable = wanted[i];
    if (i >= kept) {
      const std::string column = server.Quoted(variable.name);
      server.Run(
          std::string(alter).append("ADD COLUMN ").append(column).append(" ").append(TypeFor(variable)));
      if (!variable.label.empty())
        server.Run("COMMENT ON COLUMN " + relation.source + "." + column + " IS " +
                   server.Literal(variable.label));
      columns.push_back({column, {}});
    } else {
      columns.push_back(relation.columns[sources[i]]);
      ChangeType(columns.back(), variables[sources[i]], variable);
    }
  }
  Relation changed = relation;
  changed.columns = std::move(columns);
  TakeTypes(server, changed);
  work.Commit();
  Take(std::move(changed), std::move(placed));
  return true;
}

// What cannot be said in the other type is missing: a text that is no number.
void SqlDataset::ChangeType(const Column& column, const Variable& from, const Variable& to) {
  if (from.width == to.width) return;
  const std::string& name_there = column.server_name;
  const std::string alter = "ALTER TABLE " + relation.source + " ALTER COLUMN " + name_there + " TYPE ";
  if (from.IsText() && to.IsText()) {
    const Result longest = server.Run("SELECT pg_catalog.max(pg_catalog.octet_length(" + name_there +
                                      "::text)) FROM " + relation.source);
    if (std::atol(PQgetvalue(longest.get(), 0, 0)) > to.width)
      Refuse(from.name + " has texts of up to " + PQgetvalue(longest.get(), 0, 0) + " bytes");
    server.Run(alter + TypeFor(to));
  } else if (to.IsText()) {
    server.Run(alter + TypeFor(to) + " USING " + name_there + "::text");
  } else {
    server.Run(alter + "double precision USING CASE WHEN " + name_there +
               "::text ~ '^ *[-+]?([0-9]+[.]?[0-9]*|[.][0-9]+)([eE][-+]?[0-9]+)? *$' THEN " + name_there +
               "::text::double precision END");
  }
}

void SqlDataset::RenameVariable(Variable& variable, const std::string& new_name) {
  RequireTable("the variables cannot be changed");
  stream.reset();
  Forget();
  Column& column = relation.columns[static_cast<std::size_t>(&variable - variables.data())];
  const std::string quoted = server.Quoted(new_name);
  server.Run("ALTER TABLE " + relation.source + " RENAME COLUMN " + column.server_name + " TO " + quoted);
  column.server_name = quoted;
  Dataset::RenameVariable(variable, new_name);
}

// What is refused is not tried again: the label is the session's alone then.
void SqlDataset::KeepLabels() {
  if (!relation.is_table) return;
  std::string comments;
  for (std::size_t i = 0; i < variables.size(); ++i) {
    const std::string& label = variables[i].label;
    if (label == labels_there[i]) continue;
    labels_there[i] = label;
    comments.append("COMMENT ON COLUMN ")
        .append(relation.source)
        .append(".")
        .append(relation.columns[i].server_name);
    comments.append(" IS ").append(server.Literal(label)).append("; ");
  }
  if (comments.empty()) return;
  Work work(server);
  server.Run(comments);
  work.Commit();
}

// --- The whole ---

void SqlDataset::Rename(const std::string& new_name) {
  if (is_result) return Dataset::Rename(new_name);
  if (!relation.is_table) Refuse(name + " is a view");
  const std::string quoted = server.Quoted(new_name);
  server.Run("ALTER TABLE " + relation.source + " RENAME TO " + quoted);
  relation.source = quoted;
  Dataset::Rename(new_name);
}

void SqlDataset::CopyFrom(Dataset& source) {
  auto& other = dynamic_cast<SqlDataset&>(source);
  if (!is_result && !relation.is_table) Refuse(name + " is a view");
  AbandonPass();
  Forget();
  const std::string table = is_result ? std::string() : relation.source;
  if (is_result) {
    own = false;
    relation = other.relation;
    relation.source = "(SELECT * FROM " + other.relation.source + ") AS vexa_query";
    relation.is_table = false;
  } else {
    Work work(server);
    server.Run("DROP TABLE " + table);
    server.Run(std::string(relation.temporary ? "CREATE TEMPORARY TABLE " : "CREATE TABLE ") + table +
               " AS SELECT * FROM " + other.relation.source +
               (other.relation.order.empty() ? "" : " ORDER BY ") + other.relation.order);
    const bool temporary = relation.temporary;
    relation = other.relation;
    relation.source = table;
    relation.order.clear();
    relation.is_table = relation.rows_have_marks = true;
    relation.temporary = temporary;
    work.Commit();
  }
  std::string kept = std::move(name);
  Dataset::operator=(other);
  name = std::move(kept);
  labels_there.assign(variables.size(), {});
}
