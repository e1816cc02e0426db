#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "platform/iipc/ibasiccharge2.h"
#include "platform/iipc/iboardcontrol.h"
#include "platform/iipc/icurrentcontrol.h"
#include "platform/iipc/idiagnostics.h"
#include "platform/iipc/ifeedback.h"
#include "platform/iipc/imeter.h"
#include "platform/iipc/isafetymcucomm.h"
#include "platform/iipc/isessionmanager.h"
#include "platform/iipc/isessionmanagerauth.h"

// Service names of the sibling processes. A connector's own services carry its suffix, which is empty for connector 1.
std::string GetConnectorSpecificServiceName(const std::string& base, uint32_t connector);
std::string GetMeterServiceName(uint32_t connector);

// One client of each sibling process, in the order in which they are created.
struct SIpcClients {
  std::shared_ptr<IBasicCharge2> basicCharge;
  std::shared_ptr<IBoardControl> boardControl;
  std::shared_ptr<ICurrentControl> currentControl;
  std::shared_ptr<IDiagnostics> diagnostics;
  std::shared_ptr<IFeedback> feedback;
  std::shared_ptr<IMeter> meter;
  std::shared_ptr<ISafetyMcuComm> safetyMcuComm;
  std::shared_ptr<ISessionManagerAuth> sessionManagerAuth;
  std::shared_ptr<ISessionManager> sessionManager;
};

// The handlers of one notification, by the key of who registered them.
template <typename... TArguments>
class CNotificationHandlers {
 public:
  using CFunction = std::function<void(TArguments...)>;

  // `isAlwaysEnabled`: delivered without looking at whether the handlers are enabled.
  explicit CNotificationHandlers(std::string name, bool isAlwaysEnabled = false)
      : mName(std::move(name)), mIsAlwaysEnabled(isAlwaysEnabled)
  {}

  // Registered disabled. False if the key is taken.
  bool Register(int key, CFunction function)
  {
    auto record = std::make_unique<SRecord>();
    record->function = std::move(function);
    return mRecords.try_emplace(key, std::move(record)).second;
  }

  void SetEnabled(int key, bool enabled)
  {
    const auto record = mRecords.find(key);
    if (record != mRecords.end()) record->second->enabled = enabled;
  }

  // In the order of the keys; each handler gets its own copy. An empty function throws std::bad_function_call.
  void Deliver(const TArguments&... arguments) const
  {
    for (const auto& [key, record] : mRecords) {
      if (mIsAlwaysEnabled || record->enabled) record->function(arguments...);
    }
  }

  const std::string& GetName() const { return mName; }

 private:
  struct SRecord {
    std::atomic<bool> enabled{false};  // written on the main thread, read on the notification thread
    CFunction function;
  };

  const std::string mName;
  const bool mIsAlwaysEnabled;
  std::map<int, std::unique_ptr<SRecord>> mRecords;
};

// The one place where this process meets the clients of its sibling processes: gives them out, and turns each
// notification into calls of the handlers that others have registered.
//
// Handlers are registered before the notification thread runs, and called on it, one at a time. They are switched on
// and off as a group; what arrives while they are off is lost.
class CIpcCallbackLayer {
 public:
  // Registers itself with the clients' notifications; the clients must not deliver after it has gone.
  explicit CIpcCallbackLayer(SIpcClients clients);
  CIpcCallbackLayer(const CIpcCallbackLayer&) = delete;
  CIpcCallbackLayer& operator=(const CIpcCallbackLayer&) = delete;

  // An instance that the station does not have throws SeccUtils::CInvalidInstanceException.
  std::shared_ptr<IBasicCharge2> GetBasicChargeClient(uint32_t instance) const;
  std::shared_ptr<ICurrentControl> GetCurrentControlClient(uint32_t instance) const;
  std::shared_ptr<IDiagnostics> GetDiagnosticsClient() const { return mClients.diagnostics; }
  std::shared_ptr<IFeedback> GetFeedbackClient() const { return mClients.feedback; }
  std::shared_ptr<IMeter> GetMeterClient(uint32_t instance) const;
  std::shared_ptr<ISafetyMcuComm> GetSafetyMcuCommClient(uint32_t instance) const;
  std::shared_ptr<ISessionManagerAuth> GetSessionManagerAuthClient() const { return mClients.sessionManagerAuth; }
  std::shared_ptr<ISessionManager> GetSessionManagerClient(uint32_t instance) const;

  // Registration under a key: throws SeccUtils::CMultipleRegisterInstanceException if the key is taken, and
  // SeccUtils::CInvalidInstanceException for a connector that the station does not have.
  void RegisterBasicChargeSocketUnlockedHandler(int key, uint32_t connector, std::function<void(uint32_t)> handler);
  void RegisterBoardControlFwUpdateStatusHandler(int key, std::function<void(ipc::MFwUpdateStatus)> handler);
  void RegisterBoardControlMainsLostHandler(int key, std::function<void()> handler);
  void RegisterDiagnosticsFreezeFrameDoneHandler(int key, std::function<void(std::string)> handler);
  void RegisterDiagnosticsNotificationHandler(
      int key, std::function<void(ipc::MDiagnosticsSignal, ipc::MDiagnosticsNotificationType)> handler);
  void RegisterSafetyMcuCommMcuTemperaturesHandler(int key, uint32_t connector,
                                                   std::function<void(ipc::MMcuStatus)> handler);
  void RegisterSessionManagerStateChangedHandler(int key, uint32_t connector,
                                                 std::function<void(ipc::MConnectorState)> handler);
  void RegisterSessionManagerSessionStartedHandler(int key, uint32_t connector,
                                                   std::function<void(ipc::MMeterData)> handler);
  void RegisterSessionManagerSessionStoppedHandler(
      int key, uint32_t connector, std::function<void(ipc::MMeterData, ipc::EStopSessionReason)> handler);
  void RegisterSessionManagerAuthAuthorizeIdHandler(int key,
                                                    std::function<void(uint32_t, ipc::MAuthorizeRequest)> handler);

  void EnableHandlers(int key);
  void DisableHandlers(int key);

 private:
  void AttachBasicCharge();
  void AttachBoardControl();
  void AttachDiagnostics();
  void AttachSafetyMcuComm();
  void AttachSessionManager();
  void AttachSessionManagerAuth();

  // Constant after construction.
  const SIpcClients mClients;

  // Filled before the notification thread runs. The station has one connector, so each table of a connector's
  // notification exists once.
  CNotificationHandlers<uint32_t> mSocketUnlocked;
  CNotificationHandlers<ipc::MMcuStatus> mMcuTemperatures;
  CNotificationHandlers<ipc::MConnectorState> mStateChanged;
  CNotificationHandlers<ipc::MMeterData> mSessionStarted;
  CNotificationHandlers<ipc::MMeterData, ipc::EStopSessionReason> mSessionStopped;
  CNotificationHandlers<uint32_t, ipc::MAuthorizeRequest> mAuthorizeId;
  // A firmware update's progress is delivered even while OCPP is disabled.
  CNotificationHandlers<ipc::MFwUpdateStatus> mFwUpdateStatus;
  CNotificationHandlers<> mMainsLost;
  CNotificationHandlers<ipc::MDiagnosticsSignal, ipc::MDiagnosticsNotificationType> mDiagnosticsNotification;
  CNotificationHandlers<std::string> mFreezeFrameDone;
};
