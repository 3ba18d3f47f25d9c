#include "xpipemanager.h"

#include <algorithm>

#include "vexa_assert.h"

XPipeSuit::XPipeSuit(const std::string& name, XPipeManager* manager) : xname(name), m_manager(manager) {
  VEXA_ASSERT(m_manager);
}

XPipeSuit::~XPipeSuit() {
  while (!pipes.empty()) pipes.pop_back();
  dispatcher.reset();
  reader_monitor.reset();
  writer_monitor.reset();
}

std::string XPipeSuit::getPipeNamePrefix() const {
  return m_manager->getPipePath() + m_manager->getPipePid() + xname;
}

int XPipeSuit::getIndex() const {
  const std::lock_guard lock(levels_mutex);
  return m_pipe_index;
}

XPipes* XPipeSuit::getXPipes() {
  const std::lock_guard lock(levels_mutex);
  VEXA_ASSERT(m_pipe_index >= 0);
  return pipes[static_cast<std::size_t>(m_pipe_index)].get();
}

XPipes* XPipeSuit::getXPipes(int level) {
  const std::lock_guard lock(levels_mutex);
  if (level < 0 || level > m_pipe_index) return nullptr;
  return pipes[static_cast<std::size_t>(level)].get();
}

void XPipeSuit::increaseIndex() {
  const std::lock_guard lock(levels_mutex);
  const int index = m_pipe_index + 1;
  pipes.reserve(static_cast<std::size_t>(index) + 1);  // a level that goes takes its fifos along
  while (static_cast<int>(pipes.size()) < index + 1) {
    const std::string level = std::to_string(index).substr(0, 4);  // deeper levels would share a name
    pipes.push_back(std::make_unique<XPipes>(getPipeNamePrefix() + level));
  }
  m_pipe_index = index;
}

void XPipeSuit::decreaseIndex() {
  const std::lock_guard lock(levels_mutex);
  VEXA_ASSERT(m_pipe_index >= 0);
  --m_pipe_index;
  const int open = static_cast<int>(pipes.size());
  if (open > 1 && open > m_pipe_index + 1) pipes.pop_back();
}

DXCmdDispatcher* XPipeSuit::getCmdDispatcher(bool isServer) {
  if (!dispatcher) dispatcher = std::make_unique<DXCmdDispatcher>(getPipeNamePrefix(), isServer);
  return dispatcher.get();
}

MonitorThread* XPipeSuit::startMonitor(bool reader, void* handler) {
  std::unique_ptr<MonitorThread>& monitor = reader ? reader_monitor : writer_monitor;
  if (!monitor) {
    const std::string name = getPipeNamePrefix() + (reader ? "P2C" : "C2P");
    monitor = std::make_unique<MonitorThread>(name.c_str(),
                                              reader ? MonitorThread::kReader : MonitorThread::kWriter);
    monitor->SetExceptionHandle(reinterpret_cast<int (*)()>(handler));
    monitor->Start(0);
  }
  return monitor.get();
}

int XPipeSuit::stopMonitor(bool reader) {
  if (MonitorThread* monitor = getMonitor(reader)) monitor->Stop();
  return 0;
}

void XPipeSuit::RemoveFiles(bool only_created) const {
  const std::lock_guard lock(levels_mutex);
  for (const auto& level : pipes) level->RemoveFiles(only_created);
  if (dispatcher) dispatcher->RemoveFiles(only_created);
  for (const MonitorThread* monitor : {reader_monitor.get(), writer_monitor.get()}) {
    if (monitor != nullptr) monitor->RemoveFile(only_created);
  }
}

XPipeManager::XPipeManager(const std::string& pipe_path, const std::string& pipe_pid)
    : path(pipe_path), pid(pipe_pid) {}

XPipeManager::~XPipeManager() { cleanup(); }

XPipeSuit* XPipeManager::getPipeSuit(const std::string& name) {
  const std::lock_guard lock(suits_mutex);
  for (const auto& suit : suits) {
    if (suit->XName() == name) return suit.get();
  }
  suits.push_back(std::make_unique<XPipeSuit>(name, this));
  return suits.back().get();
}

// Suits go without the lock: their monitors may call back.
void XPipeManager::removePipeSuit(const std::string& name) {
  std::unique_ptr<XPipeSuit> removed;
  const std::lock_guard lock(suits_mutex);
  const auto found =
      std::find_if(suits.begin(), suits.end(), [&](const auto& suit) { return suit->XName() == name; });
  if (found == suits.end()) return;
  removed = std::move(*found);
  suits.erase(found);
}

void XPipeManager::cleanup() {
  std::vector<std::unique_ptr<XPipeSuit>> removed;
  {
    const std::lock_guard lock(suits_mutex);
    removed.swap(suits);
  }
  for (auto& suit : removed) suit.reset();
}

void XPipeManager::RemoveFiles(bool only_created) const {
  const std::lock_guard lock(suits_mutex);
  for (const auto& suit : suits) suit->RemoveFiles(only_created);
}
