#pragma once

#include <chrono>
#include <functional>
#include <utility>
#include <vector>

#include "platform/clock/mutex.h"
#include "platform/clock/realclock.h"

// Collects what comes in on other threads, and waits for it.
template <typename TEvent>
class CEvents {
 public:
  void Add(TEvent event)
  {
    const CLock lock(mMutex);
    mEvents.push_back(std::move(event));
    mClock.NotifyAll(mChanged);
  }

  std::vector<TEvent> Get() const
  {
    const CLock lock(mMutex);
    return mEvents;
  }

  void Clear()
  {
    const CLock lock(mMutex);
    mEvents.clear();
  }

  // True as soon as `count` events are there; false when the time is up.
  bool WaitForCount(size_t count, std::chrono::milliseconds limit = std::chrono::seconds(10))
  {
    CLock lock(mMutex);
    const IClock::SteadyTime deadline = mClock.SteadyNow() + limit;
    while (mEvents.size() < count) {
      if (!mClock.WaitUntil(lock, mChanged, deadline)) return mEvents.size() >= count;
    }
    return true;
  }

 private:
  CRealClock mClock;
  mutable CMutex mMutex;
  CCondition mChanged;
  std::vector<TEvent> mEvents GUARDED_BY(mMutex);
};
