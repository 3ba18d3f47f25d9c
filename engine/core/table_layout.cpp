// A pivot table as a table of HTML. The rows are the combinations of the row dimensions' categories that have
// a cell, the columns likewise, and each combination of layers makes a table of its own. A single dimension
// shows all its categories, cells or not.
#include <algorithm>
#include <map>
#include <set>
#include <string>

#include "output_page.h"
#include "pivot_table.h"
#include "plain_text.h"

namespace {

using Coordinates = PivotTable::Coordinates;

struct Axis {
  std::vector<std::size_t> dimensions;  // those of the place, by position
  std::vector<Coordinates> lines;       // the combinations: a category of each of them
};

Coordinates Project(const Coordinates& coordinates, const std::vector<std::size_t>& dimensions) {
  Coordinates projected;
  for (const std::size_t dimension : dimensions) projected.push_back(coordinates[dimension]);
  return projected;
}

Axis MakeAxis(const PivotTable& table, Place place) {
  Axis axis;
  const auto& dimensions = table.dimensions;
  for (std::size_t i = 0; i < dimensions.size(); ++i) {
    if (dimensions[i].place == place) axis.dimensions.push_back(i);
  }
  std::stable_sort(axis.dimensions.begin(), axis.dimensions.end(),
                   [&](std::size_t first, std::size_t second) {
                     return dimensions[first].position < dimensions[second].position;
                   });
  std::set<Coordinates> lines;
  for (const auto& [coordinates, value] : table.cells) lines.insert(Project(coordinates, axis.dimensions));
  if (axis.dimensions.empty()) lines.insert(Coordinates());
  if (axis.dimensions.size() == 1 && place != Place::Layer) {
    const std::size_t count = dimensions[axis.dimensions[0]].categories.size();
    for (std::size_t i = 0; i < count; ++i) lines.insert({static_cast<int>(i)});
  }
  axis.lines.assign(lines.begin(), lines.end());
  return axis;
}

// The table on its way: what the parts of the layout look at.
struct Layout {
  const PivotTable& table;
  Axis rows = MakeAxis(table, Place::Row);
  Axis columns = MakeAxis(table, Place::Column);
  Axis layers = MakeAxis(table, Place::Layer);
  std::vector<std::size_t> stubs = {};          // the row dimensions whose labels are shown
  std::set<Coordinates> columns_of_texts = {};  // whose headings stand to the left, as the texts below do
};

// What is too long for a data column: a number must not be taken for another, a text is cut.
std::string Fit(const std::string& text, int max_width, bool is_number) {
  const auto width = static_cast<std::size_t>(max_width);
  if (width == 0 || Width(text) <= width) return text;
  if (is_number) return std::string(width, '*');
  std::size_t end = 0;
  for (std::size_t taken = 0; taken < width; ++end) taken += (text[end] & 0xC0) != 0x80 ? 1 : 0;
  return text.substr(0, end - 1) + "…";
}

const Value& Category(const PivotTable& table, const Axis& axis, std::size_t level, const Coordinates& line) {
  return table.dimensions[axis.dimensions[level]].categories[static_cast<std::size_t>(line[level])];
}

// Whether two lines are in the same group of that level: the same categories up to it.
bool SameGroup(const Coordinates& first, const Coordinates& second, std::size_t level) {
  return std::equal(first.begin(), first.begin() + static_cast<std::ptrdiff_t>(level) + 1, second.begin());
}

void AddSpanning(pugi::xml_node row, std::string_view text, const Notes& notes, std::size_t span) {
  pugi::xml_node cell = AddElement(row, "th", text, Marks(notes));
  if (span > 1) cell.append_attribute("colspan") = span;
}

// The cells in front of the data: in the last row of the heading the names of the row dimensions.
void AddStubHeadings(const Layout& layout, pugi::xml_node row, bool last) {
  for (const std::size_t level : layout.stubs) {
    const Dimension& dimension = layout.table.dimensions[layout.rows.dimensions[level]];
    const bool named = last && !dimension.hide_name;
    AddElement(row, "th", named ? dimension.name : "", named ? Marks(dimension.notes) : "");
  }
}

void AddLabels(const Layout& layout, std::size_t level, pugi::xml_node row) {
  const auto& lines = layout.columns.lines;
  for (std::size_t i = 0, next = 0; i < lines.size(); i = next) {
    for (next = i + 1; next < lines.size() && SameGroup(lines[i], lines[next], level);) ++next;
    const Value& category = Category(layout.table, layout.columns, level, lines[i]);
    const bool single = next == i + 1;
    AddSpanning(row, single ? Fit(category.Shown(), layout.table.max_width, false) : category.Shown(),
                category.notes, next - i);
    const bool left = !single || layout.columns_of_texts.contains(lines[i]);
    if (!left) row.last_child().append_attribute("class") = "number";
  }
}

void AddHeading(const Layout& layout, pugi::xml_node element) {
  struct Row {
    std::size_t level;
    bool is_name;
  };
  std::vector<Row> heading;
  for (std::size_t level = 0; level < layout.columns.dimensions.size(); ++level) {
    const Dimension& dimension = layout.table.dimensions[layout.columns.dimensions[level]];
    if (!dimension.hide_name) heading.push_back({level, true});
    if (!dimension.hide_labels) heading.push_back({level, false});
  }
  for (const Row& entry : heading) {
    pugi::xml_node row = element.append_child("tr");
    AddStubHeadings(layout, row, &entry == &heading.back());
    if (!entry.is_name) {
      AddLabels(layout, entry.level, row);
    } else {
      const Dimension& dimension = layout.table.dimensions[layout.columns.dimensions[entry.level]];
      AddSpanning(row, dimension.name, dimension.notes, layout.columns.lines.size());
    }
  }
  if (heading.empty() && !layout.stubs.empty()) AddStubHeadings(layout, element.append_child("tr"), true);
}

void AddRow(const Layout& layout, const Coordinates& layer, std::size_t index, pugi::xml_node row) {
  const Coordinates& line = layout.rows.lines[index];
  for (const std::size_t level : layout.stubs) {
    const bool again = index > 0 && SameGroup(line, layout.rows.lines[index - 1], level);
    const Value& category = Category(layout.table, layout.rows, level, line);
    AddElement(row, "th", again ? "" : category.Shown(), again ? "" : Marks(category.notes));
  }
  Coordinates place(layout.table.dimensions.size());
  const auto stand = [&place](const Axis& axis, const Coordinates& where) {
    for (std::size_t i = 0; i < where.size(); ++i) place[axis.dimensions[i]] = where[i];
  };
  stand(layout.layers, layer);
  stand(layout.rows, line);
  for (const Coordinates& column : layout.columns.lines) {
    stand(layout.columns, column);
    const auto found = layout.table.cells.find(place);
    if (found == layout.table.cells.end()) {
      AddElement(row, "td", "");
      continue;
    }
    const Value& value = found->second;
    const std::string shown = Fit(value.Shown(), layout.table.max_width, value.is_number);
    pugi::xml_node cell = AddElement(row, "td", shown, Marks(value.notes));
    if (value.is_number) cell.append_attribute("class") = "number";
  }
}

std::size_t BehindPoint(const std::string& number) {
  return number.size() - std::min(number.find('.'), number.size());
}

// The points of a column stand below each other: what a number lacks behind its own is room at the right of
// it.
void AlignPoints(pugi::xml_node rows) {
  std::map<std::size_t, std::size_t> most;
  const auto each_number = [rows](const auto& visit) {
    for (const pugi::xml_node row : rows.children()) {
      std::size_t column = 0;
      for (pugi::xml_node cell : row.children()) {
        if (!cell.attribute("class").empty()) visit(cell, column, BehindPoint(cell.text().get()));
        ++column;
      }
    }
  };
  each_number([&most](pugi::xml_node, std::size_t column, std::size_t behind) {
    most[column] = std::max(most[column], behind);
  });
  each_number([&most](pugi::xml_node cell, std::size_t column, std::size_t behind) {
    const std::size_t lacks = most[column] - behind;
    // A point is narrower than a digit.
    const std::string room =
        behind == 0 ? std::to_string(lacks - 1) + "ch + .28em" : std::to_string(lacks) + "ch";
    if (lacks > 0) cell.append_attribute("style") = ("padding-right:calc(.7em + " + room + ")").c_str();
  });
}

void AddGrid(const Layout& layout, const Coordinates& layer, pugi::xml_node body) {
  std::string names;
  for (std::size_t i = 0; i < layer.size(); ++i) {
    const Dimension& dimension = layout.table.dimensions[layout.layers.dimensions[i]];
    names += names.empty() ? "" : ", ";
    if (!dimension.hide_name) names += dimension.name + ": ";
    names += Category(layout.table, layout.layers, i, layer).Shown();
  }
  if (!names.empty()) AddElement(body, "p", names);
  pugi::xml_node grid = body.append_child("table");
  if (const int width = layout.table.min_width; width > 0) grid.append_attribute("data-min-width") = width;
  AddHeading(layout, grid.append_child("thead"));
  pugi::xml_node rows = grid.append_child("tbody");
  for (std::size_t i = 0; i < layout.rows.lines.size(); ++i) {
    AddRow(layout, layer, i, rows.append_child("tr"));
  }
  AlignPoints(rows);
}

}  // namespace

