#include "src/components/operation/ocpp16/implementation/bootnotificationoperation.h"

#include "platform/diagnostics/diagnosticscommclient.h"
#include "src/components/operation/ocpp16/implementation/heartbeatoperation.h"
#include "tests/unit/src/components/ocpp/ocppfixture.h"
#include "tests/unit/support/fakesiblings.h"

namespace {

using namespace std::chrono_literals;

// Lets a test answer with a status that no payload can hold.
class CExposedBootNotification : public CBootNotificationOutCall {
 public:
  using CBootNotificationOutCall::CBootNotificationOutCall;
  using CBootNotificationOutCall::ResponseAction;
};

class CBootNotificationTest : public COcppFixture {
 protected:
  CBootNotificationTest()
  {
    mConfig->SetString("ProductSn", "SN1");
    mConfig->SetString("ProductModelName", "Model");
    mConfig->SetString("ProductVendorName", "Vendor");
    mConfig->SetString("FwIdent", "1.2.3");
    mConfig->SetBool("HwHasLte", false);
    mConfig->SetBool("MobileNetworkEnabled", false);
    Preset(130, "iccid1");
    Preset(131, "imsi1");
    CDiagnosticsCommClient::Initialize(mSignals, mClock);
  }
  ~CBootNotificationTest() override { CDiagnosticsCommClient::Terminate(); }

  void Preset(int identifier, const std::string& value)
  {
    ipc::MDiagnosticsSignal signal;
    signal.set_identifier(static_cast<ipc::ESignalIdentifier>(identifier));
    signal.add_string_values(value);
    mSignals->SetSignal(signal);
  }

  std::string MakePayload()
  {
    CBootNotificationOutCall operation(&mAccess, "id");
    operation.Prepare({});
    return operation.GetPayload();
  }
  void Answer(EBackofficeId id, const std::string& status, int64_t interval)
  {
    CBootNotificationOutCall operation(&mAccess, "id");
    operation.SetBackofficeId(id);
    operation.HandleResponse(R"({"status":")" + status + R"(","currentTime":"2001-01-01T00:00:00Z","interval":)" +
                             std::to_string(interval) + "}");
    mClock.WaitIdle();
  }

  void GiveUp(EBackofficeId id)
  {
    CBootNotificationOutCall operation(&mAccess, "id");
    operation.SetBackofficeId(id);
    operation.GiveUp();
  }

  std::shared_ptr<CFakeDiagnostics> mSignals = std::make_shared<CFakeDiagnostics>();
};

TEST_F(CBootNotificationTest, RequestCarriesTheStationsIdentity)
{
  EXPECT_EQ(MakePayload(),
            R"({"chargePointModel":"Model","chargePointSerialNumber":"SN1","chargePointVendor":"Vendor",)"
            R"("firmwareVersion":"1.2.3"})");
  for (const char* line : {"SN: SN1", "MN: Model", "VN: Vendor", "FV: 1.2.3"}) {
    EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, line), 1U) << line;
  }
}

TEST_F(CBootNotificationTest, EmptySerialAndFirmwareAreLeftOut)
{
  mConfig->SetString("ProductSn", "");
  mConfig->SetString("FwIdent", "");
  EXPECT_EQ(MakePayload(), R"({"chargePointModel":"Model","chargePointVendor":"Vendor"})");
}

TEST_F(CBootNotificationTest, ModemIsToldOnlyWhenPresentAndInUse)
{
  mConfig->SetBool("HwHasLte", true);
  EXPECT_EQ(MakePayload().find("iccid"), std::string::npos);
  EXPECT_EQ(MakePayload().find("imsi"), std::string::npos);
  mConfig->SetBool("MobileNetworkEnabled", true);
  const auto payload = MakePayload();
  EXPECT_NE(payload.find(R"("iccid":"iccid1")"), std::string::npos);
  EXPECT_NE(payload.find(R"("imsi":"imsi1")"), std::string::npos);
}

TEST_F(CBootNotificationTest, EmptyModemSignalsAreLeftOut)
{
  mConfig->SetBool("HwHasLte", true);
  mConfig->SetBool("MobileNetworkEnabled", true);
  Preset(130, "");
  const auto payload = MakePayload();
  EXPECT_EQ(payload.find("iccid"), std::string::npos);
  EXPECT_NE(payload.find("imsi"), std::string::npos);
}

TEST_F(CBootNotificationTest, OverlongVendorEndsTheBuildingAndIsLogged)
{
  mConfig->SetString("ProductVendorName", "123456789012345678901");
  EXPECT_EQ(MakePayload(), R"({"chargePointModel":"Model"})");
  EXPECT_EQ(
      mLog.Count(Log::ELogLevel::EError, "Payload is over constraint. Value too long for ChargePointVendor (21>20)"),
      1U);
}

