#include "src/components/backoffice.h"

#include <gtest/gtest.h>

#include "platform/clock/simulatedclock.h"
#include "src/components/hostinfo.h"
#include "src/components/operation/ocpp_common/ioperationhandler.h"
#include "tests/unit/support/fakeconfig.h"
#include "tests/unit/support/fakeconfigmanager.h"
#include "tests/unit/support/fakeoperations.h"
#include "tests/unit/support/fakewebsocketclient.h"
#include "tests/unit/support/logcapture.h"

namespace {

using namespace std::chrono_literals;

// Records what the backoffice wires and pushes; its sender thread does nothing but wait for the end.
class CRecordingHandler : public IOperationHandler {
 public:
  explicit CRecordingHandler(IClock& clock) : mClock(clock) {}

  void SetMsgConfig(const SMsgConfig& config) override { msgConfig = config; }
  std::chrono::seconds GetMessageTimeout() const override { return msgConfig.messageTimeout; }
  bool HasOutCall() const override { return false; }
  std::string GetOutCallId() const override { return {}; }
  void SendErrorResponse(const std::string&, EInCallError) override {}
  void HandleInCall(const std::string& id, const std::string& action, const std::string& payload,
                    EBackofficeId backoffice) override
  {
    frames.push_back("call " + id + " " + action + " " + payload + " " + BackofficeName(backoffice));
    if (action == "Throw") throw std::bad_function_call();
  }
  void HandleInResult(const std::string& id, const std::string& payload, EBackofficeId) override
  {
    frames.push_back("result " + id + " " + payload);
  }
  void HandleInError(const std::string& id, const std::string& code, const std::string& description,
                     const std::string& details, EBackofficeId) override
  {
    frames.push_back("error " + id + " " + code + " " + description + " " + details);
  }
  void HandleOutCall(const COperation&) override {}
  EPushResult PushResendReqOperation(const COperation& operation) override
  {
    resendReq.push_back(operation);
    return EPushResult::EPassed;
  }
  EPushResult PushOutCallOperation(const COperation& operation) override
  {
    outCalls.push_back(operation);
    return EPushResult::EQueued;
  }
  uint32_t GetResendAttempts() const override { return 0; }
  uint32_t GetMaxResendAttempts() const override { return 0; }
  std::chrono::seconds GetResendInterval() const override { return 0s; }
  bool IsResendBackoffActive() const override { return false; }
  void StopExecutor() override
  {
    CLock lock(mMutex);
    mStopped = true;
    mClock.NotifyAll(mChanged);
  }
  void SetIsBackofficeOnlineCB(std::function<bool()> callback) override { isOnline = std::move(callback); }
  void SetSendCB(std::function<bool(const std::string&)> callback) override { send = std::move(callback); }
  void SetSendTimeoutCB(std::function<void(const COperation&)> callback) override { timeout = std::move(callback); }
  void SetResetSendTimeoutCB(std::function<void()> callback) override { resetTimeouts = std::move(callback); }
  void SetIsHandlingAllowedCB(std::function<bool(EDirection)> callback) override { isAllowed = std::move(callback); }
  void SetGetOcppStatusCB(std::function<EOcppStatus()> callback) override { status = std::move(callback); }
  void SetIsBlockingTimerActiveCB(std::function<bool()> callback) override { isBlocking = std::move(callback); }
  void SetFilters(const SOperationFilters&) override {}
  void RunExecutor() override
  {
    CLock lock(mMutex);
    while (!mStopped) mClock.Wait(lock, mChanged);
  }

  SMsgConfig msgConfig;
  std::vector<std::string> frames;
  std::vector<COperation> resendReq;
  std::vector<COperation> outCalls;
  std::function<bool()> isOnline;
  std::function<bool(const std::string&)> send;
  std::function<void(const COperation&)> timeout;
  std::function<void()> resetTimeouts;
  std::function<bool(EDirection)> isAllowed;
  std::function<EOcppStatus()> status;
  std::function<bool()> isBlocking;

