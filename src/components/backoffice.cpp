#include "src/components/backoffice.h"

#include <exception>
#include <utility>
#include <vector>

#include "platform/iclogger/log.h"
#include "platform/toolbox/stringhelper.h"
#include "src/components/backofficeutils.h"
#include "src/components/ihostinfo.h"
#include "src/components/iwebsocketclient.h"
#include "src/components/messagehandler.h"
#include "src/components/operation/ocpp_common/ioperationhandler.h"
#include "src/components/operation/ocpp_common/outcalloperationbase.h"
#include "src/components/websocketclosecode.h"

namespace {

constexpr const char* kWasAccepted = "WasAccepted";
constexpr uint16_t kMaxSendTimeouts = 3;
constexpr const char* kDisablingReason = "Client is Disabling";

}  // namespace

EChargeBeforeAcceptedPolicy ToChargeBeforeAcceptedPolicy(const std::string& text)
{
  if (text == "never") return EChargeBeforeAcceptedPolicy::ENever;
  if (text == "acceptedOnce") return EChargeBeforeAcceptedPolicy::EAcceptedOnce;
  if (text == "always") return EChargeBeforeAcceptedPolicy::EAlways;
  LOG_WARNING("Unsupported ChargeBeforeAcceptedPolicy '{}', falling back to '{}'", text, "never");
  return EChargeBeforeAcceptedPolicy::ENever;
}

CBackoffice::CBackoffice(IClock& clock, SParts parts)
    : mId(parts.id),
      mName(BackofficeName(parts.id)),
      mConfigManager(std::move(parts.configManager)),
      mPersistentData(std::move(parts.persistentData)),
      mWebsocketClient(std::move(parts.websocketClient)),
      mChargeBeforeAcceptedPolicy(parts.policy),
      mOperationHandler(std::move(parts.operationHandler)),
      mReconnectWorker(clock, "reconnect"),
      mWorker(clock, "sender")
{
  mWebsocketClient->SetBackofficeId(mId);
  if (IsPrimary()) mWasAccepted = mPersistentData->GetBool(kWasAccepted, false);
}

CBackoffice::~CBackoffice()
{
  LOG_ENTRY("CBackoffice");
  mConnectWanted = false;
  mOperationHandler->StopExecutor();
  mHeartbeatTimer.Cancel();
  mBlockingTimer.Cancel();
  mExecutorCall.Cancel();
  mStatusTimer.Cancel();
  mFatalTimer.Cancel();
  mReconnectWorker.Sync();
  // Whoever can still call this object ends before its members go: the sender, the thread of the link, the timers of
  // the operation handler (one of which may order a last reconnect, which stays closed).
  mWorker.Stop();
  mWebsocketClient->Close(WebsocketCloseCode::kNormal, kDisablingReason);
  mOperationHandler.reset();
  mReconnectWorker.Stop();
}

void CBackoffice::Init()
{
  LOG_ENTRY("CBackoffice");
  SMsgConfig config;
  config.transactionMessageAttempts = static_cast<uint32_t>(mConfigManager->ReadInt("TransactionMessageAttempts"));
  config.transactionMessageRetryInterval =
      std::chrono::seconds(mConfigManager->ReadInt("TransactionMessageRetryInterval"));
  config.messageTimeout = std::chrono::seconds(mConfigManager->ReadInt("MessageTimeout"));
  mOperationHandler->SetMsgConfig(config);

  ConnectOperationHandler();
  ConnectMessageHandler();

  mReconnectWorker.Start();
  mWorker.Start();
  mExecutorCall.Replace(mWorker.NonBlockingCall([this] { mOperationHandler->RunExecutor(); }));
}

void CBackoffice::ConnectOperationHandler()
{
  mOperationHandler->SetIsBackofficeOnlineCB([this] { return IsOnline(); });
  mOperationHandler->SetSendCB([this](const std::string& frame) { return mWebsocketClient->Send(frame); });
  mOperationHandler->SetSendTimeoutCB(
      [this](const std::shared_ptr<COutCallOperationBase>& operation) { HandleSendTimeout(operation); });
  mOperationHandler->SetResetSendTimeoutCB([this] { ResetSendTimeouts(); });
  mOperationHandler->SetIsHandlingAllowedCB(
      [this](EDirection direction) { return direction == EDirection::EIncoming ? IsIncomingAllowed() : IsEnabled(); });
  mOperationHandler->SetGetOcppStatusCB([this] { return GetOcppStatus(); });
  mOperationHandler->SetIsBlockingTimerActiveCB([this] { return mBlockingTimer.IsSet(); });
}

