#include "src/components/operation/ocpp16/implementation/stoptransactionoperation.h"

#include "tests/unit/src/components/operation/ocpp16/implementation/transactionfixture.h"

namespace {

using EKey = EOperationParameter;
using nlohmann::json;

constexpr int64_t kLocal = 4;
constexpr int64_t kPowerLoss = 6;

class StopTransaction : public CTransactionTest {
 protected:
  StopTransaction() { mSession->SettleTransaction("start", 42), mSession->BeginTransaction("start"); }

  static COperationParameters Parameters(int64_t reason = kLocal, const ipc::MMeterData& reading = SessionReading())
  {
    return {{EKey::EConnectorId, int64_t{1}}, {EKey::EMeterData, reading}, {EKey::EStopReason, reason}};
  }
  CStopTransactionOutCall Stopped(const COperationParameters& parameters = Parameters())
  {
    return Make<CStopTransactionOutCall>(parameters);
  }
  json Payload(const COperationParameters& parameters = Parameters())
  {
    return Checked("StopTransaction.req", Stopped(parameters).GetPayload());
  }
  CStopTransactionOutCall Restored(const std::string& payload)
  {
    return CStopTransactionOutCall(&mAccess, "id", SStoredPayload{payload});
  }
  void EnableSignedData()
  {
    mConfig->SetBool("HwHasEichrechtLaserMarking", true);
    mConfig->SetBool("EichrechtSupportEnabled", true);
  }
  static ipc::MMeterData SignedReading()
  {
    auto reading = SessionReading();
    reading.set_signed_data("OCMF|{\"FV\":\"1.0\"}|{\"SD\":\"3045\"}");
    return reading;
  }
};

json Register(const std::string& context, const std::string& value)
{
  return {{"value", value},       {"context", context},
          {"format", "Raw"},      {"measurand", "Energy.Active.Import.Register"},
          {"location", "Outlet"}, {"unit", "Wh"}};
}

json Entry(const std::string& timestamp, const json& samples)
{
  return {{"timestamp", timestamp}, {"sampledValue", samples}};
}

const std::string kStart = "2026-01-15T10:00:00Z";
const std::string kEnd = "2026-01-15T11:00:00Z";
const std::string kRegister = "Energy.Active.Import.Register";
const json kSigned = {
    {"value", "OCMF|{\"FV\":\"1.0\"}|{\"SD\":\"3045\"}"}, {"context", "Transaction.End"}, {"format", "SignedData"}};

}  // namespace

TEST_F(StopTransaction, RequestCarriesTransactionTagRegisterInWhTimeAndReason)
{
  const auto operation = Stopped();
  EXPECT_EQ(operation.GetPayload(),
            R"({"idTag":"TAG","meterStop":15000,"reason":"Local","timestamp":"2026-01-15T11:00:00Z",)"
            R"("transactionId":42})");
  EXPECT_EQ(operation.GetRequestLogText(),
            "IdTag:TAG;MeterStop:15000;Timestamp:2026-01-15T11:00:00Z;TransactionId:42;Reason:Local");
  Checked("StopTransaction.req", operation.GetPayload());
}

TEST_F(StopTransaction, IsResentAndPersistent)
{
  const auto operation = Stopped();
  EXPECT_EQ(operation.GetAction(), "StopTransaction");
  EXPECT_TRUE(operation.IsResendRequiredOp());
  EXPECT_TRUE(operation.IsPersistentOp());
  EXPECT_EQ(operation.GetConnectorIndex(), 0);
}

TEST_F(StopTransaction, EndRegisterOfZeroGivesWayToTheRunningRegister)
{
  auto reading = SessionReading();
  reading.set_session_end_energy(0);
  reading.set_energy_register(16000000);
  EXPECT_EQ(Payload(Parameters(kLocal, reading))["meterStop"], 16000);
  reading.clear_session_end_energy();
  EXPECT_EQ(Payload(Parameters(kLocal, reading))["meterStop"], 16000);
}

TEST_F(StopTransaction, EmptyEndTimeBecomesThePresentTime)
{
  auto reading = SessionReading();
  reading.set_session_end_time("");
  EXPECT_EQ(Payload(Parameters(kLocal, reading))["timestamp"], "2026-01-15T10:15:00Z");
}

