#include "src/components/sessionclienthandler.h"

#include <utility>

#include "platform/clock/timetext.h"
#include "platform/commutil/communicationexception.h"
#include "platform/icconfig/icconfig.h"
#include "platform/iclogger/log.h"
#include "platform/iipc/timestamp.h"
#include "src/components/ibackoffice.h"
#include "src/components/iocpp.h"
#include "src/components/ipersistentmessagestoragemanager.h"
#include "src/components/isystemaccessinterface.h"
#include "src/components/smartcharging/ismartchargingcomponent.h"

namespace {

constexpr const char* kOpenedTransaction = "OpenedTransaction";
constexpr const char* kCurrentTransactionId = "CurrentTransactionId";
constexpr int64_t kNoTransaction = -1;
// The key of the transaction that "CurrentTransactionId" is the id of.
const std::string kCurrentTransactionKey = "CurrentTransactionKey";
// The running session: the key of its transaction, and whether it has ended.
const std::string kSession = "SessionTransaction";
const std::string kSessionKey = "Key";
const std::string kSessionHasEnded = "HasEnded";

Json::Value ToRecord(const std::string& key, bool hasEnded)
{
  Json::Value record(Json::objectValue);
  record[kSessionKey] = key;
  record[kSessionHasEnded] = hasEnded;
  return record;
}

bool IsSuccess(const ipc::MResult& result) { return result.result() == ipc::EResultSuccess; }

}  // namespace

CSessionClientHandler::CSessionClientHandler(uint32_t connector, std::shared_ptr<ISessionManager> sessionManager,
                                             ISystemAccessInterface& systemAccess)
    : mConnector(connector),
      mLogPrefix(fmt::format("[{}] ", connector)),
      mSessionManager(std::move(sessionManager)),
      mSystemAccess(systemAccess)
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

bool CSessionClientHandler::Request(const std::function<ipc::MResult()>& call) const
{
  bool accepted = false;
  return Reach([&] { accepted = IsSuccess(call()); }) && accepted;
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
  return Request([&] { return mSessionManager->SetMessageStorageAvailable(available); });
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
  return Request([&] { return mSessionManager->SetExternalChargeApproval(approved); });
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
  const auto session = ReadSession();
  if (hasOpenTransaction && session && session->hasEnded) {
    LOG_INFO("{}The process ended while its session was being stopped", mLogPrefix);
    hasOpenTransaction = false;
    // The key stays: should the stop be told again, it is that of the same transaction.
    StoreOpenedTransaction(false);
  } else if (!hasOpenTransaction && session && !session->hasEnded && IsStartOnItsWay(session->key)) {
    LOG_INFO("{}The process ended while its session was being started", mLogPrefix);
    hasOpenTransaction = true;
    StoreOpenedTransaction(true);
  }
  mHasOpenTransaction = hasOpenTransaction;
}

// True when the StartTransaction of that id is stored, or was answered or given up.
bool CSessionClientHandler::IsStartOnItsWay(const std::string& key) const
{
  if (key.empty() || key == kAnyTransaction) return false;
  const auto* storage = mSystemAccess.GetPersistentMessageStorage();
  if (storage != nullptr && storage->IsStored(key)) return true;
  return mSystemAccess.GetSeccPersistentData(mConnector)->GetJson(kCurrentTransactionKey, "") == Json::Value(key);
}

void CSessionClientHandler::HandleStateChanged(const ipc::MConnectorState& state)
{
  LOG_DEBUG("{}Receiving StateChanged notification, to {}", mLogPrefix, ipc::EConnectorState_Name(state.state()));
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
  // A session that survived a restart of the process has its transaction already.
  if (!mHasOpenTransaction) {
    // The operation enters its key as soon as there is one; a session whose start reaches no backoffice has none.
    if (!GetTransactionKey().empty()) StoreSession({});
    ocpp.PushOutCall(
        EOutOpType::EStartTransaction, ocpp.GetAllUsedBackofficeIds(), false,
        {{EOperationParameter::EConnectorId, int64_t{mConnector}}, {EOperationParameter::EMeterData, meterData}});
  }
  StoreOpenedTransaction(true);
  ocpp.ScheduleOcppSessionMeterValues(mConnector);
  if (auto* smartCharging = mSystemAccess.GetSmartChargingComponent()) smartCharging->OnTransactionStart();
}

void CSessionClientHandler::HandleSessionStopped(const ipc::MMeterData& meterData, uint32_t reason)
{
  LOG_ENTRY("CSessionClientHandler");
  auto& ocpp = *mSystemAccess.GetOcpp();
  ocpp.CancelOcppSessionMeterValues(mConnector);
  StoreSession({GetTransactionKey(), true});
  ocpp.PushOutCall(EOutOpType::EStopTransaction, ocpp.GetAllUsedBackofficeIds(), true,
                   {{EOperationParameter::EConnectorId, int64_t{mConnector}},
                    {EOperationParameter::EStopReason, int64_t{reason}},
                    {EOperationParameter::EMeterData, meterData}});
  mHasOpenTransaction = false;
  StoreSessionEnd();
  if (auto* smartCharging = mSystemAccess.GetSmartChargingComponent()) smartCharging->OnTransactionEnd();
}

void CSessionClientHandler::StoreOpenedTransaction(bool opened) const
{
  mSystemAccess.GetSeccPersistentData(mConnector)->SetBool(kOpenedTransaction, opened);
}

std::optional<CSessionClientHandler::SSession> CSessionClientHandler::ReadSession() const
{
  const auto record = mSystemAccess.GetSeccPersistentData(mConnector)->GetJson(kSession, Json::Value());
  if (!record.isObject()) return std::nullopt;
  SSession session;
  if (record[kSessionKey].isString()) session.key = record[kSessionKey].asString();
  session.hasEnded = record[kSessionHasEnded].isBool() && record[kSessionHasEnded].asBool();
  return session;
}

void CSessionClientHandler::StoreSession(const SSession& session) const
{
  mSystemAccess.GetSeccPersistentData(mConnector)->SetJson(kSession, ToRecord(session.key, session.hasEnded));
}

void CSessionClientHandler::StoreSessionEnd() const
{
  mSystemAccess.GetSeccPersistentData(mConnector)
      ->Apply({}, {{kOpenedTransaction, Json::Value(false)}, {kSession, ToRecord("", false)}});
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
  SetTransactionId(kNoTransaction);
}

void CSessionClientHandler::BeginTransaction(const std::string& key)
{
  LOG_ENTRY("CSessionClientHandler");
  StoreSession({key, false});
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
  mSystemAccess.GetSeccPersistentData(mConnector)
      ->Apply({}, {{kCurrentTransactionId, Json::Value(static_cast<Json::Int64>(id))},
                   {kCurrentTransactionKey, Json::Value(key)}});
}

int64_t CSessionClientHandler::GetTransactionIdOf(const std::string& key)
{
  LOG_ENTRY("CSessionClientHandler");
  const auto& data = *mSystemAccess.GetSeccPersistentData(mConnector);
  if (key == kAnyTransaction) return GetTransactionId();
  // Id and key are written together and read one after the other.
  for (;;) {
    const int64_t id = data.GetInt(kCurrentTransactionId, kNoTransaction);
    const bool isCurrent = !key.empty() && data.GetJson(kCurrentTransactionKey, "") == Json::Value(key);
    if (data.GetInt(kCurrentTransactionId, kNoTransaction) == id) return isCurrent ? id : kNoTransaction;
  }
}

std::string CSessionClientHandler::GetSessionIdTag()
{
  LOG_ENTRY("CSessionClientHandler");
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
