// Transaction messages: order, transaction ids, repeats after errors, and what the store holds meanwhile.

#include <stdexcept>

#include "tests/unit/src/components/operation/ocpp_common/operationhandlerfixture.h"

using namespace std::chrono_literals;
using FakeOutCalls::Heartbeat;
using FakeOutCalls::MeterValues;
using FakeOutCalls::StartTransaction;
using FakeOutCalls::StopTransaction;

namespace {

class OperationHandlerTransaction : public COperationHandlerTest {
 protected:
  // A StartTransaction whose confirmation gives `transactionId`.
  std::shared_ptr<CFakeOutCall> Starting(const std::string& id, int64_t transactionId)
  {
    const auto start = StartTransaction(id);
    start->OnResponse([this, transactionId](const std::string&) { mConnector->SetTransactionId(transactionId); });
    return start;
  }
  std::shared_ptr<CFakeOutCall> Stopping(const std::string& id)
  {
    const auto stop = StopTransaction(id);
    stop->OnResponse([this](const std::string&) { mConnector->ClearTransactionId(); });
    return stop;
  }
};

class AuxiliaryOperationHandler : public COperationHandlerTest {
 protected:
  AuxiliaryOperationHandler() : COperationHandlerTest(false) {}
};

}  // namespace

TEST_F(OperationHandlerTransaction, MessagesGoOutOneByOneInOrder)
{
  Start();
  Push(StartTransaction("1"));
  Push(MeterValues("2"));
  Push(StopTransaction("3"));
  EXPECT_EQ(TakeSentIds(), CIds{"1"});
  Answer("1");
  EXPECT_EQ(TakeSentIds(), CIds{"2"});
  Answer("2");
  EXPECT_EQ(TakeSentIds(), CIds{"3"});
  Answer("3");
  EXPECT_TRUE(mQueue->IsResendReqOpQueueEmpty());
  EXPECT_TRUE(mStorage.GetIds().empty());
}

TEST_F(OperationHandlerTransaction, MessageBehindAnotherWaitsAtTheBack)
{
  mIsOnline = false;
  Start();
  Push(StartTransaction("1"));
  Push(StopTransaction("2"));
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo,
                       "Resend required queue is not empty, 2 in the queue, the head of the queue is "
                       "StartTransaction."),
            1u);
  EXPECT_EQ(mQueue->GetNumOpInResendReqOpQueue(), 2u);
  EXPECT_EQ(mStorage.GetIds(), (CIds{"1", "2"}));
}

TEST_F(OperationHandlerTransaction, StopQueuedBehindUnconfirmedStartGoesOutWithTheConfirmedId)
{
  mIsOnline = false;
  Start();
  Push(Starting("start", 42));
  Push(MeterValues("meter"));
  Push(Stopping("stop"));
  mIsOnline = true;
  mClock.AdvanceBy(1s);
  EXPECT_EQ(mLink.TakeFrames(), std::vector<std::string>{R"([2,"start","StartTransaction",{}])"});
  Answer("start");
  EXPECT_EQ(mLink.TakeFrames(), std::vector<std::string>{R"([2,"meter","MeterValues",{"transactionId":42}])"});
  Answer("meter");
  EXPECT_EQ(mLink.TakeFrames(), std::vector<std::string>{R"([2,"stop","StopTransaction",{"transactionId":42}])"});
  Answer("stop");
}

TEST_F(OperationHandlerTransaction, TwoSessionsQueuedOfflineKeepTheirIdsApart)
{
  mIsOnline = false;
  Start();
  Push(Starting("start1", 1));
  Push(Stopping("stop1"));
  Push(Starting("start2", 2));
  Push(Stopping("stop2"));
  mIsOnline = true;
  mClock.AdvanceBy(1s);
  std::vector<std::string> frames;
  for (const std::string id : {"start1", "stop1", "start2", "stop2"}) {
    for (const auto& frame : mLink.TakeFrames()) frames.push_back(frame);
    Answer(id);
  }
  const std::vector<std::string> expected = {
      R"([2,"start1","StartTransaction",{}])",
      R"([2,"stop1","StopTransaction",{"transactionId":1}])",
      R"([2,"start2","StartTransaction",{}])",
      R"([2,"stop2","StopTransaction",{"transactionId":2}])",
  };
  EXPECT_EQ(frames, expected);
}