TEST_F(CBootNotificationTest, EachOverlongFieldIsNamedInTheError)
{
  mConfig->SetBool("HwHasLte", true);
  mConfig->SetBool("MobileNetworkEnabled", true);
  const std::string text(51, 'x');
  // From the last field to the first: the building ends at the first one that is too long.
  const std::vector<std::pair<std::function<void()>, std::string>> fields{
      {[&] { Preset(131, text); }, "Imsi (51>20)"},
      {[&] { Preset(130, text); }, "Iccid (51>20)"},
      {[&] { mConfig->SetString("FwIdent", text); }, "FirmwareVersion (51>50)"},
      {[&] { mConfig->SetString("ProductSn", text); }, "ChargePointSerialNumber (51>25)"},
      {[&] { mConfig->SetString("ProductVendorName", text); }, "ChargePointVendor (51>20)"},
      {[&] { mConfig->SetString("ProductModelName", text); }, "ChargePointModel (51>20)"},
  };
  for (const auto& [lengthen, name] : fields) {
    lengthen();
    MakePayload();
    EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "Payload is over constraint. Value too long for " + name), 1U) << name;
  }
}

TEST_F(CBootNotificationTest, AcceptedStoresTheIntervalStartsTheTimersAndAnnouncesAllConnectors)
{
  const auto primary = Add(kPrimary);
  primary->SetEnabled(true);
  primary->SetChargingAllowed(true);
  Answer(kPrimary, "Accepted", 120);
  EXPECT_EQ(mConfig->ReadInt("HeartbeatInterval"), 120);
  EXPECT_EQ(primary->GetOcppStatus(), EOcppStatus::EAccepted);
  EXPECT_FALSE(primary->IsBootAllowed());
  EXPECT_EQ(mSession->approvals.back(), std::make_pair(true, kPrimary));
  EXPECT_TRUE(mLog.Contains("[Cpo Backoffice] Status: OCPP Accepted"));
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, "[Cpo Backoffice] Current Time: 2001-01-01T00:00:00Z"), 1U);
  mClock.AdvanceBy(2s);
  EXPECT_EQ(primary->TakeActions(), (CActions{"Heartbeat", "StatusNotification", "StatusNotification"}));
  EXPECT_EQ(mOcpp->GetClockAlignedScheduledInterval(), 900s);
}

TEST_F(CBootNotificationTest, EveryAcceptedBootAnnouncesAllConnectorsAnew)
{
  const auto primary = Add(kPrimary);
  primary->SetEnabled(true);
  for (int boot = 0; boot < 2; ++boot) {
    Answer(kPrimary, "Accepted", 120);
    mClock.AdvanceBy(2s);
    EXPECT_EQ(primary->TakeActions(), (CActions{"Heartbeat", "StatusNotification", "StatusNotification"}));
    for (const uint32_t connector : {0U, 1U}) primary->SetConfirmedStatus(connector, 1);
  }
}

TEST_F(CBootNotificationTest, AcceptedWithIntervalZeroStoresZeroAndBeatsEveryFourHours)
{
  const auto primary = Add(kPrimary);
  primary->SetEnabled(true);
  mConfig->SetInt("ClockAlignedDataInterval", 0);
  Answer(kPrimary, "Accepted", 0);
  EXPECT_EQ(mConfig->ReadInt("HeartbeatInterval"), 0);
  mClock.AdvanceBy(5s);
  primary->TakeActions();
  mClock.AdvanceBy(14400s);
  EXPECT_EQ(primary->TakeActions(), CActions{"Heartbeat"});
}

TEST_F(CBootNotificationTest, AcceptanceOfTheAuxiliaryUsesItsOwnKey)
{
  Add(kAuxiliary)->SetEnabled(true);
  Answer(kAuxiliary, "Accepted", 77);
  EXPECT_EQ(mConfig->ReadInt("SboHeartbeatInterval"), 77);
  EXPECT_EQ(mConfig->ReadInt("HeartbeatInterval"), 300);
}

TEST_F(CBootNotificationTest, PendingWithIntervalZeroBootsAgainAfterFifteenMinutes)
{
  const auto primary = Add(kPrimary);
  primary->SetEnabled(true);
  Answer(kPrimary, "Pending", 0);
  EXPECT_EQ(primary->GetOcppStatus(), EOcppStatus::EPending);
  EXPECT_TRUE(mLog.Contains("[Cpo Backoffice] Status: OCPP Pending. Block outgoing call for 0 seconds."));
  mClock.AdvanceBy(899s);
  EXPECT_TRUE(primary->TakeActions().empty());
  mClock.AdvanceBy(1s);
  EXPECT_EQ(primary->TakeActions(), CActions{"BootNotification"});
}

TEST_F(CBootNotificationTest, BootThatIsAnsweredWithAnErrorGoesOutAgainAfterFifteenMinutes)
{
  const auto primary = Add(kPrimary);
  primary->SetEnabled(true);
  primary->SetOnline(true);
  GiveUp(kPrimary);
  mClock.AdvanceBy(899s);
  EXPECT_TRUE(primary->TakeActions().empty());
  mClock.AdvanceBy(1s);
  EXPECT_EQ(primary->TakeActions(), CActions{"BootNotification"});
}

