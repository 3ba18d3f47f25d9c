// vexa doctor: looks for what keeps a home from working, and says what to do.
#include "doctor.h"

#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "command.h"
#include "home.h"
#include "interrupts.h"
#include "terminal.h"

namespace {

constexpr const char* kWords[] = {"good", "hint", "FAULT"};

// Loaders and programs say things in several lines.
std::string InOneLine(const std::string& text) {
  constexpr std::size_t kMost = 600;
  std::string line;
  for (const char c : text.substr(0, text.find_last_not_of(" \t\r\n") + 1)) {
    if (c == '\n')
      line += " | ";
    else
      line += c;
  }
  return Printable(line.size() <= kMost ? line : line.substr(0, kMost) + "...");
}

void Print(const Findings& findings) {
  const bool colours = HasColours(STDOUT_FILENO);
  for (const Finding& finding : findings.All()) {
    const Look look = finding.kind == Finding::Kind::Fault  ? Look::Error
                      : finding.kind == Finding::Kind::Hint ? Look::Heading
                                                            : Look::Faint;
    std::cout << Styled(kWords[static_cast<int>(finding.kind)], look, colours) << "  " << finding.subject
              << ": " << finding.text << (finding.remedy.empty() ? "" : ": " + finding.remedy) << '\n';
  }
}

void PrintJson(const Findings& findings) {
  for (const Finding& finding : findings.All()) {
    const nlohmann::ordered_json line = {{"kind", kWords[static_cast<int>(finding.kind)]},
                                         {"subject", finding.subject},
                                         {"finding", finding.text},
                                         {"remedy", finding.remedy}};
    std::cout << line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
  }
}

int Examine(const DoctorOptions& options, bool json, bool round_trip) {
  if (!options.probed.empty()) return ProbeLibrary(options.probed);
  WatchSignals();
  Findings findings;
  const std::string home = FindHome(options.home).path;
  LookAtHome(options, home, findings);
  LookAtSystem(options, findings);
  if (!findings.HasFault("home")) {
    std::vector<std::string> languages = LookAtLanguages(home, findings);
    if (LookAtJava(home, findings)) languages.emplace_back("JAVAEXTENSION");
    const bool can_start = !findings.HasFault("backend") && !findings.HasFault("temp");
    if (round_trip && can_start) GoRound(home, languages, findings);
  }
  json ? PrintJson(findings) : Print(findings);
  return findings.HasFault() ? exit_codes::kFailed : exit_codes::kGood;
}

}  // namespace

void Findings::Add(Finding finding) {
  finding.text = InOneLine(finding.text);
  list.push_back(std::move(finding));
}
void Findings::Good(const std::string& subject, const std::string& text) {
  Add({Finding::Kind::Good, subject, text, ""});
}
void Findings::Hint(const std::string& subject, const std::string& text, const std::string& remedy) {
  Add({Finding::Kind::Hint, subject, text, remedy});
}
void Findings::Fault(const std::string& subject, const std::string& text, const std::string& remedy) {
  Add({Finding::Kind::Fault, subject, text, remedy});
}

bool Findings::HasFault(const std::string& subject) const {
  return std::any_of(list.begin(), list.end(), [&](const Finding& finding) {
    return finding.kind == Finding::Kind::Fault && finding.subject == subject;
  });
}
bool Findings::HasFault() const {
  return std::any_of(list.begin(), list.end(),
                     [](const Finding& finding) { return finding.kind == Finding::Kind::Fault; });
}

void AddDoctor(CLI::App& program, int& exit_code) {
  struct Options : DoctorOptions {
    bool json = false, no_round_trip = false;
  };
  const auto options = std::make_shared<Options>();
  CLI::App* const command = program.add_subcommand("doctor", "Looks for what keeps a home from working");
  command->add_option("--home", options->home, "The home, instead of VEXA_HOME or vexa's own")
      ->type_name("DIR");
  command->add_flag("--clean", options->clean, "Removes the fifos that dead processes left");
  command->add_flag("--no-round-trip", options->no_round_trip, "Starts nothing");
  command->add_flag("--json", options->json, "An object of JSON for each finding, one a line");
  command->add_option("--probe", options->probed)->group("");
  command->footer(
      "A line for each finding: what it is about, what was found, and what to do. FAULT: something does\n"
      "not work; hint: it may go wrong, or is missed by few.\n" +
      program.get_footer());
  command->callback(
      [options, &exit_code] { exit_code = Examine(*options, options->json, !options->no_round_trip); });
}
