#include "src/components/sessionclienthandler.h"

#include <algorithm>
#include <utility>

#include "platform/clock/timetext.h"
#include "platform/commutil/communicationexception.h"
#include "platform/iclogger/log.h"
#include "platform/iipc/timestamp.h"
#include "src/components/ibackoffice.h"
#include "src/components/iocpp.h"
#include "src/components/ipersistentmessagestoragemanager.h"
#include "src/components/isampledvalueshandler.h"
#include "src/components/isystemaccessinterface.h"
#include "src/components/smartcharging/ismartchargingcomponent.h"

namespace {

bool IsSuccess(const ipc::MResult& result) { return result.result() == ipc::EResultSuccess; }

}  // namespace

CSessionClientHandler::CSessionClientHandler(uint32_t connector, std::shared_ptr<ISessionManager> sessionManager,
                                             ISystemAccessInterface& systemAccess)
    : mConnector(connector),
      mLogPrefix(fmt::format("[{}] ", connector)),
      mSessionManager(std::move(sessionManager)),
      mSystemAccess(systemAccess),
      mStore(connector, systemAccess),
      mStorageAvailable([this](bool available) {
        return Bring([&] { return mSessionManager->SetMessageStorageAvailable(available); });
      }),
      mChargeApproval(
          [this](bool approved) { return Bring([&] { return mSessionManager->SetExternalChargeApproval(approved); }); })
{}

bool CSessionClientHandler::Reach(const std::function<void()>& call) const
{
  try {
    call();
    return true;
  } catch (const Rpc::CommunicationException& error) {
    LOG_ERROR("Cannot communicate with SessionManager, error: {}", error.what());
    return false;
  }
}

std::optional<bool> CSessionClientHandler::Bring(const std::function<ipc::MResult()>& call) const
{
  std::optional<bool> accepted;
  Reach([&] { accepted = IsSuccess(call()); });
  return accepted;
}

bool CSessionClientHandler::Request(const std::function<ipc::MResult()>& call) const
{
  return Bring(call).value_or(false);
}

// What the session manager refuses was delivered, but a session that cannot take the request counts as not taken.
bool CSessionClientHandler::HandleAuthorizeRequest(const ipc::MAuthorizeRequest& request)
{
  LOG_ENTRY("CSessionClientHandler");
  return Request([&] { return mSessionManager->HandleAuthorizeRequest(request); });
}

void CSessionClientHandler::DeauthorizeSession(EDeauthorizeReason reason)
{
  LOG_ENTRY("CSessionClientHandler");
  Reach([&] { mSessionManager->DeauthorizeSession(mConnector, static_cast<ipc::EDeauthorizeReason>(reason)); });
}

std::string CSessionClientHandler::GetAuthorizeHandle()
{
  LOG_ENTRY("CSessionClientHandler");
  std::string handle;
  Reach([&] { handle = mSessionManager->GetAuthorizeHandle(); });
  return handle;
}

bool CSessionClientHandler::ReserveConnector(const std::string& idTag, int64_t reservationId, const std::string& expiry)
{
  LOG_ENTRY("CSessionClientHandler");
  ipc::MConnectorReservation reservation;
  reservation.set_connector(mConnector);
  reservation.set_id_tag(idTag);
  reservation.set_id(static_cast<int32_t>(reservationId));
  if (const auto time = ParseTimeText(expiry)) *reservation.mutable_expiry_date() = ToTimestamp(*time);
  return Request([&] { return mSessionManager->ReserveConnector(reservation); });
}

bool CSessionClientHandler::SetConnectorAvailability(bool operative)
{
  LOG_ENTRY("CSessionClientHandler");
  return Request([&] { return mSessionManager->SetConnectorAvailability(mConnector, operative); });
}

bool CSessionClientHandler::SetMessageStorageAvailable(bool available)
{
  LOG_ENTRY("CSessionClientHandler");
  return mStorageAvailable.Tell(available);
}

bool CSessionClientHandler::RequestUnlock(uint32_t connector)
{
  LOG_ENTRY("CSessionClientHandler");
  return Request([&] { return mSessionManager->RequestUnlock(connector); });
}

bool CSessionClientHandler::SetExternalChargeApproval(bool approved, EBackofficeId backofficeId)
{
  LOG_ENTRY("CSessionClientHandler");
  if (backofficeId != mSystemAccess.GetOcpp()->GetPrimaryBackofficeId()) return true;
  return mChargeApproval.Tell(approved);
}

void CSessionClientHandler::SetParentIdTag(const std::string& parentIdTag)
{
  LOG_ENTRY("CSessionClientHandler");
  Reach([&] { mSessionManager->SetParentIdTag(mConnector, parentIdTag); });
}

