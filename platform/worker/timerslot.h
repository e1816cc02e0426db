#pragma once

#include <utility>

#include "platform/worker/worker.h"

// Keeps the handle of at most one scheduled call, for whoever schedules, cancels and asks from several threads.
class CTimerSlot {
 public:
  CTimerSlot() = default;
  ~CTimerSlot() { Cancel(); }
  CTimerSlot(const CTimerSlot&) = delete;
  CTimerSlot& operator=(const CTimerSlot&) = delete;

  // Keeps `call` in place of the one held before, which is cancelled (a run in flight is not waited for).
  void Replace(CCallHandle call) EXCLUDES(mMutex)
  {
    {
      CLock lock(mMutex);
      std::swap(mCall, call);
    }
    if (call) call->Cancel(false);
  }

  // Cancels and drops the call; false if none was held.
  bool Cancel() EXCLUDES(mMutex)
  {
    CCallHandle call;
    {
      CLock lock(mMutex);
      std::swap(mCall, call);
    }
    if (!call) return false;
    call->Cancel(false);
    return true;
  }

  // As Cancel; also waits for a run in flight, unless the caller is in it.
  void CancelAndWait() EXCLUDES(mMutex)
  {
    CCallHandle call;
    {
      CLock lock(mMutex);
      std::swap(mCall, call);
    }
    if (call) call->Cancel(true);
  }

  bool IsSet() const EXCLUDES(mMutex)
  {
    CLock lock(mMutex);
    return mCall != nullptr;
  }

 private:
  mutable CMutex mMutex;
  CCallHandle mCall GUARDED_BY(mMutex);
};
