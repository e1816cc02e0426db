#pragma once

#include <grpcpp/support/server_callback.h>

#include <atomic>
#include <functional>
#include <memory>
#include <utility>

#include "platform/clock/thread.h"

namespace Rpc {

// Requests of our services that may block for as long as they like. Each runs on a thread of its own ("ipc request"),
// so that neither other requests nor the end of the process wait for it: a request that is given up by its caller, or
// by the stop of the server, goes on without anybody to answer to.
//
// Safe from any thread. To be held by a shared pointer.
class CRequestRunner : public std::enable_shared_from_this<CRequestRunner> {
 public:
  // More at once are refused: the caller repeats itself faster than it is answered.
  static constexpr int kMaxRunning = 8;

  // Runs `work`, which fills `reply` with what it returns; an exception from it is answered as an internal error.
  template <typename TReply>
  grpc::ServerUnaryReactor* Run(TReply& reply, std::function<TReply()> work)
  {
    const auto call = std::make_shared<CCall>();
    call->KeepAlive();
    if (mRunning.fetch_add(1) >= kMaxRunning) {
      mRunning.fetch_sub(1);
      call->End(grpc::Status(grpc::StatusCode::RESOURCE_EXHAUSTED, "too many requests at once"));
      return call.get();
    }
    CThread thread(Clock(), "ipc request", [self = shared_from_this(), call, &reply, work = std::move(work)] {
      TReply result;
      const grpc::Status status = Work([&result, &work] { result = work(); });
      // `reply` belongs to the transport and lives until the call is ended, which only one can do.
      if (call->Claim()) {
        reply = std::move(result);
        call->Finish(status);
      }
      self->mRunning.fetch_sub(1);
    });
    thread.Detach();
    return call.get();
  }

 private:
  class CCall : public grpc::ServerUnaryReactor, public std::enable_shared_from_this<CCall> {
   public:
    // The transport holds the object by a plain pointer until OnDone.
    void KeepAlive() { mSelf = shared_from_this(); }
    // True for the one who may finish the call.
    bool Claim() { return !mClaimed.exchange(true); }
    void End(const grpc::Status& status)
    {
      if (Claim()) Finish(status);
    }
    // The caller has gone, or the server is being shut down.
    void OnCancel() override { End(grpc::Status::CANCELLED); }
    void OnDone() override { const std::shared_ptr<CCall> self = std::move(mSelf); }

   private:
    std::atomic<bool> mClaimed{false};
    std::shared_ptr<CCall> mSelf;
  };

  // Never destroyed: a request may return after everything else has gone.
  static IClock& Clock();
  static grpc::Status Work(const std::function<void()>& work);

  std::atomic<int> mRunning{0};
};

}  // namespace Rpc
