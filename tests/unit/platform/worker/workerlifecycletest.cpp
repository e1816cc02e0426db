// Start, Stop, EmergencyKill and destruction of a worker, from everywhere.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>

#include "platform/clock/simulatedclock.h"
#include "platform/clock/thread.h"
#include "platform/worker/worker.h"
#include "tests/unit/platform/worker/recorder.h"

namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class WorkerLifecycle : public ::testing::Test {
 protected:
  IClock::SteadyTime In(std::chrono::nanoseconds duration) { return mClock.SteadyNow() + duration; }

  CWorker::CFunction Noting(const std::string& note)
  {
    return [this, note] { mRecorder.Note(note); };
  }

  CSimulatedClock mClock;
  CRecorder mRecorder;
  CGate mGate{mClock};
  std::unique_ptr<CWorker> mWorker = std::make_unique<CWorker>(mClock, "worker");
};

TEST_F(WorkerLifecycle, RunsOnlyBetweenStartAndStop)
{
  EXPECT_FALSE(mWorker->IsRunning());
  mWorker->Start();
  EXPECT_TRUE(mWorker->IsRunning());
  mWorker->Start();
  EXPECT_TRUE(mWorker->IsRunning());
  mWorker->Stop();
  EXPECT_FALSE(mWorker->IsRunning());
  mWorker->Stop();
  EXPECT_FALSE(mWorker->IsRunning());
}

TEST_F(WorkerLifecycle, CallsAddedBeforeStartRunAfterIt)
{
  mWorker->NonBlockingCall(Noting("at once"));
  mWorker->AddCall(Noting("late"), In(1s), 0ns);
  mWorker->AddCall(Noting("overdue"), In(-1s), 0ns);
  mClock.AdvanceBy(1min);
  EXPECT_THAT(mRecorder.GetNotes(), IsEmpty());
  mWorker->Start();
  mWorker->Sync();
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("overdue", "at once", "late"));
}

TEST_F(WorkerLifecycle, WhileNotStartedSyncAndBlockingCallReturnAtOnce)
{
  mWorker->Sync();
  mWorker->BlockingCall(Noting("never"));
  mWorker->Start();
  mWorker->Sync();
  EXPECT_THAT(mRecorder.GetNotes(), IsEmpty());
}

TEST_F(WorkerLifecycle, StopDropsWhatHasNotBegun)
{
  mWorker->Start();
  const auto later = mWorker->AddCall(Noting("later"), In(1s), 0ns);
  const auto repeating = mWorker->AddCall(Noting("repeating"), In(1s), 1s);
  mWorker->Stop();
  EXPECT_FALSE(later->IsPending());
  EXPECT_FALSE(repeating->IsPending());
  mWorker->Start();
  mClock.AdvanceBy(1min);
  EXPECT_THAT(mRecorder.GetNotes(), IsEmpty());
  later->Cancel(true);
}

TEST_F(WorkerLifecycle, StopWaitsForTheCallInFlight)
{
  mWorker->Start();
  const auto call = mWorker->AddCall(
      [&] {
        mGate.Pass();
        mRecorder.Note("call ended");
      },
      In(0s), 1s);
  mClock.WaitIdle();
  CThread stopper(mClock, "stopper", [&] {
    mWorker->Stop();
    mRecorder.Note("stopped");
  });
  mClock.WaitIdle();
  EXPECT_FALSE(mWorker->IsRunning());
  EXPECT_FALSE(call->IsPending());
  EXPECT_THAT(mRecorder.GetNotes(), IsEmpty());
  mGate.Open();
  stopper.Join();
  mClock.AdvanceBy(1min);
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("call ended", "stopped"));
}

TEST_F(WorkerLifecycle, AfterStopAndStartItRunsCallsAgain)
{
  for (int i = 0; i < 50; ++i) {
    mWorker->Start();
    mWorker->BlockingCall(Noting("run"));
    mWorker->Stop();
  }
  EXPECT_EQ(mRecorder.Count(), 50u);
}

