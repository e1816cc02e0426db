#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>

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
// not end the thread. Any operation may be called from a call on the worker itself.
class CWorker {
 public:
  using CFunction = std::function<void()>;

  // `name` becomes the thread's name (at most 15 characters are kept).
  CWorker(IClock& clock, std::string name);
  // Stops the worker.
  virtual ~CWorker();
  CWorker(const CWorker&) = delete;
  CWorker& operator=(const CWorker&) = delete;

  // Starts the thread; does nothing if it runs.
  virtual void Start();
  // Ends the thread after the call in flight and waits for it, unless the caller is the worker itself. Calls that have
  // not begun are dropped. Start may follow again.
  virtual void Stop();
  // Returns when everything that was due at the time of the call has been run. Returns at once on the worker's own
  // thread and while the worker is stopped.
  virtual void Sync();
  virtual bool IsRunning() const;
  virtual bool IsThisThread() const;
  // Marks the worker stopped without waiting for the call in flight, whose thread is left to end on its own.
  virtual void EmergencyKill();
  // Queues `function` at once.
  virtual CCallHandle NonBlockingCall(CFunction function);
  // Queues `function` and waits until it has run; on the worker's own thread it runs directly. Returns without running
  // it when the worker is stopped meanwhile. An exception of `function` reaches the caller.
  virtual void BlockingCall(CFunction function);

  // Runs `function` at `timePoint`; with a `period` above 0 it repeats at that period, counted from `timePoint`.
  // Passes that were missed (a long call, a suspended machine) are skipped, not made up.
  CCallHandle AddCall(CFunction function, IClock::SteadyTime timePoint, std::chrono::nanoseconds period);

  IClock& GetClock() const { return mClock; }

 private:
  class CState;

  IClock& mClock;
  const std::string mName;
  // Shared with the handles and the thread, so that both may outlive the worker.
  std::shared_ptr<CState> mState;
};
