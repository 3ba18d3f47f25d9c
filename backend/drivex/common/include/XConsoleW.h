// XConsoleW: a window for the interactive text of a language that has no terminal of its own. The window is
// xterm on the display that DISPLAY names, and runs <VEXA_HOME>/bin/RConsole, with which the object talks
// over a suit of pipes under the console's name. One message each way at a time:
//
//   to the console, on `syntax`         from it, on `syntaxresult`
//                                       any message: it is ready
//   a string: text to be shown          any message
//   773366: a line is to be read        a string: the line with its "\n"; empty at the end of input (Ctrl-D)
//   998800: it is to end                any message, and it ends
//
// A code is one of the five below, or one of the transport. One thread uses a console. No wait outlives the
// window, nor does the window outlive the object. A fork's copy of an object has no console.
#ifndef XCONSOLEW_H
#define XCONSOLEW_H

#include <sys/types.h>

#include <functional>
#include <memory>
#include <string>

#include "vexa_api.h"

class CleXDSmb;
class ErrorRelay;
class VexaPipe;
class XCmdArgument;

class VEXA_API XConsoleW {
 public:
  static constexpr int kGood = 0;
  static constexpr int kNotStarted = 1;
  static constexpr int kEndedAtStart =
      2;  // no display, no terminal, no bin/RConsole, a window closed at once
  static constexpr int kNoResultPipe = 3;
  static constexpr int kGone = 4;  // during a read
  // In words; null for any other code.
  static const char* MeaningOf(int code);

  static constexpr int kReadRequest = 773366;
  static constexpr int kStopRequest = 998800;

  // The console of the language whose name the process has. With true it is started, and the code dropped.
  explicit XConsoleW(bool startNow);
  XConsoleW(const XConsoleW&) = delete;
  XConsoleW& operator=(const XConsoleW&) = delete;
  // Stops it.
  ~XConsoleW();

  // Opens the window; one that is open stays as it is. Lasts a second or more. Asks the backend for its
  // output language and its encoding. The reason of a failure is noted.
  int StartConsole();
  // Closes the window, waits for it to end, and kills it if it has not within some seconds. The code is that
  // of the console's answer. 0 when it is not started.
  int StopConsole();
  // Shows `length` bytes. The code is that of the answer, 99103 where the text could not be sent.
  int WriteToConsole(const char* text, int length);
  // Waits until the user has entered a line, and copies up to `size` bytes of it. The rest is lost. No NUL of
  // its own goes behind it: the caller clears the buffer first. After kGone the console is closed, the buffer
  // begins with a NUL, and StartConsole may open another window.
  int ReadFromConsole(char* buffer, int size);

 private:
  int WhyItEnded(pid_t terminal);
  void PushCommand(XCmdArgument& arguments) const;
  void PushEnvironment(XCmdArgument& environment) const;
  void ForgetConsoleOfParent();
  bool HasPipes() const;
  bool TerminalAlive();
  void EndTerminal();
  int Exchange(CleXDSmb& message);
  int Receive(CleXDSmb& answer, const std::function<bool()>& peer_alive);
  void Close();

  bool started = false;
  std::string console_name;         // also the name of its suit of pipes
  VexaPipe* syntax_pipe = nullptr;  // the suit's; null when closed
  VexaPipe* result_pipe = nullptr;
  pid_t process_id = -1;               // the terminal, a child of ours, or -1
  pid_t owner;                         // whose child it is
  std::unique_ptr<ErrorRelay> errors;  // of the terminal
};

// The console of the callback table: made by the language's first use, null before and after a stop.
extern XConsoleW* gConsole;

#endif
