#include "row_stream.h"

#include <algorithm>

namespace {

// So much is read at once: enough that the way there and back does not show.
constexpr std::size_t kBlockBytes = std::size_t{512} << 10;
constexpr std::size_t kMostRows = 16384, kFirstRows = 64;

}  // namespace

RowStream::RowStream(Connection& server, const Relation& relation, const std::vector<Variable>& variables,
                     bool writes, std::size_t skip)
    : reader(relation, variables, writes), begin(skip) {
  for (const Variable& variable : variables) case_units += variable.Units();
  const std::string select = relation.Select(writes);
  if (writes) {
    source = std::make_unique<CursorSource>(server, select, skip, reader);
  } else {
    const std::string rest = skip > 0 ? " OFFSET " + std::to_string(skip) : "";
    source = std::make_unique<CopySource>(server, select + rest, reader);
  }
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
  if (!at_end) units.reserve((first + wanted - begin + room) * case_units);  // untouched, it costs nothing
  while (first + wanted > begin + Rows() && !at_end) {
    const std::size_t had = Rows(), rows = had == 0 ? std::min(room, std::max(wanted, kFirstRows)) : room;
    source->Read(rows, units, marks);
    at_end = Rows() == had;  // a source may have fewer at hand than were asked for, and more to come
  }
  return first < begin + Rows() ? std::min(wanted, begin + Rows() - first) : 0;
}
