#pragma once

#include <json/value.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/clock/mutex.h"
#include "src/components/ipersistentmessagestoragemanager.h"

namespace IcConfig {
class IConfig;
}

// The message store in a configuration domain: one entry for each message, with the message id as key and
//   {"QueuedCounter": <order of storing, from 0>, "OperationType": "<action>", "Payload": "<compact JSON text>"}
// as value, and "TransactionKey": "<key>" with a message that has one. The list of messages is not held in
// memory: of the store's content only the number of messages and the next counter are known, so that no operation but
// GetStoredMessages grows with the number of messages.
//
// `maxStorageBytes` bounds what meter values may use. Past it they are given up, while starts and stops are still
// written; the store counts as full until its last message has gone.
class CPersistentMessageStorageManager : public IPersistentMessageStorageManager {
 public:
  // Reads the store once, for its highest counter.
  CPersistentMessageStorageManager(std::shared_ptr<IcConfig::IConfig> store, uint32_t maxStorageBytes);

  EStoreResult Store(const COutCallOperationBase& operation) override;
  EClearResult Clear(const std::string& messageId) override;
  std::deque<SMessage> GetStoredMessages() override;
  size_t GetNumStoredMessages() const override;
  bool IsStorageFull() const override;
  void CheckStorageUsage() override;
  void FinishLoading() override;
  void SetStorageFullCallback(std::function<void()> callback) override;
  void SetStorageReadyCallback(std::function<void()> callback) override;
  bool IsStored(const std::string& messageId) const override;
  bool UpdatePayload(const COutCallOperationBase& operation) override;

 private:
  struct SRecord {
    uint32_t queuedCounter = 0;
    SMessage message;
  };

  EStoreResult Write(const COutCallOperationBase& operation) REQUIRES(mMutex);
  void CheckUsage() REQUIRES(mMutex);
  EClearResult Erase(const std::string& messageId) REQUIRES(mMutex);
  bool Delete(const std::string& messageId) REQUIRES(mMutex);
  // Erases what could not be erased before, up to the first failure.
  void EraseLeftovers() REQUIRES(mMutex);
  void ForgetLeftover(const std::string& messageId) REQUIRES(mMutex);
  void ResetWhenEmpty() REQUIRES(mMutex);
  // The records that were stored before this run, in the order of storing. Those that cannot be read are removed.
  std::vector<SRecord> ReadOldRecords() REQUIRES(mMutex);
  void Discard(const std::string& messageId) REQUIRES(mMutex);
  // Tells the owner of a change of mIsStorageFull that it has not been told of.
  void ReportFullState() EXCLUDES(mMutex);

  // Constant after construction.
  const std::shared_ptr<IcConfig::IConfig> mStore;
  const uint32_t mMaxStorageBytes;

  // Held over the reads and writes of mStore on purpose: which counter a message gets, and whether the store is empty,
  // is decided together with the write. Nothing of this process is taken inside it, and no callback runs under it.
  mutable CMutex mMutex;
  size_t mNumStored GUARDED_BY(mMutex) = 0;
  uint32_t mQueuedCounter GUARDED_BY(mMutex) = 0;
  // Messages with a lower counter were stored by earlier runs.
  uint32_t mFirstCounterOfRun GUARDED_BY(mMutex) = 0;
  bool mIsStorageFull GUARDED_BY(mMutex) = false;
  // Messages that have gone but could not be erased, as on a full disk. They are stored and counted until they are.
  std::deque<std::string> mLeftovers GUARDED_BY(mMutex);
  // Empty while the owner has to be told in any case.
  std::optional<bool> mIsFullReported GUARDED_BY(mMutex) = false;
  bool mIsReporting GUARDED_BY(mMutex) = false;  // one thread at a time calls back, so that the owner hears it in order
  std::function<void()> mStorageFullCB GUARDED_BY(mMutex);
  std::function<void()> mStorageReadyCB GUARDED_BY(mMutex);
};