void CSessionClientHandler::Init()
{
  LOG_ENTRY("CSessionClientHandler");
  mStore.Load();
  const auto state = mStore.Get();
  const auto& session = state.record;
  bool hasOpenTransaction = state.isOpened;
  // "OpenedTransaction" is written behind the message that it tells of. A process that was killed between the two finds
  // here what it had come to; otherwise the transaction would be started twice, or the next one not at all.
  if (session && session->hasEnded) {
    LOG_INFO("{}The process ended while its session was being stopped", mLogPrefix);
    mStore.ChangeRecord([isStopOnItsWay = IsStopOnItsWay(state)](auto& stored, auto& record) {
      stored.isOpened = false;
      // Otherwise the key stays: the stop will be told again, and is that of the same transaction.
      if (!isStopOnItsWay) return;
      record.Remember({record.start, false});
      record.key.clear();
      record.hasEnded = false;
    });
    hasOpenTransaction = false;
  } else if (!hasOpenTransaction && session && IsStartOnItsWay(state)) {
    LOG_INFO("{}The process ended while its session was being started", mLogPrefix);
    hasOpenTransaction = true;
    mStore.Change([](auto& stored) { stored.isOpened = true; });
  }
  mHasOpenTransaction = hasOpenTransaction;
  mFormerlyEnded = mStore.Get().record.value_or(SSessionRecord()).ended;
  mHasHeardOfStart = false;
}

// True when the StartTransaction of the running session is stored, or was answered or given up.
bool CSessionClientHandler::IsStartOnItsWay(const CSessionStore::SState& state) const
{
  const auto& key = state.record->key;
  if (key.empty() || key == kAnyTransaction) return false;
  const auto* storage = mSystemAccess.GetPersistentMessageStorage();
  if (storage != nullptr && storage->IsStored(key)) return true;
  return state.currentKey == key;
}

// True when the StopTransaction of the session is stored, or was answered.
bool CSessionClientHandler::IsStopOnItsWay(const CSessionStore::SState& state) const
{
  const auto& session = *state.record;
  // That there is no id any more would not tell: a start that was given up has none either.
  if (!session.key.empty() && state.closedKey == session.key) return true;
  auto* storage = mSystemAccess.GetPersistentMessageStorage();
  if (storage == nullptr) return false;
  const auto messages = storage->GetStoredMessages();
  return std::any_of(messages.begin(), messages.end(), [&](const SMessage& message) {
    if (message.type != EOutOpType::EStopTransaction) return false;
    if (!session.key.empty() && message.transactionKey == session.key) return true;
    return !session.end.empty() && SSessionRecord::EndOf(message.payload) == session.end;
  });
}

// True for a session whose end was reported, by this life of the process or by an earlier one. The session manager
// cannot know what a process that was killed had come to, and tells again.
bool CSessionClientHandler::IsReported(const std::string& start) const
{
  const auto session = mStore.Get().record;
  if (start.empty() || !session) return false;
  const auto isIt = [&](const SSessionRecord::SEnded& ended) { return ended.start == start; };
  if (std::any_of(mFormerlyEnded.begin(), mFormerlyEnded.end(), isIt)) return true;
  // Without energy the next session may start with the same reading, within the same second.
  return std::any_of(session->ended.begin(), session->ended.end(),
                     [&](const SSessionRecord::SEnded& ended) { return isIt(ended) && ended.hasMovedMeter; });
}

bool CSessionClientHandler::HasEnded(const std::string& start) const
{
  const auto session = mStore.Get().record;
  return session && std::any_of(session->ended.begin(), session->ended.end(),
                                [&](const SSessionRecord::SEnded& ended) { return ended.start == start; });
}

bool CSessionClientHandler::IsRunning(const std::string& start) const
{
  const auto state = mStore.Get();
  const auto& session = state.record;
  if (start.empty() || !session || session->start != start) return false;
  return session->hasEnded || state.isOpened;
}

bool CSessionClientHandler::IsOtherOpen(const std::string& start) const
{
  const auto session = mStore.Get().record;
  if (start.empty() || !session || session->start.empty() || session->start == start) return false;
  return IsRunning(session->start);
}

// A reading that does not say where its session began is that of the running one, unless none runs or the same stop was
// made before.
bool CSessionClientHandler::IsEndToldAgain(const ipc::MMeterData& end) const
{
  const std::string start = SSessionRecord::StartOf(end);
  if (!start.empty()) return IsReported(start) || (!IsRunning(start) && HasEnded(start));
  const auto state = mStore.Get();
  const auto& session = state.record;
  if (!session || session->hasEnded) return false;
  if (session->key.empty() && !state.isOpened) return true;
  if (session->stop != SSessionRecord::StopOf(end)) return false;
  // What does not say when it ended may have been measured twice, by a meter that stands still. It is taken for the
  // same only while what is told may belong to a former life of the process.
  return !session->stop.empty() && (!mHasHeardOfStart || !SSessionRecord::EndOf(end).empty());
}

