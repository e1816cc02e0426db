#pragma once

#include <memory>
#include <string>
#include <utility>

#include "platform/commutil/client.h"

// The process's connection to its siblings: creates clients of their services and offers services of its own, over the
// given backend. Include platform/iipc/bindings.h for the interfaces of this station.
//
// Services and clients are added before the backend's threads run, or at any later time.
template <typename TBackend>
class AppCommunicationHost : public TBackend {
 public:
  using TBackend::TBackend;

  // Offers `service` under a name of etc/iipc.json, from StartServices on.
  template <typename TInterface>
  std::shared_ptr<IServer> AddService(const std::string& name, std::shared_ptr<TInterface> service)
  {
    Rpc::SServiceBinding<TInterface>::Serve(*this, name, std::move(service));
    return std::make_shared<Rpc::CServer>(name);
  }

  // Never waits and never fails: the sibling may come up later, or never.
  template <typename TInterface>
  std::shared_ptr<IClient<TInterface>> CreateClient(const std::string& name)
  {
    return std::make_shared<Rpc::CClient<TInterface>>(Rpc::SClientBinding<TInterface>::Create(*this, name));
  }
};