TEST_F(OperationHandlerTransaction, StoredPayloadOfTheStopAloneFollowsTheTransactionId)
{
  Start();
  Push(Starting("start", 42));
  Push(FakeOutCalls::MeterValues("values", true));
  Push(Stopping("stop"));
  EXPECT_EQ(mStorage.GetStoredPayload("stop"), R"({"transactionId":-1})");
  mLink.TakeFrames();
  Answer("start");
  // Repeated by another life of the process, this one asks the connector, which has the id until the stop is answered.
  EXPECT_EQ(mLink.TakeFrames(), std::vector<std::string>{R"([2,"values","MeterValues",{"transactionId":42}])"});
  EXPECT_EQ(mStorage.GetStoredPayload("values"), R"({"transactionId":-1})");
  Answer("values");
  EXPECT_EQ(mStorage.GetStoredPayload("stop"), R"({"transactionId":42})");
  // Killed from here on, the message would be repeated with its id although the connector has none any more.
  mClock.AdvanceBy(30s);
  EXPECT_EQ(mStorage.GetUpdates(), 1);
}

TEST_F(OperationHandlerTransaction, CurrentTransactionIdIsGivenBeforeEachAttempt)
{
  Start();
  const auto stop = Stopping("stop");
  Push(stop);
  mConnector->SetTransactionId(7);
  mClock.AdvanceBy(30s);
  EXPECT_EQ(stop->GetTransactionIdsGiven(), (std::vector<int64_t>{-1, 7}));
}

TEST_F(OperationHandlerTransaction, MessageBehindAnotherIsGivenNoIdBeforeItsTurn)
{
  Start();
  mConnector->SetTransactionId(6);
  Push(StartTransaction("start"));
  const auto stop = Stopping("stop");
  Push(stop);
  EXPECT_TRUE(stop->GetTransactionIdsGiven().empty());
  mConnector->SetTransactionId(7);
  Answer("start");
  EXPECT_EQ(stop->GetTransactionIdsGiven(), std::vector<int64_t>{7});
}

TEST_F(OperationHandlerTransaction, OperationWithoutAConnectorKeepsItsPayload)
{
  Start();
  auto options = FakeOutCalls::TransactionOptions("a", "MeterValues", false);
  options.connectorIndex.reset();
  const auto without = std::make_shared<CFakeOutCall>(options);
  options.id = "b";
  options.connectorIndex = static_cast<uint8_t>(1);
  const auto beyond = std::make_shared<CFakeOutCall>(options);
  Push(without);
  Answer("a");
  Push(beyond);
  EXPECT_TRUE(without->GetTransactionIdsGiven().empty());
  EXPECT_TRUE(beyond->GetTransactionIdsGiven().empty());
  EXPECT_EQ(TakeSentIds(), (CIds{"a", "b"}));
}

TEST_F(OperationHandlerTransaction, FailureToUpdateTheIdDoesNotLoseTheMessage)
{
  Start();
  const auto stop = StopTransaction("stop");
  stop->OnUpdate([] { throw std::runtime_error("no id"); });
  Push(stop);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "Cannot update the transaction id of StopTransaction. no id"), 1u);
  EXPECT_EQ(TakeSentIds(), CIds{"stop"});
}

TEST_F(OperationHandlerTransaction, TimedOutMessageIsRepeatedAtOnceWithoutCountingAnAttempt)
{
  Start();
  Push(StartTransaction("1"));
  for (int i = 0; i < 10; ++i) mClock.AdvanceBy(30s);
  EXPECT_EQ(TakeSentIds().size(), 11u);
  EXPECT_EQ(mHandler->GetResendAttempts(), 0u);
  EXPECT_EQ(mSendTimeouts, 10);
  Answer("1");
  EXPECT_TRUE(mQueue->IsResendReqOpQueueEmpty());
}

TEST_F(OperationHandlerTransaction, LateAnswerToTheFirstAttemptCountsForTheSecond)
{
  Start();
  const auto start = StartTransaction("1");
  Push(start);
  mClock.AdvanceBy(30s);
  Answer("1");
  Answer("1");
  EXPECT_EQ(start->GetResponses().size(), 1u);
  EXPECT_EQ(TakeSentIds(), (CIds{"1", "1"}));
}

TEST_F(OperationHandlerTransaction, ErrorsBringLinearlyGrowingPausesUntilTheLimit)
{
  Start();
  Push(StartTransaction("1"));
  EXPECT_EQ(TakeSentIds(), CIds{"1"});
  Fail("1");
  EXPECT_EQ(mHandler->GetResendAttempts(), 1u);
  EXPECT_TRUE(mHandler->IsResendBackoffActive());
  mClock.AdvanceBy(60s - 1ns);
  EXPECT_TRUE(TakeSentIds().empty());
  mClock.AdvanceBy(1ns);
  EXPECT_FALSE(mHandler->IsResendBackoffActive());
  EXPECT_EQ(TakeSentIds(), CIds{"1"});
  Fail("1");
  mClock.AdvanceBy(120s - 1ns);
  EXPECT_TRUE(TakeSentIds().empty());
  mClock.AdvanceBy(1ns);
  EXPECT_EQ(TakeSentIds(), CIds{"1"});
  Fail("1");
  EXPECT_EQ(
      mLog.Count(Log::ELogLevel::EInfo, "[Cpo Backoffice] StartTransaction operation has reached max retry attempts"),
      1u);
  EXPECT_EQ(mHandler->GetResendAttempts(), 0u);
  EXPECT_FALSE(mHandler->IsResendBackoffActive());
  EXPECT_TRUE(mQueue->IsResendReqOpQueueEmpty());
  EXPECT_TRUE(mStorage.GetIds().empty());
  mClock.AdvanceBy(1h);
  EXPECT_TRUE(TakeSentIds().empty());
}

