// A dataset that is a table of the server, or what a query finds there. A pass streams; cases by their index
// come from a numbered copy on the server, which is made when one is asked for first. What is changed goes to
// the table in one piece of work, row by row found again by its mark: a row that somebody else has changed
// since is not overwritten.
//
// The first change to what a query found makes a temporary table of it.
#ifndef SQL_DATASET_H
#define SQL_DATASET_H

#include <map>
#include <memory>
#include <optional>

#include "dataset.h"
#include "row_stream.h"

class SqlDataset final : public Dataset {
 public:
  // Throws Refusal.
  static std::unique_ptr<SqlDataset> OfQuery(Connection& server, const std::string& query,
                                             std::vector<std::string>& warnings);
  static std::unique_ptr<SqlDataset> OfTable(Connection& server, const std::string& name,
                                             const std::string& quoted_name,
                                             std::vector<std::string>& warnings);
  // With a table of that name, where it has one.
  static std::unique_ptr<SqlDataset> New(Connection& server, const std::string& name, bool temporary);

  std::size_t StartPass(bool writes) override;
  std::size_t Ahead(std::size_t first, std::size_t wanted) override;
  void EndPass() override;
  std::size_t CaseCount() override;
  const Unit* Case(std::size_t index) override;
  Unit* Change(std::size_t index) override;
  void Keep() override;
  Loan Lend(std::size_t first_case, std::size_t bytes) override;
  void Append(const Columns& columns, const void* rows, std::size_t count) override;
  void InsertCase(std::size_t at) override;
  void DeleteCase(std::size_t at) override;
  void Release() override;
  bool StaysOpen() const override { return is_result; }
  bool Arrange(std::vector<Variable> wanted, std::span<const std::size_t> sources) override;
  void RenameVariable(Variable& variable, const std::string& new_name) override;
  void Rename(const std::string& new_name) override;
  void CopyFrom(Dataset& source) override;

  // The table goes for good, where it is one of the session's own.
  void Drop() noexcept;

 private:
  // The rows by their numbers, in a temporary table; a window of them is here.
  struct Numbered {
    std::string table;
    int connection = 0;
    std::size_t count = 0;
    std::vector<std::size_t> deleted;  // numbers that are gone, in their order
    std::size_t first = 0;             // of the window, as an index
    std::vector<Unit> units;
    std::vector<RowMark> marks;
  };
  struct Edit {
    RowMark mark;
    std::size_t number = 0;  // in the numbered copy
    std::vector<Unit> before, after;
  };

  explicit SqlDataset(Connection& connection) : server(connection) {}
  void Take(Relation taken, std::vector<Variable> with);
  void MakeTable();
  void RequireTable(const char* what);
  void RequireMarks();
  void Forget() noexcept;  // the numbered copy
  Numbered& Copied();
  std::size_t NumberOf(std::size_t index) const;
  void Load(std::size_t index);
  Unit* At(std::size_t index);
  RowStream& Stream(std::size_t first);
  void AbandonPass() noexcept;
  // The edits that are queued, to the server.
  void Flush();
  void Write();
  // Labels that were given since the table was seen become comments of its columns.
  void KeepLabels();
  void ChangeType(const Column& column, const Variable& from, const Variable& to);

  Connection& server;
  Relation relation;
  std::vector<std::string> labels_there;
  bool passes = false, writes = false;
  bool is_result = false;         // of a query, or empty: a name of it is known to the session alone
  bool own = false;               // the table was made for the session, and goes with the dataset
  bool wrote = false;             // in this pass
  std::optional<Work> pass_work;  // ahead of the stream, which lives in it
  std::unique_ptr<RowStream> stream;
  std::optional<Numbered> numbered;
  std::map<std::size_t, Edit> touched;  // by index, until they are kept
  std::vector<Edit> queued;             // kept, and not yet on the server
  Lender lender;
};

#endif
