#include "PlugInThreadHot.h"

#include <signal.h>
#include <unistd.h>

#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <new>

namespace {

// Protects what the objects say about their threads, so that a thread decides between being joined and
// detaching itself in one step. One for all objects: a thread whose object deletes itself still asks. Never
// held while a thread's work runs. Never destroyed: threads end after the exit hooks have begun. A fork finds
// it free, and nobody waiting.
struct Reaping {
  std::mutex mutex;
  std::condition_variable changed;
};

Reaping& Threads() {
  static Reaping* const threads = [] {
    pthread_atfork([] { Threads().mutex.lock(); }, [] { Threads().mutex.unlock(); },
                   [] {
                     new (&Threads().changed) std::condition_variable;
                     Threads().mutex.unlock();
                   });
    return new Reaping;
  }();
  return *threads;
}

void Detach() { pthread_detach(pthread_self()); }

bool Initialised(const char* call, int result) {
  if (result == 0) return true;
  std::printf("*PlugInThreadHot Error: %s returned %d: %s\n", call, result, std::strerror(result));
  return false;
}

}  // namespace

PlugInThreadHot::PlugInThreadHot() : owner(getpid()) {
  // Each only when the one before succeeded.
  const auto make = [this](const char* call, int result) {
    made += Initialised(call, result) ? 1 : 0;
    return result == 0;
  };
  [[maybe_unused]] const bool built =
      make("pthread_attr_init", pthread_attr_init(&attributes)) &&
      make("pthread_mutexattr_init", pthread_mutexattr_init(&mutex_attributes)) &&
      make("pthread_condattr_init", pthread_condattr_init(&condition_attributes)) &&
      make("pthread_mutex_init", pthread_mutex_init(&suspend_mutex, nullptr)) &&
      make("pthread_cond_init", pthread_cond_init(&suspend_condition, nullptr));
}

PlugInThreadHot::~PlugInThreadHot() {
  auto_delete = false;
  WaitForStop(kDefaultWait);
  WaitUntilUntouched();
  if (made > 0) pthread_attr_destroy(&attributes);
  if (made > 4 && !Forked()) pthread_cond_destroy(&suspend_condition);  // it waits for who waits in it
  if (made > 3) pthread_mutex_destroy(&suspend_mutex);
  if (made > 1) pthread_mutexattr_destroy(&mutex_attributes);
  if (made > 2) pthread_condattr_destroy(&condition_attributes);
  const std::lock_guard lock(Threads().mutex);
  if (gone != nullptr && !Forked()) *gone = true;
}

// The copy that a fork has of an object has no thread: that stayed with the process it was started in.
bool PlugInThreadHot::Forked() const { return owner != getpid(); }

bool PlugInThreadHot::HasThread() const { return has_thread && !Forked(); }

void PlugInThreadHot::ForgetThreadOfParent() {
  if (!Forked()) return;
  has_thread = touched = joiner = false;
  gone = nullptr;
  released = starts;
  owner = getpid();
}

bool PlugInThreadHot::Start(unsigned long stackSize) {
  bool started = false;
  {
    const PlugInCriticalSection::Lock state(state_guard);
    ForgetThreadOfParent();
    if (has_thread) return false;
    WaitUntilUntouched();
    pthread_attr_t local;
    pthread_attr_init(&local);
    if (stackSize != 0) pthread_attr_setstacksize(&local, stackSize);
    const std::lock_guard lock(Threads().mutex);
    pthread_t thread = 0;
    started = pthread_create(&thread, &local, EntryFunc, this) == 0;
    has_thread = started;
    if (started) {
      handle = thread;
      touched = true;
      ++starts;
    }
    pthread_attr_destroy(&local);
  }
  if (!started) return false;
  // Only now may the thread go to work, and perhaps delete the object.
  const std::lock_guard lock(Threads().mutex);
  released = starts;
  Threads().changed.notify_all();
  return true;
}

void* PlugInThreadHot::EntryFunc(void* object) {
  auto* thread = static_cast<PlugInThreadHot*>(object);
  bool object_gone = false;
  {
    std::unique_lock lock(Threads().mutex);
    thread->gone = &object_gone;
    Threads().changed.wait(lock, [thread] { return thread->released == thread->starts; });
  }
  {
    const PlugInCriticalSection::Lock result(thread->result_guard);
    thread->entry_result = 0;
  }
  // However the thread leaves: it may end itself, or an interpreter that ends takes it along.
  struct Departure {
    PlugInThreadHot* thread;
    const bool& object_gone;
    std::int32_t returned = 0;
    ~Departure() { object_gone ? Detach() : thread->LetGo(returned); }
  } departure{thread, object_gone};
  departure.returned = thread->Entry();
  return nullptr;  // nobody reads it: the joiner discards it
}

void PlugInThreadHot::LetGo(std::int32_t returned) {
  {
    const PlugInCriticalSection::Lock result(result_guard);
    entry_result = returned;
  }
  stop_event.Signal();
  const std::lock_guard lock(Threads().mutex);
  if (!joiner) Detach();
  gone = nullptr;
  touched = false;
  Threads().changed.notify_all();
}

std::int32_t PlugInThreadHot::Entry() {
  struct Departure {
    PlugInThreadHot* thread;
    ~Departure() {
      thread->has_thread = false;
      if (thread->auto_delete) delete thread;
    }
  } const departure{this};
  const std::int32_t returned = Run();
  return_value = returned;
  return returned;
}

std::int32_t PlugInThreadHot::Run() { return 0; }

// Until the thread, whose work is over, has noted down its result and let go of the object, and so has who
// joins it.
void PlugInThreadHot::WaitUntilUntouched() {
  std::unique_lock lock(Threads().mutex);
  if (Forked() || pthread_equal(handle, pthread_self()) != 0) return;
  Threads().changed.wait(lock, [this] { return !touched && !joiner; });
}

bool PlugInThreadHot::WaitForStop(unsigned int) {
  if (!HasThread()) return true;
  std::unique_lock lock(Threads().mutex);
  const pthread_t thread = handle;
  if (pthread_equal(thread, pthread_self()) != 0) return !has_thread;  // nobody can wait for itself
  const bool attached = starts == 0 && thread != 0 && has_thread;
  if (joiner) {
    // Another caller joins: its join is this one's too. The object may have been started again since.
    Threads().changed.wait(lock, [this, start = starts] { return !joiner || starts != start; });
  } else if (touched || attached) {
    joiner = true;
    lock.unlock();
    const bool joined = pthread_join(thread, nullptr) == 0;
    lock.lock();
    joiner = false;
    if (joined) has_thread = false;
    Threads().changed.notify_all();
  }
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
  const std::lock_guard lock(Threads().mutex);
  const pthread_t thread = handle;
  const bool attached = starts == 0 && thread != 0 && has_thread;
  return (touched || attached) && !Forked() && pthread_kill(thread, number) == 0;
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
  pthread_t none = 0;
  if (!handle.compare_exchange_strong(none, pthread_self())) return false;
  has_thread = true;
  auto_delete = false;
  return true;
}
