// Where the rows of a pass come from, one behind the other.
#ifndef ROW_SOURCE_H
#define ROW_SOURCE_H

#include <cstdio>
#include <memory>

#include "row_reader.h"

class RowSource {
 public:
  virtual ~RowSource() = default;
  // Appends the next rows, so many; fewer at the end alone. Throws Refusal.
  virtual void Read(std::size_t rows, std::vector<Unit>& units, std::vector<RowMark>& marks) = 0;
  // The line is free for other statements, and nothing has to be given up for it.
  virtual bool LineIsFree() const = 0;
};

// COPY ... TO STDOUT: the fastest road that there is. It has the line for itself: where something else is
// asked meanwhile, the rest is put aside in a file first.
class CopySource final : public RowSource, public InFlight {
 public:
  CopySource(Connection& connection, const std::string& select, RowReader& with);
  CopySource(const CopySource&) = delete;
  CopySource& operator=(const CopySource&) = delete;
  ~CopySource() override;
  void Read(std::size_t rows, std::vector<Unit>& units, std::vector<RowMark>& marks) override;
  bool LineIsFree() const override { return !on_line; }
  void Absorb() override;

 private:
  bool NextRow(std::vector<char>& from_file, std::string_view& row);

  Connection& server;
  RowReader& reader;
  int of_connection;
  bool on_line = true, at_start = true;
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> aside{nullptr, std::fclose};
  std::vector<char> from_aside;
};

// A cursor in a transaction, which somebody else keeps open: the table may be changed meanwhile. While rows
// are looked at, the next are on their way.
class CursorSource final : public RowSource, public InFlight {
 public:
  CursorSource(Connection& connection, const std::string& select, std::size_t skip, RowReader& with);
  CursorSource(const CursorSource&) = delete;
  CursorSource& operator=(const CursorSource&) = delete;
  ~CursorSource() override;
  void Read(std::size_t rows, std::vector<Unit>& units, std::vector<RowMark>& marks) override;
  bool LineIsFree() const override { return true; }
  void Absorb() override;

 private:
  Connection& server;
  RowReader& reader;
  std::string name;
  int of_connection;
  std::size_t asked = 0;  // rows on their way
  bool at_end = false;
  Result absorbed;
};

#endif
