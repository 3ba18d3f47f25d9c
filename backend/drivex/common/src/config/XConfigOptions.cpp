#include "XConfigOptions.h"

#include <algorithm>
#include <atomic>
#include <iterator>

namespace {

// A variable whose value holds its own reference would be expanded for ever. No line holds more than 1,023
// references, and a Linux process can be given no variable over 128 KiB: what stays within both loses
// nothing.
constexpr int kMaxReplacements = 1024;
constexpr std::size_t kMaxExpandedLength = 128 * 1024;

constexpr const char* keyDic[] = {
    XConfigOptions::KEY_LIB_NAME,
    XConfigOptions::KEY_HOME,
    XConfigOptions::KEY_ARGS,
    XConfigOptions::KEY_X,
    XConfigOptions::KEY_VEXADX_VERSION,
    XConfigOptions::KEY_VEXADX_VERSION_MAJOR,
    XConfigOptions::KEY_VEXADX_VERSION_MINOR,
    XConfigOptions::KEY_VEXADX_VERSION_PATCH,
    XConfigOptions::KEY_VEXADX_VERSION_BUGFIX,
    XConfigOptions::KEY_TRACE,
    XConfigOptions::KEY_INNER_PROCESS,
    XConfigOptions::KEY_NESTABLE,
    XConfigOptions::KEY_WORK_ON_32,
    XConfigOptions::KEY_EXTERNAL_RUNTIME,
};

using ExpandFunction = bool (*)(const std::string& in, std::string& out);
constinit std::atomic<ExpandFunction> my_ExpandEnvStr = nullptr;

}  // namespace

XConfigOptions::XConfigOptions(const std::string& name) : xname(name) {}
XConfigOptions::XConfigOptions(const XConfigOptions& other) = default;
XConfigOptions& XConfigOptions::operator=(const XConfigOptions& other) = default;
XConfigOptions::~XConfigOptions() = default;

std::string& XConfigOptions::GetOption(const std::string& key) { return options[key]; }

void XConfigOptions::PutOption(const std::string& key, const std::string& value) {
  options[key] = value;
  if (IsDefinedKey(key)) return;
  std::string expanded;
  ExpandEnvVars(value, expanded);
  environment[key] = expanded;
}

bool XConfigOptions::IsDefinedKey(const std::string& key) {
  return std::find(std::begin(keyDic), std::end(keyDic), key) != std::end(keyDic);
}

bool XConfigOptions::ExpandEnvVars(const std::string& in, std::string& out) {
  out = in;
  for (int replaced = 0; replaced < kMaxReplacements && ReplaceFirstReference(out);) ++replaced;
  return ExpandEnvStr(out, out);
}

// False, with nothing changed, when the first "$" begins no reference that can be replaced.
bool XConfigOptions::ReplaceFirstReference(std::string& text) {
  const std::size_t start = text.find('$');
  if (start == std::string::npos || start + 1 == text.size()) return false;
  const bool braced = text[start + 1] == '{';
  const std::size_t name = start + (braced ? 2 : 1);
  const std::size_t end = text.find(braced ? '}' : '/', name);
  if (end == std::string::npos) return false;
  std::string value;
  if (!FindUserEnv(text.substr(name, end - name), value)) return false;
  const std::size_t length = end + (braced ? 1 : 0) - start;
  if (text.size() - length + value.size() > kMaxExpandedLength) return false;
  text.replace(start, length, value);
  return true;
}

bool XConfigOptions::FindUserEnv(const std::string& name, std::string& value) {
  const auto found = environment.find(name);
  if (found == environment.end()) return false;
  value = found->second;
  return true;
}

const std::string& XConfigOptions::GetXHome() {
  if (HasJNIHost()) GetInfoFromJNI(KEY_HOME);
  return GetOption(KEY_HOME);
}

const std::string& XConfigOptions::GetXLibName() {
  if (HasJNIHost()) GetInfoFromJNI(KEY_LIB_NAME);
  return GetOption(KEY_LIB_NAME);
}

void XConfigOptions::GetInfoFromJNI(const std::string&) {}

bool XConfigOptions::HasJNIHost() const { return xname == "R" || xname.find("PYTHON") != std::string::npos; }

bool XConfigOptions::IsNestable() { return IsSet(KEY_NESTABLE) || xname == "PYTHON"; }

bool XConfigOptions::IsExternalRuntime() {
  GetInfoFromJNI(KEY_EXTERNAL_RUNTIME);
  return IsSet(KEY_EXTERNAL_RUNTIME);
}

void SetExpandEnvStr(ExpandFunction expand) { my_ExpandEnvStr = expand; }

bool ExpandEnvStr(const std::string& in, std::string& out) {
  if (const ExpandFunction expand = my_ExpandEnvStr) return expand(in, out);
  out = in;
  return false;
}
