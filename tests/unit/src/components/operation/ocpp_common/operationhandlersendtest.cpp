// What the sender thread sends when, and what it does with what it cannot send.

#include <stdexcept>

#include "tests/unit/src/components/operation/ocpp_common/operationhandlerfixture.h"

using namespace std::chrono_literals;
using FakeOutCalls::BootNotification;
using FakeOutCalls::Heartbeat;
using FakeOutCalls::StartTransaction;

namespace {

class OperationHandlerSend : public COperationHandlerTest {};

}  // namespace

TEST_F(OperationHandlerSend, PushedOperationGoesOutAsACallFrame)
{
  Start();
  Push(Heartbeat("h1"));
  EXPECT_EQ(mLink.TakeFrames(), std::vector<std::string>{R"([2,"h1","Heartbeat",{}])"});
  EXPECT_TRUE(mHandler->HasOutCall());
  EXPECT_EQ(mHandler->GetOutCallId(), "h1");
  EXPECT_TRUE(mLog.Contains("OCPP-CP-Req : Heartbeat: New attempt"));
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo, "[Cpo Backoffice] OCPP-CP-Req : Heartbeat[h1]: {}"), 1u);
}

TEST_F(OperationHandlerSend, RequestIsLoggedAsTheOperationAsks)
{
  Start();
  SFakeOutCall options;
  options.id = "q";
  options.isInfoLogLevel = false;
  options.requestLogText = "quiet";
  const auto quiet = std::make_shared<CFakeOutCall>(options);
  quiet->SetBackofficeId(EBackofficeId::EAuxiliary);
  Push(quiet);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, "[Tovira Hub] OCPP-CP-Req : Heartbeat[q]: quiet"), 1u);
}

TEST_F(OperationHandlerSend, NothingIsSentWhileACallIsInFlight)
{
  Start();
  Push(Heartbeat("h1"));
  Push(Heartbeat("h2"));
  Push(StartTransaction("s1"));
  EXPECT_EQ(TakeSentIds(), CIds{"h1"});
  Answer("h1");
  EXPECT_EQ(TakeSentIds(), CIds{"h2"});
  Fail("h2");
  EXPECT_EQ(TakeSentIds(), CIds{"s1"});
  mClock.AdvanceBy(30s);
  EXPECT_EQ(TakeSentIds(), CIds{"s1"});
}

TEST_F(OperationHandlerSend, NullOperationIsRefused)
{
  Start();
  EXPECT_EQ(mHandler->PushOutCallOperation(nullptr), EPushResult::ENothing);
  EXPECT_EQ(mHandler->PushResendReqOperation(nullptr), EPushResult::ENothing);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "Operation is null"), 2u);
}

TEST_F(OperationHandlerSend, ClosedLinkLosesAnOrdinaryOperationAndHaltsForASecond)
{
  mIsOnline = false;
  Start();
  Push(Heartbeat("h1"));
  EXPECT_TRUE(mQueue->IsOpQueueEmpty());
  EXPECT_FALSE(mHandler->HasOutCall());
  EXPECT_EQ(mLog.Count("Halt sending of out call operation: Heartbeat"), 1u);
  mIsOnline = true;
  mClock.AdvanceBy(10s);
  EXPECT_TRUE(TakeSentIds().empty());
}

TEST_F(OperationHandlerSend, OperationThatAClosedLinkLosesIsToldSoAndOneThatWaitsIsNot)
{
  mIsOnline = false;
  Start();
  const auto heartbeat = Heartbeat("h1");
  const auto start = StartTransaction("s1");
  Push(heartbeat);
  Push(start);
  EXPECT_EQ(heartbeat->GetGiveUps(), 1);
  EXPECT_EQ(start->GetGiveUps(), 0);
}

