#pragma once

#include <functional>

#include <string>
#include <vector>

#include "platform/clock/mutex.h"
#include "src/components/idiagnosticsclienthandler.h"

// Keeps what is reported, one line a report ("<what>: <text>"), in order. Safe from any thread.
class CFakeDiagnosticsClient : public IDiagnosticsClientHandler {
 public:
  std::vector<std::string> GetReports() const
  {
    CLock lock(mMutex);
    return mReports;
  }
  // Runs on each report of the size of the transaction queue, on the reporting thread.
  void OnTransactionQueueSize(std::function<void(uint32_t)> reaction) { mReaction = std::move(reaction); }

  std::optional<std::string> CreateFreezeFrame(const std::string& reason) override
  {
    Add("freeze frame: " + reason);
    return std::nullopt;
  }
  void Init() override {}
  void ReportConnectionAborted(EBackofficeId id) override { Add("connection aborted: " + BackofficeName(id)); }
  void ReportBackofficeOnline(EBackofficeId id) override { Add("online: " + BackofficeName(id)); }
  void ReportStorageFull() override { Add("storage full"); }
  void ClearStorageFull() override { Add("storage ready"); }
  void ReportDnsFailure(EBackofficeId id) override { Add("dns failure: " + BackofficeName(id)); }
  void ClearDnsFailure(EBackofficeId id) override { Add("dns success: " + BackofficeName(id)); }
  void ReportChargeProfileUpdate(bool, int64_t profileId, EProfileUpdateReason) override
  {
    Add("profile update: " + std::to_string(profileId));
  }
  void SetActiveChargeProfile(int64_t profileId) override { Add("active profile: " + std::to_string(profileId)); }
  void ReportInstalledProfiles(const std::set<int64_t>& profileIds) override
  {
    Add("installed profiles: " + std::to_string(profileIds.size()));
  }
  void ReportProfileFailure(int64_t, const std::string& reason) override { Add("profile failure: " + reason); }
  void ReportWebsocketStatus(const std::string& text, EBackofficeId) override { Add("websocket: " + text); }
  void SetTransactionQueueSize(uint32_t size) override
  {
    Add("queue size: " + std::to_string(size));
    if (mReaction) mReaction(size);
  }
  void ReportSecurityEvent(const std::string& text) override { Add("security event: " + text); }
  void ReportInvalidMessage(const std::string& text) override { Add("invalid message: " + text); }
  void ReportSecurityParameterChange(const std::string& text) override { Add("security parameter: " + text); }
  void ReportBackendConnection(const std::string& text) override { Add("connectivity: " + text); }
  void ReportParameterChange(const std::string& text) override { Add("parameter: " + text); }
  void SyncActiveErrorWarning() override {}
  std::vector<int32_t> GetActiveErrors(uint32_t) override { return {}; }
  std::vector<int32_t> GetActiveWarnings(uint32_t) override { return {}; }
  void LoadIgnoredWarnings(EBackofficeId) override {}
  std::optional<std::string> GetBopMeasurement() override { return std::nullopt; }

 private:
  void Add(const std::string& report)
  {
    CLock lock(mMutex);
    mReports.push_back(report);
  }

  std::function<void(uint32_t)> mReaction;
  mutable CMutex mMutex;
  std::vector<std::string> mReports GUARDED_BY(mMutex);
};
