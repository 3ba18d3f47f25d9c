// VexaDXConfigReader: what the library knows about the languages, from <home>/bin/vexadxcfg.ini. The path is
// fixed when the reader is made, so the home has to be known before the first GetInstance().
//
//   [SUPPORTED_LANG]
//   X=R;PYTHON            the languages; case counts, and a blank behind a ";" belongs to the next name
//   TRACE=/var/log/vexa   the directory of the trace; without it there is none
//   [version]
//   VexadxVersion=1.0.0.0
//   [R]                   one section for each language, see XConfigOptions
//
// A section is read once and then kept: later changes of the file are not seen. No operation reports an
// error: a file that cannot be opened reads as one without sections. The reader owns all options that it
// hands out by pointer, and the instance lives until the process ends. Any thread may ask, but what it
// is given has one user at a time.
#ifndef VEXADXCONFIGREADER_H
#define VEXADXCONFIGREADER_H

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "PlugInConfigReader.h"
#include "XConfigOptions.h"
#include "vexa_api.h"

inline constexpr const char* VEXADXCFGNAME = "vexadxcfg.ini";
// No section of the file: the name under which "SUPPORTED_LANG" and "version" are kept, in one object.
inline constexpr const char* VEXADXGLOBALSECTION = "_GLOBAL_";

class VEXA_API VexaDXConfigReader : public PlugInConfigReader {
 public:
  static constexpr const char* SECTION_SUPPORT_LANG = "SUPPORTED_LANG";
  static constexpr const char* SECTION_VERSION = "version";

  VexaDXConfigReader();
  explicit VexaDXConfigReader(std::string name);
  VexaDXConfigReader(const VexaDXConfigReader&) = delete;
  VexaDXConfigReader& operator=(const VexaDXConfigReader&) = delete;
  ~VexaDXConfigReader() override;

  // The order of the virtual operations is part of the interface.

  // A copy of the options of the current language.
  virtual XConfigOptions GetOptions();
  // The options of a language, kept under the name exactly as it is spelled here. Never null.
  virtual XConfigOptions* GetOptions(std::string name);
  // The current language.
  virtual void SetXName(std::string name);
  virtual std::string GetXName();
  // One value, read from the file each time, without blanks at its ends. The default stands in for an empty
  // value too.
  virtual std::string GetOption(const std::string& section, const std::string& key,
                                const std::string& defaultValue);
  // <home>/bin/ in front of the path in hand. That is the file's name only while the reader is being made;
  // afterwards it is the full path already.
  virtual std::string GetConfigFullPath();
  // The file that is read.
  const std::string& ConfigPath() const { return config_path; }

  static VexaDXConfigReader* GetInstance();

  // All entries of a section in the order of the file, under their own keys and untrimmed; both lists are of
  // one length. Entries without a key are left out.
  void RetrieveKeyValue(const char* path, const char* section, std::vector<std::string>& keys,
                        std::vector<std::string>& values);

  // The options of "SUPPORTED_LANG" and "version".
  XConfigOptions* GetNGlobalOptions();
  XConfigOptions GetGlobalOptions();
  std::string GetTracePath() { return GlobalOption(XConfigOptions::KEY_TRACE); }
  std::string GetVersion() { return GlobalOption(XConfigOptions::KEY_VEXADX_VERSION); }
  std::string GetVersionMajor() { return GlobalOption(XConfigOptions::KEY_VEXADX_VERSION_MAJOR); }
  std::string GetVersionMinor() { return GlobalOption(XConfigOptions::KEY_VEXADX_VERSION_MINOR); }
  std::string GetVersionPatch() { return GlobalOption(XConfigOptions::KEY_VEXADX_VERSION_PATCH); }
  std::string GetVersionBugfix() { return GlobalOption(XConfigOptions::KEY_VEXADX_VERSION_BUGFIX); }

  std::vector<std::string> GetSupportLanguage();
  // "JAVAEXTENSION" is supported whatever the file says.
  bool IsSupportLanguage(std::string name);

 private:
  std::string GlobalOption(const char* key);
  XConfigOptions* FindKept(const std::string& name);
  // Of two threads that read the same section at once, the first one's options stay.
  XConfigOptions* Keep(const std::string& name, std::unique_ptr<XConfigOptions> made);

  std::string config_path = VEXADXCFGNAME;
  std::string xname;
  std::map<std::string, std::unique_ptr<XConfigOptions>> kept;
  std::mutex kept_mutex;  // never held while the file is read or a virtual operation runs

  static VexaDXConfigReader* m_instance;
};

#endif