TEST_F(WorkerLifecycle, CallsAddedBetweenStopAndStartRunAfterStart)
{
  mWorker->Start();
  mWorker->Stop();
  mWorker->NonBlockingCall(Noting("kept"));
  mWorker->Start();
  mWorker->Sync();
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("kept"));
}

TEST_F(WorkerLifecycle, ACallCanStopItsWorker)
{
  mWorker->Start();
  mWorker->AddCall(
      [&] {
        mWorker->Stop();
        mRecorder.Note(mWorker->IsRunning() ? "running" : "stopped");
      },
      In(1s), 1s);
  mWorker->AddCall(Noting("never"), In(2s), 0ns);
  mClock.AdvanceBy(1min);
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("stopped"));
  mWorker->Start();
  mWorker->BlockingCall(Noting("again"));
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("stopped", "again"));
}

TEST_F(WorkerLifecycle, ACallCanStopAndStartItsWorker)
{
  mWorker->Start();
  mWorker->AddCall(
      [&] {
        mWorker->Stop();
        mWorker->Start();
        mRecorder.Note(mWorker->IsRunning() ? "running" : "stopped");
        mWorker->AddCall(Noting("new"), In(1s), 0ns);
      },
      In(1s), 1s);
  mWorker->AddCall(Noting("dropped"), In(2s), 0ns);
  mClock.AdvanceBy(1min);
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("running", "new"));
}

TEST_F(WorkerLifecycle, StartAfterAStopFromACallWaitsForThatCallToEnd)
{
  mWorker->Start();
  mWorker->NonBlockingCall([&] {
    mWorker->Stop();
    mGate.Pass();
    mRecorder.Note("old call ended");
  });
  mClock.WaitIdle();
  CThread starter(mClock, "starter", [&] {
    mWorker->Start();
    mWorker->BlockingCall(Noting("new call"));
  });
  mClock.WaitIdle();
  EXPECT_THAT(mRecorder.GetNotes(), IsEmpty());
  mGate.Open();
  starter.Join();
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("old call ended", "new call"));
}

TEST_F(WorkerLifecycle, SyncOnAWorkerThatIsStoppingAwaitsTheCallInFlight)
{
  mWorker->Start();
  mWorker->NonBlockingCall([&] {
    mWorker->Stop();
    mGate.Pass();
    mRecorder.Note("call ended");
  });
  mClock.WaitIdle();
  CThread syncer(mClock, "syncer", [&] {
    mWorker->Sync();
    mRecorder.Note("synced");
  });
  mClock.WaitIdle();
  mGate.Open();
  syncer.Join();
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("call ended", "synced"));
}

TEST_F(WorkerLifecycle, AStopWhileOthersWaitReleasesThemWithoutRunningTheirCalls)
{
  mWorker->Start();
  mWorker->NonBlockingCall([&] {
    mGate.Pass();
    mRecorder.Note("in flight");
  });
  mClock.WaitIdle();
  CThread blocked(mClock, "blocked", [&] {
    mWorker->BlockingCall(Noting("never"));
    mRecorder.Note("released");
  });
  CThread syncer(mClock, "syncer", [&] {
    mWorker->Sync();
    mRecorder.Note("synced");
  });
  mClock.WaitIdle();
  CThread stopper(mClock, "stopper", [&] { mWorker->Stop(); });
  blocked.Join();
  mClock.WaitIdle();
  // What is in flight holds up Sync, so that nothing runs behind the back of its caller.
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("released"));
  mGate.Open();
  syncer.Join();
  stopper.Join();
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("released", "in flight", "synced"));
}

TEST_F(WorkerLifecycle, CancelWithWaitReturnsWhenAnotherThreadStopsTheWorker)
{
  mWorker->Start();
  const auto inFlight = mWorker->AddCall([&] { mGate.Pass(); }, In(0s), 1s);
  const auto queued = mWorker->AddCall(Noting("never"), In(0s), 0ns);
  mClock.WaitIdle();
  CThread canceller(mClock, "canceller", [&] {
    queued->Cancel(true);
    inFlight->Cancel(true);
    mRecorder.Note("cancelled");
  });
  CThread stopper(mClock, "stopper", [&] { mWorker->Stop(); });
  mClock.WaitIdle();
  EXPECT_THAT(mRecorder.GetNotes(), IsEmpty());
  mGate.Open();
  canceller.Join();
  stopper.Join();
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("cancelled"));
}

