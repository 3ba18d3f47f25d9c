#include "CleXDErrorCode.h"

#include <algorithm>
#include <iterator>

namespace {
constexpr int kBrokenPipe = 109;
}

bool CleXDErrorCode::IsPipeError(int code) { return code == kPeerClosed || code == kBrokenPipe; }

const char* CleXDErrorCode::MeaningOf(int code) {
  static constexpr struct {
    int code;
    const char* words;
  } kMeanings[] = {
      {kNoProcessObjects, "the objects of the process are not there"},
      {kIndexOutOfRange, "an index is out of range, or there is no case in hand"},
      {kBackendNotRunning, "no backend is running"},
      {kEndOfData, "the data ended"},
      {kWrongType, "a number was asked of a string variable, or a text of a number"},
      {kNumberOfString, "a number was read of a string variable, or a text has no width"},
      {kTextOfNumber, "a text was read of a number, or a number written to a string variable"},
      {kEndOfSplit, "the split ended"},
      {kUnknownDataset, "no such dataset in the data step"},
      {kNoStepOpen, "no data step is open"},
      {kNoActiveName, "the active dataset has no name"},
      {kRowOutOfRange, "the row is out of range"},
      {3001, "the block of Python raised an exception"},
      {3002, "the lines are not valid Python"},
      {3003, "there is no Python interpreter"},
      {kPeerClosed, "the backend is gone, or a message to it broke off"},
      {kPipeFailed, "a pipe failed"},
      {kPipeNameMissing, "a pipe has no name"},
      {kProcessNotAlive, "the process just started has ended"},
      {kLibraryUnusable, "the library of the language cannot be used"},
      {kNotInitialised, "the language was given lines before it was ready"},
      {kThreadNotStarted, "the thread of a run could not be started"},
      {kNoLibraryName, "the configuration names no library for the language"},
      {kUnknownCommand, "a command that the channel does not know"},
      {kUnsupportedLanguage, "the configuration does not name the language"},
      {kSocketNotOpened, "no socket, or no connection on it"},
      {kSocketFailed, "a socket failed"},
      {kJavaNotAlive, "the Java process just started has ended"},
      {kInterrupted, "the wait was given up, as the interrupt check asked"},
      {kRunUnderWay, "a block of the session before is still running in this process"},
      {kTooLarge, "a message over 2 GiB, or one that memory does not hold"},
      {kColumnRefused, "a column cannot be taken as it is"},
      {kPythonRefuses, "Python refused to begin the block"},
  };
  const auto* const found = std::find_if(std::begin(kMeanings), std::end(kMeanings),
                                         [code](const auto& each) { return each.code == code; });
  return found != std::end(kMeanings) ? found->words : nullptr;
}
