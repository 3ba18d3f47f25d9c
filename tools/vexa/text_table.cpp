#include "text_table.h"

#include <algorithm>
#include <numeric>

#include "terminal.h"

namespace {

constexpr std::size_t kGap = 2;  // blanks between two columns
using Columns = std::vector<std::size_t>;

std::size_t ColumnsOf(const TableRow& row) {
  return std::accumulate(row.begin(), row.end(), std::size_t{0},
                         [](std::size_t sum, const TableCell& cell) { return sum + cell.span; });
}

// Cells over several columns take what these have.
std::vector<std::size_t> WidthsOf(const TextTable& table) {
  std::vector<std::size_t> widths;
  for (const auto* const part : {&table.head, &table.body}) {
    for (const TableRow& row : *part) {
      widths.resize(std::max(widths.size(), ColumnsOf(row)));
      std::size_t column = 0;
      for (const TableCell& cell : row) {
        if (cell.span == 1) widths[column] = std::max(widths[column], Width(cell.text));
        column += cell.span;
      }
    }
  }
  return widths;
}

// The columns of each part. One that alone is too wide is a part all the same, and is cut.
std::vector<Columns> PartsOf(std::vector<std::size_t>& widths, std::size_t leading, std::size_t room) {
  Columns front(std::min(leading, widths.size()));
  std::iota(front.begin(), front.end(), std::size_t{0});
  std::size_t taken = 0;
  for (const std::size_t column : front) {
    if (room != 0) widths[column] = std::min(widths[column], std::max<std::size_t>(room / 2, 1));
    taken += widths[column] + kGap;
  }
  std::vector<Columns> parts = {front};
  std::size_t used = taken;
  for (std::size_t column = front.size(); column < widths.size(); ++column) {
    if (room != 0) widths[column] = std::min(widths[column], room > taken ? room - taken : 1);
    if (room != 0 && used + widths[column] > room && parts.back().size() > front.size()) {
      parts.push_back(front);
      used = taken;
    }
    parts.back().push_back(column);
    used += widths[column] + kGap;
  }
  return parts;
}

std::string WithoutBlanksBehind(const std::string& line) {
  return line.substr(0, line.find_last_not_of(' ') + 1);
}

std::string Line(const TableRow& row, const Columns& part, const std::vector<std::size_t>& widths) {
  std::string line;
  std::size_t first = 0;
  for (const TableCell& cell : row) {
    std::size_t room = 0;
    for (std::size_t column = first; column < first + cell.span; ++column) {
      if (std::find(part.begin(), part.end(), column) != part.end()) room += widths[column] + kGap;
    }
    first += cell.span;
    if (room == 0) continue;
    const std::string text = CutTo(cell.text, room - kGap);
    const std::string blanks(room - kGap - Width(text), ' ');
    line += cell.right ? blanks + text : text + blanks;
    line.append(kGap, ' ');
  }
  return WithoutBlanksBehind(line) + '\n';
}

std::string Rule(const Columns& part, const std::vector<std::size_t>& widths) {
  std::string line;
  for (const std::size_t column : part) line += std::string(widths[column], '-') + std::string(kGap, ' ');
  return WithoutBlanksBehind(line) + '\n';
}

}  // namespace

std::string Drawn(const TextTable& table, std::size_t width) {
  std::vector<std::size_t> widths = WidthsOf(table);
  std::string drawn;
  for (const Columns& part : PartsOf(widths, table.leading, width)) {
    if (!drawn.empty()) drawn += '\n';
    for (const TableRow& row : table.head) drawn += Line(row, part, widths);
    if (!table.head.empty()) drawn += Rule(part, widths);
    for (const TableRow& row : table.body) drawn += Line(row, part, widths);
  }
  return drawn;
}
