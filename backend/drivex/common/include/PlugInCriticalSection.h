// PlugInCriticalSection: a recursive lock that counts acquisitions per thread by itself.
// PlugInCriticalSectionExt adds an attempt that does not block. The scoped Lock and TryLock acquire in their
// constructor and release in their destructor.
//
// Failures that are looked at are assertions. A Release by a thread that never acquired the section leaves
// the guard of the counts locked, so that every later count update of the section blocks: that is deliberate.
#ifndef PLUGINCRITICALSECTION_H
#define PLUGINCRITICALSECTION_H

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>

#include "vexa_api.h"

class VEXA_API PlugInCriticalSection {
 public:
  PlugInCriticalSection();
  PlugInCriticalSection(const PlugInCriticalSection&) = delete;
  PlugInCriticalSection& operator=(const PlugInCriticalSection&) = delete;
  // Releases once when the section is locked. No other thread may be at it.
  virtual ~PlugInCriticalSection();

  virtual void Acquire();
  virtual void Release();

  // How often the thread has acquired the section and not yet released it.
  std::int32_t get_ThreadCount(pthread_t thread);
  void Increment_ThreadCount(pthread_t thread);
  void Decrement_ThreadCount(pthread_t thread);

  class VEXA_API Lock {
   public:
    explicit Lock(const PlugInCriticalSection& section);
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;
    virtual ~Lock();

   private:
    PlugInCriticalSection* m_Crit;
  };

 private:
  static void EndMutex(pthread_mutex_t* mutex, bool held_by_this_thread);

  pthread_mutex_t* m_Handle;  // the lock proper
  std::atomic<bool> m_IsLocked;
  pthread_mutex_t* m_AcquireGate;  // held during a first acquisition: newcomers queue here
  // The guards of the counts: a reader does not exclude a writer. The map itself is protected by its own
  // mutex, which is never held across another lock.
  pthread_mutex_t* m_CountWriteGuard;
  pthread_mutex_t* m_SpareGuard;
  pthread_mutex_t* m_CountReadGuard;
  std::map<pthread_t, std::int32_t> m_ThreadCounts;  // entries stay at 0
  std::mutex counts_mutex;
  std::atomic<pthread_t> m_Owner;
  std::atomic<pthread_t> stray_releaser;  // who left m_CountWriteGuard locked
};

class VEXA_API PlugInCriticalSectionExt : public PlugInCriticalSection {
 public:
  PlugInCriticalSectionExt() = default;

  void Acquire() override;
  void Release() override;
  // Whether the lock was taken. Does not block, apart from the short hold of the protecting section.
  bool Try();
  bool IsAcquired() const;
  PlugInCriticalSection& AcquireProtect() { return m_Protect; }

  class VEXA_API TryLock {
   public:
    explicit TryLock(PlugInCriticalSectionExt& section);
    TryLock(const TryLock&) = delete;
    TryLock& operator=(const TryLock&) = delete;
    ~TryLock();
    bool IsAcquired() const { return m_IsAcquired; }

   private:
    bool m_IsAcquired;
    PlugInCriticalSectionExt* m_Ext;
  };

 private:
  mutable PlugInCriticalSection m_Protect;  // guards the three below
  pthread_t m_OwnerThread = 0;
  std::int32_t m_NumAcquisitions = 0;
  // Threads on their way in with m_Protect free. One of them may hold the lock already, before it is noted
  // down as the owner: whoever waited for it now with m_Protect held would wait for ever.
  std::int32_t m_Entering = 0;
};

#endif
