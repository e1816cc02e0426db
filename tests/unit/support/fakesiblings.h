#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/clock/mutex.h"
#include "platform/iipc/ibasiccharge2.h"
#include "platform/iipc/iboardcontrol.h"
#include "platform/iipc/icurrentcontrol.h"
#include "platform/iipc/idiagnostics.h"
#include "platform/iipc/ifeedback.h"
#include "platform/iipc/imeter.h"
#include "platform/iipc/isafetymcucomm.h"
#include "platform/iipc/isessionmanager.h"
#include "platform/iipc/isessionmanagerauth.h"

// Sibling processes for tests of whatever calls them. Every fake records its calls by name, in order, answers what the
// test has set, can be out of reach (its calls then throw Rpc::CommunicationException, as those of a dead sibling), and
// sends notifications on the thread of the test. Safe from any thread.

// What all fakes share. Call names are the names of the interface's operations.
class CFakeSibling {
 public:
  explicit CFakeSibling(std::string name) : mName(std::move(name)) {}
  CFakeSibling(const CFakeSibling&) = delete;
  CFakeSibling& operator=(const CFakeSibling&) = delete;

  // Out of reach: every call throws, with `error` as what().
  void SetUnreachable(const std::string& error = "sibling is not reachable");
  // Only this call throws.
  void SetUnreachable(const std::string& call, const std::string& error);
  void SetReachable();
  // The result of the calls that answer an ipc::MResult; success until set.
  void SetResult(ipc::EResult result);
  void SetResult(const std::string& call, ipc::EResult result);

  // Calls so far, failed ones included.
  std::vector<std::string> Calls() const;
  size_t CountCalls(const std::string& call) const;
  void ClearCalls();

 protected:
  ~CFakeSibling() = default;

  // Records the call; throws when it is out of reach.
  void Enter(const std::string& call);
  ipc::MResult ResultOf(const std::string& call);

  template <typename TValue>
  TValue Get(const TValue& member) const
  {
    const CLock lock(mMutex);
    return member;
  }
  template <typename TValue>
  void Set(TValue& member, std::common_type_t<TValue> value)
  {
    const CLock lock(mMutex);
    member = std::move(value);
  }
  template <typename TValue>
  void Append(std::vector<TValue>& member, std::common_type_t<TValue> value)
  {
    const CLock lock(mMutex);
    member.push_back(std::move(value));
  }
  // Calls a notification handler outside the lock; false when none is set.
  template <typename THandler, typename... TArgs>
  bool Emit(const THandler& member, const TArgs&... args) const
  {
    const THandler handler = Get(member);
    if (!handler) return false;
    handler(args...);
    return true;
  }

 private:
  const std::string mName;

  mutable CMutex mMutex;
  std::vector<std::string> mCalls GUARDED_BY(mMutex);
  std::optional<std::string> mError GUARDED_BY(mMutex);
  std::map<std::string, std::string> mCallErrors GUARDED_BY(mMutex);
  ipc::EResult mResult GUARDED_BY(mMutex) = ipc::EResultSuccess;
  std::map<std::string, ipc::EResult> mCallResults GUARDED_BY(mMutex);
};

class CFakeBasicCharge2 : public CFakeSibling, public IBasicCharge2 {
 public:
  CFakeBasicCharge2() : CFakeSibling("ChargeControlBasicCharge") {}

  void SetPilotStates(const ipc::MPilotStates& states) { Set(mPilotStates, states); }
  // The emit operations return false when no handler is set.
  bool EmitSocketUnlocked(uint32_t connector = 1) const { return Emit(mSocketUnlockedCB, connector); }
  bool EmitPilotStatesChanged(const ipc::MPilotStates& states) const { return Emit(mPilotStatesChangedCB, states); }

  ipc::MPilotStates GetPilotStates() override;
  void SetSocketUnlockedHandler(SocketUnlockedHandler handler) override { Set(mSocketUnlockedCB, handler); }
  void SetPilotStatesChangedHandler(PilotStatesChangedHandler handler) override { Set(mPilotStatesChangedCB, handler); }

 private:
  ipc::MPilotStates mPilotStates;
  SocketUnlockedHandler mSocketUnlockedCB;
  PilotStatesChangedHandler mPilotStatesChangedCB;
};

