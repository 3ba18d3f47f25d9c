// The codes that the library itself raises. Failure is a plain integer: 0 is success, anything else travels
// unchanged from where it arose to the caller. The backend's own codes come back in its replies and are
// handed on as they are, so the set of possible codes is open.
#ifndef CLEXDERRORCODE_H
#define CLEXDERRORCODE_H

#include "vexa_api.h"

class VEXA_API CleXDErrorCode {
 public:
  static constexpr int kSuccess = 0;
  static constexpr int kIndexOutOfRange = 10;    // a variable, a column, or no case in hand to read it from
  static constexpr int kBackendNotRunning = 17;  // also StartVexa without a bin/StartXD
  static constexpr int kWrongType = 24;  // a number asked of a string variable, or the other way round
  // Of the cells of a data step. Kept, crossed as they are: callers rely on them.
  static constexpr int kNumberOfString =
      56;  // a number read of a string variable, a text written with no width
  static constexpr int kTextOfNumber =
      57;  // a text read of a number; also a number written to a string variable
  static constexpr int kUnknownDataset = 87;  // not in the step
  static constexpr int kNoStepOpen = 89;
  static constexpr int kRowOutOfRange = 97;

  static constexpr int kPeerClosed = 99103;       // a read found every writer gone
  static constexpr int kPipeFailed = 99104;       // any other failure of a fifo
  static constexpr int kPipeNameMissing = 99106;  // an endpoint without a name
  static constexpr int kProcessNotAlive = 99107;  // the process just started has ended

  static constexpr int kNoProcessObjects = 1;     // of a language's creation: InitDxGlobal has not run
  static constexpr int kLibraryUnusable = 99114;  // the language's library does not load, or lacks a function
  static constexpr int kNotInitialised = 99115;   // the language was given lines too early
  static constexpr int kThreadNotStarted = 99116;     // of a run; also a run without a driver
  static constexpr int kNoLibraryName = 99118;        // the configuration names no library for the language
  static constexpr int kUnknownCommand = 99119;       // of the command channel
  static constexpr int kUnsupportedLanguage = 99120;  // the configuration does not name the language

  static constexpr int kSocketNotOpened = 99121;  // of the Java extension: no socket, or no connection
  static constexpr int kSocketFailed = 99122;     // any other failure of the socket
  static constexpr int kJavaNotAlive = 99123;     // the Java process just started has ended

  static constexpr int kInterrupted = 99124;  // the wait of a call was given up, as the interrupt check asked
  static constexpr int kRunUnderWay =
      99125;                               // a block of the session before is still running in this process
  static constexpr int kTooLarge = 99126;  // a message over 2 GiB, or one that memory does not hold
  static constexpr int kColumnRefused = 99127;  // a column that cannot be taken as it is, or cannot be made

  static constexpr int kPythonRefuses = 999988;  // in the place of a 1 with which PYTHON's pre_action refuses

  // The two codes by which the backend says that the data, or a split of it, ended. They can come with a last
  // block.
  static constexpr int kEndOfData = 23;
  static constexpr int kEndOfSplit = 67;
  // The backend's word that the active dataset has no name of its own.
  static constexpr int kNoActiveName = 93;

  // Whether a code means that the peer is gone: 99103, and 109, which nothing raises and callers may still
  // hand in. 99104 is deliberately none of them.
  static bool IsPipeError(int code);
  // In words for a person, without a period; null for a code that is not the library's.
  static const char* MeaningOf(int code);
};

#endif