void CBackoffice::ConnectMessageHandler()
{
  mMessageHandler = std::make_shared<CMessageHandler>();
  mMessageHandler->SetInCallCB([this](const std::string& id, const std::string& action, const std::string& payload) {
    mOperationHandler->HandleInCall(id, action, payload, mId);
  });
  mMessageHandler->SetInResultCB([this](const std::string& id, const std::string& payload) {
    mOperationHandler->HandleInResult(id, payload, mId);
  });
  mMessageHandler->SetInErrorCB(
      [this](const std::string& id, const std::string& code, const std::string& description,
             const std::string& details) { mOperationHandler->HandleInError(id, code, description, details, mId); });
  // An action that has a name but no entry in the factory throws out of the handler; the link survives it.
  mWebsocketClient->SetOnMessageCallback([this](std::string_view text) {
    if (!mMessageHandler->IsAllCallbackSet()) return;
    try {
      mMessageHandler->ParseMessage(std::string(text));
    } catch (const std::exception& error) {
      LOG_ERROR("[{}] Incoming message could not be handled: {}", mName, error.what());
    }
  });
}

EPushResult CBackoffice::PushOutCallOperation(const std::shared_ptr<COutCallOperationBase>& operation)
{
  LOG_ENTRY("CBackoffice");
  if (operation) operation->SetBackofficeId(mId);
  return mOperationHandler->PushOutCallOperation(operation);
}

EPushResult CBackoffice::PushResendReqOperation(const std::shared_ptr<COutCallOperationBase>& operation)
{
  LOG_ENTRY("CBackoffice");
  if (!mEnabled) return EPushResult::EFailed;
  if (operation) operation->SetBackofficeId(mId);
  return mOperationHandler->PushResendReqOperation(operation);
}

void CBackoffice::SetOcppAcceptance(EOcppStatus status)
{
  LOG_ENTRY("CBackoffice");
  mOcppStatus = status;
  if (!IsPrimary()) return;
  mWasAccepted = status == EOcppStatus::EAccepted;
  mPersistentData->SetBool(kWasAccepted, mWasAccepted);
}

bool CBackoffice::IsIncomingAllowed() const
{
  if (!mEnabled) return false;
  if (mOcppStatus == EOcppStatus::ERejected) {
    LOG_WARNING("Ignore handling OCPP incoming operation while OCPP status is rejected.");
    return false;
  }
  return true;
}

void CBackoffice::Connect(bool connect)
{
  LOG_ENTRY("CBackoffice");
  mConnectWanted = connect && mEnabled;
  if (mConnectWanted) {
    mWebsocketClient->Connect();
  } else {
    mWebsocketClient->Close(WebsocketCloseCode::kNormal, kDisablingReason);
  }
}

EAuthorizeMode CBackoffice::GetAuthorizeMode() const
{
  if (!IsChargingAllowed()) return EAuthorizeMode::ERefuse;
  if (mOcppStatus != EOcppStatus::EAccepted) return EAuthorizeMode::EOffline;
  return mOnline ? EAuthorizeMode::EOnline : EAuthorizeMode::EOffline;
}

bool CBackoffice::IsChargingAllowed() const
{
  if (!IsPrimary()) return false;
  switch (mOcppStatus.load()) {
    case EOcppStatus::EAccepted:
      return true;
    case EOcppStatus::EPending:
    case EOcppStatus::ERejected:
      return false;
    case EOcppStatus::ENone:
      break;
  }
  switch (mChargeBeforeAcceptedPolicy) {
    case EChargeBeforeAcceptedPolicy::EAcceptedOnce:
      return mWasAccepted;
    case EChargeBeforeAcceptedPolicy::EAlways:
      return true;
    case EChargeBeforeAcceptedPolicy::ENever:
      break;
  }
  return false;
}

