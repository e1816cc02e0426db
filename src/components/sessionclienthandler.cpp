#include "src/components/sessionclienthandler.h"

#include <algorithm>
#include <utility>

#include "platform/clock/timetext.h"
#include "platform/commutil/communicationexception.h"
#include "platform/icconfig/icconfig.h"
#include "platform/iclogger/log.h"
#include "platform/iipc/timestamp.h"
#include "src/components/ibackoffice.h"
#include "src/components/iocpp.h"
#include "src/components/ipersistentmessagestoragemanager.h"
#include "src/components/isampledvalueshandler.h"
#include "src/components/isystemaccessinterface.h"
#include "src/components/smartcharging/ismartchargingcomponent.h"

namespace {

constexpr const char* kOpenedTransaction = "OpenedTransaction";
constexpr const char* kCurrentTransactionId = "CurrentTransactionId";
constexpr int64_t kNoTransaction = -1;
// {"Current": <key of the transaction that "CurrentTransactionId" is the id of>,
//  "Closed": <key of the transaction whose stop was answered last>}
const std::string kTransactionKeys = "TransactionKeys";
constexpr const char* kCurrent = "Current";
constexpr const char* kClosed = "Closed";
// An SSessionRecord.
const std::string kSession = "SessionTransaction";

bool IsSuccess(const ipc::MResult& result) { return result.result() == ipc::EResultSuccess; }

}  // namespace

CSessionClientHandler::CSessionClientHandler(uint32_t connector, std::shared_ptr<ISessionManager> sessionManager,
                                             ISystemAccessInterface& systemAccess)
    : mConnector(connector),
      mLogPrefix(fmt::format("[{}] ", connector)),
      mSessionManager(std::move(sessionManager)),
      mSystemAccess(systemAccess),
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
  bool hasOpenTransaction = mSystemAccess.GetSeccPersistentData(mConnector)->GetBool(kOpenedTransaction, false);
  // "OpenedTransaction" is written behind the message that it tells of. A process that was killed between the two finds
  // here what it had come to; otherwise the transaction would be started twice, or the next one not at all.
  auto session = ReadSession();
  if (session && session->hasEnded) {
    LOG_INFO("{}The process ended while its session was being stopped", mLogPrefix);
    if (IsStopOnItsWay(*session)) {
      session->Remember({session->start, false});
      session->key.clear();
      session->hasEnded = false;
      StoreSessionEnd(*session);
    } else if (hasOpenTransaction) {
      // The key stays: the stop will be told again, and is that of the same transaction.
      StoreOpenedTransaction(false);
    }
    hasOpenTransaction = false;
  } else if (!hasOpenTransaction && session && !session->hasEnded && IsStartOnItsWay(session->key)) {
    LOG_INFO("{}The process ended while its session was being started", mLogPrefix);
    hasOpenTransaction = true;
    StoreOpenedTransaction(true);
  }
  mHasOpenTransaction = hasOpenTransaction;
  if (session) mFormerlyEnded = session->ended;
  mHasHeardOfStart = false;
}

// True when the StartTransaction of that id is stored, or was answered or given up.
bool CSessionClientHandler::IsStartOnItsWay(const std::string& key) const
{
  if (key.empty() || key == kAnyTransaction) return false;
  const auto* storage = mSystemAccess.GetPersistentMessageStorage();
  if (storage != nullptr && storage->IsStored(key)) return true;
  return ReadTransactionKey(kCurrent) == key;
}

// True when the StopTransaction of the session is stored, or was answered.
bool CSessionClientHandler::IsStopOnItsWay(const SSessionRecord& session) const
{
  // That there is no id any more would not tell: a start that was given up has none either.
  if (!session.key.empty() && ReadTransactionKey(kClosed) == session.key) return true;
  auto* storage = mSystemAccess.GetPersistentMessageStorage();
  if (session.end.empty() || storage == nullptr) return false;
  const auto messages = storage->GetStoredMessages();
  return std::any_of(messages.begin(), messages.end(), [&](const SMessage& message) {
    return message.type == EOutOpType::EStopTransaction && SSessionRecord::EndOf(message.payload) == session.end;
  });
}

// True for a session whose end was reported, by this life of the process or by an earlier one. The session manager
// cannot know what a process that was killed had come to, and tells again.
bool CSessionClientHandler::IsReported(const std::string& start) const
{
  const auto session = ReadSession();
  if (start.empty() || !session) return false;
  const auto isIt = [&](const SSessionRecord::SEnded& ended) { return ended.start == start; };
  if (std::any_of(mFormerlyEnded.begin(), mFormerlyEnded.end(), isIt)) return true;
  // Without energy the next session may start with the same reading, within the same second.
  return std::any_of(session->ended.begin(), session->ended.end(),
                     [&](const SSessionRecord::SEnded& ended) { return isIt(ended) && ended.hasMovedMeter; });
}

bool CSessionClientHandler::HasEnded(const std::string& start) const
{
  const auto session = ReadSession();
  return session && std::any_of(session->ended.begin(), session->ended.end(),
                                [&](const SSessionRecord::SEnded& ended) { return ended.start == start; });
}

bool CSessionClientHandler::IsRunning(const std::string& start) const
{
  const auto session = ReadSession();
  if (start.empty() || !session || session->start != start) return false;
  return session->hasEnded || mSystemAccess.GetSeccPersistentData(mConnector)->GetBool(kOpenedTransaction, false);
}

bool CSessionClientHandler::IsOtherOpen(const std::string& start) const
{
  const auto session = ReadSession();
  if (start.empty() || !session || session->start.empty() || session->start == start) return false;
  return IsRunning(session->start);
}

