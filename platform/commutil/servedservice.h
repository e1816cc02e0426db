#pragma once

#include <grpcpp/impl/service_type.h>

namespace Rpc {

// A service of ours as the backend runs it.
class IServedService {
 public:
  virtual ~IServedService() = default;

  virtual grpc::Service& GetService() = 0;
  // Ends the notification streams; later ones are refused. Requests that are still at work are cancelled by the server.
  virtual void Close() = 0;
};

}  // namespace Rpc
