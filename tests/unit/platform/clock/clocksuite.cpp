// What every IClock promises, asked of the real and of the simulated one.

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "platform/clock/realclock.h"
#include "platform/clock/simulatedclock.h"
#include "platform/clock/thread.h"

namespace {

using namespace std::chrono_literals;

// Short, as the real clock really waits for it.
constexpr auto kShort = 3ms;

template <typename TClock>
class ClockSuite : public ::testing::Test {
 protected:
  TClock mClock;
  CMutex mMutex;
  CCondition mChanged;
};

using Clocks = ::testing::Types<CRealClock, CSimulatedClock>;
TYPED_TEST_SUITE(ClockSuite, Clocks);

TYPED_TEST(ClockSuite, SteadyTimeNeverGoesBack)
{
  auto previous = this->mClock.SteadyNow();
  for (int i = 0; i < 1000; ++i) {
    const auto now = this->mClock.SteadyNow();
    ASSERT_GE(now, previous);
    previous = now;
  }
}

TYPED_TEST(ClockSuite, SystemTimeIsInThisCentury)
{
  EXPECT_GT(this->mClock.SystemNow().time_since_epoch(), std::chrono::hours(24 * 365 * 50));
}

TYPED_TEST(ClockSuite, WaitUntilReturnsFalseOnceTheDeadlineIsReached)
{
  CLock lock(this->mMutex);
  const auto deadline = this->mClock.SteadyNow() + kShort;
  while (this->mClock.WaitUntil(lock, this->mChanged, deadline)) {
  }
  EXPECT_GE(this->mClock.SteadyNow(), deadline);
  EXPECT_TRUE(lock.Native().owns_lock());
}

TYPED_TEST(ClockSuite, WaitUntilATimeInThePastReturnsFalse)
{
  CLock lock(this->mMutex);
  EXPECT_FALSE(this->mClock.WaitUntil(lock, this->mChanged, this->mClock.SteadyNow() - 1h));
  EXPECT_TRUE(lock.Native().owns_lock());
}

TYPED_TEST(ClockSuite, WaitReturnsWhenAnotherThreadNotifies)
{
  bool ready = false;
  CThread notifier(this->mClock, "notifier", [&] {
    CLock lock(this->mMutex);
    ready = true;
    this->mClock.NotifyAll(this->mChanged);
  });
  CLock lock(this->mMutex);
  while (!ready) this->mClock.Wait(lock, this->mChanged);
  EXPECT_TRUE(lock.Native().owns_lock());
}

TYPED_TEST(ClockSuite, NotificationAfterTheMutexWasReleasedIsNotMissed)
{
  bool ready = false;
  CThread notifier(this->mClock, "notifier", [&] {
    {
      CLock lock(this->mMutex);
      ready = true;
    }
    this->mClock.NotifyAll(this->mChanged);
  });
  CLock lock(this->mMutex);
  while (!ready) this->mClock.Wait(lock, this->mChanged);
}

TYPED_TEST(ClockSuite, NotifiedWaitUntilReturnsTrueLongBeforeItsDeadline)
{
  bool ready = false;
  CThread notifier(this->mClock, "notifier", [&] {
    CLock lock(this->mMutex);
    ready = true;
    this->mClock.NotifyAll(this->mChanged);
  });
  CLock lock(this->mMutex);
  const auto deadline = this->mClock.SteadyNow() + 1h;
  bool inTime = true;
  while (!ready) inTime = this->mClock.WaitUntil(lock, this->mChanged, deadline) && inTime;
  EXPECT_TRUE(inTime);
  EXPECT_LT(this->mClock.SteadyNow(), deadline);
}

TYPED_TEST(ClockSuite, TheFarthestDeadlineThereIsCanBeWaitedFor)
{
  bool ready = false;
  CThread notifier(this->mClock, "notifier", [&] {
    CLock lock(this->mMutex);
    ready = true;
    this->mClock.NotifyAll(this->mChanged);
  });
  CLock lock(this->mMutex);
  bool inTime = true;
  while (!ready) inTime = this->mClock.WaitUntil(lock, this->mChanged, IClock::SteadyTime::max()) && inTime;
  EXPECT_TRUE(inTime);
}

TYPED_TEST(ClockSuite, NotifyAllWakesEveryWaiter)
{
  bool go = false;
  int waiting = 0;
  int woken = 0;
  std::vector<std::unique_ptr<CThread>> threads;
  for (int i = 0; i < 4; ++i) {
    threads.push_back(std::make_unique<CThread>(this->mClock, "waiter", [&] {
      CLock lock(this->mMutex);
      ++waiting;
      this->mClock.NotifyAll(this->mChanged);
      while (!go) this->mClock.Wait(lock, this->mChanged);
      ++woken;
    }));
  }
  {
    CLock lock(this->mMutex);
    while (waiting < 4) this->mClock.Wait(lock, this->mChanged);
    EXPECT_EQ(woken, 0);
    go = true;
    this->mClock.NotifyAll(this->mChanged);
  }
  for (const auto& thread : threads) thread->Join();
  CLock lock(this->mMutex);
  EXPECT_EQ(woken, 4);
}

TYPED_TEST(ClockSuite, NotifyReachesOnlyItsOwnCondition)
{
  CCondition other;
  bool otherReady = false;
  bool ready = false;
  CThread waiter(this->mClock, "waiter", [&] {
    CLock lock(this->mMutex);
    while (!otherReady) this->mClock.Wait(lock, other);
    ready = true;
    this->mClock.NotifyAll(this->mChanged);
  });
  CLock lock(this->mMutex);
  this->mClock.NotifyAll(this->mChanged);
  EXPECT_FALSE(ready);
  otherReady = true;
  this->mClock.NotifyAll(other);
  while (!ready) this->mClock.Wait(lock, this->mChanged);
}

TYPED_TEST(ClockSuite, MutexIsFreeWhileWaiting)
{
  bool taken = false;
  std::unique_ptr<CThread> other;
  CLock lock(this->mMutex);
  other = std::make_unique<CThread>(this->mClock, "other", [&] {
    CLock own(this->mMutex);
    taken = true;
    this->mClock.NotifyAll(this->mChanged);
  });
  EXPECT_FALSE(taken);
  while (!taken) this->mClock.Wait(lock, this->mChanged);
}

TYPED_TEST(ClockSuite, TwoThreadsHandABallBackAndForthWithinTheirDeadlines)
{
  constexpr int kRounds = 200;
  int ball = 0;
  bool inTime = true;
  const auto play = [&](int parity) {
    CLock lock(this->mMutex);
    while (ball < kRounds) {
      if (ball % 2 == parity) {
        ++ball;
        this->mClock.NotifyAll(this->mChanged);
      } else if (!this->mClock.WaitUntil(lock, this->mChanged, this->mClock.SteadyNow() + 60s)) {
        inTime = false;
      }
    }
  };
  CThread other(this->mClock, "other", [&] { play(1); });
  play(0);
  other.Join();
  EXPECT_EQ(ball, kRounds);
  EXPECT_TRUE(inTime);
}

TYPED_TEST(ClockSuite, RegistrationsAndForeignWaitsMayNest)
{
  const CClockThread outer(this->mClock);
  {
    const CClockThread inner(this->mClock);
    const CForeignWait wait(this->mClock);
    const CForeignWait nested(this->mClock);
  }
  CLock lock(this->mMutex);
  const auto deadline = this->mClock.SteadyNow() + kShort;
  while (this->mClock.WaitUntil(lock, this->mChanged, deadline)) {
  }
  EXPECT_GE(this->mClock.SteadyNow(), deadline);
}

TYPED_TEST(ClockSuite, JoinWaitsUntilTheThreadHasWaited)
{
  const auto deadline = this->mClock.SteadyNow() + kShort;
  bool done = false;
  CThread thread(this->mClock, "waiter", [&] {
    CLock lock(this->mMutex);
    while (this->mClock.WaitUntil(lock, this->mChanged, deadline)) {
    }
    done = true;
  });
  thread.Join();
  thread.Join();
  EXPECT_TRUE(done);
  EXPECT_GE(this->mClock.SteadyNow(), deadline);
}

TYPED_TEST(ClockSuite, ThreadCanLetGoOfItself)
{
  // Outlives a thread that nobody joins.
  static TypeParam clock;
  std::unique_ptr<CThread> thread;
  bool started = false;
  bool gone = false;
  CThread keeper(clock, "keeper", [&] {
    thread = std::make_unique<CThread>(clock, "self", [&] {
      {
        CLock lock(this->mMutex);
        while (!started) clock.Wait(lock, this->mChanged);
      }
      EXPECT_TRUE(thread->IsThisThread());
      thread.reset();
      CLock lock(this->mMutex);
      gone = true;
      clock.NotifyAll(this->mChanged);
    });
    CLock lock(this->mMutex);
    started = true;
    clock.NotifyAll(this->mChanged);
  });
  {
    CLock lock(this->mMutex);
    while (!gone) clock.Wait(lock, this->mChanged);
    EXPECT_EQ(thread, nullptr);
  }
  keeper.Join();
}

}  // namespace
