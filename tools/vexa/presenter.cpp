#include "presenter.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>
#include <pugixml.hpp>
#include <sstream>
#include <string_view>

#include "terminal.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kBlank = "\xC2\xA0";  // what an empty cell of the page holds

// With the marks of its notes in brackets.
std::string TextOf(pugi::xml_node node) {
  std::string text = node.text().get();
  if (text == kBlank) text.clear();
  if (const pugi::xml_node marks = node.child("sup")) text.append(" [").append(marks.text().get()) += ']';
  return text;
}

TextTable TableOf(pugi::xml_node element) {
  TextTable table;
  for (const pugi::xml_node part : element.children()) {
    auto& rows = std::string_view(part.name()) == "thead" ? table.head : table.body;
    for (const pugi::xml_node row : part.children()) {
      TableRow& cells = rows.emplace_back();
      for (const pugi::xml_node cell : row.children()) {
        cells.push_back({Printable(TextOf(cell)), !cell.attribute("class").empty(),
                         std::max(cell.attribute("colspan").as_uint(1), 1U)});
      }
    }
  }
  const pugi::xml_node first = element.child("tbody").first_child();
  const auto labels = first.children("th");
  table.leading = static_cast<std::size_t>(std::distance(labels.begin(), labels.end()));
  return table;
}

class TextPresenter : public Presenter {
 public:
  explicit TextPresenter(std::size_t wanted_width)
      : width(wanted_width), colours(HasColours(STDOUT_FILENO)), error_colours(HasColours(STDERR_FILENO)) {}
  ~TextPresenter() override { TextPresenter::Progress(""); }

  void Text(const std::string& text) override { Print(text); }
  void Heading(int level, const std::string& text) override {
    const std::string line = Printable(text);
    EndLine();
    Print("\n" + Styled(line, Look::Heading, colours) + '\n');
    if (level == 2) Print(std::string(Width(line), '-') + '\n');
  }
  void Table(const TextTable& table) override {
    EndLine();
    Print(Drawn(table, width != 0 ? width : TerminalWidth()));
  }
  void Image(const std::string& path, const std::string& label) override {
    EndLine();
    Print("[" + Printable(path) + "]" + (label.empty() ? "" : " ") + Printable(label) + '\n');
  }
  void Note(const std::string& text) override {
    EndLine();
    Print(Styled(Printable(text), Look::Faint, colours) + '\n');
  }
  void Plot(const std::string&, const std::string& words) override { Note("[" + words + "]"); }
  void Failed(const Failure& failure) override {
    Progress("");
    EndLine();
    std::string text = failure.place.empty() ? "" : failure.place + ": ";
    text += Styled(failure.reason, Look::Error, error_colours);
    std::cout.flush();
    std::cerr << text << (text.ends_with('\n') ? "" : "\n");
  }
  void Done(const std::string&, double) override { Progress(""); }

  void Progress(const std::string& text) override {
    if (!at_line_start || !IsTerminal(STDERR_FILENO) || (text.empty() && !progress_shown)) return;
    std::cerr << "\r\033[K" << Styled(text, Look::Faint, error_colours) << std::flush;
    progress_shown = !text.empty();
  }

 private:
  void EndLine() {
    if (!at_line_start) Print("\n");
  }
  void Print(const std::string& text) {
    if (text.empty()) return;
    Progress("");
    std::cout << text << std::flush;
    at_line_start = text.ends_with('\n');
  }

  std::size_t width;
  bool colours, error_colours;
  bool at_line_start = true, progress_shown = false;
};

Json RowsOf(const std::vector<TableRow>& rows) {
  Json list = Json::array();
  for (const TableRow& row : rows) {
    Json& cells = list.emplace_back(Json::array());
    for (const TableCell& cell : row) {
      cells.push_back(cell.text);
      for (std::size_t i = 1; i < cell.span; ++i) cells.push_back("");
    }
  }
  return list;
}

class JsonPresenter : public Presenter {
 public:
  void Text(const std::string& text) override { Print({{"event", "text"}, {"text", text}}); }
  void Heading(int level, const std::string& text) override {
    Print({{"event", "heading"}, {"level", level}, {"text", text}});
  }
  void Table(const TextTable& table) override {
    Print({{"event", "table"},
           {"labels", table.leading},
           {"head", RowsOf(table.head)},
           {"rows", RowsOf(table.body)}});
  }
  void Image(const std::string& path, const std::string& label) override {
    Print({{"event", "image"}, {"path", path}, {"label", label}});
  }
  void Note(const std::string& text) override { Print({{"event", "note"}, {"text", text}}); }
  void Plot(const std::string& svg, const std::string& words) override {
    Print({{"event", "plot"}, {"label", words}, {"svg", svg}});
  }
  void Failed(const Failure& failure) override {
    Print({{"event", "error"}, {"place", failure.place}, {"code", failure.code}, {"reason", failure.reason}});
  }
  void Done(const std::string& place, double seconds) override {
    Print({{"event", "done"}, {"place", place}, {"code", 0}, {"seconds", seconds}});
  }

 private:
  static void Print(const Json& event) {
    std::cout << event.dump(-1, ' ', false, Json::error_handler_t::replace) << std::endl;
  }
};

}  // namespace

void Presenter::Show(const std::string& line) {
  pugi::xml_document document;
  if (!document.load_buffer(line.data(), line.size(), pugi::parse_default | pugi::parse_ws_pcdata)) return;
  const pugi::xml_node element = document.first_child();
  const std::string_view kind = element.name();
  if (kind == "pre") {
    Text(element.text().get());
  } else if (kind.size() == 2 && kind[0] == 'h') {
    Heading(kind[1] - '0', TextOf(element));
  } else if (kind == "table") {
    Table(TableOf(element));
  } else if (kind == "img") {
    Image(element.attribute("src").value(), element.attribute("alt").value());
  } else if (kind == "svg") {
    std::ostringstream svg;
    element.print(svg, "", pugi::format_raw);
    Plot(svg.str(), element.attribute("aria-label").value());
  } else if (const std::string text = TextOf(element); !text.empty()) {
    Note(text);
  }
}

std::unique_ptr<Presenter> MakeTextPresenter(std::size_t width) {
  return std::make_unique<TextPresenter>(width);
}

std::unique_ptr<Presenter> MakeJsonPresenter() { return std::make_unique<JsonPresenter>(); }