 private:
  IClock& mClock;
  CMutex mMutex;
  CCondition mChanged;
  bool mStopped GUARDED_BY(mMutex) = false;
};

// Its timer fires for the last time while it is being destroyed.
class CHandlerWithLateTimer : public CRecordingHandler {
 public:
  explicit CHandlerWithLateTimer(IClock& clock) : CRecordingHandler(clock) {}
  ~CHandlerWithLateTimer() override
  {
    SFakeOutCall options;
    options.action = "Late";
    timeout(std::make_shared<CFakeOutCall>(options));
  }
};

std::shared_ptr<CFakeOutCall> MakeOperation(EOutCallKind kind = EOutCallKind::EOrdinary)
{
  SFakeOutCall options;
  options.action = "Fake";
  options.kind = kind;
  return std::make_shared<CFakeOutCall>(options);
}

class CBackofficeTest : public testing::Test {
 protected:
  CBackofficeTest()
  {
    mConfig->SetInt("TransactionMessageAttempts", 3);
    mConfig->SetInt("TransactionMessageRetryInterval", 60);
    mConfig->SetInt("MessageTimeout", 30);
    mConfig->SetString("AuthorizationKey", "aabb");
    mConfig->SetString("SboAuthorizationKey", "ccdd");
    mConfig->SetString("CustomerId", "STATION");
    mConfig->SetString("CustomCustomerId", "");
  }

  std::shared_ptr<CBackoffice> Make(EBackofficeId id, EChargeBeforeAcceptedPolicy policy)
  {
    CBackoffice::SParts parts;
    parts.id = id;
    parts.configManager = mConfig;
    parts.websocketClient = mLink;
    parts.operationHandler = mHandler;
    parts.persistentData = mStore;
    parts.policy = policy;
    auto backoffice = std::make_shared<CBackoffice>(mClock, parts);
    backoffice->Init();
    mClock.WaitIdle();
    return backoffice;
  }
  std::shared_ptr<CBackoffice> MakePrimary(EChargeBeforeAcceptedPolicy policy = EChargeBeforeAcceptedPolicy::ENever)
  {
    return Make(EBackofficeId::EPrimary, policy);
  }
  std::shared_ptr<CBackoffice> MakeAuxiliary()
  {
    return Make(EBackofficeId::EAuxiliary, EChargeBeforeAcceptedPolicy::ENever);
  }
  std::string LastCloseReason() const { return mLink->GetCloses().empty() ? "" : mLink->GetCloses().back().reason; }

