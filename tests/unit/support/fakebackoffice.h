#pragma once

#include <array>
#include <atomic>
#include <memory>
#include <utility>
#include <vector>

#include "platform/clock/mutex.h"
#include "src/components/ibackoffice.h"
#include "src/components/operation/ocpp_common/outcalloperationbase.h"

// A backoffice that keeps what is pushed to it and is in the state that a test gives it. Safe from any thread.
class CFakeBackoffice : public IBackoffice {
 public:
  CFakeBackoffice(EBackofficeId id, std::shared_ptr<IWebsocketClient> link) : mId(id), mLink(std::move(link)) {}

  // Actions pushed so far; they are forgotten.
  std::vector<std::string> TakeActions()
  {
    std::vector<std::string> actions;
    for (const auto& operation : TakeOperations()) actions.push_back(operation->GetAction());
    return actions;
  }
  std::vector<std::shared_ptr<COutCallOperationBase>> TakeOperations()
  {
    CLock lock(mMutex);
    return std::exchange(mOperations, {});
  }
  void SetPushResult(EPushResult result) { mPushResult = result; }
  void SetStatus(EOcppStatus status) { mStatus = status; }
  void SetChargingAllowed(bool allowed) { mChargingAllowed = allowed; }
  void SetAuthorizeMode(EAuthorizeMode mode) { mMode = mode; }
  int GetInits() const { return mInits; }
  std::vector<bool> GetConnects() const
  {
    CLock lock(mMutex);
    return mConnects;
  }

  void Init() override { ++mInits; }
  EPushResult PushOutCallOperation(const std::shared_ptr<COutCallOperationBase>& operation) override
  {
    operation->SetBackofficeId(mId);
    CLock lock(mMutex);
    mOperations.push_back(operation);
    return mPushResult;
  }
  EPushResult PushResendReqOperation(const std::shared_ptr<COutCallOperationBase>& operation) override
  {
    return PushOutCallOperation(operation);
  }
  EOcppStatus GetOcppStatus() const override { return mStatus; }
  void SetOcppAcceptance(EOcppStatus status) override { mStatus = status; }
  bool IsOnline() const override { return mOnline; }
  bool IsIncomingAllowed() const override { return mEnabled; }
  void SetOnline(bool online) override { mOnline = online; }
  bool IsBootAllowed() const override { return mBootAllowed; }
  void SetBootAllowed(bool allowed) override { mBootAllowed = allowed; }
  void Reconnect(const SReconnectOptions&) override {}
  CTimerSlot& GetHeartbeatTimer() override { return mHeartbeatTimer; }
  CTimerSlot& GetBlockingTimer() override { return mBlockingTimer; }
  CTimerSlot& GetFatalTimer() override { return mFatalTimer; }
  CTimerSlot& GetStatusTimer() override { return mStatusTimer; }
  bool IsFatalSent() const override { return mFatalSent; }
  void SetFatalSent(bool sent) override { mFatalSent = sent; }
  void SetEnabled(bool enabled) override { mEnabled = enabled; }
  bool IsEnabled() const override { return mEnabled; }
  void Connect(bool connect) override
  {
    CLock lock(mMutex);
    mConnects.push_back(connect);
  }
  std::shared_ptr<IWebsocketClient> GetWebsocketClient() const override { return mLink; }
  EBackofficeId GetId() const override { return mId; }
  uint8_t GetType() const override { return static_cast<uint8_t>(mId); }
  EAuthorizeMode GetAuthorizeMode() const override { return mMode; }
  bool IsChargingAllowed() const override { return mChargingAllowed; }
  bool IsOperationAllowed(const COutCallOperationBase& operation) const override
  {
    return mEnabled &&
           (mStatus == EOcppStatus::EAccepted || operation.IsBootNotificationOp() || operation.IsResendRequiredOp());
  }
  void SetConfirmedStatus(uint32_t connector, int32_t status) override
  {
    CLock lock(mMutex);
    mConfirmedStatus.at(connector) = status;
  }
  void SetConfirmedErrors(uint32_t connector, const std::vector<int32_t>& errors) override
  {
    CLock lock(mMutex);
    mConfirmedErrors.at(connector) = errors;
  }
  int32_t GetConfirmedStatus(uint32_t connector) const override
  {
    CLock lock(mMutex);
    return mConfirmedStatus.at(connector);
  }
  std::vector<int32_t> GetConfirmedErrors(uint32_t connector) const override
  {
    CLock lock(mMutex);
    return mConfirmedErrors.at(connector);
  }

 private:
  const EBackofficeId mId;
  const std::shared_ptr<IWebsocketClient> mLink;
  std::atomic<EPushResult> mPushResult{EPushResult::EQueued};
  std::atomic<EOcppStatus> mStatus{EOcppStatus::ENone};
  std::atomic<EAuthorizeMode> mMode{EAuthorizeMode::ERefuse};
  std::atomic<bool> mChargingAllowed{false};
  std::atomic<bool> mOnline{false};
  std::atomic<bool> mBootAllowed{true};
  std::atomic<bool> mFatalSent{false};
  std::atomic<bool> mEnabled{false};
  std::atomic<int> mInits{0};
  CTimerSlot mHeartbeatTimer;
  CTimerSlot mBlockingTimer;
  CTimerSlot mFatalTimer;
  CTimerSlot mStatusTimer;
  mutable CMutex mMutex;
  std::vector<std::shared_ptr<COutCallOperationBase>> mOperations GUARDED_BY(mMutex);
  std::vector<bool> mConnects GUARDED_BY(mMutex);
  std::array<int32_t, 2> mConfirmedStatus GUARDED_BY(mMutex){};
  std::array<std::vector<int32_t>, 2> mConfirmedErrors GUARDED_BY(mMutex);
};
