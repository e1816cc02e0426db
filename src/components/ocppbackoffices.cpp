// The backoffices of COcpp: their list, and what happens when a link comes up, goes down or cannot be made.

#include <utility>

#include "platform/iclogger/log.h"
#include "src/components/ibackoffice.h"
#include "src/components/idiagnosticsclienthandler.h"
#include "src/components/ihostinfo.h"
#include "src/components/isessionclienthandler.h"
#include "src/components/isystemaccessinterface.h"
#include "src/components/iwebsocketclient.h"
#include "src/components/ocpp.h"

std::shared_ptr<IBackoffice> COcpp::GetBackoffice(EBackofficeId id)
{
  LOG_ENTRY("COcpp");
  CLock lock(mBackofficesMutex);
  const auto backoffice = mBackoffices.find(id);
  return backoffice == mBackoffices.end() ? nullptr : backoffice->second;
}

EBackofficeId COcpp::GetPrimaryBackofficeId()
{
  LOG_ENTRY("COcpp");
  CLock lock(mBackofficesMutex);
  for (const auto& [id, backoffice] : mBackoffices) {
    if (backoffice->GetType() == static_cast<uint8_t>(EBackofficeId::EPrimary)) return id;
  }
  return EBackofficeId::ENone;
}

IOcpp::CBackofficeIds COcpp::GetAuxiliaryBackofficeIds()
{
  LOG_ENTRY("COcpp");
  CLock lock(mBackofficesMutex);
  CBackofficeIds ids;
  for (const auto& [id, backoffice] : mBackoffices) {
    if (backoffice->GetType() == static_cast<uint8_t>(EBackofficeId::EAuxiliary)) ids.insert(id);
  }
  return ids;
}

IOcpp::CBackofficeIds COcpp::GetAllUsedBackofficeIds()
{
  LOG_ENTRY("COcpp");
  CLock lock(mBackofficesMutex);
  CBackofficeIds ids;
  for (const auto& entry : mBackoffices) ids.insert(entry.first);
  return ids;
}

std::shared_ptr<IBackoffice> COcpp::GetLeadingBackoffice()
{
  LOG_ENTRY("COcpp");
  CLock lock(mBackofficesMutex);
  // The primary has the lowest id, the auxiliaries follow in their order.
  for (const auto& entry : mBackoffices) {
    if (entry.second->IsEnabled()) return entry.second;
  }
  return nullptr;
}

void COcpp::AddBackoffice(std::shared_ptr<IBackoffice> backoffice)
{
  LOG_ENTRY("COcpp");
  CLock add(mAddMutex);
  const auto id = backoffice->GetId();
  const auto primary = GetPrimaryBackofficeId();
  if (backoffice->GetType() == static_cast<uint8_t>(EBackofficeId::EPrimary) && primary != EBackofficeId::ENone) {
    LOG_WARNING("Attempting to add a second primary backoffice");
    return;
  }
  if (GetBackoffice(id)) {
    LOG_WARNING("Already added backoffice");
    return;
  }
  RegisterHandlers(backoffice);
  backoffice->Init();
  {
    CLock lock(mBackofficesMutex);
    mBackoffices.emplace(id, std::move(backoffice));
  }
  LOG_INFO("Added backoffice {}", BackofficeName(id));
}

void COcpp::RemoveBackoffice(EBackofficeId id)
{
  LOG_ENTRY("COcpp");
  std::shared_ptr<IBackoffice> removed;
  {
    CLock lock(mBackofficesMutex);
    const auto backoffice = mBackoffices.find(id);
    if (backoffice != mBackoffices.end() &&
        backoffice->second->GetType() != static_cast<uint8_t>(EBackofficeId::EPrimary)) {
      removed = std::move(backoffice->second);
      mBackoffices.erase(backoffice);
    }
  }
  if (removed) {
    LOG_INFO("Removed backoffice {}", BackofficeName(id));
  } else {
    LOG_WARNING("Attempting to remove a nonexistent or primary backoffice");
  }
}

