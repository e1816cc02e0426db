#include "src/components/operation/ocpp16/implementation/starttransactionoperation.h"

#include "src/components/operation/ocpp16/implementation/idtagstatus.h"
#include "tests/unit/src/components/operation/ocpp16/implementation/transactionfixture.h"

namespace {

using EKey = EOperationParameter;

class StartTransaction : public CTransactionTest {
 protected:
  static COperationParameters Parameters() { return {{EKey::EConnectorId, int64_t{1}}, {EKey::EMeterData, Reading()}}; }
  static ipc::MMeterData Reading()
  {
    ipc::MMeterData data;
    data.set_energy_register(12345678);
    data.set_session_start_time("2026-01-15T10:00:00Z");
    return data;
  }
  CStartTransactionOutCall Started() { return Make<CStartTransactionOutCall>(Parameters()); }
  CStartTransactionOutCall Restored(const std::string& payload)
  {
    return CStartTransactionOutCall(&mAccess, "id", SStoredPayload{payload});
  }
  void Answer(CStartTransactionOutCall& operation, const std::string& info)
  {
    operation.HandleResponse(R"({"idTagInfo":)" + info + R"(,"transactionId":42})");
  }
  std::optional<EAuthorizationStatus> LastStatus() const
  {
    if (mAuthorization->updates.empty()) return std::nullopt;
    return mAuthorization->updates.back().status;
  }
  std::vector<int> DeauthorizeReasons() const
  {
    std::vector<int> reasons;
    for (const auto& entry : mSessionManager->Deauthorizations()) reasons.push_back(entry.second);
    return reasons;
  }
};

const std::string kStored = R"({"connectorId":1,"idTag":"TAG","meterStart":7,"timestamp":"2026-01-15T09:00:00Z"})";

}  // namespace

TEST_F(StartTransaction, RequestCarriesConnectorTagRegisterInWhAndStartTime)
{
  const auto operation = Started();
  EXPECT_EQ(operation.GetPayload(),
            R"({"connectorId":1,"idTag":"TAG","meterStart":12345,"timestamp":"2026-01-15T10:00:00Z"})");
  Checked("StartTransaction.req", operation.GetPayload());
}

TEST_F(StartTransaction, StartTimeIsPassedOnUnchanged)
{
  auto reading = Reading();
  reading.set_session_start_time("2026-01-15T11:00:00.25+01:00");
  const auto operation = Make<CStartTransactionOutCall>({{EKey::EMeterData, reading}});
  EXPECT_EQ(Checked("StartTransaction.req", operation.GetPayload())["timestamp"], "2026-01-15T11:00:00.25+01:00");
}

TEST_F(StartTransaction, MissingStartTimeBecomesThePresentOne)
{
  const auto operation = Make<CStartTransactionOutCall>({{EKey::EMeterData, ipc::MMeterData()}});
  EXPECT_EQ(Checked("StartTransaction.req", operation.GetPayload())["timestamp"], "2026-01-15T10:15:00Z");
}

TEST_F(StartTransaction, IsResentAndPersistent)
{
  const auto operation = Started();
  EXPECT_EQ(operation.GetAction(), "StartTransaction");
  EXPECT_TRUE(operation.IsResendRequiredOp());
  EXPECT_TRUE(operation.IsPersistentOp());
  EXPECT_EQ(operation.GetConnectorIndex(), 0);
}

TEST_F(StartTransaction, MissingConnectorIsWarnedOfAndBecomesOne)
{
  const auto operation = Make<CStartTransactionOutCall>({{EKey::EMeterData, Reading()}});
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "Operation called without connectorId arguments: Using 1 as default."),
            1U);
  EXPECT_EQ(nlohmann::json::parse(operation.GetPayload())["connectorId"], 1);
  EXPECT_FALSE(operation.GetConnectorIndex().has_value());
}

TEST_F(StartTransaction, MissingMeterDataIsALogicError)
{
  CStartTransactionOutCall operation(&mAccess, "id");
  try {
    operation.Prepare({{EKey::EConnectorId, int64_t{1}}});
    FAIL() << "nothing was thrown";
  } catch (const std::logic_error& error) {
    EXPECT_STREQ(error.what(), "No MeterData provided in StartTransactionOutCall");
  }
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "[1] No MeterData provided in StartTransactionOutCall"), 1U);
  EXPECT_EQ(mSession->GetTransactionKey(), ISessionClientHandler::kAnyTransaction);
}

