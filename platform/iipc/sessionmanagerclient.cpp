#include <sessionmanager.grpc.pb.h>

#include "platform/iipc/bindings.h"
#include "platform/iipc/grpcclient.h"

namespace {

class CGrpcSessionManager final : public ISessionManager, public CGrpcClient<ipc::SessionManager> {
 public:
  using Notification = ipc::MSessionManagerNotification;

  using CGrpcClient::CGrpcClient;

  std::string GetAuthorizeHandle() override
  {
    return Call("GetAuthorizeHandle", &Stub::GetAuthorizeHandle, ipc::MEmpty()).request_id();
  }
  ipc::MResult HandleAuthorizeRequest(const ipc::MAuthorizeRequest& request) override
  {
    return Call("HandleAuthorizeRequest", &Stub::HandleAuthorizeRequest, request);
  }
  void DeauthorizeSession(uint32_t connector, ipc::EDeauthorizeReason reason) override;
  ipc::MResult ReserveConnector(const ipc::MConnectorReservation& reservation) override
  {
    return Call("ReserveConnector", &Stub::ReserveConnector, reservation);
  }
  ipc::MResult SetConnectorAvailability(uint32_t connector, bool operative) override;
  ipc::MResult SetMessageStorageAvailable(bool available) override;
  ipc::MResult RequestUnlock(uint32_t connector) override;
  ipc::MResult SetExternalChargeApproval(bool approved) override;
  void SetParentIdTag(uint32_t connector, const std::string& parentIdTag) override;
  ipc::MConnectorInfo GetConnectorInfo(uint32_t connector) override;
  void SetStateChangedHandler(StateChangedHandler handler) override { mStateChangedCB.Set(std::move(handler)); }
  void SetSessionStartedHandler(SessionStartedHandler handler) override { mSessionStartedCB.Set(std::move(handler)); }
  void SetSessionStoppedHandler(SessionStoppedHandler handler) override { mSessionStoppedCB.Set(std::move(handler)); }
  void Deliver(const Notification& notification);

 private:
  CSlot<ipc::MConnectorState> mStateChangedCB;
  CSlot<ipc::MMeterData> mSessionStartedCB;
  CSlot<ipc::MMeterData, ipc::EStopSessionReason> mSessionStoppedCB;
};

ipc::EStopSessionReason ReasonOf(const ipc::MSessionStopped& stopped)
{
  const bool isKnown = stopped.has_reason() && ipc::EStopSessionReason_IsValid(stopped.reason());
  return isKnown ? stopped.reason() : ipc::EStopSessionReasonOther;
}

void CGrpcSessionManager::DeauthorizeSession(uint32_t connector, ipc::EDeauthorizeReason reason)
{
  ipc::MDeauthorizeSession request;
  request.set_connector(connector);
  request.set_reason(reason);
  Call("DeauthorizeSession", &Stub::DeauthorizeSession, request);
}

ipc::MResult CGrpcSessionManager::SetConnectorAvailability(uint32_t connector, bool operative)
{
  ipc::MConnectorAvailability request;
  request.set_connector(connector);
  request.set_operative(operative);
  return Call("SetConnectorAvailability", &Stub::SetConnectorAvailability, request);
}

ipc::MResult CGrpcSessionManager::SetMessageStorageAvailable(bool available)
{
  ipc::MMessageStorageAvailable request;
  request.set_available(available);
  return Call("SetMessageStorageAvailable", &Stub::SetMessageStorageAvailable, request);
}

ipc::MResult CGrpcSessionManager::RequestUnlock(uint32_t connector)
{
  ipc::MUnlockRequest request;
  request.set_connector(connector);
  return Call("RequestUnlock", &Stub::RequestUnlock, request);
}

ipc::MResult CGrpcSessionManager::SetExternalChargeApproval(bool approved)
{
  ipc::MExternalChargeApproval request;
  request.set_approved(approved);
  return Call("SetExternalChargeApproval", &Stub::SetExternalChargeApproval, request);
}

void CGrpcSessionManager::SetParentIdTag(uint32_t connector, const std::string& parentIdTag)
{
  ipc::MParentIdTag request;
  request.set_connector(connector);
  request.set_parent_id_tag(parentIdTag);
  Call("SetParentIdTag", &Stub::SetParentIdTag, request);
}

ipc::MConnectorInfo CGrpcSessionManager::GetConnectorInfo(uint32_t connector)
{
  ipc::MConnector request;
  request.set_connector(connector);
  return Call("GetConnectorInfo", &Stub::GetConnectorInfo, request);
}

void CGrpcSessionManager::Deliver(const Notification& notification)
{
  switch (notification.notification_case()) {
    case Notification::kStateChanged:
      mStateChangedCB(notification.state_changed());
      break;
    case Notification::kSessionStarted:
      mSessionStartedCB(notification.session_started());
      break;
    case Notification::kSessionStopped:
      mSessionStoppedCB(notification.session_stopped().meter_data(), ReasonOf(notification.session_stopped()));
      break;
    case Notification::NOTIFICATION_NOT_SET:
      break;
  }
}

}  // namespace

namespace Rpc {

std::shared_ptr<ISessionManager> SClientBinding<ISessionManager>::Create(GrpcBackend& backend,
                                                                         const std::string& serviceName)
{
  return CreateGrpcClient<CGrpcSessionManager>(backend, serviceName);
}

}  // namespace Rpc
