#include "InpStatisticsX.h"

#include <cstdlib>
#include <mutex>
#include <set>
#include <string>

#include "CleXDErrorCode.h"
#include "DxTracer.h"
#include "PlugInDynamicLoadedLibrary.h"
#include "VexaDXConfigReader.h"
#include "XConfigOptions.h"
#include "dxglobals.h"
#include "guarded.h"
#include "reasons.h"

namespace {

// putenv keeps a pointer to its text. So none is ever freed, and one that is put again is the first one.
void PutEnvironment(const std::string& name, const std::string& value) {
  struct Texts {
    std::mutex mutex;
    std::set<std::string> kept;
  };
  static Texts* const texts = new Texts;
  const std::lock_guard lock(texts->mutex);
  putenv(const_cast<char*>(texts->kept.insert(name + "=" + value).first->c_str()));
}

template <class Function>
bool Find(PlugInDynamicLoadedLibrary& library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(library.GetSymbolAddress(name));
  return function != nullptr;
}

// Call a function of the language if there is one. `result` is the last result, and becomes the new one.
template <class... Parameters>
int Call(std::int32_t& result, int (*function)(Parameters...), Parameters... arguments) {
  if (function != nullptr) result = CodeOf([&] { return function(arguments...); });
  return result;
}
template <class Parameter>
void Call(void (*function)(Parameter), Parameter argument) {
  if (function != nullptr) CodeOf([&] { return function(argument), 0; });
}

}  // namespace

InpStatisticsX::InpStatisticsX(XConfigOptions* language_options, bool backendDrives)
    : StatisticsX(backendDrives), options(language_options) {
  loadXlib();
}

InpStatisticsX::~InpStatisticsX() {
  try {
    stop_embedded_x();
  } catch (...) {  // nobody is left to be told
  }
}

int InpStatisticsX::x_init_embedded_x(int argc, char** argv) {
  return Told(Call(last_result, functions.init_embedded_x, argc, argv));
}
int InpStatisticsX::x_execute_x(char* lines) { return Told(Call(last_result, functions.execute_x, lines)); }
int InpStatisticsX::x_stop_embedded_x() { return Call(last_result, functions.stop_embedded_x); }
int InpStatisticsX::x_pre_action() { return Told(Call(last_result, functions.pre_action)); }
int InpStatisticsX::x_post_action() { return Call(last_result, functions.post_action); }

void InpStatisticsX::x_setup_dxcallback(void* handle) { Call(functions.setup_dxcallback, handle); }
void InpStatisticsX::x_set_post_vexa_output(PostOutputFunction post) {
  Call(functions.set_post_vexa_output, post);
}

int InpStatisticsX::x_get_library_lock() { return 0; }
int InpStatisticsX::x_release_library_lock() { return 0; }

// Notes the language's own words on its code, or why there is none to ask.
int InpStatisticsX::Told(int code) const {
  if (code != 0 && !why_unusable.empty()) NoteReason(code, why_unusable);
  if (code == 0 || functions.last_error_x == nullptr) return code;
  CodeOf([&] {
    const char* const words = functions.last_error_x();
    if (words != nullptr && *words != '\0') NoteReason(code, words);
    return 0;
  });
  return code;
}

int InpStatisticsX::loadXlib() {
  if ((library != nullptr || OpenLibrary()) && last_result == 0) FindFunctions();
  return last_result;
}

bool InpStatisticsX::OpenLibrary() {
  const std::string& name = options->GetXLibName();
  if (name.empty()) {
    last_result = CleXDErrorCode::kNoLibraryName;
    why_unusable = "the section [" + options->XName() + "] of " +
                   VexaDXConfigReader::GetInstance()->ConfigPath() + " has no LIB_NAME";
    DxTrace("Configration file vexadxcfg.ini is invalid because the LIB_NAME is NULL.");
    return false;
  }
  // Ahead of the library, which may read them while it is loaded.
  for (const auto& [variable, value] : options->GetXEnvVars()) PutEnvironment(variable, value);
  const std::string path = PlugInDecorateDynamicPathName(std::string(GetVEXAHOME()) + "/lib/" + name);
  auto opened = std::make_unique<PlugInDynamicLoadedLibrary>(path, 0);
  if (opened->LoadLibraryNow() != 0) {
    last_result = CleXDErrorCode::kLibraryUnusable;
    why_unusable = path + " cannot be loaded: " + opened->GetErrorString();
    DxTrace("Load library from " + path + " failed.");
    return false;
  }
  library = std::move(opened);
  return true;
}

void InpStatisticsX::FindFunctions() {
  PlugInDynamicLoadedLibrary& from = *library;
  Find(from, "setup_dxcallback", functions.setup_dxcallback);
  bool complete = Find(from, "init_embedded_x", functions.init_embedded_x) &&
                  Find(from, "execute_x", functions.execute_x) &&
                  Find(from, "stop_embedded_x", functions.stop_embedded_x);
  if (complete) {
    Find(from, "last_error_x", functions.last_error_x);
    Find(from, "set_post_vexa_output", functions.set_post_vexa_output);
    complete =
        Find(from, "pre_action", functions.pre_action) && Find(from, "post_action", functions.post_action);
  }
  if (complete) return;
  last_result = CleXDErrorCode::kLibraryUnusable;
  why_unusable = "a function of the language is missing: " + from.GetErrorString();
  DxTrace(from.GetErrorString());
}
