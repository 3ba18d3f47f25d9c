// The home: its programs, its library, and whether the parts are of one version.
#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <vector>

#include "VexaDXConfigReader.h"
#include "doctor.h"
#include "dxglobals.h"
#include "home.h"
#include "vexaxd_p.h"

namespace {

namespace fs = std::filesystem;

bool IsHome(const std::string& home) { return access((home + "/bin/StartXD").c_str(), F_OK) == 0; }

std::string LibraryOf(const std::string& home) {
  std::error_code ignored;
  return fs::canonical(home + "/lib/libvexaxd_p.so", ignored).string();
}

// Installed, the library lies elsewhere and finds the home by itself.
bool IsInstalled(const std::string& home) {
  std::error_code ignored;
  const std::string library = LibraryOf(home);
  return !library.empty() && !library.starts_with(fs::canonical(home, ignored).string() + "/");
}

// Which home is meant. False when there is none.
bool FindsHome(const DoctorOptions& options, const std::string& home, Findings& findings) {
  const char* const named = std::getenv("VEXA_HOME");
  const bool set = named != nullptr && *named != '\0';
  const std::string told = FindHome(options.home).told;
  if (IsHome(home)) {
    findings.Good("home", home + " (" + told + ")");
    if (!set && !IsInstalled(home))
      findings.Hint("home", "VEXA_HOME is not set, which other programs need", "export VEXA_HOME=" + home);
    return true;
  }
  if (told == "the program") {
    findings.Fault("home", "VEXA_HOME is not set, and vexa does not lie in a home",
                   "set VEXA_HOME to the directory that has bin/StartXD");
  } else if (!fs::is_directory(home)) {
    findings.Fault("home", told + " names " + home + ", which is no directory",
                   "name the directory that has bin/StartXD");
  } else {
    findings.Fault("home", home + " has no bin/StartXD",
                   "name the directory above the bin/ that has it, or install the backend there");
  }
  return false;
}

void LookAtPrograms(const std::string& home, Findings& findings) {
  const auto look = [&](const char* subject, const std::string& file, const std::string& remedy) {
    if (const std::string why = WhyNoProgram(home + "/bin/" + file); !why.empty())
      findings.Fault(subject, why, remedy);
  };
  look("backend", "StartXD", "chmod +x it, or install the backend anew");
  if (fs::exists(home + "/bin/vexaengine"))
    look("backend", "vexaengine", "install the package for this machine, with what it depends on");
  look("languages", "startx", "install it: without it no language runs beside the driver");
  if (const std::string why = WhyNoProgram(home + "/bin/RConsole"); !why.empty())
    findings.Hint("console", why, "install it, if a language is to open a console");
}

std::string LoadedLibrary() {
  Dl_info info = {};
  dladdr(reinterpret_cast<void*>(&SetVEXAHOME), &info);
  std::error_code ignored;
  return info.dli_fname != nullptr ? fs::canonical(info.dli_fname, ignored).string() : "";
}

// Behind ".so.": empty for a file that does not say.
std::string VersionOfFile(const std::string& path) {
  const std::size_t at = path.rfind(".so.");
  return at != std::string::npos ? path.substr(at + 4) : "";
}

std::string VersionOfPackage(const std::string& path) {
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("Version: ")) return line.substr(9);
  }
  return {};
}

void LookAtLibrary(const std::string& home, Findings& findings) {
  const std::string path = home + "/lib/libvexaxd_p.so";
  if (const std::string why = WhyNoLibrary(path, home + "/lib", {"StartVexa", "VexaLastError"}); !why.empty())
    return findings.Fault("library", why, "install the library of this release in lib/");
  const std::string file = LibraryOf(home);
  if (file == LoadedLibrary()) return findings.Good("library", file);
  findings.Hint("library", file + "; vexa itself, and so the round trip, uses " + LoadedLibrary(),
                "call " + home + "/bin/vexa, if it is there");
}

void LookAtVersions(const std::string& home, Findings& findings) {
  const std::pair<std::string, std::string> parts[] = {
      {"the library", VersionOfFile(LibraryOf(home))},
      {"the library that vexa runs with", VexaVersion()},
      {"bin/vexadxcfg.ini", VexaDXConfigReader::GetInstance()->GetVersion()},
      {"the R package", VersionOfPackage(home + "/lib/R-library/vexastatistics/DESCRIPTION")}};
  bool all_fit = true;
  for (const auto& [part, version] : parts) {
    if (version.empty() || version == VEXA_VERSION_TEXT) continue;
    findings.Fault("versions", part + " is of " + version + ", vexa of " VEXA_VERSION_TEXT,
                   "install all parts of one release");
    all_fit = false;
  }
  if (all_fit) findings.Good("versions", "all parts that tell theirs are of " VEXA_VERSION_TEXT);
}

}  // namespace

void LookAtHome(const DoctorOptions& options, const std::string& home, Findings& findings) {
  if (!FindsHome(options, home, findings)) return;
  SetVEXAHOME(home.c_str());  // where the configuration is read from
  LookAtPrograms(home, findings);
  LookAtLibrary(home, findings);
  LookAtVersions(home, findings);
}
