#include "src/components/ocpp.h"

#include <algorithm>
#include <utility>

#include "platform/clock/timetext.h"
#include "platform/commutil/communicationexception.h"
#include "platform/iclogger/log.h"
#include "platform/iipc/texts.h"
#include "platform/iipc/timestamp.h"
#include "src/components/backofficeutils.h"
#include "src/components/ibackoffice.h"
#include "src/components/idiagnosticsclienthandler.h"
#include "src/components/ihostinfo.h"
#include "src/components/iocppconfigmanager.h"
#include "src/components/ipersistentmessagestoragemanager.h"
#include "src/components/isessionclienthandler.h"
#include "src/components/isystemaccessinterface.h"
#include "src/components/iwebsocketclient.h"
#include "src/components/operation/ocpp_common/ioperationfactory.h"
#include "src/components/operation/ocpp_common/outcalloperationbase.h"
#include "src/components/operation/ocpp_common/payloadfault.h"

namespace {

constexpr int64_t kDefaultHeartbeatInterval = 14400;  // seconds
constexpr std::chrono::seconds kDefaultBlockingDuration{900};
// A backoffice may order any number of seconds; beyond this one the clock's range would be left.
constexpr std::chrono::seconds kLongestWait = std::chrono::hours(24 * 3650);

// False, and a line in the log, when the payload cannot be formed.
bool Prepare(COutCallOperationBase& operation, const COperationParameters& parameters)
{
  try {
    operation.Prepare(parameters);
    return true;
  } catch (const Rpc::CommunicationException& error) {
    LOG_ERROR("Cannot communicate with other process(s), error: {}", error.what());
    return false;
  } catch (...) {
    const auto fault = CurrentPayloadFault();
    switch (fault.kind) {
      case EPayloadFault::EMissingMember:
      case EPayloadFault::EJson:
        LOG_ERROR("Execute error with exception: {}", fault.text);
        break;
      case EPayloadFault::ENotConforming:
        LOG_ERROR("Forming an out-call with non-conforming payload. {}", fault.text);
        break;
      case EPayloadFault::EConstraint:
        LOG_ERROR("Forming an out-call a member constraint exception {}", fault.text);
        break;
      case EPayloadFault::EStandard:
        LOG_ERROR("An exception is thrown. {}", fault.text);
        break;
      case EPayloadFault::EUnknown:
        LOG_ERROR("An unknown exception is thrown.");
        break;
    }
    return false;
  }
}

}  // namespace

COcpp::COcpp(IClock& clock, ISystemAccessInterface& systemAccess, std::shared_ptr<IOperationFactory> operationFactory,
             CResolveHost resolveHost)
    : mClock(clock),
      mSystemAccess(systemAccess),
      mOperationFactory(std::move(operationFactory)),
      mResolveHost(std::move(resolveHost)),
      mWorker(std::make_shared<CWorker>(clock, "ocpp")),
      mMeterValueTimers(*this, systemAccess, mWorker),
      mStatusNotificationPusher(*this, systemAccess, mWorker)
{
  mWorker->Start();
}

COcpp::~COcpp() { Shutdown(); }

void COcpp::Shutdown()
{
  mSampleIntervalRegistration.reset();
  std::map<EBackofficeId, std::shared_ptr<IBackoffice>> backoffices;
  {
    CLock lock(mBackofficesMutex);
    backoffices.swap(mBackoffices);
  }
  for (const auto& [id, backoffice] : backoffices) backoffice->Connect(false);
  mWorker->Stop();
}

void COcpp::Init()
{
  LOG_ENTRY("COcpp");
  mSampleIntervalRegistration = mSystemAccess.GetOcppConfigManager()->RegisterChangeCallback(
      "MeterValueSampleInterval", [this](const std::string&, const Json::Value& value) {
        if (value.isInt64()) mMeterValueTimers.ChangeSampleInterval(std::chrono::seconds(value.asInt64()));
      });
}

EPushResult COcpp::PushOutCall(EOutOpType operation, const CBackofficeIds& backofficeIds, bool force,
                               const COperationParameters& parameters)
{
  LOG_ENTRY("COcpp");
  if (operation == EOutOpType::EInvalid) return EPushResult::ENothing;
  if (backofficeIds.empty()) return EPushResult::EFailed;

  const auto created = mOperationFactory->CreateOutOperation(operation);
  if (!created) {
    LOG_ERROR("Cannot create operation");
    return EPushResult::EPassed;
  }

  std::vector<std::shared_ptr<IBackoffice>> receivers;
  for (const auto id : backofficeIds) {
    auto backoffice = GetBackoffice(id);
    if (!backoffice || (!force && !backoffice->IsOperationAllowed(*created))) continue;
    receivers.push_back(std::move(backoffice));
  }
  if (receivers.empty()) return EPushResult::ENoReceiver;
  if (!Prepare(*created, parameters)) return EPushResult::EFailed;

  // What a former life of the process stored goes ahead of anything newer.
  if (created->IsResendRequiredOp()) QueueStoredMessages();

  EPushResult first = EPushResult::EFailed;
  for (size_t i = 0; i < receivers.size(); ++i) {
    const auto result = receivers[i]->PushOutCallOperation(created->Clone());
    if (i == 0) first = result;
  }
  return first;
}