  CLogCapture mLog;
  CSimulatedClock mClock;
  std::shared_ptr<CFakeOcppConfigManager> mConfig = std::make_shared<CFakeOcppConfigManager>();
  std::shared_ptr<CFakeConfig> mStore = std::make_shared<CFakeConfig>();
  std::shared_ptr<CHostInfo> mHostInfo =
      std::make_shared<CHostInfo>(SHostSettings{"STATION", "aabb", "host.example/ocpp"}, CHostInfo::CMdnsQuery());
  std::shared_ptr<CFakeWebsocketClient> mLink = std::make_shared<CFakeWebsocketClient>(mHostInfo);
  std::shared_ptr<CRecordingHandler> mHandler = std::make_shared<CRecordingHandler>(mClock);
};

TEST(ToChargeBeforeAcceptedPolicy, KnowsItsThreeTextsAndFallsBackToNever)
{
  const CLogCapture log;
  EXPECT_EQ(ToChargeBeforeAcceptedPolicy("never"), EChargeBeforeAcceptedPolicy::ENever);
  EXPECT_EQ(ToChargeBeforeAcceptedPolicy("acceptedOnce"), EChargeBeforeAcceptedPolicy::EAcceptedOnce);
  EXPECT_EQ(ToChargeBeforeAcceptedPolicy("always"), EChargeBeforeAcceptedPolicy::EAlways);
  EXPECT_EQ(
      log.Count(Log::ELogLevel::EWarning, "Unsupported ChargeBeforeAcceptedPolicy 'Always', falling back to 'never'"),
      0U);
  EXPECT_EQ(ToChargeBeforeAcceptedPolicy("Always"), EChargeBeforeAcceptedPolicy::ENever);
  EXPECT_EQ(
      log.Count(Log::ELogLevel::EWarning, "Unsupported ChargeBeforeAcceptedPolicy 'Always', falling back to 'never'"),
      1U);
}

TEST_F(CBackofficeTest, InitGivesTheLimitsAndWiresTheHandler)
{
  const auto backoffice = MakePrimary();
  EXPECT_EQ(mHandler->msgConfig.transactionMessageAttempts, 3U);
  EXPECT_EQ(mHandler->msgConfig.transactionMessageRetryInterval, 60s);
  EXPECT_EQ(mHandler->msgConfig.messageTimeout, 30s);
  EXPECT_FALSE(mHandler->isOnline());
  backoffice->SetOnline(true);
  EXPECT_TRUE(mHandler->isOnline());
  EXPECT_EQ(mHandler->status(), EOcppStatus::ENone);
  EXPECT_FALSE(mHandler->isBlocking());
  EXPECT_EQ(mLink->GetBackofficeId(), EBackofficeId::EPrimary);
}

TEST_F(CBackofficeTest, FramesReachTheHandlerWithTheBackofficesId)
{
  const auto backoffice = MakeAuxiliary();
  mLink->PlayMessage(R"([2,"1","Reset",{"type":"Soft"}])");
  mLink->PlayMessage(R"([3,"2",{}])");
  mLink->PlayMessage(R"([4,"3","GenericError","",{}])");
  EXPECT_EQ(mHandler->frames, (std::vector<std::string>{R"(call 1 Reset {"type":"Soft"} Tovira Hub)", "result 2 {}",
                                                        R"(error 3 "GenericError" "" {})"}));
}

TEST_F(CBackofficeTest, ExceptionOutOfTheHandlerIsLoggedAndTheLinkSurvives)
{
  const auto backoffice = MakePrimary();
  EXPECT_NO_THROW(mLink->PlayMessage(R"([2,"1","Throw",{}])"));
  EXPECT_TRUE(mLog.ContainsPart("bad_function_call"));
}

TEST_F(CBackofficeTest, PushMarksTheOperationAndWorksWhileDisabled)
{
  const auto backoffice = MakeAuxiliary();
  const auto operation = MakeOperation();
  EXPECT_EQ(backoffice->PushOutCallOperation(operation), EPushResult::EQueued);
  EXPECT_EQ(operation->GetBackofficeId(), EBackofficeId::EAuxiliary);
}

TEST_F(CBackofficeTest, PushToTheTransactionQueueIsRefusedWhileDisabled)
{
  const auto backoffice = MakePrimary();
  EXPECT_EQ(backoffice->PushResendReqOperation(MakeOperation()), EPushResult::EFailed);
  EXPECT_TRUE(mHandler->resendReq.empty());
  backoffice->SetEnabled(true);
  EXPECT_EQ(backoffice->PushResendReqOperation(MakeOperation()), EPushResult::EPassed);
}

TEST_F(CBackofficeTest, AcceptanceOfThePrimaryIsRemembered)
{
  {
    const auto backoffice = MakePrimary();
    backoffice->SetOcppAcceptance(EOcppStatus::EAccepted);
    EXPECT_TRUE(mStore->GetBool("WasAccepted", false));
    backoffice->SetOcppAcceptance(EOcppStatus::EPending);
    EXPECT_FALSE(mStore->GetBool("WasAccepted", true));
  }
}

TEST_F(CBackofficeTest, AuxiliaryNeverTouchesWasAccepted)
{
  mStore->SetBool("WasAccepted", true);
  const auto backoffice = MakeAuxiliary();
  backoffice->SetOcppAcceptance(EOcppStatus::ERejected);
  EXPECT_TRUE(mStore->GetBool("WasAccepted", false));
}

TEST_F(CBackofficeTest, PolicyAcceptedOnceAllowsChargingAtBootButNotWhilePending)
{
  mStore->SetBool("WasAccepted", true);
  const auto backoffice = MakePrimary(EChargeBeforeAcceptedPolicy::EAcceptedOnce);
  EXPECT_TRUE(backoffice->IsChargingAllowed());
  backoffice->SetOcppAcceptance(EOcppStatus::EPending);
  EXPECT_FALSE(backoffice->IsChargingAllowed());
}

TEST_F(CBackofficeTest, PolicyAcceptedOnceWithoutAnEarlierAcceptanceForbidsCharging)
{
  EXPECT_FALSE(MakePrimary(EChargeBeforeAcceptedPolicy::EAcceptedOnce)->IsChargingAllowed());
}

TEST_F(CBackofficeTest, PolicyNeverForbidsChargingEvenAfterAnEarlierAcceptance)
{
  mStore->SetBool("WasAccepted", true);
  EXPECT_FALSE(MakePrimary(EChargeBeforeAcceptedPolicy::ENever)->IsChargingAllowed());
}

TEST_F(CBackofficeTest, PolicyDecidesOnlyBeforeTheFirstAnswer)
{
  const auto backoffice = MakePrimary(EChargeBeforeAcceptedPolicy::EAlways);
  EXPECT_TRUE(backoffice->IsChargingAllowed());
  backoffice->SetOcppAcceptance(EOcppStatus::ERejected);
  EXPECT_FALSE(backoffice->IsChargingAllowed());
  backoffice->SetOcppAcceptance(EOcppStatus::EAccepted);
  EXPECT_TRUE(backoffice->IsChargingAllowed());
}

TEST_F(CBackofficeTest, AuxiliaryNeverAllowsCharging)
{
  const auto backoffice = MakeAuxiliary();
  backoffice->SetOcppAcceptance(EOcppStatus::EAccepted);
  EXPECT_FALSE(backoffice->IsChargingAllowed());
  EXPECT_EQ(backoffice->GetAuthorizeMode(), EAuthorizeMode::ERefuse);
}

TEST_F(CBackofficeTest, AuthorizeModeFollowsAcceptanceAndLink)
{
  const auto backoffice = MakePrimary(EChargeBeforeAcceptedPolicy::EAlways);
  EXPECT_EQ(backoffice->GetAuthorizeMode(), EAuthorizeMode::EOffline);
  backoffice->SetOcppAcceptance(EOcppStatus::EAccepted);
  EXPECT_EQ(backoffice->GetAuthorizeMode(), EAuthorizeMode::EOffline);
  backoffice->SetOnline(true);
  EXPECT_EQ(backoffice->GetAuthorizeMode(), EAuthorizeMode::EOnline);
  backoffice->SetOcppAcceptance(EOcppStatus::EPending);
  EXPECT_EQ(backoffice->GetAuthorizeMode(), EAuthorizeMode::ERefuse);
}

TEST_F(CBackofficeTest, BeforeAcceptanceOnlyBootAndTransactionMessagesAreAllowed)
{
  const auto backoffice = MakePrimary();
  const auto boot = MakeOperation(EOutCallKind::EBootNotification);
  const auto transaction = MakeOperation(EOutCallKind::EResendRequired);
  const auto other = MakeOperation();
  EXPECT_FALSE(backoffice->IsOperationAllowed(*boot));  // not enabled
  backoffice->SetEnabled(true);
  EXPECT_TRUE(backoffice->IsOperationAllowed(*boot));
  EXPECT_TRUE(backoffice->IsOperationAllowed(*transaction));
  EXPECT_FALSE(backoffice->IsOperationAllowed(*other));
  backoffice->SetOcppAcceptance(EOcppStatus::EAccepted);
  EXPECT_TRUE(backoffice->IsOperationAllowed(*other));
}

TEST_F(CBackofficeTest, RejectedStatusRefusesIncomingCallsWithAWarning)
{
  const auto backoffice = MakePrimary();
  EXPECT_FALSE(mHandler->isAllowed(EDirection::EIncoming));
  backoffice->SetEnabled(true);
  EXPECT_TRUE(mHandler->isAllowed(EDirection::EIncoming));
  backoffice->SetOcppAcceptance(EOcppStatus::ERejected);
  EXPECT_FALSE(mHandler->isAllowed(EDirection::EIncoming));
  EXPECT_TRUE(mHandler->isAllowed(EDirection::EOutgoing));
  EXPECT_EQ(
      mLog.Count(Log::ELogLevel::EWarning, "Ignore handling OCPP incoming operation while OCPP status is rejected."),
      1U);
}

TEST_F(CBackofficeTest, ConnectWhileDisabledCloses)
{
  const auto backoffice = MakePrimary();
  backoffice->Connect(true);
  EXPECT_EQ(mLink->GetConnectCount(), 0);
  EXPECT_EQ(LastCloseReason(), "Client is Disabling");
  backoffice->SetEnabled(true);
  backoffice->Connect(true);
  EXPECT_EQ(mLink->GetConnectCount(), 1);
  backoffice->Connect(false);
  EXPECT_EQ(mLink->GetCloses().back().code, 1000);
}

TEST_F(CBackofficeTest, FourTimeoutsInARowForceAReconnect)
{
  const auto backoffice = MakePrimary();
  backoffice->SetEnabled(true);
  backoffice->Connect(true);
  mLink->PlayOpen();
  const auto operation = MakeOperation();
  for (int i = 0; i < 3; ++i) mHandler->timeout(operation);
  mClock.WaitIdle();
  EXPECT_EQ(mLink->GetConnectCount(), 1);
  mHandler->timeout(operation);
  mClock.WaitIdle();
  EXPECT_EQ(mLink->GetConnectCount(), 2);
  EXPECT_EQ(LastCloseReason(), "Reconnecting to OCPP backoffice due to timeout");
  EXPECT_TRUE(
      mLog.Contains("Max send operation attempts reached. Attempting to reconnect to backoffice: Cpo Backoffice ..."));
  EXPECT_TRUE(mLog.Contains("Send operation timeout: 3/3 for backoffice: Cpo Backoffice"));
}

TEST_F(CBackofficeTest, TimeoutsAfterAFailedAttemptToConnectCount)
{
  const auto backoffice = MakePrimary();
  backoffice->SetEnabled(true);
  backoffice->Connect(true);
  mLink->SetStatus(EWebsocketStatus::EFailed);
  for (int i = 0; i < 4; ++i) mHandler->timeout(MakeOperation());
  mClock.WaitIdle();
  EXPECT_EQ(mLink->GetConnectCount(), 2);
  for (const char* count : {"0", "1", "2", "3"}) {
    const auto text = "Send operation timeout: " + std::string(count) + "/3 for backoffice: Cpo Backoffice";
    EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, text), 1U) << text;
  }
}

