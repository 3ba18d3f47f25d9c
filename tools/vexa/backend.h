// A session with a backend: started with the options of the command line, its output shown as it comes, also
// while a call waits, and its waits given up at Ctrl-C. One at a time, as the library has it.
#ifndef BACKEND_H
#define BACKEND_H

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "command.h"
#include "descriptor.h"
#include "presenter.h"

// A directory of this session alone, which goes with it: for the fifos, unless the environment has a place
// for them.
class PrivateDirectory {
 public:
  PrivateDirectory();
  PrivateDirectory(const PrivateDirectory&) = delete;
  PrivateDirectory& operator=(const PrivateDirectory&) = delete;
  ~PrivateDirectory();
  const std::string& Path() const { return path; }
  std::string File(const std::string& name) const { return path + "/" + name; }

 private:
  std::string path;
};

// The options as the backend reads them, each behind a blank.
std::string OptionsText(const BackendOptions& options);

class Backend {
 public:
  Backend(const BackendOptions& options, Presenter& presenter);
  Backend(const Backend&) = delete;
  Backend& operator=(const Backend&) = delete;
  ~Backend();

  // Both show why they failed, and return the exit code that it means.
  int Start();
  int Stop();
  // Returns the code. What failed is shown, with the place in front.
  int Submit(const std::string& text, const std::string& place);
  // The exit code that a code of the library's means.
  static int ExitCode(int code);

  // Names what the calls that follow are about, for as long as this lives: shown when they take long.
  class Task {
   public:
    Task(Backend& backend, std::string title);
    Task(const Task&) = delete;
    Task& operator=(const Task&) = delete;
    ~Task();
    double Seconds() const;

   private:
    Backend& of;
    std::chrono::steady_clock::time_point start;
  };

  // Keeps a log of the requests for as long as the session lasts, where the options name none.
  void LogByDefault() {
    if (options.log.empty()) options.log = directory.File("requests.log");
  }
  const std::string& LogFile() const { return options.log; }
  // Its commands are SQL.
  bool TakesSql() const { return options.database.has_value(); }

 private:
  static int Look(void* backend);
  void ShowOutput();
  std::string CommandLine() const;
  void Fail(const std::string& place, int code);

  BackendOptions options;
  Presenter& shown;
  PrivateDirectory directory;
  Descriptor stream;
  std::string line_begun;  // of the stream
  bool stopping = false;   // which nothing gives up: it takes a few seconds at most
  bool broken = false;     // the backend is gone or busy, as was told
  std::string task;
  std::chrono::steady_clock::time_point task_start;
};

#endif