// A session whose start is told late, as after a kill, may have ended, and then the meter shows nothing of it any more.
bool CSessionClientHandler::IsOver(const ipc::MMeterData& start) const
{
  const auto meter = mSystemAccess.GetSampledValuesHandler(mConnector);
  if (meter == nullptr || !start.has_session_start_energy()) return false;
  try {
    const auto reading = meter->GetMeterData();
    if (reading.session_start_energy() > start.session_start_energy()) return true;
    if (SSessionRecord::StartOf(reading) != SSessionRecord::StartOf(start)) return false;
    // A meter may keep the end of the session before, which lies ahead of this one's start.
    const auto startTime = ParseTimeText(reading.session_start_time());
    const auto endTime = ParseTimeText(reading.session_end_time());
    return startTime && endTime && *endTime >= *startTime;
  } catch (const Rpc::CommunicationException&) {
    // Whoever schedules the samples cannot reach it either, and says so.
    return false;
  }
}

void CSessionClientHandler::HandleStateChanged(const ipc::MConnectorState& state)
{
  LOG_DEBUG("{}Receiving StateChanged notification, to {}", mLogPrefix, ipc::EConnectorState_Name(state.state()));
  mStore.Repeat();
  mStorageAvailable.Repeat();
  mChargeApproval.Repeat();
  auto& ocpp = *mSystemAccess.GetOcpp();
  // The first status of a new session is always sent.
  if (state.state() == ipc::EConnectorStateStarting && !mHasOpenTransaction) {
    for (const auto id : ocpp.GetAllUsedBackofficeIds()) {
      if (const auto backoffice = ocpp.GetBackoffice(id)) backoffice->SetConfirmedStatus(mConnector, 0);
    }
  }
  ocpp.PushStatusNotification(mConnector, {});
}

void CSessionClientHandler::HandleSessionStarted(const ipc::MMeterData& meterData)
{
  LOG_ENTRY("CSessionClientHandler");
  auto& ocpp = *mSystemAccess.GetOcpp();
  const std::string start = SSessionRecord::StartOf(meterData);
  if (IsReported(start) || (IsOtherOpen(start) && HasEnded(start))) {
    LOG_INFO("{}The start of a session that has ended was told again, ignoring it", mLogPrefix);
    return;
  }
  if (IsOtherOpen(start)) CloseLost(meterData);
  // A session that survived a restart of the process has its transaction already.
  mHasHeardOfStart = true;
  const bool isNew = !mHasOpenTransaction && !IsRunning(start);
  if (isNew) {
    mStart = start;
    // The operation enters its key as soon as there is one; a session whose start reaches no backoffice has none.
    if (!GetTransactionKey().empty()) BeginTransaction("");
    ocpp.PushOutCall(
        EOutOpType::EStartTransaction, ocpp.GetAllUsedBackofficeIds(), false,
        {{EOperationParameter::EConnectorId, int64_t{mConnector}}, {EOperationParameter::EMeterData, meterData}});
  }
  mStore.Change([&](auto& state) {
    state.isOpened = true;
    // A session that has no key was begun by nobody.
    if (isNew && state.record) state.record->Begin(state.record->key, mStart);
  });
  if (IsOver(meterData)) {
    LOG_INFO("{}The session has ended by what the meter shows, no MeterValue is scheduled", mLogPrefix);
  } else {
    ocpp.ScheduleOcppSessionMeterValues(mConnector);
  }
  if (auto* smartCharging = mSystemAccess.GetSmartChargingComponent()) smartCharging->OnTransactionStart();
}

void CSessionClientHandler::HandleSessionStopped(const ipc::MMeterData& meterData, uint32_t reason)
{
  LOG_ENTRY("CSessionClientHandler");
  if (IsEndToldAgain(meterData)) {
    LOG_INFO("{}The end of a session was told again, ignoring it", mLogPrefix);
    return;
  }
  PushStop(meterData, reason);
}

// Energy of the next session must not be booked on the transaction of one whose end is not told any more.
void CSessionClientHandler::CloseLost(const ipc::MMeterData& next)
{
  const auto session = mStore.Get().record.value_or(SSessionRecord());
  LOG_ERROR(
      "{}The end of the session that began with '{}' was never told, closing it with what the meter shows at the start "
      "of the next one",
      mLogPrefix, session.start);
  // The session manager knows the tag of the next session alone.
  mWithoutTag = std::this_thread::get_id();
  PushStop(session.EndBefore(next), static_cast<uint32_t>(ipc::EStopSessionReasonOther));
  mWithoutTag = std::thread::id();
}

