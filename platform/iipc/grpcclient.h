#pragma once

#include <memory>
#include <string>
#include <utility>

#include "platform/commutil/grpcbackend.h"
#include "platform/commutil/sibling.h"
#include "platform/iipc/messages.h"
#include "platform/iipc/slot.h"

// What the clients share: the stub of the generated service and the calls through it. A client has
//   using Service: the generated service;
//   using Notification: the message of its notification stream;
//   void Deliver(const Notification&): calls the slot that the notification belongs to, on the notification thread.
template <typename TService>
class CGrpcClient {
 public:
  using Service = TService;
  using Stub = typename TService::Stub;

  explicit CGrpcClient(std::shared_ptr<Rpc::CSibling> sibling)
      : mSibling(std::move(sibling)), mStub(TService::NewStub(mSibling->GetChannel()))
  {}

 protected:
  ~CGrpcClient() = default;

  template <typename TMethod, typename TRequest>
  auto Call(const char* name, TMethod method, const TRequest& request)
  {
    return mSibling->Call(name, *mStub, method, request);
  }

 private:
  const std::shared_ptr<Rpc::CSibling> mSibling;
  const std::unique_ptr<Stub> mStub;
};

// Creates a client and subscribes it to the notifications of its sibling for as long as it lives.
template <typename TClient>
std::shared_ptr<TClient> CreateGrpcClient(GrpcBackend& backend, const std::string& serviceName)
{
  const std::shared_ptr<Rpc::CSibling> sibling = backend.OpenSibling(serviceName);
  auto client = std::make_shared<TClient>(sibling);
  ipc::MSubscribe subscription;
  subscription.set_subscriber("secc");
  const auto deliver = [weakClient = std::weak_ptr<TClient>(client)](const std::string& bytes) {
    typename TClient::Notification notification;
    if (!notification.ParseFromString(bytes)) return false;
    if (const auto strongClient = weakClient.lock()) strongClient->Deliver(notification);
    return true;
  };
  backend.Subscribe(sibling, std::string("/") + TClient::Service::service_full_name() + "/Notifications",
                    subscription.SerializeAsString(), deliver);
  return client;
}
