// What a started worker does with calls: time, order, handles, waiting operations, exceptions.

#include "platform/worker/worker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <array>
#include <atomic>
#include <stdexcept>

#include "platform/clock/realclock.h"
#include "platform/clock/simulatedclock.h"
#include "platform/clock/thread.h"
#include "tests/unit/platform/worker/recorder.h"
#include "tests/unit/support/logcapture.h"
#include "tests/unit/support/stopwatch.h"

namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Worker : public ::testing::Test {
 protected:
  Worker() { mWorker.Start(); }

  IClock::SteadyTime In(std::chrono::nanoseconds duration) { return mClock.SteadyNow() + duration; }

  CWorker::CFunction Noting(const std::string& note)
  {
    return [this, note] { mRecorder.Note(note); };
  }

  // Notes the seconds since the beginning of the test.
  CWorker::CFunction NotingTime()
  {
    return [this] {
      const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(mClock.SteadyNow() - mBegin);
      mRecorder.Note(std::to_string(seconds.count()));
    };
  }

  CSimulatedClock mClock;
  const IClock::SteadyTime mBegin = mClock.SteadyNow();
  CRecorder mRecorder;
  CWorker mWorker{mClock, "worker under test"};
};

TEST_F(Worker, ACallRunsOnceAtItsTime)
{
  mWorker.AddCall(NotingTime(), In(5s), 0ns);
  mClock.AdvanceBy(4999ms);
  EXPECT_THAT(mRecorder.GetNotes(), IsEmpty());
  mClock.AdvanceBy(1ms);
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("5"));
  mClock.AdvanceBy(1h);
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("5"));
}

TEST_F(Worker, ACallDueInThePastRunsAtOnce)
{
  mWorker.AddCall(NotingTime(), In(-1h), 0ns);
  mClock.WaitIdle();
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("0"));
}

TEST_F(Worker, ARepeatingCallRunsAtItsTimeAndThenAtEachPeriod)
{
  mWorker.AddCall(NotingTime(), In(3s), 10s);
  mClock.AdvanceBy(35s);
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("3", "13", "23", "33"));
}

TEST_F(Worker, ARepeatingCallFirstDueNowRunsAtOnce)
{
  mWorker.AddCall(NotingTime(), In(0s), 4s);
  mClock.AdvanceBy(8s);
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("0", "4", "8"));
}

TEST_F(Worker, CallsRunInTimeOrderWhateverTheOrderOfAdding)
{
  mWorker.AddCall(Noting("third"), In(3s), 0ns);
  mWorker.AddCall(Noting("first"), In(1s), 0ns);
  mWorker.AddCall(Noting("second"), In(2s), 0ns);
  mClock.AdvanceBy(3s);
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("first", "second", "third"));
}

TEST_F(Worker, CallsDueAtTheSameTimeRunInTheOrderOfAdding)
{
  const auto due = In(1s);
  for (const char* note : {"a", "b", "c"}) mWorker.AddCall(Noting(note), due, 0ns);
  mClock.AdvanceBy(1s);
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("a", "b", "c"));
}

TEST_F(Worker, ABlockingCallHoldsUpLaterOnesWhichThenRunInTimeOrder)
{
  CGate gate(mClock);
  mWorker.NonBlockingCall([&] { gate.Pass(); });
  mWorker.AddCall(Noting("late"), In(2s), 0ns);
  mWorker.AddCall(Noting("early"), In(1s), 0ns);
  mClock.AdvanceBy(1min);
  EXPECT_THAT(mRecorder.GetNotes(), IsEmpty());
  gate.Open();
  mClock.WaitIdle();
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("early", "late"));
}

TEST_F(Worker, PassesMissedDuringALongCallAreSkipped)
{
  CGate gate(mClock);
  mWorker.AddCall(NotingTime(), In(10s), 10s);
  mWorker.AddCall([&] { gate.Pass(); }, In(15s), 0ns);
  mClock.AdvanceBy(47s);
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("10"));
  gate.Open();
  mClock.AdvanceBy(20s);
  // The pass of 20 s comes late, those of 30 s and 40 s not at all.
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("10", "47", "50", "60"));
}

TEST_F(Worker, ARepeatingCallThatTakesItsWholePeriodRunsAgainAtOnce)
{
  mWorker.AddCall(
      [&] {
        NotingTime()();
        CMutex mutex;
        CCondition never;
        CLock lock(mutex);
        const auto end = In(5s);
        while (mClock.WaitUntil(lock, never, end)) {
        }
      },
      In(5s), 5s);
  mClock.AdvanceBy(16s);
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("5", "10", "15"));
}

