#pragma once

#include <grpcpp/generic/async_generic_service.h>
#include <grpcpp/server.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/clock/mutex.h"

// A sibling process's server as a test wants it: answers every call of every service with bytes that the test has set,
// well formed or not, or not at all. Methods are full paths, as "/secc.ipc.v1.Meter/GetMeterData"; the method
// "Notifications" of each service is its stream. Safe from any thread.
class CGenericSibling : private grpc::CallbackGenericService {
 public:
  // Called on a thread of the transport when a call has arrived: method and serialised request.
  using CallHandler = std::function<void(const std::string& method, const std::string& request)>;

  // Serves at once; throws std::runtime_error when the address cannot be used.
  explicit CGenericSibling(const std::string& address, CallHandler handler = nullptr);
  ~CGenericSibling() override;

  // Empty until set, which reads as a message without any field.
  void SetReply(const std::string& method, const std::string& reply);
  void SetStatus(const std::string& method, const grpc::Status& status);
  // The method is never answered.
  void Hold(const std::string& method);
  // Sends to all present subscribers of a service's stream ("/secc.ipc.v1.Meter/Notifications").
  void Notify(const std::string& method, const std::string& notification);

  std::vector<std::pair<std::string, std::string>> Calls() const;
  size_t CountCalls(const std::string& method) const;

 private:
  class CCall;

  grpc::ServerGenericBidiReactor* CreateReactor(grpc::GenericCallbackServerContext* context) override;
  // How a call goes on, once its request is there.
  void HandleRequest(const std::shared_ptr<CCall>& call, const std::string& request);
  void Remove(const CCall* call);

  const CallHandler mHandlerCB;

  mutable CMutex mMutex;
  std::map<std::string, std::string> mReplies GUARDED_BY(mMutex);
  std::map<std::string, grpc::Status> mStatuses GUARDED_BY(mMutex);
  std::map<std::string, bool> mHeld GUARDED_BY(mMutex);
  std::vector<std::shared_ptr<CCall>> mStreams GUARDED_BY(mMutex);
  std::vector<std::pair<std::string, std::string>> mCalls GUARDED_BY(mMutex);

  std::unique_ptr<grpc::Server> mServer;
};
