#include "platform/clock/simulatedclock.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <vector>

#include "platform/clock/thread.h"
#include "tests/unit/support/stopwatch.h"

namespace {

using namespace std::chrono_literals;

// A thread that does something every `period` until it is told to stop.
class CTicker {
 public:
  CTicker(CSimulatedClock& clock, std::chrono::nanoseconds period, std::function<void()> tick)
      : mClock(clock), mThread(clock, "ticker", [this, period, tick] { Run(period, tick); })
  {}

  ~CTicker()
  {
    {
      CLock lock(mMutex);
      mStop = true;
      mClock.NotifyAll(mChanged);
    }
    mThread.Join();
  }

 private:
  void Run(std::chrono::nanoseconds period, const std::function<void()>& tick)
  {
    auto due = mClock.SteadyNow() + period;
    CLock lock(mMutex);
    while (!mStop) {
      if (mClock.WaitUntil(lock, mChanged, due)) continue;
      lock.Unlock();
      tick();
      due += period;
      lock.Lock();
    }
  }

  CSimulatedClock& mClock;
  CMutex mMutex;
  CCondition mChanged;
  bool mStop GUARDED_BY(mMutex) = false;
  CThread mThread;
};

class SimulatedClock : public ::testing::Test {
 protected:
  static CSimulatedClock::SOptions Manual()
  {
    CSimulatedClock::SOptions options;
    options.advance = CSimulatedClock::EAdvance::EManual;
    return options;
  }

  static CSimulatedClock::SOptions StallAfter(std::chrono::seconds limit)
  {
    CSimulatedClock::SOptions options;
    options.stallLimit = limit;
    return options;
  }