TEST_F(Worker, TheLongestPeriodThereIsDoesNotComeRoundAgain)
{
  const auto call = mWorker.AddCall(NotingTime(), In(1s), std::chrono::nanoseconds::max());
  mClock.AdvanceBy(24h);
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("1"));
  EXPECT_TRUE(call->IsPending());
}

TEST_F(Worker, NonBlockingCallReturnsBeforeTheCallHasRun)
{
  CGate gate(mClock);
  const auto call = mWorker.NonBlockingCall([&] {
    gate.Pass();
    mRecorder.Note("done");
  });
  EXPECT_THAT(mRecorder.GetNotes(), IsEmpty());
  EXPECT_TRUE(call->IsPending());
  gate.Open();
  mClock.WaitIdle();
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("done"));
  EXPECT_FALSE(call->IsPending());
}

TEST_F(Worker, BlockingCallReturnsWhenTheCallHasRunOnTheWorker)
{
  mWorker.NonBlockingCall(Noting("before"));
  mWorker.BlockingCall([&] { mRecorder.Note(mWorker.IsThisThread() ? "on the worker" : "elsewhere"); });
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("before", "on the worker"));
}

TEST_F(Worker, BlockingCallFromItsOwnThreadRunsDirectly)
{
  mWorker.NonBlockingCall([&] {
    mWorker.NonBlockingCall(Noting("queued"));
    mWorker.BlockingCall(Noting("direct"));
    mRecorder.Note("outer");
  });
  mClock.WaitIdle();
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("direct", "outer", "queued"));
}

TEST_F(Worker, AnExceptionOfABlockingCallReachesItsCaller)
{
  EXPECT_THROW(mWorker.BlockingCall([] { throw std::out_of_range("far"); }), std::out_of_range);
  mWorker.BlockingCall(Noting("alive"));
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("alive"));
}

TEST_F(Worker, AnExceptionFromACallIsLoggedAndDoesNotEndTheThread)
{
  const CLogCapture log;
  mWorker.NonBlockingCall([] { throw std::runtime_error("broken"); });
  mWorker.NonBlockingCall([] { throw "a text"; });
  mWorker.NonBlockingCall(Noting("alive"));
  mClock.WaitIdle();
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("alive"));
  EXPECT_EQ(log.Count(Log::ELogLevel::EError, "Exception in a call of worker worker under test: broken"), 1u);
  EXPECT_EQ(log.Count(Log::ELogLevel::EError, "Unknown exception in a call of worker worker under test"), 1u);
}

TEST_F(Worker, ARepeatingCallThatThrowsIsRepeated)
{
  const CLogCapture log;
  mWorker.AddCall([] { throw std::runtime_error("again"); }, In(1s), 1s);
  mClock.AdvanceBy(3s);
  EXPECT_EQ(log.Count("Exception in a call of worker worker under test: again"), 3u);
}

TEST_F(Worker, ACancelledCallDoesNotRun)
{
  const auto call = mWorker.AddCall(Noting("never"), In(1s), 0ns);
  EXPECT_TRUE(call->IsPending());
  call->Cancel(false);
  EXPECT_FALSE(call->IsPending());
  call->Cancel(true);
  mClock.AdvanceBy(1min);
  EXPECT_THAT(mRecorder.GetNotes(), IsEmpty());
}

TEST_F(Worker, ACancelledRepeatingCallDoesNotRunAgain)
{
  const auto call = mWorker.AddCall(NotingTime(), In(1s), 1s);
  mClock.AdvanceBy(2s);
  call->Cancel(true);
  mClock.AdvanceBy(1min);
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("1", "2"));
}

TEST_F(Worker, ARepeatingCallCanCancelItself)
{
  CCallHandle call;
  call = mWorker.AddCall(
      [&] {
        NotingTime()();
        call->Cancel(true);
        EXPECT_FALSE(call->IsPending());
      },
      In(1s), 1s);
  mClock.AdvanceBy(1min);
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("1"));
}