TEST_F(CBackofficeTest, AnAnsweredCallStartsTheCountOver)
{
  const auto backoffice = MakePrimary();
  backoffice->SetEnabled(true);
  backoffice->Connect(true);
  mLink->PlayOpen();
  const auto operation = MakeOperation();
  for (int i = 0; i < 3; ++i) mHandler->timeout(operation);
  mHandler->resetTimeouts();
  for (int i = 0; i < 3; ++i) mHandler->timeout(operation);
  mClock.WaitIdle();
  EXPECT_EQ(mLink->GetConnectCount(), 1);
}

TEST_F(CBackofficeTest, TimeoutsWhileConnectingDoNotCount)
{
  const auto backoffice = MakePrimary();
  backoffice->SetEnabled(true);
  backoffice->Connect(true);
  for (int i = 0; i < 5; ++i) mHandler->timeout(MakeOperation());
  mClock.WaitIdle();
  EXPECT_EQ(mLink->GetConnectCount(), 1);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning,
                       "Send Operation timed out. Action:Fake, ID:id for backoffice: Cpo Backoffice"),
            5U);
}

TEST_F(CBackofficeTest, ChangedUriRestartsTheConnectionAndTheAcceptance)
{
  const auto backoffice = MakePrimary();
  backoffice->SetEnabled(true);
  backoffice->Connect(true);
  backoffice->SetOcppAcceptance(EOcppStatus::EAccepted);
  SReconnectOptions options;
  options.updateUri = true;
  backoffice->Reconnect(options);
  mClock.WaitIdle();
  EXPECT_EQ(LastCloseReason(), "Updated OCPP URI, restarting connection");
  EXPECT_EQ(backoffice->GetOcppStatus(), EOcppStatus::ENone);
  EXPECT_FALSE(mStore->GetBool("WasAccepted", true));
  EXPECT_EQ(mLink->GetConnectCount(), 2);
}

