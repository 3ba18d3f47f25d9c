// vexa trace diff: two records, or a record and what `vexa trace show --stable` printed of one.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <stdexcept>

#include "command.h"
#include "line_diff.h"
#include "record.h"
#include "terminal.h"
#include "trace_lines.h"
#include "trace_options.h"

namespace {

using Json = nlohmann::ordered_json;

struct Options {
  std::string a, b, home;
  MaskOptions masks;
  bool json = false, whole = false;
};

struct Side {
  std::string path;
  std::vector<std::string> lines;
  Record record;
  std::vector<Shown> all;
  std::vector<const Shown*> shown;  // a call for each line, or null; none at all of a text
};

constexpr const char* kTells =
    "Either may be a file that vexa trace show --stable has printed, with the same masks.\n"
    "Exit codes: 0 they are the same; 1 they differ; 2 one cannot be read, or not to its end.";

bool IsText(const std::string& path) {
  std::error_code unknown;
  return std::filesystem::is_regular_file(path, unknown) && !path.ends_with(".vexarec");
}

Side TextSide(const std::string& path) {
  Side side;
  side.path = path;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) side.lines.push_back(line);
  if (file.bad()) throw std::runtime_error(path + " cannot be read");
  return side;
}

Side SideOf(const std::string& path, const Description& description, const Options& options) {
  if (IsText(path)) return TextSide(path);
  Side side;
  side.path = path;
  side.record = ReadRecord(path);
  side.all = ShownOf(side.record.frames, description);
  for (StableLine& line : StableLines(side.all, options.whole ? Form::Whole : Form::Checked)) {
    side.lines.push_back(std::move(line.text));
    side.shown.push_back(line.shown);
  }
  return side;
}

const char* SignOf(const Edit& edit) {
  return edit.kind == Edit::Kind::Kept ? " " : edit.kind == Edit::Kind::Removed ? "-" : "+";
}

const std::string& TextOf(const Edit& edit, const Side& a, const Side& b) {
  return edit.kind == Edit::Kind::Added ? b.lines[edit.b] : a.lines[edit.a];
}

// From where to where a hunk goes in one of the two: where it has no line there, behind the one ahead of it.
std::string Range(const std::vector<Edit>& edits, const Hunk& hunk, Edit::Kind other,
                  std::size_t Edit::*place) {
  std::size_t count = 0;
  for (std::size_t i = hunk.begin; i < hunk.end; ++i) count += edits[i].kind != other ? 1 : 0;
  return std::to_string(edits[hunk.begin].*place + (count != 0 ? 1 : 0)) + "," + std::to_string(count);
}

void PrintUnified(const std::vector<Edit>& edits, const Side& a, const Side& b) {
  constexpr std::size_t kAround = 3;
  const bool colours = HasColours(1);
  std::cout << "--- " << a.path << "\n+++ " << b.path << '\n';
  for (const Hunk& hunk : HunksOf(edits, kAround)) {
    std::cout << "@@ -" << Range(edits, hunk, Edit::Kind::Added, &Edit::a) << " +"
              << Range(edits, hunk, Edit::Kind::Removed, &Edit::b) << " @@\n";
    for (std::size_t i = hunk.begin; i < hunk.end; ++i) {
      const Look look = edits[i].kind == Edit::Kind::Kept      ? Look::Faint
                        : edits[i].kind == Edit::Kind::Removed ? Look::Error
                                                               : Look::Heading;
      std::cout << Styled(SignOf(edits[i]) + TextOf(edits[i], a, b), look, colours) << '\n';
    }
  }
}

void PrintObjects(const std::vector<Edit>& edits, const Side& a, const Side& b) {
  for (const Edit& edit : edits) {
    if (edit.kind == Edit::Kind::Kept) continue;
    const bool added = edit.kind == Edit::Kind::Added;
    const Side& side = added ? b : a;
    const std::size_t at = added ? edit.b : edit.a;
    Json object = {{"change", added ? "added" : "removed"}, {"line", at + 1}, {"text", side.lines[at]}};
    if (at < side.shown.size() && side.shown[at] != nullptr) object["call"] = ObjectOf(*side.shown[at]);
    std::cout << Dumped(object) << '\n';
  }
}

int Diff(const Options& options) {
  const Description description = DescriptionOf(options.home, MasksOf(options.masks));
  const Side a = SideOf(options.a, description, options), b = SideOf(options.b, description, options);
  const std::vector<Edit> edits = EditsBetween(a.lines, b.lines);
  const bool same =
      std::all_of(edits.begin(), edits.end(), [](const Edit& edit) { return edit.kind == Edit::Kind::Kept; });
  if (options.json)
    PrintObjects(edits, a, b);
  else if (!same)
    PrintUnified(edits, a, b);
  bool whole = true;
  for (const Side* const side : {&a, &b}) {
    for (const std::string& fault : side->record.faults) std::cerr << "vexa: " << fault << '\n';
    whole = whole && side->record.faults.empty();
  }
  return !whole ? exit_codes::kUsage : same ? exit_codes::kGood : exit_codes::kFailed;
}

}  // namespace

void AddTraceDiff(CLI::App& trace, int& exit_code) {
  const auto options = std::make_shared<Options>();
  CLI::App* const diff = trace.add_subcommand("diff", "Compares two records");
  diff->add_option("A", options->a, "A record, or a text of one")->required()->type_name("");
  diff->add_option("B", options->b, "Another one")->required()->type_name("");
  diff->add_option("--home", options->home, "The home whose interface the sessions spoke")->type_name("DIR");
  diff->add_flag("--json", options->json, "An object of JSON for each line that differs");
  diff->add_flag("--whole", options->whole, "Cuts no texts and lists");
  AddMaskOptions(*diff, options->masks);
  diff->footer(kTells);
  diff->callback([options, &exit_code] {
    try {
      exit_code = Diff(*options);
    } catch (const std::runtime_error& error) {
      std::cerr << "vexa: " << error.what() << '\n';
      exit_code = exit_codes::kUsage;
    }
  });
}
