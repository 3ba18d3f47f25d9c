#include "dxcallback.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <iterator>
#include <string>
#include <utility>

#include "DxTracer.h"
#include "SyncSyntaxBuffer.h"
#include "VexaDXConfigReader.h"
#include "XConsoleW.h"
#include "dxglobals.h"
#include "last_error.h"
#include "vexaxd_p.h"
#include "xpipemanager.h"

namespace {

constexpr int kLineTooLong = 1;

// Tells the reader that the block is over. It never reaches the language.
const char* const kEndMarker = "*%#SYNTAX_F_I_N_#%*";
// A line with this text leads to a nested run, wherever in the line it stands.
const char* const kSubmit = "vexapkg.Submit";

int DX_AppMode() { return GetAppMode(); }

int DX_IsUTF8mode() { return IsUTF8mode(); }

const char* DX_GetDXVersion() {
  // Never destroyed: a language may keep the pointer until the process ends.
  static const std::string& ver = *new std::string(VexaDXConfigReader::GetInstance()->GetVersion());
  return ver.c_str();
}

const char* DX_GetDXTempDir() {
  XPipeManager* const manager = GetXPipeManager();
  return manager != nullptr ? manager->getPipePath().c_str() : "";
}

int DX_GetNestLevel() {
  XPipeManager* const manager = GetXPipeManager();
  return manager != nullptr ? manager->getPipeSuit(GetXName())->getIndex() : -1;
}

void DX_Trace(const char* text) {
  if (text != nullptr) DxTrace(text);
}

// Whether the nest layer has fallen since it was noted last, and left text for the outer block. Kept: the
// layer chooses the text, and the last one goes.
bool TakeQueuedText(std::string& queued) {
  const std::int32_t layer = gCurNestLayer;
  if (gOriNestLayer <= layer) return false;
  gOriNestLayer = layer;
  const std::lock_guard lock(gSyntaxListMutex);
  const auto at = static_cast<std::size_t>(layer);
  if (at >= gSyntaxList.size()) return false;
  queued = gSyntaxList[at];
  gSyntaxList.pop_back();
  return true;
}

int DX_GetSyntaxLine(char* buffer, int size) {
  const std::size_t room = static_cast<std::size_t>(std::max(size, 0));
  int result = 0;
  for (bool repeat = true; repeat;) {
    gSyntaxBuffer.WaitCommand();
    const std::string& line = gSyntaxBuffer.GetSyntax();  // stays until the response
    repeat = line == kEndMarker;
    std::string queued;
    bool nested = false;
    if (!repeat) {
      std::memset(buffer, 0, room);
      if (line.size() > room) {
        result = kLineTooLong;
      } else {
        std::memcpy(buffer, line.c_str(),
                    line.size() + 1);  // the NUL of a line that fills the room stands behind it
      }
      // Looked at here, ahead of the response: a nested run that this very line leads to may be over before
      // the writer is awake.
      nested = TakeQueuedText(queued);
    }
    gSyntaxBuffer.SetSyntax(std::move(queued));
    gSyntaxBuffer.SetResult(nested ? 1 : 0);
    gSyntaxBuffer.SignalResponse();
  }
  return result;
}

// Returns when the reader has taken the text, not when it has done the work. True with what nested runs left
// until then, to be run before what follows.
bool HandOver(const std::string& text, std::string& queued) {
  SyncSyntaxWriter writer(gSyntaxBuffer);
  gSyntaxBuffer.SetSyntax(text);
  if (writer.Exchange() != 1) return false;
  queued = gSyntaxBuffer.GetSyntax();
  return true;
}

int DX_SetSyntax(const char* lines) {
  std::string text = lines != nullptr ? lines : "";
  if (text.empty() || text.back() != '\n') text += '\n';
  gOriNestLayer = gCurNestLayer.load();
  if (gCurNestLayer > 0) {
    // A nested block: the outer one, which runs, takes it up.
    const std::lock_guard lock(gSyntaxListMutex);
    gSyntaxList.push_back(text);
    return 0;
  }
  std::string queued;
  while (!text.empty()) {
    const std::string line = text.substr(0, text.find('\n') + 1);
    if (HandOver(line, queued)) {
      text.insert(0, queued);  // kept: the line is not cut, and comes a second time
      continue;
    }
    // Behind a line that leads to a nested run its own "\n" follows as a line: there the writer waits
    // meanwhile, and it is what comes twice.
    const bool submits = line.find(kSubmit) != std::string::npos;
    text.erase(0, submits ? line.size() - 1 : line.size());
  }
  HandOver(kEndMarker, queued);  // taken when the language comes back for a line: it has done the last one
  return 0;
}

int ConsoleFailed(int code, const char* function) {
  return code == XConsoleW::kGood ? code : NoteFailure(code, function, XConsoleW::MeaningOf(code));
}

int DX_StartConsole() {
  if (gConsole == nullptr) gConsole = new XConsoleW(false);
  return ConsoleFailed(gConsole->StartConsole(), "StartConsole");
}

int DX_StopConsole() {
  if (gConsole == nullptr) return XConsoleW::kGood;
  const int code = gConsole->StopConsole();
  delete std::exchange(gConsole, nullptr);
  return code;
}

// Kept: only where there is no console is one started. One whose start failed answers that it is not started.
int DX_WriteToConsole(const char* text, int length) {
  if (gConsole == nullptr) {
    const int code = DX_StartConsole();
    if (code != XConsoleW::kGood) return code;
  }
  return ConsoleFailed(gConsole->WriteToConsole(text, length), "WriteToConsole");
}

int DX_ReadFromConsole(char* buffer, int size) {
  const int code = gConsole != nullptr ? gConsole->ReadFromConsole(buffer, size) : XConsoleW::kNotStarted;
  return ConsoleFailed(code, "ReadFromConsole");
}

void DX_RecordBrowserOutput(const char* text, unsigned long length,
                            int (*convert)(const char*, unsigned long, char*, unsigned long)) {
  RecordBrowserOutput(text, length, convert);
}

int DX_PostVexaOutput(const char* text, int length) { return PostVexaOutput(text, length); }

int DX_IncreaseNestLayer() { return ++gCurNestLayer; }

void DX_DecreaseNestLayer() {
  std::int32_t layer = gCurNestLayer;
  while (layer > 0 && !gCurNestLayer.compare_exchange_weak(layer, layer - 1)) continue;
}

// What a language calls: no exception passes through its frames.
template <auto Function>
struct Entry;
template <class Result, class... Arguments, Result (*Function)(Arguments...)>
struct Entry<Function> {
  static Result Call(Arguments... arguments) {
    try {
      return Function(arguments...);
    } catch (const std::exception&) {
      return Result();
    }
  }
};

template <auto Function>
void* Address() {
  return reinterpret_cast<void*>(&Entry<Function>::Call);
}

}  // namespace

void* CreateDXCallBackHandle() {
  void* const entries[] = {Address<DX_AppMode>(),
                           Address<DX_IsUTF8mode>(),
                           Address<DX_GetDXVersion>(),
                           Address<DX_GetDXTempDir>(),
                           Address<DX_GetNestLevel>(),
                           Address<DX_Trace>(),
                           Address<DX_GetSyntaxLine>(),
                           Address<DX_SetSyntax>(),
                           Address<DX_StartConsole>(),
                           Address<DX_StopConsole>(),
                           Address<DX_WriteToConsole>(),
                           Address<DX_ReadFromConsole>(),
                           Address<DX_RecordBrowserOutput>(),
                           Address<DX_PostVexaOutput>(),
                           Address<DX_IncreaseNestLayer>(),
                           Address<DX_DecreaseNestLayer>()};
  static void** const handle = [&] {
    void** const table = new void*[std::size(entries)];
    std::copy(std::begin(entries), std::end(entries), table);
    return table;
  }();
  // Filled anew where somebody wrote into it, and left alone otherwise: a language may be reading it.
  if (!std::equal(std::begin(entries), std::end(entries), handle)) {
    std::copy(std::begin(entries), std::end(entries), handle);
  }
  return handle;
}
