#include "last_error.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "CleXDErrorCode.h"
#include "reasons.h"
#include "vexaxd_p.h"

namespace {

struct Failure {
  int code = 0;
  const char* function = "";  // a literal
  bool of_this_call = false;
  std::string reason;
  std::string told;
};
thread_local Failure last;

constexpr struct {
  int code;
  const char* words;
} kMeanings[] = {
    {CleXDErrorCode::kNoProcessObjects, "the objects of the process are not there"},
    {CleXDErrorCode::kIndexOutOfRange, "an index is out of range, or there is no case in hand"},
    {CleXDErrorCode::kBackendNotRunning, "no backend is running"},
    {CleXDErrorCode::kEndOfData, "the data ended"},
    {CleXDErrorCode::kWrongType, "a number was asked of a string variable, or a text of a number"},
    {CleXDErrorCode::kNumberOfString, "a number was read of a string variable, or a text has no width"},
    {CleXDErrorCode::kTextOfNumber, "a text was read of a number, or a number written to a string variable"},
    {CleXDErrorCode::kEndOfSplit, "the split ended"},
    {CleXDErrorCode::kUnknownDataset, "no such dataset in the data step"},
    {CleXDErrorCode::kNoStepOpen, "no data step is open"},
    {CleXDErrorCode::kNoActiveName, "the active dataset has no name"},
    {CleXDErrorCode::kRowOutOfRange, "the row is out of range"},
    {3001, "the block of Python raised an exception"},
    {3002, "the lines are not valid Python"},
    {3003, "there is no Python interpreter"},
    {CleXDErrorCode::kPeerClosed, "the backend is gone, or a message to it broke off"},
    {CleXDErrorCode::kPipeFailed, "a pipe failed"},
    {CleXDErrorCode::kPipeNameMissing, "a pipe has no name"},
    {CleXDErrorCode::kProcessNotAlive, "the process just started has ended"},
    {CleXDErrorCode::kLibraryUnusable, "the library of the language cannot be used"},
    {CleXDErrorCode::kNotInitialised, "the language was given lines before it was ready"},
    {CleXDErrorCode::kThreadNotStarted, "the thread of a run could not be started"},
    {CleXDErrorCode::kNoLibraryName, "the configuration names no library for the language"},
    {CleXDErrorCode::kUnknownCommand, "a command that the channel does not know"},
    {CleXDErrorCode::kUnsupportedLanguage, "the configuration does not name the language"},
    {CleXDErrorCode::kSocketNotOpened, "no socket, or no connection on it"},
    {CleXDErrorCode::kSocketFailed, "a socket failed"},
    {CleXDErrorCode::kJavaNotAlive, "the Java process just started has ended"},
    {CleXDErrorCode::kInterrupted, "the wait was given up, as the interrupt check asked"},
    {CleXDErrorCode::kRunUnderWay, "a block of the session before is still running in this process"},
    {CleXDErrorCode::kTooLarge, "a message over 2 GiB, or one that memory does not hold"},
    {CleXDErrorCode::kPythonRefuses, "Python refused to begin the block"},
};

const char* MeaningOf(int code) {
  const auto* const found = std::find_if(std::begin(kMeanings), std::end(kMeanings),
                                         [code](const auto& each) { return each.code == code; });
  return found != std::end(kMeanings) ? found->words : "the backend refused";
}

}  // namespace

void BeginCall() noexcept {
  last.of_this_call = false;
  ForgetReasons();
}

int NoteFailure(int code, const char* function) noexcept try {
  const bool handed_on = last.of_this_call && last.code == code;
  std::string reason = TakeReason(code);
  if (!handed_on || !reason.empty()) last.reason = std::move(reason);
  last.code = code;
  last.function = function;
  last.of_this_call = true;
  return code;
} catch (...) {
  last.reason.clear();
  return code;
}

const char* VexaLastError() try {
  if (last.code == 0) return "";
  last.told =
      std::string(last.function) + ": " + MeaningOf(last.code) + " (" + std::to_string(last.code) + ")";
  if (!last.reason.empty()) last.told += ": " + last.reason;
  return last.told.c_str();
} catch (...) {
  return "no memory for the words of the last failure";
}
