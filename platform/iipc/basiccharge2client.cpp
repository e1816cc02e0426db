#include <basiccharge2.grpc.pb.h>

#include "platform/iipc/bindings.h"
#include "platform/iipc/grpcclient.h"

namespace {

class CGrpcBasicCharge2 final : public IBasicCharge2, public CGrpcClient<ipc::BasicCharge2> {
 public:
  using Notification = ipc::MBasicCharge2Notification;

  using CGrpcClient::CGrpcClient;

  ipc::MPilotStates GetPilotStates() override { return Call("GetPilotStates", &Stub::GetPilotStates, ipc::MEmpty()); }
  void SetSocketUnlockedHandler(SocketUnlockedHandler handler) override { mSocketUnlockedCB.Set(std::move(handler)); }
  void SetPilotStatesChangedHandler(PilotStatesChangedHandler handler) override
  {
    mPilotStatesChangedCB.Set(std::move(handler));
  }
  void Deliver(const Notification& notification);

 private:
  CSlot<uint32_t> mSocketUnlockedCB;
  CSlot<ipc::MPilotStates> mPilotStatesChangedCB;
};

void CGrpcBasicCharge2::Deliver(const Notification& notification)
{
  switch (notification.notification_case()) {
    case Notification::kSocketUnlocked:
      mSocketUnlockedCB(notification.socket_unlocked().connector());
      break;
    case Notification::kPilotStatesChanged:
      mPilotStatesChangedCB(notification.pilot_states_changed());
      break;
    case Notification::NOTIFICATION_NOT_SET:
      break;
  }
}

}  // namespace

namespace Rpc {

std::shared_ptr<IBasicCharge2> SClientBinding<IBasicCharge2>::Create(GrpcBackend& backend,
                                                                     const std::string& serviceName)
{
  return CreateGrpcClient<CGrpcBasicCharge2>(backend, serviceName);
}

}  // namespace Rpc
