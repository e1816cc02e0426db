#pragma once

#include <functional>
#include <memory>

#include "platform/clock/clock.h"
#include "platform/clock/thread.h"

// The updates of the local authorization list, one after another: from the first look at the present list until its
// successor has been stored, each update has the list to itself. So neither two backoffices nor two requests in a row
// mix theirs, and what is stored is always a list as one request left it.
//
// Shared by all SendLocalList operations of the process. Safe from any thread.
class CLocalListUpdates {
 public:
  // The turn of one update; it ends with the object, on whatever thread.
  class CTurn {
   public:
    CTurn(CLocalListUpdates& updates, IClock& clock) : mUpdates(updates), mClock(clock) {}
    ~CTurn() { mUpdates.End(mClock); }
    CTurn(const CTurn&) = delete;
    CTurn& operator=(const CTurn&) = delete;

   private:
    friend class CLocalListUpdates;
    CLocalListUpdates& mUpdates;
    IClock& mClock;
  };

  CLocalListUpdates() = default;
  // Waits until what Finish was given has run. No turn may be held by others.
  ~CLocalListUpdates() = default;
  CLocalListUpdates(const CLocalListUpdates&) = delete;
  CLocalListUpdates& operator=(const CLocalListUpdates&) = delete;

  // Waits for its turn, as long as the update before takes to store its list. `clock` is borrowed and outlives this
  // object.
  std::shared_ptr<CTurn> Begin(IClock& clock) EXCLUDES(mMutex);
  // Runs `store` on a thread of its own, and then ends the turn. What `store` throws is logged.
  void Finish(std::shared_ptr<CTurn> turn, std::function<void()> store) EXCLUDES(mMutex);

 private:
  void End(IClock& clock) EXCLUDES(mMutex);

  // Not held during a turn. Nothing but the clock's own lock is taken inside it, when a thread is started.
  CMutex mMutex;
  CCondition mEnded;
  bool mIsTaken GUARDED_BY(mMutex) = false;
  // That of the last Finish. Declared last: it ends while all else is alive.
  std::unique_ptr<CThread> mThread GUARDED_BY(mMutex);
};
