#include "platform/clock/realclock.h"

IClock::SystemTime CRealClock::SystemNow() const { return std::chrono::system_clock::now(); }

IClock::SteadyTime CRealClock::SteadyNow() const { return std::chrono::steady_clock::now(); }

void CRealClock::Wait(CLock& lock, CCondition& condition) { condition.Native().wait(lock.Native()); }

bool CRealClock::WaitUntil(CLock& lock, CCondition& condition, SteadyTime deadline)
{
  return condition.Native().wait_until(lock.Native(), deadline) == std::cv_status::no_timeout;
}

void CRealClock::NotifyAll(CCondition& condition) { condition.Native().notify_all(); }
