#include "platform/clock/simulatedclock.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>

namespace {

// Far enough from zero that tests may subtract from it.
constexpr IClock::SteadyTime kSteadyStart{std::chrono::hours(1000)};

}  // namespace

CSimulatedClock::CSimulatedClock() : CSimulatedClock(SOptions()) {}

CSimulatedClock::CSimulatedClock(const SOptions& options)
    : mAdvance(options.advance),
      mThreadsMode(options.threads),
      mAreTurnsDrawn(options.turnSeed != 0),
      mStallLimit(options.stallLimit),
      mHome(std::this_thread::get_id()),
      mNow(kSteadyStart),
      mSystemBase(options.start - kSteadyStart.time_since_epoch()),
      mTurns(options.turnSeed)
{
  RegisterThread();
}

CSimulatedClock::~CSimulatedClock()
{
  CLock lock(mMutex);
  mIsTurnTaken = false;
  GiveTurn();
  const auto limit = std::chrono::steady_clock::now() + mStallLimit;
  while (HasOtherThreads() && !HasSleepers()) {
    if (mThreadGone.wait_until(lock.Native(), limit) == std::cv_status::timeout) break;
  }
  if (!HasOtherThreads() && !HasSleepers()) return;
  // Going on would leave threads with freed memory.
  std::fprintf(stderr, "A simulated clock is destroyed while threads use it: %s\n", DescribeThreads().c_str());
  std::abort();
}

void CSimulatedClock::AdvanceBy(std::chrono::nanoseconds duration) { AdvanceTo(SteadyNow() + duration); }

void CSimulatedClock::AdvanceTo(SteadyTime time) { Rest(nullptr, nullptr, std::max(time, SteadyNow())); }

void CSimulatedClock::WaitIdle() { AdvanceTo(SteadyNow()); }

bool CSimulatedClock::RunUntil(const std::function<bool()>& predicate, std::chrono::nanoseconds limit)
{
  const auto end = SteadyNow() + limit;
  WaitIdle();
  while (!predicate()) {
    if (SteadyNow() >= end) return false;
    std::optional<SteadyTime> next;
    {
      CLock lock(mMutex);
      next = NextDeadline();
    }
    AdvanceTo(next ? std::min(*next, end) : end);
  }
  return true;
}

void CSimulatedClock::SetSystemTime(SystemTime time)
{
  CLock lock(mMutex);
  mSystemBase = time - mNow.time_since_epoch();
}

void CSimulatedClock::StepSystemTime(std::chrono::nanoseconds step)
{
  CLock lock(mMutex);
  mSystemBase += step;
}

IClock::SystemTime CSimulatedClock::SystemNow() const
{
  CLock lock(mMutex);
  return mSystemBase + mNow.time_since_epoch();
}

IClock::SteadyTime CSimulatedClock::SteadyNow() const
{
  CLock lock(mMutex);
  return mNow;
}

void CSimulatedClock::Wait(CLock& lock, CCondition& condition) { Rest(&lock, &condition, std::nullopt); }

bool CSimulatedClock::WaitUntil(CLock& lock, CCondition& condition, SteadyTime deadline)
{
  if (deadline <= SteadyNow()) return false;
  return Rest(&lock, &condition, deadline) != EWake::EDeadline;
}

void CSimulatedClock::NotifyAll(CCondition& condition)
{
  CLock lock(mMutex);
  for (SWaiter* waiter : mWaiters) {
    if (waiter->condition == &condition) Wake(*waiter, EWake::ENotified);
  }
  GiveTurn();
}

void CSimulatedClock::RegisterThread()
{
  CLock lock(mMutex);
  SThread& thread = mThreads[std::this_thread::get_id()];
  if (++thread.registrations > 1) return;
  thread.handle = pthread_self();
  if (mAnnounced > 0) --mAnnounced;
  ++mRunning;
  mThreadCame.notify_all();
  if (const auto place = std::move(mComing)) {
    AwaitTurn(lock, *place);
  } else {
    AwaitTurn(lock);
  }
}

