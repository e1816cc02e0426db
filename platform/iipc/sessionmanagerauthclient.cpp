#include <sessionmanagerauth.grpc.pb.h>

#include "platform/iipc/bindings.h"
#include "platform/iipc/grpcclient.h"

namespace {

class CGrpcSessionManagerAuth final : public ISessionManagerAuth, public CGrpcClient<ipc::SessionManagerAuth> {
 public:
  using Notification = ipc::MSessionManagerAuthNotification;

  using CGrpcClient::CGrpcClient;

  ipc::MResult HandleAuthorizeRequest(const ipc::MAuthorizeRequest& request) override
  {
    return Call("HandleAuthorizeRequest", &Stub::HandleAuthorizeRequest, request);
  }
  void SetAuthorizeIdHandler(AuthorizeIdHandler handler) override { mAuthorizeIdCB.Set(std::move(handler)); }
  void Deliver(const Notification& notification);

 private:
  CSlot<uint32_t, ipc::MAuthorizeRequest> mAuthorizeIdCB;
};

void CGrpcSessionManagerAuth::Deliver(const Notification& notification)
{
  switch (notification.notification_case()) {
    case Notification::kAuthorizeId:
      if (notification.authorize_id().has_request()) {
        mAuthorizeIdCB(notification.authorize_id().connector(), notification.authorize_id().request());
      }
      break;
    case Notification::NOTIFICATION_NOT_SET:
      break;
  }
}

}  // namespace

namespace Rpc {

std::shared_ptr<ISessionManagerAuth> SClientBinding<ISessionManagerAuth>::Create(GrpcBackend& backend,
                                                                                 const std::string& serviceName)
{
  return CreateGrpcClient<CGrpcSessionManagerAuth>(backend, serviceName);
}

}  // namespace Rpc
