#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "platform/clock/clock.h"
#include "platform/iipc/messages.h"

// Authorization status in the order of OCPP 1.6's AuthorizationStatus.
enum class EAuthorizationStatus : uint8_t {
  EAccepted = 0,
  EBlocked = 1,
  EConcurrentTx = 2,
  EExpired = 3,
  EInvalid = 4
};

// Where an authorization came from, as the session manager is told.
enum class EAuthorizationSource : uint8_t {
  ENotAuthorized = 0,
  ERemoteStart = 3,
  EAuthorize = 4,
  ECache = 5,
  ELocalList = 6,
  EAutoAuthorize = 7,
};

// Decides how an authorization request is answered, and is the only door to the local list and the cache.
class IAuthorizationManager {
 public:
  using CExpiry = std::optional<IClock::SystemTime>;

  virtual ~IAuthorizationManager() = default;

  virtual void Init(const std::string& configPath) = 0;
  virtual void Authorize(ipc::MAuthorizeRequest& request, bool online) = 0;
  virtual void UpdateCache(const std::string& id, const std::string& parentId, EAuthorizationStatus status,
                           const CExpiry& expiry) = 0;
  virtual void UpdateLocalList(const std::string& id, const std::string& parentId, EAuthorizationStatus status,
                               const CExpiry& expiry) = 0;
  virtual void RemoveLocalListEntry(const std::string& id) = 0;
  virtual void ClearCache() = 0;
  // -1 when the list is not enabled, 0 when it is empty.
  virtual int64_t GetLocalListVersion() = 0;
  virtual void SetLocalListVersion(int64_t version) = 0;
  virtual void EraseLocalList() = 0;
  virtual void WriteLocalListToStorage() = 0;
  virtual bool IsLocalListEnabled() = 0;
  virtual bool IsInLocalList(const std::string& id) = 0;
  virtual size_t GetLocalListSize() = 0;
  virtual void HandleAuthorizeId(uint32_t connectorId, const ipc::MAuthorizeRequest& request) = 0;
  // Hands a finished request back; false if the session cannot take it in its state.
  virtual bool HandleAuthorizeRequest(const ipc::MAuthorizeRequest& request) = 0;
};