TEST_F(CBackofficeTest, ChangedPasswordAndIdentityAreBothNamedAndTakenOver)
{
  const auto backoffice = MakePrimary();
  backoffice->SetEnabled(true);
  backoffice->Connect(true);
  mConfig->SetString("AuthorizationKey", "1122");
  mConfig->SetString("CustomCustomerId", "CUSTOM");
  SReconnectOptions options;
  options.updatePassword = true;
  options.updateIdentity = true;
  backoffice->Reconnect(options);
  mClock.WaitIdle();
  EXPECT_EQ(LastCloseReason(), "Updated BasicAuth password and ChargePointId, restarting connection");
  EXPECT_EQ(mHostInfo->GetSettings().basicAuthPassword, "1122");
  EXPECT_EQ(mHostInfo->GetSettings().chargePointId, "CUSTOM");
}

TEST_F(CBackofficeTest, AuxiliaryTakesItsOwnPasswordAndThePlainIdentity)
{
  const auto backoffice = MakeAuxiliary();
  backoffice->SetEnabled(true);
  mConfig->SetString("CustomCustomerId", "CUSTOM");
  SReconnectOptions options;
  options.updatePassword = true;
  options.updateIdentity = true;
  backoffice->Reconnect(options);
  mClock.WaitIdle();
  EXPECT_EQ(mHostInfo->GetSettings().basicAuthPassword, "ccdd");
  EXPECT_EQ(mHostInfo->GetSettings().chargePointId, "STATION");
}

