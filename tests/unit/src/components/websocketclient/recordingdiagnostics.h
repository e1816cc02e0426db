#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "platform/clock/mutex.h"
#include "src/components/idiagnosticsclienthandler.h"

// Keeps what a link reports, as one line a report, in order. Safe from any thread.
class CRecordingDiagnostics : public IDiagnosticsClientHandler {
 public:
  std::vector<std::string> GetReports() const
  {
    CLock lock(mMutex);
    return mReports;
  }

  // The texts of one kind ("status", "connectivity", "security", "invalid", "aborted").
  std::vector<std::string> GetReports(const std::string& kind) const
  {
    std::vector<std::string> texts;
    for (const std::string& report : GetReports()) {
      if (report.compare(0, kind.size() + 1, kind + ":") == 0) texts.push_back(report.substr(kind.size() + 2));
    }
    return texts;
  }

  bool Has(const std::string& kind, const std::string& text) const
  {
    const auto texts = GetReports(kind);
    return std::find(texts.begin(), texts.end(), text) != texts.end();
  }

  void ReportConnectionAborted(EBackofficeId backoffice) override { Add("aborted", BackofficeName(backoffice)); }
  void ReportWebsocketStatus(const std::string& text, EBackofficeId) override { Add("status", text); }
  void ReportSecurityEvent(const std::string& text) override { Add("security", text); }
  void ReportInvalidMessage(const std::string& text) override { Add("invalid", text); }
  void ReportBackendConnection(const std::string& text) override { Add("connectivity", text); }

  std::optional<std::string> CreateFreezeFrame(const std::string&) override { return std::nullopt; }
  void Init() override {}
  void ReportBackofficeOnline(EBackofficeId) override {}
  void ReportStorageFull() override {}
  void ClearStorageFull() override {}
  void ReportDnsFailure(EBackofficeId) override {}
  void ClearDnsFailure(EBackofficeId) override {}
  void ReportChargeProfileUpdate(bool, int64_t, EProfileUpdateReason) override {}
  void SetActiveChargeProfile(int64_t) override {}
  void ReportInstalledProfiles(const std::set<int64_t>&) override {}
  void ReportProfileFailure(int64_t, const std::string&) override {}
  void SetTransactionQueueSize(uint32_t) override {}
  void ReportSecurityParameterChange(const std::string&) override {}
  void ReportParameterChange(const std::string&) override {}
  void SyncActiveErrorWarning() override {}
  std::vector<int32_t> GetActiveErrors(uint32_t) override { return {}; }
  std::vector<int32_t> GetActiveWarnings(uint32_t) override { return {}; }
  void LoadIgnoredWarnings(EBackofficeId) override {}
  std::optional<std::string> GetBopMeasurement() override { return std::nullopt; }

 private:
  void Add(const std::string& kind, const std::string& text)
  {
    CLock lock(mMutex);
    mReports.push_back(kind + ": " + text);
  }

  mutable CMutex mMutex;
  std::vector<std::string> mReports GUARDED_BY(mMutex);
};
