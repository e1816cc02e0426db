#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "platform/clock/clock.h"

// A call that a CWorker holds. Shared between the worker and whoever scheduled it.
class ICallHandle {
 public:
  virtual ~ICallHandle() = default;

  // Removes the call: it will not start (again). With `wait` true, a run in flight on the worker's thread has ended
  // when this returns, unless the caller is that thread. May be called at any time and any number of times, also after
  // the worker has gone.
  virtual void Cancel(bool wait) = 0;
  // True until the call was cancelled or, for a call that runs once, has ended.
  virtual bool IsPending() const = 0;
};

using CCallHandle = std::shared_ptr<ICallHandle>;

// One thread that runs calls one at a time, in time order; calls due at the same time run in the order of scheduling.
//
// Calls may be added in any state; they run while the worker is started. An exception from a call is logged and does
// not end the thread. Any operation may be called from a call on the worker itself, destruction included. What a call's
// function holds is freed as soon as the call cannot run any more, never under a lock of the worker.
//
// There is no fake of it: tests use the real worker on a CSimulatedClock, where CSimulatedClock::AdvanceBy returns when
// all calls due up to then have run.
class CWorker {
 public:
  using CFunction = std::function<void()>;

  // `name` becomes the thread's name (at most 15 characters are kept). The clock must outlive the worker, and a thread
  // that was left to itself (EmergencyKill, destruction from a call).
  CWorker(IClock& clock, std::string name);
  // Stops the worker.
  virtual ~CWorker();
  CWorker(const CWorker&) = delete;
  CWorker& operator=(const CWorker&) = delete;

  // Starts the thread; does nothing if it runs. While an earlier thread is still ending it waits for that.
  virtual void Start();
  // Ends the thread after the call in flight and waits for it, unless the caller is the worker itself. Calls that have
  // not begun are dropped, and a repeating one in flight will not run again. Start may follow again.
  virtual void Stop();
  // Returns when everything that was due at the time of the call has been run, so that a call cancelled before is not
  // in flight afterwards. Returns at once on the worker's own thread. A stopped worker has nothing queued: only a call
  // that is still in flight is awaited.
  virtual void Sync();
  virtual bool IsRunning() const;
  virtual bool IsThisThread() const;
  // Stops the worker without waiting for the call in flight, whose thread is left to end on its own. After a new Start
  // that call may overlap with later ones.
  virtual void EmergencyKill();
  // Queues `function` at once.
  virtual CCallHandle NonBlockingCall(CFunction function);
  // Queues `function` and waits until it has run; on the worker's own thread it runs directly. Returns without running
  // it when the worker is stopped, before or meanwhile. An exception of `function` reaches the caller.
  virtual void BlockingCall(CFunction function);

  // Runs `function` at `timePoint`; with a `period` above 0 it repeats at that period, counted from `timePoint`.
  // Passes that are past when a run ends (a long call, a suspended machine) are skipped, not made up.
  CCallHandle AddCall(CFunction function, IClock::SteadyTime timePoint, std::chrono::nanoseconds period);

  IClock& GetClock() const { return mClock; }

 private:
  class CState;
  class CHandle;

  IClock& mClock;
  // Shared with the handles and the thread, so that both may outlive the worker.
  const std::shared_ptr<CState> mState;
};