TEST_F(OperationHandlerSend, ClosedLinkKeepsATransactionOperationAndTriesOnceASecond)
{
  mIsOnline = false;
  Start();
  Push(StartTransaction("s1"));
  EXPECT_EQ(mQueue->GetNumOpInResendReqOpQueue(), 1u);
  EXPECT_EQ(mLog.Count("Halt sending of out call operation: StartTransaction"), 1u);
  mClock.AdvanceBy(10s);
  EXPECT_EQ(mLog.Count("Halt sending of out call operation: StartTransaction"), 11u);
  EXPECT_EQ(mLog.Count("OCPP-CP-Req : StartTransaction: New attempt"), 1u);
  EXPECT_EQ(mLog.Count("OCPP-CP-Req : StartTransaction: Reschedule attempt"), 10u);
  mIsOnline = true;
  mClock.AdvanceBy(1s);
  EXPECT_EQ(TakeSentIds(), CIds{"s1"});
}

TEST_F(OperationHandlerSend, HaltHoldsTheTransactionQueueAlone)
{
  mIsOnline = false;
  Start();
  Push(StartTransaction("s1"));
  mIsOnline = true;
  Push(Heartbeat("h1"));
  EXPECT_EQ(TakeSentIds(), CIds{"h1"});
  Answer("h1");
  EXPECT_TRUE(TakeSentIds().empty());
  mClock.AdvanceBy(1s);
  EXPECT_EQ(TakeSentIds(), CIds{"s1"});
}

TEST_F(OperationHandlerSend, HaltStartsAnewWithEachRefusal)
{
  mIsOnline = false;
  Start();
  Push(StartTransaction("s1"));
  mClock.AdvanceBy(900ms);
  Push(Heartbeat("h1"));
  mIsOnline = true;
  mClock.AdvanceBy(900ms);
  EXPECT_TRUE(TakeSentIds().empty());
  mClock.AdvanceBy(100ms);
  EXPECT_EQ(TakeSentIds(), CIds{"s1"});
}

TEST_F(OperationHandlerSend, BeforeAcceptanceOnlyBootNotificationIsSent)
{
  mStatus = EOcppStatus::ENone;
  Start();
  Push(Heartbeat("h1"));
  Push(StartTransaction("s1"));
  EXPECT_TRUE(TakeSentIds().empty());
  mIsBlocked = true;
  Push(BootNotification("b1"));
  EXPECT_EQ(TakeSentIds(), CIds{"b1"});
}

TEST_F(OperationHandlerSend, TransactionQueueWaitsForAcceptance)
{
  mStatus = EOcppStatus::ENone;
  Start();
  const auto boot = BootNotification("b1");
  boot->OnResponse([this](const std::string&) { mStatus = EOcppStatus::EAccepted; });
  Push(StartTransaction("s1"));
  mClock.AdvanceBy(5s);
  Push(boot);
  EXPECT_EQ(TakeSentIds(), CIds{"b1"});
  Answer("b1");
  EXPECT_EQ(TakeSentIds(), CIds{"s1"});
}

TEST_F(OperationHandlerSend, BootNotificationIsDroppedWhilePendingAndBlocked)
{
  mStatus = EOcppStatus::EPending;
  mIsBlocked = true;
  Start();
  Push(BootNotification("b1"));
  EXPECT_TRUE(TakeSentIds().empty());
  EXPECT_TRUE(mQueue->IsOpQueueEmpty());
  EXPECT_EQ(mLog.Count("Halt sending of out call operation: BootNotification"), 1u);
  mIsBlocked = false;
  mClock.AdvanceBy(10s);
  EXPECT_TRUE(TakeSentIds().empty());
}

TEST_F(OperationHandlerSend, BootNotificationIsSentWhilePendingOrRejectedOnceTheWaitIsOver)
{
  mStatus = EOcppStatus::ERejected;
  Start();
  Push(BootNotification("b1"));
  EXPECT_EQ(TakeSentIds(), CIds{"b1"});
}