TEST_F(StartTransaction, TagOfTwentyOneCharactersIsLoggedAndLeftOut)
{
  SetIdTag("123456789012345678901");
  const auto operation = Started();
  EXPECT_EQ(operation.GetPayload(), R"({"connectorId":1,"meterStart":12345,"timestamp":"2026-01-15T10:00:00Z"})");
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "[1] Payload is over constraint. Value too long for IdTag (21>20)"), 1U);
}

TEST_F(StartTransaction, UnreachableSessionManagerLeavesAnEmptyTag)
{
  mSessionManager->SetUnreachable("gone");
  EXPECT_EQ(nlohmann::json::parse(Started().GetPayload())["idTag"], "");
  EXPECT_TRUE(mLog.Contains("Cannot communicate with SessionManager, error: gone"));
}

TEST_F(StartTransaction, BecomesTheTransactionOfTheRunningSession)
{
  Started();
  EXPECT_EQ(mSession->GetTransactionKey(), "id");
}

TEST_F(StartTransaction, ConfirmationKeepsTheTransactionId)
{
  auto operation = Started();
  Answer(operation, R"({"status":"Accepted"})");
  EXPECT_EQ(mSession->GetTransactionId(), 42);
  EXPECT_EQ(mSession->GetTransactionIdOf("id"), 42);
  EXPECT_EQ(mData->GetInt("CurrentTransactionId", -1), 42);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo, "[1] StartTransaction: CPO returned TransactionId '42'"), 1U);
}

TEST_F(StartTransaction, AcceptedUpdatesCacheAndTellsTheParent)
{
  auto operation = Started();
  Answer(operation, R"({"status":"Accepted","parentIdTag":"GROUP","expiryDate":"2026-02-01T00:00:00Z"})");
  ASSERT_EQ(mAuthorization->updates.size(), 1U);
  const auto& update = mAuthorization->updates.front();
  EXPECT_EQ(update.id, "TAG");
  EXPECT_EQ(update.parentId, "GROUP");
  EXPECT_EQ(update.status, EAuthorizationStatus::EAccepted);
  EXPECT_EQ(update.expiry, ParseTimeText("2026-02-01T00:00:00Z"));
  EXPECT_EQ(mSessionManager->ParentIdTags(), (std::vector<std::pair<uint32_t, std::string>>{{1, "GROUP"}}));
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo, "[1] StartTransaction: Authorization accepted for id 'TAG'"), 1U);
  EXPECT_TRUE(DeauthorizeReasons().empty());
}

TEST_F(StartTransaction, AcceptedWithoutParentIsAnEmptyParentInCacheAndSession)
{
  auto operation = Started();
  Answer(operation, R"({"status":"Accepted"})");
  EXPECT_EQ(mAuthorization->updates.at(0).parentId, "");
  EXPECT_FALSE(mAuthorization->updates.at(0).expiry.has_value());
  EXPECT_EQ(mSessionManager->ParentIdTags(), (std::vector<std::pair<uint32_t, std::string>>{{1, ""}}));
}

TEST_F(StartTransaction, UnreadableExpiryDateIsLoggedAndCountsAsNone)
{
  auto operation = Started();
  Answer(operation, R"({"status":"Accepted","expiryDate":"never"})");
  EXPECT_FALSE(mAuthorization->updates.at(0).expiry.has_value());
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "Expiry date never of an id tag cannot be read"), 1U);
}

TEST_F(StartTransaction, BlockedWithoutStopOnInvalidIdStopsTheEnergyAlone)
{
  mConfig->SetBool("StopTransactionOnInvalidId", false);
  auto operation = Started();
  Answer(operation, R"({"status":"Blocked"})");
  EXPECT_EQ(mAuthorization->updates.at(0).status, EAuthorizationStatus::EBlocked);
  EXPECT_EQ(DeauthorizeReasons(), std::vector<int>{2});
  EXPECT_EQ(mSession->GetTransactionId(), 42);
  EXPECT_TRUE(mOcpp->pushes.empty());
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo,
                       "[1] StartTransactionConf: Authorization not accepted for id 'TAG': Blocked (1)"),
            1U);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo, "[1] StartTransactionConf: Stopping energy delivery"), 1U);
}

