// The two queues of a backoffice, what of them is stored, and what diagnostics hears of their depth.

#include "src/components/operation/ocpp_common/operationqueuemanager.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>

#include "tests/unit/support/fakediagnosticsclient.h"
#include "tests/unit/support/fakemessagestorage.h"
#include "tests/unit/support/fakeoperations.h"
#include "tests/unit/support/logcapture.h"

using FakeOutCalls::Heartbeat;
using FakeOutCalls::MeterValues;
using FakeOutCalls::StartTransaction;
using FakeOutCalls::StopTransaction;

namespace {

class OperationQueueManager : public testing::Test {
 protected:
  static std::string IdOf(const std::optional<IOperationQueueManager::COperation>& operation)
  {
    return operation ? (*operation)->GetMessageId() : "none";
  }

  CLogCapture mLog;
  CFakeMessageStorage mStorage;
  CFakeDiagnosticsClient mDiagnostics;
  COperationQueueManager mPrimary{mStorage, mDiagnostics, true};
  COperationQueueManager mAuxiliary{mStorage, mDiagnostics, false};
};

}  // namespace

TEST_F(OperationQueueManager, NewWorkGoesToTheBack)
{
  EXPECT_TRUE(mPrimary.IsOpQueueEmpty());
  EXPECT_EQ(mPrimary.PushOutOperation(Heartbeat("1")), EPushResult::EQueued);
  EXPECT_EQ(mPrimary.PushOutOperation(Heartbeat("2")), EPushResult::EQueued);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, "Pushing Heartbeat to Op Queue."), 2u);
  EXPECT_EQ(mPrimary.GetNumOpInOpQueue(), 2u);
  EXPECT_EQ(IdOf(mPrimary.GetFrontOperation()), "1");
  EXPECT_EQ(IdOf(mPrimary.GetAndPopOperation()), "1");
  EXPECT_EQ(IdOf(mPrimary.GetAndPopOperation()), "2");
  EXPECT_EQ(IdOf(mPrimary.GetAndPopOperation()), "none");
  EXPECT_EQ(IdOf(mPrimary.GetFrontOperation()), "none");
}

TEST_F(OperationQueueManager, UrgentWorkGoesToTheFront)
{
  mPrimary.PushOutOperation(Heartbeat("1"));
  EXPECT_EQ(mPrimary.PushOutOperationToFront(Heartbeat("2")), EPushResult::EQueued);
  EXPECT_EQ(IdOf(mPrimary.GetFrontOperation()), "2");
}

TEST_F(OperationQueueManager, PersistentOperationIsStoredWhenItIsQueued)
{
  mPrimary.PushOutOperation(StartTransaction("start"));
  EXPECT_EQ(mStorage.GetIds(), std::vector<std::string>{"start"});
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, "Stored StartTransaction(ID:start) to storage."), 1u);
}

TEST_F(OperationQueueManager, OperationThatCannotBeStoredIsQueuedAllTheSame)
{
  mStorage.SetStoreResult(IPersistentMessageStorageManager::EStoreResult::ENotStored);
  EXPECT_EQ(mPrimary.PushOutOperation(StartTransaction("start")), EPushResult::EQueued);
  EXPECT_EQ(IdOf(mPrimary.GetFrontOperation()), "start");
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, "Storing StartTransaction(ID:start) to storage failed:, reason: 4"), 1u);
}

TEST_F(OperationQueueManager, RestoredOperationMeetsItsEntryAndIsQueued)
{
  mStorage.Preset({"start", EOutOpType::EStartTransaction, "{}"});
  EXPECT_EQ(mPrimary.PushOutOperation(StartTransaction("start")), EPushResult::EQueued);
  EXPECT_TRUE(mLog.Contains("Storing StartTransaction(ID:start) to storage failed:, reason: 2"));
  EXPECT_EQ(mStorage.GetIds(), std::vector<std::string>{"start"});
  EXPECT_EQ(mPrimary.GetNumOpInOpQueue(), 1u);
}