TEST_F(StopTransaction, MissingMeterDataIsLoggedAndTheStopIsReportedAllTheSame)
{
  const auto operation = Stopped({{EKey::EConnectorId, int64_t{1}}, {EKey::EStopReason, kLocal}});
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "[1] No MeterData provided in StopTransactionOutCall"), 1U);
  EXPECT_EQ(operation.GetPayload(),
            R"({"idTag":"TAG","meterStop":0,"reason":"Local","timestamp":"2026-01-15T10:15:00Z","transactionId":42})");
}

TEST_F(StopTransaction, MissingConnectorIsWarnedOfAndBecomesOne)
{
  const auto operation = Stopped({{EKey::EMeterData, SessionReading()}, {EKey::EStopReason, kLocal}});
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "Operation called without connectorId arguments: Using 1 as default."),
            1U);
  EXPECT_FALSE(operation.GetConnectorIndex().has_value());
}

TEST_F(StopTransaction, EveryReasonHasTheNameOfItsNumber)
{
  const std::vector<std::string> names = {"DeAuthorized", "EmergencyStop", "EVDisconnected", "HardReset",
                                          "Local",        "Other",         "PowerLoss",      "Reboot",
                                          "Remote",       "SoftReset",     "UnlockCommand"};
  for (size_t reason = 0; reason < names.size(); ++reason) {
    EXPECT_EQ(Payload(Parameters(static_cast<int64_t>(reason)))["reason"], names[reason]);
  }
  EXPECT_FALSE(mLog.ContainsPart("out of range"));
}

TEST_F(StopTransaction, ReasonOutOfRangeIsLoggedAndBecomesOther)
{
  EXPECT_EQ(Payload(Parameters(11))["reason"], "Other");
  EXPECT_EQ(Payload(Parameters(300))["reason"], "Other");
  EXPECT_EQ(mLog.Count("EStopSessionReason out of range: 11"), 1U);
  EXPECT_EQ(mLog.Count("EStopSessionReason out of range: 300"), 1U);
}

TEST_F(StopTransaction, MissingReasonIsLoggedAndBecomesOther)
{
  EXPECT_EQ(Payload({{EKey::EConnectorId, int64_t{1}}, {EKey::EMeterData, SessionReading()}})["reason"], "Other");
  EXPECT_EQ(mLog.Count("[1] StopTransaction reason missing from params/payload. Using Other."), 1U);
}

TEST_F(StopTransaction, SessionWithoutTagHasNoneInTheRequestAndTheAnswerLeavesTheCacheAlone)
{
  SetIdTag("");
  auto operation = Stopped();
  EXPECT_FALSE(Checked("StopTransaction.req", operation.GetPayload()).contains("idTag"));
  operation.HandleResponse(R"({"idTagInfo":{"status":"Blocked"}})");
  EXPECT_TRUE(mAuthorization->updates.empty());
}

TEST_F(StopTransaction, TagOfTwentyOneCharactersIsLoggedAndLeftOutOfACompleteRequest)
{
  SetIdTag("123456789012345678901");
  const auto payload = Payload();
  EXPECT_FALSE(payload.contains("idTag"));
  EXPECT_EQ(payload["meterStop"], 15000);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "[1] Payload is over constraint. Value too long for IdTag (21>20)"), 1U);
}

TEST_F(StopTransaction, RegisterIsSampledAtBeginAndEnd)
{
  mConfig->SetString("StopTxnSampledData", kRegister);
  const auto operation = Stopped();
  EXPECT_EQ(Checked("StopTransaction.req", operation.GetPayload())["transactionData"],
            json::array({Entry(kStart, json::array({Register("Transaction.Begin", "10000")})),
                         Entry(kEnd, json::array({Register("Transaction.End", "15000")}))}));
  EXPECT_EQ(operation.GetRequestLogText(),
            "IdTag:TAG;MeterStop:15000;Timestamp:2026-01-15T11:00:00Z;TransactionId:42;Reason:Local"
            ";TxData.Begin.ValueWh:10000;TxData.End.ValueWh:15000"
            ";TxData.Start.Timestamp:2026-01-15T10:00:00Z;TxData.End.Timestamp:2026-01-15T11:00:00Z");
}

TEST_F(StopTransaction, PowerLossHasNoTransactionData)
{
  mConfig->SetString("StopTxnSampledData", kRegister);
  EXPECT_FALSE(Payload(Parameters(kPowerLoss)).contains("transactionData"));
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "[1] StopTransaction: Skipping start/end data due to PowerLoss"), 1U);
}

TEST_F(StopTransaction, EmptyListOfMeasurandsHasNoTransactionData)
{
  EXPECT_FALSE(Payload().contains("transactionData"));
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, "[1] StopTransaction: No requested measurands"), 1U);
}

