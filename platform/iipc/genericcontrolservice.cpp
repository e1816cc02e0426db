#include <genericcontrol.grpc.pb.h>

#include <utility>

#include "platform/commutil/grpcbackend.h"
#include "platform/commutil/request.h"
#include "platform/commutil/servedservice.h"
#include "platform/commutil/subscribers.h"
#include "platform/iipc/bindings.h"

namespace {

// Requests go to the process control, each on a thread of its own; its reports go to all subscribers.
class CGenericControlService final : public ipc::GenericControl::CallbackService, public Rpc::IServedService {
 public:
  explicit CGenericControlService(std::shared_ptr<IGenericControl> control) : mControl(std::move(control))
  {
    // The notifiers hold the subscribers alone: they may be called after this service is gone.
    mControl->SetStateNotifier([subscribers = mSubscribers](const ipc::MState& state) {
      ipc::MGenericControlNotification notification;
      *notification.mutable_state() = state;
      subscribers->SendAndKeep(notification);
    });
    mControl->SetAliveNotifier([subscribers = mSubscribers] {
      ipc::MGenericControlNotification notification;
      notification.mutable_alive();
      subscribers->Send(notification);
    });
  }

  grpc::Service& GetService() override { return *this; }
  void Close() override { mSubscribers->Close(); }

 private:
  using Subscribers = Rpc::CSubscribers<ipc::MGenericControlNotification>;

  grpc::ServerUnaryReactor* Enable(grpc::CallbackServerContext*, const ipc::MEmpty*, ipc::MResult* result) override
  {
    return mRequests->Run<ipc::MResult>(*result, [control = mControl] { return control->Enable(); });
  }
  grpc::ServerUnaryReactor* Disable(grpc::CallbackServerContext*, const ipc::MEmpty*, ipc::MResult* result) override
  {
    return mRequests->Run<ipc::MResult>(*result, [control = mControl] { return control->Disable(); });
  }
  grpc::ServerWriteReactor<ipc::MGenericControlNotification>* Notifications(grpc::CallbackServerContext* context,
                                                                            const ipc::MSubscribe*) override
  {
    return mSubscribers->Subscribe(*context);
  }

  const std::shared_ptr<IGenericControl> mControl;
  const std::shared_ptr<Subscribers> mSubscribers = std::make_shared<Subscribers>();
  const std::shared_ptr<Rpc::CRequestRunner> mRequests = std::make_shared<Rpc::CRequestRunner>();
};

}  // namespace

namespace Rpc {

void SServiceBinding<IGenericControl>::Serve(GrpcBackend& backend, const std::string& serviceName,
                                             std::shared_ptr<IGenericControl> service)
{
  backend.Serve(serviceName, std::make_shared<CGenericControlService>(std::move(service)));
}

}  // namespace Rpc