TEST_F(WorkerLifecycle, ACallInFlightCanCancelItselfWithWaitWhileItsWorkerIsStopped)
{
  mWorker->Start();
  CCallHandle call;
  call = mWorker->AddCall(
      [&] {
        mGate.Pass();
        call->Cancel(true);
        mRecorder.Note("call ended");
      },
      In(0s), 1s);
  mClock.WaitIdle();
  CThread stopper(mClock, "stopper", [&] { mWorker->Stop(); });
  mClock.WaitIdle();
  mGate.Open();
  stopper.Join();
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("call ended"));
}

TEST_F(WorkerLifecycle, SeveralThreadsMayStopAtOnce)
{
  mWorker->Start();
  mWorker->NonBlockingCall([&] { mGate.Pass(); });
  mClock.WaitIdle();
  std::vector<std::unique_ptr<CThread>> stoppers;
  for (int i = 0; i < 4; ++i) {
    stoppers.push_back(std::make_unique<CThread>(mClock, "stopper", [&] {
      mWorker->Stop();
      mRecorder.Note("stopped");
    }));
  }
  mClock.WaitIdle();
  EXPECT_THAT(mRecorder.GetNotes(), IsEmpty());
  mGate.Open();
  for (const auto& stopper : stoppers) stopper->Join();
  EXPECT_EQ(mRecorder.Count(), 4u);
  EXPECT_FALSE(mWorker->IsRunning());
}

TEST_F(WorkerLifecycle, StartStopAddCancelAndSyncFromManyThreadsComeToAnEnd)
{
  std::atomic<int> inside{0};
  const auto call = [&] {
    EXPECT_EQ(++inside, 1);
    --inside;
  };
  std::vector<std::unique_ptr<CThread>> threads;
  const auto repeat = [&](const std::function<void()>& step) {
    threads.push_back(std::make_unique<CThread>(mClock, "user", [step] {
      for (int i = 0; i < 300; ++i) step();
    }));
  };
  repeat([&] { mWorker->Start(); });
  repeat([&] { mWorker->Stop(); });
  repeat([&] { mWorker->AddCall(call, In(0s), 1ms)->Cancel(true); });
  repeat([&] {
    mWorker->NonBlockingCall(call);
    mWorker->Sync();
  });
  repeat([&] { mWorker->BlockingCall(call); });
  for (const auto& thread : threads) thread->Join();
  mWorker->Start();
  mWorker->BlockingCall(Noting("alive"));
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("alive"));
}

TEST_F(WorkerLifecycle, EmergencyKillDoesNotWaitForTheCallInFlight)
{
  mWorker->Start();
  const auto dropped = mWorker->AddCall(Noting("never"), In(1s), 0ns);
  const auto inFlight = mWorker->AddCall(
      [&] {
        mGate.Pass();
        EXPECT_TRUE(mWorker->IsThisThread());
        mRecorder.Note("killed call ended");
      },
      In(0s), 1s);
  mClock.WaitIdle();
  mWorker->EmergencyKill();
  EXPECT_FALSE(mWorker->IsRunning());
  EXPECT_FALSE(dropped->IsPending());
  EXPECT_FALSE(inFlight->IsPending());
  EXPECT_THAT(mRecorder.GetNotes(), IsEmpty());
  mGate.Open();
  inFlight->Cancel(true);
  mClock.AdvanceBy(1min);
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("killed call ended"));
}

TEST_F(WorkerLifecycle, StartAfterEmergencyKillDoesNotWaitForTheOldCall)
{
  mWorker->Start();
  mWorker->NonBlockingCall([&] {
    mGate.Pass();
    mRecorder.Note("killed call ended");
  });
  mClock.WaitIdle();
  mWorker->EmergencyKill();
  mWorker->Start();
  mWorker->BlockingCall(Noting("new call"));
  mGate.Open();
  mClock.WaitIdle();
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("new call", "killed call ended"));
}