TEST_F(CBootNotificationTest, BootThatIsGivenUpOnAClosedLinkIsLeftToTheNextConnection)
{
  const auto primary = Add(kPrimary);
  primary->SetOnline(false);
  GiveUp(kPrimary);
  EXPECT_FALSE(primary->GetBlockingTimer().IsSet());
}

TEST_F(CBootNotificationTest, BootThatIsGivenUpAfterAcceptanceIsNotRepeated)
{
  const auto primary = Add(kPrimary);
  primary->SetOnline(true);
  primary->SetStatus(EOcppStatus::EAccepted);
  GiveUp(kPrimary);
  EXPECT_FALSE(primary->GetBlockingTimer().IsSet());
}

TEST_F(CBootNotificationTest, RejectedEndsTheHeartbeatAndWithdrawsTheApproval)
{
  const auto primary = AddAccepted(kPrimary);
  mOcpp->ScheduleOcppHeartbeat(kPrimary);
  mClock.WaitIdle();
  primary->TakeActions();
  Answer(kPrimary, "Rejected", 3600);
  EXPECT_TRUE(
      mLog.Contains("[Cpo Backoffice] Status: OCPP Rejected. Block outgoing and incoming calls for 3600 seconds."));
  EXPECT_EQ(mSession->approvals.back(), std::make_pair(false, kPrimary));
  mClock.AdvanceBy(3599s);
  EXPECT_TRUE(primary->TakeActions().empty());
}

TEST_F(CBootNotificationTest, PendingOfThePrimaryDuringASessionDeauthorizesIt)
{
  Add(kPrimary);
  mSession->state = 6;
  Answer(kPrimary, "Pending", 10);
  EXPECT_EQ(mSession->deauthorized, std::vector<EDeauthorizeReason>{EDeauthorizeReason::ERegistrationLost});
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo,
                       "[Cpo Backoffice] Deauthorizing connector 1 due to BootNotification status Pending/Rejected."),
            1U);
}

TEST_F(CBootNotificationTest, PendingWithoutASessionDeauthorizesNothing)
{
  Add(kPrimary);
  for (const int32_t state : {1, 2, 3, 10}) {
    mSession->state = state;
    Answer(kPrimary, "Pending", 10);
  }
  EXPECT_TRUE(mSession->deauthorized.empty());
}

TEST_F(CBootNotificationTest, RejectionOfTheAuxiliaryLeavesTheSessionAlone)
{
  Add(kAuxiliary);
  mSession->state = 6;
  Answer(kAuxiliary, "Rejected", 10);
  EXPECT_TRUE(mSession->deauthorized.empty());
}

TEST_F(CBootNotificationTest, AnswerForARemovedBackofficeIsLoggedAndIgnored)
{
  Answer(kAuxiliary, "Accepted", 10);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "[Tovira Hub] Backoffice not found for BootNotification response"), 1U);
  EXPECT_TRUE(mSession->approvals.empty());
}

TEST_F(CBootNotificationTest, StatusOfNoKnownNumberIsLoggedAndChangesNothing)
{
  const auto primary = AddAccepted(kPrimary);
  CExposedBootNotification operation(&mAccess, "id");
  operation.SetBackofficeId(kPrimary);
  Ocpp16::BootNotification::bootNotificationResponse response;
  response.status = static_cast<Ocpp16::BootNotification::ERegistrationStatus>(7);
  response.currentTime = "2001-01-01T00:00:00Z";
  response.interval = 10;
  operation.ResponseAction(response);
  mClock.AdvanceBy(1h);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "[Cpo Backoffice] Unknown BootNotificationConf Status"), 1U);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, "[Cpo Backoffice] Current Time: 2001-01-01T00:00:00Z"), 1U);
  EXPECT_EQ(primary->GetOcppStatus(), EOcppStatus::EAccepted);
  EXPECT_EQ(mConfig->ReadInt("HeartbeatInterval"), 300);
  EXPECT_TRUE(mSession->approvals.empty());
  EXPECT_TRUE(primary->TakeActions().empty());
}

TEST_F(CBootNotificationTest, TheBackofficesTimeChangesNothing)
{
  Add(kPrimary);
  const auto before = mClock.SystemNow();
  Answer(kPrimary, "Accepted", 10);
  CHeartbeatOutCall heartbeat(&mAccess, "id");
  heartbeat.HandleResponse(R"({"currentTime":"2099-01-01T00:00:00Z"})");
  EXPECT_EQ(mClock.SystemNow(), before);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, "Current Time: 2099-01-01T00:00:00Z"), 1U);
}

TEST_F(CBootNotificationTest, HeartbeatIsEmptyAndLoggedAtDebugLevel)
{
  CHeartbeatOutCall heartbeat(&mAccess, "id");
  heartbeat.Prepare({});
  EXPECT_EQ(heartbeat.GetRequestFrame(), R"([2,"id","Heartbeat",{}])");
  EXPECT_FALSE(heartbeat.IsInfoLogLevel());
  EXPECT_FALSE(heartbeat.IsPersistentOp());
}

}  // namespace
