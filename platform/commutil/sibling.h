#pragma once

#include <grpcpp/channel.h>
#include <grpcpp/client_context.h>

#include <chrono>
#include <memory>
#include <set>
#include <string>

#include "platform/clock/mutex.h"

namespace Rpc {

// A sibling process as a callee: its channel, and the calls that are in flight. Safe from any thread.
class CSibling {
 public:
  CSibling(std::string name, const std::string& address, std::chrono::milliseconds deadline);

  const std::string& GetName() const { return mName; }
  const std::shared_ptr<grpc::Channel>& GetChannel() const { return mChannel; }

  // Runs one unary call by a generated stub and gives its reply. Throws CommunicationException when it fails or the
  // deadline passes.
  template <typename TStub, typename TRequest, typename TReply>
  TReply Call(const char* call, TStub& stub,
              grpc::Status (TStub::*method)(grpc::ClientContext*, const TRequest&, TReply*), const TRequest& request)
  {
    grpc::ClientContext context;
    TReply reply;
    const CCallInFlight inFlight(*this, call, context);
    const grpc::Status status = (stub.*method)(&context, request, &reply);
    if (!status.ok()) Throw(call, status);
    return reply;
  }

  // Ends the calls in flight; later ones fail at once.
  void Stop();

 private:
  class CCallInFlight {
   public:
    CCallInFlight(CSibling& sibling, const char* call, grpc::ClientContext& context);
    ~CCallInFlight();
    CCallInFlight(const CCallInFlight&) = delete;
    CCallInFlight& operator=(const CCallInFlight&) = delete;

   private:
    CSibling& mSibling;
    grpc::ClientContext& mContext;
  };

  [[noreturn]] void Throw(const char* call, const grpc::Status& status);

  const std::string mName;
  const std::chrono::milliseconds mDeadline;
  const std::shared_ptr<grpc::Channel> mChannel;

  CMutex mMutex;
  bool mStopped GUARDED_BY(mMutex) = false;
  std::set<grpc::ClientContext*> mInFlight GUARDED_BY(mMutex);
};

// Name of a status code as gRPC documents it, "DEADLINE_EXCEEDED".
const char* StatusCodeToString(grpc::StatusCode code);

}  // namespace Rpc
