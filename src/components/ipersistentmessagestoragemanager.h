#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>

#include "src/components/operation/ocpp_common/operationtypes.h"

class COutCallOperationBase;

// A transaction message as it comes back from the store.
struct SMessage {
  std::string messageId;
  EOutOpType type = EOutOpType::EInvalid;
  std::string payload;  // compact JSON
};

// Keeps transaction messages over a restart. Safe from any thread.
class IPersistentMessageStorageManager {
 public:
  // The numbers appear in log lines.
  enum class EStoreResult : uint8_t { EStored = 0, EAlreadyStored = 2, ENotPersistent = 3, ENotStored = 4 };
  enum class EClearResult : uint8_t { ECleared = 0, EUnknown = 1 };

  virtual ~IPersistentMessageStorageManager() = default;

  virtual EStoreResult Store(const COutCallOperationBase& operation) = 0;
  virtual EClearResult Clear(const std::string& messageId) = 0;
  // All messages in the order of storing.
  virtual std::deque<SMessage> GetStoredMessages() = 0;
  virtual size_t GetNumStoredMessages() const = 0;
  virtual bool IsStorageFull() const = 0;
  virtual void CheckStorageUsage() = 0;
  // Called without any lock held.
  virtual void SetStorageFullCallback(std::function<void()> callback) = 0;
  virtual void SetStorageReadyCallback(std::function<void()> callback) = 0;
};
