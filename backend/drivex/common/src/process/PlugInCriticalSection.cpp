#include "PlugInCriticalSection.h"

#include <cerrno>

#include "vexa_assert.h"

namespace {

// An attempt goes first: a lock that is known to be free, as when PlugInCriticalSectionExt takes it under its
// protecting section, is then taken without a wait, which sets no order between the two.
int LockMutex(pthread_mutex_t* mutex) {
  const int tried = pthread_mutex_trylock(mutex);
  return tried == EBUSY ? pthread_mutex_lock(mutex) : tried;
}

}  // namespace

PlugInCriticalSection::PlugInCriticalSection()
    : m_Handle(new pthread_mutex_t),
      m_IsLocked(false),
      m_AcquireGate(new pthread_mutex_t),
      m_CountWriteGuard(new pthread_mutex_t),
      m_SpareGuard(new pthread_mutex_t),
      m_CountReadGuard(new pthread_mutex_t),
      m_Owner(0),
      stray_releaser(0) {
  const int tmp = pthread_mutex_init(m_Handle, nullptr);
  const int tmp2 = pthread_mutex_init(m_AcquireGate, nullptr);
  const int tmp3 = pthread_mutex_init(m_CountWriteGuard, nullptr);
  const int tmp4 = pthread_mutex_init(m_SpareGuard, nullptr);
  const int tmp5 = pthread_mutex_init(m_CountReadGuard, nullptr);
  VEXA_ASSERT_AS(tmp2 == 0, "tmp2==0");
  VEXA_ASSERT_AS(tmp == 0, "tmp==0");
  VEXA_ASSERT_AS(tmp3 == 0, "tmp3==0");
  VEXA_ASSERT_AS(tmp4 == 0, "tmp4==0");
  VEXA_ASSERT_AS(tmp5 == 0, "tmp5==0");
  VEXA_ASSERT_AS(m_Handle != nullptr, "m_Handle!=NULL");
}

PlugInCriticalSection::~PlugInCriticalSection() {
  if (m_IsLocked) Release();
  VEXA_ASSERT_AS(m_Handle != nullptr, "m_Handle!=NULL");
  const pthread_t self = pthread_self();
  EndMutex(m_Handle, get_ThreadCount(self) > 0);
  EndMutex(m_AcquireGate, false);
  EndMutex(m_CountWriteGuard, stray_releaser == self);
  EndMutex(m_SpareGuard, false);
  EndMutex(m_CountReadGuard, false);
}

// Unlocks and destroys the mutex whether it is locked or not. One that another thread holds can be neither
// unlocked nor destroyed from here; its memory is all there is to give back.
void PlugInCriticalSection::EndMutex(pthread_mutex_t* mutex, bool held_by_this_thread) {
  if (held_by_this_thread || pthread_mutex_trylock(mutex) == 0) {
    pthread_mutex_unlock(mutex);
    pthread_mutex_destroy(mutex);
  }
  delete mutex;
}

void PlugInCriticalSection::Acquire() {
  const pthread_t self = pthread_self();
  const std::int32_t count = get_ThreadCount(self);
  if (count < 1) LockMutex(m_AcquireGate);
  if (count == 0) {
    const int tmp = LockMutex(m_Handle);
    m_IsLocked = true;
    m_Owner = self;
    VEXA_ASSERT_AS(tmp == 0, "tmp==0");
  }
  Increment_ThreadCount(self);
  if (count < 1) pthread_mutex_unlock(m_AcquireGate);
}

void PlugInCriticalSection::Release() {
  VEXA_ASSERT_AS(m_Handle != nullptr, "m_Handle!=NULL");
  const pthread_t self = pthread_self();
  if (get_ThreadCount(self) == 1) {
    m_IsLocked = false;
    const int tmp = pthread_mutex_unlock(m_Handle);
    m_Owner = 0;
    VEXA_ASSERT_AS(tmp == 0, "tmp==0");
  }
  Decrement_ThreadCount(self);
}

std::int32_t PlugInCriticalSection::get_ThreadCount(pthread_t thread) {
  pthread_mutex_lock(m_CountReadGuard);
  std::int32_t count = 0;
  {
    const std::lock_guard lock(counts_mutex);
    const auto found = m_ThreadCounts.find(thread);
    if (found != m_ThreadCounts.end()) count = found->second;
  }
  pthread_mutex_unlock(m_CountReadGuard);
  return count;
}

void PlugInCriticalSection::Increment_ThreadCount(pthread_t thread) {
  pthread_mutex_lock(m_CountWriteGuard);
  {
    const std::lock_guard lock(counts_mutex);
    ++m_ThreadCounts[thread];
  }
  pthread_mutex_unlock(m_CountWriteGuard);
}

void PlugInCriticalSection::Decrement_ThreadCount(pthread_t thread) {
  pthread_mutex_lock(m_CountWriteGuard);
  {
    const std::lock_guard lock(counts_mutex);
    const auto found = m_ThreadCounts.find(thread);
    if (found == m_ThreadCounts.end()) {
      stray_releaser = pthread_self();
      return;  // kept: the write guard stays locked
    }
    --found->second;
  }
  pthread_mutex_unlock(m_CountWriteGuard);
}

PlugInCriticalSection::Lock::Lock(const PlugInCriticalSection& section)
    : m_Crit(const_cast<PlugInCriticalSection*>(&section)) {
  m_Crit->Acquire();
}

PlugInCriticalSection::Lock::~Lock() {
  VEXA_ASSERT_AS(m_Crit != nullptr, "m_Crit!=NULL");
  m_Crit->Release();
}

void PlugInCriticalSectionExt::Acquire() {
  const pthread_t self = pthread_self();
  m_Protect.Acquire();
  const bool own_or_free = m_OwnerThread == self || m_OwnerThread == 0;
  if (own_or_free && (m_Entering == 0 || get_ThreadCount(self) > 0)) {
    PlugInCriticalSection::Acquire();  // does not block
  } else {
    // Blocks until the owner has gone, with the protecting section free meanwhile.
    ++m_Entering;
    m_Protect.Release();
    PlugInCriticalSection::Acquire();
    m_Protect.Acquire();
    --m_Entering;
  }
  ++m_NumAcquisitions;
  m_OwnerThread = self;
  m_Protect.Release();
}

void PlugInCriticalSectionExt::Release() {
  const Lock protect(m_Protect);
  --m_NumAcquisitions;
  VEXA_ASSERT_AS(m_NumAcquisitions >= 0, "m_NumAcquisitions>=0");
  if (m_NumAcquisitions == 0) m_OwnerThread = 0;
  PlugInCriticalSection::Release();
}

bool PlugInCriticalSectionExt::Try() {
  const Lock protect(m_Protect);
  if (m_OwnerThread == pthread_self()) {
    ++m_NumAcquisitions;  // kept: the base's count stays
    return true;
  }
  if (IsAcquired() || m_Entering != 0) return false;
  Acquire();
  return true;
}

bool PlugInCriticalSectionExt::IsAcquired() const {
  const Lock protect(m_Protect);
  VEXA_ASSERT_AS(m_NumAcquisitions >= 0, "m_NumAcquisitions>=0");
  return m_NumAcquisitions > 0;
}

PlugInCriticalSectionExt::TryLock::TryLock(PlugInCriticalSectionExt& section)
    : m_IsAcquired(section.Try()), m_Ext(&section) {}

PlugInCriticalSectionExt::TryLock::~TryLock() {
  if (m_IsAcquired) m_Ext->Release();
}
