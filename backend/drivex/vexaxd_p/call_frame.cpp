#include "call_frame.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "DxTracer.h"
#include "VexaDXConfigReader.h"
#include "call_road.h"
#include "child_process.h"
#include "dxglobals.h"
#include "language_creation.h"
#include "reasons.h"
#include "text.h"
#include "vexa_assert.h"
#include "xpipemanager.h"

namespace {

// What a reply lacks reads as.
constexpr std::int32_t kNoLong = 0;
constexpr double kNoDouble = 0.0;
const std::string kNoText;

template <class List, class Value>
const Value& Element(List& list, int index, const Value& missing) {
  return index < list.Size() ? list[index] : missing;
}

// A language that takes runs has a driver at each level, which opens it.
void OpenFirstLevel(XPipeSuit& suit) {
  if (nestability) CreateLanguageX(vexa_pipe_lang, false);
  if (suit.getIndex() < 0) suit.increaseIndex();
}

}  // namespace

int CodeOfException() {
  try {
    throw;
  } catch (const RowOutOfRange&) {
    return CleXDErrorCode::kRowOutOfRange;
  } catch (const std::exception&) {
    return CleXDErrorCode::kTooLarge;
  }
}

std::string ProcessIdText() {
  char text[16];
  std::snprintf(text, sizeof text, "%04x", static_cast<unsigned>(getpid()));
  return text;
}

void IntializeVexaDxTemp() {
  vexa_pipe_path = "/tmp/";
  for (const char* variable : {"VEXADXTEMP", "TEMP", "TMP", "tmp"}) {
    if (const char* directory = std::getenv(variable)) {
      vexa_pipe_path = directory;
      break;
    }
  }
  DecoratePathEnd(vexa_pipe_path);
}

void IntializePipeInfo() {
  NoteSessionOwner();
  if (!IsDXGlobalInit()) {
    IntializeVexaDxTemp();
    vexa_pipe_index = ProcessIdText();
    InitDxGlobal(vexa_pipe_path, vexa_pipe_index, vexa_pipe_lang, vexa_home);
    vexa_pipe_lang = GetXName();
  }
  if (vexa_pipe_lang.empty()) {
    vexa_pipe_lang = GetXName();
  } else {
    SetXName(vexa_pipe_lang);
  }
  XPipeSuit* const suit = GetXPipeManager()->getPipeSuit(vexa_pipe_lang);
  // Anew each time: a session may follow one of another language, whose levels are there still.
  nestability = VexaDXConfigReader::GetInstance()->IsSupportLanguage(vexa_pipe_lang);
  if (suit->getIndex() < 0) OpenFirstLevel(*suit);
  myPipeSuit = suit;
}

int GetXDApiPipes(VexaPipe** apiPipe, VexaPipe** resultPipe) {
  if (myPipeSuit == nullptr) IntializePipeInfo();
  VEXA_ASSERT(myPipeSuit);
  XPipes* pipes = myPipeSuit->getXPipes();
  *apiPipe = pipes->GetXDAPIPipe();
  *resultPipe = pipes->GetXDAPIResultPipe();
  if ((*resultPipe)->IsPipeCreated()) return 0;
  const int code = (*resultPipe)->CreatePipe();
  if (code == 0) (*resultPipe)->DisconnectPipe();
  DxTraceError((*resultPipe)->GetPipeName() + " created:", code);
  return code;
}

int SendXDApi(CleXDSmb& request, VexaPipe* xdApiPipe) {
  VEXA_ASSERT(xdApiPipe);
  const int code = xdApiPipe->IsWritePipeConnected()
                       ? 0
                       : xdApiPipe->OpenToWrite(CallPatience(CleXDErrorCode::kProcessNotAlive));
  return code != 0 ? code : SendOnRoad(*xdApiPipe, request, CallPatience(CleXDErrorCode::kPeerClosed));
}

int ReceiveXDApiResult(CleXDSmb& reply, VexaPipe* xdApiResultPipe) {
  myPipeSuit->getXPipes();
  VEXA_ASSERT(xdApiResultPipe);
  if (!xdApiResultPipe->IsWritePipeConnected()) xdApiResultPipe->ConnectPipe();
  if (!xdApiResultPipe->HasPipe()) {
    const int code = xdApiResultPipe->OpenToRead(CallPatience(CleXDErrorCode::kProcessNotAlive));
    if (code == CleXDErrorCode::kProcessNotAlive) xdApiResultPipe->ClosePipe();
    if (code == CleXDErrorCode::kInterrupted) OweReply(*xdApiResultPipe, {});
    if (code != 0) return code;
  }
  return ReceiveOnRoad(*xdApiResultPipe, reply, CallPatience(CleXDErrorCode::kPeerClosed));
}

