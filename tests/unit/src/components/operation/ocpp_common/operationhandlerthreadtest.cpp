// Real threads on real time: nothing is told of order here, only of what must hold whatever the order.

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>

#include "platform/clock/realclock.h"
#include "tests/unit/src/components/operation/ocpp_common/operationhandlerfixture.h"

using FakeOutCalls::Heartbeat;
using FakeOutCalls::StartTransaction;

namespace {

constexpr int kPushers = 2;
constexpr int kPushesEach = 300;

// A central system that answers some calls, fails some and leaves some to their time-out.
class CModeratelyReliablePeer {
 public:
  explicit CModeratelyReliablePeer(IClock& clock) : mClock(clock) {}

  bool Send(const std::string& frame)
  {
    CLock lock(mMutex);
    mPending.push_back(frame.substr(4, frame.find('"', 4) - 4));
    mMaxInFlight = std::max(mMaxInFlight, mPending.size());
    mClock.NotifyAll(mChanged);
    return true;
  }

  void Run(COperationHandler& handler)
  {
    for (int count = 0;; ++count) {
      std::string id;
      {
        CLock lock(mMutex);
        while (mPending.empty() && !mIsStopped) mClock.Wait(lock, mChanged);
        if (mIsStopped) return;
        id = mPending.front();
        mPending.pop_front();
      }
      if (count % 50 == 7) continue;  // silence
      if (count % 10 == 3) {
        handler.HandleInError(id, "\"InternalError\"", "\"\"", "{}", EBackofficeId::EPrimary);
      } else {
        handler.HandleInResult(id, "{}", EBackofficeId::EPrimary);
      }
      if (count % 20 == 0) handler.HandleInCall("c", "Reset", "{}", EBackofficeId::EPrimary);
      if (count % 30 == 0) handler.HandleInResult("stranger", "{}", EBackofficeId::EPrimary);
    }
  }

  void Stop()
  {
    CLock lock(mMutex);
    mIsStopped = true;
    mClock.NotifyAll(mChanged);
  }

 private:
  IClock& mClock;
  CMutex mMutex;
  CCondition mChanged;
  std::deque<std::string> mPending GUARDED_BY(mMutex);
  size_t mMaxInFlight GUARDED_BY(mMutex) = 0;
  bool mIsStopped GUARDED_BY(mMutex) = false;
};

}  // namespace

TEST(OperationHandlerThreads, PushingAnsweringTimingOutAndStoppingAtOnceLosesNoTransactionMessage)
{
  const CLogCapture log;
  CRealClock clock;
  CFakeMessageStorage storage;
  CFakeDiagnosticsClient diagnostics;
  const auto queue = std::make_shared<COperationQueueManager>(storage, diagnostics, true);
  const auto factory = std::make_shared<CFakeOperationFactory>();
  factory->behaviours[EInOpType::EReset] = {};
  const auto connector = std::make_shared<CFakeSessionClient>();
  COperationHandler handler(clock, factory, queue, &diagnostics, COperationHandler::CConnectors{connector});
  CModeratelyReliablePeer peer(clock);

  SMsgConfig config;
  config.transactionMessageAttempts = 1000;
  config.messageTimeout = std::chrono::seconds(0);  // each silence runs out at once
  handler.SetMsgConfig(config);
  std::atomic<int> timeouts{0};
  handler.SetIsBackofficeOnlineCB([] { return true; });
  handler.SetSendCB([&](const std::string& frame) { return frame.rfind("[2", 0) != 0 || peer.Send(frame); });
  handler.SetSendTimeoutCB([&](const IOperationHandler::COperation&) { ++timeouts; });
  handler.SetResetSendTimeoutCB([] {});
  handler.SetIsHandlingAllowedCB([](EDirection) { return true; });
  handler.SetGetOcppStatusCB([] { return EOcppStatus::EAccepted; });

  CMutex mutex;
  CCondition changed;
  std::set<std::string> answered;
  std::thread sender([&] { handler.RunExecutor(); });
  std::thread receiver([&] { peer.Run(handler); });
  std::vector<std::thread> pushers;
  for (int pusher = 0; pusher < kPushers; ++pusher) {
    pushers.emplace_back([&, pusher] {
      for (int i = 0; i < kPushesEach; ++i) {
        const auto id = std::to_string(pusher) + "-" + std::to_string(i);
        const auto start = StartTransaction(id);
        start->OnResponse([&, id](const std::string&) {
          connector->SetTransactionId(1);
          CLock lock(mutex);
          answered.insert(id);
          clock.NotifyAll(changed);
        });
        handler.PushOutCallOperation(start);
        handler.PushOutCallOperation(Heartbeat("h" + id));
      }
    });
  }
  for (auto& pusher : pushers) pusher.join();
  {
    CLock lock(mutex);
    const auto deadline = clock.SteadyNow() + std::chrono::seconds(60);
    while (answered.size() < kPushers * kPushesEach && clock.WaitUntil(lock, changed, deadline)) {
    }
    EXPECT_EQ(answered.size(), static_cast<size_t>(kPushers * kPushesEach));
  }
  handler.StopExecutor();
  sender.join();
  peer.Stop();
  receiver.join();
  EXPECT_GT(timeouts, 0);
}

TEST(OperationHandlerThreads, StopAtAnyMomentEndsTheSender)
{
  const CLogCapture log;
  CRealClock clock;
  CFakeMessageStorage storage;
  CFakeDiagnosticsClient diagnostics;
  for (int round = 0; round < 50; ++round) {
    const auto queue = std::make_shared<COperationQueueManager>(storage, diagnostics, true);
    COperationHandler handler(clock, std::make_shared<CFakeOperationFactory>(), queue, &diagnostics, {});
    handler.SetIsBackofficeOnlineCB([] { return true; });
    handler.SetSendCB([](const std::string&) { return true; });
    handler.SetGetOcppStatusCB([] { return EOcppStatus::EAccepted; });
    std::thread sender([&] { handler.RunExecutor(); });
    std::thread pusher([&] {
      for (int i = 0; i < 20; ++i) handler.PushOutCallOperation(Heartbeat(std::to_string(i)));
    });
    std::thread receiver([&] {
      for (int i = 0; i < 20; ++i) handler.HandleInResult(std::to_string(i), "{}", EBackofficeId::EPrimary);
    });
    handler.StopExecutor();
    sender.join();
    pusher.join();
    receiver.join();
  }
}
