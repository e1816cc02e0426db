#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/worker/timerslot.h"
#include "src/components/backofficeid.h"
#include "src/components/ocppstatus.h"
#include "src/components/pushresult.h"

class COutCallOperationBase;
class IWebsocketClient;

// What a forced reconnect is to take over from the configuration.
struct SReconnectOptions {
  bool updatePassword = false;
  bool updateIdentity = false;
  bool updateUri = false;
};

// One central system: its link, its queues and what is known about it. Safe from any thread.
class IBackoffice {
 public:
  virtual ~IBackoffice() = default;

  virtual void Init() = 0;
  // Marks the operation with this backoffice and queues it; works also while not enabled.
  virtual EPushResult PushOutCallOperation(const std::shared_ptr<COutCallOperationBase>& operation) = 0;
  virtual EPushResult PushResendReqOperation(const std::shared_ptr<COutCallOperationBase>& operation) = 0;
  virtual EOcppStatus GetOcppStatus() const = 0;
  virtual void SetOcppAcceptance(EOcppStatus status) = 0;
  virtual bool IsOnline() const = 0;
  virtual bool IsIncomingAllowed() const = 0;
  virtual void SetOnline(bool online) = 0;
  virtual bool IsBootAllowed() const = 0;
  virtual void SetBootAllowed(bool allowed) = 0;
  virtual void Reconnect(const SReconnectOptions& options) = 0;
  // Kept here, driven by COcpp.
  virtual CTimerSlot& GetHeartbeatTimer() = 0;
  virtual CTimerSlot& GetBlockingTimer() = 0;
  virtual CTimerSlot& GetFatalTimer() = 0;
  virtual CTimerSlot& GetStatusTimer() = 0;
  virtual bool IsFatalSent() const = 0;
  virtual void SetFatalSent(bool sent) = 0;
  virtual void SetEnabled(bool enabled) = 0;
  virtual bool IsEnabled() const = 0;
  virtual void Connect(bool connect) = 0;
  virtual std::shared_ptr<IWebsocketClient> GetWebsocketClient() const = 0;
  virtual EBackofficeId GetId() const = 0;
  virtual uint8_t GetType() const = 0;
  virtual EAuthorizeMode GetAuthorizeMode() const = 0;
  virtual bool IsChargingAllowed() const = 0;
  virtual bool IsOperationAllowed(const COutCallOperationBase& operation) const = 0;
  // Last connector state (0: none) and error list that this backoffice confirmed.
  virtual void SetConfirmedStatus(uint32_t connector, int32_t status) = 0;
  virtual void SetConfirmedErrors(uint32_t connector, const std::vector<int32_t>& errors) = 0;
  virtual int32_t GetConfirmedStatus(uint32_t connector) const = 0;
  virtual std::vector<int32_t> GetConfirmedErrors(uint32_t connector) const = 0;
};