TEST_F(OperationHandlerSend, AcceptedStationIsNotHeldUpByTheBlockingTimer)
{
  mIsBlocked = true;
  Start();
  Push(Heartbeat("h1"));
  EXPECT_EQ(TakeSentIds(), CIds{"h1"});
}

TEST_F(OperationHandlerSend, WithoutCallbacksTheDefaultsComplainOnce)
{
  StartSender();
  Push(BootNotification("b1"));
  Push(BootNotification("b2"));
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "get backoffice online status callback not set"), 1u);
  mHandler->SetIsBackofficeOnlineCB([] { return true; });
  SMsgConfig config;
  config.messageTimeout = 30s;
  mHandler->SetMsgConfig(config);
  Push(BootNotification("b3"));
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "send callback is not set."), 1u);
  EXPECT_EQ(mHandler->GetOutCallId(), "b3");
  mClock.AdvanceBy(30s);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "send timeout callback is not set."), 1u);
  Answer("b3");
  Answer("b3");
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "reset send timeout callback is not set."), 1u);
}

TEST_F(OperationHandlerSend, EmptyCallbackIsIgnored)
{
  Start();
  mHandler->SetIsBackofficeOnlineCB({});
  mHandler->SetSendCB({});
  mHandler->SetSendTimeoutCB({});
  mHandler->SetResetSendTimeoutCB({});
  mHandler->SetIsHandlingAllowedCB({});
  mHandler->SetGetOcppStatusCB({});
  mHandler->SetIsBlockingTimerActiveCB({});
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "Assigned callback is nullptr, ignore assignment."), 7u);
  Push(Heartbeat("h1"));
  EXPECT_EQ(TakeSentIds(), CIds{"h1"});
}

TEST_F(OperationHandlerSend, LimitsReadBackAsSet)
{
  Wire();
  EXPECT_EQ(mHandler->GetMessageTimeout(), 30s);
  EXPECT_EQ(mHandler->GetMaxResendAttempts(), 3u);
  EXPECT_EQ(mHandler->GetResendInterval(), 60s);
  EXPECT_EQ(mHandler->GetResendAttempts(), 0u);
  EXPECT_FALSE(mHandler->IsResendBackoffActive());
  EXPECT_EQ(mHandler->GetOutCallId(), "");
}

TEST_F(OperationHandlerSend, TimeoutFreesTheSlotAndTellsTheOperation)
{
  Start();
  const auto heartbeat = Heartbeat("h1");
  Push(heartbeat);
  mClock.AdvanceBy(30s - 1ns);
  EXPECT_TRUE(mHandler->HasOutCall());
  mClock.AdvanceBy(1ns);
  EXPECT_FALSE(mHandler->HasOutCall());
  EXPECT_EQ(heartbeat->GetTimeouts(), 1);
  EXPECT_EQ(mSendTimeouts, 1);
  mClock.AdvanceBy(1h);
  EXPECT_EQ(mSendTimeouts, 1);
}

TEST_F(OperationHandlerSend, AnswerInTimeStopsTheTimer)
{
  Start();
  Push(Heartbeat("h1"));
  mClock.AdvanceBy(29s);
  Answer("h1");
  Push(Heartbeat("h2"));
  mClock.AdvanceBy(29s);
  EXPECT_EQ(mHandler->GetOutCallId(), "h2");
  EXPECT_EQ(mSendTimeouts, 0);
  mClock.AdvanceBy(1s);
  EXPECT_EQ(mSendTimeouts, 1);
}

TEST_F(OperationHandlerSend, TimedOutBootNotificationGoesAheadOfAllElse)
{
  mStatus = EOcppStatus::ENone;
  Start();
  Push(BootNotification("b1"));
  Push(Heartbeat("h1"));
  EXPECT_EQ(TakeSentIds(), CIds{"b1"});
  mClock.AdvanceBy(30s);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "Boot Notification timed out, resending..."), 1u);
  EXPECT_EQ(TakeSentIds(), CIds{"b1"});
}