TEST_F(Worker, CancelWithWaitReturnsAfterTheRunInFlight)
{
  CGate gate(mClock);
  const auto call = mWorker.AddCall(
      [&] {
        gate.Pass();
        mRecorder.Note("run ended");
      },
      In(0s), 1s);
  mClock.WaitIdle();
  CThread canceller(mClock, "canceller", [&] {
    call->Cancel(true);
    mRecorder.Note("cancel returned");
  });
  mClock.WaitIdle();
  EXPECT_THAT(mRecorder.GetNotes(), IsEmpty());
  gate.Open();
  canceller.Join();
  mClock.AdvanceBy(1min);
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("run ended", "cancel returned"));
}

TEST_F(Worker, CancelWithoutWaitReturnsDuringTheRunInFlight)
{
  CGate gate(mClock);
  const auto call = mWorker.AddCall(
      [&] {
        gate.Pass();
        mRecorder.Note("run ended");
      },
      In(0s), 1s);
  mClock.WaitIdle();
  call->Cancel(false);
  mRecorder.Note("cancel returned");
  gate.Open();
  mClock.AdvanceBy(1min);
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("cancel returned", "run ended"));
}

TEST_F(Worker, OneCallCanCancelAnotherThatIsDueAtTheSameTime)
{
  const auto due = In(1s);
  CCallHandle second;
  mWorker.AddCall([&] { second->Cancel(true); }, due, 0ns);
  second = mWorker.AddCall(Noting("never"), due, 0ns);
  mClock.AdvanceBy(1min);
  EXPECT_THAT(mRecorder.GetNotes(), IsEmpty());
}

TEST_F(Worker, SyncReturnsWhenAllThatWasDueHasRun)
{
  CGate gate(mClock);
  mWorker.NonBlockingCall([&] { gate.Pass(); });
  mWorker.NonBlockingCall(Noting("queued"));
  mWorker.AddCall(Noting("later"), In(1s), 0ns);
  CThread syncer(mClock, "syncer", [&] {
    mWorker.Sync();
    mRecorder.Note("synced");
  });
  mClock.WaitIdle();
  EXPECT_THAT(mRecorder.GetNotes(), IsEmpty());
  gate.Open();
  syncer.Join();
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("queued", "synced"));
}

TEST_F(Worker, AfterCancelAndSyncTheCallIsNotInFlight)
{
  CGate gate(mClock);
  const auto call = mWorker.AddCall(
      [&] {
        gate.Pass();
        mRecorder.Note("run ended");
      },
      In(0s), 1s);
  mClock.WaitIdle();
  CThread syncer(mClock, "syncer", [&] {
    call->Cancel(false);
    mWorker.Sync();
    mRecorder.Note("synced");
  });
  mClock.WaitIdle();
  gate.Open();
  syncer.Join();
  mClock.AdvanceBy(1min);
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("run ended", "synced"));
}

TEST_F(Worker, SyncFromItsOwnThreadReturnsAtOnce)
{
  mWorker.NonBlockingCall([&] {
    mWorker.NonBlockingCall(Noting("queued"));
    mWorker.Sync();
    mRecorder.Note("outer");
  });
  mClock.WaitIdle();
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("outer", "queued"));
}

TEST_F(Worker, SyncLetsNoTimePass)
{
  mWorker.AddCall(NotingTime(), In(1s), 1s);
  for (int i = 0; i < 100; ++i) mWorker.Sync();
  EXPECT_EQ(mClock.SteadyNow(), mBegin);
}

TEST_F(Worker, ACallCanAddCalls)
{
  mWorker.AddCall(
      [&] {
        mWorker.AddCall(NotingTime(), In(2s), 0ns);
        mWorker.NonBlockingCall(NotingTime());
        mWorker.AddCall(NotingTime(), In(1s), 0ns);
      },
      In(1s), 0ns);
  mClock.AdvanceBy(10s);
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("1", "2", "3"));
}

TEST_F(Worker, ACallCanAskTheWorkerEverythingFromInside)
{
  CCallHandle call;
  call = mWorker.AddCall(
      [&] {
        EXPECT_TRUE(mWorker.IsRunning());
        EXPECT_TRUE(mWorker.IsThisThread());
        EXPECT_TRUE(call->IsPending());
        mWorker.Start();
        mWorker.Sync();
        mRecorder.Note("asked");
      },
      In(1s), 0ns);
  mClock.AdvanceBy(1s);
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("asked"));
  EXPECT_FALSE(mWorker.IsThisThread());
}