TEST_F(OperationQueueManager, WhetherToStoreCannotBeDecidedAndTheOperationIsQueued)
{
  const auto meterValues = MeterValues("m");
  meterValues->OnIsPersistent([] { throw std::runtime_error("no such key"); });
  EXPECT_EQ(mPrimary.PushOutOperation(meterValues), EPushResult::EQueued);
  EXPECT_EQ(mPrimary.GetNumOpInOpQueue(), 1u);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "Cannot decide whether MeterValues is to be stored. no such key"), 1u);
  mPrimary.PushResendReqOperation(meterValues);
  mPrimary.PopResendReqOperation();
  EXPECT_TRUE(mPrimary.IsResendReqOpQueueEmpty());
}

TEST_F(OperationQueueManager, NeitherMovingNorTheFrontIsStored)
{
  mPrimary.PushOutOperationToFront(StartTransaction("1"));
  mPrimary.PushResendReqOperation(StartTransaction("2"));
  EXPECT_TRUE(mStorage.GetIds().empty());
}

TEST_F(OperationQueueManager, AuxiliaryStoresNothingAndHasNoTransactionQueue)
{
  const auto start = StartTransaction("start");
  EXPECT_EQ(mAuxiliary.PushOutOperation(start), EPushResult::EQueued);
  EXPECT_EQ(mAuxiliary.PushResendReqOperation(start), EPushResult::EPassed);
  EXPECT_TRUE(mAuxiliary.IsResendReqOpQueueEmpty());
  EXPECT_EQ(mAuxiliary.GetNumOpInResendReqOpQueue(), 0u);
  EXPECT_FALSE(start->IsResent());
  EXPECT_TRUE(mStorage.GetIds().empty());
  EXPECT_EQ(mAuxiliary.GetNumOpInOpQueue(), 1u);
  mAuxiliary.PopResendReqOperation();
  EXPECT_TRUE(mDiagnostics.GetReports().empty());
}

TEST_F(OperationQueueManager, OrdinaryOperationIsRefusedByTheTransactionQueue)
{
  EXPECT_EQ(mPrimary.PushResendReqOperation(Heartbeat("1")), EPushResult::ENothing);
  EXPECT_TRUE(mPrimary.IsResendReqOpQueueEmpty());
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning,
                       "Attempted to push non transaction operation Heartbeat into transaction operation queue."),
            1u);
}

TEST_F(OperationQueueManager, TransactionQueueKeepsOrderAndMarksItsOperations)
{
  const auto start = StartTransaction("1");
  EXPECT_EQ(mPrimary.PushResendReqOperation(start), EPushResult::EPassed);
  EXPECT_TRUE(start->IsResent());
  mPrimary.PushResendReqOperation(StopTransaction("2"));
  EXPECT_TRUE(mLog.Contains("Now queue has 0 OP(s). Pushing StartTransaction to Transaction Op Queue."));
  EXPECT_TRUE(mLog.Contains("Now queue has 1 OP(s). Pushing StopTransaction to Transaction Op Queue."));
  EXPECT_EQ(IdOf(mPrimary.GetResendReqOperation()), "1");
  EXPECT_EQ(IdOf(mPrimary.GetResendReqOperation()), "1");
  mPrimary.PopResendReqOperation();
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, "Popping StartTransaction in transaction queue."), 1u);
  EXPECT_TRUE(mLog.Contains("Now the head of transaction queue is StopTransaction."));
  EXPECT_EQ(IdOf(mPrimary.GetResendReqOperation()), "2");
  mPrimary.PopResendReqOperation();
  EXPECT_TRUE(mLog.Contains("Now the transaction queue is empty."));
  EXPECT_EQ(IdOf(mPrimary.GetResendReqOperation()), "none");
}

TEST_F(OperationQueueManager, PopOnAnEmptyQueueDoesNothing)
{
  mPrimary.PopResendReqOperation();
  EXPECT_FALSE(mLog.ContainsPart("Popping"));
  EXPECT_TRUE(mDiagnostics.GetReports().empty());
}

