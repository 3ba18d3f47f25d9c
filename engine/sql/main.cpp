// vexasql: a backend whose language is SQL and whose data are in a PostgreSQL server.
//
//   vexasql DIRECTORY ID XNAME '-database "host=/run/postgresql dbname=air" -table readings'
#include <algorithm>
#include <csignal>
#include <vector>

#include "options.h"
#include "output_document.h"
#include "session.h"
#include "sql_dataset.h"
#include "sql_text.h"
#include "words.h"

namespace {

constexpr int kMostLines = 1000;  // of a result that is shown, such as that of EXPLAIN

Connection* interrupted = nullptr;

void OnInterrupt(int) {
  if (interrupted != nullptr) interrupted->Cancel();
}

void Warn(Session& session, const std::vector<std::string>& warnings) {
  for (const std::string& warning : warnings) session.output.Post(warning + "\n");
}

// What a statement answers that is no query: rows as lines of text.
std::string Shown(const PGresult* result) {
  std::string text;
  const int rows = PQntuples(result), columns = PQnfields(result);
  for (int row = 0; row < std::min(rows, kMostLines); ++row) {
    for (int column = 0; column < columns; ++column) {
      if (column != 0) text += " | ";
      text += PQgetvalue(result, row, column);
    }
    text += '\n';
  }
  if (rows > kMostLines) text += "... (" + std::to_string(rows) + " rows)\n";
  return text;
}

bool Controls(const std::string& word) {
  constexpr const char* kWords[] = {"BEGIN", "START",     "COMMIT",  "END",    "ROLLBACK",
                                    "ABORT", "SAVEPOINT", "RELEASE", "PREPARE"};
  return std::any_of(std::begin(kWords), std::end(kWords), [&](const char* known) { return word == known; });
}

bool MayBeQuery(const std::string& word, std::string_view statement) {
  return word == "SELECT" || word == "WITH" || word == "VALUES" || statement.starts_with('(');
}

class SqlBackend final : public Backend {
 public:
  SqlBackend() : Backend({"vexasql", VEXA_SQL_VERSION, "SQL on PostgreSQL through libvexaxd_p"}) {}

  ~SqlBackend() override { interrupted = nullptr; }

  bool TakeOption(const std::string& option, const std::function<std::string()>& value) override {
    if (option == "-database") {
      server.UseParameters(value());
      has_server = true;
    } else if (option == "-table") {
      SetFile(table, option, value());
    } else {
      return false;
    }
    return true;
  }

  void Open(Session& session) override {
    if (!has_server) throw Refusal(engine_code::kBadOption, "options: -database is missing");
    server.Open();
    interrupted = &server;
    struct sigaction action = {};
    action.sa_handler = OnInterrupt;
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    if (!table.empty()) OpenTable(session, table);
  }

  void Close(Session&) override {
    blocks.clear();
    server.Close();
  }

  void Cancel() noexcept override { server.Cancel(); }

  std::unique_ptr<Dataset> Make(const std::string& name, bool temporary) override {
    return SqlDataset::New(server, name, temporary);
  }

  std::unique_ptr<Dataset> Find(const std::string& name) override {
    const std::string known = FindTable(server, name);
    if (known.empty()) return nullptr;
    std::vector<std::string> warnings;
    return SqlDataset::OfTable(server, known, server.Quoted(known), warnings);
  }

  std::vector<std::string> Names() override { return TableNames(server); }

  void Closed(Dataset& dataset) override { dynamic_cast<SqlDataset&>(dataset).Drop(); }

  std::size_t CommandEnd(std::string_view text) const override { return StatementEnd(text); }

  int Run(Session& session, std::string_view text) override {
    const std::string_view statement = BareStatement(text);
    if (statement.empty()) return 0;
    // The server counts lines and columns from the first word on.
    const std::string sql(statement), word = FirstWord(statement);
    try {
      if (word == "TABLE") {
        OpenTable(session, std::string(BareStatement(statement.substr(word.size()))));
      } else if (!MayBeQuery(word, statement) || !OpenQuery(session, sql)) {
        RunStatement(session, word, sql);
      }
    } catch (const Refusal&) {
      session.output.Post(server.TakeNotices());
      throw;
    }
    session.output.Post(server.TakeNotices());
    return 0;
  }

  void StartBlock(Session&) override { blocks.push_back(std::make_unique<Work>(server)); }