TEST_F(StartTransaction, EveryStatusThatIsNotAcceptedEndsTheSessionWhereTheConfigurationSaysSo)
{
  const std::pair<std::string, EAuthorizationStatus> rows[] = {
      {"Blocked", EAuthorizationStatus::EBlocked},
      {"ConcurrentTx", EAuthorizationStatus::EConcurrentTx},
      {"Expired", EAuthorizationStatus::EExpired},
      {"Invalid", EAuthorizationStatus::EInvalid},
  };
  std::vector<int> reasons;
  for (const auto& [text, status] : rows) {
    auto operation = Started();
    Answer(operation, R"({"status":")" + text + R"("})");
    EXPECT_EQ(mAuthorization->updates.back().status, status);
    EXPECT_EQ(mLog.Count("[1] StartTransactionConf: Authorization not accepted for id 'TAG': " + text + " (" +
                         std::to_string(static_cast<int>(status)) + ")"),
              1U);
    reasons.push_back(1);
    EXPECT_EQ(DeauthorizeReasons(), reasons);
  }
  EXPECT_EQ(
      mLog.Count(Log::ELogLevel::EInfo, "[1] StartTransactionConf: Stopping transaction 42 with reason DeAuthorized"),
      4U);
  EXPECT_TRUE(mSessionManager->ParentIdTags().empty());
}

TEST_F(StartTransaction, UnknownStatusCountsAsInvalidAndDoesNotCostTheTransactionId)
{
  auto operation = Started();
  Answer(operation, R"({"status":"accepted","parentIdTag":"GROUP","expiryDate":"2026-02-01T00:00:00Z"})");
  EXPECT_EQ(mLog.Count("ocppAuthStatus out of range: accepted"), 1U);
  EXPECT_EQ(mSession->GetTransactionId(), 42);
  EXPECT_EQ(mAuthorization->updates.at(0).status, EAuthorizationStatus::EInvalid);
  EXPECT_EQ(mAuthorization->updates.at(0).parentId, "GROUP");
  EXPECT_TRUE(mAuthorization->updates.at(0).expiry.has_value());
  EXPECT_EQ(DeauthorizeReasons(), std::vector<int>{1});
}

TEST_F(StartTransaction, StatusNumberOutOfRangeCountsAsInvalid)
{
  EXPECT_EQ(ToAuthorizationStatus(static_cast<Ocpp16::IdTagInfoCommon::EAuthorizationStatus>(5)),
            EAuthorizationStatus::EInvalid);
  EXPECT_EQ(mLog.Count("ocppAuthStatus out of range: 5"), 1U);
}

TEST_F(StartTransaction, UnreachableSessionManagerDoesNotEndTheHandlingOfTheAnswer)
{
  auto operation = Started();
  mSessionManager->SetUnreachable("gone");
  Answer(operation, R"({"status":"Invalid"})");
  EXPECT_EQ(mSession->GetTransactionId(), 42);
  EXPECT_EQ(mAuthorization->updates.size(), 1U);
  EXPECT_TRUE(mLog.Contains("Cannot communicate with SessionManager, error: gone"));
}

TEST_F(StartTransaction, AbsentAuthorizationManagerIsLoggedAndSurvived)
{
  mAccess.RegisterHandle(std::shared_ptr<IAuthorizationManager>());
  auto operation = Started();
  Answer(operation, R"({"status":"Invalid"})");
  EXPECT_EQ(mLog.Count("No authorization manager to tell of the status of an id tag"), 1U);
  EXPECT_EQ(DeauthorizeReasons(), std::vector<int>{1});
}

