#include "PlugInThreadHot.h"

#include <signal.h>

#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>

namespace {

// One entry for each thread that Start started and that has not been reaped: true once a caller of
// WaitForStop has announced that it will join. The entry is its object's: thread ids are used again.
struct Reaping {
  PlugInThreadHot* object;
  bool joiner;
};

// The table, with the mutex that protects it and the objects' ends of it, so that a thread decides between
// being joined and detaching itself in one step. Never held while a thread's work runs. Never destroyed:
// threads end after the exit hooks have begun.
struct ThreadTable {
  std::map<pthread_t, Reaping> curThread;
  std::mutex mutex;
  std::condition_variable changed;

  Reaping* Find(pthread_t thread, const PlugInThreadHot* object) {
    const auto found = curThread.find(thread);
    return found != curThread.end() && found->second.object == object ? &found->second : nullptr;
  }
  void Erase(pthread_t thread, const PlugInThreadHot* object) {
    if (Find(thread, object) != nullptr) curThread.erase(thread);
  }
};

ThreadTable& Table() {
  static ThreadTable* const table = new ThreadTable;
  return *table;
}

bool Initialised(const char* call, int result) {
  if (result == 0) return true;
  std::printf("*PlugInThreadHot Error: %s returned %d: %s\n", call, result, std::strerror(result));
  return false;
}

}  // namespace

PlugInThreadHot::PlugInThreadHot() {
  // Each only when the one before succeeded.
  [[maybe_unused]] const bool built =
      Initialised("pthread_attr_init", pthread_attr_init(&attributes)) &&
      Initialised("pthread_mutexattr_init", pthread_mutexattr_init(&mutex_attributes)) &&
      Initialised("pthread_condattr_init", pthread_condattr_init(&condition_attributes)) &&
      Initialised("pthread_mutex_init", pthread_mutex_init(&suspend_mutex, nullptr)) &&
      Initialised("pthread_cond_init", pthread_cond_init(&suspend_condition, nullptr));
}

PlugInThreadHot::~PlugInThreadHot() {
  const bool by_its_own_thread = auto_delete && pthread_equal(handle, pthread_self()) != 0;
  auto_delete = false;
  if (!by_its_own_thread) {
    WaitForStop(kDefaultWait);
    WaitUntilUntouched();
  }
  pthread_attr_destroy(&attributes);
  pthread_cond_destroy(&suspend_condition);
  pthread_mutex_destroy(&suspend_mutex);
  pthread_mutexattr_destroy(&mutex_attributes);
  pthread_condattr_destroy(&condition_attributes);
  const std::lock_guard lock(Table().mutex);
  Table().Erase(handle, this);
  if (gone != nullptr) *gone = true;
}

bool PlugInThreadHot::Start(unsigned long stackSize) {
  const PlugInCriticalSection::Lock state(state_guard);
  if (has_thread) return false;
  WaitUntilUntouched();
  pthread_attr_t local;
  pthread_attr_init(&local);
  if (stackSize != 0) pthread_attr_setstacksize(&local, stackSize);
  {
    // The new thread waits for this mutex ahead of its work, and so finds its entry.
    const std::lock_guard lock(Table().mutex);
    Table().Erase(handle, this);
    pthread_t thread = 0;
    has_thread = pthread_create(&thread, &local, EntryFunc, this) == 0;
    if (has_thread) {
      handle = thread;
      touched = true;
      Table().curThread.insert_or_assign(thread, Reaping{this, false});
    }
  }
  pthread_attr_destroy(&local);
  return has_thread;
}

