#include "src/components/statusnotificationpusher.h"

#include <algorithm>
#include <utility>

#include "platform/iclogger/log.h"
#include "platform/iipc/texts.h"
#include "src/components/boundedwait.h"
#include "src/components/ibackoffice.h"
#include "src/components/idiagnosticsclienthandler.h"
#include "src/components/iocppconfigmanager.h"
#include "src/components/isessionclienthandler.h"
#include "src/components/isystemaccessinterface.h"

namespace {

constexpr uint32_t kStation = 0;
constexpr uint32_t kConnector = 1;
// A selector below this one means the connector and the station, any other the station alone.
constexpr uint32_t kStationOnly = 2;
constexpr std::chrono::seconds kFatalDelay{1};

}  // namespace

CStatusNotificationPusher::CStatusNotificationPusher(IOcpp& ocpp, ISystemAccessInterface& systemAccess,
                                                     std::shared_ptr<CWorker> worker)
    : mOcpp(ocpp), mSystemAccess(systemAccess), mWorker(std::move(worker))
{}

void CStatusNotificationPusher::Push(uint32_t connectorSelector, const IOcpp::CBackofficeIds& backofficeIds)
{
  const auto ids = backofficeIds.empty() ? mOcpp.GetAllUsedBackofficeIds() : backofficeIds;
  if (ids.empty()) return;
  const std::chrono::seconds duration(mSystemAccess.GetOcppConfigManager()->ReadInt("MinimumStatusDuration"));
  LOG_DEBUG("MinimumStatusDuration config is {} secs", duration.count());
  const auto backoffice = ids.size() == 1 ? mOcpp.GetBackoffice(*ids.begin()) : mOcpp.GetLeadingBackoffice();
  if (!backoffice) {
    LOG_WARNING("Trying Pushing Status Notification but no backoffices enabled");
    return;
  }
  if (backoffice->GetOcppStatus() != EOcppStatus::EAccepted) {
    LOG_WARNING("Attempted to push StatusNotification before ExternalChargeApproval, not pushing...");
    return;
  }
  const auto timerOwner = backoffice->GetId();
  {
    CLock lock(mMutex);
    auto& waiting = mWaiting.try_emplace(timerOwner, SPush{connectorSelector, {}, {}}).first->second;
    waiting.connectorSelector = std::min(waiting.connectorSelector, connectorSelector);
    waiting.ids.insert(ids.begin(), ids.end());
    waiting.newcomers.insert(backofficeIds.begin(), backofficeIds.end());
  }
  backoffice->GetStatusTimer().Replace(mWorker->AddCall([this, timerOwner] { HandlePush(timerOwner); },
                                                        mWorker->GetClock().SteadyNow() + BoundedWait(duration),
                                                        std::chrono::nanoseconds(0)));
}

std::optional<CStatusNotificationPusher::SPush> CStatusNotificationPusher::TakeWaiting(EBackofficeId timerOwner)
{
  CLock lock(mMutex);
  const auto position = mWaiting.find(timerOwner);
  if (position == mWaiting.end()) return std::nullopt;
  const SPush push = std::move(position->second);
  mWaiting.erase(position);
  return push;
}

void CStatusNotificationPusher::HandlePush(EBackofficeId timerOwner)
{
  const auto leading = mOcpp.GetLeadingBackoffice();
  if (leading && (leading->IsFatalSent() || leading->GetFatalTimer().IsSet())) {
    LOG_WARNING("Skipping normal status notification push, fatal error already scheduled/pushed");
    // What waits is made up for should nothing come of the fatal error.
    if (leading->IsFatalSent()) RepeatFatal(timerOwner);
    return;
  }
  const auto push = TakeWaiting(timerOwner);
  if (!push) return;
  for (const auto& parameters : GetParamsList(push->connectorSelector)) {
    const auto connector = *GetIntParameter(parameters, EOperationParameter::EConnectorId);
    const auto state = static_cast<int32_t>(*GetIntParameter(parameters, EOperationParameter::EConnectorState));
    const bool isForAll = connector != kStation || state != mLastConnectorZeroState;
    const auto& ids = isForAll ? push->ids : push->newcomers;
    if (ids.empty()) continue;
    if (connector == kStation) mLastConnectorZeroState = state;
    LOG_INFO("Try pushing for ConnectorId {}: {} ({})", connector,
             ConnectorStateToString(static_cast<ipc::EConnectorState>(state)), state);
    TryPush(parameters, ids);
  }
}

// Who has come since may not have heard of it, or not confirmed it.
void CStatusNotificationPusher::RepeatFatal(EBackofficeId timerOwner)
{
  const auto push = TakeWaiting(timerOwner);
  if (push && !mFatal.empty()) TryPush(mFatal, push->newcomers);
}

void CStatusNotificationPusher::TryPush(const COperationParameters& parameters,
                                        const IOcpp::CBackofficeIds& backofficeIds)
{
  const auto connector = static_cast<uint32_t>(*GetIntParameter(parameters, EOperationParameter::EConnectorId));
  const auto state = static_cast<int32_t>(*GetIntParameter(parameters, EOperationParameter::EConnectorState));
  const auto errors =
      GetParameter<std::vector<int32_t>>(parameters, EOperationParameter::EErrorList).value_or(std::vector<int32_t>());
  const SStatus status{state, errors};
  IOcpp::CBackofficeIds differing;
  for (const auto id : backofficeIds) {
    const auto backoffice = mOcpp.GetBackoffice(id);
    if (!backoffice) continue;
    const SStatus confirmed{backoffice->GetConfirmedStatus(connector), backoffice->GetConfirmedErrors(connector)};
    // What was pushed since may be on its way still and be confirmed later.
    const auto pushed = mLastPushed.try_emplace({id, connector}, confirmed).first;
    if (confirmed == status && pushed->second == status) continue;
    pushed->second = status;
    differing.insert(id);
  }
  if (!differing.empty()) mOcpp.PushOutCall(EOutOpType::EStatusNotification, differing, false, parameters);
}