TEST_F(StopTransaction, MoreThanTheRegisterIsRefusedAsAWhole)
{
  for (const std::string list : {"Energy.Active.Import.Register,Voltage", "Voltage"}) {
    mConfig->SetString("StopTxnSampledData", list);
    EXPECT_FALSE(Payload().contains("transactionData"));
    EXPECT_EQ(
        mLog.Count(Log::ELogLevel::EWarning, "[1] StopTransaction: Requested measurands '" + list + "' not supported"),
        1U);
  }
}

TEST_F(StopTransaction, EndThatTheMeterDoesNotKnowIsThatOfTheMessage)
{
  mConfig->SetString("StopTxnSampledData", kRegister);
  auto reading = SessionReading();
  reading.clear_session_end_energy();
  reading.clear_session_end_time();
  EXPECT_EQ(Payload(Parameters(kLocal, reading))["transactionData"][1],
            Entry("2026-01-15T10:15:00Z", json::array({Register("Transaction.End", "15000")})));
}

TEST_F(StopTransaction, BeginWithoutItsTimeIsLeftOut)
{
  mConfig->SetString("StopTxnSampledData", kRegister);
  auto reading = SessionReading();
  reading.clear_session_start_time();
  EXPECT_EQ(Payload(Parameters(kLocal, reading))["transactionData"],
            json::array({Entry(kEnd, json::array({Register("Transaction.End", "15000")}))}));
}

TEST_F(StopTransaction, SignedDataAloneIsOneEntryWithOneSample)
{
  EnableSignedData();
  const auto operation = Stopped(Parameters(kLocal, SignedReading()));
  EXPECT_EQ(Checked("StopTransaction.req", operation.GetPayload())["transactionData"],
            json::array({Entry(kEnd, json::array({kSigned}))}));
  EXPECT_EQ(operation.GetRequestLogText(),
            "IdTag:TAG;MeterStop:15000;Timestamp:2026-01-15T11:00:00Z;TransactionId:42;Reason:Local"
            ";SignedData:Present;TxData.End.Timestamp:2026-01-15T11:00:00Z");
}

TEST_F(StopTransaction, SignedDataStandBehindTheEndRegister)
{
  EnableSignedData();
  mConfig->SetString("StopTxnSampledData", kRegister);
  EXPECT_EQ(Payload(Parameters(kLocal, SignedReading()))["transactionData"],
            json::array({Entry(kStart, json::array({Register("Transaction.Begin", "10000")})),
                         Entry(kEnd, json::array({Register("Transaction.End", "15000"), kSigned}))}));
}

TEST_F(StopTransaction, OneOfTheTwoFlagsIsNotEnoughForSignedData)
{
  for (const bool hasMarking : {false, true}) {
    mConfig->SetBool("HwHasEichrechtLaserMarking", hasMarking);
    mConfig->SetBool("EichrechtSupportEnabled", !hasMarking);
    EXPECT_FALSE(Payload(Parameters(kLocal, SignedReading())).contains("transactionData"));
  }
}

TEST_F(StopTransaction, MissingSignedDataIsLogged)
{
  EnableSignedData();
  EXPECT_FALSE(Payload().contains("transactionData"));
  EXPECT_EQ(mLog.Count("[1] StopTransaction: Signed data requested but missing in MeterData"), 1U);
}

TEST_F(StopTransaction, UnreadableConfigurationCostsTheTransactionDataAlone)
{
  mConfig->BreakKey("StopTxnSampledData", "broken");
  EXPECT_EQ(Payload()["transactionId"], 42);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "[1] StopTransaction: Skipping transaction data. broken"), 1U);
}

TEST_F(StopTransaction, UpdatedIdIsInPayloadAndLogText)
{
  mSession->BeginTransaction("start2");
  auto operation = Stopped();
  EXPECT_EQ(nlohmann::json::parse(operation.GetPayload())["transactionId"], -1);
  mSession->SettleTransaction("start2", 43);
  operation.UpdateTransactionId(43);
  EXPECT_EQ(Checked("StopTransaction.req", operation.GetPayload())["transactionId"], 43);
  EXPECT_NE(operation.GetRequestLogText().find("TransactionId:43;"), std::string::npos);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EDebug, "[1] Updated TransactionId in payload: 43"), 1U);
}

TEST_F(StopTransaction, IdMinusOneFindsNoConnectorAndKeepsTheIdInThePayload)
{
  auto operation = Stopped();
  mSession->ClearTransactionId();
  operation.UpdateTransactionId(-1);
  EXPECT_EQ(nlohmann::json::parse(operation.GetPayload())["transactionId"], 42);
  EXPECT_EQ(mLog.Count("Could not find connector for TransactionId -1, ConnectorId remains 1"), 1U);
}

