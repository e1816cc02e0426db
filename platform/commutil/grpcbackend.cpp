#include "platform/commutil/grpcbackend.h"

#include <grpc/support/log.h>
#include <grpc/support/time.h>
#include <grpcpp/security/server_credentials.h>
#include <grpcpp/server.h>
#include <grpcpp/server_builder.h>

#include <map>
#include <utility>
#include <vector>

#include "platform/clock/mutex.h"
#include "platform/commutil/notificationloop.h"
#include "platform/commutil/notificationstream.h"
#include "platform/commutil/servedservice.h"
#include "platform/commutil/servicedirectory.h"
#include "platform/commutil/sibling.h"
#include "platform/commutil/socketfile.h"
#include "platform/iclogger/log.h"

namespace {

// The transport library's own lines. Its errors are about single connections; what they mean for us is logged by us.
void WriteLibraryLine(gpr_log_func_args* line)
{
  const Rpc::LogOperation operation =
      line->severity == GPR_LOG_SEVERITY_ERROR ? &Rpc::ILogger::Debug : &Rpc::ILogger::Trace;
  Rpc::Write(operation, fmt::format("{}:{}: {}", line->file, line->line, line->message));
}

// Of the whole time that Stop may take, what the transport gets to close by itself what was asked to close.
constexpr int64_t kShutdownMs = 100;

struct SArgument {
  const char* name;
  int value;
};

// Subscribers may ping every 10 s although nothing is sent, and a frozen one is noticed as early.
constexpr SArgument kServerArguments[] = {
    {GRPC_ARG_KEEPALIVE_TIME_MS, 10000},
    {GRPC_ARG_KEEPALIVE_TIMEOUT_MS, 2000},
    {GRPC_ARG_HTTP2_MAX_PINGS_WITHOUT_DATA, 0},
    {GRPC_ARG_KEEPALIVE_PERMIT_WITHOUT_CALLS, 1},
    {GRPC_ARG_HTTP2_MIN_RECV_PING_INTERVAL_WITHOUT_DATA_MS, 5000},
    // Two processes on one port would share its callers.
    {GRPC_ARG_ALLOW_REUSEPORT, 0},
};

}  // namespace

class GrpcBackend::CImpl {
 public:
  CImpl(const std::string& configPath, std::shared_ptr<IClock> clock) : mClock(std::move(clock)), mDirectory(configPath)
  {}

  void StartServices();
  void RunServer();
  void HandleClientNotifications() { mLoop.Run(); }
  void Stop();
  std::shared_ptr<Rpc::CSibling> OpenSibling(const std::string& serviceName);
  void Subscribe(std::unique_ptr<Rpc::CNotificationStream> stream) { mLoop.Add(std::move(stream)); }
  void Serve(const std::string& serviceName, std::shared_ptr<Rpc::IServedService> service);

 private:
  struct SService {
    std::string name;
    std::shared_ptr<Rpc::IServedService> service;
  };

  void StartServer(const std::string& address, const std::vector<SService>& services);

  const std::shared_ptr<IClock> mClock;
  const Rpc::CServiceDirectory mDirectory;

  CMutex mMutex;
  CCondition mStoppedChanged;
  bool mStopped GUARDED_BY(mMutex) = false;
  std::vector<std::shared_ptr<Rpc::CSibling>> mSiblings GUARDED_BY(mMutex);
  // Added, not started yet.
  std::vector<SService> mNewServices GUARDED_BY(mMutex);
  // Destroyed after the servers that use them.
  std::vector<SService> mServices GUARDED_BY(mMutex);
  std::vector<std::unique_ptr<grpc::Server>> mServers GUARDED_BY(mMutex);

  Rpc::CNotificationLoop mLoop;
};

void GrpcBackend::CImpl::StartServices()
{
  std::vector<SService> services;
  {
    const CLock lock(mMutex);
    if (mStopped) return;
    services.swap(mNewServices);
  }
  std::map<std::string, std::vector<SService>> byAddress;
  for (SService& service : services) byAddress[mDirectory.Address(service.name)].push_back(std::move(service));
  for (const auto& [address, servicesOfAddress] : byAddress) StartServer(address, servicesOfAddress);

  bool stopped = false;
  {
    const CLock lock(mMutex);
    stopped = mStopped;
  }
  // A stop meanwhile has not seen the servers that are new.
  if (stopped) Stop();
}