TEST_F(CBackofficeTest, ReconnectOfADisabledBackofficeStaysClosed)
{
  const auto backoffice = MakePrimary();
  backoffice->SetEnabled(true);
  backoffice->Connect(true);
  backoffice->Connect(false);
  backoffice->SetEnabled(false);
  backoffice->Reconnect({});
  mClock.WaitIdle();
  EXPECT_EQ(mLink->GetConnectCount(), 1);
}

TEST_F(CBackofficeTest, DestructionClosesTheLink)
{
  auto backoffice = MakePrimary();
  backoffice->SetEnabled(true);
  backoffice->Connect(true);
  mLink->PlayOpen();
  backoffice.reset();
  EXPECT_EQ(mLink->GetStatus(), EWebsocketStatus::EClosed);
  EXPECT_EQ(LastCloseReason(), "Client is Disabling");
}

TEST_F(CBackofficeTest, ResponseTimerThatFiresDuringTheDestructionFindsTheBackofficeWhole)
{
  mHandler.reset();
  CBackoffice::SParts parts;
  parts.id = EBackofficeId::EPrimary;
  parts.configManager = mConfig;
  parts.websocketClient = mLink;
  parts.operationHandler = std::make_shared<CHandlerWithLateTimer>(mClock);
  parts.persistentData = mStore;
  auto backoffice = std::make_shared<CBackoffice>(mClock, std::move(parts));
  backoffice->Init();
  backoffice.reset();
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning,
                       "Send Operation timed out. Action:Late, ID:id for backoffice: Cpo Backoffice"),
            1U);
  EXPECT_EQ(mLink->GetConnectCount(), 0);
}

TEST_F(CBackofficeTest, ConfirmedStatusIsKeptPerConnector)
{
  const auto backoffice = MakePrimary();
  backoffice->SetConfirmedStatus(0, 1);
  backoffice->SetConfirmedStatus(1, 6);
  backoffice->SetConfirmedErrors(1, {1000, 1001});
  EXPECT_EQ(backoffice->GetConfirmedStatus(0), 1);
  EXPECT_EQ(backoffice->GetConfirmedStatus(1), 6);
  EXPECT_EQ(backoffice->GetConfirmedErrors(0), std::vector<int32_t>{});
  EXPECT_EQ(backoffice->GetConfirmedErrors(1), (std::vector<int32_t>{1000, 1001}));
  EXPECT_EQ(backoffice->GetConfirmedStatus(7), 0);
}

}  // namespace
