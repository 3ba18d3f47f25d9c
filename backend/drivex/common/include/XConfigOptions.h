// XConfigOptions: the options of one section of the configuration file. Every entry is an option; one whose
// key is none of the 14 that the library knows is an environment variable of the language process as well,
// and its value may refer to variables that stand earlier in the section, as ${NAME}, or as $NAME in front of
// a "/":
//
//   R_HOME=/opt/r
//   R_LIBS=${R_HOME}/library:$R_HOME/site         gives /opt/r/library:/opt/r/site
//
// A copy owns its own options. An object has one user at a time: even a question can add an entry.
#ifndef XCONFIGOPTIONS_H
#define XCONFIGOPTIONS_H

#include <map>
#include <string>

#include "vexa_api.h"

class VEXA_API XConfigOptions {
 public:
  static constexpr const char* KEY_LIB_NAME = "LIB_NAME";
  static constexpr const char* KEY_HOME = "HOME";
  static constexpr const char* KEY_ARGS = "ARGS";
  static constexpr const char* KEY_X = "X";
  static constexpr const char* KEY_VEXADX_VERSION = "VexadxVersion";
  static constexpr const char* KEY_VEXADX_VERSION_MAJOR = "VexadxVersionMajor";
  static constexpr const char* KEY_VEXADX_VERSION_MINOR = "VexadxVersionMinor";
  static constexpr const char* KEY_VEXADX_VERSION_PATCH = "VexadxVersionPatch";
  static constexpr const char* KEY_VEXADX_VERSION_BUGFIX = "VexadxFixPack";
  static constexpr const char* KEY_TRACE = "TRACE";
  static constexpr const char* KEY_INNER_PROCESS = "INNER_PROCESS";
  static constexpr const char* KEY_NESTABLE = "NESTABLE";
  static constexpr const char* KEY_WORK_ON_32 = "WORK_ON_32";
  static constexpr const char* KEY_EXTERNAL_RUNTIME = "IS_EXTERNAL_RUNTIME";

  explicit XConfigOptions(const std::string& name);
  XConfigOptions(const XConfigOptions& other);
  XConfigOptions& operator=(const XConfigOptions& other);
  virtual ~XConfigOptions();

  // The name of the section that the object was made for.
  const std::string& XName() const { return xname; }

  // The value as it stands in the file. A key that is missing is added with an empty value.
  std::string& GetOption(const std::string& key);
  // Stores the option; under a key that is not defined also the variable, with the value expanded.
  void PutOption(const std::string& key, const std::string& value);
  // Whether the key is one that the library knows. Case counts.
  static bool IsDefinedKey(const std::string& key);

  // Replaces references from the left until there is none, or the first of them is unknown: what stands
  // behind an unknown one is left alone. The result is that of ExpandEnvStr, which has the last word. `in`
  // may be `out`.
  bool ExpandEnvVars(const std::string& in, std::string& out);
  // Looks among this object's variables, never in the environment of the process.
  bool FindUserEnv(const std::string& name, std::string& value);

  const std::string& GetXHome();
  const std::string& GetXLibName();
  const std::string& GetXArgs() { return GetOption(KEY_ARGS); }
  std::map<std::string, std::string>& GetXEnvVars() { return environment; }
  // Asked for settings that a Java host may know better. Nobody does yet.
  void GetInfoFromJNI(const std::string& key);

  // A flag is set only by the text "true".
  bool IsInnerProcess() { return IsSet(KEY_INNER_PROCESS); }
  bool IsNestable();
  bool WorkOn32() { return IsSet(KEY_WORK_ON_32); }
  bool IsExternalRuntime();

 private:
  bool ReplaceFirstReference(std::string& text);
  bool IsSet(const char* key) { return GetOption(key) == "true"; }
  bool HasJNIHost() const;

  std::map<std::string, std::string> options;
  std::map<std::string, std::string> environment;
  std::string xname;
};

// A host's own expansion, applied to every variable after ours; null takes it away.
VEXA_API void SetExpandEnvStr(bool (*expand)(const std::string& in, std::string& out));
// Calls it. Without one: copies, and returns false.
VEXA_API bool ExpandEnvStr(const std::string& in, std::string& out);

#endif
