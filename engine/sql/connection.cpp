#include "connection.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

// What the engine does beside the statements of users: rows come in the order that they lie in, all of a
// result is read as a rule, and a server that works for nobody notices.
constexpr const char* kSettings =
    "SET cursor_tuple_fraction = 1; SET synchronize_seqscans = off; SET client_connection_check_interval = "
    "'1s'; "
    "SET client_min_messages = notice; SET datestyle = 'ISO'; SET intervalstyle = 'postgres'";

std::string Trimmed(std::string text) {
  text.erase(text.find_last_not_of(" \n\r\t") + 1);
  return text;
}

// Where in a statement: "line 2, column 7". Characters from 1, as the server counts them.
std::string Place(const std::string& statement, const char* position) {
  if (position == nullptr) return {};
  std::size_t line = 1, column = 1;
  int left = std::atoi(position) - 1;
  for (const char byte : statement) {
    if ((static_cast<unsigned char>(byte) & 0xC0) == 0x80) continue;
    if (left-- == 0) break;
    if (byte == '\n') {
      ++line;
      column = 1;
    } else {
      ++column;
    }
  }
  return " (line " + std::to_string(line) + ", column " + std::to_string(column) + ")";
}

std::string Explained(const PGresult* result, const std::string& statement) {
  const auto field = [&](int code) {
    const char* const text = PQresultErrorField(result, code);
    return text != nullptr ? std::string(text) : std::string();
  };
  std::string text = field(PG_DIAG_MESSAGE_PRIMARY);
  if (text.empty()) return Trimmed(PQresultErrorMessage(result));
  text += Place(statement, PQresultErrorField(result, PG_DIAG_STATEMENT_POSITION));
  text += " [" + field(PG_DIAG_SQLSTATE) + "]";
  if (const std::string detail = field(PG_DIAG_MESSAGE_DETAIL); !detail.empty()) text += "\n" + detail;
  if (const std::string hint = field(PG_DIAG_MESSAGE_HINT); !hint.empty()) text += "\n" + hint;
  // Of a function or a line that was copied; not of the statements that are ours.
  const std::string context = field(PG_DIAG_CONTEXT);
  if (!context.empty() && !context.starts_with("unnamed portal")) text += "\n" + context;
  return text;
}

constexpr const char* kCancelledState = "57014";

}  // namespace

void Connection::UseParameters(const std::string& parameters) {
  given = parameters;
  char* why = nullptr;
  PQconninfoOption* const options = PQconninfoParse(given.c_str(), &why);
  if (options == nullptr) {
    const std::string reason = Trimmed(why != nullptr ? why : "it is not understood");
    PQfreemem(why);
    throw Refusal(engine_code::kBadOption, "options: -database: " + reason);
  }
  bool secret = false;
  for (const PQconninfoOption* option = options; option->keyword != nullptr; ++option) {
    secret = secret || (option->val != nullptr && std::strstr(option->keyword, "password") != nullptr &&
                        std::strcmp(option->keyword, "passfile") != 0);
  }
  PQconninfoFree(options);
  if (secret) {
    given.clear();
    throw Refusal(
        engine_code::kBadOption,
        "options: -database has a password, which everybody can see in the list of processes: put it into "
        "~/.pgpass or a file that passfile=... names");
  }
}

Connection::~Connection() { Close(); }

void Connection::Close() {
  cancel = nullptr;
  PQfinish(line);
  line = nullptr;
  in_flight = nullptr;
}

void Connection::Open() {
  Close();
  const char* const keywords[] = {"dbname", "client_encoding", "fallback_application_name", nullptr};
  const char* const values[] = {given.c_str(), "UTF8", "vexasql", nullptr};
  line = PQconnectdbParams(keywords, values, 1);
  if (!Lives()) {
    const std::string why = Trimmed(PQerrorMessage(line));
    Close();
    throw Refusal(sql_code::kConnectionLost, why);
  }
  ++number;
  PQsetNoticeProcessor(line, Note, this);
  cancel = cancels.emplace_back(PQgetCancel(line), PQfreeCancel).get();
  Checked(PQexec(line, kSettings), kSettings);
}

void Connection::Note(void* connection, const char* notice) {
  static_cast<Connection*>(connection)->notices += notice;
}

std::string Connection::TakeNotices() { return std::exchange(notices, {}); }

// A line that broke is made again, once no transaction is open that went with it.
void Connection::Ready() {
  if (in_flight != nullptr) std::exchange(in_flight, nullptr)->Absorb();
  if (Lives()) return;
  if (works > 0)
    throw Refusal(sql_code::kConnectionLost, "the transaction is lost with the connection to the server");
  Open();
}

void Connection::Lost() {
  const std::string why = Trimmed(PQerrorMessage(line));
  Close();
  throw Refusal(sql_code::kConnectionLost, "the connection to the server is lost: " + why);
}

Result Connection::Checked(PGresult* result, const std::string& statement) {
  Result owned(result);
  switch (PQresultStatus(result)) {
    case PGRES_COMMAND_OK:
    case PGRES_TUPLES_OK:
    case PGRES_EMPTY_QUERY:
    case PGRES_COPY_IN:
    case PGRES_COPY_OUT:
      return owned;
    default:
      break;
  }
  if (!Lives()) Lost();
  const char* const state = PQresultErrorField(result, PG_DIAG_SQLSTATE);
  const bool cancelled = state != nullptr && std::strcmp(state, kCancelledState) == 0;
  throw Refusal(cancelled ? sql_code::kCancelled : sql_code::kStatementFailed, Explained(result, statement));
}

