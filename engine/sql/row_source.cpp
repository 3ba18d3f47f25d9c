#include "row_source.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace {

// In front of the first row; a count of fields of -1 ends the rows.
constexpr std::size_t kCopyHeader = 19;

void RequireConnection(const Connection& server, int number) {
  if (server.Number() != number || !server.Lives())
    throw Refusal(sql_code::kConnectionLost, "the connection to the server is lost, and the pass with it");
}

[[noreturn]] void RefuseFile() {
  throw Refusal(engine_code::kUnreadable,
                std::string("the rows cannot be put aside: ") + std::strerror(errno));
}

}  // namespace

CopySource::CopySource(Connection& connection, const std::string& select, RowReader& with)
    : server(connection), reader(with) {
  server.StartRows("COPY (" + select + ") TO STDOUT (FORMAT binary)", *this);
  of_connection = server.Number();
}

CopySource::~CopySource() {
  if (on_line && server.Number() == of_connection) server.Abandon(*this);
}

// What comes behind the last row has no field.
bool CopySource::NextRow(std::vector<char>& from_file, std::string_view& row) {
  if (on_line) {
    const std::optional<std::string_view> next = server.NextRow();
    if (next) row = *next;
    on_line = next.has_value();
  } else if (aside) {
    std::uint32_t length = 0;
    if (std::fread(&length, sizeof length, 1, aside.get()) == 1) {
      from_file.resize(length);
      if (std::fread(from_file.data(), 1, length, aside.get()) != length) RefuseFile();
      row = {from_file.data(), length};
    } else {
      aside.reset();
    }
  }
  return on_line || aside != nullptr;
}

void CopySource::Read(std::size_t rows, std::vector<Unit>& units, std::vector<RowMark>&) {
  if (!aside) RequireConnection(server, of_connection);
  std::string_view row;
  while (rows > 0 && NextRow(from_aside, row)) {
    if (std::exchange(at_start, false)) row.remove_prefix(kCopyHeader);
    if (row.size() <= sizeof(std::int16_t)) continue;
    reader.ReadCopied(row, units);
    --rows;
  }
}

void CopySource::Absorb() {
  aside.reset(std::tmpfile());
  if (!aside) RefuseFile();
  while (const std::optional<std::string_view> row = server.NextRow()) {
    const auto length = static_cast<std::uint32_t>(row->size());
    if (std::fwrite(&length, sizeof length, 1, aside.get()) != 1 ||
        std::fwrite(row->data(), 1, length, aside.get()) != length)
      RefuseFile();
  }
  on_line = false;
  std::rewind(aside.get());
}

CursorSource::CursorSource(Connection& connection, const std::string& select, std::size_t skip,
                           RowReader& with)
    : server(connection), reader(with) {
  static unsigned long count = 0;
  name = "vexa_pass_" + std::to_string(++count);
  server.Run("DECLARE " + name + " NO SCROLL CURSOR FOR " + select);
  of_connection = server.Number();
  if (skip > 0) server.Run("MOVE " + std::to_string(skip) + " FROM " + name);
}

CursorSource::~CursorSource() {
  if (server.Number() != of_connection || !server.Lives()) return;
  try {
    if (asked != 0 && !absorbed) server.Leave(*this);
    if (server.InTransaction() && !server.Broken()) server.Run("CLOSE " + name);
  } catch (const Refusal&) {  // the transaction is gone, and the cursor with it
  }
}

void CursorSource::Absorb() { absorbed = server.Await(); }

void CursorSource::Read(std::size_t rows, std::vector<Unit>& units, std::vector<RowMark>& marks) {
  RequireConnection(server, of_connection);
  const auto ask = [&] {
    server.Send("FETCH " + std::to_string(rows) + " FROM " + name, *this);
    asked = rows;
  };
  if (at_end) return;
  if (asked == 0) ask();
  const std::size_t wanted = std::exchange(asked, 0);
  const Result block = absorbed ? std::move(absorbed) : server.Await();
  at_end = static_cast<std::size_t>(PQntuples(block.get())) < wanted;
  reader.Read(block.get(), units, marks);
  if (!at_end) ask();
}