  CSimulatedClock mClock;
  CMutex mMutex;
  CCondition mChanged;
};

TEST_F(SimulatedClock, TimeStandsStillWhileTheHomeThreadRuns)
{
  std::atomic<int> ticks{0};
  const CTicker ticker(mClock, 1ms, [&] { ++ticks; });
  const auto start = mClock.SteadyNow();
  mClock.WaitIdle();
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(mClock.SteadyNow(), start);
  EXPECT_EQ(ticks, 0);
}

TEST_F(SimulatedClock, AdvanceByRunsAllThatFallsDueUpToAndIncludingItsEnd)
{
  std::atomic<int> ticks{0};
  const CTicker ticker(mClock, 1s, [&] { ++ticks; });
  const auto start = mClock.SteadyNow();
  mClock.AdvanceBy(5s);
  EXPECT_EQ(ticks, 5);
  EXPECT_EQ(mClock.SteadyNow(), start + 5s);
  mClock.AdvanceBy(999ms);
  EXPECT_EQ(ticks, 5);
  mClock.AdvanceBy(1ms);
  EXPECT_EQ(ticks, 6);
}

TEST_F(SimulatedClock, ThreadsSeeTheirDeadlinesAtTheExactTime)
{
  std::vector<IClock::SteadyTime> seen;
  const auto start = mClock.SteadyNow();
  {
    const CTicker ticker(mClock, 7ms, [&] { seen.push_back(mClock.SteadyNow()); });
    mClock.AdvanceBy(30ms);
  }
  EXPECT_EQ(seen, (std::vector{start + 7ms, start + 14ms, start + 21ms, start + 28ms}));
}

TEST_F(SimulatedClock, DeadlinesOfSeveralThreadsComeInTimeOrder)
{
  std::vector<int> order;
  CMutex orderMutex;
  const auto note = [&](int id) {
    CLock lock(orderMutex);
    order.push_back(id);
  };
  {
    const CTicker slow(mClock, 5s, [&] { note(5); });
    const CTicker fast(mClock, 2s, [&] { note(2); });
    const CTicker middle(mClock, 3s, [&] { note(3); });
    mClock.AdvanceBy(5s);
  }
  EXPECT_EQ(order, (std::vector{2, 3, 2, 5}));
}

TEST_F(SimulatedClock, WorkHandedToAnotherThreadIsDoneWhenAdvanceReturns)
{
  // A chain ticker -> worker -> worker: each hand-over is a notification without passing of time.
  int stage = 0;
  const auto relay = [&](int from) {
    CLock lock(mMutex);
    while (stage < from) mClock.Wait(lock, mChanged);
    ++stage;
    mClock.NotifyAll(mChanged);
  };
  const auto end = mClock.SteadyNow() + 10s;
  CThread last(mClock, "last", [&] { relay(2); });
  CThread first(mClock, "first", [&] { relay(1); });
  CThread source(mClock, "source", [&] {
    CLock lock(mMutex);
    while (mClock.WaitUntil(lock, mChanged, end)) {
    }
    stage = 1;
    mClock.NotifyAll(mChanged);
  });
  mClock.AdvanceTo(end);
  CLock lock(mMutex);
  EXPECT_EQ(stage, 3);
  EXPECT_EQ(mClock.SteadyNow(), end);
}

TEST_F(SimulatedClock, ANotifiedThreadRunsBeforeTimeGoesOn)
{
  // The sleeper would let an hour pass as soon as nobody counts as running.
  for (int i = 0; i < 200; ++i) {
    bool ready = false;
    IClock::SteadyTime woken;
    const auto start = mClock.SteadyNow();
    CThread waiter(mClock, "waiter", [&] {
      CLock lock(mMutex);
      while (!ready) mClock.Wait(lock, mChanged);
      woken = mClock.SteadyNow();
    });
    CThread notifier(mClock, "notifier", [&] {
      {
        CLock lock(mMutex);
        ready = true;
        mClock.NotifyAll(mChanged);
      }
      CMutex own;
      CCondition never;
      CLock lock(own);
      while (mClock.WaitUntil(lock, never, start + 1h)) {
      }
    });
    notifier.Join();
    waiter.Join();
    ASSERT_EQ(woken, start);
    ASSERT_EQ(mClock.SteadyNow(), start + 1h);
  }
}

TEST_F(SimulatedClock, AnAnnouncedThreadStartsBeforeTimeGoesOn)
{
  for (int i = 0; i < 200; ++i) {
    const auto now = mClock.SteadyNow();
    IClock::SteadyTime started;
    CThread thread(mClock, "thread", [&] { started = mClock.SteadyNow(); });
    mClock.AdvanceBy(1s);
    thread.Join();
    ASSERT_EQ(started, now);
  }
}

TEST_F(SimulatedClock, JoinLetsNoMoreTimePassThanTheThreadNeeds)
{
  std::atomic<int> ticks{0};
  const CTicker ticker(mClock, 1s, [&] { ++ticks; });
  for (int i = 0; i < 200; ++i) {
    const auto start = mClock.SteadyNow();
    CThread thread(mClock, "thread", [&] {
      CMutex own;
      CCondition never;
      CLock lock(own);
      while (mClock.WaitUntil(lock, never, start + 2s)) {
      }
    });
    thread.Join();
    ASSERT_EQ(mClock.SteadyNow(), start + 2s);
  }
}

TEST_F(SimulatedClock, TimePassesWhileTheHomeThreadIsInAForeignWait)
{
  const auto end = mClock.SteadyNow() + 1h;
  mClock.AnnounceThread();
  std::thread thread([&] {
    const CClockThread registered(mClock);
    CMutex own;
    CCondition never;
    CLock lock(own);
    while (mClock.WaitUntil(lock, never, end)) {
    }
  });
  {
    const CForeignWait wait(mClock);
    thread.join();
  }
  EXPECT_EQ(mClock.SteadyNow(), end);
}

TEST_F(SimulatedClock, AThreadInAForeignWaitDoesNotHoldUpTime)
{
  // The pipe stands for what the clock does not see.
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  CThread reader(mClock, "reader", [&] {
    const CForeignWait wait(mClock);
    char byte = 0;
    EXPECT_EQ(read(ends[0], &byte, 1), 1);
  });
  std::atomic<int> ticks{0};
  {
    const CTicker ticker(mClock, 1s, [&] { ++ticks; });
    mClock.AdvanceBy(10s);
    EXPECT_EQ(ticks, 10);
    EXPECT_EQ(write(ends[1], "x", 1), 1);
    reader.Join();
  }
  close(ends[0]);
  close(ends[1]);
}

TEST_F(SimulatedClock, SystemAndSteadyTimeRunTogether)
{
  const auto system = mClock.SystemNow();
  const auto steady = mClock.SteadyNow();
  mClock.AdvanceBy(90min);
  EXPECT_EQ(mClock.SystemNow() - system, 90min);
  EXPECT_EQ(mClock.SteadyNow() - steady, 90min);
}

TEST_F(SimulatedClock, SystemTimeStartsWhereTheOptionsSay)
{
  EXPECT_EQ(mClock.SystemNow(), IClock::SystemTime(1768472100s));
  CSimulatedClock::SOptions options;
  options.start = IClock::SystemTime(5000000000s);
  EXPECT_EQ(CSimulatedClock(options).SystemNow(), IClock::SystemTime(5000000000s));
}

TEST_F(SimulatedClock, AStepOfSystemTimeMovesNeitherSteadyTimeNorDeadlines)
{
  std::atomic<int> ticks{0};
  const CTicker ticker(mClock, 1s, [&] { ++ticks; });
  const auto system = mClock.SystemNow();
  const auto steady = mClock.SteadyNow();
  mClock.StepSystemTime(-2h);
  EXPECT_EQ(mClock.SystemNow(), system - 2h);
  mClock.SetSystemTime(IClock::SystemTime(0s));
  EXPECT_EQ(mClock.SystemNow(), IClock::SystemTime(0s));
  EXPECT_EQ(mClock.SteadyNow(), steady);
  mClock.AdvanceBy(1s);
  EXPECT_EQ(mClock.SystemNow(), IClock::SystemTime(1s));
  EXPECT_EQ(ticks, 1);
}

TEST_F(SimulatedClock, RunUntilStopsAtTheDeadlineThatMadeThePredicateTrue)
{
  std::atomic<int> ticks{0};
  const CTicker ticker(mClock, 1s, [&] { ++ticks; });
  const auto start = mClock.SteadyNow();
  EXPECT_TRUE(mClock.RunUntil([&] { return ticks == 3; }));
  EXPECT_EQ(mClock.SteadyNow(), start + 3s);
  EXPECT_TRUE(mClock.RunUntil([&] { return ticks == 3; }));
  EXPECT_EQ(mClock.SteadyNow(), start + 3s);
}

TEST_F(SimulatedClock, RunUntilGivesUpAtItsLimit)
{
  std::atomic<int> ticks{0};
  const CTicker ticker(mClock, 1s, [&] { ++ticks; });
  const auto start = mClock.SteadyNow();
  EXPECT_FALSE(mClock.RunUntil([] { return false; }, 2500ms));
  EXPECT_EQ(mClock.SteadyNow(), start + 2500ms);
  EXPECT_EQ(ticks, 2);
}

TEST_F(SimulatedClock, RunUntilGivesUpWhenNothingIsDueAnyMore)
{
  EXPECT_FALSE(mClock.RunUntil([] { return false; }, 1min));
}

TEST_F(SimulatedClock, InManualModeTimePassesOnlyWhereTheTestSaysSo)
{
  CSimulatedClock clock(Manual());
  const auto start = clock.SteadyNow();
  std::atomic<int> ticks{0};
  const CTicker ticker(clock, 1s, [&] { ++ticks; });
  bool ready = false;
  CThread waiter(clock, "waiter", [&] {
    // All registered threads rest from here on.
    const CForeignWait wait(clock);
    CLock lock(mMutex);
    ready = true;
    clock.NotifyAll(mChanged);
  });
  {
    CLock lock(mMutex);
    while (!ready) clock.Wait(lock, mChanged);
  }
  waiter.Join();
  EXPECT_EQ(clock.SteadyNow(), start);
  clock.AdvanceBy(3s);
  EXPECT_EQ(ticks, 3);
}

TEST_F(SimulatedClock, AnUnregisteredThreadIsWokenAtItsDeadline)
{
  const auto end = mClock.SteadyNow() + 1h;
  IClock::SteadyTime woken;
  std::atomic<bool> done{false};
  std::thread thread([&] {
    CMutex own;
    CCondition never;
    CLock lock(own);
    while (mClock.WaitUntil(lock, never, end)) {
    }
    woken = mClock.SteadyNow();
    done = true;
  });
  // Not registered: the test cannot know when its wait begins, only when it is over.
  while (!done) mClock.AdvanceBy(30min);
  thread.join();
  EXPECT_GE(woken, end);
}

TEST_F(SimulatedClock, AWaitThatNobodyCanEndThrowsInTheHomeThreadAndNamesTheThreads)
{
  bool stop = false;
  CThread waiter(mClock, "stuck", [&] {
    CLock lock(mMutex);
    while (!stop) mClock.Wait(lock, mChanged);
  });
  try {
    CLock lock(mMutex);
    CCondition never;
    mClock.Wait(lock, never);
    ADD_FAILURE() << "no exception";
  } catch (const CSimulationStalled& stalled) {
    const std::string text = stalled.what();
    EXPECT_NE(text.find("\"stuck\" waits without deadline"), std::string::npos) << text;
    EXPECT_NE(text.find("(home)"), std::string::npos) << text;
  }
  CLock lock(mMutex);
  stop = true;
  mClock.NotifyAll(mChanged);
}

TEST_F(SimulatedClock, AThreadThatDoesNotComeToRestEndsAdvanceByWithItsName)
{
  CSimulatedClock clock(StallAfter(1s));
  // Busy in a way that the clock does not see.
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  {
    CThread busy(clock, "busy", [&] {
      char byte = 0;
      EXPECT_EQ(read(ends[0], &byte, 1), 1);
    });
    try {
      clock.AdvanceBy(1s);
      ADD_FAILURE() << "no exception";
    } catch (const CSimulationStalled& stalled) {
      EXPECT_NE(std::string(stalled.what()).find("\"busy\" runs"), std::string::npos) << stalled.what();
    }
    EXPECT_EQ(write(ends[1], "x", 1), 1);
  }
  close(ends[0]);
  close(ends[1]);
}

using SimulatedClockDeathTest = SimulatedClock;

TEST_F(SimulatedClockDeathTest, DestructionWhileAThreadWaitsEndsTheProcessWithTheThreadsName)
{
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        auto clock = std::make_unique<CSimulatedClock>();
        CThread waiter(*clock, "forgotten", [&] {
          CLock lock(mMutex);
          for (;;) clock->Wait(lock, mChanged);
        });
        clock->WaitIdle();
        clock.reset();
      },
      "\"forgotten\" waits without deadline");
}

