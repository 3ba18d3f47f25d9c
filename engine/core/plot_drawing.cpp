// Plots as SVG: they take the colour of the text around them, so that they can be read in light and dark, and
// what each shows stands in it for those who do not see it.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "output_page.h"
#include "plain_text.h"
#include "plot.h"

namespace {

constexpr double kWidth = 640, kHeight = 400, kLeft = 84, kRight = 600, kTop = 16, kBottom = 344;
// Stands off white as well as black.
constexpr const char* kColour = "#3b82c4";

// To a tenth of a unit of the drawing.
std::string At(double place) {
  char text[40];
  std::snprintf(text, sizeof text, "%.1f", place);
  return text;
}

std::string CutTo(std::string text, std::size_t characters) {
  if (Width(text) <= characters) return text;
  const auto within = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; };
  while (Width(text) >= characters) {
    while (within(text.back())) text.pop_back();
    text.pop_back();
  }
  return text + "\xE2\x80\xA6";
}

class Drawing {
 public:
  Drawing(pugi::xml_node plot_entry, pugi::xml_node body) : plot(plot_entry), svg(body.append_child("svg")) {
    const std::string words = PlotInWords(plot);
    Set(svg, {{"xmlns", "http://www.w3.org/2000/svg"},
              {"viewBox", "0 0 " + At(kWidth) + " " + At(kHeight)},
              {"width", "640"},
              {"role", "img"},
              {"aria-label", words},
              {"fill", "currentColor"},
              {"font-size", "14"}});
    Text(svg.append_child("title"), words);
  }

  void Draw() {
    const bool histogram = std::strcmp(plot.attribute("kind").value(), "histogram") == 0;
    if (!plot.first_child())
      Label("no valid cases", kWidth / 2, kHeight / 2, "middle");
    else if (histogram)
      Bars();
    else
      Points();
  }

 private:
  using Attributes = std::initializer_list<std::pair<const char*, std::string>>;
  static void Set(pugi::xml_node node, const Attributes& attributes) {
    for (const auto& [name, value] : attributes) node.append_attribute(name) = value.c_str();
  }
  static void Text(pugi::xml_node node, const std::string& text) {
    node.append_child(pugi::node_pcdata).set_value(text.c_str());
  }
  static double X(const Axis& axis, double value) { return kLeft + axis.Place(value) * (kRight - kLeft); }
  static double Y(const Axis& axis, double value) { return kBottom - axis.Place(value) * (kBottom - kTop); }

  pugi::xml_node Label(const std::string& text, double x, double y, const char* anchor) {
    pugi::xml_node label = svg.append_child("text");
    Set(label, {{"x", At(x)}, {"y", At(y)}, {"text-anchor", anchor}});
    Text(label, text);
    return label;
  }
  static pugi::xml_node Squeeze(pugi::xml_node label, double room) {
    constexpr double kCharacter = 8;
    if (static_cast<double>(Width(label.text().get())) * kCharacter > room)
      Set(label, {{"textLength", At(room)}, {"lengthAdjust", "spacingAndGlyphs"}});
    return label;
  }
  // What an axis is about, squeezed where it would not fit.
  pugi::xml_node Title(const char* attribute, double room, double x, double y) {
    constexpr std::size_t kLegible = 70;
    const std::string text = CutTo(plot.attribute(attribute).value(), kLegible);
    return Squeeze(Label(text, x, y, "middle"), room);
  }
  void Line(double x1, double y1, double x2, double y2, const char* opacity) {
    Set(svg.append_child("line"), {{"x1", At(x1)},
                                   {"y1", At(y1)},
                                   {"x2", At(x2)},
                                   {"y2", At(y2)},
                                   {"stroke", "currentColor"},
                                   {"stroke-opacity", opacity}});
  }

