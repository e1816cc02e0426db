#include "platform/clock/thread.h"

#include <pthread.h>

#include <utility>

namespace {

constexpr size_t kMaxThreadName = 15;

}  // namespace

CThread::CThread(IClock& clock, const std::string& name, std::function<void()> function)
    : mClock(clock), mEnd(std::make_shared<SEnd>())
{
  mClock.AnnounceThread();
  mThread = std::thread(
      [&clock, end = mEnd, shortName = name.substr(0, kMaxThreadName), run = std::move(function)]() mutable {
        pthread_setname_np(pthread_self(), shortName.c_str());
        const CClockThread registered(clock);
        run();
        // What the function holds goes before its end is told.
        run = nullptr;
        CLock lock(end->mutex);
        end->ended = true;
        clock.NotifyAll(end->changed);
      });
  mId = mThread.get_id();
}

CThread::~CThread() { Join(); }

void CThread::Join()
{
  if (!mThread.joinable()) return;
  if (IsThisThread()) {
    mThread.detach();
    return;
  }
  {
    CLock lock(mEnd->mutex);
    while (!mEnd->ended) mClock.Wait(lock, mEnd->changed);
  }
  mThread.join();
}

void CThread::Detach()
{
  if (mThread.joinable()) mThread.detach();
}
