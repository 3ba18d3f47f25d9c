// The report of `vexa prove`: checks in sections, a line each as they come, JUnit's form of them at the end.
#ifndef PROVE_REPORT_H
#define PROVE_REPORT_H

#include <cstddef>
#include <string>
#include <vector>

class Report {
 public:
  void Begin(const std::string& section);
  // What stands in the note may vary from run to run.
  void Good(const std::string& check, const std::string& note = "");
  // `exchange`: the lines of what was said that show it.
  void Fault(const std::string& check, const std::string& why, const std::string& exchange = "");
  // Nothing was tried, as nothing is promised.
  void Left(const std::string& check, const std::string& why);
  // One of the first two.
  bool Check(bool good, const std::string& check, const std::string& why, const std::string& exchange = "");

  std::size_t Faults() const { return Count(Outcome::Fault); }
  void PrintSummary() const;
  // Throws std::runtime_error where it cannot be written.
  void WriteJunit(const std::string& path) const;

 private:
  enum class Outcome { Good, Fault, Left };
  struct Line {
    Outcome outcome;
    std::string section, check, why, exchange;
    double seconds;
  };
  void Add(Line line);
  std::size_t Count(Outcome outcome) const;

  std::vector<Line> lines;
  std::string section;
  double since = 0;
};

#endif