EPushResult COcpp::PushStoredOutCall(const SMessage& message, const CBackofficeIds& backofficeIds)
{
  LOG_ENTRY("COcpp");
  const auto operation = mOperationFactory->CreateOutOperation(message);
  if (!operation) {
    LOG_ERROR("Cannot create operation");
    return EPushResult::EPassed;
  }
  EPushResult result = EPushResult::EFailed;
  for (const auto id : backofficeIds) {
    const auto backoffice = GetBackoffice(id);
    if (!backoffice) continue;
    LOG_TRACE("Inserting op into backoffice {}", BackofficeName(id));
    if (backoffice->PushOutCallOperation(operation->Clone()) == EPushResult::EQueued) result = EPushResult::EQueued;
  }
  return result;
}

void COcpp::LoadPersistedMessages()
{
  LOG_ENTRY("COcpp");
  if (mPersistedMessagesLoaded) {
    LOG_WARNING(
        "Persistently stored messages have already been loaded, skipping reloading the messages from persistent "
        "storage.");
    return;
  }
  QueueStoredMessages();
}

// Once per process, and only with a primary backoffice: without one the messages wait in the store for a later start.
void COcpp::QueueStoredMessages()
{
  if (mPersistedMessagesLoaded) return;
  CLock lock(mLoadMutex);
  const auto primary = GetPrimaryBackofficeId();
  const auto storage = mSystemAccess.GetPersistentMessageStorage();
  if (mPersistedMessagesLoaded || primary == EBackofficeId::ENone || storage == nullptr) return;

  const auto messages = storage->GetStoredMessages();
  LOG_INFO("Load messages from persistent storage, found {} messages in storage", messages.size());
  for (const auto& message : messages) {
    if (PushStoredOutCall(message, {primary}) == EPushResult::EQueued) continue;
    storage->Clear(message.messageId);
    LOG_ERROR("Insert operation {}(ID: {}, payload: {}) to queue failed. Removed from storage.",
              OutOpTypeToName(message.type), message.messageId, message.payload);
  }
  mPersistedMessagesLoaded = true;
}

std::shared_ptr<IBackoffice> COcpp::GetBackoffice(EBackofficeId id)
{
  CLock lock(mBackofficesMutex);
  const auto backoffice = mBackoffices.find(id);
  return backoffice == mBackoffices.end() ? nullptr : backoffice->second;
}

EBackofficeId COcpp::GetPrimaryBackofficeId()
{
  CLock lock(mBackofficesMutex);
  for (const auto& [id, backoffice] : mBackoffices) {
    if (backoffice->GetType() == static_cast<uint8_t>(EBackofficeId::EPrimary)) return id;
  }
  return EBackofficeId::ENone;
}

IOcpp::CBackofficeIds COcpp::GetAuxiliaryBackofficeIds()
{
  CLock lock(mBackofficesMutex);
  CBackofficeIds ids;
  for (const auto& [id, backoffice] : mBackoffices) {
    if (backoffice->GetType() == static_cast<uint8_t>(EBackofficeId::EAuxiliary)) ids.insert(id);
  }
  return ids;
}

IOcpp::CBackofficeIds COcpp::GetAllUsedBackofficeIds()
{
  CLock lock(mBackofficesMutex);
  CBackofficeIds ids;
  for (const auto& entry : mBackoffices) ids.insert(entry.first);
  return ids;
}

