#include <boardcontrol.grpc.pb.h>

#include "platform/iipc/bindings.h"
#include "platform/iipc/grpcclient.h"

namespace {

class CGrpcBoardControl final : public IBoardControl, public CGrpcClient<ipc::BoardControl> {
 public:
  using Notification = ipc::MBoardControlNotification;

  using CGrpcClient::CGrpcClient;

  ipc::MResult Reset(EResetKind kind) override;
  ipc::MResult InstallFirmware(const std::string& initiator) override;
  void SetFwUpdateStatusHandler(FwUpdateStatusHandler handler) override { mFwUpdateStatusCB.Set(std::move(handler)); }
  void SetMainsLostHandler(MainsLostHandler handler) override { mMainsLostCB.Set(std::move(handler)); }
  void SetStateChangedHandler(StateChangedHandler handler) override { mStateChangedCB.Set(std::move(handler)); }
  void Deliver(const Notification& notification);

 private:
  CSlot<ipc::MFwUpdateStatus> mFwUpdateStatusCB;
  CSlot<> mMainsLostCB;
  CSlot<ipc::MState> mStateChangedCB;
};

ipc::MResult CGrpcBoardControl::Reset(EResetKind kind)
{
  ipc::MResetRequest request;
  request.set_hard(kind == EResetKind::EHard);
  return Call("Reset", &Stub::Reset, request);
}

ipc::MResult CGrpcBoardControl::InstallFirmware(const std::string& initiator)
{
  ipc::MInstallFirmware request;
  request.set_initiator(initiator);
  return Call("InstallFirmware", &Stub::InstallFirmware, request);
}

void CGrpcBoardControl::Deliver(const Notification& notification)
{
  switch (notification.notification_case()) {
    case Notification::kFwUpdateStatus:
      mFwUpdateStatusCB(notification.fw_update_status());
      break;
    case Notification::kMainsLost:
      mMainsLostCB();
      break;
    case Notification::kStateChanged:
      mStateChangedCB(notification.state_changed());
      break;
    case Notification::NOTIFICATION_NOT_SET:
      break;
  }
}

}  // namespace

namespace Rpc {

std::shared_ptr<IBoardControl> SClientBinding<IBoardControl>::Create(GrpcBackend& backend,
                                                                     const std::string& serviceName)
{
  return CreateGrpcClient<CGrpcBoardControl>(backend, serviceName);
}

}  // namespace Rpc