TEST_F(OperationHandlerTransaction, GivenUpMessageMakesWayForTheNext)
{
  Start();
  SMsgConfig config;
  config.transactionMessageAttempts = 1;
  config.messageTimeout = 30s;
  mHandler->SetMsgConfig(config);
  Push(StartTransaction("1"));
  Push(StopTransaction("2"));
  Fail("1");
  EXPECT_EQ(TakeSentIds(), (CIds{"1", "2"}));
}

TEST_F(OperationHandlerTransaction, AnswerAfterAnErrorStartsTheCountAnew)
{
  Start();
  Push(StartTransaction("1"));
  Fail("1");
  mClock.AdvanceBy(60s);
  Answer("1");
  EXPECT_EQ(mHandler->GetResendAttempts(), 0u);
}

TEST_F(OperationHandlerTransaction, TimeoutBetweenErrorsDoesNotCount)
{
  Start();
  Push(StartTransaction("1"));
  Fail("1");
  mClock.AdvanceBy(60s);  // second attempt
  mClock.AdvanceBy(30s);  // times out, third
  Fail("1");
  EXPECT_EQ(mHandler->GetResendAttempts(), 2u);
  EXPECT_TRUE(mHandler->IsResendBackoffActive());
}

TEST_F(OperationHandlerTransaction, HeartbeatGoesOutWhileTheTransactionQueueBacksOff)
{
  Start();
  Push(StartTransaction("1"));
  Fail("1");
  TakeSentIds();
  Push(Heartbeat("h1"));
  EXPECT_EQ(TakeSentIds(), CIds{"h1"});
  Answer("h1");
  mClock.AdvanceBy(60s);
  EXPECT_EQ(TakeSentIds(), CIds{"1"});
}

TEST_F(OperationHandlerTransaction, OrdinaryWorkHasPriorityOverTheTransactionQueue)
{
  mIsOnline = false;
  Start();
  Push(StartTransaction("1"));
  Push(StopTransaction("2"));
  mIsOnline = true;
  mClock.AdvanceBy(1s);
  Push(Heartbeat("h1"));
  Answer("1");
  EXPECT_EQ(TakeSentIds(), (CIds{"1", "h1"}));
  Answer("h1");
  EXPECT_EQ(TakeSentIds(), CIds{"2"});
}

TEST_F(OperationHandlerTransaction, NotImplementedDropsTheMessageAtTheFirstAttempt)
{
  Start();
  Push(StopTransaction("1"));
  Fail("1", "\"NotImplemented\"");
  EXPECT_EQ(mLog.Count("[Cpo Backoffice] StopTransaction operation is not implemented by backend. Will not attempt "
                       "resend"),
            1u);
  EXPECT_TRUE(mQueue->IsResendReqOpQueueEmpty());
  EXPECT_TRUE(mStorage.GetIds().empty());
  EXPECT_EQ(mHandler->GetResendAttempts(), 0u);
}

TEST_F(OperationHandlerTransaction, NotImplementedCountsWithItsQuotesAlone)
{
  Start();
  Push(StopTransaction("1"));
  Fail("1", "NotImplemented");
  EXPECT_EQ(mQueue->GetNumOpInResendReqOpQueue(), 1u);
  EXPECT_TRUE(mHandler->IsResendBackoffActive());
}

TEST_F(OperationHandlerTransaction, AnswerThatCannotBeReadPopsWithoutRepeat)
{
  Start();
  const auto start = StartTransaction("1");
  start->OnResponse([](const std::string&) { throw std::runtime_error("not JSON"); });
  Push(start);
  Answer("1", "{broken");
  EXPECT_TRUE(mQueue->IsResendReqOpQueueEmpty());
  EXPECT_TRUE(mStorage.GetIds().empty());
  mClock.AdvanceBy(1h);
  EXPECT_EQ(TakeSentIds(), CIds{"1"});
}

TEST_F(OperationHandlerTransaction, MessageThatReachedItsLimitIsGivenUpOnce)
{
  Start();
  const auto start = StartTransaction("1");
  Push(start);
  Fail("1");
  mClock.AdvanceBy(60s);
  Fail("1");
  mClock.AdvanceBy(120s);
  EXPECT_EQ(start->GetGiveUps(), 0);
  Fail("1");
  EXPECT_EQ(start->GetGiveUps(), 1);
}

