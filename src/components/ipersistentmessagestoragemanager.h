#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>

#include "src/components/operation/ocpp_common/operationtypes.h"

class COutCallOperationBase;

// A transaction message as it comes back from the store.
struct SMessage {
  std::string messageId;
  EOutOpType type = EOutOpType::EInvalid;
  std::string payload;  // compact JSON
  // Of the transaction that the message belongs to; nothing when it was not told, as by earlier versions.
  std::optional<std::string> transactionKey = std::nullopt;
};

// Keeps transaction messages over a restart. Safe from any thread.
//
// One run of the process sees two kinds of message: those that earlier runs left behind, which GetStoredMessages gives
// so that they can be queued anew, and those stored by this run, which are queued already.
class IPersistentMessageStorageManager {
 public:
  // The numbers appear in log lines.
  enum class EStoreResult : uint8_t {
    EStored = 0,
    EAlreadyStored = 2,  // a message of that id is there and stays as it is
    ENotPersistent = 3,  // not a message to be kept
    ENotStored = 4,      // meter values while the store is full, or the write failed
  };
  enum class EClearResult : uint8_t { ECleared = 0, EUnknown = 1 };

  virtual ~IPersistentMessageStorageManager() = default;

  // Writes the message behind all others. With EStored it survives a power cut from here on.
  virtual EStoreResult Store(const COutCallOperationBase& operation) = 0;
  // A message that cannot be erased now is erased later, with another use of the store.
  virtual EClearResult Clear(const std::string& messageId) = 0;
  // The messages of earlier runs that are still stored, in the order of storing. A record that cannot be read is logged
  // and removed. Reads the whole store; to be used at the start, before the first push of this run where the order of
  // old and new messages counts.
  virtual std::deque<SMessage> GetStoredMessages() = 0;
  virtual size_t GetNumStoredMessages() const = 0;
  virtual bool IsStorageFull() const = 0;
  virtual void CheckStorageUsage() = 0;
  // The messages of earlier runs are queued. Calls back whether or not the store is full: what an earlier run told of
  // it may not hold any more.
  virtual void FinishLoading() = 0;
  // Called without any lock held, never twice in a row the same but by FinishLoading.
  virtual void SetStorageFullCallback(std::function<void()> callback) = 0;
  virtual void SetStorageReadyCallback(std::function<void()> callback) = 0;
  virtual bool IsStored(const std::string& messageId) const = 0;
  // Replaces the payload of a stored message, which keeps its place in the order. False when it is not stored or the
  // write failed; the stored payload is then the old one.
  virtual bool UpdatePayload(const COutCallOperationBase& operation) = 0;
};