class CFakeBoardControl : public CFakeSibling, public IBoardControl {
 public:
  CFakeBoardControl() : CFakeSibling("BoardControl") {}

  std::vector<EResetKind> Resets() const { return Get(mResets); }
  std::vector<std::string> Installations() const { return Get(mInstallations); }
  bool EmitFwUpdateStatus(ipc::EFwUpdateStatus status) const;
  bool EmitMainsLost() const { return Emit(mMainsLostCB); }
  bool EmitStateChanged(ipc::EState state) const;

  ipc::MResult Reset(EResetKind kind) override;
  ipc::MResult InstallFirmware(const std::string& initiator) override;
  void SetFwUpdateStatusHandler(FwUpdateStatusHandler handler) override { Set(mFwUpdateStatusCB, handler); }
  void SetMainsLostHandler(MainsLostHandler handler) override { Set(mMainsLostCB, handler); }
  void SetStateChangedHandler(StateChangedHandler handler) override { Set(mStateChangedCB, handler); }

 private:
  std::vector<EResetKind> mResets;
  std::vector<std::string> mInstallations;
  FwUpdateStatusHandler mFwUpdateStatusCB;
  MainsLostHandler mMainsLostCB;
  StateChangedHandler mStateChangedCB;
};

// Keeps the limit that was set, and gives it back as the limit in force.
class CFakeCurrentControl : public CFakeSibling, public ICurrentControl {
 public:
  CFakeCurrentControl() : CFakeSibling("CurrentControl") {}

  // Limits as they arrived, refused ones included.
  std::vector<ipc::MCurrentControlLimit> SetLimits() const { return Get(mSetLimits); }
  std::vector<ipc::MCurrentControlLimit> ClearedLimits() const { return Get(mClearedLimits); }
  void SetLimitInForce(const ipc::MCurrentControlLimit& limit) { Set(mLimitInForce, limit); }
  bool EmitLimitChanged(const ipc::MCurrentControlLimit& limit) const { return Emit(mLimitChangedCB, limit); }

  ipc::MResult SetLimit(const ipc::MCurrentControlLimit& limit) override;
  ipc::MResult ClearLimit(const ipc::MCurrentControlLimit& limit) override;
  ipc::MCurrentControlLimit GetLimit() override;
  void SetLimitChangedHandler(LimitChangedHandler handler) override { Set(mLimitChangedCB, handler); }

 private:
  std::vector<ipc::MCurrentControlLimit> mSetLimits;
  std::vector<ipc::MCurrentControlLimit> mClearedLimits;
  ipc::MCurrentControlLimit mLimitInForce;
  LimitChangedHandler mLimitChangedCB;
};

// Keeps the last value of each signal, as the diagnostics process does.
class CFakeDiagnostics : public CFakeSibling, public IDiagnostics {
 public:
  CFakeDiagnostics() : CFakeSibling("Diagnostics") {}

  std::vector<ipc::MDiagnosticsSignal> SentSignals() const { return Get(mSentSignals); }
  std::vector<ipc::MDiagnosticsSignal> SentSignals(ipc::ESignalIdentifier identifier) const;
  std::vector<std::string> FreezeFrameTags() const { return Get(mFreezeFrameTags); }
  void SetSignal(const ipc::MDiagnosticsSignal& signal);
  void SetActiveErrors(const std::vector<ipc::MDiagnosticsSignal>& signals) { Set(mActiveErrors, signals); }
  void SetActiveWarnings(const std::vector<ipc::MDiagnosticsSignal>& signals) { Set(mActiveWarnings, signals); }
  bool EmitNotification(const ipc::MDiagnosticsSignal& signal, ipc::EDiagnosticsNotificationType type) const;
  bool EmitFreezeFrameDone(const std::string& fileName) const { return Emit(mFreezeFrameDoneCB, fileName); }

  ipc::MResult SendSignal(const ipc::MDiagnosticsSignal& signal) override;
  std::optional<ipc::MDiagnosticsSignal> GetSignal(ipc::ESignalIdentifier identifier, uint32_t connector) override;
  std::vector<ipc::MDiagnosticsSignal> GetActiveErrors() override;
  std::vector<ipc::MDiagnosticsSignal> GetActiveWarnings() override;
  ipc::MResult CreateFreezeFrame(const std::string& tag) override;
  void SetNotificationHandler(NotificationHandler handler) override { Set(mNotificationCB, handler); }
  void SetFreezeFrameDoneHandler(FreezeFrameDoneHandler handler) override { Set(mFreezeFrameDoneCB, handler); }

