#include "plot.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <map>

#include "refusals.h"
#include "session.h"
#include "words.h"

namespace {

// So far from the ends of what a double holds, sums and differences of an axis stay numbers.
constexpr double kMost = 1e300;
constexpr double kMostTicks = 1000;

std::string Number(double value) {
  char text[kNumberBytes];
  return {text, WriteNumber(value, text)};
}

struct Values {
  std::vector<std::array<double, 2>> valid;
  std::size_t cases = 0;
};

// Cases in which each of the variables has a value that can be drawn.
Values Collect(Dataset& data, const std::vector<const Variable*>& variables) {
  Values values;
  values.cases = data.CaseCount();
  for (std::size_t i = 0; i < values.cases; ++i) {
    const Unit* const units = data.Case(i);
    std::array<double, 2> of_case = {};
    bool valid = true;
    for (std::size_t v = 0; v < variables.size(); ++v) {
      const Unit* const unit = units + variables[v]->first_unit;
      of_case[v] = NumberOf(*unit);
      valid = valid && StateOf(*variables[v], unit) == MissingState::Valid && std::fabs(of_case[v]) < kMost;
    }
    if (valid) values.valid.push_back(of_case);
  }
  return values;
}

Axis AxisOf(const Values& values, std::size_t which, int about) {
  double least = 0, most = 0;
  for (const auto& value : values.valid) {
    least = &value == &values.valid.front() ? value[which] : std::min(least, value[which]);
    most = &value == &values.valid.front() ? value[which] : std::max(most, value[which]);
  }
  return {least, most, about};
}

const std::string& TitleOf(const Variable& variable) {
  return variable.label.empty() ? variable.name : variable.label;
}

void Describe(pugi::xml_node plot, const std::string& kind, const std::string& title, const std::string& x,
              const std::string& y, const Values& values) {
  const std::string valid = std::to_string(values.valid.size()), cases = std::to_string(values.cases);
  const std::pair<const char*, const std::string&> attributes[] = {
      {"kind", kind}, {"title", title}, {"x", x}, {"y", y}, {"valid", valid}, {"cases", cases}};
  for (const auto& [name, value] : attributes) SetAttribute(plot, name, value);
}

void Add(pugi::xml_node plot, const char* element,
         std::initializer_list<std::pair<const char*, std::string>> attributes) {
  pugi::xml_node node = plot.append_child(element);
  for (const auto& [name, value] : attributes) SetAttribute(node, name, value);
}

// As many bars as a statistician would draw, between round numbers.
void FillHistogram(pugi::xml_node plot, const Variable& variable, const Values& values) {
  Describe(plot, "histogram", "Histogram of " + variable.name, TitleOf(variable), "Cases", values);
  if (values.valid.empty()) return;
  constexpr int kFewest = 4, kMostBars = 24;
  const int wanted = static_cast<int>(std::ceil(std::log2(values.valid.size()))) + 1;
  const Axis bins = AxisOf(values, 0, std::clamp(2 * wanted, kFewest, kMostBars));
  std::vector<double> ticks = bins.Ticks();
  const bool whole = std::all_of(values.valid.begin(), values.valid.end(),
                                 [](const auto& value) { return std::floor(value[0]) == value[0]; });
  const bool whole_bars = whole && bins.Step() < 2 && bins.To() - bins.From() <= kMostBars;
  if (whole_bars) {  // one for each
    ticks.clear();
    const double first = std::floor(bins.From());
    const int count = static_cast<int>(bins.To() - first) + 1;
    for (int i = 0; i < count; ++i) ticks.push_back(first + i - 0.5);
    ticks.push_back(ticks.back() + 1);
  }
  std::vector<std::size_t> counts(ticks.size() - 1);
  for (const auto& value : values.valid) {
    const auto above = std::upper_bound(ticks.begin(), ticks.end(), value[0]);
    const auto bar = static_cast<std::size_t>(std::max<std::ptrdiff_t>(above - ticks.begin() - 1, 0));
    ++counts[std::min(bar, counts.size() - 1)];  // the last bar has its upper end, too
  }
  for (std::size_t i = 0; i < counts.size(); ++i)
    Add(plot, "bar",
        {{"from", whole_bars ? Number(ticks[i]) : bins.Label(ticks[i])},
         {"to", whole_bars ? Number(ticks[i + 1]) : bins.Label(ticks[i + 1])},
         {"count", std::to_string(counts[i])}});
}

void FillScatter(pugi::xml_node plot, const Variable& across, const Variable& up, const Values& values) {
  constexpr std::size_t kSingle = 2000;
  constexpr int kColumns = 120, kRows = 75;
  Describe(plot, "scatter", up.name + " by " + across.name, TitleOf(across), TitleOf(up), values);
  if (values.valid.size() <= kSingle) {
    for (const auto& [x, y] : values.valid)
      Add(plot, "point", {{"x", Number(x)}, {"y", Number(y)}, {"count", "1"}});
    return;
  }
  const Axis x_axis = AxisOf(values, 0, kColumns / 10), y_axis = AxisOf(values, 1, kRows / 10);
  std::map<std::pair<int, int>, std::size_t> cells;
  for (const auto& [x, y] : values.valid)
    ++cells[{std::min(static_cast<int>(x_axis.Place(x) * kColumns), kColumns - 1),
             std::min(static_cast<int>(y_axis.Place(y) * kRows), kRows - 1)}];
  const auto middle = [](const Axis& axis, int cell, int of) {
    const double part = (cell + 0.5) / of;
    return Number(axis.From() * (1 - part) + axis.To() * part);
  };
  for (const auto& [cell, count] : cells)
    Add(plot, "point",
        {{"x", middle(x_axis, cell.first, kColumns)},
         {"y", middle(y_axis, cell.second, kRows)},
         {"count", std::to_string(count)}});
}

std::vector<Word> WordsOf(std::string_view line) {
  std::string blanks(Trimmed(line));
  if (const std::size_t sign = blanks.find('='); sign != std::string::npos) blanks[sign] = ' ';
  if (blanks.ends_with('.')) blanks.pop_back();
  return SplitWords(blanks).value_or(std::vector<Word>());
}

}  // namespace

