// The frame of every client function: one numbered request, one reply.
//
// The arguments of a call, in their order, are its request; order counts within a type and not between types.
// So a function reads like its line of the interface:
//
//   int GetVariableFormatType(int index, int* type, int* width, int* decimals) {
//     return GuardedCall(Action::GetVariableFormatType, index, Out(type), Out(width), Out(decimals));
//   }
//
// Integers add a long, numbers a double, a text a string (a null text adds nothing). Out adds nothing and
// takes the next element of its type from the reply, on success only; an element that the reply lacks reads
// as 0, 0.0 or the empty text. Whatever else does not compile. Every exchange of the library goes through
// Exchange.
#ifndef CALL_FRAME_H
#define CALL_FRAME_H

#include <cstdint>
#include <exception>
#include <limits>
#include <string>

#include "CleXDErrorCode.h"
#include "CleXDSmb.h"
#include "VexaPipe.h"
#include "last_error.h"
#include "reply.h"
#include "result_texts.h"
#include "session.h"
#include "string_list.h"

using Action = CleXDSmb::CommandAction;

// A request's number, and the function of the interface that asks, whose failure it may be.
struct Asked {
  Asked(Action action_, const char* function_ = __builtin_FUNCTION())  // NOLINT: an action stands for both
      : action(action_), function(function_) {}
  Action action;
  const char* function;
};

// The two pipes of the current nesting level, found on the first call; makes the fifo that this side reads.
// The code of making it, or 0.
int GetXDApiPipes(VexaPipe** apiPipe, VexaPipe** resultPipe);
// Open their end first where it is closed. Where the backend is a child of ours and ends before it opened the
// other end, they give 99107.
int SendXDApi(CleXDSmb& request, VexaPipe* xdApiPipe);
int ReceiveXDApiResult(CleXDSmb& reply, VexaPipe* xdApiResultPipe);
// Sends the request behind whatever the last exchange left undone, and finds the pipe of its reply. 99103 and
// 99124: see call_road.h.
int SendRequest(CleXDSmb& request, VexaPipe*& resultPipe);

// Fills vexa_pipe_path from the first of VEXADXTEMP, TEMP, TMP, tmp that exists, even if it is empty; else
// "/tmp/".
void IntializeVexaDxTemp();
// Makes the process-wide objects unless the process has them, finds the suit and opens level 0.
void IntializePipeInfo();
// This process's id as the fifos' names have it.
std::string ProcessIdText();

// Sends the request and receives the reply. The read is tried whether the pipe took the request or not, and
// its code counts; a request that could not be built or was given up gives its own. What the backend says to
// its code is noted as the reason.
void NoteWordsOf(CleXDSmb& reply, int code);
int Exchange(Action action, CleXDSmb& request, CleXDSmb& reply);

// The question or its answer did not come through. A loop of questions ends with it.
inline bool NotReached(int code) {
  return code == CleXDErrorCode::kPeerClosed || code == CleXDErrorCode::kPipeFailed ||
         code == CleXDErrorCode::kProcessNotAlive || code == CleXDErrorCode::kInterrupted ||
         code == CleXDErrorCode::kTooLarge;
}

// --- No exception leaves the library ---

// A row that the wire's 32 bits do not hold, and that would go out as another one.
struct RowOutOfRange : std::exception {};
inline bool FitsWire(long row) {
  return row >= std::numeric_limits<std::int32_t>::min() && row <= std::numeric_limits<std::int32_t>::max();
}

// The code of whatever is being thrown: as a rule memory has run out.
int CodeOfException();

// Runs it, and returns its code, noted as the failure of that function unless it is 0.
template <class Work>
int CodeOf(Work work, const char* function = __builtin_FUNCTION()) noexcept {
  int code;
  try {
    code = work();
  } catch (...) {
    code = CodeOfException();
  }
  return Failed(code, function);
}

// --- What may cross the wire ---

// A flag by its lowest bit, whatever else the caller's language put into the byte.
bool OneBit(const bool& flag);

template <class T>
struct Out {
  explicit Out(T* target_) : target(target_) {}
  T* target;  // null: the element is passed over
};

// Eight bytes of text, padded with NULs, not terminated when the text fills them.
struct OutUnit {
  explicit OutUnit(char* target_) : target(target_) {}
  char* target;
};

// A flag goes out as 0 or 1.
struct Flag {
  explicit Flag(const bool& flag) : value(OneBit(flag) ? 1 : 0) {}
  long value;
};

// Exactly `length` bytes, zeros included.
struct Bytes {
  Bytes(const char* bytes_, int length_) : bytes(bytes_), length(length_) {}
  const char* bytes;
  int length;
};

// Numbers of the caller's, each as a long.
struct EachLong {
  EachLong(const int* values_, int count_) : values(values_), count(count_) {}
  const int* values;
  int count;
};

