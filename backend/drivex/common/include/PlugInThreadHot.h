// PlugInThreadHot: the one thread class of the system. A subclass overrides Run; Start runs it on a new
// thread, WaitForStop joins it, and at its end a thread that nobody waits for detaches itself.
//
// Some of its waits are loosely meant, and callers rely on it: WaitForStop ignores its time limit,
// WaitForMultipleThreads does not wait at all, Terminate sends signal 9, and a Resume without a Suspend
// latches.
//
//   idle -> running -> ended, detached        nobody waited: the object may be started again
//              |
//              +-> being joined -> ended, joined
//
// The destructor waits for the thread's end. A subclass waits in its own destructor too: Run is its part, and
// gone by then.
#ifndef PLUGINTHREADHOT_H
#define PLUGINTHREADHOT_H

#include <pthread.h>
#include <sys/types.h>

#include <atomic>
#include <cstdint>

#include "PlugInCriticalSection.h"
#include "PlugInSynchEvent.h"
#include "vexa_api.h"

class VEXA_API PlugInThreadHot {
 public:
  static constexpr unsigned int kDefaultWait = 3000;

  PlugInThreadHot();
  PlugInThreadHot(const PlugInThreadHot&) = delete;
  PlugInThreadHot& operator=(const PlugInThreadHot&) = delete;

  // On the new thread: runs Run and keeps its result.
  virtual std::int32_t Entry();
  virtual ~PlugInThreadHot();
  // Sends signal 9, which ends the whole process. Whether it was sent.
  virtual bool Terminate();
  // The work.
  virtual std::int32_t Run();

  // False when a thread runs already or none could be made. A stack size of 0 is the system's default; in
  // bytes.
  bool Start(unsigned long stackSize = 0);
  // Adopts the calling thread. False when the object ever had a thread.
  bool Attach();

  // Signals, and waits without a time limit on, the event that the thread's end signals too.
  std::int32_t Signal();
  std::int32_t WaitforSignal();
  // Sends a signal to the thread. False when there is none or it has ended.
  bool Signal(std::int32_t number);

  // Suspend sleeps until a Resume. A Resume with nobody asleep is remembered for good. Both always true.
  bool Suspend();
  bool Resume();

  // Waits until the thread has ended, however long that takes. True when the object has no thread any more.
  bool WaitForStop(unsigned int timeout = kDefaultWait);
  // False for a count of 0 or less; otherwise true, at once.
  static bool WaitForMultipleThreads(PlugInThreadHot** threads, std::int32_t count,
                                     unsigned int timeout = PlugInSynchEvent::kNoTimeLimit);

  // False in a fork, whose copy of an object has no thread.
  bool HasThread() const;
  void SetHasThread(bool has);
  // What Run returned.
  std::int32_t GetReturnValue() const { return return_value; }

 protected:
  // When set, Entry deletes the object after Run.
  std::atomic<bool> auto_delete = false;

 private:
  static void* EntryFunc(void* object);
  void LetGo(std::int32_t returned);
  void WaitUntilUntouched();
  bool Forked() const;
  void ForgetThreadOfParent();

  std::atomic<pthread_t> handle = 0;  // stale when the thread has ended
  int made = 0;                       // of the five that follow in the constructor, in its order
  pthread_attr_t attributes;
  pthread_mutex_t suspend_mutex;
  pthread_mutexattr_t mutex_attributes;
  pthread_condattr_t condition_attributes;
  pthread_cond_t suspend_condition;
  std::int32_t suspend_counter = 0;
  PlugInCriticalSection result_guard;
  PlugInSynchEvent stop_event{false, false, nullptr};
  std::int32_t entry_result = 0;
  std::atomic<bool> has_thread = false;
  PlugInCriticalSection state_guard;
  std::atomic<std::int32_t> return_value = 0;
  std::atomic<pid_t> owner;  // the process whose threads these are

  // How the thread of the last Start is reaped, under the one mutex that all objects share.
  unsigned int starts = 0;    // 0 with a handle: adopted by Attach
  unsigned int released = 0;  // the last start that has let go of the object
  bool touched = false;       // the thread may still touch the object
  bool joiner = false;        // a caller of WaitForStop joins: the thread is not to detach itself
  bool* gone = nullptr;       // the thread's own; the destructor sets it
};

#endif
