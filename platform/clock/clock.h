#pragma once

#include <chrono>

#include "platform/clock/mutex.h"

// The process's only source of time and the only place where a thread waits.
//
// Every component gets an IClock from outside. CRealClock is the operating system's time; CSimulatedClock moves by
// itself to the next deadline as soon as every registered thread waits.
class IClock {
 public:
  using SystemTime = std::chrono::time_point<std::chrono::system_clock, std::chrono::nanoseconds>;
  using SteadyTime = std::chrono::time_point<std::chrono::steady_clock, std::chrono::nanoseconds>;

  virtual ~IClock() = default;

  // Wall-clock time, UTC. May jump.
  virtual SystemTime SystemNow() const = 0;
  // Monotonic time. Never jumps back.
  virtual SteadyTime SteadyNow() const = 0;

  // Waits until notified. As with every condition variable it may return without cause: call it in a loop that tests
  // the condition. `lock` is released while waiting and held again on return.
  virtual void Wait(CLock& lock, CCondition& condition) = 0;
  // As Wait, but returns false once `deadline` has been reached; true means notified (or woken without cause).
  virtual bool WaitUntil(CLock& lock, CCondition& condition, SteadyTime deadline) = 0;
  // Wakes all threads that wait on `condition`. Call it with the mutex held, or right after it was released.
  virtual void NotifyAll(CCondition& condition) = 0;

  // Threads that wait by this clock register for their whole life; CThread (platform/clock/thread.h) does it for them.
  // Registrations nest. A real clock ignores both.
  virtual void RegisterThread() = 0;
  virtual void UnregisterThread() = 0;
  // Announces a thread that is about to be started, so that simulated time does not pass between the start of the
  // thread and its own registration. The thread's RegisterThread consumes one announcement.
  virtual void AnnounceThread() = 0;
  // Brackets a wait for something that this clock does not see (a future, a socket): the thread counts as waiting
  // meanwhile. Brackets nest.
  virtual void EnterForeignWait() = 0;
  virtual void LeaveForeignWait() = 0;
};

// Registers the current thread with the clock for a scope.
class CClockThread {
 public:
  explicit CClockThread(IClock& clock) : mClock(clock) { mClock.RegisterThread(); }
  ~CClockThread() { mClock.UnregisterThread(); }
  CClockThread(const CClockThread&) = delete;
  CClockThread& operator=(const CClockThread&) = delete;

 private:
  IClock& mClock;
};

// Brackets a foreign wait for a scope (see IClock::EnterForeignWait).
class CForeignWait {
 public:
  explicit CForeignWait(IClock& clock) : mClock(clock) { mClock.EnterForeignWait(); }
  ~CForeignWait() { mClock.LeaveForeignWait(); }
  CForeignWait(const CForeignWait&) = delete;
  CForeignWait& operator=(const CForeignWait&) = delete;

 private:
  IClock& mClock;
};