void LayOut(const PivotTable& table, std::string_view heading, pugi::xml_node body) {
  Layout layout{table};
  for (std::size_t level = 0; level < layout.rows.dimensions.size(); ++level) {
    if (!table.dimensions[layout.rows.dimensions[level]].hide_labels) layout.stubs.push_back(level);
  }
  for (const auto& [coordinates, value] : table.cells) {
    if (!value.is_number) layout.columns_of_texts.insert(Project(coordinates, layout.columns.dimensions));
  }
  const bool repeats = table.outline == heading || table.outline == table.title;
  if (!repeats || !table.outline_notes.empty()) {
    AddElement(body, "p", table.outline, Marks(table.outline_notes)).append_attribute("class") = "outline";
  }
  const std::string title = table.split.empty() ? table.title : table.title + " (" + table.split + ")";
  if (!table.hide_title) AddElement(body, "h3", title, Marks(table.title_notes));
  for (const Coordinates& layer : layout.layers.lines) AddGrid(layout, layer, body);
  if (!table.caption.empty()) AddElement(body, "p", table.caption, Marks(table.caption_notes));
  for (std::size_t i = 0; i < table.footnotes.size(); ++i) {
    AddElement(body, "p", Mark(i) + ". " + table.footnotes[i]).append_attribute("class") = "note";
  }
}