// The callbacks find the backoffice by its id: holding it would keep a removed one alive by its own link.
void COcpp::RegisterHandlers(const std::shared_ptr<IBackoffice>& backoffice)
{
  LOG_ENTRY("COcpp");
  const auto id = backoffice->GetId();
  const auto websocketClient = backoffice->GetWebsocketClient();
  websocketClient->SetOnOpenCallback([this, id](const IWebsocketClient::CConnectionHandle&) {
    LOG_INFO("Custom OnOpen callback for {}", BackofficeName(id));
    PerformOnlineRoutine(id);
  });
  websocketClient->SetOnCloseCallback([this, id](const IWebsocketClient::CConnectionHandle&, bool) {
    LOG_INFO("Custom closed callback for {}", BackofficeName(id));
    PerformOfflineRoutine(id);
  });
  websocketClient->SetOnFailCallback([this, id](const IWebsocketClient::CConnectionHandle&, bool isSuppressed) {
    LOG_INFO("Custom OnFail callback for {}.", BackofficeName(id));
    HandleConnectFailure(id, isSuppressed);
  });
}

void COcpp::HandleConnectFailure(EBackofficeId id, bool isSuppressed)
{
  const auto diagnostics = mSystemAccess.GetDiagnosticsClientHandler();
  const auto backoffice = GetBackoffice(id);
  diagnostics->ReportConnectionAborted(id);
  if (!backoffice) return;
  const auto hostInfo = backoffice->GetWebsocketClient()->GetHostInfo();
  std::string host = hostInfo->IsLocalHostname() ? hostInfo->GetResolvedAddress() : std::string();
  if (host.empty()) host = hostInfo->GetHostname();
  if (mResolveHost(host, isSuppressed)) {
    diagnostics->ClearDnsFailure(id);
  } else {
    diagnostics->ReportDnsFailure(id);
  }
}

void COcpp::EnableBackoffice(EBackofficeId id)
{
  LOG_ENTRY("COcpp");
  const auto backoffice = GetBackoffice(id);
  if (!backoffice) {
    LOG_ERROR("Could not enable backoffice {}: not registered", BackofficeName(id));
    return;
  }
  if (backoffice->GetType() == static_cast<uint8_t>(EBackofficeId::EPrimary)) {
    const auto session = mSystemAccess.GetSessionManager(1);
    if (session == nullptr || !session->SetExternalChargeApproval(backoffice->IsChargingAllowed(), id)) {
      LOG_ERROR("Initial SetExternalChargeApproval delivery failed for {}.", BackofficeName(id));
    }
  }
  LOG_INFO("Enabling backoffice {} ...", BackofficeName(id));
  backoffice->SetEnabled(true);
  backoffice->Connect(true);
}

void COcpp::DisableBackoffice(EBackofficeId id)
{
  LOG_ENTRY("COcpp");
  const auto backoffice = GetBackoffice(id);
  if (!backoffice) {
    LOG_ERROR("Could not disable backoffice {}: not registered", BackofficeName(id));
    return;
  }
  LOG_INFO("Disabling backoffice {} ...", BackofficeName(id));
  backoffice->Connect(false);
  backoffice->SetEnabled(false);
}

void COcpp::PerformOnlineRoutine(EBackofficeId id)
{
  LOG_ENTRY("COcpp");
  const auto backoffice = GetBackoffice(id);
  if (!backoffice) return;
  backoffice->SetOnline(true);
  backoffice->SetBootAllowed(true);
  const auto diagnostics = mSystemAccess.GetDiagnosticsClientHandler();
  diagnostics->ReportBackofficeOnline(id);
  diagnostics->ClearDnsFailure(id);
  diagnostics->ReportBackendConnection(fmt::format("Connected to OCPP backoffice: {}", BackofficeName(id)));
  switch (backoffice->GetOcppStatus()) {
    case EOcppStatus::ENone:
      PushOutCall(EOutOpType::EBootNotification, {id}, false, {});
      break;
    case EOcppStatus::EAccepted:
      ScheduleOcppHeartbeat(id);
      PushStatusNotification(0, {id});
      break;
    case EOcppStatus::EPending:
    case EOcppStatus::ERejected:
      // The blocking timer decides. Where none runs its boot met a closed link, or nothing came of it: nobody else
      // would make another.
      if (!backoffice->GetBlockingTimer().IsSet()) PushOutCall(EOutOpType::EBootNotification, {id}, false, {});
      break;
  }
}

void COcpp::PerformOfflineRoutine(EBackofficeId id)
{
  LOG_ENTRY("COcpp");
  const auto backoffice = GetBackoffice(id);
  if (!backoffice) return;
  backoffice->SetOnline(false);
  CancelOcppHeartbeat(id);
  const auto diagnostics = mSystemAccess.GetDiagnosticsClientHandler();
  diagnostics->ReportConnectionAborted(id);
  diagnostics->ReportBackendConnection(fmt::format("Lost connection to OCPP backoffice: {}", BackofficeName(id)));
}
