#include "platform/clock/realclock.h"

#include <algorithm>

IClock::SystemTime CRealClock::SystemNow() const { return std::chrono::system_clock::now(); }

IClock::SteadyTime CRealClock::SteadyNow() const { return std::chrono::steady_clock::now(); }

void CRealClock::Wait(CLock& lock, CCondition& condition) { condition.Native().wait(lock.Native()); }

bool CRealClock::WaitUntil(CLock& lock, CCondition& condition, SteadyTime deadline)
{
  // A far deadline would not fit into a time_t of 32 bits; returning early without cause is allowed.
  const SteadyTime bounded = std::min(deadline, SteadyNow() + std::chrono::hours(24));
  return condition.Native().wait_until(lock.Native(), bounded) == std::cv_status::no_timeout || bounded != deadline;
}

void CRealClock::NotifyAll(CCondition& condition) { condition.Native().notify_all(); }
