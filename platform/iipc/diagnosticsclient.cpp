#include <diagnostics.grpc.pb.h>

#include "platform/iipc/bindings.h"
#include "platform/iipc/grpcclient.h"

namespace {

std::vector<ipc::MDiagnosticsSignal> ToVector(const ipc::MDiagnosticsSignals& signals)
{
  return {signals.signals().begin(), signals.signals().end()};
}

class CGrpcDiagnostics final : public IDiagnostics, public CGrpcClient<ipc::Diagnostics> {
 public:
  using Notification = ipc::MDiagnosticsNotification;

  using CGrpcClient::CGrpcClient;

  ipc::MResult SendSignal(const ipc::MDiagnosticsSignal& signal) override
  {
    return Call("SendSignal", &Stub::SendSignal, signal);
  }
  std::optional<ipc::MDiagnosticsSignal> GetSignal(ipc::ESignalIdentifier identifier, uint32_t connector) override;
  std::vector<ipc::MDiagnosticsSignal> GetActiveErrors() override
  {
    return ToVector(Call("GetActiveErrors", &Stub::GetActiveErrors, ipc::MEmpty()));
  }
  std::vector<ipc::MDiagnosticsSignal> GetActiveWarnings() override
  {
    return ToVector(Call("GetActiveWarnings", &Stub::GetActiveWarnings, ipc::MEmpty()));
  }
  ipc::MResult CreateFreezeFrame(const std::string& tag) override;
  void SetNotificationHandler(NotificationHandler handler) override { mNotificationCB.Set(std::move(handler)); }
  void SetFreezeFrameDoneHandler(FreezeFrameDoneHandler handler) override
  {
    mFreezeFrameDoneCB.Set(std::move(handler));
  }
  void Deliver(const Notification& notification);

 private:
  CSlot<ipc::MDiagnosticsSignal, ipc::MDiagnosticsNotificationType> mNotificationCB;
  CSlot<std::string> mFreezeFrameDoneCB;
};

std::optional<ipc::MDiagnosticsSignal> CGrpcDiagnostics::GetSignal(ipc::ESignalIdentifier identifier,
                                                                   uint32_t connector)
{
  ipc::MSignalRequest request;
  request.set_identifier(identifier);
  request.set_connector(connector);
  const ipc::MSignalAnswer answer = Call("GetSignal", &Stub::GetSignal, request);
  return answer.has_signal() ? std::optional<ipc::MDiagnosticsSignal>(answer.signal()) : std::nullopt;
}

ipc::MResult CGrpcDiagnostics::CreateFreezeFrame(const std::string& tag)
{
  ipc::MFreezeFrameRequest request;
  request.set_tag(tag);
  return Call("CreateFreezeFrame", &Stub::CreateFreezeFrame, request);
}

void CGrpcDiagnostics::Deliver(const Notification& notification)
{
  switch (notification.notification_case()) {
    case Notification::kSignalReport:
      if (notification.signal_report().has_signal()) {
        mNotificationCB(notification.signal_report().signal(), notification.signal_report().type());
      }
      break;
    case Notification::kFreezeFrameDone:
      mFreezeFrameDoneCB(notification.freeze_frame_done().file_name());
      break;
    case Notification::NOTIFICATION_NOT_SET:
      break;
  }
}

}  // namespace

namespace Rpc {

std::shared_ptr<IDiagnostics> SClientBinding<IDiagnostics>::Create(GrpcBackend& backend, const std::string& serviceName)
{
  return CreateGrpcClient<CGrpcDiagnostics>(backend, serviceName);
}

}  // namespace Rpc
