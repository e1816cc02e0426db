#pragma once

#include <grpcpp/support/server_callback.h>

#include <algorithm>
#include <deque>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "platform/clock/mutex.h"

namespace Rpc {

// The subscribers of one of our services. Sending never blocks: each subscriber has a queue of its own, and one that
// does not take its notifications loses its stream when the queue is full. It may subscribe again.
//
// Safe from any thread. To be held by a shared pointer.
template <typename TNotification>
class CSubscribers : public std::enable_shared_from_this<CSubscribers<TNotification>> {
 public:
  static constexpr size_t kMaxSubscribers = 16;
  static constexpr size_t kMaxQueued = 64;

  // Begins the stream of a subscriber. `first` is sent ahead of everything; without it, what SendAndKeep sent last.
  grpc::ServerWriteReactor<TNotification>* Subscribe(grpc::CallbackServerContext& context,
                                                     std::optional<TNotification> first = std::nullopt)
  {
    const auto subscription = std::make_shared<CSubscription>(context, this->shared_from_this());
    subscription->KeepAlive();
    grpc::Status refusal = grpc::Status::OK;
    {
      const CLock lock(mMutex);
      if (mClosed) {
        refusal = grpc::Status(grpc::StatusCode::UNAVAILABLE, "the service is stopped");
      } else if (mSubscriptions.size() >= kMaxSubscribers) {
        refusal = grpc::Status(grpc::StatusCode::RESOURCE_EXHAUSTED, "too many subscribers");
      } else {
        mSubscriptions.push_back(subscription);
        if (!first) first = mKept;
      }
    }
    if (!refusal.ok()) {
      subscription->End(refusal);
    } else {
      // The header tells the subscriber that it is heard, before anything happens.
      subscription->StartSendInitialMetadata();
      if (first) subscription->Send(*first);
    }
    return subscription.get();
  }

  void Send(const TNotification& notification) { Distribute(notification, false); }
  // The last one that was sent so is what a new subscriber gets first.
  void SendAndKeep(const TNotification& notification) { Distribute(notification, true); }

  void Close()
  {
    std::vector<std::shared_ptr<CSubscription>> subscriptions;
    {
      const CLock lock(mMutex);
      mClosed = true;
      subscriptions = mSubscriptions;
    }
    for (const auto& subscription : subscriptions) {
      subscription->End(grpc::Status(grpc::StatusCode::UNAVAILABLE, "the service is stopped"));
    }
  }

  size_t Count() const
  {
    const CLock lock(mMutex);
    return mSubscriptions.size();
  }

 private:
  // One stream. The transport calls the On... operations; at most one write is begun at a time, and the stream is
  // finished once, when no write is begun.
  class CSubscription : public grpc::ServerWriteReactor<TNotification>,
                        public std::enable_shared_from_this<CSubscription> {
   public:
    CSubscription(grpc::CallbackServerContext& context, std::shared_ptr<CSubscribers> owner)
        : mContext(context), mOwner(std::move(owner))
    {}

    // The transport holds the object by a plain pointer until OnDone.
    void KeepAlive() { mSelf = this->shared_from_this(); }

    void Send(const TNotification& notification)
    {
      {
        const CLock lock(mMutex);
        if (mEnd) return;
        if (mQueue.size() >= kMaxQueued) {
          EndLocked(grpc::Status(grpc::StatusCode::RESOURCE_EXHAUSTED, "notifications were not taken"));
        } else {
          mQueue.push_back(notification);
        }
      }
      Advance();
    }

    void End(const grpc::Status& status)
    {
      {
        const CLock lock(mMutex);
        if (!mEnd) EndLocked(status);
      }
      Advance();
    }

    void OnWriteDone(bool ok) override
    {
      {
        const CLock lock(mMutex);
        mWriting = false;
        if (!ok && !mEnd) EndLocked(grpc::Status::CANCELLED);
      }
      Advance();
    }

    void OnCancel() override { End(grpc::Status::CANCELLED); }

    void OnDone() override
    {
      mOwner->Remove(this);
      // The last reference, unless somebody is sending just now.
      const std::shared_ptr<CSubscription> self = std::move(mSelf);
    }

   private:
    void EndLocked(const grpc::Status& status) REQUIRES(mMutex)
    {
      mEnd = status;
      mQueue.clear();
      // A write to a subscriber that does not read would never end by itself.
      if (mWriting) mContext.TryCancel();
    }

    // Begins what is due. The transport is called without the lock; until the begun write is done, or after the
    // finish, nothing else is begun.
    void Advance()
    {
      std::optional<grpc::Status> end;
      {
        const CLock lock(mMutex);
        if (mWriting || mFinished) return;
        if (!mEnd && mQueue.empty()) return;
        if (mEnd) {
          end = mEnd;
          mFinished = true;
        } else {
          mCurrent = std::move(mQueue.front());
          mQueue.pop_front();
          mWriting = true;
        }
      }
      // The flag that was set gives this thread the sole right to what follows.
      if (end) {
        this->Finish(*end);
      } else {
        this->StartWrite(&mCurrent);
      }
    }

    grpc::CallbackServerContext& mContext;
    const std::shared_ptr<CSubscribers> mOwner;
    std::shared_ptr<CSubscription> mSelf;

    CMutex mMutex;
    std::deque<TNotification> mQueue GUARDED_BY(mMutex);
    bool mWriting GUARDED_BY(mMutex) = false;
    bool mFinished GUARDED_BY(mMutex) = false;
    std::optional<grpc::Status> mEnd GUARDED_BY(mMutex);
    // Owned by the begun write.
    TNotification mCurrent;
  };

  void Distribute(const TNotification& notification, bool keep)
  {
    std::vector<std::shared_ptr<CSubscription>> subscriptions;
    {
      const CLock lock(mMutex);
      if (mClosed) return;
      if (keep) mKept = notification;
      subscriptions = mSubscriptions;
    }
    for (const auto& subscription : subscriptions) subscription->Send(notification);
  }

  void Remove(const CSubscription* subscription)
  {
    const CLock lock(mMutex);
    mSubscriptions.erase(
        std::remove_if(mSubscriptions.begin(), mSubscriptions.end(),
                       [subscription](const auto& candidate) { return candidate.get() == subscription; }),
        mSubscriptions.end());
  }

  mutable CMutex mMutex;
  std::vector<std::shared_ptr<CSubscription>> mSubscriptions GUARDED_BY(mMutex);
  std::optional<TNotification> mKept GUARDED_BY(mMutex);
  bool mClosed GUARDED_BY(mMutex) = false;
};

}  // namespace Rpc
