// The output document for a person: as a page of HTML, and that page as text with aligned tables.
//
// The page has few elements, and the text knows just these: h1 and h2 (headings), h3 (of a table), pre
// (commands and texts as they are), p (a line; of class "note" a footnote), img, svg (a plot), and table with
// thead, tbody, tr, th and td, where sup holds the marks of footnotes and the class "number" means alignment
// to the right.
#ifndef OUTPUT_PAGE_H
#define OUTPUT_PAGE_H

#include <ostream>
#include <pugixml.hpp>
#include <string_view>

class OutputDocument;
class PivotTable;

// Adds what shows an entry of the document.
void AddEntry(OutputDocument& document, pugi::xml_node entry, pugi::xml_node body);
// A page of the entries from `first` on.
void BuildPage(OutputDocument& document, pugi::xml_node first, pugi::xml_node page);
void WritePageAsText(const pugi::xml_document& page, bool with_heading, std::ostream& text);

// Adds the table with its title, notes and caption to an element of a page, under a heading that its outline
// need not repeat; in table_layout.cpp.
void LayOut(const PivotTable& table, std::string_view heading, pugi::xml_node body);
// Adds an element with a text and the marks of notes.
pugi::xml_node AddElement(pugi::xml_node parent, const char* name, std::string_view text,
                          std::string_view marks = {});

#endif
