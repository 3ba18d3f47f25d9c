#include "PlugInSynchEvent.h"

#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

namespace {

timespec TimeAfter(unsigned int milliseconds) {
  constexpr long kNanosecondsPerSecond = 1000000000;
  timeval now = {};
  if (gettimeofday(&now, nullptr) != 0) return {std::time(nullptr) + (milliseconds + 999L) / 1000, 0};
  timespec end = {now.tv_sec + static_cast<time_t>(milliseconds / 1000),
                  now.tv_usec * 1000L + static_cast<long>(milliseconds % 1000) * 1000000L};
  if (end.tv_nsec >= kNanosecondsPerSecond) {
    ++end.tv_sec;
    end.tv_nsec -= kNanosecondsPerSecond;
  }
  return end;
}

}  // namespace

PlugInSynchEvent::PlugInSynchEvent(bool manualReset, bool initiallySignalled, const char*)
    : m_ManualReset(manualReset),
      m_Mutex(new pthread_mutex_t),
      m_Cond(new pthread_cond_t),
      m_Signalled(initiallySignalled ? 1 : 0),
      m_Owner(getpid()) {
  pthread_condattr_t condition_attributes;
  pthread_condattr_init(&condition_attributes);
  pthread_cond_init(m_Cond, &condition_attributes);
  pthread_condattr_destroy(&condition_attributes);
  pthread_mutexattr_t mutex_attributes;
  pthread_mutexattr_init(&mutex_attributes);
  pthread_mutex_init(m_Mutex, &mutex_attributes);
  pthread_mutexattr_destroy(&mutex_attributes);
}

PlugInSynchEvent::~PlugInSynchEvent() {
  pthread_mutex_destroy(m_Mutex);
  delete m_Mutex;
  if (m_Owner == getpid()) pthread_cond_destroy(m_Cond);  // waits for who waits in it: not in a fork
  delete m_Cond;
  ClearReplyEvent();
}

std::int32_t PlugInSynchEvent::WaitForSignal(unsigned int timeout) {
  if (!m_ManualReset) m_WaitGate.Acquire();
  pthread_mutex_lock(m_Mutex);
  while (m_Signalled == 0) {
    if (timeout == kNoTimeLimit) {
      pthread_cond_wait(m_Cond, m_Mutex);
      continue;
    }
    const timespec end = TimeAfter(timeout);
    if (pthread_cond_timedwait(m_Cond, m_Mutex, &end) == ETIMEDOUT) m_Signalled = 1;
  }
  if (!m_ManualReset) {
    m_Signalled = 0;
    m_WaitGate.Release();
  }
  return pthread_mutex_unlock(m_Mutex);
}

std::int32_t PlugInSynchEvent::Signal() {
  pthread_mutex_lock(m_Mutex);
  m_Signalled = 1;
  pthread_cond_signal(m_Cond);
  return pthread_mutex_unlock(m_Mutex);
}

std::int32_t PlugInSynchEvent::Unsignal() {
  pthread_mutex_lock(m_Mutex);
  m_Signalled = 0;
  return pthread_mutex_unlock(m_Mutex);
}

void PlugInSynchEvent::SignalAndWaitForReply() {
  const PlugInCriticalSection::Lock gate(m_ReplyGate);
  PlugInSynchEvent* reply = ReplyEvent();  // there before the peer can be woken
  Signal();
  reply->WaitForSignal();
  ClearReplyEvent();
}

PlugInSynchEvent* PlugInSynchEvent::ReplyEvent() {
  const PlugInCriticalSection::Lock guard(m_ReplyGuard);
  if (m_ReplyEvent == nullptr) m_ReplyEvent = new PlugInSynchEvent(false, false, nullptr);
  return m_ReplyEvent;
}

std::int32_t PlugInSynchEvent::Reply() {
  // Under the guard: the waiter that the signal lets go deletes the reply event at once.
  const PlugInCriticalSection::Lock guard(m_ReplyGuard);
  return ReplyEvent()->Signal();
}

void PlugInSynchEvent::ClearReplyEvent() {
  const PlugInCriticalSection::Lock guard(m_ReplyGuard);
  delete m_ReplyEvent;
  m_ReplyEvent = nullptr;
}
