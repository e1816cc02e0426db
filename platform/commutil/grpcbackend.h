#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/clock/clock.h"
#include "platform/clock/realclock.h"
#include "platform/commutil/rpclogger.h"

namespace Rpc {
class CSibling;
class IServedService;
}  // namespace Rpc

// The IPC over gRPC: the channels to the sibling processes with their notification streams, and the servers of our own
// services. Nothing here waits for a sibling at start, and no call outlasts its deadline.
class GrpcBackend {
 public:
  // Reads the service directory of the station; see CServiceDirectory for the file and for what happens without it.
  explicit GrpcBackend(const std::string& configPath, std::shared_ptr<IClock> clock = std::make_shared<CRealClock>());
  virtual ~GrpcBackend();
  GrpcBackend(const GrpcBackend&) = delete;
  GrpcBackend& operator=(const GrpcBackend&) = delete;

  // For all backends of the process; call it before the first one is created.
  static void SetLogger(std::shared_ptr<Rpc::ILogger> logger);

  // Opens the services that were added. A service whose address cannot be used is logged at error level and left out.
  void StartServices();
  // Keeps the services open until Stop. Requests run on threads of their own.
  void RunServer();
  // Delivers the notifications of all siblings on the calling thread, those of each sibling in the order in which they
  // were sent, until Stop.
  void HandleClientNotifications();
  // Ends everything: calls in flight fail, later ones fail at once, streams and services are closed. A request of ours
  // that is still at work is given up by its caller and goes on by itself. Takes well under a second. Safe from any
  // thread, more than once.
  void Stop();

  // For the bindings of interfaces.

  // The sibling that serves `serviceName`.
  std::shared_ptr<Rpc::CSibling> OpenSibling(const std::string& serviceName);
  // Subscribes to the notifications of a sibling: `method` is the full path of its streaming method, `request` the
  // serialised subscription. `deliver` gets each serialised notification and returns false when it cannot be read.
  void Subscribe(const std::shared_ptr<Rpc::CSibling>& sibling, const std::string& method, const std::string& request,
                 std::function<bool(const std::string& notification)> deliver);
  // Takes effect with the next StartServices.
  void Serve(const std::string& serviceName, std::shared_ptr<Rpc::IServedService> service);

 private:
  class CImpl;

  const std::unique_ptr<CImpl> mImpl;
};
