#include "JavaExtensionSmb.h"

#include <cstdlib>
#include <cstring>

bool JavaExtensionSmb::m_isPackage = true;
int JavaExtensionSmb::m_dataLen = 0;
std::string JavaExtensionSmb::m_extensionPath;
std::string JavaExtensionSmb::m_commandName;
void* JavaExtensionSmb::m_data = nullptr;

JavaExtensionSmb::JavaExtensionSmb() = default;

void JavaExtensionSmb::SetSendBuf(void* data) {
  void* copy = nullptr;
  if (data != nullptr && m_dataLen >= 0) {
    const auto length = static_cast<std::size_t>(m_dataLen);
    copy = std::malloc(length);
    if (copy != nullptr) std::memcpy(copy, data, length);
  }
  std::free(m_data);  // behind the copy: the bytes may be our own
  m_data = copy;
}

void* JavaExtensionSmb::GetSendBuf(int& length) const {
  length = m_dataLen;
  return m_data;
}

void JavaExtensionSmb::CleanUp() {
  std::free(m_data);
  m_data = nullptr;
  m_extensionPath.clear();
  m_commandName.clear();
  m_isPackage = true;
}
