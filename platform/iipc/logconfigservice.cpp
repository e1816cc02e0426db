#include <logconfig.grpc.pb.h>

#include <functional>
#include <utility>

#include "platform/clock/mutex.h"
#include "platform/commutil/grpcbackend.h"
#include "platform/commutil/servedservice.h"
#include "platform/commutil/subscribers.h"
#include "platform/iipc/bindings.h"

namespace {

// The requests do not block and are answered on the transport's threads.
class CLogConfigService final : public ipc::LogConfig::CallbackService, public Rpc::IServedService {
 public:
  explicit CLogConfigService(std::shared_ptr<ILogConfig> config) : mConfig(std::move(config))
  {
    Change([] {});
  }

  grpc::Service& GetService() override { return *this; }
  void Close() override { mSubscribers->Close(); }

 private:
  using Subscribers = Rpc::CSubscribers<ipc::MLogConfigNotification>;

  grpc::ServerUnaryReactor* GetLogConfig(grpc::CallbackServerContext* context, const ipc::MEmpty*,
                                         ipc::MLogConfig* answer) override
  {
    *answer = Settings();
    return Finish(*context);
  }

  grpc::ServerUnaryReactor* SetLevel(grpc::CallbackServerContext* context, const ipc::MLogLevel* request,
                                     ipc::MResult* result) override
  {
    if (ipc::ELogLevel_IsValid(request->level())) {
      Change([this, request] { mConfig->SetLevel(static_cast<Log::ELogLevel>(request->level())); });
    } else {
      result->set_result(ipc::EResultIllegal);
    }
    return Finish(*context);
  }

  grpc::ServerUnaryReactor* SetConsoleEnabled(grpc::CallbackServerContext* context, const ipc::MLogConsole* request,
                                              ipc::MResult*) override
  {
    Change([this, request] { mConfig->SetConsoleEnabled(request->enabled()); });
    return Finish(*context);
  }

  grpc::ServerWriteReactor<ipc::MLogConfigNotification>* Notifications(grpc::CallbackServerContext* context,
                                                                       const ipc::MSubscribe*) override
  {
    return mSubscribers->Subscribe(*context);
  }

  static grpc::ServerUnaryReactor* Finish(grpc::CallbackServerContext& context)
  {
    grpc::ServerUnaryReactor* reactor = context.DefaultReactor();
    reactor->Finish(grpc::Status::OK);
    return reactor;
  }

  ipc::MLogConfig Settings() const
  {
    ipc::MLogConfig settings;
    settings.set_level(static_cast<ipc::ELogLevel>(mConfig->GetLevel()));
    settings.set_console_enabled(mConfig->IsConsoleEnabled());
    return settings;
  }

  // The lock makes a change and its notification one step, so that the last notification tells the last change.
  // Sending does not block.
  void Change(const std::function<void()>& change)
  {
    const CLock lock(mChangeMutex);
    change();
    ipc::MLogConfigNotification notification;
    *notification.mutable_log_config() = Settings();
    mSubscribers->SendAndKeep(notification);
  }

  const std::shared_ptr<ILogConfig> mConfig;
  const std::shared_ptr<Subscribers> mSubscribers = std::make_shared<Subscribers>();
  CMutex mChangeMutex;
};

}  // namespace

namespace Rpc {

void SServiceBinding<ILogConfig>::Serve(GrpcBackend& backend, const std::string& serviceName,
                                        std::shared_ptr<ILogConfig> service)
{
  backend.Serve(serviceName, std::make_shared<CLogConfigService>(std::move(service)));
}

}  // namespace Rpc