TEST_F(StartTransaction, AnswerAfterTheEndOfTheSessionLeavesTheNextDriverAlone)
{
  auto late = Started();
  CStartTransactionOutCall next(&mAccess, "next");
  next.Prepare(Parameters());
  Answer(late, R"({"status":"Invalid"})");
  EXPECT_TRUE(DeauthorizeReasons().empty());
  EXPECT_EQ(mAuthorization->updates.size(), 1U);
  EXPECT_EQ(mSession->GetTransactionIdOf("id"), 42);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo,
                       "[1] StartTransaction: The session of id 'TAG' has ended meanwhile, nothing follows from its "
                       "status"),
            1U);
  Answer(late, R"({"status":"Accepted","parentIdTag":"GROUP"})");
  EXPECT_TRUE(mSessionManager->ParentIdTags().empty());
}

TEST_F(StartTransaction, UnreadableAnswerThrowsAndTakesNothing)
{
  auto operation = Started();
  for (const std::string answer : {"{}", "null", "[]", "7", R"({"idTagInfo":{}})", R"({"idTagInfo":{"status":null}})",
                                   R"({"idTagInfo":{},"transactionId":"42"})", R"({"transactionId":42.5})"}) {
    EXPECT_ANY_THROW(operation.HandleResponse(answer)) << answer;
  }
  EXPECT_EQ(mSession->GetTransactionId(), -1);
  EXPECT_TRUE(mAuthorization->updates.empty());
  EXPECT_TRUE(DeauthorizeReasons().empty());
}

TEST_F(StartTransaction, FaultBesideTheTransactionIdDoesNotCostIt)
{
  for (const std::string info : {R"({"status":"Accepted","expiryDate":null})",
                                 R"({"status":"Accepted","parentIdTag":"12345678901234567890123"})",
                                 R"({"status":"Accepted","parentIdTag":7})"}) {
    auto operation = Started();
    mSession->ClearTransactionId();
    EXPECT_ANY_THROW(Answer(operation, info)) << info;
    operation.GiveUp();
    EXPECT_EQ(mSession->GetTransactionIdOf("id"), 42) << info;
    EXPECT_EQ(LastStatus(), EAuthorizationStatus::EAccepted) << info;
  }
  EXPECT_TRUE(DeauthorizeReasons().empty());
}

TEST_F(StartTransaction, StatusBesideAFaultCountsAsItStands)
{
  for (const std::string info : {R"({"status":"Blocked","expiryDate":null})",
                                 R"({"status":"Blocked","parentIdTag":"12345678901234567890123"})"}) {
    auto operation = Started();
    EXPECT_ANY_THROW(Answer(operation, info)) << info;
    EXPECT_EQ(LastStatus(), EAuthorizationStatus::EBlocked) << info;
  }
  EXPECT_EQ(DeauthorizeReasons(), (std::vector<int>{1, 1}));
}

TEST_F(StartTransaction, ReadableMembersBesideAFaultAreKept)
{
  auto operation = Started();
  EXPECT_ANY_THROW(Answer(operation, R"({"status":"Accepted","parentIdTag":7,"expiryDate":"2026-02-01T00:00:00Z"})"));
  ASSERT_EQ(mAuthorization->updates.size(), 1U);
  EXPECT_EQ(mAuthorization->updates.at(0).expiry, ParseTimeText("2026-02-01T00:00:00Z"));
  EXPECT_EQ(mAuthorization->updates.at(0).parentId, "");
  EXPECT_ANY_THROW(Answer(operation, R"({"status":"Accepted","parentIdTag":"GROUP","expiryDate":null})"));
  EXPECT_FALSE(mAuthorization->updates.at(1).expiry.has_value());
  EXPECT_EQ(mAuthorization->updates.at(1).parentId, "GROUP");
}

TEST_F(StartTransaction, StatusOfNoMeaningBesideATransactionIdAndAFaultCountsAsInvalid)
{
  auto operation = Started();
  EXPECT_ANY_THROW(Answer(operation, R"({"status":"Foo","expiryDate":null})"));
  EXPECT_EQ(mSession->GetTransactionIdOf("id"), 42);
  EXPECT_EQ(LastStatus(), EAuthorizationStatus::EInvalid);
  EXPECT_EQ(DeauthorizeReasons(), std::vector<int>{1});
}

