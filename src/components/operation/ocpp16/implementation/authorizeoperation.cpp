#include "src/components/operation/ocpp16/implementation/authorizeoperation.h"

#include <utility>

#include "platform/iclogger/log.h"
#include "src/components/configflag.h"
#include "src/components/iauthorizationmanager.h"
#include "src/components/isessionclienthandler.h"
#include "src/components/isystemaccessinterface.h"
#include "src/components/operation/ocpp16/implementation/idtagstatus.h"
#include "src/components/operation/ocpp16/implementation/transactionoperation.h"
#include "src/components/operation/ocpp_common/constraints.h"

using Ocpp16::Authorize::authorizeRequest;
using Ocpp16::Authorize::authorizeResponse;
using Ocpp16::Authorize::foreignAuthorizeResponse;
using TransactionOperation::IsConnector;
using TransactionOperation::MakeConnectorTag;

namespace {

constexpr const char* kAllowOfflineTxForUnknownId = "AllowOfflineTxForUnknownId";
// The connector whose session a token without a connector is looked for at.
constexpr uint32_t kOnlyConnector = 1;

}  // namespace

CAuthorizeOutCall::CAuthorizeOutCall(ISystemAccessInterface* systemAccess, std::string messageId)
    : COutCallOperation(systemAccess, std::move(messageId), "Authorize")
{}

void CAuthorizeOutCall::CallAction(authorizeRequest& request)
{
  LOG_ENTRY("CAuthorizeOutCall");
  auto context = GetParameter<ipc::MAuthorizeRequest>(mParameters, EOperationParameter::EAuthorizationContext);
  if (!context) {
    LOG_ERROR("Operation not instantiated with expected arguments: Missing AuthorizationContext key in mParams");
    return;
  }
  mAuthorizeRequest = std::move(*context);
  const int64_t connectorId = GetIntParameter(mParameters, EOperationParameter::EConnectorId).value_or(0);
  if (IsConnector(*mSystemAccess, connectorId)) {
    mConnectorId = static_cast<uint32_t>(connectorId);
  } else if (connectorId != 0) {
    LOG_WARNING("Authorize concerns connector {}, which this station does not have", connectorId);
  }
  try {
    request.idTag = GetToken();
  } catch (const OcppConstraints::classMemberConstraintException& error) {
    LOG_ERROR("Payload is over constraint. {}", error.what());
  }
}

// A status that is none of OCPP's is a refusal, not an answer that is missing.
void CAuthorizeOutCall::HandleResponse(const std::string& payload)
{
  mIsAnswered = true;
  authorizeResponse response;
  try {
    response = OcppJson::Read<authorizeResponse>(payload);
  } catch (const char*) {
    response.idTagInfo = ToInvalid(OcppJson::Read<foreignAuthorizeResponse>(payload).idTagInfo);
  }
  ResponseAction(response);
}

void CAuthorizeOutCall::ResponseAction(const authorizeResponse& response)
{
  LOG_ENTRY("CAuthorizeOutCall");
  const auto& info = response.idTagInfo;
  if (info.parentIdTag) mAuthorizeRequest.set_parent_id(info.parentIdTag->Get());
  UpdateAuthorizationCache(*mSystemAccess, GetToken(), info);
  if (ToAuthorizationStatus(info.status) == EAuthorizationStatus::EAccepted) {
    HandleAccepted();
  } else if (mConnectorId != 0) {
    HandleRefusedAtConnector();
  } else {
    HandleRefusedWithoutConnector();
  }
}

void CAuthorizeOutCall::HandleAccepted()
{
  if (!IsWaitedFor()) {
    LOG_INFO("Transaction was locally pre-authorized, no action required");
    return;
  }
  LOG_INFO("Finishing AuthorizeRequest (Approved = true) for {}", GetToken());
  mAuthorizeRequest.mutable_user_identification()->mutable_details()->set_authorization_source(
      static_cast<ipc::EAuthorizationSource>(EAuthorizationSource::EAuthorize));
  Finish(true);
}

void CAuthorizeOutCall::HandleRefusedAtConnector()
{
  const auto tag = MakeConnectorTag(mConnectorId);
  const std::string sessionToken = mSystemAccess->GetSessionManager(mConnectorId)->GetSessionIdTag();
  if (!sessionToken.empty() && sessionToken != GetToken()) {
    LOG_WARNING("{}Trying to deauthorize session {} with unrelated ID tag: {}", *tag, sessionToken, GetToken());
    Finish(false);
  } else if (IsWaitedFor()) {
    LOG_INFO("{}Finishing AuthorizeRequest (Approved = false) for {}", *tag, GetToken());
    Finish(false);
  } else {
    Deauthorize(mConnectorId);
  }
}

void CAuthorizeOutCall::HandleRefusedWithoutConnector()
{
  if (IsWaitedFor()) {
    LOG_INFO("Finishing AuthorizeRequest (Approved = false) for {}", GetToken());
    Finish(false);
  } else if (mSystemAccess->GetSessionManager(kOnlyConnector)->GetSessionIdTag() == GetToken()) {
    Deauthorize(kOnlyConnector);
  } else {
    LOG_INFO("Pre-authorized token {} was invalid, but no connectors to deauthorize", GetToken());
    Finish(false);
  }
}

void CAuthorizeOutCall::Deauthorize(uint32_t connectorId) const
{
  LOG_INFO("{}Pre-authorized token {} was invalid, deauthorizing connector", *MakeConnectorTag(connectorId),
           GetToken());
  mSystemAccess->GetSessionManager(connectorId)->DeauthorizeSession(EDeauthorizeReason::EDeauthorized);
}

void CAuthorizeOutCall::Finish(bool approved)
{
  mIsFinished = true;
  mAuthorizeRequest.set_approved(approved ? 1 : 0);
  auto* manager = mSystemAccess->GetAuthorizationManager();
  if (manager == nullptr) {
    LOG_WARNING("No authorization manager to hand the request for {} back to", GetToken());
    return;
  }
  manager->HandleAuthorizeRequest(mAuthorizeRequest);
}

void CAuthorizeOutCall::TimeoutAction()
{
  LOG_ENTRY("CAuthorizeOutCall");
  if (mBackofficeId == EBackofficeId::EAuxiliary) return;
  if (!IsWaitedFor()) {
    LOG_WARNING("Authorize timed out but was locally pre-authorized: do nothing");
    return;
  }
  // Like an offline station for an id of which nothing is known; the local list and the cache are not asked again.
  const bool approved = ReadFlag(*mSystemAccess->GetOcppConfigManager(), kAllowOfflineTxForUnknownId);
  LOG_WARNING("Authorize timed out, {}:{}", kAllowOfflineTxForUnknownId, approved);
  Finish(approved);
}

void CAuthorizeOutCall::GiveUp()
{
  LOG_ENTRY("CAuthorizeOutCall");
  LOG_WARNING("Authorize for {} will not be answered", GetToken());
  if (!mIsAnswered) {
    TimeoutAction();
  } else if (IsWaitedFor() && !mIsFinished) {
    Finish(false);
  }
}
