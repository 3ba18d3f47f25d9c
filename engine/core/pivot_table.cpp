#include "pivot_table.h"

#include <algorithm>

namespace {

constexpr const char* kPlaceNames[] = {"row", "column", "layer"};

void SetMarks(pugi::xml_node node, const char* name, const Notes& notes) {
  if (!notes.empty()) SetAttribute(node, name, Marks(notes));
}

void WriteValue(pugi::xml_node node, const Value& value) {
  SetAttribute(node, "kind", value.kind);
  if (!value.variable.empty()) SetAttribute(node, "variable", value.variable);
  if (const std::string said = value.Said(); !said.empty()) SetAttribute(node, "value", said);
  SetMarks(node, "notes", value.notes);
}

void WriteDimension(pugi::xml_node node, const Dimension& dimension) {
  SetAttribute(node, "name", dimension.name);
  SetAttribute(node, "place", kPlaceNames[static_cast<int>(dimension.place)]);
  node.append_attribute("position") = dimension.position;
  if (dimension.hide_name) node.append_attribute("hideName") = true;
  if (dimension.hide_labels) node.append_attribute("hideLabels") = true;
  SetMarks(node, "notes", dimension.notes);
  for (const Value& category : dimension.categories) {
    pugi::xml_node child = node.append_child("category");
    WriteValue(child, category);
    SetText(child, category.Shown());
  }
}

}  // namespace

void Dimension::Name(Value category) {
  const std::string key = std::string(category.kind) + '\0' + category.variable + '\0' + category.Said();
  // Ahead of the entry: what it leads to must be there.
  if (categories.size() == categories.capacity()) categories.reserve(2 * categories.size() + 1);
  const auto [entry, is_new] = known.try_emplace(key, static_cast<int>(categories.size()));
  if (is_new) categories.push_back(std::move(category));
  current = entry->second;
}

Dimension* PivotTable::Find(const std::string& name, int place, int position) {
  for (Dimension& dimension : dimensions) {
    const bool same_place = static_cast<int>(dimension.place) == place && dimension.position == position;
    if (same_place && dimension.name == name) return &dimension;
  }
  return nullptr;
}

const PivotTable::Coordinates* PivotTable::Here() {
  here.clear();
  for (const Dimension& dimension : dimensions) {
    if (dimension.current < 0) return nullptr;
    here.push_back(dimension.current);
  }
  return &here;
}

void PivotTable::Annotate(Notes& notes, const std::string& footnote) {
  notes.reserve(notes.size() + 1);
  const auto found = std::find(footnotes.begin(), footnotes.end(), footnote);
  const auto number = static_cast<std::size_t>(found - footnotes.begin());
  if (found == footnotes.end()) footnotes.push_back(footnote);
  if (std::find(notes.begin(), notes.end(), number) == notes.end()) notes.push_back(number);
}

void PivotTable::WriteXml(pugi::xml_node node) const {
  SetAttribute(node, "outline", outline);
  SetAttribute(node, "title", title);
  SetAttribute(node, "type", type);
  if (of_split) SetAttribute(node, "split", split);
  if (hide_title) node.append_attribute("hideTitle") = true;
  if (!caption.empty()) SetAttribute(node, "caption", caption);
  if (min_width > 0) node.append_attribute("minWidth") = min_width;
  if (max_width > 0) node.append_attribute("maxWidth") = max_width;
  SetMarks(node, "outlineNotes", outline_notes);
  SetMarks(node, "titleNotes", title_notes);
  SetMarks(node, "captionNotes", caption_notes);
  for (const Dimension& dimension : dimensions) WriteDimension(node.append_child("dimension"), dimension);
  for (const auto& [coordinates, value] : cells) {
    pugi::xml_node cell = node.append_child("cell");
    WriteValue(cell, value);
    for (std::size_t i = 0; i < coordinates.size(); ++i) {
      const Value& category = dimensions[i].categories[static_cast<std::size_t>(coordinates[i])];
      pugi::xml_node at = cell.append_child("at");
      SetAttribute(at, "dimension", dimensions[i].name);
      SetAttribute(at, "category", category.Shown());
    }
    SetText(cell.append_child(pugi::node_pcdata), value.Shown());
  }
  for (std::size_t i = 0; i < footnotes.size(); ++i) {
    pugi::xml_node note = node.append_child("footnote");
    SetAttribute(note, "mark", Mark(i));
    SetText(note, footnotes[i]);
  }
}

std::string Mark(std::size_t number) {
  std::string mark(1, static_cast<char>('a' + number % 26));
  return number < 26 ? mark : Mark(number / 26 - 1) + mark;
}

std::string Marks(const Notes& notes) {
  std::string marks;
  for (const std::size_t note : notes) marks += (marks.empty() ? "" : ",") + Mark(note);
  return marks;
}

void SetText(pugi::xml_node node, std::string_view text) { node.text().set(Cleaned(text).c_str()); }

void SetAttribute(pugi::xml_node node, const char* name, std::string_view text) {
  node.append_attribute(name) = Cleaned(text).c_str();
}