TEST_F(StartTransaction, TransactionIdWithoutAStatusIsTakenAndLeavesTheDriverAlone)
{
  for (const char* info : {"null", "[]", "{}", R"({"status":null})", R"({"status":1})"}) {
    auto operation = Started();
    mSession->ClearTransactionId();
    EXPECT_ANY_THROW(Answer(operation, info)) << info;
    EXPECT_EQ(mSession->GetTransactionIdOf("id"), 42) << info;
  }
  auto operation = Started();
  EXPECT_ANY_THROW(operation.HandleResponse(R"({"transactionId":43})"));
  EXPECT_EQ(mSession->GetTransactionIdOf("id"), 43);
  EXPECT_TRUE(mAuthorization->updates.empty());
  EXPECT_TRUE(DeauthorizeReasons().empty());
}

TEST_F(StartTransaction, StatusWithoutTransactionIdCountsAllTheSame)
{
  auto operation = Started();
  EXPECT_ANY_THROW(operation.HandleResponse(R"({"idTagInfo":{"status":"Blocked"},"transactionId":null})"));
  EXPECT_EQ(mSession->GetTransactionId(), -1);
  EXPECT_EQ(LastStatus(), EAuthorizationStatus::EBlocked);
  EXPECT_EQ(DeauthorizeReasons(), std::vector<int>{1});
  EXPECT_FALSE(mLog.ContainsPart("CPO returned TransactionId"));
}

TEST_F(StartTransaction, GivenUpStartLeavesNoIdOfAnEarlierSession)
{
  mSession->SettleTransaction("earlier", 41);
  auto operation = Started();
  operation.GiveUp();
  EXPECT_EQ(mSession->GetTransactionId(), -1);
}

TEST_F(StartTransaction, IdThatWasTakenIsNotGivenUpAgain)
{
  auto operation = Started();
  Answer(operation, R"({"status":"Accepted"})");
  operation.GiveUp();
  EXPECT_EQ(mSession->GetTransactionId(), 42);
}

TEST_F(StartTransaction, RestoredOneHasThePayloadAndTagOfItsFirstLife)
{
  SetIdTag("OTHER");
  auto operation = Restored(kStored);
  EXPECT_EQ(operation.GetMessageId(), "id");
  EXPECT_EQ(operation.GetPayload(), kStored);
  EXPECT_EQ(operation.GetConnectorIndex(), 0);
  EXPECT_TRUE(operation.IsPersistentOp());
  Answer(operation, R"({"status":"Accepted"})");
  EXPECT_EQ(mAuthorization->updates.at(0).id, "TAG");
  EXPECT_EQ(mSession->GetTransactionId(), 42);
}

TEST_F(StartTransaction, OneThatComesBackLeavesTheIdOfTheRunningSession)
{
  mSession->BeginTransaction("running");
  mSession->SettleTransaction("running", 43);
  auto operation = Restored(kStored);
  Answer(operation, R"({"status":"Accepted"})");
  operation.GiveUp();
  EXPECT_EQ(mSession->GetTransactionIdOf("running"), 43);
  EXPECT_EQ(mAuthorization->updates.at(0).id, "TAG");
  // While the running one has no id, its start is still behind this one.
  mSession->BeginTransaction("next");
  Answer(operation, R"({"status":"Accepted"})");
  EXPECT_EQ(mSession->GetTransactionIdOf("id"), 42);
}

TEST_F(StartTransaction, RestoredOneWithAnotherConnectorFallsBackToTheFirst)
{
  auto operation = Restored(R"({"connectorId":7,"idTag":"TAG","meterStart":7,"timestamp":"2026-01-15T09:00:00Z"})");
  EXPECT_EQ(mLog.Count("Recreated StartTransaction has invalid connectorId 7. Using connectorId 1 as fallback."), 1U);
  EXPECT_EQ(operation.GetConnectorIndex(), 0);
  Answer(operation, R"({"status":"Accepted"})");
  EXPECT_EQ(mSession->GetTransactionId(), 42);
}

TEST_F(StartTransaction, CloneHasIdPayloadAndMeaning)
{
  const auto operation = Started();
  const auto clone = operation.Clone();
  EXPECT_EQ(clone->GetRequestFrame(), operation.GetRequestFrame());
  clone->HandleResponse(R"({"idTagInfo":{"status":"Accepted"},"transactionId":42})");
  EXPECT_EQ(mSession->GetTransactionIdOf("id"), 42);
  EXPECT_EQ(mAuthorization->updates.at(0).id, "TAG");
}
