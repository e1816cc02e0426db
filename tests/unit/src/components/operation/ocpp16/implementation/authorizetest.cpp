#include "src/components/operation/ocpp16/implementation/authorizeoperation.h"

#include "src/components/operation/ocpp16/operationfactory.h"
#include "src/components/operation/ocpp16/operationfilters.h"
#include "tests/unit/src/components/operation/ocpp16/implementation/transactionfixture.h"

namespace {

using EKey = EOperationParameter;
using CDeauthorizations = std::vector<CFakeSessionManager::Deauthorization>;

class Authorize : public CTransactionTest {
 protected:
  Authorize()
  {
    mConfig->SetBool("AllowOfflineTxForUnknownId", false);
    SetIdTag("");
  }

  static ipc::MAuthorizeRequest Request(const std::string& requestId, uint32_t connector = 0,
                                        const std::string& token = "TAG")
  {
    ipc::MAuthorizeRequest request;
    request.set_request_id(requestId);
    request.set_connector(connector);
    request.mutable_user_identification()->set_token(token);
    return request;
  }
  // Somebody waits for the answer.
  CAuthorizeOutCall Waiting(uint32_t connector = 0) { return Asked(Request("request-1", connector), connector); }
  // The token was let through locally.
  CAuthorizeOutCall PreAuthorized(uint32_t connector = 0)
  {
    auto request = Request("", connector);
    request.set_approved(1);
    request.mutable_user_identification()->mutable_details()->set_authorization_source(ipc::EAuthorizationSourceCache);
    return Asked(request, connector);
  }
  CAuthorizeOutCall Asked(const ipc::MAuthorizeRequest& request, int64_t connector)
  {
    return Make<CAuthorizeOutCall>({{EKey::EAuthorizationContext, request}, {EKey::EConnectorId, connector}});
  }
  static void Answer(CAuthorizeOutCall& operation, const std::string& info)
  {
    operation.HandleResponse(R"({"idTagInfo":)" + info + "}");
  }
  static void AnswerStatus(CAuthorizeOutCall& operation, const std::string& status)
  {
    Answer(operation, R"({"status":")" + status + R"("})");
  }
  // The one request that was handed back.
  ipc::MAuthorizeRequest Handled() const
  {
    EXPECT_EQ(mAuthorization->handled.size(), 1U);
    return mAuthorization->handled.empty() ? ipc::MAuthorizeRequest() : mAuthorization->handled.front();
  }
  bool NothingIsDone() const { return mAuthorization->handled.empty() && mSessionManager->Deauthorizations().empty(); }
};

const CDeauthorizations kDeauthorized{{1, ipc::EDeauthorizeReasonDeAuthorized}};

}  // namespace

TEST_F(Authorize, RequestCarriesTheToken)
{
  const auto operation = Waiting();
  EXPECT_EQ(operation.GetAction(), "Authorize");
  EXPECT_EQ(operation.GetPayload(), R"({"idTag":"TAG"})");
  Checked("Authorize.req", operation.GetPayload());
}

TEST_F(Authorize, IsNeitherResentNorPersistent)
{
  const auto operation = Waiting();
  EXPECT_FALSE(operation.IsResendRequiredOp());
  EXPECT_FALSE(operation.IsPersistentOp());
}

TEST_F(Authorize, MissingContextIsLoggedAndLeavesThePayloadEmpty)
{
  const auto operation = Make<CAuthorizeOutCall>({{EKey::EConnectorId, int64_t{1}}});
  EXPECT_EQ(operation.GetPayload(), "{}");
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError,
                       "Operation not instantiated with expected arguments: Missing AuthorizationContext key in "
                       "mParams"),
            1U);
}

TEST_F(Authorize, TokenOfTwentyOneCharactersIsLoggedAndLeftOut)
{
  const auto operation = Asked(Request("request-1", 0, "123456789012345678901"), 0);
  EXPECT_EQ(operation.GetPayload(), "{}");
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "Payload is over constraint. Value too long for IdTag (21>20)"), 1U);
}

TEST_F(Authorize, AcceptedPendingRequestIsApprovedWithTheSourceAuthorize)
{
  auto operation = Waiting(1);
  AnswerStatus(operation, "Accepted");
  const auto handled = Handled();
  EXPECT_EQ(handled.request_id(), "request-1");
  EXPECT_EQ(handled.approved(), 1U);
  EXPECT_EQ(handled.connector(), 1U);
  EXPECT_EQ(handled.user_identification().token(), "TAG");
  EXPECT_EQ(handled.user_identification().details().authorization_source(), 4);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo, "Finishing AuthorizeRequest (Approved = true) for TAG"), 1U);
  EXPECT_TRUE(mSessionManager->Deauthorizations().empty());
}