int SendRequest(CleXDSmb& request, VexaPipe*& resultPipe) {
  BeginCall();
  VexaPipe* apiPipe = nullptr;
  GetXDApiPipes(&apiPipe, &resultPipe);
  while (XPipes* const owed = LevelOwed(*myPipeSuit)) {
    const int code = SettleDebts(*owed->GetXDAPIPipe(), *owed->GetXDAPIResultPipe());
    if (code != 0) return code;
    GetXDApiPipes(&apiPipe, &resultPipe);
  }
  const int code = SettleDebts(*apiPipe, *resultPipe);
  return code != 0 ? code : SendXDApi(request, apiPipe);
}

// What a language in this process met is nearer to the cause than the backend's word on it.
void NoteWordsOf(CleXDSmb& reply, int code) {
  StringData& texts = reply.GetStringDataRef();
  if (texts.Size() == 0 || texts[0].empty()) return;
  const std::string met_here = TakeReason(code);
  NoteReason(code, met_here.empty() ? texts[0] : met_here);
}

int Exchange(Action action, CleXDSmb& request, CleXDSmb& reply) {
  request.SetCommandAction(action);
  VexaPipe* resultPipe = nullptr;
  const int sent = SendRequest(request, resultPipe);
  // A failed pipe shows in the read, which tells a dead peer from a living one. What never went out has no
  // reply.
  if (sent != 0 && sent != CleXDErrorCode::kPipeFailed && sent != CleXDErrorCode::kProcessNotAlive)
    return sent;
  // Nor has what found no fifo to go into: a backend of ours that lives would be waited for without end.
  if (sent == CleXDErrorCode::kPipeFailed && !myPipeSuit->getXPipes()->GetXDAPIPipe()->HasPipe() &&
      processId != -1 && BackendAlive())
    return Because(sent, myPipeSuit->getXPipes()->GetXDAPIPipe()->GetPipeName(), " cannot be opened");
  int code = ReceiveXDApiResult(reply, resultPipe);
  if (code == 0) code = reply.GetErrorCode();
  if (code != 0) NoteWordsOf(reply, code);
  return code;
}

bool OneBit(const bool& flag) {
  // Read as a byte: of a bool the compiler would take it for granted that it is 0 or 1.
  const volatile unsigned char& byte = reinterpret_cast<const volatile unsigned char&>(flag);
  return (byte & 1) != 0;
}

std::int32_t ApiCall::Long(int index) { return Element(reply_block.GetLongDataRef(), index, kNoLong); }

double ApiCall::Double(int index) { return Element(reply_block.GetDoubleDataRef(), index, kNoDouble); }

void AddArgument(CleXDSmb& request, EachLong numbers) {
  for (int i = 0; numbers.values != nullptr && i < numbers.count; ++i) request.SetLong(numbers.values[i]);
}

void AddArgument(CleXDSmb& request, TextList list) {
  StringData texts;
  for (int i = 0; list.texts != nullptr && i < list.count; ++i) {
    if (list.texts[i] != nullptr) texts.SetValue(list.texts[i]);
  }
  request.SetStringArray(texts);
}

void AddArgument(CleXDSmb& request, VoidCopy block) {
  int filled = 0;
  request.AllocVoidData(block.size);
  if (request.GetVoidData(filled) == nullptr) throw std::bad_alloc();
  if (block.data != nullptr) request.SaveDataIntoVoidData(block.data, block.size);
}

const std::string& ApiCall::Text(int index) {
  return Element(reply_block.GetStringDataRef(), index, kNoText);
}

int ApiCall::ListSize(int list) {
  std::vector<StringData>& lists = reply_block.GetStringArrayRef();
  return list < static_cast<int>(lists.size()) ? lists[static_cast<std::size_t>(list)].Size() : 0;
}

const std::string& ApiCall::ListText(int list, int index) {
  return index < ListSize(list) ? reply_block.GetStringArrayRef()[static_cast<std::size_t>(list)][index]
                                : kNoText;
}

void ApiCall::Take(Out<int> out) {
  const std::int32_t value = Long(longs_taken++);
  if (out.target != nullptr) *out.target = value;
}

void ApiCall::Take(Out<double> out) {
  const double value = Double(doubles_taken++);
  if (out.target != nullptr) *out.target = value;
}

void ApiCall::Take(OutUnit out) {
  const std::string& text = Text(texts_taken++);
  if (out.target != nullptr) std::strncpy(out.target, text.c_str(), 8);
}
