// vexa trace show: what processes recorded of a session, as a person reads it.
#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <memory>
#include <set>
#include <stdexcept>

#include "command.h"
#include "record.h"
#include "text_table.h"
#include "trace_lines.h"
#include "trace_options.h"

namespace {

using Json = nlohmann::ordered_json;

struct ShowOptions {
  std::string path, chrome;
  std::vector<std::string> functions, processes;
  double slower = 0;  // microseconds
  bool summary = false, json = false, no_times = false, stable = false, whole = false;
  std::string home;
  MaskOptions masks;
  Form Written() const { return whole ? Form::Whole : stable ? Form::Checked : Form::Cut; }
};

bool Among(const std::vector<std::string>& wanted, const std::string& text) {
  return wanted.empty() || std::find(wanted.begin(), wanted.end(), text) != wanted.end();
}

bool IsOfProcess(const ShowOptions& options, const RecordedFrame& frame) {
  return Among(options.processes, frame.program) || Among(options.processes, std::to_string(frame.process));
}

std::string Duration(double microseconds) {
  char text[40];
  const bool milli = microseconds >= 1000, whole = microseconds >= 1e6;
  std::snprintf(text, sizeof text, milli || whole ? "%.1f %s" : "%.0f %s",
                whole   ? microseconds / 1e6
                : milli ? microseconds / 1e3
                        : microseconds,
                whole   ? "s"
                : milli ? "ms"
                        : "us");
  return text;
}

void Print(const std::vector<Shown>& all, const ShowOptions& options) {
  std::size_t widest = 0;
  for (const Shown& each : all) widest = std::max(widest, each.exchange.First().program.size());
  for (const Shown& each : all) {
    const Exchange& exchange = each.exchange;
    if (&each != &all.front() && exchange.session != (&each - 1)->exchange.session) std::cout << '\n';
    if (!options.no_times) {
      char time[40];
      std::snprintf(time, sizeof time, "%12.6f  ",
                    static_cast<double>(exchange.start - all.front().exchange.start) / 1e9);
      std::cout << time;
    }
    std::string program = exchange.First().program;
    program.resize(widest + 2, ' ');
    std::cout << program << std::string(2 * exchange.depth, ' ') << Line(each.told, options.Written());
    if (!options.no_times && exchange.request != nullptr && exchange.reply != nullptr)
      std::cout << ", " << Duration(each.Microseconds());
    std::cout << '\n';
  }
}

void PrintSummary(const std::vector<Shown>& all, const ShowOptions& options) {
  struct Group {
    std::vector<double> times;
    std::size_t failed = 0;
  };
  std::map<std::string, Group> groups;
  for (const Shown& each : all) {
    Group& group = groups[each.told.name];
    group.times.push_back(each.Microseconds());
    if (each.told.code != 0 || !each.told.state.empty()) ++group.failed;
  }
  TextTable table;
  table.leading = 1;
  table.head = {{{"Function"}, {"Count", true}, {"Failed", true}}};
  if (!options.no_times) {
    for (const char* const title : {"Total", "Median", "90 %", "99 %", "Longest"})
      table.head[0].push_back({title, true});
  }
  for (auto& [name, group] : groups) {
    std::vector<double>& times = group.times;
    std::sort(times.begin(), times.end());
    TableRow row = {{name}, {std::to_string(times.size()), true}, {std::to_string(group.failed), true}};
    double total = 0;
    for (const double time : times) total += time;
    // The least time that so many of a hundred do not exceed.
    const auto percentile = [&](std::size_t percent) {
      return times[(times.size() * percent + 99) / 100 - 1];
    };
    if (!options.no_times) {
      for (const double time : {total, percentile(50), percentile(90), percentile(99), times.back()})
        row.push_back({Duration(time), true});
    }
    table.body.push_back(row);
  }
  std::cout << Drawn(table, 0);
}

void WriteChrome(const std::vector<Shown>& all, const std::string& path) {
  Json events = Json::array();
  std::set<std::int32_t> named;
  for (const Shown& each : all) {
    const RecordedFrame& frame = each.exchange.First();
    if (named.insert(frame.process).second)
      events.push_back({{"name", "process_name"},
                        {"ph", "M"},
                        {"pid", frame.process},
                        {"args", {{"name", frame.program}}}});
    events.push_back({{"name", each.told.name},
                      {"ph", "X"},
                      {"ts", static_cast<double>(each.exchange.start) / 1e3},
                      {"dur", each.Microseconds()},
                      {"pid", frame.process},
                      {"tid", frame.thread},
                      {"args", {{"line", Line(each.told)}}}});
  }
  std::ofstream file(path);
  file << Dumped({{"traceEvents", events}}) << '\n';
  if (!file.flush()) throw std::runtime_error(path + " cannot be written");
}

int Show(const ShowOptions& options) {
  MaskOptions masks = options.masks;
  if (!options.stable) masks.none = true;  // a person wants to see what there was
  const Description described = DescriptionOf(options.home, MasksOf(masks));
  Record record = ReadRecord(options.path);
  std::erase_if(record.frames, [&](const RecordedFrame& frame) { return !IsOfProcess(options, frame); });
  std::vector<Shown> all = ShownOf(record.frames, described);
  std::erase_if(all, [&](const Shown& shown) {
    return !Among(options.functions, shown.told.name) || shown.Microseconds() < options.slower;
  });
  if (!options.chrome.empty()) WriteChrome(all, options.chrome);
  if (options.summary) {
    PrintSummary(all, options);
  } else if (options.json) {
    for (const Shown& each : all) std::cout << Dumped(ObjectOf(each)) << '\n';
  } else if (options.stable) {
    for (const StableLine& line : StableLines(all, options.Written())) std::cout << line.text << '\n';
  } else if (options.chrome.empty()) {
    Print(all, options);
  }
  for (const std::string& fault : record.faults) std::cerr << "vexa: " << fault << '\n';
  return record.faults.empty() ? exit_codes::kGood : exit_codes::kFailed;
}

}  // namespace

void AddTraceShow(CLI::App& trace, int& exit_code) {
  const auto options = std::make_shared<ShowOptions>();
  CLI::App* const show = trace.add_subcommand("show", "Prints calls with their replies");
  show->add_option("PATH", options->path, "The directory, or the file of a process")
      ->required()
      ->type_name("");
  show->add_option("--home", options->home, "The home whose interface the session spoke")->type_name("DIR");
  show->add_option("--function", options->functions, "Calls of that function alone; may be given again")
      ->type_name("NAME")
      ->allow_extra_args(false);
  show->add_option("--process", options->processes, "As that process, or program, saw it; may be given again")
      ->type_name("ID")
      ->allow_extra_args(false);
  show->add_option("--slower", options->slower, "Calls that took that long, in microseconds")->type_name("N");
  CLI::Option* const summary =
      show->add_flag("--summary", options->summary, "A row for each function: counts and percentiles");
  CLI::Option* const json =
      show->add_flag("--json", options->json, "An object of JSON for each call, one a line")
          ->excludes(summary);
  show->add_option("--chrome", options->chrome, "Writes trace events for a browser to a file instead")
      ->type_name("FILE");
  show->add_flag("--no-times", options->no_times, "Nothing that varies from run to run");
  show->add_flag(
          "--stable", options->stable,
          "For files to compare with: no times, programs and masked values, with checksums of what is cut")
      ->excludes(summary)
      ->excludes(json);
  show->add_flag("--whole", options->whole, "Cuts no texts and lists");
  AddMaskOptions(*show, options->masks);
  show->footer(trace.get_footer());
  show->callback([options, &exit_code] { exit_code = Show(*options); });
}
