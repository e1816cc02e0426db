#include <feedback.grpc.pb.h>

#include "platform/iipc/bindings.h"
#include "platform/iipc/grpcclient.h"

namespace {

class CGrpcFeedback final : public IFeedback, public CGrpcClient<ipc::Feedback> {
 public:
  using Notification = ipc::MFeedbackNotification;

  using CGrpcClient::CGrpcClient;

  ipc::MResult TriggerEvent(const ipc::MFbEventType& event, const ipc::MInstanceType& instance) override;
  void SetEventShownHandler(EventShownHandler handler) override { mEventShownCB.Set(std::move(handler)); }
  void Deliver(const Notification& notification);

 private:
  CSlot<ipc::MFbEventType, ipc::MInstanceType> mEventShownCB;
};

ipc::MResult CGrpcFeedback::TriggerEvent(const ipc::MFbEventType& event, const ipc::MInstanceType& instance)
{
  ipc::MTriggerEvent request;
  *request.mutable_event() = event;
  *request.mutable_instance() = instance;
  return Call("TriggerEvent", &Stub::TriggerEvent, request);
}

void CGrpcFeedback::Deliver(const Notification& notification)
{
  switch (notification.notification_case()) {
    case Notification::kEventShown:
      mEventShownCB(notification.event_shown().event(), notification.event_shown().instance());
      break;
    case Notification::NOTIFICATION_NOT_SET:
      break;
  }
}

}  // namespace

namespace Rpc {

std::shared_ptr<IFeedback> SClientBinding<IFeedback>::Create(GrpcBackend& backend, const std::string& serviceName)
{
  return CreateGrpcClient<CGrpcFeedback>(backend, serviceName);
}

}  // namespace Rpc
