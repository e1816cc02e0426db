#include "src/components/operation/ocpp16/implementation/bootnotificationoperation.h"

#include <utility>

#include "platform/diagnostics/diagnosticssignal.h"
#include "platform/diagnostics/signaldefinitions.h"
#include "platform/iclogger/log.h"
#include "src/components/backofficeutils.h"
#include "src/components/ibackoffice.h"
#include "src/components/iocpp.h"
#include "src/components/iocppconfigmanager.h"
#include "src/components/isessionclienthandler.h"
#include "src/components/isystemaccessinterface.h"
#include "src/components/operation/ocpp_common/constraints.h"

using Ocpp16::BootNotification::bootNotificationRequest;
using Ocpp16::BootNotification::bootNotificationResponse;
using Ocpp16::BootNotification::ERegistrationStatus;

CBootNotificationOutCall::CBootNotificationOutCall(ISystemAccessInterface* systemAccess, std::string messageId)
    : COutCallOperation(systemAccess, std::move(messageId), "BootNotification", EOutCallKind::EBootNotification)
{}

void CBootNotificationOutCall::CallAction(bootNotificationRequest& request)
{
  LOG_ENTRY("CBootNotificationOutCall");
  const auto& config = *mSystemAccess->GetOcppConfigManager();
  const std::string serial = config.ReadString("ProductSn");
  const std::string model = config.ReadString("ProductModelName");
  const std::string vendor = config.ReadString("ProductVendorName");
  const std::string firmware = config.ReadString("FwIdent");
  LOG_DEBUG("SN: {}", serial);
  LOG_DEBUG("MN: {}", model);
  LOG_DEBUG("VN: {}", vendor);
  LOG_DEBUG("FV: {}", firmware);
  try {
    request.chargePointModel = model;
    request.chargePointVendor = vendor;
    if (!serial.empty()) request.chargePointSerialNumber = serial;
    if (!firmware.empty()) request.firmwareVersion = firmware;
    FillModem(request);
  } catch (const OcppConstraints::classMemberConstraintException& error) {
    LOG_ERROR("Payload is over constraint. {}", error.what());
  }
}

void CBootNotificationOutCall::FillModem(bootNotificationRequest& request) const
{
  const auto& config = *mSystemAccess->GetOcppConfigManager();
  if (!config.ReadBool("HwHasLte") || !config.ReadBool("MobileNetworkEnabled")) return;
  const auto iccid = CDiagnosticsSignal<std::string>(SignalDefinitions::LteIccid, 0U).Receive();
  if (iccid && !iccid->empty()) request.iccid = *iccid;
  const auto imsi = CDiagnosticsSignal<std::string>(SignalDefinitions::LteImsi, 0U).Receive();
  if (imsi && !imsi->empty()) request.imsi = *imsi;
}

void CBootNotificationOutCall::ResponseAction(const bootNotificationResponse& response)
{
  LOG_ENTRY("CBootNotificationOutCall");
  const std::string name = BackofficeName(mBackofficeId);
  const auto backoffice = mSystemAccess->GetOcpp()->GetBackoffice(mBackofficeId);
  if (!backoffice) {
    LOG_ERROR("[{}] Backoffice not found for BootNotification response", name);
    return;
  }
  HandleStatus(*backoffice, response);
  // The backoffice's time is not taken over: the station's clock is somebody else's business.
  LOG_DEBUG("[{}] Current Time: {}", name, response.currentTime);
}

void CBootNotificationOutCall::GiveUp()
{
  LOG_ENTRY("CBootNotificationOutCall");
  auto& ocpp = *mSystemAccess->GetOcpp();
  const auto backoffice = ocpp.GetBackoffice(mBackofficeId);
  if (!backoffice || !backoffice->IsOnline() || backoffice->GetBlockingTimer().IsSet()) return;
  if (backoffice->GetOcppStatus() == EOcppStatus::EAccepted) return;
  ocpp.SetOperationBlockingDuration(std::chrono::seconds(0), mBackofficeId);
}

void CBootNotificationOutCall::HandleStatus(IBackoffice& backoffice, const bootNotificationResponse& response)
{
  const std::string name = BackofficeName(mBackofficeId);
  switch (response.status) {
    case ERegistrationStatus::EAccepted:
      LOG_INFO("[{}] Status: OCPP Accepted", name);
      HandleAccepted(backoffice, response.interval);
      return;
    case ERegistrationStatus::EPending:
      LOG_INFO("[{}] Status: OCPP Pending. Block outgoing call for {} seconds.", name, response.interval);
      HandleNotAccepted(backoffice, EOcppStatus::EPending, response.interval);
      return;
    case ERegistrationStatus::ERejected:
      LOG_INFO("[{}] Status: OCPP Rejected. Block outgoing and incoming calls for {} seconds.", name,
               response.interval);
      HandleNotAccepted(backoffice, EOcppStatus::ERejected, response.interval);
      return;
  }
  LOG_ERROR("[{}] Unknown BootNotificationConf Status", name);
}

void CBootNotificationOutCall::HandleAccepted(IBackoffice& backoffice, int64_t interval)
{
  auto& ocpp = *mSystemAccess->GetOcpp();
  const auto id = backoffice.GetId();
  mSystemAccess->GetOcppConfigManager()->WriteInt(GetMutualKey("HeartbeatInterval", id), interval);
  backoffice.SetOcppAcceptance(EOcppStatus::EAccepted);
  TellChargeApproval(backoffice);
  backoffice.SetBootAllowed(false);
  ocpp.StartClockAlignedMeterValue(id);
  ocpp.ScheduleOcppHeartbeat(id);
  // Every accepted boot announces the state of all connectors anew: the central system may have lost it, or be another.
  for (const uint32_t connector : {0U, 1U}) {
    backoffice.SetConfirmedStatus(connector, 0);
    backoffice.SetConfirmedErrors(connector, {});
  }
  ocpp.PushStatusNotification(0, {id});
}

void CBootNotificationOutCall::HandleNotAccepted(IBackoffice& backoffice, EOcppStatus status, int64_t interval)
{
  auto& ocpp = *mSystemAccess->GetOcpp();
  const auto id = backoffice.GetId();
  backoffice.SetOcppAcceptance(status);
  TellChargeApproval(backoffice);
  DeauthorizeSessions(backoffice);
  ocpp.SetOperationBlockingDuration(std::chrono::seconds(interval), id);
  ocpp.CancelOcppHeartbeat(id);
}

void CBootNotificationOutCall::TellChargeApproval(const IBackoffice& backoffice) const
{
  auto* session = mSystemAccess->GetSessionManager(1);
  if (session != nullptr) session->SetExternalChargeApproval(backoffice.IsChargingAllowed(), backoffice.GetId());
}

// An auxiliary backoffice never ends a session.
void CBootNotificationOutCall::DeauthorizeSessions(const IBackoffice& backoffice) const
{
  if (backoffice.GetId() != EBackofficeId::EPrimary) return;
  for (uint32_t connector = 1; connector <= mSystemAccess->GetNumberOfConnectors(); ++connector) {
    auto* session = mSystemAccess->GetSessionManager(connector);
    if (session == nullptr || !session->IsSessionActive()) continue;
    LOG_INFO("[{}] Deauthorizing connector {} due to BootNotification status Pending/Rejected.",
             BackofficeName(mBackofficeId), connector);
    session->DeauthorizeSession(EDeauthorizeReason::ERegistrationLost);
  }
}
