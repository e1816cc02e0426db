#pragma once

#include <functional>
#include <utility>

#include "platform/clock/mutex.h"

// A notification slot: set on one thread, called on another. Without a handler a call does nothing.
template <typename... TArgs>
class CSlot {
 public:
  using Handler = std::function<void(TArgs...)>;

  void Set(Handler handler)
  {
    CLock lock(mMutex);
    mHandlerCB.swap(handler);
    // The previous handler is destroyed outside the lock, with the argument.
    lock.Unlock();
  }

  void operator()(TArgs... args) const
  {
    CLock lock(mMutex);
    const Handler handler = mHandlerCB;
    lock.Unlock();
    if (handler) handler(std::move(args)...);
  }

 private:
  mutable CMutex mMutex;
  Handler mHandlerCB GUARDED_BY(mMutex);
};
