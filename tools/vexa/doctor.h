// What `vexa doctor` looks at. A look finds: each finding is one line, and one that is not good says what to
// do.
#ifndef DOCTOR_H
#define DOCTOR_H

#include <string>
#include <vector>

struct Finding {
  enum class Kind { Good, Hint, Fault } kind;
  std::string subject;  // "home", "PYTHON"
  std::string text;
  std::string remedy;
};

class Findings {
 public:
  void Good(const std::string& subject, const std::string& text);
  // Something may go wrong with it, or does for a few.
  void Hint(const std::string& subject, const std::string& text, const std::string& remedy);
  void Fault(const std::string& subject, const std::string& text, const std::string& remedy);

  const std::vector<Finding>& All() const { return list; }
  bool HasFault(const std::string& subject) const;
  bool HasFault() const;

 private:
  void Add(Finding finding);
  std::vector<Finding> list;
};

struct DoctorOptions {
  std::string home;
  bool clean = false;  // stale fifos go
  std::string probed;  // a library, by a process of the doctor's own
};

void LookAtHome(const DoctorOptions& options, const std::string& home, Findings& findings);
void LookAtSystem(const DoctorOptions& options, Findings& findings);
// The configuration, and each language that it supports. These come back.
std::vector<std::string> LookAtLanguages(const std::string& home, Findings& findings);
// Whether an extension can be run.
bool LookAtJava(const std::string& home, Findings& findings);
void GoRound(const std::string& home, const std::vector<std::string>& languages, Findings& findings);

// Why a file cannot be executed, or loaded into a program, here; empty when nothing speaks against it.
std::string WhyNoProgram(const std::string& path);
std::string WhyNoObject(const std::string& path);
// Loads a library in a process of its own, with `search` in front of where the loader looks. Why it cannot be
// loaded, or which of the names it lacks; empty for neither.
std::string WhyNoLibrary(const std::string& path, const std::string& search,
                         const std::vector<std::string>& names);
// Those that a language library has to have.
std::vector<std::string> LanguageFunctions();
// In that process: tells it on standard output. Names come from the environment.
int ProbeLibrary(const std::string& path);

#endif