TEST_F(StopTransaction, IdThatIsOnNoConnectorIsTakenWithALine)
{
  auto operation = Stopped();
  operation.UpdateTransactionId(99);
  EXPECT_EQ(nlohmann::json::parse(operation.GetPayload())["transactionId"], 99);
  EXPECT_EQ(mLog.Count("Could not find connector for TransactionId 99, ConnectorId remains 1"), 1U);
}

TEST_F(StopTransaction, IdOfAnEarlierSessionIsNotTaken)
{
  mSession->BeginTransaction("start2");
  auto operation = Stopped();
  operation.UpdateTransactionId(42);
  EXPECT_EQ(nlohmann::json::parse(operation.GetPayload())["transactionId"], -1);
  EXPECT_EQ(mLog.Count("Could not find connector for TransactionId 42, ConnectorId remains 1"), 1U);
}

TEST_F(StopTransaction, ConfirmationUpdatesTheCacheAndEndsTheTransaction)
{
  auto operation = Stopped();
  operation.HandleResponse(
      R"({"idTagInfo":{"status":"Expired","parentIdTag":"GROUP","expiryDate":"2026-02-01T00:00:00Z"}})");
  ASSERT_EQ(mAuthorization->updates.size(), 1U);
  EXPECT_EQ(mAuthorization->updates[0].id, "TAG");
  EXPECT_EQ(mAuthorization->updates[0].parentId, "GROUP");
  EXPECT_EQ(mAuthorization->updates[0].status, EAuthorizationStatus::EExpired);
  EXPECT_EQ(mAuthorization->updates[0].expiry, ParseTimeText("2026-02-01T00:00:00Z"));
  EXPECT_EQ(mSession->GetTransactionId(), -1);
  EXPECT_EQ(mReset->calls, (std::vector<std::string>{"ClearTransaction 1", "TryReset"}));
  EXPECT_TRUE(mSessionManager->Deauthorizations().empty());
}

TEST_F(StopTransaction, ConfirmationWithoutIdTagInfoLeavesTheCacheAlone)
{
  auto operation = Stopped();
  operation.HandleResponse("{}");
  EXPECT_TRUE(mAuthorization->updates.empty());
  EXPECT_EQ(mSession->GetTransactionId(), -1);
  EXPECT_EQ(mReset->calls.size(), 2U);
}

TEST_F(StopTransaction, UnknownStatusCountsAsInvalidAndTheTransactionEnds)
{
  auto operation = Stopped();
  operation.HandleResponse(R"({"idTagInfo":{"status":"Foo"}})");
  EXPECT_EQ(mLog.Count("ocppAuthStatus out of range: Foo"), 1U);
  EXPECT_EQ(mAuthorization->updates.at(0).status, EAuthorizationStatus::EInvalid);
  EXPECT_EQ(mSession->GetTransactionId(), -1);
  EXPECT_EQ(mReset->calls.size(), 2U);
}

TEST_F(StopTransaction, FaultInTheAnswerDoesNotKeepTheTransactionOpen)
{
  auto operation = Stopped();
  size_t answers = 0;
  for (const std::string answer :
       {"null", "[]", R"({"idTagInfo":null})", R"({"idTagInfo":{}})", R"({"idTagInfo":{"status":null}})",
        R"({"idTagInfo":{"status":"Accepted","expiryDate":null}})"}) {
    mSession->SettleTransaction("start", 42);
    EXPECT_ANY_THROW(operation.HandleResponse(answer)) << answer;
    EXPECT_EQ(mSession->GetTransactionId(), -1) << answer;
    EXPECT_EQ(mReset->calls.size(), 2 * ++answers) << answer;
  }
}

TEST_F(StopTransaction, FaultInTheAnswerLeavesTheStatusThatCanBeRead)
{
  const std::pair<std::string, EAuthorizationStatus> rows[] = {
      {R"({"status":"Blocked","parentIdTag":"12345678901234567890123"})", EAuthorizationStatus::EBlocked},
      {R"({"status":"Accepted","expiryDate":null})", EAuthorizationStatus::EAccepted},
      {R"({"status":"Foo","expiryDate":null})", EAuthorizationStatus::EInvalid},
  };
  auto operation = Stopped();
  for (const auto& [info, status] : rows) {
    EXPECT_ANY_THROW(operation.HandleResponse(R"({"idTagInfo":)" + info + "}")) << info;
    ASSERT_FALSE(mAuthorization->updates.empty()) << info;
    EXPECT_EQ(mAuthorization->updates.back().status, status) << info;
  }
  EXPECT_EQ(mAuthorization->updates.size(), std::size(rows));
}

