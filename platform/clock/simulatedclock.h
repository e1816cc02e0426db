#pragma once

#include <pthread.h>

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>

#include "platform/clock/clock.h"

// Simulated time cannot go on: see what() for the state of every thread.
class CSimulationStalled : public std::logic_error {
 public:
  using std::logic_error::logic_error;
};

// A clock for tests and simulations. No real time passes in its waits.
//
// Time stands still while any registered thread runs. When all of them are at rest (in Wait, WaitUntil or a foreign
// wait), it jumps to the earliest deadline and wakes who waits for it. A thread that has been notified counts as
// running from the notification on, an announced one from the announcement on.
//
// The thread that constructs the clock is registered with it: the "home" thread, as a rule a test's main thread. So a
// test needs nothing but
//
//   CSimulatedClock clock;
//   CWorker worker(clock, "name");
//   ...
//   clock.AdvanceBy(5s);  // every call that fell due meanwhile has run, and everything is quiet again
//
// Time passes in the test only where it says so (AdvanceBy, AdvanceTo, RunUntil) or where the home thread itself waits
// by the clock, for example in CWorker::BlockingCall: then only until that wait is over.
//
// Beyond that:
// - A test that blocks its thread in something the clock does not see (std::thread::join, a future) brackets it with
//   CForeignWait, or time stands still. In EAutomatic time flies during a foreign wait, how far is not determined;
//   CThread (platform/clock/thread.h) joins by the clock and has no such gap.
// - Outside events (sockets, other processes) take real time. Use EManual with them: time then passes only in
//   AdvanceBy, AdvanceTo and RunUntil.
// - A thread that is not registered may wait as well. Its deadline is honoured and it counts as running from its
//   wake-up to its return from the wait, but not otherwise: time may pass while it runs.
// - One thread drives at a time, the home thread as a rule.
//
// With EThreads::EOneAtATime registered threads take turns: one runs until it rests, then the next one, in an order
// that depends on SOptions::turnSeed alone. A test whose threads meet only by this clock is then repeatable to the last
// step, and other seeds bring about other orders.
//
// A stall throws CSimulationStalled in the home thread instead of hanging: in EAutomatic at once, when the home thread
// waits without deadline, all others do too and none is in a foreign wait; and in any case when the home thread has
// waited or driven for SOptions::stallLimit of real time, as a thread that should have come to rest or notified did
// not.
class CSimulatedClock : public IClock {
 public:
  enum class EAdvance {
    EAutomatic,  // whenever all registered threads are at rest
    EManual,     // by AdvanceBy, AdvanceTo and RunUntil only
  };

  enum class EThreads {
    EFree,        // all that have something to do run at once
    EOneAtATime,  // in turns, repeatable; a thread must not wait for another one but by this clock
  };

  struct SOptions {
    // System time at the beginning: 2026-01-15T10:15:00Z.
    SystemTime start{std::chrono::seconds(1768472100)};
    EAdvance advance = EAdvance::EAutomatic;
    EThreads threads = EThreads::EFree;
    // Order of the turns; 0: first come, first served.
    uint32_t turnSeed = 0;
    // Real time after which a wait of the home thread, or a driving operation, is taken for a fault of the test.
    std::chrono::seconds stallLimit{60};
  };

  CSimulatedClock();
  explicit CSimulatedClock(const SOptions& options);
  // No thread may be waiting. Threads at their end (see CThread::Detach) are awaited; one that stays ends the process
  // with a text that names it.
  ~CSimulatedClock() override;
  CSimulatedClock(const CSimulatedClock&) = delete;
  CSimulatedClock& operator=(const CSimulatedClock&) = delete;

  // Lets `duration` pass and returns when all that fell due up to and including then has run and every other
  // registered thread is at rest. The threads see each deadline at its exact time.
  void AdvanceBy(std::chrono::nanoseconds duration);
  // As AdvanceBy, up to `time`; a time in the past is taken as now.
  void AdvanceTo(SteadyTime time);
  // Returns when all that is due now has run and every other registered thread is at rest. No time passes.
  void WaitIdle();
  // Advances from deadline to deadline until `predicate` holds, for at most `limit`. The predicate is called on the
  // driving thread, without any lock, while all others are at rest. Returns its last result. When nothing is due any
  // more, the rest of `limit` passes at once.
  bool RunUntil(const std::function<bool()>& predicate, std::chrono::nanoseconds limit = std::chrono::hours(24));

