#include "src/components/ocpp.h"

#include <utility>

#include "platform/clock/timetext.h"
#include "platform/commutil/communicationexception.h"
#include "platform/iclogger/log.h"
#include "platform/iipc/texts.h"
#include "platform/iipc/timestamp.h"
#include "src/components/backofficeutils.h"
#include "src/components/boundedwait.h"
#include "src/components/ibackoffice.h"
#include "src/components/idiagnosticsclienthandler.h"
#include "src/components/iocppconfigmanager.h"
#include "src/components/ipersistentmessagestoragemanager.h"
#include "src/components/isystemaccessinterface.h"
#include "src/components/operation/ocpp_common/ioperationfactory.h"
#include "src/components/operation/ocpp_common/outcalloperationbase.h"
#include "src/components/operation/ocpp_common/payloadfault.h"

namespace {

constexpr int64_t kDefaultHeartbeatInterval = 14400;  // seconds
constexpr std::chrono::seconds kDefaultBlockingDuration{900};

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
    if (!backoffice) continue;
    // A session may begin, or be told of, before the station's clock is trusted and the primary enabled. It is billed
    // all the same: its start waits in the queue.
    const bool isBilled = operation == EOutOpType::EStartTransaction && id == EBackofficeId::EPrimary;
    if (!force && !isBilled && !backoffice->IsOperationAllowed(*created)) continue;
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
  lock.Unlock();
  storage->FinishLoading();
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
                                                           BoundedWait(std::chrono::seconds(interval))));
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
  timer.Replace(mWorker->AddCall([this, id] { HandleBlockingExpiry(id); }, mClock.SteadyNow() + BoundedWait(duration),
                                 std::chrono::nanoseconds(0)));
}

void COcpp::HandleBlockingExpiry(EBackofficeId id)
{
  LOG_INFO("Blocking time expires for {}.", BackofficeName(id));
  const auto backoffice = GetBackoffice(id);
  if (!backoffice) return;
  backoffice->GetBlockingTimer().Cancel();
  if (backoffice->GetOcppStatus() != EOcppStatus::EAccepted)
    PushOutCall(EOutOpType::EBootNotification, {id}, false, {});
}

void COcpp::StartClockAlignedMeterValue(EBackofficeId id)
{
  LOG_ENTRY("COcpp");
  mMeterValueTimers.StartClockAligned(id);
}

std::chrono::seconds COcpp::GetClockAlignedScheduledInterval()
{
  LOG_ENTRY("COcpp");
  return mMeterValueTimers.GetClockAlignedInterval();
}

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
