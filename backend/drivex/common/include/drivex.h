// DriveX: the driver of one run of one language. It brings the language up where it is not up yet and pushes
// a block of lines through it, between the steps before and after. Two forms differ in where a block comes
// from:
//
//   VexaDX_P    the backend's: a thread of its own takes one block from the `syntax` fifo and answers on
//               `syntaxresult`, once that it listens and once with the result of the block
//   CmdVexaDX   a host's: the host's thread sits in invokeX and takes blocks from mySyntaxData
//
// The runtime and the options belong to others and outlive the driver. One thread creates, starts and
// destroys a driver; the driver's own threads run it. The destructor ends their waits for a peer and waits
// for them; a subclass with a runX of its own calls EndRuns in its own destructor, as runX is gone by then.
#ifndef DRIVEX_H
#define DRIVEX_H

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "PlugInThreadHot.h"
#include "descriptor.h"
#include "vexa_api.h"
#include "wake_up.h"

class StatisticsX;
class XConfigOptions;

class VEXA_API DriveX {
 public:
  // Runs the driver's runX, whose result is the thread's.
  class VEXA_API DriveXThread : public PlugInThreadHot {
   public:
    explicit DriveXThread(DriveX* driver_) : driver(driver_) {}
    ~DriveXThread() override;
    std::int32_t Run() override;

   private:
    DriveX* driver;
  };

  // Neither may be null.
  DriveX(const std::string& name, StatisticsX* ximpl, XConfigOptions* option);
  DriveX(const DriveX&) = delete;
  DriveX& operator=(const DriveX&) = delete;

  // The order of the virtual operations is part of the interface. Each gives a code.

  virtual ~DriveX();
  // Brings the language up, with the arguments of its section.
  virtual int initializeX();
  // The same where needed, and then runX.
  virtual int invokeX();
  // The stored block between pre_action and post_action, whose own result is dropped. 999988 when PYTHON's
  // pre_action says 1; any other failure of a pre_action is the result as it stands.
  virtual int runX();
  // Hands the lines over as one text, each with a line end behind it.
  virtual int ExecuteXLines(std::vector<std::string>& lines);

  // Runs runX on a new thread. 0, or 99116 when there is no thread to be had.
  int startX();
  // The block of the next run; stays the caller's and has to live until then.
  void setSyntax(std::vector<std::string>& lines) { syntax = &lines; }
  // What runX gave on the thread that was started last, 0 while there was none.
  int getReturnValue() const;
  const std::string& XName() const { return name; }
  // The nesting level in the suit of pipes.
  int getIndex() const { return index; }
  void setIndex(int level) { index = level; }
  // Whether no run is under way. A run counts from its start on, so that nobody takes a driver away between
  // startX and the first step of its thread.
  bool isStopped() const { return runs == 0; }
  // Waits at most that long for it. Whether it is so.
  bool AwaitStopped(int milliseconds);

  // Ends the waits for a peer of all runs of this driver, for good, and returns when their threads have
  // ended. A block that the language executes is waited for: not to be called from within one.
  void EndRuns();

 protected:
  // setSyntax and DriveX::runX; what the language throws becomes a code. The lines may go afterwards.
  int RunBlock(std::vector<std::string>& lines);

  StatisticsX* m_ximpl;
  XConfigOptions* m_option;
  // A run is under way for as long as it lives.
  class Running {
   public:
    explicit Running(DriveX& running_driver) : driver(running_driver) { ++driver.runs; }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;
    ~Running() { driver.EndRun(); }

   private:
    DriveX& driver;
  };
  void EndRun();

  std::atomic<int> runs = 0;
  std::atomic<bool> in_mailbox = false;  // a run waits for the host's thread
  WakeUp leaving;                        // nobody waits for a peer any more

 private:
  std::string name;
  std::atomic<std::int32_t> index = 0;
  std::atomic<std::vector<std::string>*> syntax = nullptr;
  std::mutex stop_mutex;  // held while a run is taken from `runs`
  std::condition_variable stopped;
  // The last one started is at the back. Those before it go as soon as they have ended.
  std::vector<std::unique_ptr<DriveXThread>> threads;
};

class VEXA_API VexaDX_P : public DriveX {
 public:
  using DriveX::DriveX;
  ~VexaDX_P() override;
  // One exchange with the backend. While the backend lives it may take its time; once it is seen to be dead
  // the waits for it end with a code of a pipe.
  int runX() override;
  // For the host of an R that runs already. Always 0.
  int initR();
  // startX for a backend that is to be answered: 99116 also where there are no descriptors for the run.
  int StartRun();

 private:
  int Execute(std::vector<std::string>& lines);

  bool KeepRoom(bool keep);

  std::mutex room_mutex;
  Descriptor room_for_ends[2];  // of a run that has not opened them yet
};

class VEXA_API CmdVexaDX : public DriveX {
 public:
  using DriveX::DriveX;
  ~CmdVexaDX() override;
  int initializeX() override;
  // Serves mySyntaxData until GStopSyncSyntax; the result of the last block, 0 when there was none.
  int invokeX() override;
};

#endif
