// The fifos of a process. XPipeManager makes and owns the XPipeSuit objects, one for each language; a suit is
// the stack of XPipes of its nesting levels. Both processes compute the same names from the same facts, by
// plain concatenation:
//
//   suit prefix     pipe path + pipe pid + X name         /tmp/ 04d2 R
//   fifo of a level suit prefix + level + its own name    /tmp/04d2R0xdapi
//
// The path ends in "/", the pid is lower-case hexadecimal of at least four digits. The levels and the list of
// suits are protected, as the command service opens and leaves levels while a call waits for its reply. The
// rest is used from the one thread that runs a call or a language run.
#ifndef XPIPEMANAGER_H
#define XPIPEMANAGER_H

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "DXCmdDispatcher.h"
#include "MonitorThread.h"
#include "XPipes.h"
#include "vexa_api.h"

class XPipeManager;

class VEXA_API XPipeSuit {
 public:
  // The manager must not be null and outlives the suit.
  XPipeSuit(const std::string& xname, XPipeManager* manager);
  XPipeSuit(const XPipeSuit&) = delete;
  XPipeSuit& operator=(const XPipeSuit&) = delete;
  // Destroys the levels from the last to the first, then the dispatcher, the reader monitor, the writer
  // monitor.
  ~XPipeSuit();

  // The current nesting level, -1 when none is open.
  int getIndex() const;
  const std::string& XName() const { return xname; }
  std::string getPipeNamePrefix() const;
  // The pipes of the current level, which there must be.
  XPipes* getXPipes();
  // Null when the level is not open.
  XPipes* getXPipes(int level);
  // Opens the next level. One that was open before comes back with its endpoints.
  void increaseIndex();
  // Leaves the current level. Its pipes and files go, except those of level 0, which stay until the suit
  // goes.
  void decreaseIndex();

  // The command channel, made by the first call, which settles the role. Owned by the suit.
  DXCmdDispatcher* getCmdDispatcher(bool isServer);
  bool HasCmdDispatcher() const { return dispatcher != nullptr; }

  // Makes and starts the monitor of that side, reader or writer, unless it is there; it is the suit's.
  // `handler` is an `int (*)()` that the reader calls, on the monitor's thread, when its peer goes without a
  // farewell; it may be null.
  MonitorThread* startMonitor(bool reader, void* handler);
  // Null when that side was never started.
  MonitorThread* getMonitor(bool reader) const { return (reader ? reader_monitor : writer_monitor).get(); }
  // Ends the monitor of that side if there is one. Always 0.
  int stopMonitor(bool reader);

  void RemoveFiles(bool only_created) const;

 private:
  std::string xname;
  XPipeManager* m_manager;
  std::int32_t m_pipe_index = -1;
  std::vector<std::unique_ptr<XPipes>> pipes;
  mutable std::mutex levels_mutex;  // of the two above
  std::unique_ptr<DXCmdDispatcher> dispatcher;
  std::unique_ptr<MonitorThread> reader_monitor;
  std::unique_ptr<MonitorThread> writer_monitor;
};

class VEXA_API XPipeManager {
 public:
  XPipeManager(const std::string& path, const std::string& pid);
  XPipeManager(const XPipeManager&) = delete;
  XPipeManager& operator=(const XPipeManager&) = delete;
  ~XPipeManager();

  const std::string& getPipePath() const { return path; }
  const std::string& getPipePid() const { return pid; }
  // The suit of that name, case counting; made when there is none. Owned by the manager.
  XPipeSuit* getPipeSuit(const std::string& name);
  // Destroys the suit. An unknown name does nothing.
  void removePipeSuit(const std::string& name);
  void cleanup();

  // Removes the files of every suit and leaves the objects alone, for the end of the process: all of them, or
  // those that this process made.
  void RemoveFiles(bool only_created) const;

 private:
  std::string path;
  std::string pid;
  std::vector<std::unique_ptr<XPipeSuit>> suits;
  mutable std::mutex suits_mutex;  // of the list, not of what is in it
};

#endif