  void Axes(const Axis& across, const Axis& up) {
    constexpr double kTick = 6, kBelow = 20, kLine = 5, kMargin = 52;
    const double room = (kRight - kLeft) / static_cast<double>(across.Ticks().size());
    for (const double tick : across.Ticks()) {
      Line(X(across, tick), kBottom, X(across, tick), kBottom + kTick, "1");
      Squeeze(Label(across.Label(tick), X(across, tick), kBottom + kBelow, "middle"), room);
    }
    for (const double tick : up.Ticks()) {
      Line(kLeft, Y(up, tick), kRight, Y(up, tick), ".15");
      Line(kLeft - kTick, Y(up, tick), kLeft, Y(up, tick), "1");
      Squeeze(Label(up.Label(tick), kLeft - kTick - 3, Y(up, tick) + kLine, "end"), kMargin);
    }
    Line(kLeft, kBottom, kRight, kBottom, "1");
    Line(kLeft, kTop, kLeft, kBottom, "1");
    Title("x", kRight - kLeft, (kLeft + kRight) / 2, kHeight - 8);
    const std::string turned = "rotate(-90 16 " + At((kTop + kBottom) / 2) + ")";
    Set(Title("y", kBottom - kTop, 16, (kTop + kBottom) / 2), {{"transform", turned}});
  }

  // A mark tells what it stands for where a pointer is over it.
  void Mark(const char* shape, const std::string& words, const Attributes& attributes) {
    pugi::xml_node mark = svg.append_child(shape);
    Set(mark, attributes);
    Set(mark, {{"fill", kColour}});
    Text(mark.append_child("title"), words);
  }

  void Bars() {
    constexpr int kTicks = 8, kRows = 5;
    double most = 1;
    for (const pugi::xml_node bar : plot.children())
      most = std::max(most, bar.attribute("count").as_double());
    const double least = plot.first_child().attribute("from").as_double();
    const Axis across(least, plot.last_child().attribute("to").as_double(), kTicks);
    const Axis up(0, std::max<double>(most, kRows), kRows);  // in whole cases
    Axes(across, up);
    for (const pugi::xml_node bar : plot.children()) {
      const pugi::xml_attribute from = bar.attribute("from"), to = bar.attribute("to"),
                                count = bar.attribute("count");
      const double left = X(across, from.as_double()), right = X(across, to.as_double());
      const double top = Y(up, count.as_double());
      if (count.as_ullong() == 0) continue;
      Mark("rect", std::string(from.value()) + " to " + to.value() + ": " + count.value(),
           {{"x", At(left + 0.5)},
            {"y", At(top)},
            {"width", At(std::max(right - left - 1, 0.5))},
            {"height", At(kBottom - top)}});
    }
  }

  void Points() {
    constexpr int kTicks = 8, kRows = 6;
    double least[2] = {}, most[2] = {}, dense = 1;
    const char* const names[2] = {"x", "y"};
    for (const pugi::xml_node point : plot.children()) {
      const bool first = point == plot.first_child();
      for (int i = 0; i < 2; ++i) {
        const double value = point.attribute(names[i]).as_double();
        least[i] = first ? value : std::min(least[i], value);
        most[i] = first ? value : std::max(most[i], value);
      }
      dense = std::max(dense, point.attribute("count").as_double());
    }
    const Axis across(least[0], most[0], kTicks), up(least[1], most[1], kRows);
    Axes(across, up);
    for (const pugi::xml_node point : plot.children()) {
      const pugi::xml_attribute x = point.attribute("x"), y = point.attribute("y"),
                                count = point.attribute("count");
      // The more cases a point stands for, the darker it is.
      const double shade = dense > 1 ? 0.15 + 0.85 * std::sqrt(count.as_double() / dense) : 0.8;
      Mark("circle",
           std::string(x.value()) + ", " + y.value() + (dense > 1 ? ": " + std::string(count.value()) : ""),
           {{"cx", At(X(across, x.as_double()))},
            {"cy", At(Y(up, y.as_double()))},
            {"r", dense > 1 ? "2.3" : "3.5"},
            {"fill-opacity", At(shade)}});
    }
  }

  pugi::xml_node plot, svg;
};

}  // namespace

std::string PlotInWords(pugi::xml_node plot) {
  return std::string(plot.attribute("title").value()) + ": " + plot.attribute("valid").value() + " of " +
         plot.attribute("cases").value() + " cases";
}

void DrawPlot(pugi::xml_node plot, pugi::xml_node body) {
  AddElement(body, "h3", plot.attribute("title").value());
  Drawing(plot, body).Draw();
}
