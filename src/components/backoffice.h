#pragma once

#include <array>
#include <atomic>
#include <memory>
#include <string>

#include "platform/icconfig/icconfig.h"
#include "src/components/ibackoffice.h"
#include "src/components/iocppconfigmanager.h"

class CMessageHandler;
class IOperationHandler;

// May the station charge before the primary backoffice has answered a BootNotification?
enum class EChargeBeforeAcceptedPolicy : uint8_t { ENever = 0, EAcceptedOnce = 1, EAlways = 2 };

// From the text of the configuration key, case-sensitive; an unknown text is logged and counts as "never".
EChargeBeforeAcceptedPolicy ToChargeBeforeAcceptedPolicy(const std::string& text);

// One central system: binds a link, a frame parser and an operation handler together, and holds what is known about
// that system. The primary is the operator's central system, the auxiliary the maker's; they differ only in key names,
// in "WasAccepted" (primary alone), in IsChargingAllowed (never for the auxiliary) and in their identity.
class CBackoffice : public IBackoffice, public std::enable_shared_from_this<CBackoffice> {
 public:
  struct SParts {
    EBackofficeId id = EBackofficeId::ENone;
    std::shared_ptr<IOcppConfigManager> configManager;
    std::shared_ptr<IWebsocketClient> websocketClient;
    std::shared_ptr<IOperationHandler> operationHandler;
    std::shared_ptr<IcConfig::IConfig> persistentData;  // "secc_persistentdata"
    EChargeBeforeAcceptedPolicy policy = EChargeBeforeAcceptedPolicy::ENever;
  };

  CBackoffice(IClock& clock, SParts parts);
  ~CBackoffice() override;
  CBackoffice(const CBackoffice&) = delete;
  CBackoffice& operator=(const CBackoffice&) = delete;

  void Init() override;
  EPushResult PushOutCallOperation(const std::shared_ptr<COutCallOperationBase>& operation) override;
  EPushResult PushResendReqOperation(const std::shared_ptr<COutCallOperationBase>& operation) override;
  EOcppStatus GetOcppStatus() const override { return mOcppStatus; }
  void SetOcppAcceptance(EOcppStatus status) override;
  bool IsOnline() const override { return mOnline; }
  bool IsIncomingAllowed() const override;
  void SetOnline(bool online) override { mOnline = online; }
  bool IsBootAllowed() const override { return mBootAllowed; }
  void SetBootAllowed(bool allowed) override { mBootAllowed = allowed; }
  void Reconnect(const SReconnectOptions& options) override;
  CTimerSlot& GetHeartbeatTimer() override { return mHeartbeatTimer; }
  CTimerSlot& GetBlockingTimer() override { return mBlockingTimer; }
  CTimerSlot& GetFatalTimer() override { return mFatalTimer; }
  CTimerSlot& GetStatusTimer() override { return mStatusTimer; }
  bool IsFatalSent() const override { return mFatalSent; }
  void SetFatalSent(bool sent) override { mFatalSent = sent; }
  void SetEnabled(bool enabled) override { mEnabled = enabled; }
  bool IsEnabled() const override { return mEnabled; }
  void Connect(bool connect) override;
  std::shared_ptr<IWebsocketClient> GetWebsocketClient() const override { return mWebsocketClient; }
  EBackofficeId GetId() const override { return mId; }
  uint8_t GetType() const override { return static_cast<uint8_t>(mId); }
  EAuthorizeMode GetAuthorizeMode() const override;
  bool IsChargingAllowed() const override;
  bool IsOperationAllowed(const COutCallOperationBase& operation) const override;
  void SetConfirmedStatus(uint32_t connector, int32_t status) override;
  void SetConfirmedErrors(uint32_t connector, const std::vector<int32_t>& errors) override;
  int32_t GetConfirmedStatus(uint32_t connector) const override;
  std::vector<int32_t> GetConfirmedErrors(uint32_t connector) const override;

 private:
  static constexpr uint32_t kConnectors = 2;  // connector 0 stands for the station

  void ConnectOperationHandler();
  void ConnectMessageHandler();
  void HandleSendTimeout(const std::shared_ptr<COutCallOperationBase>& operation);
  void ResetSendTimeouts();
  void RunReconnect(const SReconnectOptions& options);
  bool IsPrimary() const { return mId == EBackofficeId::EPrimary; }

  // Constant after construction.
  const EBackofficeId mId;
  const std::string mName;
  const std::shared_ptr<IOcppConfigManager> mConfigManager;
  const std::shared_ptr<IcConfig::IConfig> mPersistentData;
  const std::shared_ptr<IWebsocketClient> mWebsocketClient;
  const EChargeBeforeAcceptedPolicy mChargeBeforeAcceptedPolicy;

  // Until the destructor lets go of it, and with it of the timers that call back into this object.
  std::shared_ptr<IOperationHandler> mOperationHandler;

  // Set by Init, before frames can arrive.
  std::shared_ptr<CMessageHandler> mMessageHandler;

  // Written on COcpp's worker, the websocket thread and mReconnectWorker; read anywhere.
  std::atomic<EOcppStatus> mOcppStatus{EOcppStatus::ENone};
  std::atomic<bool> mWasAccepted{false};
  std::atomic<bool> mOnline{false};
  std::atomic<bool> mBootAllowed{true};
  std::atomic<bool> mFatalSent{false};
  std::atomic<bool> mEnabled{false};
  std::atomic<bool> mConnectWanted{false};  // what the last Connect asked for

  CTimerSlot mHeartbeatTimer;
  CTimerSlot mBlockingTimer;
  CTimerSlot mFatalTimer;
  CTimerSlot mStatusTimer;
  CTimerSlot mExecutorCall;

  // Both are leaves: nothing is called while they are held.
  CMutex mSendTimeoutMutex;
  uint16_t mSendTimeouts GUARDED_BY(mSendTimeoutMutex) = 0;
  mutable CMutex mConfirmedMutex;
  std::array<int32_t, kConnectors> mConfirmedStatus GUARDED_BY(mConfirmedMutex){};
  std::array<std::vector<int32_t>, kConnectors> mConfirmedErrors GUARDED_BY(mConfirmedMutex);

  // Last, so that their threads end before anything that they use goes.
  CWorker mReconnectWorker;
  CWorker mWorker;  // runs the sender
};