void* PlugInThreadHot::EntryFunc(void* object) {
  auto* thread = static_cast<PlugInThreadHot*>(object);
  bool object_gone = false;
  {
    const std::lock_guard lock(Table().mutex);
    thread->gone = &object_gone;
  }
  {
    const PlugInCriticalSection::Lock result(thread->result_guard);
    thread->entry_result = 0;
  }
  const std::int32_t returned = thread->Entry();
  {
    const std::lock_guard lock(Table().mutex);
    if (object_gone) {
      pthread_detach(pthread_self());
      return nullptr;
    }
  }
  {
    const PlugInCriticalSection::Lock result(thread->result_guard);
    thread->entry_result = returned;
  }
  thread->stop_event.Signal();

  std::unique_lock lock(Table().mutex);
  const Reaping* entry = Table().Find(pthread_self(), thread);
  const bool joined = entry != nullptr && entry->joiner;
  if (!joined) pthread_detach(pthread_self());
  thread->gone = nullptr;
  thread->touched = false;
  Table().changed.notify_all();
  lock.unlock();
  if (joined) pthread_exit(nullptr);
  return &thread->entry_result;
}

std::int32_t PlugInThreadHot::Entry() {
  return_value = Run();
  const std::int32_t returned = return_value;
  has_thread = false;
  if (auto_delete) delete this;
  return returned;
}

std::int32_t PlugInThreadHot::Run() { return 0; }

// Until the thread, whose work is over, has noted down its result and let go of the object.
void PlugInThreadHot::WaitUntilUntouched() {
  std::unique_lock lock(Table().mutex);
  if (pthread_equal(handle, pthread_self()) != 0) return;
  Table().changed.wait(lock, [this] { return !touched; });
}

bool PlugInThreadHot::WaitForStop(unsigned int) {
  if (!has_thread) return true;
  const pthread_t thread = handle;
  bool joinable = true;
  {
    std::unique_lock lock(Table().mutex);
    if (Reaping* entry = Table().Find(thread, this)) {
      if (entry->joiner) {
        // Another caller joins: its join is this one's too.
        Table().changed.wait(lock, [&] { return Table().Find(thread, this) == nullptr; });
        return !has_thread;
      }
      joinable = touched;  // a thread that has detached itself cannot be joined any more
      entry->joiner = joinable;
    }
  }
  const bool joined = joinable && pthread_join(thread, nullptr) == 0;
  {
    const std::lock_guard lock(Table().mutex);
    if (joinable) Table().Erase(thread, this);
    Table().changed.notify_all();
  }
  if (joined) has_thread = false;
  return !has_thread;
}

bool PlugInThreadHot::WaitForMultipleThreads(PlugInThreadHot**, std::int32_t count, unsigned int) {
  return count > 0;
}

bool PlugInThreadHot::Terminate() {
  const PlugInCriticalSection::Lock state(state_guard);
  if (!HasThread() || !Signal(SIGKILL)) return false;
  SetHasThread(false);
  return true;
}

void PlugInThreadHot::SetHasThread(bool has) {
  const PlugInCriticalSection::Lock state(state_guard);
  has_thread = has;
}

std::int32_t PlugInThreadHot::Signal() { return stop_event.Signal(); }

std::int32_t PlugInThreadHot::WaitforSignal() { return stop_event.WaitForSignal(); }

bool PlugInThreadHot::Signal(std::int32_t number) {
  // A thread that this object started can be signalled as long as it touches the object; its id may be stale
  // afterwards.
  const std::lock_guard lock(Table().mutex);
  const pthread_t thread = handle;
  const bool attached = thread != 0 && has_thread && Table().Find(thread, this) == nullptr;
  return (touched || attached) && pthread_kill(thread, number) == 0;
}

bool PlugInThreadHot::Suspend() {
  pthread_mutex_lock(&suspend_mutex);
  if (suspend_counter == 0) {
    while (suspend_counter == 0) pthread_cond_wait(&suspend_condition, &suspend_mutex);
    --suspend_counter;
  }
  pthread_mutex_unlock(&suspend_mutex);
  return true;
}

bool PlugInThreadHot::Resume() {
  pthread_mutex_lock(&suspend_mutex);
  if (suspend_counter == 0) {
    pthread_cond_signal(&suspend_condition);
    ++suspend_counter;
  }
  pthread_mutex_unlock(&suspend_mutex);
  return true;
}

bool PlugInThreadHot::Attach() {
  if (handle != 0) return false;
  handle = pthread_self();
  has_thread = true;
  auto_delete = false;
  return true;
}
