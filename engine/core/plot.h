// Plots of the active dataset in the output document: what they show goes into its XML, and the page draws
// it.
//
//   <plot kind="histogram" title="Histogram of Ozone" x="Ozone in ppb" y="Cases" valid="116" cases="153">
//     <bar from="0" to="20" count="37"/> ...  </plot>
//   <plot kind="scatter" title="Ozone by Wind" x="Wind" y="Ozone" valid="116" cases="153">
//     <point x="7.4" y="41" count="1"/> ...   </plot>
//
// A scatter plot of many cases has the middles of the cells of a grid in the place of single points.
#ifndef PLOT_H
#define PLOT_H

#include <optional>
#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <vector>

struct Session;

// `PLOT /HISTOGRAM=variable.` and `PLOT /SCATTER=x y.`, on a line. Nothing for another line.
bool IsPlot(std::string_view line);
// Throws Refusal.
void RunPlot(Session& session, std::string_view line);

// An axis whose ticks are round numbers, from the one at or below `least` to the one at or above `most`.
class Axis {
 public:
  Axis(double least, double most, int about);
  double From() const { return from; }
  double To() const { return to; }
  double Step() const { return step; }
  const std::vector<double>& Ticks() const { return ticks; }
  std::string Label(double tick) const;
  // From 0 to 1.
  double Place(double value) const { return value / (to - from) - from / (to - from); }

 private:
  double from = 0, to = 1, step = 1;
  std::vector<double> ticks;
};

// Adds the drawing of an entry to an element of a page.
void DrawPlot(pugi::xml_node plot, pugi::xml_node body);
// "Histogram of Ozone: 116 of 153 cases"
std::string PlotInWords(pugi::xml_node plot);

#endif
