#include <cstdlib>
#include <string>

#include "JavaExtensionSmb.h"
#include "OutpStatisticsX.h"
#include "XCmdArgument.h"
#include "XConfigOptions.h"
#include "dxglobals.h"
#include "platform.h"
#include "text.h"
#include "xpipemanager.h"

namespace {

constexpr const char* kSearchVariable = platform::kLibrarySearchVariable;

std::string Environment(const char* name, const char* otherwise = "") {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : otherwise;
}

// ":" and the value that this process has, for the end of a list.
std::string Inherited(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? std::string(":") + value : "";
}

std::string ExtensionJars() {
  const JavaExtensionSmb extension;
  std::string path = extension.GetExtensionPath();
  if (!extension.IsPackageMode()) return path;
  const std::string jar = "/" + extension.GetCommandName() + ".jar";
  std::string jars;
  for (const std::string& directory : GetListFromDelims(path, ":"))
    jars.append(jars.empty() ? "" : ":").append(directory).append(jar);
  if (!path.empty() && path.back() == ':') jars += ":";
  return jars;
}

}  // namespace

bool OutpStatisticsX::Configured(const std::string& name) const {
  return options->GetXEnvVars().count(name) != 0;
}

void OutpStatisticsX::pushEnv(XCmdArgument& env) {
  const std::string& name = options->XName();
  std::string xhome = options->GetXHome();
  if (!xhome.empty() && xhome.back() == '/') xhome.pop_back();
  const auto push_unless_configured = [&](const std::string& variable, const std::string& value) {
    if (!Configured(variable)) env.pushArgument(variable + "=" + value);
  };

  const auto push = [&](std::string entry, const std::string& value) {
    env.pushArgument(entry.append("=").append(value));
  };
  for (const auto& [variable, value] : options->GetXEnvVars()) push(variable, value);
  push_unless_configured("VEXA_HOME", GetVEXAHOME());
  const XPipeManager* const manager = GetXPipeManager();
  push_unless_configured("VEXADXTEMP", manager != nullptr ? manager->getPipePath() : "");

  if (name == "R") {
    PushREnv(env, xhome);
  } else if (name.find("PYTHON") != std::string::npos) {
    PushPythonEnv(env, xhome);
  } else if (name == "JAVAEXTENSION") {
    env.pushArgument(std::string("CLASSPATH=") + GetVEXAHOME() +
                     "/bin/vexajavaplugin.jar:" + ExtensionJars() + Inherited("CLASSPATH"));
  } else {
    push_unless_configured(kSearchVariable, Environment(kSearchVariable));
  }

  // What was pushed above stands in front of what is inherited here, and so counts.
  for (char** entry = platform::Environment(); entry != nullptr && *entry != nullptr; ++entry) {
    const std::string text = *entry;
    if (text.substr(0, text.find('=')) != kSearchVariable) env.pushArgument(text);
  }
  if (name != "JAVAEXTENSION")
    push_unless_configured(kSearchVariable,
                           (xhome.empty() ? "" : xhome + "/lib:") + Environment(kSearchVariable));
}

void OutpStatisticsX::PushREnv(XCmdArgument& env, const std::string& xhome) {
  const std::string base = std::string(GetVEXAHOME()) + "/../../Resources/R";
  const std::string packages = base + "/rpackage";
  env.pushArgument("R_HOME=" + xhome);
  env.pushArgument("R_BASE_PATH=" + base);
  env.pushArgument("VEXA_R_LIBS=" + packages);
  env.pushArgument("R_LIBS_USER=" + packages + Inherited("R_LIBS_USER"));
}

void OutpStatisticsX::PushPythonEnv(XCmdArgument& env, const std::string& xhome) {
  env.pushArgument("PYTHONHOME=" + xhome);
  if (!Configured("BACKEND_PYTHON_SCRIPT")) env.pushArgument("BACKEND_PYTHON_SCRIPT=True");
  if (!Configured("CPRLMX_HOST") || !Configured("CPRLMX_PORT")) {
    const bool known = std::getenv("TSOH") != nullptr && std::getenv("TROP") != nullptr;
    env.pushArgument("CPRLMX_HOST=" + (known ? Environment("TSOH") : "127.0.0.1"));
    env.pushArgument("CPRLMX_PORT=" + (known ? Environment("TROP") : "0"));
  }
  if (!Configured("JAVA_CLIENT_PORT"))
    env.pushArgument("JAVA_CLIENT_PORT=" + Environment("JAVA_CLIENT_PORT", "0"));
}
