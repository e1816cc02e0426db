#pragma once

#include <grpcpp/alarm.h>
#include <grpcpp/client_context.h>
#include <grpcpp/completion_queue.h>
#include <grpcpp/generic/generic_stub.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "platform/commutil/sibling.h"

namespace Rpc {

// The notifications of one sibling: a server stream that is opened again whenever it ends, for as long as the process
// runs. The open call waits for the sibling, which also keeps its channel trying to connect.
//
// Lives on the thread of its CNotificationLoop.
class CNotificationStream {
 public:
  // Gets a serialised notification; false when it cannot be read.
  using Deliver = std::function<bool(const std::string& notification)>;

  CNotificationStream(std::shared_ptr<CSibling> sibling, std::string method, const std::string& request,
                      Deliver deliver);

  // Opens the stream; its events come out of `queue` with this object as their tag.
  void Open(grpc::CompletionQueue& queue);
  // The event that was waited for; `ok` as the queue gave it.
  void Proceed(bool ok);
  // Ends the stream for good; Proceed is still called for what was begun.
  void Close();
  // Nothing is begun: no event will come.
  bool IsResting() const { return mStep == EStep::EResting; }

 private:
  // What the next event is the end of.
  enum class EStep { EResting, EStarting, ERequesting, EReading, EFinishing, EPausing };

  void BeginReading();
  void HandleNotification();
  void BeginFinishing();
  void HandleEnd();

  const std::shared_ptr<CSibling> mSibling;
  const std::string mMethod;
  const grpc::ByteBuffer mRequest;
  const Deliver mDeliverCB;

  grpc::GenericStub mStub;
  grpc::CompletionQueue* mQueue = nullptr;
  EStep mStep = EStep::EResting;
  bool mClosed = false;
  // An outage is logged when it begins, not at each attempt.
  bool mOutageLogged = false;
  std::chrono::milliseconds mPause;

  // Of the present attempt. The context outlives the stream object.
  std::unique_ptr<grpc::ClientContext> mContext;
  std::unique_ptr<grpc::GenericClientAsyncReaderWriter> mReader;
  grpc::ByteBuffer mNotification;
  grpc::Status mStatus;
  grpc::Alarm mAlarm;
};

}  // namespace Rpc
