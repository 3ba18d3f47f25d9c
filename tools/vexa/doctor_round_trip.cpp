// A session with the backend, a call, and an empty block of each language, with the time that they took.
#include <cstdio>

#include "backend.h"
#include "doctor.h"
#include "interrupts.h"
#include "vexaxd_p.h"

namespace {

// Shows nothing: what is said of a failure is the finding.
class Listener : public Presenter {
 public:
  void Text(const std::string&) override {}
  void Heading(int, const std::string&) override {}
  void Table(const TextTable&) override {}
  void Image(const std::string&, const std::string&) override {}
  void Note(const std::string&) override {}
  void Plot(const std::string&, const std::string&) override {}
  void Failed(const Failure& failure) override { reason = failure.reason; }
  void Done(const std::string&, double) override {}

  std::string reason;
};

std::string Milliseconds(double seconds) {
  char text[40];
  std::snprintf(text, sizeof text, "%.1f ms", 1000 * seconds);
  return text;
}

// Of Java an extension that the jar has for this; any other language takes an empty block.
std::string BlockOf(const std::string& home, const std::string& language) {
  const std::string line = language != "JAVAEXTENSION" ? ""
                                                       : "com.kor.statistics.plugin.Trial /JARS=\"" + home +
                                                             "/bin/vexajavaplugin.jar\"\n";
  return "LANGUAGE " + language + ".\n" + line + "END LANGUAGE.\n";
}

void TryLanguage(Backend& backend, const Listener& told, const std::string& home, const std::string& language,
                 Findings& findings) {
  const Backend::Task task(backend, "a block of " + language);
  const std::string block = BlockOf(home, language);
  if (backend.Submit(block, "") == 0)
    return findings.Good(language,
                         "a round trip in " + Milliseconds(task.Seconds()) + ", its start included");
  findings.Fault(
      language, "an empty block fails: " + told.reason,
      "see to that; HOME and the other entries of [" + language + "] in bin/vexadxcfg.ini say where it is");
}

}  // namespace

void GoRound(const std::string& home, const std::vector<std::string>& languages, Findings& findings) {
  Listener told;
  BackendOptions options;
  options.home = home;
  Backend backend(options, told);
  const Backend::Task task(backend, "starting the backend");
  if (backend.Start() != exit_codes::kGood)
    return findings.Fault("backend", "it does not start: " + told.reason,
                          "see to that; README.md lists the codes");
  const double start = task.Seconds();
  int code = 0;
  GetVariableCount(&code);
  const double both = task.Seconds();
  findings.Good("backend", "started in " + Milliseconds(start) + ", a call in " + Milliseconds(both - start));
  for (const std::string& language : languages) {
    if (!findings.HasFault(language) && !Interrupted()) TryLanguage(backend, told, home, language, findings);
  }
  backend.Stop();
}
