// A pivot table as the calls build it: dimensions, their categories, and the cells at the categories' meeting
// points. A dimension remembers the category named last; a cell goes where the dimensions stand. Shown is
// nothing here but as XML:
//
//   <pivotTable outline="Summary" type="Descriptives" title="Descriptive statistics" caption="...">
//     <dimension name="Variable" place="row" position="0">
//       <category kind="variableName" variable="Ozone">Ozone</category>
//     </dimension>
//     <cell kind="number" value="39.486725663716814" notes="a">
//       <at dimension="Variable" category="Ozone"/>39.49</cell>
//     <footnote mark="a">Without the user-missing days.</footnote>
//   </pivotTable>
#ifndef PIVOT_TABLE_H
#define PIVOT_TABLE_H

#include <map>
#include <optional>
#include <pugixml.hpp>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "plain_text.h"

// Footnotes of one thing: their numbers in the table.
using Notes = std::vector<std::size_t>;

// A category or a cell. A plain number becomes text only when somebody looks: a table may get very many.
struct Value {
  const char* kind = "";  // as in the XML
  std::string variable;   // its name, where the value is about one
  std::string said;       // the value itself; empty where the variable's name is all
  std::string shown;
  bool is_number = false;
  std::optional<double> number;  // a plain one, in place of what is said and shown
  NumberStyle style;
  Notes notes;

  std::string Said() const { return number ? NumberText(*number) : said; }
  std::string Shown() const { return number ? NumberText(*number, style) : shown; }
};

enum class Place : int { Row = 0, Column = 1, Layer = 2 };

struct Dimension {
  std::string name;
  Place place = Place::Row;
  int position = 0;  // among those of its place
  bool hide_name = false;
  bool hide_labels = false;
  Notes notes;
  std::vector<Value> categories;
  int current = -1;  // the category named last

  // Adds the category unless it is there, and makes it the current one.
  void Name(Value category);

 private:
  std::unordered_map<std::string, int> known;
};

class PivotTable {
 public:
  using Coordinates = std::vector<int>;  // a category of each dimension, in the order of `dimensions`

  // The three texts and the flag name the table in every call that is about it.
  std::string outline, type, title;
  bool of_split = false;
  std::string split;  // the split group that it was started in, where the flag says that it belongs to one
  bool hide_title = false;
  std::string caption;
  int min_width = 0;  // of the data columns, in characters; 0 for none
  int max_width = 0;
  Notes outline_notes, title_notes, caption_notes;
  std::vector<Dimension> dimensions;
  std::map<Coordinates, Value> cells;
  std::vector<std::string> footnotes;
  bool on_page = false;  // the output files have it
  bool shown = false;    // so has who reads the stream

  bool IsNamed(std::span<const std::string> texts, bool flag) const {
    return texts[0] == outline && texts[1] == type && texts[2] == title && flag == of_split;
  }
  Dimension* Find(const std::string& name, int place, int position);
  // Where the dimensions stand; null while one of them has no category.
  const Coordinates* Here();
  // The same text again gets the same mark.
  void Annotate(Notes& notes, const std::string& footnote);
  void WriteXml(pugi::xml_node node) const;

 private:
  Coordinates here;
};

// "a", "b" ... "z", "aa" for the number of a footnote; with commas between them for several.
std::string Mark(std::size_t number);
std::string Marks(const Notes& notes);

// Texts of drivers enter a tree through these two, cleaned.
void SetText(pugi::xml_node node, std::string_view text);
void SetAttribute(pugi::xml_node node, const char* name, std::string_view text);

#endif
