#include <safetymcucomm.grpc.pb.h>

#include "platform/iipc/bindings.h"
#include "platform/iipc/grpcclient.h"

namespace {

class CGrpcSafetyMcuComm final : public ISafetyMcuComm, public CGrpcClient<ipc::SafetyMcuComm> {
 public:
  using Notification = ipc::MSafetyMcuCommNotification;

  using CGrpcClient::CGrpcClient;

  ipc::MMcuStatus GetMcuStatus() override { return Call("GetMcuStatus", &Stub::GetMcuStatus, ipc::MEmpty()); }
  ipc::MRelayStatus GetRelayStatus() override { return Call("GetRelayStatus", &Stub::GetRelayStatus, ipc::MEmpty()); }
  void SetMcuTemperaturesHandler(McuTemperaturesHandler handler) override
  {
    mMcuTemperaturesCB.Set(std::move(handler));
  }
  void SetMcuErrorHandler(McuErrorHandler handler) override { mMcuErrorCB.Set(std::move(handler)); }
  void SetRelayStatusHandler(RelayStatusHandler handler) override { mRelayStatusCB.Set(std::move(handler)); }
  void Deliver(const Notification& notification);

 private:
  CSlot<ipc::MMcuStatus> mMcuTemperaturesCB;
  CSlot<ipc::MMcuError> mMcuErrorCB;
  CSlot<ipc::MRelayStatus> mRelayStatusCB;
};

void CGrpcSafetyMcuComm::Deliver(const Notification& notification)
{
  switch (notification.notification_case()) {
    case Notification::kMcuTemperatures:
      mMcuTemperaturesCB(notification.mcu_temperatures());
      break;
    case Notification::kMcuError:
      mMcuErrorCB(notification.mcu_error());
      break;
    case Notification::kRelayStatus:
      mRelayStatusCB(notification.relay_status());
      break;
    case Notification::NOTIFICATION_NOT_SET:
      break;
  }
}

}  // namespace

namespace Rpc {

std::shared_ptr<ISafetyMcuComm> SClientBinding<ISafetyMcuComm>::Create(GrpcBackend& backend,
                                                                       const std::string& serviceName)
{
  return CreateGrpcClient<CGrpcSafetyMcuComm>(backend, serviceName);
}

}  // namespace Rpc
