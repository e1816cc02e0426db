#include <meter.grpc.pb.h>

#include "platform/iipc/bindings.h"
#include "platform/iipc/grpcclient.h"

namespace {

class CGrpcMeter final : public IMeter, public CGrpcClient<ipc::Meter> {
 public:
  using Notification = ipc::MMeterNotification;

  using CGrpcClient::CGrpcClient;

  ipc::MMeterData GetMeterData() override { return Call("GetMeterData", &Stub::GetMeterData, ipc::MEmpty()); }
  ipc::MMeterSessions GetMeterSessions() override
  {
    return Call("GetMeterSessions", &Stub::GetMeterSessions, ipc::MEmpty());
  }
  void SetMeterDataHandler(MeterDataHandler handler) override { mMeterDataCB.Set(std::move(handler)); }
  void Deliver(const Notification& notification);

 private:
  CSlot<ipc::MMeterData> mMeterDataCB;
};

void CGrpcMeter::Deliver(const Notification& notification)
{
  switch (notification.notification_case()) {
    case Notification::kMeterData:
      mMeterDataCB(notification.meter_data());
      break;
    case Notification::NOTIFICATION_NOT_SET:
      break;
  }
}

}  // namespace

namespace Rpc {

std::shared_ptr<IMeter> SClientBinding<IMeter>::Create(GrpcBackend& backend, const std::string& serviceName)
{
  return CreateGrpcClient<CGrpcMeter>(backend, serviceName);
}

}  // namespace Rpc