  // What a block has done counts once it is over, and has not failed.
  void EndBlock(Session&, bool succeeded) override {
    const std::unique_ptr<Work> block = std::move(blocks.back());
    blocks.pop_back();
    if (succeeded) block->Commit();
  }

  std::vector<Setting> Settings() const override { return {{"database", server.Parameters()}}; }

 private:
  static void RequireFree(Session& session) {
    if (session.cursor) throw Refusal(engine_code::kCursorExists, MeaningOf(engine_code::kCursorExists));
    if (!session.declared.variables.empty())
      throw Refusal(engine_code::kHeaderOpen, MeaningOf(engine_code::kHeaderOpen));
    if (session.datasets.StepOpen()) throw Refusal(engine_code::kStepOpen, MeaningOf(engine_code::kStepOpen));
  }

  void OpenTable(Session& session, const std::string& name) {
    RequireFree(session);
    std::vector<std::string> warnings;
    // A name as it stands in SQL, or else as people write it.
    const std::string known = FindTable(server, name);
    const std::string quoted = known.empty() ? name : server.Quoted(known);
    session.datasets.Activate(SqlDataset::OfTable(server, known.empty() ? name : known, quoted, warnings));
    TakeSettings(session);
    Warn(session, warnings);
  }

  // SET vexa.weight = 'persons' and SET vexa.split = 'region, year' name variables of the active dataset, and
  // of those that become it: what the dataset has none of counts as not said.
  void TakeSettings(Session& session) {
    const Result said = server.Run(
        "SELECT pg_catalog.current_setting('vexa.weight', true), pg_catalog.current_setting('vexa.split', "
        "true)");
    Dataset& data = session.Data();
    data.weight.clear();
    data.splits.clear();
    if (data.variables.empty()) return;
    for (const std::string& name : NamesIn(PQgetvalue(said.get(), 0, 0))) {
      const Variable* const variable = data.Find(name);
      if (variable == nullptr || variable->IsText())
        session.output.Post("vexa.weight: there is no number " + name + "\n");
      else
        data.weight = variable->name;
    }
    for (const std::string& name : NamesIn(PQgetvalue(said.get(), 0, 1))) {
      if (const Variable* const variable = data.Find(name)) {
        data.splits.push_back(variable->name);
      } else {
        session.output.Post("vexa.split: there is no variable " + name + "\n");
      }
    }
  }

  // "region, year"
  static std::vector<std::string> NamesIn(std::string_view list) {
    std::vector<std::string> names;
    while (!list.empty()) {
      const std::size_t end = std::min(list.find(','), list.size());
      const std::string_view name = Trimmed(list.substr(0, end));
      if (!name.empty()) names.emplace_back(name);
      list.remove_prefix(std::min(end + 1, list.size()));
    }
    return names;
  }

  // False for what is run at once: its result has no columns, or is what a function without a value gives.
  bool OpenQuery(Session& session, const std::string& sql) {
    constexpr Oid kVoid = 2278;
    const Result description = server.Describe(sql);
    const int columns = PQnfields(description.get());
    if (columns == 0) return false;
    for (int i = 0; i < columns; ++i) {
      if (PQftype(description.get(), i) == kVoid) return false;
    }
    RequireFree(session);
    std::vector<std::string> warnings;
    session.datasets.Activate(SqlDataset::OfQuery(server, sql, warnings));
    TakeSettings(session);
    Warn(session, warnings);
    return true;
  }

  // One that fails in a transaction undoes itself alone. What is about transactions is left to the user.
  void RunStatement(Session& session, const std::string& word, const std::string& sql) {
    for (Dataset* const dataset : session.datasets.Open()) dataset->Release();
    std::optional<Work> work;
    if (server.InTransaction() && !server.Broken() && !Controls(word)) work.emplace(server);
    const Result result = server.Run(sql);
    if (work) work->Commit();
    session.output.Post(Shown(result.get()));
    if (const std::string tag = PQcmdStatus(const_cast<PGresult*>(result.get())); !tag.empty())
      session.output.Post(tag + "\n");
    if (word == "SET" || word == "RESET") TakeSettings(session);
  }

  Connection server;
  bool has_server = false;
  std::string table;                          // to be the active one from the start
  std::vector<std::unique_ptr<Work>> blocks;  // that are running, each within the one before
};

}  // namespace

int main(int argc, char** argv) {
  SqlBackend backend;
  return BackendMain(backend, argc, argv);
}