 private:
  std::vector<ipc::MDiagnosticsSignal> mSentSignals;
  std::vector<ipc::MDiagnosticsSignal> mLastSignals;
  std::vector<ipc::MDiagnosticsSignal> mActiveErrors;
  std::vector<ipc::MDiagnosticsSignal> mActiveWarnings;
  std::vector<std::string> mFreezeFrameTags;
  NotificationHandler mNotificationCB;
  FreezeFrameDoneHandler mFreezeFrameDoneCB;
};

class CFakeFeedback : public CFakeSibling, public IFeedback {
 public:
  using Event = std::pair<ipc::EFbEventType, ipc::EInstanceType>;

  CFakeFeedback() : CFakeSibling("Feedback") {}

  std::vector<Event> Events() const { return Get(mEvents); }
  bool EmitEventShown(ipc::EFbEventType type, ipc::EInstanceType instance) const;

  ipc::MResult TriggerEvent(const ipc::MFbEventType& event, const ipc::MInstanceType& instance) override;
  void SetEventShownHandler(EventShownHandler handler) override { Set(mEventShownCB, handler); }

 private:
  std::vector<Event> mEvents;
  EventShownHandler mEventShownCB;
};

class CFakeMeter : public CFakeSibling, public IMeter {
 public:
  CFakeMeter() : CFakeSibling("Meter") {}

  void SetMeterData(const ipc::MMeterData& data) { Set(mMeterData, data); }
  void SetMeterSessions(const ipc::MMeterSessions& sessions) { Set(mMeterSessions, sessions); }
  bool EmitMeterData(const ipc::MMeterData& data) const { return Emit(mMeterDataCB, data); }

  ipc::MMeterData GetMeterData() override;
  ipc::MMeterSessions GetMeterSessions() override;
  void SetMeterDataHandler(MeterDataHandler handler) override { Set(mMeterDataCB, handler); }

 private:
  ipc::MMeterData mMeterData;
  ipc::MMeterSessions mMeterSessions;
  MeterDataHandler mMeterDataCB;
};

class CFakeSafetyMcuComm : public CFakeSibling, public ISafetyMcuComm {
 public:
  CFakeSafetyMcuComm() : CFakeSibling("SafetyMcuComm") {}

  void SetMcuStatus(const ipc::MMcuStatus& status) { Set(mMcuStatus, status); }
  void SetRelayStatus(const ipc::MRelayStatus& status) { Set(mRelayStatus, status); }
  bool EmitMcuTemperatures(const ipc::MMcuStatus& status) const { return Emit(mMcuTemperaturesCB, status); }
  bool EmitMcuError(const ipc::MMcuError& error) const { return Emit(mMcuErrorCB, error); }
  bool EmitRelayStatus(const ipc::MRelayStatus& status) const { return Emit(mRelayStatusCB, status); }

  ipc::MMcuStatus GetMcuStatus() override;
  ipc::MRelayStatus GetRelayStatus() override;
  void SetMcuTemperaturesHandler(McuTemperaturesHandler handler) override { Set(mMcuTemperaturesCB, handler); }
  void SetMcuErrorHandler(McuErrorHandler handler) override { Set(mMcuErrorCB, handler); }
  void SetRelayStatusHandler(RelayStatusHandler handler) override { Set(mRelayStatusCB, handler); }

 private:
  ipc::MMcuStatus mMcuStatus;
  ipc::MRelayStatus mRelayStatus;
  McuTemperaturesHandler mMcuTemperaturesCB;
  McuErrorHandler mMcuErrorCB;
  RelayStatusHandler mRelayStatusCB;
};

// Gives numbered handles ("request-1", ...) and keeps what it is told. The connector's state changes only by
// SetConnectorInfo.
class CFakeSessionManager : public CFakeSibling, public ISessionManager {
 public:
  using Deauthorization = std::pair<uint32_t, ipc::EDeauthorizeReason>;

  CFakeSessionManager() : CFakeSibling("SessionManager") {}

