#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/clock/clock.h"
#include "tests/unit/src/components/ocppcomponent/day/daycentral.h"
#include "tests/unit/support/fakesiblings.h"

// The card reader, and the drivers before it: each is told once, and soon, whether the tag is good.
class CDayReader {
 public:
  CDayReader(const IClock& clock, std::shared_ptr<CFakeSessionManager> manager, uint32_t seed);

  // A driver holds a tag to the reader; on the thread of the notifications.
  void Present() EXCLUDES(mMutex);
  // The drivers who wait now may do so for ever: the process has died, or cannot reach the session manager.
  void Excuse() EXCLUDES(mMutex);
  // What has gone wrong since the last look.
  std::vector<std::string> Look() EXCLUDES(mMutex);

  const std::shared_ptr<CFakeSessionManagerAuth>& GetClient() const { return mClient; }
  // Those who waited for an answer, and those who got one.
  size_t CountDrivers() const EXCLUDES(mMutex);
  size_t CountAnswered() const EXCLUDES(mMutex);

 private:
  struct SDriver {
    IClock::SteadyTime since;
    bool isAnswered = false;
    bool isExcused = false;
  };

  void TakeAnswers(const std::vector<ipc::MAuthorizeRequest>& answers, size_t& seen, std::vector<std::string>& faults)
      REQUIRES(mMutex);

  // Constant after construction.
  const IClock& mClock;
  const std::shared_ptr<CFakeSessionManager> mManager;
  const std::shared_ptr<CFakeSessionManagerAuth> mClient = std::make_shared<CFakeSessionManagerAuth>();

  mutable CMutex mMutex;
  CDayChance mChance GUARDED_BY(mMutex);
  std::vector<SDriver> mDrivers GUARDED_BY(mMutex);  // the number is part of the request's id
  size_t mSeenOfManager GUARDED_BY(mMutex) = 0;
  size_t mSeenOfClient GUARDED_BY(mMutex) = 0;
};
