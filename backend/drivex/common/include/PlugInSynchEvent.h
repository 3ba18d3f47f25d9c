// PlugInSynchEvent: an event that is reset by hand or by the waiter that it lets go, with a reply event of
// its own for a rendezvous between two threads.
//
// A time-out looks exactly like a signal: the wait returns 0 in both cases, and on an event that is reset by
// hand it leaves the event signalled until somebody calls Unsignal. A signal wakes one waiter, and is
// remembered.
#ifndef PLUGINSYNCHEVENT_H
#define PLUGINSYNCHEVENT_H

#include <pthread.h>
#include <sys/types.h>

#include <cstdint>

#include "PlugInCriticalSection.h"
#include "vexa_api.h"

class VEXA_API PlugInSynchEvent {
 public:
  static constexpr unsigned int kNoTimeLimit = 4294967295U;

  // The name has no use.
  PlugInSynchEvent(bool manualReset, bool initiallySignalled, const char* name);
  PlugInSynchEvent(const PlugInSynchEvent&) = delete;
  PlugInSynchEvent& operator=(const PlugInSynchEvent&) = delete;
  virtual ~PlugInSynchEvent();

  // Waits at most that many milliseconds. These results are those of the final unlock: 0.
  std::int32_t WaitForSignal(unsigned int timeout = kNoTimeLimit);
  std::int32_t Signal();
  std::int32_t Unsignal();

  // Signals and waits, without a time limit, until a peer calls Reply. One caller at a time.
  void SignalAndWaitForReply();
  // Made on first use, owned by this event.
  PlugInSynchEvent* ReplyEvent();
  std::int32_t Reply();
  void ClearReplyEvent();

 private:
  bool m_ManualReset;
  pthread_mutex_t* m_Mutex;
  pthread_cond_t* m_Cond;
  PlugInCriticalSection m_WaitGate;    // held by an auto-reset waiter for the length of its wait
  PlugInCriticalSection m_ReplyGate;   // held through a SignalAndWaitForReply
  PlugInCriticalSection m_ReplyGuard;  // guards m_ReplyEvent
  PlugInSynchEvent* m_ReplyEvent = nullptr;
  std::int32_t m_Signalled;  // under m_Mutex
  const pid_t m_Owner;       // the process whose threads may wait here
};

#endif
