// XPath over the backend's output, images, settings, locale and the host.
#include <clocale>
#include <cstring>
#include <memory>

#include "call_frame.h"
#include "vexa_assert.h"
#include "vexaxd_p.h"

int CreateXPathDictionary(const char* handle) { return GuardedCall(Action::CreateXPathDictionary, handle); }

int RemoveXPathHandle(const char* handle) { return GuardedCall(Action::RemoveXPathHandle, handle); }

void* EvaluateXPath(const char* handle, const char* xpathText2, const char* xpathText3, int* errCode) {
  return ListCall(Action::EvaluateXPath, errCode, handle, xpathText2, xpathText3);
}

const wchar_t* GetXmlUtf16(const char* handle, int* errCode) {
  const wchar_t* text = nullptr;
  const auto keep = [&](ApiCall& call) { text = KeepWideText(call.reply().GetwStringData()); };
  StoreCode(errCode, DeliveringCall(Action::GetXmlUtf16, keep, handle));
  return text;
}

int GetXmlUtf16Length() { return LongCall(Action::GetXmlUtf16Length, 0, nullptr); }

// The binary string is handed on as it lies.
char* GetImage(const char* handle, const char* imageName, int* imageLength, char** imageText, int* errCode) {
  char* image = nullptr;
  const auto take = [&](ApiCall& call) {
    if (!call.Text(0).empty()) *imageText = NewText(call.Text(0));
    call.TakeResults(Out(imageLength));
    image = call.reply().TakeBinaryData();
  };
  StoreCode(errCode, DeliveringCall(Action::GetImage, take, handle, imageName));
  return image;
}

const char* GetSetting(const char* settingName, int* errCode, const char* settingText2) {
  return TextCall(Action::GetSetting, nullptr, errCode, settingName, settingText2);
}

void* GetOMSTagList(int* errCode) { return ListCall(Action::GetOMSTagList, errCode); }

void* GetHandleList(int* errCode) { return ListCall(Action::GetHandleList, errCode); }

void* GetFileHandles(int* errCode) {
  if (!isVexaRunning) {
    StoreCode(errCode, CleXDErrorCode::kBackendNotRunning);
    return nullptr;
  }
  return ListCall(Action::GetFileHandles, errCode);
}

void GetGraphic(const char* filePath) {
  VEXA_ASSERT(filePath);
  Call(Action::GetGraphic, Bytes(filePath, static_cast<int>(std::strlen(filePath))));
}

const char* GetVEXALocale(int* errCode) { return TextCall(Action::GetVEXALocale, nullptr, errCode); }

// This process takes over the backend's locale.
int GetCLocale(char** locale) {
  if (!isVexaRunning) return Failed(CleXDErrorCode::kBackendNotRunning);
  return DeliveringCall(Action::GetCLocale, [=](ApiCall& call) {
    if (call.reply().GetStringDataRef().Size() == 0) return;
    *locale = NewText(call.Text(0));
    std::setlocale(LC_ALL, *locale);
  });
}

int GetHostAppNameAndVersion(char** appName, char** appVersion) {
  if (!isVexaRunning) return Failed(CleXDErrorCode::kBackendNotRunning);
  return DeliveringCall(Action::GetHostAppNameAndVersion, [=](ApiCall& call) {
    StringData& sData = call.reply().GetStringDataRef();
    VEXA_ASSERT(sData.Size() == 2);
    std::unique_ptr<char[]> name(NewText(sData[0]));
    *appVersion = NewText(sData[1]);
    *appName = name.release();
  });
}

int GetHostAppCopyright(char** copyright) {
  if (!isVexaRunning) return Failed(CleXDErrorCode::kBackendNotRunning);
  return DeliveringCall(Action::GetHostAppCopyright, [=](ApiCall& call) {
    StringData& sData = call.reply().GetStringDataRef();
    VEXA_ASSERT(sData.Size() == 1);
    *copyright = NewText(sData[0]);
  });
}

int SetHostAppNameAndVersion(const char* appName, const char* appVersion) {
  return GuardedCall(Action::SetHostAppNameAndVersion, appName, appVersion);
}

int SetHostAppCopyright(const char* copyright) { return GuardedCall(Action::SetHostAppCopyright, copyright); }

int GetQuillonServerMode() {
  constexpr int kUnknown = -1;
  if (!isVexaRunning) return kUnknown;
  return LongCall(Action::GetQuillonServerMode, kUnknown, nullptr);
}

void SetQuillonServerMode(int mode) { GuardedCall(Action::SetQuillonServerMode, mode); }

bool IsDistributedMode() { return isVexaRunning && LongCall(Action::IsDistributedMode, 0, nullptr) != 0; }

int IsUseOrFilter(int* useFilter) { return GuardedCall(Action::IsUseOrFilter, Out(useFilter)); }
