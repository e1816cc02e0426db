#pragma once

#include <functional>

#include "platform/worker/worker.h"

// Adds the alive message to a machine's actions: while the timer runs, ExtSendAlive is called every 4 seconds on the
// handler's own worker.
template <typename TBase>
class CHsmAlive : public virtual TBase, public virtual CWorker {
 public:
  // Set before the machine runs. An unset one throws std::bad_function_call inside the worker's call.
  std::function<void()> ExtSendAlive;

  void IntStartAliveTimer() override
  {
    mAliveCall = AddCall([this] { SendAlive(); }, GetClock().SteadyNow(), kAlivePeriod);
  }

  // No alive call is in flight when this returns.
  void IntStopAliveTimer() override
  {
    if (mAliveCall) {
      mAliveCall->Cancel(true);
      mAliveCall.reset();
    }
    Sync();
  }

  virtual bool IsAlive() = 0;

 private:
  static constexpr std::chrono::nanoseconds kAlivePeriod = std::chrono::seconds(4);

  void SendAlive()
  {
    if (IsAlive()) ExtSendAlive();
  }

  CCallHandle mAliveCall;
};