TEST_F(OperationHandlerSend, TimedOutBootNotificationIsNotDoubledBeforeAnother)
{
  mStatus = EOcppStatus::ENone;
  Start();
  Push(BootNotification("b1"));
  Push(BootNotification("b2"));
  EXPECT_EQ(TakeSentIds(), CIds{"b1"});
  mClock.AdvanceBy(30s);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "Boot Notification timed out, resending..."), 1u);
  EXPECT_EQ(TakeSentIds(), CIds{"b2"});
  EXPECT_TRUE(mQueue->IsOpQueueEmpty());
}

TEST_F(OperationHandlerSend, CallSentPastTheSenderTakesOverTheRunningTimer)
{
  Wire();
  const auto first = Heartbeat("h1");
  const auto second = Heartbeat("h2");
  mHandler->HandleOutCall(first);
  mClock.AdvanceBy(20s);
  mHandler->HandleOutCall(second);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "mOutCallTimeoutCheck already exists. Ignore this overwrite"), 1u);
  EXPECT_EQ(mHandler->GetOutCallId(), "h2");
  mClock.AdvanceBy(10s);
  EXPECT_EQ(first->GetTimeouts(), 0);
  EXPECT_EQ(second->GetTimeouts(), 1);
  EXPECT_FALSE(mHandler->HasOutCall());
}

TEST_F(OperationHandlerSend, FailureWhileSendingDoesNotEndTheSender)
{
  Start();
  const auto broken = Heartbeat("h1");
  broken->OnRequestFrame([] { throw std::runtime_error("no frame"); });
  Push(broken);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "Sending Heartbeat failed. no frame"), 1u);
  EXPECT_FALSE(mHandler->HasOutCall());
  Push(Heartbeat("h2"));
  EXPECT_EQ(TakeSentIds(), CIds{"h2"});
}

TEST_F(OperationHandlerSend, TimeoutCallbackMayPush)
{
  Start();
  mHandler->SetSendTimeoutCB([this](const IOperationHandler::COperation&) {
    EXPECT_TRUE(mHandler->HasOutCall());
    mHandler->PushOutCallOperation(Heartbeat("h2"));
  });
  Push(Heartbeat("h1"));
  mClock.AdvanceBy(30s);
  EXPECT_EQ(TakeSentIds(), (CIds{"h1", "h2"}));
}

TEST_F(OperationHandlerSend, StoppedSenderSendsNoMore)
{
  Start();
  Stop();
  EXPECT_EQ(mHandler->PushOutCallOperation(Heartbeat("h1")), EPushResult::EQueued);
  mClock.AdvanceBy(1min);
  EXPECT_TRUE(TakeSentIds().empty());
  EXPECT_EQ(mQueue->GetNumOpInOpQueue(), 1u);
}

TEST_F(OperationHandlerSend, QueueOutlivesAHandlerThatIsDestroyedWithACallInFlight)
{
  Start();
  Push(StartTransaction("s1"));
  Stop();
  mHandler.reset();
  mClock.AdvanceBy(1min);
  EXPECT_EQ(mSendTimeouts, 0);
  EXPECT_EQ(mQueue->GetNumOpInResendReqOpQueue(), 1u);
  mHandler = std::make_unique<COperationHandler>(mClock, mFactory, mQueue, nullptr, COperationHandler::CConnectors{});
}

TEST_F(OperationHandlerSend, EndlessTimeoutIsNoFault)
{
  Start();
  SMsgConfig config;
  config.messageTimeout = std::chrono::seconds::max();
  mHandler->SetMsgConfig(config);
  Push(Heartbeat("h1"));
  mClock.AdvanceBy(24h);
  EXPECT_TRUE(mHandler->HasOutCall());
  Answer("h1");
  config.messageTimeout = -1s;
  mHandler->SetMsgConfig(config);
  Push(Heartbeat("h2"));
  EXPECT_FALSE(mHandler->HasOutCall());
}