bool CBackoffice::IsOperationAllowed(const COutCallOperationBase& operation) const
{
  if (!mEnabled) return false;
  if (mOcppStatus == EOcppStatus::EAccepted) return true;
  return operation.IsBootNotificationOp() || operation.IsResendRequiredOp();
}

void CBackoffice::SetConfirmedStatus(uint32_t connector, int32_t status)
{
  if (connector >= kConnectors) return;
  CLock lock(mConfirmedMutex);
  mConfirmedStatus[connector] = status;
}

void CBackoffice::SetConfirmedErrors(uint32_t connector, const std::vector<int32_t>& errors)
{
  if (connector >= kConnectors) return;
  CLock lock(mConfirmedMutex);
  mConfirmedErrors[connector] = errors;
}

int32_t CBackoffice::GetConfirmedStatus(uint32_t connector) const
{
  if (connector >= kConnectors) return 0;
  CLock lock(mConfirmedMutex);
  return mConfirmedStatus[connector];
}

std::vector<int32_t> CBackoffice::GetConfirmedErrors(uint32_t connector) const
{
  if (connector >= kConnectors) return {};
  CLock lock(mConfirmedMutex);
  return mConfirmedErrors[connector];
}

void CBackoffice::ResetSendTimeouts()
{
  CLock lock(mSendTimeoutMutex);
  mSendTimeouts = 0;
}

void CBackoffice::HandleSendTimeout(const std::shared_ptr<COutCallOperationBase>& operation)
{
  LOG_WARNING("Send Operation timed out. Action:{}, ID:{} for backoffice: {}", operation->GetAction(),
              operation->GetMessageId(), mName);
  operation->Timeout();
  const auto status = mWebsocketClient->GetStatus();
  if (status != EWebsocketStatus::EOpen && status != EWebsocketStatus::EFailed) return;

  bool reconnect = false;
  uint16_t timeouts = 0;
  {
    CLock lock(mSendTimeoutMutex);
    timeouts = mSendTimeouts;
    reconnect = ++mSendTimeouts > kMaxSendTimeouts;
    if (reconnect) mSendTimeouts = 0;
  }
  LOG_DEBUG("Send operation timeout: {}/{} for backoffice: {}", timeouts, kMaxSendTimeouts, mName);
  if (!reconnect) return;
  LOG_WARNING("Max send operation attempts reached. Attempting to reconnect to backoffice: {} ...", mName);
  Reconnect({});
}

void CBackoffice::Reconnect(const SReconnectOptions& options)
{
  LOG_ENTRY("CBackoffice");
  mReconnectWorker.NonBlockingCall([this, options] { RunReconnect(options); });
}

void CBackoffice::RunReconnect(const SReconnectOptions& options)
{
  std::vector<std::string> names;
  const auto hostInfo = mWebsocketClient->GetHostInfo();
  if (options.updatePassword) {
    hostInfo->SetPassword(mConfigManager->ReadString(GetMutualKey("AuthorizationKey", mId)));
    names.emplace_back("BasicAuth password");
  }
  if (options.updateIdentity) {
    std::string identity = IsPrimary() ? mConfigManager->ReadString("CustomCustomerId") : std::string();
    if (identity.empty()) identity = mConfigManager->ReadString("CustomerId");
    hostInfo->SetChargePointId(identity);
    names.emplace_back("ChargePointId");
  }
  if (options.updateUri) names.emplace_back("OCPP URI");

  std::string reason = "Reconnecting to OCPP backoffice due to timeout";
  if (!names.empty()) {
    // The central system may be a new one, so the acceptance starts over.
    mOcppStatus = EOcppStatus::ENone;
    if (IsPrimary()) {
      mWasAccepted = false;
      mPersistentData->SetBool(kWasAccepted, false);
    }
    reason = fmt::format("Updated {}, restarting connection", fmt::join(names, " and "));
  }
  mWebsocketClient->Close(WebsocketCloseCode::kNormal, reason);
  // A backoffice that is disabled meanwhile ends closed, whichever of the two comes last.
  if (!mConnectWanted) return;
  mWebsocketClient->Connect();
  if (!mConnectWanted) mWebsocketClient->Close(WebsocketCloseCode::kNormal, kDisablingReason);
}
