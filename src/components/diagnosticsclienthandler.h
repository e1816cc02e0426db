#pragma once

#include <atomic>
#include <list>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/clock/clock.h"
#include "platform/diagnostics/diagnosticssignal.h"
#include "platform/diagnostics/signaldefinitions.h"
#include "platform/iipc/idiagnostics.h"
#include "src/components/activesignals.h"
#include "src/components/idiagnosticsclienthandler.h"

class ISystemAccessInterface;

// See IDiagnosticsClientHandler. What it reports is handed over to CDiagnosticsCommClient and delivered from there, so
// that no report waits. The two Handle operations belong to the notification thread.
class CDiagnosticsClientHandler : public IDiagnosticsClientHandler {
 public:
  CDiagnosticsClientHandler(IClock& clock, std::shared_ptr<IDiagnostics> diagnostics,
                            ISystemAccessInterface& systemAccess);

  // An error or a warning was raised or cleared, or an event happened.
  void HandleDiagnosticsNotification(const ipc::MDiagnosticsSignal& signal,
                                     const ipc::MDiagnosticsNotificationType& type);
  // A freeze frame is finished. The notification does not say which: the oldest request gets it.
  void HandleFreezeFrameDone(const std::string& fileName);

  // Waits for at most a minute. `reason` names the request: a second one with the same reason, while the first waits,
  // fails at once.
  std::optional<std::string> CreateFreezeFrame(const std::string& reason) override;
  void Init() override;
  void ReportConnectionAborted(EBackofficeId backoffice) override;
  void ReportBackofficeOnline(EBackofficeId backoffice) override;
  void ReportStorageFull() override;
  void ClearStorageFull() override;
  void ReportDnsFailure(EBackofficeId backoffice) override;
  void ClearDnsFailure(EBackofficeId backoffice) override;
  void ReportChargeProfileUpdate(bool removed, int64_t profileId, EProfileUpdateReason reason) override;
  void SetActiveChargeProfile(int64_t profileId) override;
  void ReportInstalledProfiles(const std::set<int64_t>& profileIds) override;
  void ReportProfileFailure(int64_t profileId, const std::string& reason) override;
  void ReportWebsocketStatus(const std::string& text, EBackofficeId backoffice) override;
  void SetTransactionQueueSize(uint32_t size) override;
  void ReportSecurityEvent(const std::string& text) override;
  void ReportInvalidMessage(const std::string& text) override;
  void ReportSecurityParameterChange(const std::string& text) override;
  void ReportBackendConnection(const std::string& text) override;
  void ReportParameterChange(const std::string& text) override;
  void SyncActiveErrorWarning() override;
  std::vector<int32_t> GetActiveErrors(uint32_t connector) override;
  std::vector<int32_t> GetActiveWarnings(uint32_t connector) override;
  // One list serves all backoffices. Warnings that are ignored from now on are no longer active either.
  void LoadIgnoredWarnings(EBackofficeId backoffice) override;
  std::optional<std::string> GetBopMeasurement() override;

 private:
  struct SFreezeFramePromise {
    std::string reason;
    bool isDone = false;
    std::string fileName;
  };
  using CPromises = std::list<SFreezeFramePromise>;

  void HandleError(const ipc::MDiagnosticsSignal& signal);
  void HandleWarning(const ipc::MDiagnosticsSignal& signal);
  void HandleEvent(const ipc::MDiagnosticsSignal& signal);
  bool IsIgnored(int32_t identifier) const EXCLUDES(mIgnoredMutex);
  void SetOnline(EBackofficeId backoffice, bool online);
  void SetDnsFailed(EBackofficeId backoffice, bool failed);
  bool IsPrimary(EBackofficeId backoffice) const;
  bool RequestFreezeFrame();
  std::optional<std::string> AwaitFreezeFrame(CPromises::iterator promise) EXCLUDES(mFreezeFrameMutex);
  // The place of a new promise; empty when there is one of that reason already.
  std::optional<CPromises::iterator> AddPromise(const std::string& reason) EXCLUDES(mFreezeFrameMutex);
  void RemovePromise(CPromises::iterator promise) EXCLUDES(mFreezeFrameMutex);

  // Constant after construction.
  IClock& mClock;
  const std::shared_ptr<IDiagnostics> mDiagnostics;
  ISystemAccessInterface& mSystemAccess;

  // Safe by themselves.
  CActiveSignals mActiveErrors;
  CActiveSignals mActiveWarnings;
  CDiagnosticsSignal<std::string> mChargeProfileUpdateTrace;
  CDiagnosticsSignal<int64_t> mActiveChargeProfile;
  CDiagnosticsSignal<std::string> mInstalledChargeProfiles;
  CDiagnosticsSignal<std::string> mChargeProfileFailure;
  CDiagnosticsSignal<uint32_t> mTransactionQueueSize;
  CDiagnosticsSignal<bool> mBackofficeCommunicationLost;
  CDiagnosticsSignal<bool> mMessageStorageFull;
  std::atomic<bool> mIsStorageFullKnown{false};  // this life of the process has told of it
  CDiagnosticsSignal<bool> mBackofficeDnsFailed;
  CDiagnosticsSignal<std::string> mSecurityParameterReconfigured;
  CDiagnosticsSignal<std::string> mInvalidMessage;
  CDiagnosticsSignal<std::string> mInvalidCentralSystemCertificate;
  CDiagnosticsSignal<std::string> mParameterReconfigured;
  CDiagnosticsSignal<std::string> mConnectivityChanged;
  const CDiagnosticsSignal<std::string> mBopConstraint;

  mutable CMutex mIgnoredMutex;
  std::set<int32_t> mIgnoredWarnings GUARDED_BY(mIgnoredMutex);

  // Each is held while its list is sent, which hands it over without waiting: lists then leave in the order in which
  // they came about.
  CMutex mWebsocketStatusMutex;
  CDiagnosticsSignal<std::vector<std::string>> mWebsocketStatus GUARDED_BY(mWebsocketStatusMutex);
  CMutex mAuxiliaryOnlineMutex;
  CDiagnosticsSignal<std::vector<std::string>> mAuxiliaryOnline GUARDED_BY(mAuxiliaryOnlineMutex);

  CMutex mFreezeFrameMutex;
  CCondition mFreezeFrameDone;
  // In the order of the requests.
  CPromises mFreezeFramePromises GUARDED_BY(mFreezeFrameMutex);
};
