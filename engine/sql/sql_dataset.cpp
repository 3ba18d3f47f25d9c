#include "sql_dataset.h"

#include <algorithm>
#include <utility>

#include "words.h"

namespace {

constexpr std::size_t kWindowBytes = std::size_t{4} << 20;
constexpr std::size_t kFirstWindow = 64, kLargestWindow = 8192;

std::string NextName(const char* stem) {
  static unsigned long count = 0;
  return stem + std::to_string(++count);
}

}  // namespace

std::unique_ptr<SqlDataset> SqlDataset::OfQuery(Connection& server, const std::string& query,
                                                std::vector<std::string>& warnings) {
  std::unique_ptr<SqlDataset> dataset(new SqlDataset(server));
  std::vector<Variable> found;
  Relation relation = RelationOfQuery(server, query, found, warnings);
  dataset->Take(std::move(relation), std::move(found));
  dataset->is_result = true;
  return dataset;
}

std::unique_ptr<SqlDataset> SqlDataset::OfTable(Connection& server, const std::string& name,
                                                const std::string& quoted_name,
                                                std::vector<std::string>& warnings) {
  std::unique_ptr<SqlDataset> dataset(new SqlDataset(server));
  dataset->name = name;
  std::vector<Variable> found;
  Relation relation = RelationOfTable(server, quoted_name, found, warnings);
  dataset->Take(std::move(relation), std::move(found));
  return dataset;
}

std::unique_ptr<SqlDataset> SqlDataset::New(Connection& server, const std::string& name, bool temporary) {
  std::unique_ptr<SqlDataset> dataset(new SqlDataset(server));
  if (name.empty()) {
    dataset->relation.source = "(SELECT WHERE false) AS vexa_query";
    dataset->is_result = true;
    return dataset;
  }
  server.Run(std::string(temporary ? "CREATE TEMPORARY TABLE " : "CREATE TABLE ") + server.Quoted(name) +
             " ()");
  std::vector<std::string> warnings;
  dataset = OfTable(server, name, server.Quoted(name), warnings);
  dataset->own = temporary;
  return dataset;
}

void SqlDataset::Take(Relation taken, std::vector<Variable> with) {
  case_units = Place(with);
  if (CaseBytes() > kMaxCaseBytes)
    throw Refusal(engine_code::kCaseTooLong, MeaningOf(engine_code::kCaseTooLong));
  variables = std::move(with);
  relation = std::move(taken);
  labels_there.clear();
  for (const Variable& variable : variables) labels_there.push_back(variable.label);
}

void SqlDataset::Drop() noexcept {
  if (!own || !server.Lives() || server.Number() != relation.connection) return;
  try {
    stream.reset();
    pass_work.reset();
    Forget();
    if (!server.Broken()) server.Run("DROP TABLE IF EXISTS " + relation.source);
  } catch (const Refusal&) {  // it goes with the connection
  }
}

// --- The pass ---

// The stream begins with the first case that is asked for: until then the variables may change.
std::size_t SqlDataset::StartPass(bool pass_writes) {
  AbandonPass();
  if (pass_writes && is_result && !relation.is_table) MakeTable();
  passes = true;
  writes = pass_writes && relation.rows_have_marks;
  return kUnknown;
}

RowStream& SqlDataset::Stream(std::size_t first) {
  if (stream && (stream->Holds(first) || stream->IsAhead(first))) return *stream;
  stream.reset();
  if (!pass_work && (writes || server.InTransaction())) pass_work.emplace(server);
  stream = std::make_unique<RowStream>(server, relation, variables, writes, first);
  return *stream;
}

std::size_t SqlDataset::Ahead(std::size_t first, std::size_t wanted) {
  lender.BytesMayGo();
  return Stream(first).Ahead(first, wanted);
}

// Undoes what the pass has changed.
void SqlDataset::AbandonPass() noexcept {
  queued.clear();
  touched.clear();
  stream.reset();
  pass_work.reset();
  passes = writes = wrote = false;
}

void SqlDataset::EndPass() {
  try {
    Flush();
    KeepLabels();
    // Rows that are given up take the transaction with them, in which nothing else has happened then.
    const bool nothing_else = stream && !stream->LineIsFree();
    stream.reset();
    if (pass_work && !nothing_else && (wrote || pass_work->Lives())) pass_work->Commit();
  } catch (const Refusal&) {
    AbandonPass();
    throw;
  }
  AbandonPass();
}

