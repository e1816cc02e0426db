#pragma once

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "platform/clock/mutex.h"
#include "src/components/ipersistentmessagestoragemanager.h"
#include "src/components/operation/ocpp_common/outcalloperationbase.h"

// A message store in memory. Keeps the order, refuses what a test says. Safe from any thread.
class CFakeMessageStorage : public IPersistentMessageStorageManager {
 public:
  // What Store gives from here on, without storing, unless EStored.
  void SetStoreResult(EStoreResult result)
  {
    CLock lock(mMutex);
    mStoreResult = result;
  }
  void FailClear(bool fail)
  {
    CLock lock(mMutex);
    mFailClear = fail;
  }
  // Runs in Store before anything is written, without a lock.
  void OnStore(std::function<void()> reaction) { mReaction = std::move(reaction); }
  std::vector<std::string> GetIds() const
  {
    CLock lock(mMutex);
    std::vector<std::string> ids;
    for (const auto& message : mMessages) ids.push_back(message.messageId);
    return ids;
  }
  std::string GetStoredPayload(const std::string& id) const
  {
    CLock lock(mMutex);
    const auto found = Find(id);
    return found == mMessages.end() ? "" : found->payload;
  }
  int GetUpdates() const
  {
    CLock lock(mMutex);
    return mUpdates;
  }
  int GetFinishedLoadings() const
  {
    CLock lock(mMutex);
    return mFinishedLoadings;
  }
  void Preset(const SMessage& message)
  {
    CLock lock(mMutex);
    mMessages.push_back(message);
  }

  EStoreResult Store(const COutCallOperationBase& operation) override
  {
    if (mReaction) mReaction();
    CLock lock(mMutex);
    if (mStoreResult != EStoreResult::EStored) return mStoreResult;
    if (Find(operation.GetMessageId()) != mMessages.end()) return EStoreResult::EAlreadyStored;
    mMessages.push_back({operation.GetMessageId(), OutOpTypeFromName(operation.GetAction()), operation.GetPayload(),
                         operation.GetTransactionKey()});
    return EStoreResult::EStored;
  }
  EClearResult Clear(const std::string& messageId) override
  {
    CLock lock(mMutex);
    const auto found = Find(messageId);
    if (mFailClear || found == mMessages.end()) return EClearResult::EUnknown;
    mMessages.erase(found);
    return EClearResult::ECleared;
  }
  std::deque<SMessage> GetStoredMessages() override
  {
    CLock lock(mMutex);
    return {mMessages.begin(), mMessages.end()};
  }
  size_t GetNumStoredMessages() const override
  {
    CLock lock(mMutex);
    return mMessages.size();
  }
  bool IsStorageFull() const override { return false; }
  void CheckStorageUsage() override {}
  void FinishLoading() override
  {
    CLock lock(mMutex);
    ++mFinishedLoadings;
  }
  void SetStorageFullCallback(std::function<void()>) override {}
  void SetStorageReadyCallback(std::function<void()>) override {}
  bool IsStored(const std::string& messageId) const override
  {
    CLock lock(mMutex);
    return Find(messageId) != mMessages.end();
  }
  bool UpdatePayload(const COutCallOperationBase& operation) override
  {
    CLock lock(mMutex);
    const auto found = std::find_if(mMessages.begin(), mMessages.end(), [&](const SMessage& message) {
      return message.messageId == operation.GetMessageId();
    });
    if (found == mMessages.end()) return false;
    found->payload = operation.GetPayload();
    ++mUpdates;
    return true;
  }

 private:
  std::vector<SMessage>::const_iterator Find(const std::string& id) const REQUIRES(mMutex)
  {
    return std::find_if(mMessages.begin(), mMessages.end(),
                        [&](const SMessage& message) { return message.messageId == id; });
  }

  std::function<void()> mReaction;
  mutable CMutex mMutex;
  std::vector<SMessage> mMessages GUARDED_BY(mMutex);
  EStoreResult mStoreResult GUARDED_BY(mMutex) = EStoreResult::EStored;
  bool mFailClear GUARDED_BY(mMutex) = false;
  int mUpdates GUARDED_BY(mMutex) = 0;
  int mFinishedLoadings GUARDED_BY(mMutex) = 0;
};