TEST_F(Worker, TwoWorkersCallEachOtherWithoutTimePassing)
{
  CWorker other(mClock, "other");
  other.Start();
  std::function<void(int)> ping;
  ping = [&](int rounds) {
    if (rounds == 0) return;
    CWorker& next = rounds % 2 == 0 ? other : mWorker;
    next.NonBlockingCall([&ping, rounds] { ping(rounds - 1); });
    if (rounds == 1) next.NonBlockingCall(NotingTime());
  };
  ping(1000);
  mClock.WaitIdle();
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("0"));
}

TEST_F(Worker, TheFunctionIsFreedWhenTheCallHasRun)
{
  auto held = std::make_shared<int>(0);
  const auto call = mWorker.NonBlockingCall([held] {});
  mWorker.Sync();
  EXPECT_EQ(held.use_count(), 1);
}

TEST_F(Worker, TheFunctionIsFreedWhenTheCallIsCancelled)
{
  auto held = std::make_shared<int>(0);
  const auto call = mWorker.AddCall([held] {}, In(1h), 1h);
  call->Cancel(false);
  EXPECT_EQ(held.use_count(), 1);
}

TEST_F(Worker, WhatAFunctionHoldsMayCallTheWorkerWhileItIsFreed)
{
  class CCallsBack {
   public:
    CCallsBack(CWorker& worker, CRecorder& recorder) : mWorker(worker), mRecorder(recorder) {}
    ~CCallsBack() { mRecorder.Note(mWorker.IsRunning() ? "running" : "stopped"); }

   private:
    CWorker& mWorker;
    CRecorder& mRecorder;
  };
  const auto add = [&] {
    return mWorker.AddCall([held = std::make_shared<CCallsBack>(mWorker, mRecorder)] {}, In(1s), 0ns);
  };
  add();
  mClock.AdvanceBy(1s);
  add()->Cancel(true);
  add();
  mWorker.Stop();
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("running", "running", "stopped"));
}

TEST_F(Worker, TheThreadCarriesTheFirstFifteenCharactersOfItsName)
{
  std::array<char, 16> name{};
  mWorker.BlockingCall([&] { pthread_getname_np(pthread_self(), name.data(), name.size()); });
  EXPECT_STREQ(name.data(), "worker under te");
}

TEST_F(Worker, CallsFromManyThreadsRunOneAtATime)
{
  constexpr int kThreads = 4;
  constexpr int kCalls = 250;
  int inside = 0;
  int total = 0;
  std::vector<std::unique_ptr<CThread>> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.push_back(std::make_unique<CThread>(mClock, "caller", [&] {
      for (int n = 0; n < kCalls; ++n) {
        // Without a lock of its own: the worker is what orders them.
        const auto call = mWorker.NonBlockingCall([&] {
          EXPECT_EQ(++inside, 1);
          ++total;
          --inside;
        });
        if (n % 10 == 0) mWorker.Sync();
        if (n % 25 == 0) mWorker.BlockingCall([&] { EXPECT_EQ(inside, 0); });
      }
    }));
  }
  for (const auto& thread : threads) thread->Join();
  mWorker.Sync();
  EXPECT_EQ(total, kThreads * kCalls);
}

TEST_F(Worker, ADayOfACallEverySecondTakesWellUnderASecond)
{
  std::atomic<int> passes{0};
  mWorker.AddCall([&] { ++passes; }, In(1s), 1s);
  const CStopwatch stopwatch;
  mClock.AdvanceBy(24h);
  EXPECT_EQ(passes, 24 * 3600);
  // Neither by work nor by waiting: processor time is what a busy machine does not change.
  EXPECT_LT(stopwatch.Processor(), 1s * kSlowdown);
  EXPECT_LT(stopwatch.Real(), 30s);
}

TEST(WorkerOnTheRealClock, RunsTimedAndImmediateCalls)
{
  CRealClock clock;
  CRecorder recorder;
  CWorker worker(clock, "real");
  worker.Start();
  const auto due = clock.SteadyNow() + 5ms;
  CGate gate(clock);
  worker.AddCall(
      [&] {
        recorder.Note(clock.SteadyNow() >= due ? "in time" : "too early");
        gate.Open();
      },
      due, 0ns);
  worker.NonBlockingCall([&] { recorder.Note("at once"); });
  gate.Pass();
  worker.Stop();
  EXPECT_THAT(recorder.GetNotes(), ElementsAre("at once", "in time"));
}

}  // namespace