// A reading that does not say where its session began is that of the running one, unless none runs or the same stop was
// made before.
bool CSessionClientHandler::IsEndToldAgain(const ipc::MMeterData& end) const
{
  const std::string start = SSessionRecord::StartOf(end);
  if (!start.empty()) return IsReported(start) || (!IsRunning(start) && HasEnded(start));
  const auto session = ReadSession();
  if (!session || session->hasEnded) return false;
  const bool isOpened = mSystemAccess.GetSeccPersistentData(mConnector)->GetBool(kOpenedTransaction, false);
  if (session->key.empty() && !isOpened) return true;
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
  if (isNew) {
    StoreSessionStart();
  } else {
    StoreOpenedTransaction(true);
  }
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
  const auto session = ReadSession().value_or(SSessionRecord());
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
  auto session = ReadSession().value_or(SSessionRecord());
  session.key = GetTransactionKey();
  session.hasEnded = true;
  session.end = SSessionRecord::EndOf(meterData);
  session.stop = SSessionRecord::StopOf(meterData);
  StoreSession(session);
  ocpp.PushOutCall(EOutOpType::EStopTransaction, ocpp.GetAllUsedBackofficeIds(), true,
                   {{EOperationParameter::EConnectorId, int64_t{mConnector}},
                    {EOperationParameter::EStopReason, int64_t{reason}},
                    {EOperationParameter::EMeterData, meterData}});
  mHasOpenTransaction = false;
  session.Close(meterData);
  StoreSessionEnd(session);
  if (auto* smartCharging = mSystemAccess.GetSmartChargingComponent()) smartCharging->OnTransactionEnd();
}

void CSessionClientHandler::StoreOpenedTransaction(bool opened) const
{
  mSystemAccess.GetSeccPersistentData(mConnector)->SetBool(kOpenedTransaction, opened);
}

std::optional<SSessionRecord> CSessionClientHandler::ReadSession() const
{
  const auto record = mSystemAccess.GetSeccPersistentData(mConnector)->GetJson(kSession, Json::Value());
  if (!record.isObject()) return std::nullopt;
  return SSessionRecord::FromJson(record);
}

void CSessionClientHandler::StoreSession(const SSessionRecord& session) const
{
  mSystemAccess.GetSeccPersistentData(mConnector)->SetJson(kSession, session.ToJson());
}

// Also of a session that has no key, which nobody began.
void CSessionClientHandler::StoreSessionStart() const
{
  auto session = ReadSession().value_or(SSessionRecord());
  session.Begin(session.key, mStart);
  mSystemAccess.GetSeccPersistentData(mConnector)
      ->Apply({}, {{kOpenedTransaction, Json::Value(true)}, {kSession, session.ToJson()}});
}

void CSessionClientHandler::StoreSessionEnd(const SSessionRecord& session) const
{
  mSystemAccess.GetSeccPersistentData(mConnector)
      ->Apply({}, {{kOpenedTransaction, Json::Value(false)}, {kSession, session.ToJson()}});
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
  return mSystemAccess.GetSeccPersistentData(mConnector)->GetInt(kCurrentTransactionId, kNoTransaction);
}

void CSessionClientHandler::SetTransactionId(int64_t id)
{
  LOG_ENTRY("CSessionClientHandler");
  mSystemAccess.GetSeccPersistentData(mConnector)->SetInt(kCurrentTransactionId, id);
}

void CSessionClientHandler::ClearTransactionId()
{
  LOG_ENTRY("CSessionClientHandler");
  const std::string current = ReadTransactionKey(kCurrent);
  StoreTransaction(kNoTransaction, current, current);
}

std::string CSessionClientHandler::ReadTransactionKey(const char* name) const
{
  const auto keys = mSystemAccess.GetSeccPersistentData(mConnector)->GetJson(kTransactionKeys, Json::Value());
  return keys.isObject() && keys[name].isString() ? keys[name].asString() : std::string();
}

void CSessionClientHandler::StoreTransaction(int64_t id, const std::string& current, const std::string& closed) const
{
  Json::Value keys(Json::objectValue);
  keys[kCurrent] = current;
  keys[kClosed] = closed;
  mSystemAccess.GetSeccPersistentData(mConnector)
      ->Apply({}, {{kCurrentTransactionId, Json::Value(static_cast<Json::Int64>(id))}, {kTransactionKeys, keys}});
}

void CSessionClientHandler::BeginTransaction(const std::string& key)
{
  LOG_ENTRY("CSessionClientHandler");
  auto session = ReadSession().value_or(SSessionRecord());
  session.Begin(key, mStart);
  StoreSession(session);
}

// A connector whose data were written before there were keys has the current transaction.
std::string CSessionClientHandler::GetTransactionKey()
{
  LOG_ENTRY("CSessionClientHandler");
  const auto session = ReadSession();
  return session ? session->key : std::string(kAnyTransaction);
}

void CSessionClientHandler::SettleTransaction(const std::string& key, int64_t id)
{
  LOG_ENTRY("CSessionClientHandler");
  StoreTransaction(id, key, ReadTransactionKey(kClosed));
}

int64_t CSessionClientHandler::GetTransactionIdOf(const std::string& key)
{
  LOG_ENTRY("CSessionClientHandler");
  const auto& data = *mSystemAccess.GetSeccPersistentData(mConnector);
  if (key == kAnyTransaction) return GetTransactionId();
  // Id and key are written together and read one after the other.
  for (;;) {
    const int64_t id = data.GetInt(kCurrentTransactionId, kNoTransaction);
    const bool isCurrent = !key.empty() && ReadTransactionKey(kCurrent) == key;
    if (data.GetInt(kCurrentTransactionId, kNoTransaction) == id) return isCurrent ? id : kNoTransaction;
  }
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
