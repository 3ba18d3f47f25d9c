// Syntax and output streams, the bracket of a procedure, modes, and the private copy of what a browser shows.
#include <cstdio>
#include <cstring>
#include <vector>

#include "call_frame.h"
#include "call_road.h"
#include "vexa_assert.h"
#include "vexaxd_p.h"

namespace {

// Exactly `length` bytes go out, zeros included.
int SendText(Asked asked, const char* text, int length) { return GuardedCall(asked, Bytes(text, length)); }

void WriteRecord(const char* text) {
  std::fputs(text, outputFile);
  std::fflush(outputFile);
}

}  // namespace

int Submit(const char* command, int length) { return SendText(Action::Submit, command, length); }

int QueueCommandPart(const char* command, int length) {
  return SendText(Action::QueueCommandPart, command, length);
}

int PostVexaOutput(const char* output, int length) {
  return SendText(Action::PostVexaOutput, output, length);
}

int StartProcedure(const char* name, const char* secondName) {
  const int code = GuardedCall(Action::StartProcedure, name, secondName != nullptr ? secondName : name);
  if (code == 0) isProcedure = true;
  return code;
}

int EndProcedure() {
  const int code = GuardedCall(Action::EndProcedure);
  if (code == 0) isProcedure = false;
  return code;
}

// Asks the backend, and demands an answer: every failure aborts.
int HasProcedure() {
  const NotInterrupted no_code_for_that;
  CleXDSmb request;
  request.SetCommandAction(Action::HasProcedure);
  VexaPipe* resultPipe = nullptr;
  int errCode = SendRequest(request, resultPipe);
  VEXA_ASSERT(0 == errCode);
  Reply reply;
  errCode = ReceiveXDApiResult(reply, resultPipe);
  VEXA_ASSERT(0 == errCode);
  LongData& longs = reply.GetLongDataRef();
  const int size = longs.Size();
  VEXA_ASSERT(size > 0);
  return longs[0];
}

int GetNestDepth(int* depth) { return GuardedCall(Action::GetNestDepth, Out(depth)); }

const char* TransCode(const char* source, int* errCode) {
  return TextCall(Action::TransCode, "", errCode, source);
}

const char* GetOutputLanguage(int* errCode) { return TextCall(Action::GetOutputLanguage, nullptr, errCode); }

void SetOutputLanguage(const char* language, int* errCode) {
  StoreCode(errCode, Call(Action::SetOutputLanguage, language));
}

int SetXDriveMode(int mode) { return GuardedCall(Action::SetXDriveMode, mode); }

int GetXDriveMode(int* mode, int* second) {
  if (!isVexaRunning) return Failed(CleXDErrorCode::kBackendNotRunning);
  ApiCall call(Action::GetXDriveMode);
  if (call.code() == 0) {
    const int size = call.reply().GetLongDataRef().Size();
    VEXA_ASSERT(size > 1);
    call.TakeResults(Out(mode), Out(second));
  }
  return call.code();
}

int SetMode(int mode) { return Call(Action::SetMode, mode); }

int IsUTF8mode() {
  ApiCall call(Action::IsUTF8mode);
  if (call.code() == 0) {
    const int size = call.reply().GetLongDataRef().Size();
    VEXA_ASSERT(size > 0);
  }
  return call.code() == 0 ? call.Long(0) : 0;
}

int SetRTempFolderToVEXA(const char* folder) {
  return CodeOf([=] { return rTempDir = folder != nullptr ? folder : "", 0; });
}

const char* GetRTempFolderToVEXA() { return rTempDir.c_str(); }

int SetRecordBrowserOutput(const char* path, bool enable) {
  if (OneBit(enable)) {
    if (outputFile == nullptr && path != nullptr) outputFile = std::fopen(path, "a+e");
  } else {
    CloseRecord();
  }
  return 0;
}

void RecordBrowserOutput(const char* text, unsigned long length,
                         int (*convert)(const char*, unsigned long, char*, unsigned long)) {
  constexpr std::size_t kRoomPerByte = 4;
  if (outputFile == nullptr || text == nullptr || length == 0) return;
  if (convert == nullptr || IsUTF8mode() == 0) return WriteRecord(text);
  CodeOf([=] {
    const std::size_t size = std::strlen(text) + 1;
    // One more: a conversion that fills its room stays a text.
    std::vector<char> converted(size * kRoomPerByte + 1);
    convert(text, size, converted.data(), size * kRoomPerByte);
    WriteRecord(converted.data());
    return 0;
  });
}
