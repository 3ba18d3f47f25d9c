#include "XManager.h"

#include "DxTracer.h"
#include "StatisticsX.h"
#include "drivex.h"
#include "dxglobals.h"
#include "xpipemanager.h"

XManager::XManager() = default;
XManager::~XManager() { cleanup(); }

void XManager::addVexaDX(DriveX* driver) {
  std::unique_ptr<DriveX> owned(driver);
  const std::string name = driver->XName();
  if (DxTracer* tracer = GetDxTracer()) tracer->setXName(name);
  XPipeSuit* const suit = GetXPipeManager()->getPipeSuit(name);
  suit->increaseIndex();
  driver->setIndex(suit->getIndex());
  const std::lock_guard lock(mutex);
  drivers.push_back(std::move(owned));
}

DriveX* XManager::getBackVexaDX() {
  const std::lock_guard lock(mutex);
  return drivers.empty() ? nullptr : drivers.back().get();
}

void XManager::destoryVexaDX(DriveX* driver) {
  std::unique_ptr<DriveX> top;
  {
    const std::lock_guard lock(mutex);
    if (drivers.empty() || drivers.back().get() != driver) return;
    top = std::move(drivers.back());
    drivers.pop_back();
  }
  top->EndRuns();  // they use the pipes of the level
  // The end of a session removes the suits ahead of the drivers that a host has left here: then no level is
  // open.
  XPipeSuit* const suit = GetXPipeManager()->getPipeSuit(top->XName());
  if (suit->getIndex() >= 0) suit->decreaseIndex();
}

StatisticsX* XManager::getStatisticsX(const std::string& name) {
  const std::lock_guard lock(mutex);
  const auto found = runtimes.find(name);
  return found != runtimes.end() ? found->second.get() : nullptr;
}

void XManager::addStatisticsX(const std::string& name, StatisticsX* runtime) {
  if (runtime != nullptr && getStatisticsX(name) == runtime) return;  // it must not be deleted for itself
  std::unique_ptr<StatisticsX> owned(runtime);
  destoryStatisticsX(name);
  const std::lock_guard lock(mutex);
  runtimes[name] = std::move(owned);
}

void XManager::destoryStatisticsX(const std::string& name) {
  decltype(runtimes)::node_type removed;  // outlives the lock
  const std::lock_guard lock(mutex);
  removed = runtimes.extract(name);
}

// A run that is under way uses its runtime: it ends first, the innermost ahead of those that wait for it.
void XManager::EndRuns() {
  std::vector<DriveX*> under_way;
  {
    const std::lock_guard lock(mutex);
    for (const auto& driver : drivers) under_way.insert(under_way.begin(), driver.get());
  }
  for (DriveX* driver : under_way) driver->EndRuns();
}

void XManager::stopX() {
  decltype(runtimes) stopped;
  {
    const std::lock_guard lock(mutex);
    stopped.swap(runtimes);
  }
  while (!stopped.empty()) stopped.erase(stopped.begin());
}

void XManager::cleanup() {
  EndRuns();
  stopX();
  while (DriveX* top = getBackVexaDX()) destoryVexaDX(top);
}
