// Modes, language and locale, the host application, settings: what is set is answered again.
#include "session.h"

namespace {

using Texts = std::span<const std::string>;

// A locale that is on every machine, and that the driver can take over.
constexpr const char* kLocale = "C.UTF-8";

template <int Settings::*... members>
int GetNumbers(Session& session, CleXDSmb&, CleXDSmb& reply) {
  (reply.SetLong(session.settings.*members), ...);
  return 0;
}

template <int Settings::*member>
int SetNumber(Session& session, CleXDSmb& request, CleXDSmb&) {
  const std::optional<int> value = LongArgument(request, 0);
  if (!value) return engine_code::kBadRequest;
  session.settings.*member = *value;
  return 0;
}

template <std::string Settings::*... members>
int GetTexts(Session& session, CleXDSmb&, CleXDSmb& reply) {
  (reply.SetString(session.settings.*members), ...);
  return 0;
}

template <std::string Settings::*... members>
int SetTexts(Session& session, Texts texts, CleXDSmb&) {
  std::vector<std::string> values(texts.begin(),
                                  texts.end());  // in one piece: there may be no room for a copy
  std::size_t next = 0;
  ((session.settings.*members = std::move(values[next++])), ...);
  return 0;
}

int Locale(Session&, CleXDSmb&, CleXDSmb& reply) {
  reply.SetString(kLocale);
  return 0;
}

// The files that the engine was started with, each behind the name of its option.
int FileHandles(Session& session, CleXDSmb&, CleXDSmb& reply) {
  const auto add = [&](const char* name, const std::string& path) {
    if (!path.empty()) reply.SetString(name + path);
  };
  for (const Backend::Setting& setting : session.backend.Settings()) {
    if (setting.is_file) add((setting.name + "=").c_str(), setting.value);
  }
  add("log=", session.options.log);
  add("output=", session.options.output);
  return 0;
}

// The second text, where there is one, is the answer for a setting that the engine does not know.
int Setting(Session& session, CleXDSmb& request, CleXDSmb& reply) {
  const std::string* name = TextArgument(request, 0);
  if (name == nullptr) return engine_code::kBadRequest;
  const struct {
    const char* name;
    const std::string& value;
  } settings[] = {{"output", session.options.output},
                  {"language", session.settings.output_language},
                  {"weight", session.Data().weight},
                  {"version", session.settings.host_version}};
  for (const auto& setting : settings) {
    if (*name != setting.name) continue;
    reply.SetString(setting.value);
    return 0;
  }
  for (const Backend::Setting& setting : session.backend.Settings()) {
    if (*name != setting.name) continue;
    reply.SetString(setting.value);
    return 0;
  }
  const std::string* otherwise = TextArgument(request, 1);
  if (otherwise == nullptr) RefuseName("setting", *name);
  reply.SetString(*otherwise);
  return 0;
}

int NestDepth(Session& session, CleXDSmb&, CleXDSmb& reply) {
  reply.SetLong(static_cast<long>(session.run_ends.size()));
  return 0;
}

constexpr ActionEntry kActions[] = {
    {Action::SetXDriveMode, SetNumber<&Settings::drive_mode>},
    {Action::GetXDriveMode, GetNumbers<&Settings::drive_mode, &Settings::mode>},
    {Action::SetMode, SetNumber<&Settings::mode>},
    {Action::GetQuillonServerMode, GetNumbers<&Settings::quillon_mode>},
    {Action::SetQuillonServerMode, SetNumber<&Settings::quillon_mode>},
    {Action::GetOutputLanguage, GetTexts<&Settings::output_language>},
    {Action::SetOutputLanguage, WithTexts<SetTexts<&Settings::output_language>, 1>},
    {Action::GetHostAppNameAndVersion, GetTexts<&Settings::host_name, &Settings::host_version>},
    {Action::SetHostAppNameAndVersion, WithTexts<SetTexts<&Settings::host_name, &Settings::host_version>, 2>},
    {Action::GetHostAppCopyright, GetTexts<&Settings::host_copyright>},
    {Action::SetHostAppCopyright, WithTexts<SetTexts<&Settings::host_copyright>, 1>},
    {Action::GetVEXALocale, Locale},
    {Action::GetCLocale, Locale},
    {Action::GetSetting, Setting},
    {Action::GetFileHandles, FileHandles},
    {Action::IsUTF8mode, Answer<1>},
    {Action::IsDistributedMode, Answer<0>},
    {Action::IsUseOrFilter, Answer<0>},
    {Action::GetNestDepth, NestDepth},
};

}  // namespace

std::span<const ActionEntry> SettingActions() { return kActions; }
