// OutpStatisticsX: a language in a process of its own, which this object starts, feeds and stops. It lives in
// the process that drives, the backend's. There are three kinds of language:
//
//   kind             the program                  how a block travels
//   named "R"        <HOME>/bin/R                 each line to its standard input; the line is done when its
//                                                 standard output shows the next prompt
//   Java extension   <VEXA_HOME>/JRE/bin/java     one message on the process's Java socket; done when the
//                                                 program ends
//   any other        <VEXA_HOME>/bin/startx       one message on `syntax`, between two commands on the
//                                                 command channel; the answer on `syntaxresult`
//
// A started process belongs to the object: no wait for it outlives it, and it does not outlive the object.
// The thread that runs the block is the one user. Stopping a language does not wait for its process to end;
// the destructor does, for some seconds, and then kills it. One that does not answer the stop in that time is
// killed there. A fork's copy of the object has no process, and does nothing to its parent's.
#ifndef OUTPSTATISTICSX_H
#define OUTPSTATISTICSX_H

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "DXCmdDispatcher.h"
#include "StatisticsX.h"
#include "descriptor.h"
#include "vexa_api.h"

class CleXDSmb;
class ErrorRelay;
class VexaPipe;
class XCmdArgument;
class XConfigOptions;
class XPipes;
class XPipeSuit;
struct ChildStreams;

class VEXA_API OutpStatisticsX : public StatisticsX {
 public:
  // The options are the caller's and outlive the object. `mode`: 1 local, 0 remote. Starts nothing.
  OutpStatisticsX(XConfigOptions* options, int mode, bool backendDrives);
  // Stops the language.
  ~OutpStatisticsX() override;

  // "JavaExtension" as the first argument asks for the Java extension.
  int x_init_embedded_x(int argc, char** argv) override;
  // For R the code of the last line: one that fails does not keep the following ones from running.
  int x_execute_x(char* lines) override;
  int x_stop_embedded_x() override;
  int x_pre_action() override;
  int x_post_action() override;
  // Without effect: a language in another process gets no pointers.
  void x_set_post_vexa_output(PostOutputFunction post) override;

  // The three ways of starting. 99107 when the program has ended again, 99123 for Java, and 99122 when there
  // is no socket for it.
  int stat_start_java();
  int stat_start_x();
  // With the arguments as they stand: the first one is what the program takes for its name.
  int start_x_process(int argc, char** argv);
  int stat_stop_x();

  // The steps around a block.
  int setup_java_run() { return 0; }
  int exit_java_run() { return 0; }
  int setup_x_run();
  int exit_x_run();

  // For R; 0 for any other language. The first writes to R's input. The second drops R's output up to the
  // next prompt; 99107 when R is gone.
  int execute_x_syntax(const char* text);
  int get_x_result();

  // Whether the language may be there: always when the backend does not drive, as it is then no process of
  // ours.
  bool isXProcessActive();
  // For good, and from any thread: a process of ours is killed, by the thread that waits for it. So a run
  // that nobody waits for any more ends.
  void GiveUp() { given_up = true; }
  // "LOCAL" or "REMOTE", as the language process is told.
  std::string getBackendProcessName() const;
  std::string getMajorVersion() const;
  // Appends the environment of the language process. A name can come twice; the first one counts.
  void pushEnv(XCmdArgument& env);

 private:
  bool IsR() const;
  XPipeSuit* Suit() const;
  XPipes* CurrentPipes() const;

  void StartProcess(const std::string& program, XCmdArgument& arguments, const ChildStreams& streams);
  void StartHeard(const std::string& program, XCmdArgument& arguments, ChildStreams streams);
  std::string HowItEnded(const std::string& program, pid_t started, const std::string& said = {});
  bool ProcessAlive();
  bool MayAnswer();
  bool StaysActive();
  bool Forked() const;
  void ForgetProcessOfParent();
  void EndProcess();
  void KillProcess();
  void RemoveSessionDirectory();
  int AwaitServer(DXCmdDispatcher* dispatcher);
  int SendCommand(DXCmdDispatcher::CmdKey key);
  int InitialiseR(std::string& said);

  int ExecuteJava();
  int ExecuteLines(const std::string& lines);
  int ExecuteBlock(const char* lines);
  // On the pipes of the run: once its block has gone out, the current level may be that of a run within it.
  int ReceiveAnswer(XPipes& pipes, CleXDSmb& answer);
  void CloseRun(XPipes& pipes);

  int Tell(const std::string& text);
  bool AwaitR();
  bool AwaitRoom();

  void PushREnv(XCmdArgument& env, const std::string& xhome);
  void PushPythonEnv(XCmdArgument& env, const std::string& xhome);
  bool Configured(const std::string& name) const;

  XConfigOptions* options;
  pid_t process = -1;  // a child of ours, or -1
  pid_t owner;         // whose child it is
  // Set while the language is told to stop: it is not waited for any longer than that.
  std::optional<std::chrono::steady_clock::time_point> patience_ends;
  // Where R keeps its files while it lives, as it says at its start. One that is killed leaves them behind.
  std::string session_directory;
  std::string* heard = nullptr;        // takes what R says, if somebody wants it
  Descriptor to_language;              // R's standard input
  Descriptor from_language;            // R's standard output
  std::unique_ptr<ErrorRelay> errors;  // of R and Java
  std::int32_t mode;
  std::atomic<bool> given_up = false;
  bool java = false;
  bool at_browser_prompt = false;
  bool at_continuation_prompt = false;
};

#endif
