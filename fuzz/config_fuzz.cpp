// The input is a configuration file. Every operation that reads one is run over it, and its answers have to
// agree with each other; the sanitizers see to the rest.
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "VexaDXConfigReader.h"
#include "dxglobals.h"
#include "vexa_assert.h"

namespace {

constexpr std::size_t kMaxNames = 16;  // of a listing that are looked into; each costs a walk over the file

// A home directory of this process, removed at the end.
class Home {
 public:
  Home() : path_(std::filesystem::temp_directory_path() / "config_fuzz.XXXXXX") {
    VEXA_ASSERT(mkdtemp(path_.data()) != nullptr);
    std::filesystem::create_directory(path_ + "/bin");
    SetVEXAHOME(path_.c_str());
  }
  Home(const Home&) = delete;
  Home& operator=(const Home&) = delete;
  ~Home() { std::filesystem::remove_all(path_); }

  // Returns the path of the configuration file.
  std::string Write(const std::uint8_t* data, std::size_t size) const {
    const std::string path = path_ + "/bin/" + VEXADXCFGNAME;
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    VEXA_ASSERT(file.good());
    return path;
  }

 private:
  std::string path_;
};

// The first names of a listing in a buffer of exactly `size` bytes.
std::vector<std::string> List(const std::string& path, const char* section, std::size_t size) {
  std::vector<char> buffer(size);
  const auto used = static_cast<std::size_t>(
      PlugInConfigReader::GetPrivateProfileString(section, nullptr, "", buffer.data(), size, path.c_str()));
  VEXA_ASSERT(used == 0 || (used < size && buffer[used - 1] == '\0'));
  std::vector<std::string> names;
  for (std::size_t at = 0; at < used && names.size() < kMaxNames; at += names.back().size() + 1) {
    names.emplace_back(buffer.data() + at);
  }
  return names;
}

void ReadValue(const std::string& path, const char* section, const char* key, std::size_t size) {
  if (*section == '\0' || *key == '\0') return;  // would be a listing
  std::vector<char> buffer(size);
  const auto length = static_cast<std::size_t>(
      PlugInConfigReader::GetPrivateProfileString(section, key, "", buffer.data(), size, path.c_str()));
  VEXA_ASSERT(size == 0 ? length == 0 : length == std::string(buffer.data()).size());
}

void ReadOptions(VexaDXConfigReader& reader, const std::string& path, const std::string& name) {
  std::vector<std::string> keys;
  std::vector<std::string> values;
  reader.RetrieveKeyValue(path.c_str(), name.c_str(), keys, values);
  VEXA_ASSERT(keys.size() == values.size());

  XConfigOptions* const options = reader.GetOptions(name);
  VEXA_ASSERT(reader.GetOptions(name) == options && options->XName() == name);
  for (const auto& [key, value] : options->GetXEnvVars()) {
    VEXA_ASSERT(!key.empty() && !XConfigOptions::IsDefinedKey(key));
  }
  reader.SetXName(name);
  XConfigOptions copy = reader.GetOptions();
  VEXA_ASSERT(copy.GetXHome() == options->GetXHome() && copy.IsNestable() == options->IsNestable());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Home home;
  const std::string path = home.Write(data, size);
  VexaDXConfigReader reader;

  for (const std::string& language : reader.GetSupportLanguage())
    VEXA_ASSERT(reader.IsSupportLanguage(language));
  VEXA_ASSERT(reader.GetGlobalOptions().GetXEnvVars().empty());
  const std::size_t small = size % 9;      // cuts listings and values
  const std::size_t ample = 2 * size + 2;  // cuts none
  List(path, "", small);
  for (const std::string& section : List(path, "", ample)) {
    ReadOptions(reader, path, section);
    List(path, section.c_str(), small);
    for (const std::string& key : List(path, section.c_str(), ample)) {
      ReadValue(path, section.c_str(), key.c_str(), small);
      ReadValue(path, section.c_str(), key.c_str(), ample);
    }
  }
  return 0;
}