TEST_F(Authorize, AcceptedAfterPreAuthorizationNeedsNothing)
{
  for (const uint32_t connector : {0U, 1U}) {
    auto operation = PreAuthorized(connector);
    AnswerStatus(operation, "Accepted");
    EXPECT_TRUE(NothingIsDone());
  }
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo, "Transaction was locally pre-authorized, no action required"), 2U);
}

TEST_F(Authorize, AnswerUpdatesTheCacheWithStatusParentAndExpiry)
{
  auto operation = Waiting();
  Answer(operation, R"({"status":"Blocked","parentIdTag":"GROUP","expiryDate":"2026-02-01T00:00:00Z"})");
  ASSERT_EQ(mAuthorization->updates.size(), 1U);
  const auto& update = mAuthorization->updates.front();
  EXPECT_EQ(update.id, "TAG");
  EXPECT_EQ(update.parentId, "GROUP");
  EXPECT_EQ(update.status, EAuthorizationStatus::EBlocked);
  EXPECT_EQ(update.expiry, ParseTimeText("2026-02-01T00:00:00Z"));
}

TEST_F(Authorize, PreAuthorizedTokenUpdatesTheCacheAsWell)
{
  auto operation = PreAuthorized();
  AnswerStatus(operation, "Accepted");
  ASSERT_EQ(mAuthorization->updates.size(), 1U);
  EXPECT_EQ(mAuthorization->updates.front().parentId, "");
  EXPECT_FALSE(mAuthorization->updates.front().expiry.has_value());
}

TEST_F(Authorize, ParentOfTheAnswerReplacesTheOneThatWasKnown)
{
  auto request = Request("request-1");
  request.set_parent_id("LOCAL");
  auto operation = Asked(request, 0);
  Answer(operation, R"({"status":"Accepted","parentIdTag":"GROUP"})");
  EXPECT_EQ(Handled().parent_id(), "GROUP");
}

TEST_F(Authorize, AnswerWithoutParentLeavesTheOneThatWasKnown)
{
  auto request = Request("request-1");
  request.set_parent_id("LOCAL");
  auto operation = Asked(request, 0);
  AnswerStatus(operation, "Invalid");
  EXPECT_EQ(Handled().parent_id(), "LOCAL");
}

TEST_F(Authorize, UnknownStatusCountsAsInvalidAndRefuses)
{
  auto operation = Waiting();
  Answer(operation, R"({"status":"accepted","parentIdTag":"GROUP"})");
  EXPECT_EQ(mAuthorization->updates.at(0).status, EAuthorizationStatus::EInvalid);
  EXPECT_EQ(Handled().approved(), 0U);
  EXPECT_EQ(Handled().parent_id(), "GROUP");
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "ocppAuthStatus out of range: accepted"), 1U);
}

TEST_F(Authorize, EveryOtherStatusRefusesAPendingRequestAtItsConnector)
{
  for (const char* status : {"Blocked", "ConcurrentTx", "Expired", "Invalid"}) {
    mAuthorization->handled.clear();
    auto operation = Waiting(1);
    AnswerStatus(operation, status);
    EXPECT_EQ(Handled().approved(), 0U) << status;
    EXPECT_EQ(Handled().request_id(), "request-1");
    EXPECT_EQ(Handled().user_identification().details().authorization_source(), 0);
  }
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo, "[1] Finishing AuthorizeRequest (Approved = false) for TAG"), 4U);
  EXPECT_TRUE(mSessionManager->Deauthorizations().empty());
}

TEST_F(Authorize, EveryOtherStatusRefusesAPendingRequestWithoutConnector)
{
  for (const char* status : {"Blocked", "ConcurrentTx", "Expired", "Invalid"}) {
    mAuthorization->handled.clear();
    auto operation = Waiting();
    AnswerStatus(operation, status);
    EXPECT_EQ(Handled().approved(), 0U) << status;
  }
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo, "Finishing AuthorizeRequest (Approved = false) for TAG"), 4U);
}

TEST_F(Authorize, BlockedTokenAtAConnectorOfAnotherDriverLeavesTheSessionAloneAndWarns)
{
  SetIdTag("OTHER");
  auto waiting = Waiting(1);
  AnswerStatus(waiting, "Blocked");
  auto preAuthorized = PreAuthorized(1);
  AnswerStatus(preAuthorized, "Blocked");
  EXPECT_TRUE(mSessionManager->Deauthorizations().empty());
  ASSERT_EQ(mAuthorization->handled.size(), 2U);
  for (const auto& handled : mAuthorization->handled) EXPECT_EQ(handled.approved(), 0U);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "[1] Trying to deauthorize session OTHER with unrelated ID tag: TAG"),
            2U);
}