TEST_F(WorkerLifecycle, EmergencyKillReleasesAWaitingStop)
{
  mWorker->Start();
  mWorker->NonBlockingCall([&] { mGate.Pass(); });
  mClock.WaitIdle();
  CThread stopper(mClock, "stopper", [&] {
    mWorker->Stop();
    mRecorder.Note("stopped");
  });
  mClock.WaitIdle();
  EXPECT_THAT(mRecorder.GetNotes(), IsEmpty());
  mWorker->EmergencyKill();
  stopper.Join();
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("stopped"));
  mGate.Open();
  mClock.WaitIdle();
}

TEST_F(WorkerLifecycle, EmergencyKillOfAnIdleOrStoppedWorkerLeavesItUsable)
{
  mWorker->EmergencyKill();
  mWorker->Start();
  mWorker->EmergencyKill();
  mWorker->Start();
  mWorker->BlockingCall(Noting("alive"));
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("alive"));
}

TEST_F(WorkerLifecycle, DestructionStopsAndWaitsForTheCallInFlight)
{
  mWorker->Start();
  mWorker->NonBlockingCall([&] {
    CMutex mutex;
    CCondition never;
    CLock lock(mutex);
    const auto end = In(5s);
    while (mClock.WaitUntil(lock, never, end)) {
    }
    mRecorder.Note("call ended");
  });
  mClock.WaitIdle();
  mWorker.reset();
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("call ended"));
}

TEST_F(WorkerLifecycle, ACallCanDestroyItsWorker)
{
  auto held = std::make_shared<int>(0);
  mWorker->Start();
  const auto dropped = mWorker->AddCall([held] {}, In(1h), 0ns);
  const auto call = mWorker->AddCall(
      [&, held] {
        mWorker.reset();
        mRecorder.Note("destroyed");
      },
      In(1s), 1s);
  mClock.AdvanceBy(1min);
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("destroyed"));
  EXPECT_EQ(held.use_count(), 1);
  EXPECT_FALSE(call->IsPending());
  EXPECT_FALSE(dropped->IsPending());
}

TEST_F(WorkerLifecycle, AHandleMayBeUsedAfterTheWorkerHasGone)
{
  mWorker->Start();
  const auto call = mWorker->AddCall(Noting("never"), In(1s), 1s);
  mWorker.reset();
  EXPECT_FALSE(call->IsPending());
  call->Cancel(true);
  call->Cancel(false);
  mClock.AdvanceBy(1min);
  EXPECT_THAT(mRecorder.GetNotes(), IsEmpty());
}

TEST_F(WorkerLifecycle, DestructionWithoutStartFreesTheQueuedFunctions)
{
  auto held = std::make_shared<int>(0);
  const auto call = mWorker->NonBlockingCall([held] {});
  mWorker.reset();
  EXPECT_EQ(held.use_count(), 1);
}

TEST_F(WorkerLifecycle, ACallInFlightDuringDestructionCannotStartTheWorkerAgain)
{
  CWorker* worker = mWorker.get();
  mWorker->Start();
  mWorker->NonBlockingCall([&, worker] {
    mGate.Pass();
    worker->Start();
    mRecorder.Note(worker->IsRunning() ? "running" : "stopped");
  });
  mClock.WaitIdle();
  CThread destroyer(mClock, "destroyer", [&] { mWorker.reset(); });
  mClock.WaitIdle();
  mGate.Open();
  destroyer.Join();
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("stopped"));
}

TEST_F(WorkerLifecycle, ADerivedClassMayReplaceTheOperations)
{
  class CCounting : public virtual CWorker {
   public:
    explicit CCounting(IClock& clock) : CWorker(clock, "derived") {}
    void Start() override
    {
      ++mStarts;
      CWorker::Start();
    }
    int mStarts = 0;
  };
  CCounting counting(mClock);
  CWorker& worker = counting;
  worker.Start();
  worker.BlockingCall(Noting("run"));
  EXPECT_EQ(counting.mStarts, 1);
  EXPECT_THAT(mRecorder.GetNotes(), ElementsAre("run"));
}

}  // namespace