std::shared_ptr<IBackoffice> COcpp::GetLeadingBackoffice()
{
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
      break;  // the blocking timer decides
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

void COcpp::ScheduleOcppHeartbeat(EBackofficeId id)
{
  LOG_ENTRY("COcpp");
  const auto backoffice = GetBackoffice(id);
  if (!backoffice) return;
  backoffice->GetHeartbeatTimer().Cancel();
  if (backoffice->GetOcppStatus() != EOcppStatus::EAccepted) {
    LOG_DEBUG("Not scheduling OCPP heartbeat for {} because the charge point has not yet been accepted.",
              BackofficeName(id));
    return;
  }
  int64_t interval = mSystemAccess.GetOcppConfigManager()->ReadInt(GetMutualKey("HeartbeatInterval", id));
  LOG_DEBUG("OcppHeartbeat is scheduled in {} seconds", interval);
  if (interval <= 0) interval = kDefaultHeartbeatInterval;
  backoffice->GetHeartbeatTimer().Replace(mWorker->AddCall([this, id] { SendHeartbeat(id); }, mClock.SteadyNow(),
                                                           std::min(std::chrono::seconds(interval), kLongestWait)));
}

void COcpp::SendHeartbeat(EBackofficeId id)
{
  const auto backoffice = GetBackoffice(id);
  if (!backoffice) return;
  if (backoffice->GetOcppStatus() == EOcppStatus::EAccepted) {
    PushOutCall(EOutOpType::EHeartbeat, {id}, false, {});
  } else {
    LOG_INFO("Skipping OCPP heartbeat because the charge point {} has not yet been accepted.", BackofficeName(id));
  }
}

void COcpp::CancelOcppHeartbeat(EBackofficeId id)
{
  LOG_ENTRY("COcpp");
  const auto backoffice = GetBackoffice(id);
  if (!backoffice) return;
  if (!backoffice->GetHeartbeatTimer().Cancel()) LOG_WARNING("Try to kill OcppHeartbeat, but none was running.");
}

void COcpp::SetOperationBlockingDuration(std::chrono::seconds duration, EBackofficeId id)
{
  LOG_ENTRY("COcpp");
  const auto backoffice = GetBackoffice(id);
  if (!backoffice) return;
  auto& timer = backoffice->GetBlockingTimer();
  if (timer.IsSet()) LOG_WARNING("BlockingTimer is already scheduled. Override with new duration");
  if (duration.count() <= 0) duration = kDefaultBlockingDuration;
  timer.Replace(mWorker->AddCall([this, id] { HandleBlockingExpiry(id); },
                                 mClock.SteadyNow() + std::min(duration, kLongestWait), std::chrono::nanoseconds(0)));
}

void COcpp::HandleBlockingExpiry(EBackofficeId id)
{
  LOG_INFO("Blocking time expires for {}.", BackofficeName(id));
  const auto backoffice = GetBackoffice(id);
  if (!backoffice) return;
  backoffice->GetBlockingTimer().Cancel();
  const auto status = backoffice->GetOcppStatus();
  if (status == EOcppStatus::EPending || status == EOcppStatus::ERejected) {
    PushOutCall(EOutOpType::EBootNotification, {id}, false, {});
  }
}

void COcpp::StartClockAlignedMeterValue(EBackofficeId id)
{
  LOG_ENTRY("COcpp");
  mMeterValueTimers.StartClockAligned(id);
}

std::chrono::seconds COcpp::GetClockAlignedScheduledInterval() { return mMeterValueTimers.GetClockAlignedInterval(); }

void COcpp::ScheduleOcppSessionMeterValues(uint32_t connector)
{
  LOG_ENTRY("COcpp");
  mMeterValueTimers.ScheduleSession(connector);
}

void COcpp::CancelOcppSessionMeterValues(uint32_t connector)
{
  LOG_ENTRY("COcpp");
  mMeterValueTimers.CancelSession(connector);
}

void COcpp::PushStatusNotification(uint32_t connectorSelector, const CBackofficeIds& backofficeIds)
{
  LOG_ENTRY("COcpp");
  mStatusNotificationPusher.Push(connectorSelector, backofficeIds);
}

void COcpp::PushFatalStatusNotification()
{
  LOG_ENTRY("COcpp");
  mStatusNotificationPusher.PushFatal();
}

std::vector<COperationParameters> COcpp::GetStatusNotificationParamsList(uint32_t connectorSelector)
{
  LOG_ENTRY("COcpp");
  return mStatusNotificationPusher.GetParamsList(connectorSelector);
}

int32_t COcpp::GetSystemSessionState(int32_t state)
{
  LOG_ENTRY("COcpp");
  return mStatusNotificationPusher.GetSystemSessionState(state);
}

void COcpp::PushSecurityEventNotification(const ipc::MDiagnosticsSignal& signal)
{
  LOG_ENTRY("COcpp");
  PushOutCall(EOutOpType::ESecurityEventNotification, GetAllUsedBackofficeIds(), true,
              CreateSecurityEventParameters(signal));
}

COperationParameters COcpp::CreateSecurityEventParameters(const ipc::MDiagnosticsSignal& signal)
{
  LOG_ENTRY("COcpp");
  const auto time = signal.has_timestamp() ? ToSystemClock(signal.timestamp()) : mClock.SystemNow();
  return {
      {EOperationParameter::ESecurityEventType, std::string(EventToString(signal.identifier()))},
      {EOperationParameter::ESecurityEventTimestamp, ToTimeText(time)},
      {EOperationParameter::ESecurityEventTechnicalInformation,
       signal.string_values_size() > 0 ? signal.string_values(0) : std::string()},
  };
}
