#include "output_document.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <new>
#include <sstream>
#include <utility>

#include "engine_code.h"
#include "output_page.h"

namespace {

constexpr std::string_view kPageHead = "<h1>Output</h1>", kPageEnd = "</body></html>";

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
  if (stream) {
    ShowTables();
    stream.SendText(text);
  }
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
  return AddFilled(element, [&](pugi::xml_node node) {
    if (!text.empty()) SetText(node, text);
    for (const auto& [name, value] : attributes) SetAttribute(node, name, value);
  });
}

pugi::xml_node OutputDocument::AddFilled(const char* element,
                                         const std::function<void(pugi::xml_node)>& fill) {
  ClosePost();
  const pugi::xml_node added = Append(element, fill);
  if (stream) Show(added);
  return added;
}

// A table has nothing to show yet, and a command is known to who submits it.
void OutputDocument::Show(pugi::xml_node entry) {
  const std::string_view kind = entry.name();
  if (kind == "pivotTable" || kind == "command") return;
  ShowTables();
  pugi::xml_document body;
  AddEntry(*this, entry, body);
  stream.SendAll(body);
  XmlRanOut();  // what was shown is not what is kept
}

void OutputDocument::ShowTables() {
  if (!stream || to_show.empty()) return;
  for (PivotTable* const table : std::exchange(to_show, {})) {
    pugi::xml_document body;
    LayOut(*table, place.attribute("title").value(), body);
    stream.SendAll(body);
    table->shown = true;
  }
  XmlRanOut();
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
  ShowTables();
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
  if (stream) to_show.push_back(recent);
  return *recent;
}

PivotTable* OutputDocument::FindTable(std::span<const std::string> texts, bool flag) {
  if (recent == nullptr || !recent->IsNamed(texts, flag)) {
    const auto found = std::find_if(tables.rbegin(), tables.rend(),
                                    [&](const PivotTable& table) { return table.IsNamed(texts, flag); });
    if (found == tables.rend()) return nullptr;
    recent = &*found;
  }
  if (recent->on_page) page.valid = false;  // it may be about to change
  if (std::exchange(recent->shown, false)) to_show.push_back(recent);
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

void OutputDocument::Write() {
  if (files.empty()) return;
  ClosePost();
  std::error_code gone;
  const auto holds = [&](const char* suffix, std::streamoff bytes) {
    return std::filesystem::file_size(files + suffix, gone) == static_cast<std::uintmax_t>(bytes) && !gone;
  };
  const auto end = static_cast<std::streamoff>(kPageEnd.size());
  const bool goes_on = page.valid && holds(".html", page.html + end) && holds(".txt", page.text);
  page.valid = false;
  WritePage(!goes_on);
  page.valid = true;
}

void OutputDocument::WritePage(bool anew) {
  if (anew) page = {};
  const auto first = page.last ? page.last.next_sibling() : xml.document_element().first_child();
  if (!anew && !first) return;
  pugi::xml_document built;
  BuildPage(*this, first, built);
  std::ostringstream html_stream, text_stream;
  built.save(html_stream, "", pugi::format_raw | pugi::format_no_declaration);
  WritePageAsText(built, anew, text_stream);
  if (XmlRanOut()) throw std::bad_alloc();
  std::string html = html_stream.str();
  if (!anew) html.erase(0, html.find(kPageHead) + kPageHead.size());
  const auto write = [&](const char* suffix, const std::string& bytes, std::streamoff at) {
    errno = 0;
    const auto mode = std::ios::binary | std::ios::out | (anew ? std::ios::trunc : std::ios::in);
    std::ofstream file(files + suffix, mode);
    if (!(file.seekp(at) << bytes).flush())
      throw Refusal(engine_code::kUnreadable,
                    files + suffix + ": " + std::strerror(errno != 0 ? errno : EIO));
  };
  write(".html", html, page.html);
  write(".txt", text_stream.str(), page.text);
  page.html += static_cast<std::streamoff>(html.size() - kPageEnd.size());
  page.text += static_cast<std::streamoff>(text_stream.str().size());
  page.last = xml.document_element().last_child();
  for (auto table = tables.rbegin(); table != tables.rend() && (anew || !table->on_page); ++table)
    table->on_page = true;
}
