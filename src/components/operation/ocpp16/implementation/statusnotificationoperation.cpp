#include "src/components/operation/ocpp16/implementation/statusnotificationoperation.h"

#include <array>
#include <utility>

#include "platform/clock/timetext.h"
#include "platform/iclogger/log.h"
#include "platform/iipc/texts.h"
#include "platform/toolbox/stringhelper.h"
#include "src/components/ibackoffice.h"
#include "src/components/iocpp.h"
#include "src/components/iocppconfigmanager.h"
#include "src/components/isessionclienthandler.h"
#include "src/components/isystemaccessinterface.h"

using Ocpp16::StatusNotification::EChargePointErrorCode;
using Ocpp16::StatusNotification::EChargePointStatus;
using Ocpp16::StatusNotification::statusNotificationRequest;
using Ocpp16::StatusNotification::statusNotificationResponse;

namespace {

constexpr size_t kMaxVendorText = 50;
constexpr const char* kContinued = ",...";

struct SErrorCode {
  int32_t identifier;  // ipc::ESignalIdentifier
  EChargePointErrorCode code;
};

constexpr std::array kErrorCodes{
    SErrorCode{1000, EChargePointErrorCode::EConnectorLockFailure},
    SErrorCode{1061, EChargePointErrorCode::EGroundFailure},
    SErrorCode{1059, EChargePointErrorCode::EHighTemperature},
    SErrorCode{1050, EChargePointErrorCode::EInternalError},
    SErrorCode{1051, EChargePointErrorCode::EInternalError},
    SErrorCode{1054, EChargePointErrorCode::EInternalError},
    SErrorCode{1055, EChargePointErrorCode::EInternalError},
    SErrorCode{1056, EChargePointErrorCode::EInternalError},
    SErrorCode{1062, EChargePointErrorCode::EInternalError},
    SErrorCode{1063, EChargePointErrorCode::EInternalError},
    SErrorCode{1064, EChargePointErrorCode::EInternalError},
    SErrorCode{1100, EChargePointErrorCode::EInternalError},
    SErrorCode{1102, EChargePointErrorCode::EInternalError},
    SErrorCode{1103, EChargePointErrorCode::EInternalError},
    SErrorCode{1104, EChargePointErrorCode::EInternalError},
    SErrorCode{1105, EChargePointErrorCode::EInternalError},
    SErrorCode{1252, EChargePointErrorCode::EOverCurrentFailure},
    SErrorCode{1254, EChargePointErrorCode::EOverCurrentFailure},
    SErrorCode{1255, EChargePointErrorCode::EOverCurrentFailure},
    SErrorCode{1256, EChargePointErrorCode::EOverCurrentFailure},
    SErrorCode{1001, EChargePointErrorCode::EPowerSwitchFailure},
    SErrorCode{1052, EChargePointErrorCode::EPowerSwitchFailure},
    SErrorCode{1053, EChargePointErrorCode::EPowerSwitchFailure},
    SErrorCode{1058, EChargePointErrorCode::EPowerSwitchFailure},
    SErrorCode{1002, EChargePointErrorCode::EOtherError},
    SErrorCode{1003, EChargePointErrorCode::EOtherError},
    SErrorCode{1004, EChargePointErrorCode::EOtherError},
    SErrorCode{1005, EChargePointErrorCode::EOtherError},
    SErrorCode{1057, EChargePointErrorCode::EOtherError},
    SErrorCode{1060, EChargePointErrorCode::EOtherError},
    SErrorCode{1065, EChargePointErrorCode::EOtherError},
    SErrorCode{1253, EChargePointErrorCode::EOtherError},
};

EChargePointStatus ToConnectorStatus(ipc::EConnectorState state)
{
  switch (static_cast<int>(state)) {
    case ipc::EConnectorStateAvailable:
      return EChargePointStatus::EAvailable;
    case ipc::EConnectorStateUnavailable:
      return EChargePointStatus::EUnavailable;
    case ipc::EConnectorStateReserved:
      return EChargePointStatus::EReserved;
    case ipc::EConnectorStatePreparingPluggedIn:
    case ipc::EConnectorStatePreparingAuthorized:
      return EChargePointStatus::EPreparing;
    case ipc::EConnectorStateCharging:
    case ipc::EConnectorStateStarting:
    case ipc::EConnectorStateStopping:
      return EChargePointStatus::ECharging;
    case ipc::EConnectorStateSuspendedByEv:
      return EChargePointStatus::ESuspendedEV;
    case ipc::EConnectorStateSuspendedByEvse:
      return EChargePointStatus::ESuspendedEVSE;
    case ipc::EConnectorStateFinishing:
      return EChargePointStatus::EFinishing;
    default:
      return EChargePointStatus::EFaulted;  // numbers come from another process
  }
}

}  // namespace