TEST_F(StopTransaction, AnswerThatSaysNothingOfTheTagLeavesTheCacheAlone)
{
  auto operation = Stopped();
  for (const std::string answer : {"null", R"({"idTagInfo":null})", R"({"idTagInfo":"Accepted"})",
                                   R"({"idTagInfo":{}})", R"({"idTagInfo":{"status":null}})"}) {
    EXPECT_ANY_THROW(operation.HandleResponse(answer)) << answer;
  }
  EXPECT_TRUE(mAuthorization->updates.empty());
}

TEST_F(StopTransaction, AbsentResetManagerIsLoggedAndSurvived)
{
  mAccess.RegisterHandle(std::shared_ptr<IResetManager>());
  auto operation = Stopped();
  operation.HandleResponse("{}");
  EXPECT_EQ(mLog.Count("[1] No reset manager to tell of the end of the transaction"), 1U);
  EXPECT_EQ(mSession->GetTransactionId(), -1);
}

TEST_F(StopTransaction, RestoredOneKeepsPayloadTagAndConnectorAndLetsAResetGoOn)
{
  const std::string stored =
      R"({"idTag":"OLD","meterStop":7,"reason":"Local","timestamp":"2026-01-15T09:00:00Z","transactionId":5})";
  auto operation = Restored(stored);
  EXPECT_EQ(operation.GetPayload(), stored);
  EXPECT_EQ(operation.GetConnectorIndex(), 0);
  EXPECT_EQ(operation.GetRequestLogText(),
            "IdTag:OLD;MeterStop:7;Timestamp:2026-01-15T09:00:00Z;TransactionId:5;Reason:Local");
  operation.HandleResponse(R"({"idTagInfo":{"status":"Accepted"}})");
  EXPECT_EQ(mAuthorization->updates.at(0).id, "OLD");
  EXPECT_EQ(mReset->calls.size(), 2U);
}

TEST_F(StopTransaction, RestoredOneWithoutIdGetsTheCurrentOne)
{
  auto operation =
      Restored(R"({"meterStop":7,"reason":"Local","timestamp":"2026-01-15T09:00:00Z","transactionId":-1})");
  operation.UpdateTransactionId(42);
  EXPECT_EQ(Checked("StopTransaction.req", operation.GetPayload())["transactionId"], 42);
}

TEST_F(StopTransaction, RestoredOneOfAnUnknownTransactionKeepsItsIdAndEndsNoOther)
{
  auto operation = Restored(R"({"meterStop":7,"reason":"Local","timestamp":"2026-01-15T09:00:00Z","transactionId":5})");
  operation.UpdateTransactionId(42);
  EXPECT_EQ(nlohmann::json::parse(operation.GetPayload())["transactionId"], 5);
  operation.HandleResponse("{}");
  EXPECT_EQ(mSession->GetTransactionId(), 42);
  EXPECT_EQ(mReset->calls.size(), 2U);
  mSession->SettleTransaction("start", 5);
  operation.HandleResponse("{}");
  EXPECT_EQ(mSession->GetTransactionId(), -1);
}

TEST_F(StopTransaction, RestoredOneHasTheIdOfItsTransactionAndEndsThatAlone)
{
  auto operation =
      Restored(R"({"meterStop":7,"reason":"Local","timestamp":"2026-01-15T09:00:00Z","transactionId":-1})");
  operation.SetTransactionKey("earlier");
  operation.UpdateTransactionId(42);
  EXPECT_EQ(nlohmann::json::parse(operation.GetPayload())["transactionId"], -1);
  operation.HandleResponse("{}");
  EXPECT_EQ(mSession->GetTransactionId(), 42);
  mSession->SettleTransaction("earlier", 41);
  operation.UpdateTransactionId(41);
  EXPECT_EQ(nlohmann::json::parse(operation.GetPayload())["transactionId"], 41);
  EXPECT_EQ(operation.Clone()->GetPayload(), operation.GetPayload());
  operation.HandleResponse("{}");
  EXPECT_EQ(mSession->GetTransactionId(), -1);
}

TEST_F(StopTransaction, KnowsTheTransactionOfItsSession) { EXPECT_EQ(Stopped().GetTransactionKey(), "start"); }
