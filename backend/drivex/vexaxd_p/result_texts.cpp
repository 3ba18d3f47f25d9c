#include "result_texts.h"

#include <cstring>
#include <cwchar>

#include "CleXDErrorCode.h"
#include "last_error.h"
#include "session.h"
#include "vexaxd_p.h"

std::string UpToZero(const std::string& text) { return text.substr(0, text.find('\0')); }

const char* KeepText(const std::string& text) {
  char* copy = NewText(UpToZero(text));
  delete[] stringResult;
  stringResult = copy;
  return stringResult;
}

char* NewText(const std::string& text) {
  char* copy = new char[text.size() + 1];
  std::memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

const wchar_t* KeepWideText(const wchar_t* text) {
  if (text == nullptr) text = L"";
  const std::size_t size = std::wcslen(text) + 1;
  auto* copy = new wchar_t[size];
  std::wmemcpy(copy, text, size);
  delete[] wstringResult;
  wstringResult = copy;
  return wstringResult;
}

void FreeTexts(char** texts, int count) {
  if (count <= 0 || texts == nullptr) return;
  for (int i = 0; i < count; ++i) delete[] texts[i];
  delete[] texts;
}

void ReleaseResultTexts() {
  delete[] stringResult;
  stringResult = nullptr;
  delete[] wstringResult;
  wstringResult = nullptr;
}

int FreeString(void* text) {
  delete[] static_cast<char*>(text);
  return 0;
}

int FreeStringArray(void** array, int count) {
  if (!isVexaRunning) return Failed(CleXDErrorCode::kBackendNotRunning);
  FreeTexts(reinterpret_cast<char**>(array), count);
  return 0;
}