TEST_F(OperationQueueManager, PopClearsAPersistentOperationFromTheStore)
{
  const auto start = StartTransaction("start");
  mPrimary.PushOutOperation(start);
  mPrimary.PushResendReqOperation(start);
  mPrimary.PopResendReqOperation();
  EXPECT_TRUE(mStorage.GetIds().empty());
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, "Cleared StartTransaction(ID:start) from storage."), 1u);
}

TEST_F(OperationQueueManager, PopGoesOnWhenTheStoreCannotClear)
{
  const auto start = StartTransaction("start");
  mPrimary.PushOutOperation(start);
  mPrimary.PushResendReqOperation(start);
  mStorage.FailClear(true);
  mPrimary.PopResendReqOperation();
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, "Clearing StartTransaction(ID:start) from storage failed:, reason: 1"),
            1u);
  EXPECT_TRUE(mPrimary.IsResendReqOpQueueEmpty());
}

TEST_F(OperationQueueManager, MeterValuesThatAreNotPersistentAreQueuedAndNeverTouchTheStore)
{
  const auto meterValues = MeterValues("m");
  mPrimary.PushOutOperation(meterValues);
  mPrimary.PushResendReqOperation(meterValues);
  EXPECT_EQ(mPrimary.GetNumOpInResendReqOpQueue(), 1u);
  mPrimary.PopResendReqOperation();
  EXPECT_TRUE(mStorage.GetIds().empty());
  EXPECT_FALSE(mLog.ContainsPart("from storage"));
  EXPECT_FALSE(mLog.ContainsPart("to storage"));
}

TEST_F(OperationQueueManager, MessageStoredUnderOtherSettingsIsClearedAllTheSame)
{
  const auto meterValues = MeterValues("m", true);
  mPrimary.PushOutOperation(meterValues);
  mPrimary.PushResendReqOperation(meterValues);
  meterValues->SetPersistent(false);
  mPrimary.PopResendReqOperation();
  EXPECT_TRUE(mStorage.GetIds().empty());
}

TEST_F(OperationQueueManager, ChangedPayloadIsRewrittenOnlyWhereItIsStored)
{
  const auto stop = StopTransaction("stop");
  mPrimary.PushOutOperation(stop);
  stop->UpdateTransactionId(42);
  mPrimary.UpdateStoredPayload(stop);
  EXPECT_EQ(mStorage.GetStoredPayload("stop"), R"({"transactionId":42})");
  mPrimary.UpdateStoredPayload(MeterValues("m"));
  mAuxiliary.UpdateStoredPayload(stop);
  EXPECT_EQ(mStorage.GetUpdates(), 1);
}

TEST_F(OperationQueueManager, MessageThatComesAndGoesAloneIsNotReported)
{
  mPrimary.PushResendReqOperation(StartTransaction("1"));
  mPrimary.PopResendReqOperation();
  EXPECT_TRUE(mDiagnostics.GetReports().empty());
  EXPECT_TRUE(mLog.Contains("Trivial Tx message queue sized (1), do not send to diagnostics"));
  EXPECT_TRUE(mLog.Contains("Trivial Tx message queue sized (0), do not send to diagnostics"));
}

TEST_F(OperationQueueManager, DepthsFromTwoToZeroAreReported)
{
  mPrimary.PushResendReqOperation(StartTransaction("1"));
  mPrimary.PushResendReqOperation(MeterValues("2"));
  mPrimary.PushResendReqOperation(StopTransaction("3"));
  for (int i = 0; i < 3; ++i) mPrimary.PopResendReqOperation();
  const std::vector<std::string> expected = {"queue size: 2", "queue size: 3", "queue size: 2", "queue size: 1",
                                             "queue size: 0"};
  EXPECT_EQ(mDiagnostics.GetReports(), expected);
  EXPECT_EQ(mLog.Count("Sending Tx message queue sized (2) to diagnostics"), 2u);
  mPrimary.PushResendReqOperation(StartTransaction("4"));
  mPrimary.PopResendReqOperation();
  EXPECT_EQ(mDiagnostics.GetReports(), expected);
}