TEST_F(Authorize, PendingRequestOfTheSessionsOwnTokenIsRefusedAndTheSessionGoesOn)
{
  SetIdTag("TAG");
  auto operation = Waiting(1);
  AnswerStatus(operation, "Expired");
  EXPECT_EQ(Handled().approved(), 0U);
  EXPECT_TRUE(mSessionManager->Deauthorizations().empty());
}

TEST_F(Authorize, RefusedPreAuthorizationEndsTheSessionOfItsConnector)
{
  SetIdTag("TAG");
  auto operation = PreAuthorized(1);
  AnswerStatus(operation, "Invalid");
  EXPECT_EQ(mSessionManager->Deauthorizations(), kDeauthorized);
  EXPECT_TRUE(mAuthorization->handled.empty());
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo, "[1] Pre-authorized token TAG was invalid, deauthorizing connector"), 1U);
}

TEST_F(Authorize, RefusedPreAuthorizationAtAConnectorThatHasNoSessionYetWithdrawsIt)
{
  auto operation = PreAuthorized(1);
  AnswerStatus(operation, "Invalid");
  EXPECT_EQ(mSessionManager->Deauthorizations(), kDeauthorized);
}

TEST_F(Authorize, InvalidPreAuthorizedTokenWithoutConnectorEndsTheSessionThatHasItsToken)
{
  SetIdTag("TAG");
  auto operation = PreAuthorized();
  AnswerStatus(operation, "Invalid");
  EXPECT_EQ(mSessionManager->Deauthorizations(), kDeauthorized);
  EXPECT_TRUE(mAuthorization->handled.empty());
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo, "[1] Pre-authorized token TAG was invalid, deauthorizing connector"), 1U);
}

TEST_F(Authorize, InvalidPreAuthorizedTokenAfterTheCableWasUnpluggedIsAnsweredAsRefused)
{
  auto operation = PreAuthorized();
  AnswerStatus(operation, "Invalid");
  EXPECT_TRUE(mSessionManager->Deauthorizations().empty());
  EXPECT_EQ(Handled().approved(), 0U);
  EXPECT_EQ(Handled().request_id(), "");
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EInfo, "Pre-authorized token TAG was invalid, but no connectors to deauthorize"),
            1U);
}

TEST_F(Authorize, InvalidPreAuthorizedTokenWithoutConnectorLeavesAnothersSessionAlone)
{
  SetIdTag("OTHER");
  auto operation = PreAuthorized();
  AnswerStatus(operation, "Invalid");
  EXPECT_TRUE(mSessionManager->Deauthorizations().empty());
  EXPECT_EQ(Handled().approved(), 0U);
}

TEST_F(Authorize, ConnectorThatTheStationDoesNotHaveCountsAsNone)
{
  SetIdTag("TAG");
  auto operation = Asked(Request(""), 7);
  EXPECT_TRUE(mLog.Contains("Authorize concerns connector 7, which this station does not have"));
  AnswerStatus(operation, "Invalid");
  EXPECT_EQ(mSessionManager->Deauthorizations(), kDeauthorized);
}

TEST_F(Authorize, TimeoutApprovesAnyTokenWhereUnknownIdsAreAllowed)
{
  mConfig->SetBool("AllowOfflineTxForUnknownId", true);
  auto operation = Waiting(1);
  operation.Timeout();
  EXPECT_EQ(Handled().approved(), 1U);
  EXPECT_EQ(Handled().request_id(), "request-1");
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "Authorize timed out, AllowOfflineTxForUnknownId:true"), 1U);
}

TEST_F(Authorize, TimeoutRefusesWhereUnknownIdsAreNotAllowed)
{
  auto operation = Waiting(1);
  operation.Timeout();
  EXPECT_EQ(Handled().approved(), 0U);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "Authorize timed out, AllowOfflineTxForUnknownId:false"), 1U);
}

TEST_F(Authorize, TimeoutAfterPreAuthorizationLetsTheSessionGoOn)
{
  SetIdTag("TAG");
  auto operation = PreAuthorized(1);
  operation.Timeout();
  EXPECT_TRUE(NothingIsDone());
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "Authorize timed out but was locally pre-authorized: do nothing"), 1U);
}