void CSimulatedClock::UnregisterThread()
{
  CLock lock(mMutex);
  const auto found = mThreads.find(std::this_thread::get_id());
  if (found == mThreads.end() || --found->second.registrations > 0) return;
  const bool counted = IsCounted(found->first);
  mThreads.erase(found);
  if (counted) CameToRest();
  mThreadGone.notify_all();
}

void CSimulatedClock::AnnounceThread()
{
  CLock lock(mMutex);
  // In turns the threads come in the order of their announcement.
  while (mThreadsMode == EThreads::EOneAtATime && mAnnounced > 0) mThreadCame.wait(lock.Native());
  ++mAnnounced;
  if (mThreadsMode != EThreads::EOneAtATime) return;
  mComing = std::make_unique<SWaiter>();
  mReady.push_back(mComing.get());
}

void CSimulatedClock::EnterForeignWait()
{
  CLock lock(mMutex);
  const auto found = mThreads.find(std::this_thread::get_id());
  if (found != mThreads.end() && ++found->second.foreignWaits == 1) CameToRest();
}

void CSimulatedClock::LeaveForeignWait()
{
  CLock lock(mMutex);
  const auto found = mThreads.find(std::this_thread::get_id());
  if (found == mThreads.end() || --found->second.foreignWaits > 0) return;
  ++mRunning;
  AwaitTurn(lock);
}

CSimulatedClock::EWake CSimulatedClock::Rest(CLock* lock, const CCondition* condition,
                                             std::optional<SteadyTime> deadline)
{
  SWaiter waiter;
  waiter.condition = condition;
  waiter.deadline = deadline;
  waiter.thread = std::this_thread::get_id();
  std::string stall;
  {
    CLock own(mMutex);
    // Enrolled before the caller's lock is released: a notification cannot be missed.
    const auto place = mWaiters.insert(mWaiters.end(), &waiter);
    if (lock != nullptr) lock->Native().unlock();
    const bool counted = IsCounted(waiter.thread);
    if (counted) {
      CameToRest();
    } else {
      Settle();
    }
    AwaitWakeUp(waiter, own);
    mWaiters.erase(place);
    if (waiter.wake == EWake::EStalled) stall = "Simulated time cannot go on: " + DescribeThreads();
    if (!counted) CameToRest();
  }
  if (lock != nullptr) lock->Native().lock();
  if (!stall.empty()) throw CSimulationStalled(stall);
  return waiter.wake;
}

void CSimulatedClock::AwaitWakeUp(SWaiter& waiter, CLock& own)
{
  const bool guarded = waiter.condition == nullptr || waiter.thread == mHome;
  const auto limit = std::chrono::steady_clock::now() + mStallLimit;
  while (!waiter.hasTurn) {
    if (!guarded) {
      waiter.wakeUp.wait(own.Native());
    } else if (waiter.wakeUp.wait_until(own.Native(), limit) == std::cv_status::timeout && !waiter.hasTurn) {
      // Past whoever has the turn and does not come to rest.
      if (waiter.wake == EWake::ENone) ++mRunning;
      mReady.erase(std::remove(mReady.begin(), mReady.end(), &waiter), mReady.end());
      waiter.wake = EWake::EStalled;
      waiter.hasTurn = true;
    }
  }
}

void CSimulatedClock::Wake(SWaiter& waiter, EWake reason)
{
  if (waiter.wake != EWake::ENone) return;
  waiter.wake = reason;
  ++mRunning;
  MakeReady(waiter);
}

void CSimulatedClock::MakeReady(SWaiter& waiter)
{
  if (mThreadsMode == EThreads::EOneAtATime) {
    mReady.push_back(&waiter);
    return;
  }
  waiter.hasTurn = true;
  waiter.wakeUp.notify_one();
}

void CSimulatedClock::GiveTurn()
{
  if (mIsTurnTaken || mAnnounced > 0 || mReady.empty()) return;
  const auto next = mReady.begin() + static_cast<std::ptrdiff_t>(mAreTurnsDrawn ? mTurns() % mReady.size() : 0);
  SWaiter& waiter = **next;
  mReady.erase(next);
  mIsTurnTaken = true;
  waiter.hasTurn = true;
  waiter.wakeUp.notify_one();
}

