// A backend under trial: run and spoken to as the library does it, but byte by byte, and with a deadline for
// every step. What was said is kept as a record has it. It is ended, and its fifos go, with the object.
#ifndef DRIVEN_BACKEND_H
#define DRIVEN_BACKEND_H

#include <sys/types.h>

#include <string>
#include <vector>

#include "descriptor.h"
#include "frame.h"
#include "record.h"

struct Launch {
  std::vector<std::string> command;  // the program, and what stands in front of the driver's arguments
  std::string home, options;
  double within = 0;  // seconds, for each step
};

// What came back. A reply that is no whole message, or that never came, says why.
struct Heard {
  Frame frame;
  std::string why;
};

class DrivenBackend {
 public:
  // The directory is the caller's. The driver is the process that calls.
  DrivenBackend(const Launch& how, std::string directory_of_fifos);
  DrivenBackend(const DrivenBackend&) = delete;
  DrivenBackend& operator=(const DrivenBackend&) = delete;
  ~DrivenBackend();

  // The steps of a start, in order. Each says why it failed; empty for nothing.
  std::string Run();
  Heard AwaitFirst();
  std::string OpenRequests();
  // All of them; a first message with a code is a failure, too.
  std::string Start();

  Heard Ask(const Frame& request) { return AskBytes(ImageOf(request)); }
  Heard AskBytes(const std::string& bytes);
  std::string Send(const std::string& bytes);
  Heard Await(double seconds);
  void HangUp() { requests.Close(); }

  // How it ended, with what it said last; empty while it lives.
  std::string Ended();
  std::string AwaitEnd(double seconds);
  bool WasKilled() const { return killed; }  // by a signal
  pid_t Process() const { return process; }
  std::string RequestFifo() const { return level + "xdapi"; }
  std::string ReplyFifo() const { return level + "xdapiresult"; }
  const std::vector<RecordedFrame>& Said() const { return said; }

 private:
  bool AwaitBytes(std::size_t count, double end, std::string& bytes, std::string& why);
  void Note(bool sent, const std::string& bytes, bool whole);
  std::string LastWords() const;

  const Launch& launch;
  std::string directory, level;
  Descriptor requests, replies;
  pid_t process = -1;
  bool killed = false;
  std::string end_told;
  std::vector<RecordedFrame> said;
};

// Since some moment.
double Seconds();

#endif