void GrpcBackend::CImpl::StartServer(const std::string& address, const std::vector<SService>& services)
{
  std::string names;
  for (const SService& service : services) names += (names.empty() ? "" : ", ") + service.name;

  const std::string socketPath = Rpc::CServiceDirectory::SocketPath(address);
  if (!socketPath.empty()) {
    const std::string fault = Rpc::PrepareSocketFile(socketPath);
    if (!fault.empty()) {
      Rpc::Write(&Rpc::ILogger::Error, fmt::format("Cannot offer {} at {}: {}", names, address, fault));
      return;
    }
  }
  grpc::ServerBuilder builder;
  for (const SArgument& argument : kServerArguments) builder.AddChannelArgument(argument.name, argument.value);
  int port = 0;
  builder.AddListeningPort(address, grpc::InsecureServerCredentials(), &port);
  for (const SService& service : services) builder.RegisterService(&service.service->GetService());
  std::unique_ptr<grpc::Server> server = builder.BuildAndStart();
  if (!server) {
    Rpc::Write(&Rpc::ILogger::Error, fmt::format("Cannot offer {} at {}: the address cannot be used", names, address));
    return;
  }
  Rpc::Write(&Rpc::ILogger::Info, fmt::format("Offering {} at {}", names, address));
  const CLock lock(mMutex);
  mServices.insert(mServices.end(), services.begin(), services.end());
  mServers.push_back(std::move(server));
}

void GrpcBackend::CImpl::RunServer()
{
  CLock lock(mMutex);
  while (!mStopped) mClock->Wait(lock, mStoppedChanged);
}

void GrpcBackend::CImpl::Stop()
{
  std::vector<std::shared_ptr<Rpc::CSibling>> siblings;
  std::vector<SService> services;
  std::vector<std::unique_ptr<grpc::Server>> servers;
  {
    const CLock lock(mMutex);
    mStopped = true;
    mClock->NotifyAll(mStoppedChanged);
    siblings = mSiblings;
    services = mServices;
    servers.swap(mServers);
  }
  for (const auto& sibling : siblings) sibling->Stop();
  mLoop.Stop();
  for (const SService& service : services) service.service->Close();
  for (const auto& server : servers) server->Shutdown(gpr_time_from_millis(kShutdownMs, GPR_TIMESPAN));
}

std::shared_ptr<Rpc::CSibling> GrpcBackend::CImpl::OpenSibling(const std::string& serviceName)
{
  auto sibling = std::make_shared<Rpc::CSibling>(serviceName, mDirectory.Address(serviceName), mDirectory.Deadline());
  bool stopped = false;
  {
    const CLock lock(mMutex);
    stopped = mStopped;
    mSiblings.push_back(sibling);
  }
  if (stopped) sibling->Stop();
  return sibling;
}

void GrpcBackend::CImpl::Serve(const std::string& serviceName, std::shared_ptr<Rpc::IServedService> service)
{
  const CLock lock(mMutex);
  mNewServices.push_back(SService{serviceName, std::move(service)});
}

GrpcBackend::GrpcBackend(const std::string& configPath, std::shared_ptr<IClock> clock)
    : mImpl(std::make_unique<CImpl>(configPath, std::move(clock)))
{}

GrpcBackend::~GrpcBackend() { Stop(); }

void GrpcBackend::SetLogger(std::shared_ptr<Rpc::ILogger> logger)
{
  Rpc::SetProcessLogger(std::move(logger));
  gpr_set_log_function(WriteLibraryLine);
}

void GrpcBackend::StartServices() { mImpl->StartServices(); }

void GrpcBackend::RunServer() { mImpl->RunServer(); }

void GrpcBackend::HandleClientNotifications() { mImpl->HandleClientNotifications(); }

void GrpcBackend::Stop() { mImpl->Stop(); }

std::shared_ptr<Rpc::CSibling> GrpcBackend::OpenSibling(const std::string& serviceName)
{
  return mImpl->OpenSibling(serviceName);
}

void GrpcBackend::Subscribe(const std::shared_ptr<Rpc::CSibling>& sibling, const std::string& method,
                            const std::string& request, std::function<bool(const std::string& notification)> deliver)
{
  mImpl->Subscribe(std::make_unique<Rpc::CNotificationStream>(sibling, method, request, std::move(deliver)));
}

void GrpcBackend::Serve(const std::string& serviceName, std::shared_ptr<Rpc::IServedService> service)
{
  mImpl->Serve(serviceName, std::move(service));
}
