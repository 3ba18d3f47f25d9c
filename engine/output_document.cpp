#include "output_document.h"

#include <algorithm>
#include <fstream>

#include "output_page.h"

void OutputDocument::ClosePost() {
  if (!posted.empty()) SetText(place.append_child("text"), posted);
  posted.clear();
}

pugi::xml_node OutputDocument::Add(const char* element, const std::string& text) {
  ClosePost();
  pugi::xml_node node = place.append_child(element);
  if (!text.empty()) SetText(node, text);
  return node;
}

std::string OutputDocument::Submit(const std::string& command) {
  std::string text = std::move(parts) + command;
  parts.clear();
  Add("command", text);
  return text;
}

void OutputDocument::StartProcedure(const std::string& name, const std::string& title) {
  place = Add("procedure");
  SetAttribute(place, "name", name);
  SetAttribute(place, "title", title);
}

void OutputDocument::EndProcedure() {
  ClosePost();
  place = xml.document_element();
}

void OutputDocument::ChangeSplit(const std::string& text) {
  split = text;
  Add("split", text);
}

PivotTable& OutputDocument::StartTable(std::span<const std::string> texts, bool flag) {
  PivotTable& table = tables.emplace_back();
  table.outline = texts[0];
  table.type = texts[1];
  table.title = texts[2];
  table.of_split = flag;
  if (flag) table.split = split;
  elements.push_back(Add("pivotTable"));
  recent = &table;
  return table;
}

PivotTable* OutputDocument::FindTable(std::span<const std::string> texts, bool flag) {
  if (recent != nullptr && recent->IsNamed(texts, flag)) return recent;
  const auto found = std::find_if(tables.rbegin(), tables.rend(),
                                  [&](const PivotTable& table) { return table.IsNamed(texts, flag); });
  if (found == tables.rend()) return nullptr;
  recent = &*found;
  return recent;
}

const pugi::xml_document& OutputDocument::Xml() {
  ClosePost();
  for (std::size_t i = 0; i < tables.size(); ++i) {
    elements[i].remove_children();
    elements[i].remove_attributes();
    tables[i].WriteXml(elements[i]);
  }
  return xml;
}

const PivotTable& OutputDocument::TableAt(pugi::xml_node element) const {
  return tables[static_cast<std::size_t>(std::find(elements.begin(), elements.end(), element) -
                                         elements.begin())];
}

bool OutputDocument::Write() {
  if (files.empty()) return true;
  pugi::xml_document page;
  BuildPage(*this, page);
  std::ofstream html(files + ".html"), text(files + ".txt");
  page.save(html, "", pugi::format_raw | pugi::format_no_declaration);
  WritePageAsText(page, text);
  return html.flush() && text.flush();
}