TEST_F(OperationHandlerTransaction, MessageThatIsNotImplementedOrWhoseAnswerCannotBeReadIsGivenUp)
{
  Start();
  const auto refused = StartTransaction("1");
  Push(refused);
  Fail("1", "\"NotImplemented\"");
  EXPECT_EQ(refused->GetGiveUps(), 1);
  const auto garbled = StartTransaction("2");
  garbled->OnResponse([](const std::string&) { throw std::runtime_error("not JSON"); });
  Push(garbled);
  Answer("2", "{broken");
  EXPECT_EQ(garbled->GetGiveUps(), 1);
}

TEST_F(OperationHandlerTransaction, AnsweredMessageIsNotGivenUp)
{
  Start();
  const auto start = StartTransaction("1");
  Push(start);
  mClock.AdvanceBy(30s);
  Answer("1");
  EXPECT_EQ(start->GetGiveUps(), 0);
}

TEST_F(OperationHandlerTransaction, MessageWhoseResultsDoNotCountIsNotGivenUpEither)
{
  Start();
  const auto start = StartTransaction("1");
  SOperationFilters filters;
  filters.outCallResults = {std::type_index(start->GetTypeInfo())};
  mHandler->SetFilters(filters);
  Push(start);
  Fail("1", "\"NotImplemented\"");
  EXPECT_EQ(start->GetGiveUps(), 0);
  EXPECT_TRUE(mQueue->IsResendReqOpQueueEmpty());
}

TEST_F(OperationHandlerTransaction, FailureToGiveUpIsLoggedAndTheMessageGoes)
{
  Start();
  const auto start = StartTransaction("1");
  start->OnGiveUp([] { throw std::runtime_error("no store"); });
  Push(start);
  Fail("1", "\"NotImplemented\"");
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "Giving up StartTransaction failed. no store"), 1u);
  EXPECT_TRUE(mQueue->IsResendReqOpQueueEmpty());
}

TEST_F(OperationHandlerTransaction, MessageThatCouldNotBeStoredStillReachesTheWire)
{
  mStorage.SetStoreResult(IPersistentMessageStorageManager::EStoreResult::ENotStored);
  Start();
  Push(StartTransaction("1"));
  EXPECT_EQ(TakeSentIds(), CIds{"1"});
}

TEST_F(OperationHandlerTransaction, MessagePushedStraightIntoTheTransactionQueueIsSent)
{
  Start();
  EXPECT_EQ(mHandler->PushResendReqOperation(StartTransaction("1")), EPushResult::EPassed);
  EXPECT_EQ(mHandler->PushResendReqOperation(Heartbeat("h")), EPushResult::ENothing);
  mClock.WaitIdle();
  EXPECT_EQ(TakeSentIds(), CIds{"1"});
}

TEST_F(OperationHandlerTransaction, EndlessRetryIntervalIsNoFault)
{
  Start();
  SMsgConfig config;
  config.transactionMessageAttempts = 10;
  config.transactionMessageRetryInterval = std::chrono::seconds::max();
  config.messageTimeout = 30s;
  mHandler->SetMsgConfig(config);
  Push(StartTransaction("1"));
  Fail("1");
  mClock.AdvanceBy(24h);
  EXPECT_TRUE(mHandler->IsResendBackoffActive());
  EXPECT_EQ(TakeSentIds(), CIds{"1"});
}

TEST_F(AuxiliaryOperationHandler, TransactionMessagesPassWithoutQueueOrStore)
{
  Start();
  Push(StartTransaction("1"));
  Push(StopTransaction("2"));
  EXPECT_EQ(TakeSentIds(), CIds{"1"});
  EXPECT_EQ(mQueue->GetNumOpInResendReqOpQueue(), 0u);
  Answer("1");
  EXPECT_EQ(TakeSentIds(), CIds{"2"});
  Answer("2");
  EXPECT_TRUE(mStorage.GetIds().empty());
  EXPECT_TRUE(mDiagnostics.GetReports().empty());
}

TEST_F(AuxiliaryOperationHandler, MessageThatMeetsAClosedLinkOrTimesOutIsLost)
{
  mIsOnline = false;
  Start();
  Push(StartTransaction("1"));
  mIsOnline = true;
  mClock.AdvanceBy(10s);
  EXPECT_TRUE(TakeSentIds().empty());
  Push(StopTransaction("2"));
  mClock.AdvanceBy(10min);
  EXPECT_EQ(TakeSentIds(), CIds{"2"});
}

TEST_F(AuxiliaryOperationHandler, ErrorIsNotFollowedByARepeat)
{
  Start();
  Push(StartTransaction("1"));
  Fail("1");
  mClock.AdvanceBy(1h);
  EXPECT_EQ(TakeSentIds(), CIds{"1"});
}