TEST_F(SimulatedClock, DestructionAwaitsAThreadThatWasLetGo)
{
  std::atomic<bool> done{false};
  {
    CSimulatedClock clock;
    CThread thread(clock, "thread", [&] {
      for (int i = 0; i < 100; ++i) std::this_thread::yield();
      done = true;
    });
    thread.Detach();
  }
  EXPECT_TRUE(done);
}

TEST_F(SimulatedClock, ADayOfTicksEverySecondTakesWellUnderASecond)
{
  std::atomic<int> ticks{0};
  const CTicker ticker(mClock, 1s, [&] { ++ticks; });
  const CStopwatch stopwatch;
  mClock.AdvanceBy(24h);
  EXPECT_EQ(ticks, 24 * 3600);
  // Neither by work nor by waiting: processor time is what a busy machine does not change.
  EXPECT_LT(stopwatch.Processor(), 1s * kSlowdown);
  EXPECT_LT(stopwatch.Real(), 30s);
}

CSimulatedClock::SOptions InTurns(uint32_t seed)
{
  CSimulatedClock::SOptions options;
  options.threads = CSimulatedClock::EThreads::EOneAtATime;
  options.turnSeed = seed;
  return options;
}

// Who ticked, in order: five threads whose ticks are all due at the same times.
std::string TickOrder(uint32_t seed)
{
  CSimulatedClock clock(InTurns(seed));
  std::string order;
  std::vector<std::unique_ptr<CTicker>> tickers;
  for (const char name : {'a', 'b', 'c', 'd', 'e'}) {
    tickers.push_back(std::make_unique<CTicker>(clock, 1s, [&order, name] { order += name; }));
  }
  clock.AdvanceBy(20s);
  tickers.clear();
  return order;
}

