#include "src/components/operation/ocpp16/implementation/locallistupdates.h"

#include <exception>
#include <utility>

#include "platform/iclogger/log.h"

std::shared_ptr<CLocalListUpdates::CTurn> CLocalListUpdates::Begin(IClock& clock)
{
  CLock lock(mMutex);
  while (mIsTaken) clock.Wait(lock, mEnded);
  mIsTaken = true;
  lock.Unlock();
  return std::make_shared<CTurn>(*this, clock);
}

void CLocalListUpdates::Finish(std::shared_ptr<CTurn> turn, std::function<void()> store)
{
  IClock& clock = turn->mClock;
  std::unique_ptr<CThread> former;
  {
    CLock lock(mMutex);
    former = std::move(mThread);
  }
  // It has given its turn back: at most its last instructions are waited for.
  former.reset();
  // The new thread may give its turn back at once; whoever has the next one must find it in its place.
  CLock lock(mMutex);
  mThread = std::make_unique<CThread>(clock, "locallist", [turn = std::move(turn), store = std::move(store)]() mutable {
    try {
      store();
    } catch (const std::exception& error) {
      LOG_ERROR("Local authorization list could not be stored: {}", error.what());
    }
    turn.reset();
  });
}

void CLocalListUpdates::End(IClock& clock)
{
  CLock lock(mMutex);
  mIsTaken = false;
  clock.NotifyAll(mEnded);
}
