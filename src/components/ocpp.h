#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/icconfig/icconfig.h"
#include "platform/worker/timerslot.h"
#include "src/components/iocpp.h"
#include "src/components/metervaluetimers.h"
#include "src/components/statusnotificationpusher.h"

class IOperationFactory;
class ISystemAccessInterface;

// See IOcpp. Owns the list of backoffices, what happens when a link comes up or goes down, and the OCPP worker, on
// which every recurring timer of the protocol runs.
class COcpp : public IOcpp {
 public:
  // Tells whether a host name resolves; a seam for name resolution. `isSuppressed` keeps the log quiet.
  using CResolveHost = std::function<bool(const std::string& host, bool isSuppressed)>;

  // Starts the worker.
  COcpp(IClock& clock, ISystemAccessInterface& systemAccess, std::shared_ptr<IOperationFactory> operationFactory,
        CResolveHost resolveHost);
  ~COcpp() override;
  COcpp(const COcpp&) = delete;
  COcpp& operator=(const COcpp&) = delete;

  void Init() override;
  EPushResult PushOutCall(EOutOpType operation, const CBackofficeIds& backofficeIds, bool force,
                          const COperationParameters& parameters) override;
  std::shared_ptr<IBackoffice> GetBackoffice(EBackofficeId id) override;
  EBackofficeId GetPrimaryBackofficeId() override;
  CBackofficeIds GetAuxiliaryBackofficeIds() override;
  CBackofficeIds GetAllUsedBackofficeIds() override;
  std::shared_ptr<IBackoffice> GetLeadingBackoffice() override;
  EPushResult PushStoredOutCall(const SMessage& message, const CBackofficeIds& backofficeIds) override;
  void ScheduleOcppHeartbeat(EBackofficeId id) override;
  void CancelOcppHeartbeat(EBackofficeId id) override;
  void StartClockAlignedMeterValue(EBackofficeId id) override;
  std::chrono::seconds GetClockAlignedScheduledInterval() override;
  void ScheduleOcppSessionMeterValues(uint32_t connector) override;
  void CancelOcppSessionMeterValues(uint32_t connector) override;
  void SetOperationBlockingDuration(std::chrono::seconds duration, EBackofficeId id) override;
  void LoadPersistedMessages() override;
  void PushStatusNotification(uint32_t connectorSelector, const CBackofficeIds& backofficeIds) override;
  void PushFatalStatusNotification() override;
  void PushSecurityEventNotification(const ipc::MDiagnosticsSignal& signal) override;
  std::vector<COperationParameters> GetStatusNotificationParamsList(uint32_t connectorSelector) override;
  COperationParameters CreateSecurityEventParameters(const ipc::MDiagnosticsSignal& signal) override;
  int32_t GetSystemSessionState(int32_t state) override;

  // At most one primary, and every id once; anything else is logged and dropped.
  void AddBackoffice(std::shared_ptr<IBackoffice> backoffice);
  // The primary cannot be removed.
  void RemoveBackoffice(EBackofficeId id);
  void EnableBackoffice(EBackofficeId id);
  void DisableBackoffice(EBackofficeId id);
  // For the end of the process: closes the links, ends the timers and lets go of the backoffices. Their threads may
  // call this object until they are destroyed, which the owner waits for before it destroys this object.
  void Shutdown();

 private:
  void RegisterHandlers(const std::shared_ptr<IBackoffice>& backoffice);
  void PerformOnlineRoutine(EBackofficeId id);
  void PerformOfflineRoutine(EBackofficeId id);
  void HandleConnectFailure(EBackofficeId id, bool isSuppressed);
  void SendHeartbeat(EBackofficeId id);
  void HandleBlockingExpiry(EBackofficeId id);
  void QueueStoredMessages();

  // Constant after construction.
  IClock& mClock;
  ISystemAccessInterface& mSystemAccess;
  const std::shared_ptr<IOperationFactory> mOperationFactory;
  const CResolveHost mResolveHost;

  // Serialises additions, which call into the new backoffice. Taken before mBackofficesMutex.
  CMutex mAddMutex ACQUIRED_BEFORE(mBackofficesMutex);
  // Guards the list alone; released before a call into a backoffice.
  mutable CMutex mBackofficesMutex;
  std::map<EBackofficeId, std::shared_ptr<IBackoffice>> mBackoffices GUARDED_BY(mBackofficesMutex);

  // Serialises the one loading of stored messages with the pushes that have to queue behind them. Taken before any lock
  // of a backoffice.
  CMutex mLoadMutex;
  std::atomic<bool> mPersistedMessagesLoaded{false};

  std::shared_ptr<CWorker> mWorker;
  CMeterValueTimers mMeterValueTimers;
  CStatusNotificationPusher mStatusNotificationPusher;
  std::shared_ptr<IcConfig::IRegistration> mSampleIntervalRegistration;
};