// 1, 2 or 5 times a power of ten.
Axis::Axis(double least, double most, int about) {
  if (!(least < most)) {  // one value: a unit around it
    const double unit = std::max(std::fabs(least) * 1e-3, 0.5);
    least -= unit;
    most += unit;
  }
  const double raw = most / about - least / about;
  const double power = std::pow(10, std::floor(std::log10(raw)));
  step = power;
  for (const double factor : {1, 2, 5, 10}) {
    step = factor * power;
    if (step >= raw * (1 - 1e-9)) break;
  }
  const double first = std::floor(least / step + 1e-9), last = std::ceil(most / step - 1e-9);
  const int count = static_cast<int>(std::min(last - first, kMostTicks));
  for (int i = 0; i <= count; ++i) ticks.push_back((first + i) * step);
  if (ticks.size() < 2) ticks = {least, most};  // beside such values the step is nothing
  from = ticks.front();
  to = ticks.back();
}

std::string Axis::Label(double tick) const {
  constexpr double kPlain = 1e7;
  constexpr int kMostDecimals = 6;
  const double magnitude = std::max(std::fabs(from), std::fabs(to));
  const int decimals = static_cast<int>(std::max(0.0, -std::floor(std::log10(step) + 1e-9)));
  char text[400];
  if (std::fabs(tick) < step / 2) return "0";
  if (magnitude < kPlain && decimals <= kMostDecimals) {
    std::snprintf(text, sizeof text, "%.*f", decimals, tick);
  } else {
    const int digits = static_cast<int>(std::ceil(std::log10(magnitude / step))) + 1;
    std::snprintf(text, sizeof text, "%.*g", std::clamp(digits, 1, 15), tick);
  }
  return text;
}

bool IsPlot(std::string_view line) {
  const std::vector<Word> words = WordsOf(line);
  return Trimmed(line).ends_with('.') && !words.empty() && SameName(words[0].text, "PLOT");
}

void RunPlot(Session& session, std::string_view line) {
  const std::vector<Word> words = WordsOf(line);
  const bool histogram = words.size() == 3 && SameName(words[1].text, "/HISTOGRAM");
  if (!histogram && !(words.size() == 4 && SameName(words[1].text, "/SCATTER")))
    throw Refusal(engine_code::kBadCommand, "PLOT takes /HISTOGRAM=variable or /SCATTER=x y");
  std::vector<const Variable*> variables;
  for (std::size_t i = 2; i < words.size(); ++i) {
    variables.push_back(&VariableNamed(session.Data(), words[i].text));
    if (variables.back()->IsText()) throw Refusal(CleXDErrorCode::kWrongType, words[i].text + " is a text");
  }
  const Values values = Collect(session.Data(), variables);
  session.output.AddFilled("plot", [&](pugi::xml_node plot) {
    if (histogram)
      FillHistogram(plot, *variables[0], values);
    else
      FillScatter(plot, *variables[0], *variables[1], values);
  });
}
