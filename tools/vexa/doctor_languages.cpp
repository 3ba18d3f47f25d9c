// The configuration, and what each language that it names needs.
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <system_error>

#include "PlugInDynamicLoadedLibrary.h"
#include "VexaDXConfigReader.h"
#include "doctor.h"

namespace {

namespace fs = std::filesystem;

// The names of the sections, in the order of the file.
std::vector<std::string> SectionsOf(const std::string& path) {
  std::vector<std::string> sections;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    line.erase(0, line.find_first_not_of(" \t"));
    if (line.starts_with('[')) sections.push_back(line.substr(1, line.find(']') - 1));
  }
  return sections;
}

// Sections are found by their beginning, whatever the case. False when the language has none of its own.
bool LookAtSection(const std::string& language, const std::string& file, Findings& findings) {
  const auto sections = SectionsOf(file);
  const auto found = std::find_if(sections.begin(), sections.end(), [&](const std::string& section) {
    return strncasecmp(language.c_str(), section.c_str(), language.size()) == 0;
  });
  if (found == sections.end()) {
    findings.Fault(language, file + " has no section [" + language + "]",
                   "add it, or take " + language + " out of X");
    return false;
  }
  if (found->size() == language.size()) return true;
  findings.Fault(
      language,
      "the section [" + *found + "] of " + file + " stands for it, since it comes first and begins so",
      "put [" + language + "] in front of [" + *found + "]");
  return false;
}

void LookAtPython(const std::string& home, const std::string& prefix, Findings& findings) {
  bool there = false;
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(prefix + "/lib", ignored)) {
    there = there ||
            (entry.path().filename().string().starts_with("python3") && fs::exists(entry.path() / "os.py"));
  }
  if (!there)
    findings.Fault("PYTHON", "HOME=" + prefix + " is no Python: it has no lib/python3*/os.py",
                   "set HOME to what python3 -c 'import sys; print(sys.base_prefix)' prints");
  for (const char* module : {"vexaxd.py", "vexa_block.py"}) {
    const std::string path = home + "/lib/python/" + module;
    if (access(path.c_str(), R_OK) != 0)
      findings.Fault("PYTHON", path + ": " + std::strerror(errno),
                     "install the Python modules of this release");
  }
}

void LookAtR(const std::string& home, XConfigOptions& options, Findings& findings) {
  const std::string& r_home = options.GetXHome();
  if (const std::string why = WhyNoProgram(r_home + "/bin/R"); !why.empty())
    return findings.Fault("R", why, "install R, and set HOME to what `R RHOME` prints");
  std::string libraries = home + "/lib/R-library:" + home + "/../../Resources/R/rpackage:" + r_home +
                          "/library:" + r_home + "/site-library";
  if (std::string named; options.FindUserEnv("R_LIBS", named)) libraries.insert(0, named.append(":"));
  std::istringstream each(libraries);
  for (std::string library; std::getline(each, library, ':');) {
    if (fs::exists(library + "/vexastatistics/DESCRIPTION"))
      return findings.Good("R", r_home + ", the package in " + library);
  }
  findings.Fault("R", "the package vexastatistics is in none of " + libraries,
                 "set R_LIBS in [R] to the directory that has it");
}

// A language that is a library: "LIB_NAME" in lib/ of the home.
void LookAtRuntime(const std::string& home, const std::string& language, XConfigOptions& options,
                   Findings& findings) {
  if (options.GetXLibName().empty())
    return findings.Fault(language, "the section [" + language + "] has no LIB_NAME",
                          "name the library there, as it is called in lib/");
  const std::string path = PlugInDecorateDynamicPathName(home + "/lib/" + options.GetXLibName());
  const std::string own = options.GetXHome().empty() ? "" : ":" + options.GetXHome() + "/lib";
  const std::string why = WhyNoLibrary(path, home + "/lib" + own, LanguageFunctions());
  if (!why.empty()) {
    const bool lacks = why.starts_with(path + " lacks");
    return findings.Fault(language, why,
                          lacks ? "add them: StatisticsX.h tells what each does"
                                : "install what is named, for this machine and this release");
  }
  const std::string& its_home = options.GetXHome();
  if (!its_home.empty() && !fs::is_directory(its_home))
    return findings.Fault(language, "HOME=" + its_home + " is no directory",
                          "set HOME in [" + language + "] to where the language is installed");
  if (language == "PYTHON") LookAtPython(home, its_home.empty() ? "/usr" : its_home, findings);
  if (!findings.HasFault(language)) findings.Good(language, path);
}

void LookAtTrace(Findings& findings) {
  const std::string trace = VexaDXConfigReader::GetInstance()->GetTracePath();
  if (!trace.empty() && access(trace.c_str(), W_OK | X_OK) != 0)
    findings.Fault("configuration", "TRACE=" + trace + ": " + std::strerror(errno),
                   "make that directory, or leave TRACE empty");
}

}  // namespace

std::vector<std::string> LanguageFunctions() {
  return {"init_embedded_x", "execute_x", "stop_embedded_x", "pre_action", "post_action"};
}

std::vector<std::string> LookAtLanguages(const std::string& home, Findings& findings) {
  VexaDXConfigReader* const reader = VexaDXConfigReader::GetInstance();
  const std::string file = reader->ConfigPath();
  if (access(file.c_str(), R_OK) != 0) {
    findings.Fault("configuration", file + ": " + std::strerror(errno),
                   "install it there; without it no language runs");
    return {};
  }
  auto languages = reader->GetSupportLanguage();
  if (languages.empty())
    findings.Hint("configuration", file + " supports no language",
                  "name them in X of [SUPPORTED_LANG], with ; between them");
  LookAtTrace(findings);
  for (const std::string& language : languages) {
    if (language.starts_with(' ') || language.ends_with(' ')) {
      findings.Fault(language, "X of " + file + " has a blank beside it, which belongs to the name",
                     "take the blank out");
    } else if (LookAtSection(language, file, findings)) {
      XConfigOptions& options = *reader->GetOptions(language);
      if (language == "R")
        LookAtR(home, options, findings);
      else
        LookAtRuntime(home, language, options, findings);
    }
  }
  if (!findings.HasFault("configuration")) findings.Good("configuration", file);
  return languages;
}

// Supported whatever the configuration says, and a hint for those who do not use it.
bool LookAtJava(const std::string& home, Findings& findings) {
  constexpr const char* kClass = "com/kor/statistics/plugin/Extension.class";
  const std::string program = home + "/JRE/bin/java", jar = home + "/bin/vexajavaplugin.jar";
  if (const std::string why = WhyNoProgram(program); !why.empty()) {
    findings.Hint("JAVAEXTENSION", why, "link JRE of the home to a Java, if extensions are to run");
    return false;
  }
  const auto fault = [&](const std::string& why) {
    findings.Fault("JAVAEXTENSION", why, "install the jar of this release there");
    return false;
  };
  std::ifstream file(jar, std::ios::binary);
  if (!file) return fault(jar + ": " + std::strerror(errno));
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  if (bytes.find(kClass) == std::string::npos) return fault(jar + " has no " + kClass);
  findings.Good("JAVAEXTENSION", program + ", " + jar);
  return true;
}