Result Connection::Run(const std::string& statement) {
  Ready();
  Result result = Checked(PQexec(line, statement.c_str()), statement);
  const ExecStatusType status = PQresultStatus(result.get());
  if (status == PGRES_COPY_IN) EndCopy("there is nothing to copy from here");
  if (status == PGRES_COPY_OUT) {
    while (NextRow()) {
    }
    throw Refusal(sql_code::kStatementFailed, "nobody takes what is copied to STDOUT");
  }
  return result;
}

Result Connection::Run(const std::string& statement, std::span<const char* const> values,
                       bool binary_result) {
  Ready();
  return Checked(PQexecParams(line, statement.c_str(), static_cast<int>(values.size()), nullptr,
                              values.data(), nullptr, nullptr, binary_result ? 1 : 0),
                 statement);
}

Result Connection::Describe(const std::string& statement) {
  Ready();
  Checked(PQprepare(line, "", statement.c_str(), 0, nullptr), statement);
  return Checked(PQdescribePrepared(line, ""), statement);
}

void Connection::Send(const std::string& statement, InFlight& flight) {
  Ready();
  if (PQsendQueryParams(line, statement.c_str(), 0, nullptr, nullptr, nullptr, nullptr, 1) == 0) Lost();
  in_flight = &flight;
}

Result Connection::Await() {
  in_flight = nullptr;
  Result result(PQgetResult(line));
  while (PGresult* const more = PQgetResult(line)) PQclear(more);
  return Checked(result.release(), {});
}

void Connection::Leave(const InFlight& flight) {
  if (in_flight == &flight) in_flight = nullptr;
  while (PGresult* const rest = line != nullptr ? PQgetResult(line) : nullptr) PQclear(rest);
}

void Connection::StartRows(const std::string& statement, InFlight& flight) {
  Ready();
  Checked(PQexec(line, statement.c_str()), statement);
  in_flight = &flight;
}

std::optional<std::string_view> Connection::NextRow() {
  char* bytes = nullptr;
  const int length = PQgetCopyData(line, &bytes, 0);
  row.reset(bytes);
  if (length > 0) return std::string_view(bytes, static_cast<std::size_t>(length));
  in_flight = nullptr;
  Result result(PQgetResult(line));
  while (PGresult* const more = PQgetResult(line)) PQclear(more);
  Checked(result.release(), {});
  return std::nullopt;
}

void Connection::Abandon(const InFlight& flight) noexcept {
  if (in_flight != &flight) return;
  in_flight = nullptr;
  Cancel();
  try {
    while (NextRow()) {
    }
  } catch (const Refusal&) {  // as it must be
  }
}

void Connection::StartCopy(const std::string& statement) {
  Ready();
  Checked(PQexec(line, statement.c_str()), statement);
}

void Connection::Copy(const std::string& bytes) {
  if (PQputCopyData(line, bytes.data(), static_cast<int>(bytes.size())) != 1) Lost();
}

void Connection::EndCopy(const char* why) {
  if (PQputCopyEnd(line, why) != 1) Lost();
  Result result(PQgetResult(line));
  while (PGresult* const more = PQgetResult(line)) PQclear(more);
  Checked(result.release(), {});
}

void Connection::Cancel() noexcept {
  char why[256];
  if (PGcancel* const way = cancel.load()) PQcancel(way, why, sizeof why);
}

std::string Connection::Quoted(const std::string& name) const {
  std::string quoted = "\"";
  for (const char byte : name) quoted += byte == '"' ? "\"\"" : std::string(1, byte);
  return quoted + '"';
}

// Whatever standard_conforming_strings is.
std::string Connection::Literal(const std::string& text) const {
  std::string quoted = text.find('\\') != std::string::npos ? " E'" : "'";
  for (const char byte : text) {
    if (byte == '\'' || byte == '\\') quoted += byte;
    quoted += byte;
  }
  return quoted + '\'';
}

Work::Work(Connection& connection) : server(connection) {
  static unsigned long count = 0;
  if (server.InTransaction()) savepoint = "vexa_" + std::to_string(++count);
  server.Run(savepoint.empty() ? "BEGIN" : "SAVEPOINT " + savepoint);
  of_connection = server.Number();
  ++server.works;
}

void Work::Commit() {
  if (!Lives()) throw Refusal(sql_code::kStatementFailed, "the transaction was ended meanwhile");
  // A COMMIT of what has failed answers with success, and has undone everything.
  if (server.Broken()) throw Refusal(sql_code::kStatementFailed, "the transaction has failed and is undone");
  server.Run(savepoint.empty() ? "COMMIT" : "RELEASE " + savepoint);
  done = true;
}

Work::~Work() {
  --server.works;
  if (!Lives()) return;
  try {
    server.Run(savepoint.empty() ? "ROLLBACK" : "ROLLBACK TO " + savepoint + "; RELEASE " + savepoint);
  } catch (const Refusal&) {  // a lost connection has undone it
  }
}
