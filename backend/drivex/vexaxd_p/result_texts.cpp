#include "result_texts.h"

#include <cstring>

#include "CleXDErrorCode.h"
#include "session.h"
#include "vexaxd_p.h"

const char* KeepText(const std::string& text) {
  char* copy = NewText(text.substr(0, std::strlen(text.c_str())));
  delete[] stringResult;
  stringResult = copy;
  return stringResult;
}

char* NewText(const std::string& text) {
  char* copy = new char[text.size() + 1];
  std::memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

void ReleaseResultTexts() {
  delete[] stringResult;
  stringResult = nullptr;
}

int FreeString(void* text) {
  delete[] static_cast<char*>(text);
  return 0;
}

int FreeStringArray(void** array, int count) {
  if (!isVexaRunning) return CleXDErrorCode::kBackendNotRunning;
  if (count <= 0 || array == nullptr) return 0;
  for (int i = 0; i < count; ++i) delete[] static_cast<char*>(array[i]);
  delete[] array;
  return 0;
}