EChargePointStatus StatusNotification::ToStatus(uint32_t connectorId, int32_t state)
{
  const auto status = ToConnectorStatus(static_cast<ipc::EConnectorState>(state));
  if (connectorId > 0 || status == EChargePointStatus::EUnavailable || status == EChargePointStatus::EFaulted) {
    return status;
  }
  return EChargePointStatus::EAvailable;
}

EChargePointErrorCode StatusNotification::ToErrorCode(const std::vector<int32_t>& errors)
{
  if (errors.empty()) return EChargePointErrorCode::ENoError;
  if (errors.size() > 1) return EChargePointErrorCode::EOtherError;
  for (const auto& entry : kErrorCodes) {
    if (entry.identifier == errors.front()) return entry.code;
  }
  return EChargePointErrorCode::EOtherError;
}

std::string StatusNotification::ToVendorErrorCode(const std::vector<int32_t>& errors)
{
  std::string text = fmt::format("{}", fmt::join(errors, ","));
  if (text.size() <= kMaxVendorText) return text;
  text.erase(text.rfind(',', kMaxVendorText - std::string(kContinued).size()));
  return text + kContinued;
}

CStatusNotificationOutCall::CStatusNotificationOutCall(ISystemAccessInterface* systemAccess, std::string messageId)
    : COutCallOperation(systemAccess, std::move(messageId), "StatusNotification")
{}

void CStatusNotificationOutCall::CallAction(statusNotificationRequest& request)
{
  LOG_ENTRY("CStatusNotificationOutCall");
  if (const auto connectorId = GetIntParameter(mParameters, EOperationParameter::EConnectorId)) {
    mConnectorId = static_cast<uint32_t>(*connectorId);
  } else {
    LOG_WARNING("Operation called without connectorId arguments: Using {} as default.", mConnectorId);
  }
  mState = ReadState();
  mErrors =
      GetParameter<std::vector<int32_t>>(mParameters, EOperationParameter::EErrorList).value_or(std::vector<int32_t>());

  request.connectorId = mConnectorId;
  request.status = StatusNotification::ToStatus(mConnectorId, mState);
  request.errorCode = StatusNotification::ToErrorCode(mErrors);
  request.timestamp = ToTimeText(mSystemAccess->GetClock()->SystemNow());
  mRequestLogText = fmt::format("ConnId:{};ConnStatus:{};Error:{};Timestamp:{}", mConnectorId, ToText(request.status),
                                ToText(request.errorCode), *request.timestamp);
  FillErrors(request);
  const std::string vendor = mSystemAccess->GetOcppConfigManager()->ReadString("ProductVendorName");
  if (!vendor.empty()) request.vendorId = vendor;
  if (!mErrors.empty()) {
    mRequestLogText += fmt::format(";VendorError:{};Info:{}", request.vendorErrorCode->Get(), request.info->Get());
  }
}

int32_t CStatusNotificationOutCall::ReadState() const
{
  if (const auto state = GetIntParameter(mParameters, EOperationParameter::EConnectorState)) {
    return static_cast<int32_t>(*state);
  }
  const bool isStation = mConnectorId == 0;
  auto* session = mSystemAccess->GetSessionManager(isStation ? 1 : mConnectorId);
  const int32_t state = session == nullptr ? 0 : session->GetConnectorState();
  if (isStation) return mSystemAccess->GetOcpp()->GetSystemSessionState(state);
  LOG_INFO("Operation called without state arguments: Current connector state {} is used.", state);
  return state;
}

void CStatusNotificationOutCall::FillErrors(statusNotificationRequest& request) const
{
  if (mErrors.empty()) return;
  std::vector<std::string> names;
  for (const int32_t error : mErrors) names.emplace_back(ErrorToString(static_cast<ipc::ESignalIdentifier>(error)));
  request.vendorErrorCode = StatusNotification::ToVendorErrorCode(mErrors);
  request.info = CStringHelper::TrimVectorString(names, kMaxVendorText, ",");
}

void CStatusNotificationOutCall::ResponseAction(const statusNotificationResponse& /*response*/)
{
  LOG_ENTRY("CStatusNotificationOutCall");
  const auto backoffice = mSystemAccess->GetOcpp()->GetBackoffice(mBackofficeId);
  if (!backoffice) return;
  backoffice->SetConfirmedStatus(mConnectorId, mState);
  backoffice->SetConfirmedErrors(mConnectorId, mErrors);
}