  void SetConnectorInfo(const ipc::MConnectorInfo& info) { Set(mConnectorInfo, info); }
  void SetConnectorState(ipc::EConnectorState state);
  // An empty handle says that no authorization can begin.
  void SetAuthorizeHandle(const std::string& handle) { Set(mAuthorizeHandle, std::optional<std::string>(handle)); }
  std::vector<ipc::MAuthorizeRequest> AuthorizeRequests() const { return Get(mAuthorizeRequests); }
  std::vector<Deauthorization> Deauthorizations() const { return Get(mDeauthorizations); }
  std::vector<ipc::MConnectorReservation> Reservations() const { return Get(mReservations); }
  std::vector<std::pair<uint32_t, bool>> Availabilities() const { return Get(mAvailabilities); }
  std::vector<bool> MessageStorageAvailabilities() const { return Get(mMessageStorageAvailabilities); }
  std::vector<uint32_t> UnlockRequests() const { return Get(mUnlockRequests); }
  std::vector<bool> ExternalChargeApprovals() const { return Get(mExternalChargeApprovals); }
  std::vector<std::pair<uint32_t, std::string>> ParentIdTags() const { return Get(mParentIdTags); }
  bool EmitStateChanged(ipc::EConnectorState state) const;
  bool EmitSessionStarted(const ipc::MMeterData& data) const { return Emit(mSessionStartedCB, data); }
  bool EmitSessionStopped(const ipc::MMeterData& data, ipc::EStopSessionReason reason) const;

  std::string GetAuthorizeHandle() override;
  ipc::MResult HandleAuthorizeRequest(const ipc::MAuthorizeRequest& request) override;
  void DeauthorizeSession(uint32_t connector, ipc::EDeauthorizeReason reason) override;
  ipc::MResult ReserveConnector(const ipc::MConnectorReservation& reservation) override;
  ipc::MResult SetConnectorAvailability(uint32_t connector, bool operative) override;
  ipc::MResult SetMessageStorageAvailable(bool available) override;
  ipc::MResult RequestUnlock(uint32_t connector) override;
  ipc::MResult SetExternalChargeApproval(bool approved) override;
  void SetParentIdTag(uint32_t connector, const std::string& parentIdTag) override;
  ipc::MConnectorInfo GetConnectorInfo(uint32_t connector) override;
  void SetStateChangedHandler(StateChangedHandler handler) override { Set(mStateChangedCB, handler); }
  void SetSessionStartedHandler(SessionStartedHandler handler) override { Set(mSessionStartedCB, handler); }
  void SetSessionStoppedHandler(SessionStoppedHandler handler) override { Set(mSessionStoppedCB, handler); }

 private:
  ipc::MConnectorInfo mConnectorInfo;
  std::optional<std::string> mAuthorizeHandle;
  std::vector<ipc::MAuthorizeRequest> mAuthorizeRequests;
  std::vector<Deauthorization> mDeauthorizations;
  std::vector<ipc::MConnectorReservation> mReservations;
  std::vector<std::pair<uint32_t, bool>> mAvailabilities;
  std::vector<bool> mMessageStorageAvailabilities;
  std::vector<uint32_t> mUnlockRequests;
  std::vector<bool> mExternalChargeApprovals;
  std::vector<std::pair<uint32_t, std::string>> mParentIdTags;
  StateChangedHandler mStateChangedCB;
  SessionStartedHandler mSessionStartedCB;
  SessionStoppedHandler mSessionStoppedCB;
};

class CFakeSessionManagerAuth : public CFakeSibling, public ISessionManagerAuth {
 public:
  CFakeSessionManagerAuth() : CFakeSibling("SessionManagerAuth") {}

  std::vector<ipc::MAuthorizeRequest> AuthorizeRequests() const { return Get(mAuthorizeRequests); }
  bool EmitAuthorizeId(uint32_t connector, const ipc::MAuthorizeRequest& request) const;

  ipc::MResult HandleAuthorizeRequest(const ipc::MAuthorizeRequest& request) override;
  void SetAuthorizeIdHandler(AuthorizeIdHandler handler) override { Set(mAuthorizeIdCB, handler); }

 private:
  std::vector<ipc::MAuthorizeRequest> mAuthorizeRequests;
  AuthorizeIdHandler mAuthorizeIdCB;
};