void CSessionClientHandler::PushStop(const ipc::MMeterData& meterData, uint32_t reason)
{
  auto& ocpp = *mSystemAccess.GetOcpp();
  ocpp.CancelOcppSessionMeterValues(mConnector);
  mStore.ChangeRecord([&, key = GetTransactionKey()](auto& /*state*/, auto& record) {
    record.key = key;
    record.hasEnded = true;
    record.end = SSessionRecord::EndOf(meterData);
    record.stop = SSessionRecord::StopOf(meterData);
  });
  ocpp.PushOutCall(EOutOpType::EStopTransaction, ocpp.GetAllUsedBackofficeIds(), true,
                   {{EOperationParameter::EConnectorId, int64_t{mConnector}},
                    {EOperationParameter::EStopReason, int64_t{reason}},
                    {EOperationParameter::EMeterData, meterData}});
  mHasOpenTransaction = false;
  mStore.ChangeRecord([&](auto& state, auto& record) {
    state.isOpened = false;
    record.Close(meterData);
  });
  if (auto* smartCharging = mSystemAccess.GetSmartChargingComponent()) smartCharging->OnTransactionEnd();
}

int32_t CSessionClientHandler::GetConnectorState()
{
  LOG_ENTRY("CSessionClientHandler");
  int32_t state = 0;
  Reach([&] { state = mSessionManager->GetConnectorInfo(mConnector).state(); });
  return state;
}

bool CSessionClientHandler::IsSessionActive()
{
  const int32_t state = GetConnectorState();
  return state >= ipc::EConnectorStatePreparingPluggedIn && state != ipc::EConnectorStateFaulted;
}

bool CSessionClientHandler::IsCharging()
{
  const int32_t state = GetConnectorState();
  return state >= ipc::EConnectorStateCharging && state <= ipc::EConnectorStateSuspendedByEvse;
}

int64_t CSessionClientHandler::GetTransactionId()
{
  LOG_ENTRY("CSessionClientHandler");
  return mStore.Get().transactionId;
}

void CSessionClientHandler::SetTransactionId(int64_t id)
{
  LOG_ENTRY("CSessionClientHandler");
  mStore.Change([id](auto& state) { state.transactionId = id; });
}

void CSessionClientHandler::ClearTransactionId()
{
  LOG_ENTRY("CSessionClientHandler");
  mStore.Change([](auto& state) {
    state.transactionId = CSessionStore::kNoTransaction;
    state.closedKey = state.currentKey;
  });
}

void CSessionClientHandler::BeginTransaction(const std::string& key)
{
  LOG_ENTRY("CSessionClientHandler");
  mStore.ChangeRecord([&](auto& /*state*/, auto& record) { record.Begin(key, mStart); });
}

// A connector whose data were written before there were keys has the current transaction.
std::string CSessionClientHandler::GetTransactionKey()
{
  LOG_ENTRY("CSessionClientHandler");
  const auto session = mStore.Get().record;
  return session ? session->key : std::string(kAnyTransaction);
}

void CSessionClientHandler::SettleTransaction(const std::string& key, int64_t id)
{
  LOG_ENTRY("CSessionClientHandler");
  mStore.Change([&](auto& state) {
    state.transactionId = id;
    state.currentKey = key;
  });
}

int64_t CSessionClientHandler::GetTransactionIdOf(const std::string& key)
{
  LOG_ENTRY("CSessionClientHandler");
  const auto state = mStore.Get();
  const bool isCurrent = key == kAnyTransaction || (!key.empty() && state.currentKey == key);
  return isCurrent ? state.transactionId : CSessionStore::kNoTransaction;
}

std::string CSessionClientHandler::GetSessionIdTag()
{
  LOG_ENTRY("CSessionClientHandler");
  if (mWithoutTag == std::this_thread::get_id()) return {};
  std::string idTag;
  Reach([&] { idTag = mSessionManager->GetConnectorInfo(mConnector).id_tag(); });
  return idTag;
}

bool CSessionClientHandler::IsReportable(int32_t state)
{
  return state >= ipc::EConnectorStateAvailable && state <= ipc::EConnectorStateFaulted;
}

int32_t CSessionClientHandler::MapToSystemState(int32_t state)
{
  const bool isUnchanged = state > ipc::EConnectorStateStopping || state == 0 ||
                           state == ipc::EConnectorStateUnavailable || state == ipc::EConnectorStateFaulted;
  return isUnchanged ? state : static_cast<int32_t>(ipc::EConnectorStateAvailable);
}