// Texts of the caller's as one list of the string array; null texts add nothing.
struct TextList {
  TextList(const char* const* texts_, int count_) : texts(texts_), count(count_) {}
  const char* const* texts;
  int count;
};

// The void block: a copy of the bytes.
struct VoidCopy {
  VoidCopy(const void* data_, int size_) : data(data_), size(size_) {}
  const void* data;
  int size;
};

inline void AddArgument(CleXDSmb& request, int value) { request.SetLong(value); }
inline void AddArgument(CleXDSmb& request, long row) {
  if (!FitsWire(row)) throw RowOutOfRange();
  request.SetLong(row);
}
inline void AddArgument(CleXDSmb& request, double value) { request.SetDouble(value); }
inline void AddArgument(CleXDSmb& request, const char* text) { request.SetString(text); }
inline void AddArgument(CleXDSmb& request, Flag flag) { request.SetLong(flag.value); }
inline void AddArgument(CleXDSmb& request, Bytes text) { request.SetString(text.bytes, text.length); }
void AddArgument(CleXDSmb& request, EachLong numbers);
void AddArgument(CleXDSmb& request, TextList list);
void AddArgument(CleXDSmb& request, VoidCopy block);
template <class T>
void AddArgument(CleXDSmb&, Out<T>) {}
inline void AddArgument(CleXDSmb&, OutUnit) {}
template <class T>
void AddArgument(CleXDSmb&, T) = delete;

// --- One exchange with its reply ---

class ApiCall {
 public:
  // Does the whole exchange.
  template <class... Arguments>
  explicit ApiCall(Asked asked, Arguments... arguments) {
    status = CodeOf(
        [&] {
          (AddArgument(request, arguments), ...);
          return Exchange(asked.action, request, reply_block);
        },
        asked.function);
  }

  int code() const { return status; }
  Reply& reply() { return reply_block; }

  // Element `index` of a list of the reply; 0, 0.0 or "" when the reply lacks it.
  std::int32_t Long(int index);
  double Double(int index);
  const std::string& Text(int index);
  // The list of texts `list`: its size, 0 when the reply lacks it, and its element `index`.
  int ListSize(int list);
  const std::string& ListText(int list, int index);

  // Fill the targets in order, each type counting for itself.
  template <class... Arguments>
  void TakeResults(Arguments... arguments) {
    (Take(arguments), ...);
  }

 private:
  template <class T>
  void Take(T) {}
  void Take(Out<int> out);
  void Take(Out<double> out);
  void Take(OutUnit out);

  CleXDSmb request;
  Reply reply_block;
  int status;
  int longs_taken = 0;
  int doubles_taken = 0;
  int texts_taken = 0;
};

// --- The result styles ---

inline void StoreCode(int* errCode, int code) {
  if (errCode != nullptr) *errCode = code;
}

// Returns the status, with no look at whether a backend runs.
template <class... Arguments>
int Call(Asked asked, Arguments... arguments) {
  ApiCall call(asked, arguments...);
  if (call.code() == 0) call.TakeResults(arguments...);
  return call.code();
}

// Refuses with 17 and sends nothing while no backend runs.
template <class... Arguments>
int GuardedCall(Asked asked, Arguments... arguments) {
  if (!isVexaRunning) return Failed(CleXDErrorCode::kBackendNotRunning, asked.function);
  return Call(asked, arguments...);
}

// Returns the first long, stores the status. `failure` is the value on failure.
template <class... Arguments>
int LongCall(Asked asked, int failure, int* errCode, Arguments... arguments) {
  ApiCall call(asked, arguments...);
  StoreCode(errCode, call.code());
  return call.code() == 0 ? call.Long(0) : failure;
}

// Does the exchange and then `deliver` with it, where that went well. The code of both.
template <class Deliver, class... Arguments>
int DeliveringCall(Asked asked, Deliver deliver, Arguments... arguments) {
  ApiCall call(asked, arguments...);
  return call.code() != 0 ? call.code() : CodeOf([&] { return deliver(call), 0; }, asked.function);
}

// Returns the first text through stringResult, stores the status. `failure` is the text on failure.
template <class... Arguments>
const char* TextCall(Asked asked, const char* failure, int* errCode, Arguments... arguments) {
  const char* text = failure;
  const auto keep = [&](ApiCall& call) { text = KeepText(call.Text(0)); };
  StoreCode(errCode, DeliveringCall(asked, keep, arguments...));
  return text;
}

// Returns the texts of the reply as a string list handle, stores the status. Null on failure.
template <class... Arguments>
void* ListCall(Asked asked, int* errCode, Arguments... arguments) {
  void* list = nullptr;
  const auto take = [&](ApiCall& call) { list = NewStringList(call.reply().GetStringDataRef()); };
  StoreCode(errCode, DeliveringCall(asked, take, arguments...));
  return list;
}

#endif
