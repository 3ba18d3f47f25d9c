#include "output_page.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "output_document.h"
#include "plain_text.h"
#include "plot.h"

namespace {

// An empty element would be written as one that HTML does not know.
constexpr const char* kBlank = "\xC2\xA0";

// Light or dark as the reader has it, and on paper without what only a screen can do. Neither may hold a
// character that XML writes as an entity.
constexpr const char* kStyle =
    ":root{color-scheme:light dark}"
    "body{font:1em/1.45 system-ui,sans-serif;margin:2em auto;max-width:60em;padding:0 1em}"
    "table{border-collapse:collapse;margin:.5em 0;font-variant-numeric:lining-nums tabular-nums;"
    "border-top:2px solid;border-bottom:2px solid}"
    "thead tr:last-child th{border-bottom:1px solid}"
    "thead th[colspan]{border-bottom:1px solid;text-align:center}"
    "th,td{padding:.15em .7em;text-align:left;font-weight:normal;vertical-align:baseline}"
    "th[colspan] + th[colspan]{border-left:1em solid transparent}"
    ".number{text-align:right}pre{white-space:pre-wrap}.command{opacity:.65}"
    ".note,.outline{font-size:smaller;margin:.2em 0}img{background:white;max-width:100%}"
    "svg{display:block;height:auto;margin:.5em 0;max-width:100%}"
    "nav{border-left:3px solid;margin:1em 0;padding-left:1em}nav a{display:block}nav .H3{padding-left:1.5em}"
    "button{font:inherit;font-size:smaller;opacity:.65}"
    "@media print{nav,button{display:none}table,img,svg{break-inside:avoid}h2,h3{break-after:avoid}}";

// A table of contents where there is more than one heading, and behind each table a button that copies it as
// CSV.
constexpr const char* kScript =
    "document.addEventListener('DOMContentLoaded',function(){"
    "var nav=document.createElement('nav');"
    "document.querySelectorAll('h2,h3').forEach(function(heading,i){"
    "var link=document.createElement('a');heading.id='part-'+i;link.href='#part-'+i;"
    "link.className=heading.tagName;link.textContent=heading.firstChild.textContent;nav.appendChild(link)});"
    "if(nav.childElementCount!=0){if(nav.childElementCount!=1)"
    "document.querySelector('h1').after(nav)}"
    "document.querySelectorAll('table').forEach(function(table){"
    "var button=document.createElement('button');button.textContent='Copy as CSV';"
    "button.value=Array.from(table.rows).map(function(row){return Array.from(row.cells).map(function(cell){"
    "var text=(cell.firstChild.data||'').replace('\u00a0','').replaceAll('\"','\"\"');"
    "return '\"'+text+'\"'+',\"\"'.repeat(cell.colSpan-1)}).join(',')+'\\r\\n'}).join('');"
    "button.onclick=function(){navigator.clipboard.writeText(button.value).then(function(){"
    "button.textContent='Copied'})};table.after(button)})})";

// The text of an element, without those of the elements inside.
std::string TextOf(pugi::xml_node node) { return node.text().get(); }
std::string TextOf(pugi::xml_attribute attribute) { return attribute.value(); }

pugi::xml_node AddOfClass(pugi::xml_node parent, const char* name, std::string_view text, const char* kind) {
  pugi::xml_node node = AddElement(parent, name, text);
  node.append_attribute("class") = kind;
  return node;
}

// --- The page as text ---

// One line: what stands in an element, with the marks of its notes in brackets.
std::string Line(pugi::xml_node node) {
  std::string line = TextOf(node);
  if (line == kBlank) line.clear();
  std::replace_if(
      line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
  if (const pugi::xml_node marks = node.child("sup")) line += " [" + TextOf(marks) + "]";
  return line;
}

struct TextCell {
  std::string text;
  bool right;
  std::size_t span;
};

std::vector<TextCell> CellsOf(pugi::xml_node row) {
  std::vector<TextCell> cells;
  for (const pugi::xml_node cell : row.children()) {
    cells.push_back({Line(cell), !cell.attribute("class").empty(), cell.attribute("colspan").as_uint(1)});
  }
  return cells;
}

constexpr std::size_t kGap = 2;  // blanks between two columns

void WriteRow(const std::vector<TextCell>& cells, const std::vector<std::size_t>& widths,
              std::ostream& text) {
  std::string line;
  std::size_t column = 0;
  std::size_t begin = 0;
  for (const TextCell& cell : cells) {
    std::size_t end = begin;
    for (std::size_t i = 0; i < cell.span; ++i) end += widths[column++] + kGap;
    const std::size_t room = end - kGap - begin;
    const std::size_t used = std::min(Width(cell.text), room);
    line.append(begin - std::min(begin, Width(line)), ' ');
    line.append(cell.right ? room - used : 0, ' ').append(cell.text);
    begin = end;
  }
  text << line.substr(0, line.find_last_not_of(' ') + 1) << '\n';
}

void WriteTable(pugi::xml_node table, std::ostream& text) {
  std::vector<std::vector<TextCell>> rows;
  for (const pugi::xml_node part : table.children()) {
    for (const pugi::xml_node row : part.children()) rows.push_back(CellsOf(row));
  }
  if (rows.empty()) return;
  pugi::xml_node first_row = table.child("tbody").first_child();
  std::vector<std::size_t> widths;
  for (const pugi::xml_node cell : first_row.children()) {
    widths.push_back(std::strcmp(cell.name(), "td") == 0 ? table.attribute("data-min-width").as_uint() : 0);
  }
  for (const auto& row : rows) {
    std::size_t column = 0;
    for (const TextCell& cell : row) {
      if (column + cell.span > widths.size()) widths.resize(column + cell.span);
      if (cell.span == 1) widths[column] = std::max(widths[column], Width(cell.text));
      column += cell.span;
    }
  }
  std::size_t heading = static_cast<std::size_t>(
      std::distance(table.child("thead").children().begin(), table.child("thead").children().end()));
  for (const auto& row : rows) {
    WriteRow(row, widths, text);
    if (heading == 0 || --heading > 0) continue;
    std::vector<TextCell> rule;
    rule.reserve(widths.size());
    for (const std::size_t width : widths) rule.push_back({std::string(width, '-'), false, 1});
    WriteRow(rule, widths, text);
  }
}

void WriteUnderlined(const std::string& line, char rule, std::ostream& text) {
  text << line << '\n' << std::string(Width(line), rule) << '\n';
}

}  // namespace

pugi::xml_node AddElement(pugi::xml_node parent, const char* name, std::string_view text,
                          std::string_view marks) {
  pugi::xml_node node = parent.append_child(name);
  SetText(node.append_child(pugi::node_pcdata), text.empty() ? kBlank : text);
  if (!marks.empty()) SetText(node.append_child("sup"), marks);
  return node;
}

void AddEntry(OutputDocument& document, pugi::xml_node entry, pugi::xml_node body) {
  const std::string_view kind = entry.name();
  if (kind == "command") {
    AddOfClass(body, "pre", TextOf(entry), "command");
  } else if (kind == "text") {
    AddElement(body, "pre", TextOf(entry));
  } else if (kind == "textBlock") {
    AddElement(body, "h3", TextOf(entry.attribute("title")));
    AddElement(body, "pre", std::string(entry.attribute("skip").as_uint(), '\n') + TextOf(entry));
  } else if (kind == "split") {
    AddElement(body, "p", TextOf(entry));
  } else if (kind == "graphic") {
    AddElement(body, "p", TextOf(entry.attribute("title")));
    pugi::xml_node image = body.append_child("img");
    image.append_attribute("src") = entry.attribute("file").value();
    image.append_attribute("alt") = entry.attribute("label").value();
  } else if (kind == "plot") {
    DrawPlot(entry, body);
  } else if (kind == "footnote") {
    AddOfClass(body, "p", TextOf(entry), "note");
  } else if (kind == "pivotTable") {
    LayOut(document.TableAt(entry), entry.parent().attribute("title").value(), body);
  } else if (kind == "procedure") {
    AddElement(body, "h2", TextOf(entry.attribute("title")));
    const auto is_note = [](pugi::xml_node child) { return std::strcmp(child.name(), "footnote") == 0; };
    for (const pugi::xml_node child : entry.children())
      if (!is_note(child)) AddEntry(document, child, body);
    for (const pugi::xml_node note : entry.children("footnote")) AddEntry(document, note, body);
  }
}

void BuildPage(OutputDocument& document, pugi::xml_node first, pugi::xml_node page) {
  page.append_child(pugi::node_doctype).set_value("html");
  pugi::xml_node html = page.append_child("html");
  pugi::xml_node head = html.append_child("head");
  head.append_child("meta").append_attribute("charset") = "utf-8";
  AddElement(head, "title", "Output");
  head.append_child("meta").append_attribute("name") = "viewport";
  head.last_child().append_attribute("content") = "width=device-width";
  AddElement(head, "style", kStyle);
  AddElement(head, "script", kScript);
  pugi::xml_node body = html.append_child("body");
  AddElement(body, "h1", "Output");
  for (pugi::xml_node entry = first; entry; entry = entry.next_sibling()) AddEntry(document, entry, body);
}

void WritePageAsText(const pugi::xml_document& page, bool with_heading, std::ostream& text) {
  for (const pugi::xml_node node : page.child("html").child("body").children()) {
    const std::string_view kind = node.name();
    const std::string_view look = node.attribute("class").value();
    if (kind == "h1" && !with_heading) continue;
    if (kind != "h1" && kind != "table" && look != "note") text << '\n';
    if (kind == "h1" || kind == "h2") {
      WriteUnderlined(Line(node), kind == "h1" ? '=' : '-', text);
    } else if (kind == "pre") {
      text << (look == "command" ? "> " : "") << TextOf(node);
      if (!TextOf(node).ends_with('\n')) text << '\n';
    } else if (kind == "table") {
      WriteTable(node, text);
    } else if (kind == "svg") {
      text << "[" << node.attribute("aria-label").value() << "]\n";
    } else if (kind == "img") {
      text << "[" << node.attribute("src").value() << "] " << node.attribute("alt").value() << '\n';
    } else {
      text << Line(node) << '\n';
    }
  }
}
