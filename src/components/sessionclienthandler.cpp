#include "src/components/sessionclienthandler.h"

#include <utility>

#include "platform/clock/timetext.h"
#include "platform/commutil/communicationexception.h"
#include "platform/icconfig/icconfig.h"
#include "platform/iclogger/log.h"
#include "platform/iipc/timestamp.h"
#include "src/components/ibackoffice.h"
#include "src/components/iocpp.h"
#include "src/components/isystemaccessinterface.h"
#include "src/components/smartcharging/ismartchargingcomponent.h"

namespace {

constexpr const char* kOpenedTransaction = "OpenedTransaction";
constexpr const char* kCurrentTransactionId = "CurrentTransactionId";
constexpr int64_t kNoTransaction = -1;

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
  mHasOpenTransaction = mSystemAccess.GetSeccPersistentData(mConnector)->GetBool(kOpenedTransaction, false);
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
  ocpp.PushOutCall(EOutOpType::EStopTransaction, ocpp.GetAllUsedBackofficeIds(), true,
                   {{EOperationParameter::EConnectorId, int64_t{mConnector}},
                    {EOperationParameter::EStopReason, int64_t{reason}},
                    {EOperationParameter::EMeterData, meterData}});
  mHasOpenTransaction = false;
  StoreOpenedTransaction(false);
  if (auto* smartCharging = mSystemAccess.GetSmartChargingComponent()) smartCharging->OnTransactionEnd();
}

void CSessionClientHandler::StoreOpenedTransaction(bool opened) const
{
  mSystemAccess.GetSeccPersistentData(mConnector)->SetBool(kOpenedTransaction, opened);
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
