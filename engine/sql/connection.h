// The line to the PostgreSQL server: one connection, which one thread uses; only Cancel may come from
// elsewhere. What the server refuses is thrown as a Refusal with its own message.
#ifndef CONNECTION_H
#define CONNECTION_H

#include <libpq-fe.h>

#include <atomic>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "engine_code.h"

namespace sql_code {

inline constexpr int kStatementFailed = 2060;
inline constexpr int kConnectionLost = 2061;
inline constexpr int kCancelled = 2062;
inline constexpr int kRowChanged = 2063;
inline constexpr int kCannotChange = 2064;

}  // namespace sql_code

struct ResultCloser {
  void operator()(PGresult* result) const { PQclear(result); }
};
using Result = std::unique_ptr<PGresult, ResultCloser>;

// What has a request on its way while nobody waits for it.
class InFlight {
 public:
  virtual ~InFlight() = default;
  // Takes the answer in, so that the line is free.
  virtual void Absorb() = 0;
};

class Connection {
 public:
  Connection() = default;
  // A connection string of libpq. Throws Refusal for one that is none, or that has a password: it would be
  // seen in the list of processes.
  void UseParameters(const std::string& parameters);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection();

  // Connects. Throws Refusal.
  void Open();
  void Close();
  // Counts the connections: what was on the server for one is gone with the next.
  int Number() const { return number; }
  bool Lives() const { return line != nullptr && PQstatus(line) == CONNECTION_OK; }
  bool InTransaction() const { return Lives() && PQtransactionStatus(line) != PQTRANS_IDLE; }
  bool Broken() const { return Lives() && PQtransactionStatus(line) == PQTRANS_INERROR; }

  // Runs a statement, or several. A lost connection is made again first, where nothing hung on it.
  Result Run(const std::string& statement);
  // One statement, with texts for $1, $2 and so on; null is NULL.
  Result Run(const std::string& statement, std::span<const char* const> values, bool binary_result = false);
  // The columns of a statement's result, without running it.
  Result Describe(const std::string& statement);
  // A statement whose binary result is waited for later, by Await. Until then `flight` has the line.
  void Send(const std::string& statement, InFlight& flight);
  Result Await();
  void Leave(const InFlight& flight);  // which is gone

  // COPY ... TO STDOUT: its rows one by one, each valid until the next; none behind the last. `flight` has
  // the line.
  void StartRows(const std::string& statement, InFlight& flight);
  std::optional<std::string_view> NextRow();
  // Gives up the rows that are still to come. A transaction that is open has failed then.
  void Abandon(const InFlight& flight) noexcept;

  // COPY ... FROM STDIN: behind the statement pieces of any size, then the end; what `why` names ends it
  // without effect.
  void StartCopy(const std::string& statement);
  void Copy(const std::string& bytes);
  void EndCopy(const char* why = nullptr);

  // Ends what the server is doing for us. From any thread, and from a signal handler.
  void Cancel() noexcept;

  // What the server said beside results, since the last time; a line each.
  std::string TakeNotices();
  std::string Quoted(const std::string& name) const;  // as an identifier
  std::string Literal(const std::string& text) const;
  // The string that it was made with.
  const std::string& Parameters() const { return given; }

 private:
  void Ready();
  Result Checked(PGresult* result, const std::string& statement);
  [[noreturn]] void Lost();
  static void Note(void* connection, const char* notice);

  friend class Work;
  int works = 0;  // that are open, also those of a connection that is lost
  std::string given;
  PGconn* line = nullptr;
  // Those of connections that are gone stay: somebody may be using one.
  std::vector<std::unique_ptr<PGcancel, void (*)(PGcancel*)>> cancels;
  std::atomic<PGcancel*> cancel = nullptr;
  int number = 0;
  InFlight* in_flight = nullptr;
  std::unique_ptr<char, void (*)(void*)> row{nullptr, PQfreemem};
  std::string notices;
};

// A piece of work that is done whole or not at all: a transaction, or within one a part of it. Without Commit
// it is undone.
class Work {
 public:
  explicit Work(Connection& connection);
  Work(const Work&) = delete;
  Work& operator=(const Work&) = delete;
  ~Work();
  void Commit();
  // Whether it is still what it was: not after the connection was lost, or somebody else ended the
  // transaction.
  bool Lives() const { return !done && server.Number() == of_connection && server.InTransaction(); }

 private:
  Connection& server;
  int of_connection = 0;
  std::string savepoint;  // empty for a whole transaction
  bool done = false;
};

#endif
