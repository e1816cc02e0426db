#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/iipc/messages.h"
#include "src/components/backofficeid.h"

// Why an installed charging profile came or went; the texts go into the update trace.
enum class EProfileUpdateReason : uint8_t {
  ELoadPersistentStorage = 0,
  EOcppSetChargeProfile = 1,
  EOcppRemoteStartTransaction = 2,
  EOcppClearChargeProfile = 3,
  ETransactionEnd = 4,
  EDuplicatedParameter = 5,
};

// This process's end of the station's diagnostics: reports what belongs to OCPP, and knows the active errors and
// warnings. No operation throws for an absent diagnostics process. Safe from any thread.
class IDiagnosticsClientHandler {
 public:
  virtual ~IDiagnosticsClientHandler() = default;

  // Asks the diagnostics process for a freeze frame and waits for its path; empty on failure or time-out.
  virtual std::optional<std::string> CreateFreezeFrame(const std::string& reason) = 0;
  virtual void Init() = 0;
  virtual void ReportConnectionAborted(EBackofficeId backoffice) = 0;
  virtual void ReportBackofficeOnline(EBackofficeId backoffice) = 0;
  virtual void ReportStorageFull() = 0;
  virtual void ClearStorageFull() = 0;
  virtual void ReportDnsFailure(EBackofficeId backoffice) = 0;
  virtual void ClearDnsFailure(EBackofficeId backoffice) = 0;
  virtual void ReportChargeProfileUpdate(bool removed, int64_t profileId, EProfileUpdateReason reason) = 0;
  // -1: none.
  virtual void SetActiveChargeProfile(int64_t profileId) = 0;
  virtual void ReportInstalledProfiles(const std::set<int64_t>& profileIds) = 0;
  virtual void ReportProfileFailure(int64_t profileId, const std::string& reason) = 0;
  virtual void ReportWebsocketStatus(const std::string& text, EBackofficeId backoffice) = 0;
  virtual void SetTransactionQueueSize(uint32_t size) = 0;
  virtual void ReportSecurityEvent(const std::string& text) = 0;
  virtual void ReportInvalidMessage(const std::string& text) = 0;
  virtual void ReportSecurityParameterChange(const std::string& text) = 0;
  virtual void ReportBackendConnection(const std::string& text) = 0;
  virtual void ReportParameterChange(const std::string& text) = 0;
  virtual void SyncActiveErrorWarning() = 0;
  // Identifiers in order of arrival; empty for an unknown connector.
  virtual std::vector<int32_t> GetActiveErrors(uint32_t connector) = 0;
  virtual std::vector<int32_t> GetActiveWarnings(uint32_t connector) = 0;
  virtual void LoadIgnoredWarnings(EBackofficeId backoffice) = 0;
  virtual std::optional<std::string> GetBopMeasurement() = 0;
};
