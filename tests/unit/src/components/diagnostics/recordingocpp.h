#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <vector>

#include "src/components/ibackoffice.h"
#include "src/components/iocpp.h"

// A switchboard that keeps the pushes of the diagnostics, as "status:<selector>", "fatal" and "security:<identifier>".
// Its other operations do nothing. The pushes belong to the thread of the test.
class CRecordingOcpp : public IOcpp {
 public:
  std::vector<std::string> pushes;
  // Called by every push, before it returns.
  std::function<void()> onPush;
  EBackofficeId primary = EBackofficeId::EPrimary;
  CBackofficeIds auxiliaries{EBackofficeId::EAuxiliary};

  void Init() override {}
  EPushResult PushOutCall(EOutOpType, const CBackofficeIds&, bool, const COperationParameters&) override { return {}; }
  std::shared_ptr<IBackoffice> GetBackoffice(EBackofficeId) override { return nullptr; }
  EBackofficeId GetPrimaryBackofficeId() override { return primary; }
  CBackofficeIds GetAuxiliaryBackofficeIds() override { return auxiliaries; }
  CBackofficeIds GetAllUsedBackofficeIds() override { return {}; }
  std::shared_ptr<IBackoffice> GetLeadingBackoffice() override { return nullptr; }
  EPushResult PushStoredOutCall(const SMessage&, const CBackofficeIds&) override { return {}; }
  void ScheduleOcppHeartbeat(EBackofficeId) override {}
  void CancelOcppHeartbeat(EBackofficeId) override {}
  void StartClockAlignedMeterValue(EBackofficeId) override {}
  std::chrono::seconds GetClockAlignedScheduledInterval() override { return {}; }
  void ScheduleOcppSessionMeterValues(uint32_t) override {}
  void CancelOcppSessionMeterValues(uint32_t) override {}
  void SetOperationBlockingDuration(std::chrono::seconds, EBackofficeId) override {}
  void LoadPersistedMessages() override {}
  void PushStatusNotification(uint32_t connectorSelector, const CBackofficeIds& backofficeIds) override
  {
    Add("status:" + std::to_string(connectorSelector) + (backofficeIds.empty() ? "" : ":some"));
  }
  void PushFatalStatusNotification() override { Add("fatal"); }
  void PushSecurityEventNotification(const ipc::MDiagnosticsSignal& signal) override
  {
    Add("security:" + std::to_string(signal.identifier()));
  }
  std::vector<COperationParameters> GetStatusNotificationParamsList(uint32_t) override { return {}; }
  COperationParameters CreateSecurityEventParameters(const ipc::MDiagnosticsSignal&) override { return {}; }
  int32_t GetSystemSessionState(int32_t state) override { return state; }

 private:
  void Add(const std::string& push)
  {
    pushes.push_back(push);
    if (onPush) onPush();
  }
};