std::vector<COperationParameters> CStatusNotificationPusher::GetParamsList(uint32_t connectorSelector)
{
  std::vector<COperationParameters> list;
  const auto session = mSystemAccess.GetSessionManager(kConnector);
  const int32_t state = session == nullptr ? 0 : session->GetConnectorState();
  AppendConnector(list, kStation, GetSystemSessionState(state));
  if (connectorSelector < kStationOnly) AppendConnector(list, kConnector, state);
  return list;
}

void CStatusNotificationPusher::AppendConnector(std::vector<COperationParameters>& list, uint32_t connector,
                                                int32_t state)
{
  const auto session = mSystemAccess.GetSessionManager(kConnector);
  const auto diagnostics = mSystemAccess.GetDiagnosticsClientHandler();
  if (state == 0) state = ipc::EConnectorStateFaulted;
  auto errors = state == ipc::EConnectorStateFaulted ? diagnostics->GetActiveErrors(connector) : std::vector<int32_t>();
  const auto warnings = diagnostics->GetActiveWarnings(connector);
  errors.insert(errors.end(), warnings.begin(), warnings.end());
  if (session != nullptr && !session->IsReportable(state)) return;

  COperationParameters parameters{{EOperationParameter::EConnectorId, int64_t{connector}},
                                  {EOperationParameter::EConnectorState, int64_t{state}}};
  if (!errors.empty()) {
    LOG_INFO("Append errorWarningList for ConnectorId{} with {} errorWarning", connector, errors.size());
    parameters[EOperationParameter::EErrorList] = std::move(errors);
  }
  list.push_back(std::move(parameters));
}

int32_t CStatusNotificationPusher::GetSystemSessionState(int32_t state)
{
  const auto session = mSystemAccess.GetSessionManager(kConnector);
  const int32_t mapped = session == nullptr ? state : session->MapToSystemState(state);
  if (mapped == ipc::EConnectorStateUnavailable || mapped == ipc::EConnectorStateFaulted) return mapped;
  return ipc::EConnectorStateAvailable;
}

void CStatusNotificationPusher::PushFatal()
{
  const auto leading = mOcpp.GetLeadingBackoffice();
  if (!leading) {
    LOG_WARNING("Trying to push Fatal status notification but no backoffices enabled");
    return;
  }
  if (leading->IsFatalSent() || leading->GetFatalTimer().IsSet()) {
    LOG_INFO("Fatal error already scheduled/pushed, ignoring new push");
    return;
  }
  ScheduleFatal(*leading);
}

void CStatusNotificationPusher::ScheduleFatal(IBackoffice& backoffice)
{
  const auto id = backoffice.GetId();
  backoffice.GetFatalTimer().Replace(mWorker->AddCall([this, id] { HandleFatalErrorPush(id); },
                                                      mWorker->GetClock().SteadyNow() + kFatalDelay,
                                                      std::chrono::nanoseconds(0)));
}

void CStatusNotificationPusher::HandleFatalErrorPush(EBackofficeId id)
{
  const auto backoffice = mOcpp.GetBackoffice(id);
  if (!backoffice) return;
  if (backoffice->GetOcppStatus() != EOcppStatus::EAccepted) {
    LOG_INFO("Fatal error but not accepted yet, rescheduling push");
    ScheduleFatal(*backoffice);
    return;
  }
  if (backoffice->IsFatalSent()) {
    LOG_INFO("Fatal error already sent, ignoring further status changes");
    return;
  }
  LOG_INFO("Sending fatal error from BoardControl");
  const auto diagnostics = mSystemAccess.GetDiagnosticsClientHandler();
  auto errors = diagnostics->GetActiveErrors(kStation);
  if (errors.empty()) {
    LOG_INFO("Error list empty, cancelling fatal error");
    backoffice->GetFatalTimer().Cancel();
    // For the pushes that were skipped meanwhile.
    Push(0, {});
    return;
  }
  const auto warnings = diagnostics->GetActiveWarnings(kStation);
  errors.insert(errors.end(), warnings.begin(), warnings.end());
  const auto ids = mOcpp.GetAllUsedBackofficeIds();
  const COperationParameters parameters{{EOperationParameter::EConnectorId, int64_t{kStation}},
                                        {EOperationParameter::EConnectorState, int64_t{ipc::EConnectorStateFaulted}},
                                        {EOperationParameter::EErrorList, errors}};
  if (mOcpp.PushOutCall(EOutOpType::EStatusNotification, ids, false, parameters) != EPushResult::EQueued) {
    LOG_INFO("Fatal error could not be queued, rescheduling push");
    ScheduleFatal(*backoffice);
    return;
  }
  mFatal = parameters;
  for (const auto used : ids) mLastPushed[{used, kStation}] = {ipc::EConnectorStateFaulted, errors};
  backoffice->SetFatalSent(true);
}
