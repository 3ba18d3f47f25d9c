// XManager owns the language runtimes of the process, by the name of their language, and the drivers of their
// runs: a stack with one driver for each nesting level that is open, the innermost on top, so that levels go
// only from the top. Names are used as they are spelled, case counting.
//
// The dispatcher's thread and the one that finalises may ask at the same time. No lock is held while a
// language is stopped or a driver removed, so either may call back.
#ifndef XMANAGER_H
#define XMANAGER_H

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "vexa_api.h"

class DriveX;
class StatisticsX;

class VEXA_API XManager {
 public:
  XManager();
  XManager(const XManager&) = delete;
  XManager& operator=(const XManager&) = delete;
  ~XManager();

  // Takes the driver over and opens a nesting level for it in the pipes of its language. The trace bears its
  // name from here on.
  void addVexaDX(DriveX* driver);
  // The driver on top, or null.
  DriveX* getBackVexaDX();
  // Closes the level of the driver on top and deletes it. Any other pointer is ignored.
  void destoryVexaDX(DriveX* driver);

  // The runtime of the language, or null.
  StatisticsX* getStatisticsX(const std::string& name);
  // Takes the runtime over, in the place of another one of the name, which is deleted first.
  void addStatisticsX(const std::string& name, StatisticsX* runtime);
  // An unknown name is ignored.
  void destoryStatisticsX(const std::string& name);

  // Deletes every runtime in the order of their names, which stops the languages.
  void stopX();
  // Waits for the runs that are under way, stops every language and removes every driver.
  void cleanup();

 private:
  void EndRuns();

  std::vector<std::unique_ptr<DriveX>> drivers;
  std::map<std::string, std::unique_ptr<StatisticsX>> runtimes;
  std::mutex mutex;
};

#endif