// --- Cases by their index ---

void SqlDataset::Forget() noexcept {
  const std::optional<Numbered> old = std::exchange(numbered, std::nullopt);
  if (!old || !server.Lives() || server.Number() != old->connection || server.Broken()) return;
  try {
    server.Run("DROP TABLE IF EXISTS " + old->table);
  } catch (const Refusal&) {  // it goes with the connection
  }
}

void SqlDataset::Release() {
  Forget();
  KeepLabels();
}

SqlDataset::Numbered& SqlDataset::Copied() {
  if (numbered && numbered->connection == server.Number() && server.Lives()) return *numbered;
  numbered.reset();
  Numbered made;
  made.table = NextName("vexa_rows_");
  Work work(server);
  server.Run("SET LOCAL max_parallel_workers_per_gather = 0");  // which would mix the rows
  const std::string order = relation.order.empty() ? std::string() : "ORDER BY " + relation.order;
  const Result copied =
      server.Run("CREATE TEMPORARY TABLE " + made.table + " AS SELECT pg_catalog.row_number() OVER (" +
                 order + ") - 1 AS vexa_n" +
                 (relation.rows_have_marks ? ", tableoid AS vexa_t, ctid AS vexa_c, xmin AS vexa_x" : "") +
                 (relation.columns.empty() ? "" : ", ") + relation.ColumnList() + " FROM " + relation.source);
  made.count = std::stoul(PQcmdTuples(copied.get()));
  server.Run("CREATE INDEX ON " + made.table + " (vexa_n); ANALYZE " + made.table);
  work.Commit();
  made.connection = server.Number();
  return numbered.emplace(std::move(made));
}

std::size_t SqlDataset::CaseCount() {
  if (numbered && numbered->connection == server.Number()) return numbered->count - numbered->deleted.size();
  return std::stoul(PQgetvalue(server.Run("SELECT pg_catalog.count(*) FROM " + relation.source).get(), 0, 0));
}

std::size_t SqlDataset::NumberOf(std::size_t index) const {
  for (const std::size_t gone : numbered->deleted) {
    if (gone > index) break;
    ++index;
  }
  return index;
}

// A window that grows as long as the rows are asked for one behind the other.
void SqlDataset::Load(std::size_t index) {
  Numbered& rows = Copied();
  const std::size_t held = case_units != 0 ? rows.units.size() / case_units : 0;
  if (index >= rows.first && index < rows.first + held) return;
  const std::size_t most =
      std::clamp<std::size_t>(kWindowBytes / std::max<std::size_t>(CaseBytes(), 1), 1, kLargestWindow);
  const bool onward = held != 0 && index == rows.first + held, back = held != 0 && index + 1 == rows.first;
  const std::size_t wanted = std::min(onward || back ? held * 4 : kFirstWindow, most);
  rows.first = back ? index + 1 - std::min(wanted, index + 1) : index;
  rows.units.clear();
  rows.marks.clear();
  Relation copy = relation;
  copy.source = rows.table;
  copy.order.clear();
  std::string select = copy.Select(false);
  if (relation.rows_have_marks) select.insert(std::string("SELECT ").size(), "vexa_t, vexa_c, vexa_x, ");
  const Result found = server.Run(select + " WHERE vexa_n >= " + std::to_string(NumberOf(rows.first)) +
                                      " ORDER BY vexa_n LIMIT " + std::to_string(wanted),
                                  {}, true);
  RowReader(relation, variables, relation.rows_have_marks).Read(found.get(), rows.units, rows.marks);
}

// A case that is there.
Unit* SqlDataset::At(std::size_t index) {
  if (passes && stream && stream->Holds(index)) return stream->At(index);
  if (passes && Stream(index).Ahead(index, 1) != 0) return stream->At(index);
  Load(index);
  const std::size_t at = (index - numbered->first) * case_units;
  if (at >= numbered->units.size())
    throw Refusal(sql_code::kRowChanged, "row " + std::to_string(index) + " is gone");
  return numbered->units.data() + at;
}

const Unit* SqlDataset::Case(std::size_t index) { return At(index); }

Loan SqlDataset::Lend(std::size_t first_case, std::size_t bytes) {
  return lender.Lend(At(first_case), bytes);
}