TEST_F(Authorize, SilenceOfTheAuxiliaryBackofficeDecidesNothing)
{
  mConfig->SetBool("AllowOfflineTxForUnknownId", true);
  auto operation = Waiting(1);
  operation.SetBackofficeId(EBackofficeId::EAuxiliary);
  operation.Timeout();
  operation.GiveUp();
  EXPECT_TRUE(NothingIsDone());
}

TEST_F(Authorize, FaultyMetadataRefusesAtTheTimeout)
{
  mConfig->BreakKey("AllowOfflineTxForUnknownId", "metadata is faulty");
  auto operation = Waiting(1);
  operation.Timeout();
  EXPECT_EQ(Handled().approved(), 0U);
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EError, "metadata is faulty"), 1U);
}

TEST_F(Authorize, GivenUpWithoutAnswerCountsLikeATimeout)
{
  for (const bool isAllowed : {false, true}) {
    mAuthorization->handled.clear();
    mConfig->SetBool("AllowOfflineTxForUnknownId", isAllowed);
    auto operation = Waiting(1);
    operation.GiveUp();
    EXPECT_EQ(Handled().approved(), isAllowed ? 1U : 0U);
  }
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "Authorize for TAG will not be answered"), 2U);
}

TEST_F(Authorize, AnswerThatCannotBeReadApprovesNobody)
{
  mConfig->SetBool("AllowOfflineTxForUnknownId", true);
  for (const char* payload :
       {"{}", R"({"idTagInfo":{"status":"Blocked","parentIdTag":"123456789012345678901"}})", "not JSON"}) {
    mAuthorization->handled.clear();
    auto operation = Waiting(1);
    EXPECT_ANY_THROW(operation.HandleResponse(payload));
    EXPECT_TRUE(NothingIsDone());
    operation.GiveUp();
    EXPECT_EQ(Handled().approved(), 0U) << payload;
  }
  EXPECT_TRUE(mAuthorization->updates.empty());
}

TEST_F(Authorize, PreAuthorizedSessionOutlivesAnAnswerThatCannotBeRead)
{
  SetIdTag("TAG");
  auto operation = PreAuthorized(1);
  EXPECT_ANY_THROW(operation.HandleResponse("{}"));
  operation.GiveUp();
  EXPECT_TRUE(NothingIsDone());
}

TEST_F(Authorize, GivenUpAfterARefusalDoesNotApprove)
{
  mConfig->SetBool("AllowOfflineTxForUnknownId", true);
  auto operation = Waiting(1);
  AnswerStatus(operation, "Blocked");
  operation.GiveUp();
  EXPECT_EQ(Handled().approved(), 0U);
}

TEST_F(Authorize, WithoutAuthorizationManagerTheAnswerIsSurvived)
{
  mAccess.RegisterHandle(std::shared_ptr<IAuthorizationManager>());
  auto operation = Waiting(1);
  AnswerStatus(operation, "Accepted");
  EXPECT_EQ(mLog.Count(Log::ELogLevel::EWarning, "No authorization manager to hand the request for TAG back to"), 1U);
}

TEST_F(Authorize, IsMadeByTheFactoryAndCopiedWithItsRequest)
{
  COperationFactory factory(&mAccess);
  const auto made = factory.CreateOutOperation(EOutOpType::EAuthorize);
  ASSERT_NE(made, nullptr);
  made->Prepare({{EKey::EAuthorizationContext, Request("request-1", 1)}, {EKey::EConnectorId, int64_t{1}}});
  const auto copy = made->Clone();
  EXPECT_EQ(copy->GetMessageId(), made->GetMessageId());
  EXPECT_EQ(copy->GetPayload(), R"({"idTag":"TAG"})");
  copy->HandleResponse(R"({"idTagInfo":{"status":"Accepted"}})");
  EXPECT_EQ(Handled().request_id(), "request-1");
}

TEST_F(Authorize, AnswersOfAnAuxiliaryBackofficeAreFilteredBesideThePrimaryAndAlone)
{
  EXPECT_EQ(Ocpp16::GetFiltersBesidePrimary().outCallResults.count(typeid(CAuthorizeOutCall)), 1U);
  EXPECT_EQ(Ocpp16::GetFiltersBesidePrimary().outCallResults.size(), 3U);
  EXPECT_EQ(Ocpp16::GetFiltersStandingAlone().outCallResults.count(typeid(CAuthorizeOutCall)), 1U);
  EXPECT_EQ(Ocpp16::GetFiltersStandingAlone().outCallResults.size(), 1U);
}