void CSimulatedClock::AwaitTurn(CLock& own)
{
  if (mThreadsMode != EThreads::EOneAtATime) return;
  SWaiter waiter;
  mReady.push_back(&waiter);
  AwaitTurn(own, waiter);
}

void CSimulatedClock::AwaitTurn(CLock& own, SWaiter& place)
{
  GiveTurn();
  while (!place.hasTurn) place.wakeUp.wait(own.Native());
}

void CSimulatedClock::WakeDue()
{
  for (SWaiter* waiter : mWaiters) {
    if (waiter->condition != nullptr && waiter->deadline && *waiter->deadline <= mNow) Wake(*waiter, EWake::EDeadline);
  }
}

void CSimulatedClock::Settle()
{
  GiveTurn();
  if (mRunning > 0 || mAnnounced > 0) return;
  SWaiter* driver = nullptr;
  for (SWaiter* waiter : mWaiters) {
    if (waiter->condition != nullptr || waiter->wake != EWake::ENone) continue;
    if (driver == nullptr || *waiter->deadline < *driver->deadline) driver = waiter;
  }
  const auto next = NextDeadline();
  // A driving thread comes last: it returns to a world in which all that was due has been done.
  if (driver != nullptr && (!next || *driver->deadline < *next)) {
    mNow = std::max(mNow, *driver->deadline);
    Wake(*driver, EWake::EDeadline);
  } else if (next && (driver != nullptr || mAdvance == EAdvance::EAutomatic)) {
    mNow = std::max(mNow, *next);
    WakeDue();
  } else {
    DetectStall();
  }
  GiveTurn();
}

void CSimulatedClock::DetectStall()
{
  if (mAdvance == EAdvance::EManual) return;
  for (const auto& [id, thread] : mThreads) {
    if (thread.foreignWaits > 0) return;
  }
  for (SWaiter* waiter : mWaiters) {
    if (waiter->thread == mHome) Wake(*waiter, EWake::EStalled);
  }
}

bool CSimulatedClock::HasSleepers() const
{
  return std::any_of(mWaiters.begin(), mWaiters.end(),
                     [](const SWaiter* waiter) { return waiter->wake == EWake::ENone; });
}

bool CSimulatedClock::HasOtherThreads() const
{
  return mAnnounced > 0 || mThreads.size() > mThreads.count(std::this_thread::get_id());
}

bool CSimulatedClock::IsCounted(std::thread::id id) const
{
  const auto found = mThreads.find(id);
  return found != mThreads.end() && found->second.foreignWaits == 0;
}

void CSimulatedClock::CameToRest()
{
  --mRunning;
  mIsTurnTaken = false;
  Settle();
}

std::optional<IClock::SteadyTime> CSimulatedClock::NextDeadline() const
{
  std::optional<SteadyTime> next;
  for (const SWaiter* waiter : mWaiters) {
    if (waiter->condition == nullptr || !waiter->deadline || waiter->wake != EWake::ENone) continue;
    if (!next || *waiter->deadline < *next) next = waiter->deadline;
  }
  return next;
}

std::string CSimulatedClock::DescribeThreads() const
{
  std::string text = std::to_string(mAnnounced) + " announced";
  for (const auto& [id, thread] : mThreads) {
    std::array<char, 16> name{};
    pthread_getname_np(thread.handle, name.data(), name.size());
    const auto waiter =
        std::find_if(mWaiters.begin(), mWaiters.end(), [&id = id](const SWaiter* each) { return each->thread == id; });
    text += "; thread \"" + std::string(name.data()) + "\"" + (id == mHome ? " (home)" : "");
    if (thread.foreignWaits > 0) {
      text += " in a foreign wait";
    } else if (waiter == mWaiters.end()) {
      text += " runs";
    } else {
      text += (*waiter)->deadline ? " waits with a deadline" : " waits without deadline";
    }
  }
  return text;
}
