#include "VexaDXConfigReader.h"

#include <algorithm>
#include <cstring>

#include "dxglobals.h"
#include "text.h"

namespace {

struct GlobalKey {
  const char* section;
  const char* key;
};

constexpr GlobalKey kGlobalKeys[] = {
    {VexaDXConfigReader::SECTION_SUPPORT_LANG, XConfigOptions::KEY_X},
    {VexaDXConfigReader::SECTION_SUPPORT_LANG, XConfigOptions::KEY_TRACE},
    {VexaDXConfigReader::SECTION_VERSION, XConfigOptions::KEY_VEXADX_VERSION},
    {VexaDXConfigReader::SECTION_VERSION, XConfigOptions::KEY_VEXADX_VERSION_MAJOR},
    {VexaDXConfigReader::SECTION_VERSION, XConfigOptions::KEY_VEXADX_VERSION_MINOR},
    {VexaDXConfigReader::SECTION_VERSION, XConfigOptions::KEY_VEXADX_VERSION_PATCH},
    {VexaDXConfigReader::SECTION_VERSION, XConfigOptions::KEY_VEXADX_VERSION_BUGFIX},
};

}  // namespace

constinit VexaDXConfigReader* VexaDXConfigReader::m_instance = nullptr;

VexaDXConfigReader::VexaDXConfigReader() : VexaDXConfigReader(std::string()) {}

VexaDXConfigReader::VexaDXConfigReader(std::string name) : xname(std::move(name)) {
  config_path = GetConfigFullPath();
}

VexaDXConfigReader::~VexaDXConfigReader() = default;

VexaDXConfigReader* VexaDXConfigReader::GetInstance() {
  static std::once_flag made;
  std::call_once(made, [] { m_instance = new VexaDXConfigReader; });
  return m_instance;
}

std::string VexaDXConfigReader::GetConfigFullPath() {
  std::string path;
  if (const char* home = GetVEXAHOME()) path = home;
  DecoratePathEnd(path);
  return path + "bin/" + config_path;
}

void VexaDXConfigReader::SetXName(std::string name) { xname = std::move(name); }

std::string VexaDXConfigReader::GetXName() { return xname; }

std::string VexaDXConfigReader::GetOption(const std::string& section, const std::string& key,
                                          const std::string& defaultValue) {
  char buffer[kLineSize];
  const std::int64_t delivered = GetPrivateProfileString(section.c_str(), key.c_str(), defaultValue.c_str(),
                                                         buffer, sizeof buffer, config_path.c_str());
  std::string value = delivered != 0 ? std::string(buffer) : defaultValue;
  trimSpace(value);
  return value;
}

XConfigOptions VexaDXConfigReader::GetOptions() {
  const XConfigOptions* options = GetOptions(xname);
  return options != nullptr ? *options : XConfigOptions(xname);
}

XConfigOptions* VexaDXConfigReader::GetOptions(std::string name) {
  // No section of the file has that name: the options under it come from two others.
  if (name == VEXADXGLOBALSECTION) return GetNGlobalOptions();
  if (XConfigOptions* options = FindKept(name)) return options;
  auto made = std::make_unique<XConfigOptions>(name);
  std::vector<std::string> keys;
  std::vector<std::string> values;
  RetrieveKeyValue(config_path.c_str(), name.c_str(), keys, values);
  for (std::size_t i = 0; i < std::min(keys.size(), values.size()); ++i) made->PutOption(keys[i], values[i]);
  return Keep(name, std::move(made));
}

void VexaDXConfigReader::RetrieveKeyValue(const char* path, const char* section,
                                          std::vector<std::string>& keys, std::vector<std::string>& values) {
  keys.clear();
  values.clear();
  const File file = OpenFile(path);
  if (file == nullptr || GotoSectionStart(file.get(), section) == 0) return;
  Line line;
  while (NextLineOfSection(file.get(), line)) {
    const std::size_t key_length = std::strcspn(line, "=");
    if (key_length == 0) continue;
    keys.emplace_back(line, key_length);
    values.emplace_back(line[key_length] == '=' ? line + key_length + 1 : "");
  }
}

XConfigOptions* VexaDXConfigReader::GetNGlobalOptions() {
  if (XConfigOptions* options = FindKept(VEXADXGLOBALSECTION)) return options;
  auto made = std::make_unique<XConfigOptions>(VEXADXGLOBALSECTION);
  for (const GlobalKey& global : kGlobalKeys) {
    std::string value = GetOption(global.section, global.key, "");
    trimSpace(value);  // again: a subclass's GetOption may not do it
    made->PutOption(global.key, value);
  }
  return Keep(VEXADXGLOBALSECTION, std::move(made));
}

XConfigOptions VexaDXConfigReader::GetGlobalOptions() { return *GetNGlobalOptions(); }

std::string VexaDXConfigReader::GlobalOption(const char* key) {
  XConfigOptions* options = GetNGlobalOptions();
  return options != nullptr ? options->GetOption(key) : std::string();
}

std::vector<std::string> VexaDXConfigReader::GetSupportLanguage() {
  return GetListFromDelims(GlobalOption(XConfigOptions::KEY_X), ";");
}

bool VexaDXConfigReader::IsSupportLanguage(std::string name) {
  if (name == "JAVAEXTENSION") return true;
  const std::vector<std::string> languages = GetSupportLanguage();
  return std::find(languages.begin(), languages.end(), name) != languages.end();
}

XConfigOptions* VexaDXConfigReader::FindKept(const std::string& name) {
  const std::lock_guard lock(kept_mutex);
  const auto found = kept.find(name);
  return found != kept.end() ? found->second.get() : nullptr;
}

XConfigOptions* VexaDXConfigReader::Keep(const std::string& name, std::unique_ptr<XConfigOptions> made) {
  const std::lock_guard lock(kept_mutex);
  return kept.try_emplace(name, std::move(made)).first->second.get();
}
