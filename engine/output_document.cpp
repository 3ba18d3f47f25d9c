#include "output_document.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <new>

#include "output_page.h"

namespace {

// The XML library goes on without what it gets no memory for.
thread_local bool xml_ran_out = false;

void* AllocateXml(std::size_t size) {
  void* const memory = std::malloc(size);
  xml_ran_out = xml_ran_out || memory == nullptr;
  return memory;
}

// Ahead of the first document.
[[maybe_unused]] const bool allocation_is_watched = [] {
  pugi::set_memory_management_functions(AllocateXml, std::free);
  return true;
}();

}  // namespace

bool XmlRanOut() { return std::exchange(xml_ran_out, false); }

void OutputDocument::Post(const std::string& text) {
  constexpr std::size_t kMostKept = 3000;
  std::string last = said_last + text.substr(text.size() - std::min(text.size(), kMostKept));
  if (last.size() > kMostKept) {  // from the start of a line on, where there is one
    const std::size_t cut = last.size() - kMostKept, line = last.find('\n', cut) + 1;
    last.erase(0, line != 0 && line < last.size() ? line : cut);
  }
  posted += text;
  said_last = std::move(last);
  if (!echo) return;
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

// An entry that could not be made as a whole is none.
template <class Fill>
pugi::xml_node OutputDocument::Append(const char* element, Fill fill) {
  pugi::xml_node parent = place;
  pugi::xml_node node = parent.append_child(element);
  const auto fail = [&] { parent.remove_child(node); };
  try {
    fill(node);
  } catch (...) {
    fail();
    throw;
  }
  if (!XmlRanOut()) return node;
  fail();
  throw std::bad_alloc();
}

void OutputDocument::ClosePost() {
  if (!posted.empty()) Append("text", [this](pugi::xml_node node) { SetText(node, posted); });
  posted.clear();
}

pugi::xml_node OutputDocument::Add(const char* element, const std::string& text,
                                   const Attributes& attributes) {
  ClosePost();
  return Append(element, [&](pugi::xml_node node) {
    if (!text.empty()) SetText(node, text);
    for (const auto& [name, value] : attributes) SetAttribute(node, name, value);
  });
}

std::string OutputDocument::Submit(const std::string& command) {
  std::string text = parts + command;
  Add("command", text);
  parts.clear();
  return text;
}

void OutputDocument::StartProcedure(const std::string& name, const std::string& title) {
  place = Add("procedure", {}, {{"name", name}, {"title", title}});
}

void OutputDocument::EndProcedure() {
  ClosePost();
  place = xml.document_element();
}

void OutputDocument::ChangeSplit(const std::string& text) {
  std::string named = text;
  Add("split", text);
  split = std::move(named);
}

PivotTable& OutputDocument::StartTable(std::span<const std::string> texts, bool flag) {
  PivotTable table;
  table.outline = texts[0];
  table.type = texts[1];
  table.title = texts[2];
  table.of_split = flag;
  if (flag) table.split = split;
  if (elements.size() == elements.capacity()) elements.reserve(2 * elements.size() + 1);
  tables.push_back(std::move(table));
  try {
    elements.push_back(Add("pivotTable"));
  } catch (...) {
    tables.pop_back();
    throw;
  }
  recent = &tables.back();
  return *recent;
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