TEST_F(OperationQueueManager, DiagnosticsMayLookAtTheQueueWhileItIsTold)
{
  std::vector<size_t> seen;
  mDiagnostics.OnTransactionQueueSize([&](uint32_t) { seen.push_back(mPrimary.GetNumOpInResendReqOpQueue()); });
  mPrimary.PushResendReqOperation(StartTransaction("1"));
  mPrimary.PushResendReqOperation(StopTransaction("2"));
  EXPECT_EQ(seen, std::vector<size_t>{2});
}

TEST_F(OperationQueueManager, PushesFromTheDiagnosticsCallAreReportedInOrder)
{
  bool pushed = false;
  mDiagnostics.OnTransactionQueueSize([&](uint32_t) {
    if (!std::exchange(pushed, true)) mPrimary.PushResendReqOperation(MeterValues("3"));
  });
  mPrimary.PushResendReqOperation(StartTransaction("1"));
  mPrimary.PushResendReqOperation(StopTransaction("2"));
  EXPECT_EQ(mDiagnostics.GetReports(), (std::vector<std::string>{"queue size: 2", "queue size: 3"}));
}

TEST_F(OperationQueueManager, SlowWriteToTheStoreDelaysNeitherOtherPushesNorTheSender)
{
  mPrimary.PushOutOperation(Heartbeat("1"));
  std::string taken;
  mStorage.OnStore([&] {
    // As if another thread came while the write is under way: nothing here waits for it.
    std::thread other([&] {
      mPrimary.PushOutOperation(Heartbeat("2"));
      taken = IdOf(mPrimary.GetAndPopOperation());
      EXPECT_EQ(IdOf(mPrimary.GetFrontOperation()), "2");
    });
    other.join();
  });
  mPrimary.PushOutOperation(StartTransaction("start"));
  EXPECT_EQ(taken, "1");
  EXPECT_EQ(mPrimary.GetNumOpInOpQueue(), 2u);
}

TEST_F(OperationQueueManager, OrderInTheStoreIsTheOrderInTheQueueWhoeverPushes)
{
  std::vector<std::thread> pushers;
  for (int pusher = 0; pusher < 4; ++pusher) {
    pushers.emplace_back([this, pusher] {
      for (int i = 0; i < 50; ++i) {
        mPrimary.PushOutOperation(StartTransaction(std::to_string(pusher) + "-" + std::to_string(i)));
      }
    });
  }
  for (auto& pusher : pushers) pusher.join();
  std::vector<std::string> queued;
  while (const auto operation = mPrimary.GetAndPopOperation()) queued.push_back((*operation)->GetMessageId());
  EXPECT_EQ(queued.size(), 200u);
  EXPECT_EQ(queued, mStorage.GetIds());
}

TEST_F(OperationQueueManager, EveryOperationLeavesATraceOfItsName)
{
  const auto start = StartTransaction("start");
  mPrimary.PushOutOperation(start);
  mPrimary.PushOutOperationToFront(Heartbeat("1"));
  mPrimary.PushResendReqOperation(start);
  mPrimary.UpdateStoredPayload(start);
  mPrimary.PopResendReqOperation();
  mPrimary.GetAndPopOperation();
  mPrimary.GetFrontOperation();
  mPrimary.IsOpQueueEmpty();
  mPrimary.IsResendReqOpQueueEmpty();
  mPrimary.GetNumOpInOpQueue();
  mPrimary.GetNumOpInResendReqOpQueue();
  for (const std::string name :
       {"PushOutOperation", "PushOutOperationToFront", "PushResendReqOperation", "PopResendReqOperation",
        "IsOpQueueEmpty", "IsResendReqOpQueueEmpty", "GetResendReqOperation", "GetAndPopOperation", "GetFrontOperation",
        "GetNumOpInOpQueue", "GetNumOpInResendReqOpQueue", "UpdateStoredPayload"}) {
    EXPECT_EQ(mLog.Count(Log::ELogLevel::ETrace, "COperationQueueManager::" + name), 1u) << name;
  }
}
