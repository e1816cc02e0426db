#include <currentcontrol.grpc.pb.h>

#include "platform/iipc/bindings.h"
#include "platform/iipc/grpcclient.h"

namespace {

class CGrpcCurrentControl final : public ICurrentControl, public CGrpcClient<ipc::CurrentControl> {
 public:
  using Notification = ipc::MCurrentControlNotification;

  using CGrpcClient::CGrpcClient;

  ipc::MResult SetLimit(const ipc::MCurrentControlLimit& limit) override
  {
    return Call("SetLimit", &Stub::SetLimit, limit);
  }
  ipc::MResult ClearLimit(const ipc::MCurrentControlLimit& limit) override
  {
    return Call("ClearLimit", &Stub::ClearLimit, limit);
  }
  ipc::MCurrentControlLimit GetLimit() override { return Call("GetLimit", &Stub::GetLimit, ipc::MEmpty()); }
  void SetLimitChangedHandler(LimitChangedHandler handler) override { mLimitChangedCB.Set(std::move(handler)); }
  void Deliver(const Notification& notification);

 private:
  CSlot<ipc::MCurrentControlLimit> mLimitChangedCB;
};

void CGrpcCurrentControl::Deliver(const Notification& notification)
{
  switch (notification.notification_case()) {
    case Notification::kLimitChanged:
      mLimitChangedCB(notification.limit_changed());
      break;
    case Notification::NOTIFICATION_NOT_SET:
      break;
  }
}

}  // namespace

namespace Rpc {

std::shared_ptr<ICurrentControl> SClientBinding<ICurrentControl>::Create(GrpcBackend& backend,
                                                                         const std::string& serviceName)
{
  return CreateGrpcClient<CGrpcCurrentControl>(backend, serviceName);
}

}  // namespace Rpc
