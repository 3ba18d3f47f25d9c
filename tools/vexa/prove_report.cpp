#include "prove_report.h"

#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <map>
#include <pugixml.hpp>
#include <sstream>
#include <stdexcept>

#include "driven_backend.h"
#include "terminal.h"

namespace {

constexpr const char* kWords[] = {"good", "FAULT", "left"};
constexpr Look kLooks[] = {Look::Faint, Look::Error, Look::Heading};

}  // namespace

void Report::Begin(const std::string& name) {
  section = name;
  since = Seconds();
}

void Report::Good(const std::string& check, const std::string& note) {
  Add({Outcome::Good, section, check, Printable(note), "", 0});
}
void Report::Fault(const std::string& check, const std::string& why, const std::string& exchange) {
  Add({Outcome::Fault, section, check, Printable(why), exchange, 0});
}
void Report::Left(const std::string& check, const std::string& why) {
  Add({Outcome::Left, section, check, Printable(why), "", 0});
}
bool Report::Check(bool good, const std::string& check, const std::string& why, const std::string& exchange) {
  good ? Good(check) : Fault(check, why, exchange);
  return good;
}

void Report::Add(Line line) {
  line.check = Printable(line.check);
  line.seconds = Seconds() - since;
  since += line.seconds;
  const auto kind = static_cast<std::size_t>(line.outcome);
  std::cout << Styled(kWords[kind], kLooks[kind], HasColours(STDOUT_FILENO)) << "  " << line.section << ": "
            << line.check << (line.why.empty() ? "" : ": " + line.why) << '\n';
  std::istringstream exchange(line.exchange);
  for (std::string said; std::getline(exchange, said);) std::cout << "         " << said << '\n';
  std::cout << std::flush;
  lines.push_back(std::move(line));
}

std::size_t Report::Count(Outcome outcome) const {
  return static_cast<std::size_t>(
      std::count_if(lines.begin(), lines.end(), [=](const Line& line) { return line.outcome == outcome; }));
}

void Report::PrintSummary() const {
  std::cout << Count(Outcome::Good) << " good, " << Faults() << " faults, " << Count(Outcome::Left)
            << " left\n";
}

void Report::WriteJunit(const std::string& path) const {
  pugi::xml_document document;
  pugi::xml_node suites = document.append_child("testsuites");
  std::map<std::string, pugi::xml_node> suite_of;
  for (const Line& line : lines) {
    pugi::xml_node& suite = suite_of[line.section];
    if (!suite) {
      suite = suites.append_child("testsuite");
      suite.append_attribute("name").set_value(line.section.c_str());
      for (const char* const count : {"tests", "failures", "skipped"}) suite.append_attribute(count) = 0;
    }
    const auto more = [&suite](const char* count) {
      pugi::xml_attribute of = suite.attribute(count);
      of.set_value(of.as_int() + 1);
    };
    pugi::xml_node test = suite.append_child("testcase");
    test.append_attribute("classname").set_value(line.section.c_str());
    test.append_attribute("name").set_value(line.check.c_str());
    test.append_attribute("time").set_value(line.seconds, 3);
    more("tests");
    if (line.outcome == Outcome::Good) continue;
    const bool fault = line.outcome == Outcome::Fault;
    more(fault ? "failures" : "skipped");
    pugi::xml_node told = test.append_child(fault ? "failure" : "skipped");
    told.append_attribute("message").set_value(line.why.c_str());
    if (!line.exchange.empty()) told.text().set(line.exchange.c_str());
  }
  if (!document.save_file(path.c_str(), "  ", pugi::format_default, pugi::encoding_utf8))
    throw std::runtime_error(path + " cannot be written");
}
