#include "row_stream.h"

#include <algorithm>
#include <utility>

namespace {

// So much is asked for at once: enough that the way there and back does not show.
constexpr std::size_t kBlockBytes = std::size_t{512} << 10;
constexpr std::size_t kMostRows = 16384, kFirstRows = 64;

}  // namespace

RowStream::RowStream(Connection& connection, const Relation& relation, const std::vector<Variable>& variables,
                     bool with_marks, std::size_t skip)
    : server(connection), reader(relation, variables, with_marks), begin(skip) {
  static unsigned long count = 0;
  for (const Variable& variable : variables) case_units += variable.Units();
  name = "vexa_pass_" + std::to_string(++count);
  server.Run("DECLARE " + name + " NO SCROLL CURSOR FOR " + relation.Select(with_marks));
  of_connection = server.Number();
  if (skip > 0) server.Run("MOVE " + std::to_string(skip) + " FROM " + name);
}

RowStream::~RowStream() {
  if (server.Number() != of_connection || !server.Lives()) return;
  try {
    if (asked != 0 && !absorbed) server.Leave(*this);
    if (server.InTransaction() && !server.Broken()) server.Run("CLOSE " + name);
  } catch (const Refusal&) {  // the transaction is gone, and the cursor with it
  }
}

void RowStream::Ask(std::size_t rows) {
  if (server.Number() != of_connection || !server.Lives())
    throw Refusal(sql_code::kConnectionLost, "the connection to the server is lost, and the pass with it");
  server.Send("FETCH " + std::to_string(rows) + " FROM " + name, *this);
  asked = rows;
}

void RowStream::Absorb() { absorbed = server.Await(); }

void RowStream::Take() {
  const std::size_t wanted = std::exchange(asked, 0);
  const Result block = absorbed ? std::move(absorbed) : server.Await();
  at_end = static_cast<std::size_t>(PQntuples(block.get())) < wanted;
  reader.Read(block.get(), units, marks);
}

void RowStream::Forget(std::size_t before) {
  const std::size_t rows = std::min(before - begin, Rows());
  units.erase(units.begin(), units.begin() + static_cast<std::ptrdiff_t>(rows * case_units));
  if (!marks.empty()) marks.erase(marks.begin(), marks.begin() + static_cast<std::ptrdiff_t>(rows));
  begin += rows;
}

std::size_t RowStream::Ahead(std::size_t first, std::size_t wanted) {
  const std::size_t room = std::clamp<std::size_t>(kBlockBytes / (case_units * kUnitBytes), 1, kMostRows);
  if (first + wanted > begin + Rows() && !at_end && first > begin + 1) Forget(first - 1);
  while (first + wanted > begin + Rows() && !at_end) {
    if (asked == 0) Ask(Rows() == 0 && begin == 0 ? std::min(room, std::max(wanted, kFirstRows)) : room);
    Take();
    if (!at_end) Ask(room);
  }
  return first < begin + Rows() ? std::min(wanted, begin + Rows() - first) : 0;
}