TEST(SimulatedClockInTurns, OneThreadRunsAtATime)
{
  CSimulatedClock clock(InTurns(7));
  std::atomic<int> running{0};
  std::atomic<int> most{0};
  const auto tick = [&] {
    most = std::max(most.load(), ++running);
    for (int i = 0; i < 100; ++i) std::this_thread::yield();
    --running;
  };
  {
    const CTicker first(clock, 1s, tick);
    const CTicker second(clock, 1s, tick);
    const CTicker third(clock, 1s, tick);
    clock.AdvanceBy(50s);
  }
  EXPECT_EQ(most, 1);
}

TEST(SimulatedClockInTurns, WithoutASeedWhoWasReadyFirstGoesFirst)
{
  EXPECT_EQ(TickOrder(0).substr(0, 10), "abcdeabcde");
}

TEST(SimulatedClockInTurns, TheSameSeedGivesTheSameOrderAndAnotherSeedAnotherOne)
{
  const auto order = TickOrder(42);
  EXPECT_EQ(order.size(), 100U);
  EXPECT_EQ(TickOrder(42), order);
  EXPECT_NE(TickOrder(43), order);
}

TEST(SimulatedClockInTurns, ForeignWaitGivesTheTurnAway)
{
  CSimulatedClock clock(InTurns(0));
  int ticks = 0;
  std::atomic<bool> hasRun{false};
  CThread thread(clock, "runner", [&] { hasRun = true; });
  EXPECT_FALSE(hasRun);
  {
    const CForeignWait wait(clock);
    while (!hasRun) std::this_thread::yield();
  }
  thread.Join();
  const CTicker ticker(clock, 1s, [&] { ++ticks; });
  clock.AdvanceBy(3s);
  EXPECT_EQ(ticks, 3);
}

TEST(SimulatedClockInTurns, AThreadThatWasLetGoOfEndsBeforeTheClock)
{
  std::atomic<bool> hasRun{false};
  {
    CSimulatedClock clock(InTurns(0));
    CThread thread(clock, "runner", [&] { hasRun = true; });
    thread.Detach();
  }
  EXPECT_TRUE(hasRun);
}

}  // namespace
