#pragma once

#include <memory>
#include <string>
#include <utility>

// A service of ours that is offered to other processes. The handle may be dropped; the service stays until the host
// stops.
class IServer {
 public:
  virtual ~IServer() = default;

  virtual const std::string& GetName() const = 0;
};

// A client of a sibling's service.
template <typename TInterface>
class IClient {
 public:
  virtual ~IClient() = default;

  // The service, as its interface. It stays usable after the client is gone.
  virtual std::shared_ptr<TInterface> GetInterface() const = 0;
};

namespace Rpc {

// How an interface is called or served over the transport. Specialised next to the interfaces
// (platform/iipc/bindings.h), as
//   static std::shared_ptr<TInterface> Create(GrpcBackend& backend, const std::string& serviceName);
template <typename TInterface>
struct SClientBinding;
//   static void Serve(GrpcBackend& backend, const std::string& serviceName, std::shared_ptr<TInterface> service);
template <typename TInterface>
struct SServiceBinding;

template <typename TInterface>
class CClient : public IClient<TInterface> {
 public:
  explicit CClient(std::shared_ptr<TInterface> client) : mInterface(std::move(client)) {}

  std::shared_ptr<TInterface> GetInterface() const override { return mInterface; }

 private:
  const std::shared_ptr<TInterface> mInterface;
};

class CServer : public IServer {
 public:
  explicit CServer(std::string name) : mName(std::move(name)) {}

  const std::string& GetName() const override { return mName; }

 private:
  const std::string mName;
};

}  // namespace Rpc