  // Steps the system time alone, as an operator or a time server does. Steady time and all deadlines stay.
  void SetSystemTime(SystemTime time);
  void StepSystemTime(std::chrono::nanoseconds step);

  SystemTime SystemNow() const override;
  SteadyTime SteadyNow() const override;
  void Wait(CLock& lock, CCondition& condition) override;
  bool WaitUntil(CLock& lock, CCondition& condition, SteadyTime deadline) override;
  void NotifyAll(CCondition& condition) override;
  void RegisterThread() override;
  void UnregisterThread() override;
  void AnnounceThread() override;
  void EnterForeignWait() override;
  void LeaveForeignWait() override;

 private:
  enum class EWake { ENone, ENotified, EDeadline, EStalled };

  // A thread at rest in Wait, WaitUntil (with its condition) or a driving operation (without one).
  struct SWaiter {
    const CCondition* condition = nullptr;
    std::optional<SteadyTime> deadline;
    std::thread::id thread;
    EWake wake = EWake::ENone;
    bool hasTurn = false;  // may go on once it is woken
    std::condition_variable wakeUp;
  };

  struct SThread {
    pthread_t handle{};
    int registrations = 0;
    int foreignWaits = 0;
  };

  // Lock order: the mutex of a caller's condition, then mMutex. mMutex is a leaf.
  EWake Rest(CLock* lock, const CCondition* condition, std::optional<SteadyTime> deadline) EXCLUDES(mMutex);
  void AwaitWakeUp(SWaiter& waiter, CLock& own) REQUIRES(mMutex);
  void Wake(SWaiter& waiter, EWake reason) REQUIRES(mMutex);
  void WakeDue() REQUIRES(mMutex);
  // A thread that has something to do goes on: at once, or when its turn comes.
  void MakeReady(SWaiter& waiter) REQUIRES(mMutex);
  void GiveTurn() REQUIRES(mMutex);
  void AwaitTurn(CLock& own) REQUIRES(mMutex);
  // For one who is in mReady already.
  void AwaitTurn(CLock& own, SWaiter& place) REQUIRES(mMutex);
  // Lets time go on if everybody is at rest.
  void Settle() REQUIRES(mMutex);
  void DetectStall() REQUIRES(mMutex);
  bool HasSleepers() const REQUIRES(mMutex);
  bool HasOtherThreads() const REQUIRES(mMutex);
  bool IsCounted(std::thread::id id) const REQUIRES(mMutex);
  void CameToRest() REQUIRES(mMutex);
  std::optional<SteadyTime> NextDeadline() const REQUIRES(mMutex);
  std::string DescribeThreads() const REQUIRES(mMutex);

  // Constant after construction.
  const EAdvance mAdvance;
  const EThreads mThreadsMode;
  const bool mAreTurnsDrawn;
  const std::chrono::seconds mStallLimit;
  const std::thread::id mHome;

  mutable CMutex mMutex;
  std::condition_variable mThreadGone;
  std::condition_variable mThreadCame;
  SteadyTime mNow GUARDED_BY(mMutex);
  // System time at steady time zero.
  SystemTime mSystemBase GUARDED_BY(mMutex);
  std::map<std::thread::id, SThread> mThreads GUARDED_BY(mMutex);
  // Registered threads that are not at rest, and woken ones that have not returned yet.
  int mRunning GUARDED_BY(mMutex) = 0;
  int mAnnounced GUARDED_BY(mMutex) = 0;
  // The records live on the stacks of the waiting threads.
  std::list<SWaiter*> mWaiters GUARDED_BY(mMutex);
  // In EOneAtATime: whether a thread has its turn, and who waits for one, longest first.
  bool mIsTurnTaken GUARDED_BY(mMutex) = false;
  std::deque<SWaiter*> mReady GUARDED_BY(mMutex);
  // In EOneAtATime: the place in mReady of a thread that was announced. It has its place from then on, however long the
  // kernel takes to start it.
  std::unique_ptr<SWaiter> mComing GUARDED_BY(mMutex);
  std::minstd_rand mTurns GUARDED_BY(mMutex);
};
